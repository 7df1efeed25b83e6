// Squares of samples, for kernels that work on several voices side by side. Everything is local to the file
// that includes this, as VoiceKernels.inl explains.
#pragma once

#include "voice/VoiceKernelLanes.inl"

namespace morv {
namespace {

// One sample of each lane a row.
struct Tile {
  Lanes rows[kWidth];
};

// Rows become columns, by halves.
inline void transpose(Tile& t) noexcept {
#if defined(__AVX__)
  Lanes a[8];
  for (int i = 0; i < 4; ++i) {
    a[i] = __builtin_shufflevector(t.rows[i], t.rows[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
    a[i + 4] = __builtin_shufflevector(t.rows[i], t.rows[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
  }
  Lanes b[8];
  for (int h = 0; h < 8; h += 4) {
    for (int i = 0; i < 2; ++i) {
      b[h + i] = __builtin_shufflevector(a[h + i], a[h + i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
      b[h + i + 2] = __builtin_shufflevector(a[h + i], a[h + i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
  }
  for (int h = 0; h < 8; h += 2) {
    t.rows[h] = __builtin_shufflevector(b[h], b[h + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    t.rows[h + 1] = __builtin_shufflevector(b[h], b[h + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
#else
  Lanes a[4];
  for (int i = 0; i < 2; ++i) {
    a[i] = __builtin_shufflevector(t.rows[i], t.rows[i + 2], 0, 1, 4, 5);
    a[i + 2] = __builtin_shufflevector(t.rows[i], t.rows[i + 2], 2, 3, 6, 7);
  }
  for (int h = 0; h < 4; h += 2) {
    t.rows[h] = __builtin_shufflevector(a[h], a[h + 1], 0, 4, 2, 6);
    t.rows[h + 1] = __builtin_shufflevector(a[h], a[h + 1], 1, 5, 3, 7);
  }
#endif
}

// A square of samples, as rows of one sample of each lane. Absent samples and lanes are zero.
inline void loadTile(Tile& tile, const float* const* lanes, int at, int samples) noexcept {
  for (int l = 0; l < kWidth; ++l) {
    if (lanes[l] == nullptr) {
      tile.rows[l] = Lanes{};
    } else {
      tile.rows[l] = loadPart(lanes[l] + at, samples);
    }
  }
  transpose(tile);
}

}  // namespace
}  // namespace morv
