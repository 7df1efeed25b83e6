#include "hosts/cli/ScorePlayer.h"

#include <cstdio>

#include "platform/DiagnosticRing.h"

namespace morv::cli {
namespace {

constexpr double kWarmUpSeconds = 0.5;

}  // namespace

ScorePlayer::ScorePlayer(OfflineUnit& offline, Score& score, int sampleRateHz, std::uint32_t blockFrames,
                         std::optional<double> tempo)
    : offline_(offline),
      score_(score),
      sampleRateHz_(sampleRateHz),
      blockFrames_(blockFrames),
      tempo_(tempo),
      cutter_(offline.unit(), blockFrames),
      left_(blockFrames),
      right_(blockFrames) {}

// On the sample clock this lies ahead of 0.
void ScorePlayer::warmUp() {
  const auto blocks = static_cast<int>(kWarmUpSeconds * sampleRateHz_ / blockFrames_) + 1;
  cutter_.setTempo(tempoNow());
  for (int i = -blocks; i < 0; ++i) {
    cutter_.render(static_cast<double>(i) * blockFrames_, blockFrames_, left_.data(), right_.data(), {});
    DiagnosticRing::shared().drain(nullptr);
  }
}

void ScorePlayer::playBlock(bool printsDiagnostics) {
  const auto blockEnd = static_cast<AUEventSampleTime>(position_) + blockFrames_;
  offline_.runQueue(static_cast<double>(position_) / sampleRateHz_);
  for (const auto& move : score_.takeMoves(blockEnd)) move.parameter->setValue(move.value);
  cutter_.setTempo(tempoNow());
  cutter_.render(static_cast<double>(position_), blockFrames_, left_.data(), right_.data(),
                 score_.takeEvents(blockEnd));
  DiagnosticRing::shared().drain(printsDiagnostics ? stderr : nullptr);
  position_ += blockFrames_;
}

}  // namespace morv::cli
