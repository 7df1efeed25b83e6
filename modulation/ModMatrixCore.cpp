#include "modulation/ModMatrixCore.h"

namespace morv {

ModMatrixCore::ModMatrixCore()
    : globalSources_(static_cast<std::size_t>(kNumGlobalSourceBuffers) * kSharedMatrixBlockSize) {}

void ModMatrixCore::look() noexcept {
  Present& p = present;
  p.liveCount = 0;
  p.idleCount = 0;
  p.liveDestinations.reset();
  p.hasSecondSources = false;
  std::bitset<kMaxModRows> idle;
  for (int r = 0; r < usedRows; ++r) {
    const modMatrixRow* row = rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr || !row->active) continue;
    const int destination = row->destinationIndex;
    if (destination < 0 || destination >= kMaxModRows) continue;
    if (unread.test(static_cast<std::size_t>(destination))) continue;
    if (row->depth == nullptr || row->depth->value.load() != 0.0F) {
      p.live[static_cast<std::size_t>(p.liveCount++)] = row;
      p.liveDestinations.set(static_cast<std::size_t>(destination));
      p.hasSecondSources |= row->modSource != 0;
    } else if (!idle.test(static_cast<std::size_t>(destination))) {
      idle.set(static_cast<std::size_t>(destination));
      p.idleDestinations[static_cast<std::size_t>(p.idleCount++)] = destination;
    }
  }
  int kept = 0;
  for (int i = 0; i < p.idleCount; ++i) {
    const int destination = p.idleDestinations[static_cast<std::size_t>(i)];
    if (p.liveDestinations.test(static_cast<std::size_t>(destination))) continue;
    p.idleDestinations[static_cast<std::size_t>(kept++)] = destination;
  }
  p.idleCount = kept;
}

float* ModMatrixCore::globalSourceBuffer(int number) noexcept {
  if (number < 0 || number >= kNumGlobalSourceBuffers) return nullptr;
  return globalSources_.data() + static_cast<std::ptrdiff_t>(number) * kSharedMatrixBlockSize;
}

}  // namespace morv
