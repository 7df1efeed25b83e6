// The state-variable filter's coefficients and its bank. The filters of several voices run side by side: the
// filter is one long chain from sample to sample, so one alone would leave the machine waiting. Everything is
// local to the file that includes this, as VoiceKernels.inl explains.
#pragma once

#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

// The tangent of pi x comes from a polynomial below an eighth of a turn and from its reciprocal above; the
// distance to the pole is worked out in double, where a float would lose it.
void semCoefficients(const float* cutoffs, const float* resonances, double scaleHz, double offsetHz,
                     double rateHz, float* alphas, float* alpha0s, float* rhos, int frames) noexcept {
  const double scale = scaleHz / rateHz;
  const double offset = offsetHz / rateHz;
  for (int i = 0; i < frames; ++i) {
    const double turn = static_cast<double>(cutoffs[i]) * scale + offset;
    const bool isUpper = turn > 0.25;
    const auto x = static_cast<float>(isUpper ? 0.5 - turn : turn);
    const float u = x * x;
    const float t =
        x * (3.1415926F +
             u * (10.335433F +
                  u * (40.800144F +
                       u * (163.31043F +
                            u * (633.0652F + u * (3216.3083F + u * (-45.544243F + u * 126729.59F)))))));
    const float alpha = isUpper ? 1.0F / t : t;
    const float twiceR = 2.0F / (50.0F * resonances[i] + 1.0F);
    alphas[i] = alpha;
    alpha0s[i] = 1.0F / (1.0F + twiceR * alpha + alpha * alpha);
    rhos[i] = twiceR + alpha;
  }
}

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
inline void loadTile(Tile& tile, const float* const* lanes, int count, int at, int samples) noexcept {
  for (int l = 0; l < kWidth; ++l) {
    if (l >= count) {
      tile.rows[l] = Lanes{};
    } else if (samples == kWidth) {
      tile.rows[l] = loadRow(lanes[l] + at);
    } else {
      float row[kWidth] = {};
      for (int i = 0; i < samples; ++i) row[i] = lanes[l][at + i];
      tile.rows[l] = loadRow(row);
    }
  }
  transpose(tile);
}

inline void storeTile(Tile& tile, const SEMFilterLane* lanes, int count, int at, int samples) noexcept {
  transpose(tile);
  for (int l = 0; l < count; ++l) {
    if (samples == kWidth) {
      storeRow(lanes[l].out + at, tile.rows[l]);
    } else {
      float row[kWidth];
      storeRow(row, tile.rows[l]);
      for (int i = 0; i < samples; ++i) lanes[l].out[at + i] = row[i];
    }
  }
}

// sgn(y)(1 - e^-|y|), as `softLimit` works it out sample by sample.
inline Lanes softLimitedRow(Lanes y) noexcept {
  constexpr float kLowest = -87.0F;
  constexpr float kLog2e = 1.44269504F;
  constexpr float kLn2High = 0.693359375F;
  constexpr float kLn2Low = -2.12194440e-4F;
  constexpr float kShift = 12582912.0F;
  const LaneMask isNegative = y < 0.0F;
  const Lanes magnitude = select(isNegative, y, -y);
  const Lanes x = select(magnitude < kLowest, Lanes{} + kLowest, magnitude);
  const Lanes n = (x * kLog2e + kShift) - kShift;
  const LaneMask k = __builtin_convertvector(select(n == n, n, Lanes{}), LaneMask);
  const Lanes r = (x - n * kLn2High) - n * kLn2Low;
  const Lanes p =
      r *
      (1.00000001F +
       r * (0.49999998F + r * (0.16666493F + r * (4.1667175e-2F + r * (8.3705116e-3F + r * 1.3888836e-3F)))));
  const Lanes scale = __builtin_bit_cast(Lanes, (k + 127) << 23);
  const Lanes limited = -(scale * p + (scale - 1.0F));
  return select(isNegative, -limited, limited);
}

