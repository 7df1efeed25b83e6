// How the instrument finds voices and settings of its own whose state is no number: it looks at each block's
// mix, and at one voice after the other for what makes no sound of its own. Healthy state is only looked at.

#include <algorithm>
#include <limits>

#include "platform/DiagnosticRing.h"
#include "render/FiniteCheck.h"
#include "render/InstrumentParameterTable.h"
#include "render/SafeCast.h"
#include "render/ZRDSPInstrument.h"

namespace morv {
namespace {

// Voices that are looked at in a second, so that eight are through in 43 ms; every 256 frames at 48 kHz.
constexpr float kLooksPerSecond = 187.5F;
constexpr float kUsualTempo = 120.0F;        // beats per minute
constexpr float kUsualMPEBendRange = 48.0F;  // semitones

}  // namespace

std::uint32_t ZRDSPInstrument::recoveryCount() const noexcept {
  std::uint32_t count = recoveries_.total();
  for (const auto& effect : effects) count += effect->recoveryCount();
  return count;
}

// The arpeggiator's count may be without end, as a step is at a tempo of 0.
bool ZRDSPInstrument::holdsOwnNumbers() const noexcept {
  bool holds = arpCounter > -std::numeric_limits<float>::infinity();
  holds &= areNumbers(smoothedVolume, slopValue, bendValue, currentBend, tempo, mpeBendRange.load(),
                      volumeCoefficient, slopCoefficient);
  for (const InstrumentParameterRow& global : kInstrumentParameters) {
    holds &= areNumbers((this->*global.member).value.load());
  }
  return holds;
}

// The settings, followers and counters that stand above the voices, ahead of a block.
void ZRDSPInstrument::mendOwnState() noexcept {
  const bool isHealthy = holdsOwnNumbers() && !isNoted_;
  const bool wasAiling = isAiling_;
  isAiling_ = !isHealthy;
  if (isHealthy) [[likely]]
    return;
  isNoted_ = false;
  for (const InstrumentParameterRow& global : kInstrumentParameters) (this->*global.member).mend();
  if (!areNumbers(mpeBendRange.load())) mpeBendRange = kUsualMPEBendRange;
  if (!(arpCounter > -std::numeric_limits<float>::infinity())) arpCounter = 0;
  if (!areNumbers(volumeCoefficient, slopCoefficient)) workOutFollowers();
  mendNumber(smoothedVolume, volume.value.load());
  mendNumber(slopValue, 0.0F);
  mendNumber(bendValue, 0.0F);
  mendNumber(currentBend, 0.0F);
  mendNumber(tempo, kUsualTempo);
  if (wasAiling || !recoveries_.count(sampleRate)) return;
  DiagnosticRing::shared().post("[RECOVERY] %i: the instrument held what is no number\n",
                                static_cast<std::int32_t>(recoveries_.total()));
}

// Counts what voices mended of themselves, once until a look finds them healthy: a cause that stands makes
// new state of its kind in each block.
void ZRDSPInstrument::collectRecoveries(int count) noexcept {
  for (int i = 0; i < count; ++i) {
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(i)];
    if (voice.recoveries == 0) [[likely]]
      continue;
    voice.recoveries = 0;
    if (voice.isAiling) continue;
    voice.isAiling = true;
    if (!recoveries_.count(sampleRate)) continue;
    DiagnosticRing::shared().postIntegersWord("[RECOVERY] %i: voice %i held what is no number: %s\n",
                                              static_cast<std::int32_t>(recoveries_.total()), i,
                                              voice.recovered != nullptr ? voice.recovered : "state");
  }
}

// The mix of a block that `count` voices played is no number: those to blame are mended and silent in this
// block, the others are mixed once more. If the voices know of none, the mix stays.
void ZRDSPInstrument::mendMix(int count, int frames) noexcept {
  const auto played = [frames](const ZRDSPVoice* voice) { return voice->playedNumbers(frames); };
  if (std::all_of(bank_.begin(), bank_.begin() + count, played)) return;
  std::fill_n(mixLeft.data(), frames, 0.0F);
  std::fill_n(mixRight.data(), frames, 0.0F);
  for (int i = 0; i < count; ++i) {
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(i)];
    if (voice.playedNumbers(frames)) {
      voice.addLastBlock(mixLeft.data(), mixRight.data(), frames);
    } else {
      voice.mendState(frames);
    }
  }
}

void ZRDSPInstrument::watchVoices(int count, int frames) noexcept {
  recoveries_.pass(frames);
  if (!areFinite(mixLeft.data(), mixRight.data(), frames)) [[unlikely]]
    mendMix(count, frames);
  const auto all = static_cast<int>(voices.size());
  framesUnwatched_ += frames;
  const int framesPerLook = std::max(truncatedInt(sampleRate / kLooksPerSecond), 1);
  const int looks = std::min(framesUnwatched_ / framesPerLook, all);
  framesUnwatched_ %= framesPerLook;
  for (int i = 0; i < looks; ++i) {
    watchedVoice_ = watchedVoice_ + 1 < all ? watchedVoice_ + 1 : 0;
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(watchedVoice_)];
    if (!voice.holdsNumbers(frames)) {
      voice.mendState(frames);
    } else if (voice.recoveries == 0) {  // in this block
      voice.isAiling = false;
    }
  }
  collectRecoveries(all);
}

}  // namespace morv
