#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "hosts/HostBlockCutter.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/Score.h"

namespace morv::cli {

// Plays a score through a unit block by block, with the main queue's clock in step. The unit has its render
// resources. One thread.
class ScorePlayer {
 public:
  // Both outlive the player. `tempo` in beats per minute is what the unit sees; without one it is the
  // score's.
  ScorePlayer(OfflineUnit& offline, Score& score, int sampleRateHz, std::uint32_t blockFrames,
              std::optional<double> tempo);

  // Plays half a second without events ahead of the first block, as a host does behind a preset's change: the
  // engine takes new values up block by block, and the first note shall find all of them in place.
  void warmUp();
  // Renders the next block into `left` and `right`. The engine's diagnostics go to the standard error stream
  // if asked for.
  void playBlock(bool printsDiagnostics = false);

  // The last block, of the block's full length.
  const std::vector<float>& left() const noexcept { return left_; }
  const std::vector<float>& right() const noexcept { return right_; }
  // Frames played so far.
  std::uint64_t position() const noexcept { return position_; }

 private:
  double tempoNow() { return tempo_ ? *tempo_ : score_.tempoAt(static_cast<AUEventSampleTime>(position_)); }

  OfflineUnit& offline_;
  Score& score_;
  const int sampleRateHz_;
  const std::uint32_t blockFrames_;
  const std::optional<double> tempo_;
  HostBlockCutter cutter_;
  std::vector<float> left_;
  std::vector<float> right_;
  std::uint64_t position_ = 0;
};

}  // namespace morv::cli