// hp = alpha0 (x - rho z1 - z2), bp = tanh(alpha hp + z1), lp = alpha bp + z2;
// z1 = alpha hp + bp, z2 = alpha bp + lp. Below mode 1 lp fades to hp, above it hp to bp.
//
// What goes into the tangent is alpha0 (alpha (x - z2) + z1), since 1 - alpha alpha0 rho = alpha0. Written by
// the state ahead of the last bp it is e + f bp: all but one step of it is ready before bp is, so that little
// more than the tangent itself stands between one sample and the next.
void semFilterRow(const SEMFilterLane* lanes, int count, int frames) noexcept {
  const float* in[kWidth] = {};
  const float* alphas[kWidth] = {};
  const float* alpha0s[kWidth] = {};
  const float* rhos[kWidth] = {};
  const float* modes[kWidth] = {};
  Lanes z1{};
  Lanes z2{};
  LaneMask limits{};
  Lanes gains{};
  bool anyLimits = false;
  bool anyDrives = false;
  for (int l = 0; l < count; ++l) {
    in[l] = lanes[l].in;
    alphas[l] = lanes[l].alphas;
    alpha0s[l] = lanes[l].alpha0s;
    rhos[l] = lanes[l].rhos;
    modes[l] = lanes[l].modes;
    z1[l] = *lanes[l].z1;
    z2[l] = *lanes[l].z2;
    limits[l] = lanes[l].limitsInput ? -1 : 0;
    gains[l] = lanes[l].driveGain;
    anyLimits |= lanes[l].limitsInput;
    anyDrives |= lanes[l].driveGain > 0.0F;
  }
  const Lanes one = Lanes{} + 1.0F;
  Lanes earlierZ2 = z2;
  Lanes earlierDriven = z1;
  Lanes earlierBp{};
  Lanes twiceEarlierAlpha{};
  Tile x;
  Tile alpha;
  Tile alpha0;
  Tile rho;
  Tile mode;
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    loadTile(x, in, count, at, samples);
    if (anyLimits) {
      for (Lanes& row : x.rows) row = select(limits, tanhRational(boundedLanes(row, kTanhBound)), row);
    }
    loadTile(alpha, alphas, count, at, samples);
    loadTile(alpha0, alpha0s, count, at, samples);
    loadTile(rho, rhos, count, at, samples);
    loadTile(mode, modes, count, at, samples);
    for (int i = 0; i < samples; ++i) {
      const Lanes a = alpha.rows[i];
      const Lanes e = alpha0.rows[i] * (a * (x.rows[i] - earlierZ2) + earlierDriven);
      const Lanes f = alpha0.rows[i] * (one - a * twiceEarlierAlpha);
      const Lanes bp = tanhRational(boundedLanes(e + f * earlierBp, kTanhBound));
      const Lanes hp = alpha0.rows[i] * (x.rows[i] - rho.rows[i] * z1 - z2);
      const Lanes driven = a * hp;
      const Lanes second = a * bp;
      const Lanes lp = second + z2;
      earlierZ2 = z2;
      earlierDriven = driven;
      earlierBp = bp;
      twiceEarlierAlpha = a + a;
      z1 = driven + bp;
      z2 = second + lp;
      const Lanes m = mode.rows[i];
      x.rows[i] = select(m < one, lp * (one - m) + hp * m, bp * (m - one) + hp * (one + one - m));
    }
    if (anyDrives) {
      const LaneMask drives = gains > 0.0F;
      for (Lanes& row : x.rows) row = select(drives, softLimitedRow(row * gains), row);
    }
    storeTile(x, lanes, count, at, samples);
  }
  for (int l = 0; l < count; ++l) {
    *lanes[l].z1 = z1[l];
    *lanes[l].z2 = z2[l];
  }
}

void semFilterBank(const SEMFilterLane* lanes, int count, int frames) noexcept {
  for (int first = 0; first < count; first += kWidth) {
    semFilterRow(lanes + first, count - first < kWidth ? count - first : kWidth, frames);
  }
}

}  // namespace
}  // namespace morv
