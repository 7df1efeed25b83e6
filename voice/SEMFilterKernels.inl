// The state-variable filter's coefficients and its bank. The filters of several voices run side by side: the
// filter is one long chain from sample to sample, so one alone would leave the machine waiting. Everything is
// local to the file that includes this, as VoiceKernels.inl explains.
#pragma once

#include "voice/LaneTiles.inl"
#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

struct SEMCoefficients {
  Lanes alpha;
  Lanes alpha0;
  Lanes rho;
};

// Keeps the cutoff off both ends, where the tangent would leave its range. Not-a-number stays.
inline Lanes limitedCutoffs(Lanes c) noexcept {
  c = select(c < 0.0F, Lanes{} + 0.00001F, c);
  return select(c > 1.0F, Lanes{} + 0.99999F, c);
}

inline Lanes limitedResonances(Lanes r) noexcept {
  r = select(r > 1.0F, Lanes{} + 1.0F, r);
  return select(r < 0.0F, Lanes{}, r);
}

inline Lanes twiceDamping(Lanes resonance) noexcept { return 2.0F / (50.0F * resonance + 1.0F); }

// The tangent of pi x comes from a polynomial up to a quarter of the way round and from its reciprocal above,
// at the distance from the pole. As the turns lie around a quarter, that distance is the turn of 1 - c, which
// a float holds exactly.
inline SEMCoefficients semCoefficientsOf(Lanes c, Lanes twiceR, Lanes scale, Lanes offset) noexcept {
  const LaneMask isUpper = c > 0.5F;
  const Lanes x = select(isUpper, 1.0F - c, c) * scale + offset;
  const Lanes u = x * x;
  const Lanes t =
      x * (3.1415926F +
           u * (10.335433F +
                u * (40.800144F +
                     u * (163.31043F +
                          u * (633.0652F + u * (3216.3083F + u * (-45.544243F + u * 126729.59F)))))));
  const Lanes alpha = select(isUpper, 1.0F / t, t);
  return {alpha, 1.0F / (1.0F + twiceR * alpha + alpha * alpha), twiceR + alpha};
}

void semCoefficients(const float* cutoffs, const float* resonances, float turnsScale, float turnsOffset,
                     float* alphas, float* alpha0s, float* rhos, int frames) noexcept {
  const Lanes scale = Lanes{} + turnsScale;
  const Lanes offset = Lanes{} + turnsOffset;
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    const Lanes c = loadPart(cutoffs + at, samples);
    const Lanes twiceR = twiceDamping(loadPart(resonances + at, samples));
    const SEMCoefficients k = semCoefficientsOf(c, twiceR, scale, offset);
    storePart(alphas + at, k.alpha, samples);
    storePart(alpha0s + at, k.alpha0, samples);
    storePart(rhos + at, k.rho, samples);
  }
}

inline void storeTile(Tile& tile, const SEMFilterLane* lanes, int count, int at, int samples) noexcept {
  transpose(tile);
  for (int l = 0; l < count; ++l) storePart(lanes[l].out + at, tile.rows[l], samples);
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

// A setting of each lane with what modulates it. `moves` tells whether anything does in any lane.
struct LaneSetting {
  Lanes base{};
  const float* modulation[kWidth] = {};
  bool moves = false;

  void set(int lane, float value, const float* by) noexcept {
    base[lane] = value;
    modulation[lane] = by;
    moves |= by != nullptr;
  }
  void load(Tile& tile, int at, int samples) const noexcept {
    if (moves) {
      loadTile(tile, modulation, at, samples);
      for (Lanes& row : tile.rows) row = base + row;
    } else {
      for (Lanes& row : tile.rows) row = base;
    }
  }
};

struct SEMBankSettings {
  LaneSetting cutoff;
  LaneSetting resonance;
  LaneSetting mode;
  Lanes scale{};
  Lanes offset{};
};

// What the bank's samples take: settings that stand still are worked out once, ahead of the first tile.
struct SEMBankTiles {
  Tile twiceR;
  Tile alpha;
  Tile alpha0;
  Tile rho;
  Tile mode;
  // The part of the bp before that comes into the tangent, and what a float of it misses; see `runTile`.
  Tile kept;
  Tile missed;
  Lanes twiceLastAlpha{};  // of the tile before; none ahead of the block's first sample

  void load(const SEMBankSettings& s, int at, int samples) noexcept {
    const bool isFirst = at == 0;
    if (isFirst || s.resonance.moves) {
      s.resonance.load(twiceR, at, samples);
      for (Lanes& row : twiceR.rows) row = twiceDamping(limitedResonances(row));
    }
    if (isFirst || s.cutoff.moves || s.resonance.moves) {
      s.cutoff.load(alpha, at, samples);
      for (int i = 0; i < kWidth; ++i) {
        const SEMCoefficients k =
            semCoefficientsOf(limitedCutoffs(alpha.rows[i]), twiceR.rows[i], s.scale, s.offset);
        alpha.rows[i] = k.alpha;
        alpha0.rows[i] = k.alpha0;
        rho.rows[i] = k.rho;
      }
    }
    if (isFirst || s.mode.moves) s.mode.load(mode, at, samples);
    if (at <= kWidth || s.cutoff.moves || s.resonance.moves) keepBps();
  }

 private:
  void keepBps() noexcept {
    const Lanes one = Lanes{} + 1.0F;
    Lanes twiceEarlierAlpha = twiceLastAlpha;
    for (int i = 0; i < kWidth; ++i) {
      const Lanes lost = alpha0.rows[i] * (alpha.rows[i] * (rho.rows[i] + twiceEarlierAlpha));
      kept.rows[i] = one - lost;
      missed.rows[i] = (one - kept.rows[i]) - lost;
      twiceEarlierAlpha = alpha.rows[i] + alpha.rows[i];
    }
    twiceLastAlpha = twiceEarlierAlpha;
  }
};

// The integrators, and what of the sample before is still to come into the tangent.
struct SEMBankState {
  Lanes z1;
  Lanes z2;
  Lanes earlierZ2;
  Lanes earlierDriven;
  Lanes earlierBp;
  Lanes secondBp;  // of two samples before
};

// hp = alpha0 (x - rho z1 - z2), bp = tanh(alpha hp + z1), lp = alpha bp + z2;
// z1 = alpha hp + bp, z2 = alpha bp + lp. Below mode 1 lp fades to hp, above it hp to bp.
//
// What goes into the tangent is alpha0 (alpha (x - z2) + z1), since 1 - alpha alpha0 rho = alpha0. Written by
// the state ahead of the last bp it is e + f bp: all but one step of it is ready before bp is, so that little
// more than the tangent itself stands between one sample and the next.
//
// At low cutoffs f, 1 - alpha0 alpha (rho + 2 a') with a' the alpha of the sample before, lies so near to 1
// that a float of it misses the damping by a thousandth. What it misses comes in by the bp of one sample
// earlier: where it counts, the two hardly differ.
//
// Without `kBounds` the tangent takes its argument as it is; returns whether one lay beyond its bound, where
// that is wrong.
template <bool kBounds>
inline bool runTile(const SEMBankTiles& t, const Tile& in, Tile& out, SEMBankState& state,
                    int samples) noexcept {
  const Lanes one = Lanes{} + 1.0F;
  const Lanes highest = Lanes{} + kTanhBound;
  SEMBankState s = state;
  LaneMask isBeyond{};
  for (int i = 0; i < samples; ++i) {
    const Lanes x = in.rows[i];
    const Lanes a = t.alpha.rows[i];
    const Lanes a0 = t.alpha0.rows[i];
    const Lanes e = a0 * (a * (x - s.earlierZ2) + s.earlierDriven) + t.missed.rows[i] * s.secondBp;
    Lanes argument = multiplyAdd(t.kept.rows[i], s.earlierBp, e);
    if constexpr (kBounds) {
      argument = boundedLanes(argument, kTanhBound);
    } else {
      isBeyond |= (argument > highest) | (argument < -highest);
    }
    const Lanes bp = tanhRational(argument);
    const Lanes hp = a0 * (x - t.rho.rows[i] * s.z1 - s.z2);
    const Lanes driven = a * hp;
    const Lanes second = a * bp;
    const Lanes lp = second + s.z2;
    s.earlierZ2 = s.z2;
    s.earlierDriven = driven;
    s.secondBp = s.earlierBp;
    s.earlierBp = bp;
    s.z1 = driven + bp;
    s.z2 = second + lp;
    const Lanes m = t.mode.rows[i];
    out.rows[i] = select(m < one, lp * (one - m) + hp * m, bp * (m - one) + hp * (one + one - m));
  }
  if constexpr (!kBounds) {
    if (anyLane(isBeyond)) return true;
  }
  state = s;
  return false;
}

void semFilterRow(const SEMFilterLane* lanes, int count, int frames) noexcept {
  const float* in[kWidth] = {};
  SEMBankSettings settings;
  Lanes z1{};
  Lanes z2{};
  LaneMask limits{};
  Lanes gains{};
  bool anyLimits = false;
  bool anyDrives = false;
  for (int l = 0; l < count; ++l) {
    const SEMFilterLane& lane = lanes[l];
    in[l] = lane.in;
    settings.cutoff.set(l, lane.cutoff, lane.cutoffModulation);
    settings.resonance.set(l, lane.resonance, lane.resonanceModulation);
    settings.mode.set(l, lane.mode, lane.modeModulation);
    settings.scale[l] = lane.turnsScale;
    settings.offset[l] = lane.turnsOffset;
    z1[l] = *lane.z1;
    z2[l] = *lane.z2;
    limits[l] = lane.limitsInput ? -1 : 0;
    gains[l] = lane.driveGain;
    anyLimits |= lane.limitsInput;
    anyDrives |= lane.driveGain > 0.0F;
  }
  SEMBankState state{z1, z2, z2, Lanes{}, z1, z1};
  SEMBankTiles tiles{};
  Tile x;
  Tile y{};
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    loadTile(x, in, at, samples);
    if (anyLimits) {
      for (Lanes& row : x.rows) row = select(limits, tanhRational(boundedLanes(row, kTanhBound)), row);
    }
    tiles.load(settings, at, samples);
    // An argument beyond the tangent's bound is rare, and bounding each would lengthen the chain.
    if (runTile<false>(tiles, x, y, state, samples)) [[unlikely]]
      runTile<true>(tiles, x, y, state, samples);
    if (anyDrives) {
      const LaneMask drives = gains > 0.0F;
      for (Lanes& row : y.rows) row = select(drives, softLimitedRow(row * gains), row);
    }
    storeTile(y, lanes, count, at, samples);
  }
  for (int l = 0; l < count; ++l) {
    *lanes[l].z1 = state.z1[l];
    *lanes[l].z2 = state.z2[l];
  }
}

void semFilterBank(const SEMFilterLane* lanes, int count, int frames) noexcept {
  for (int first = 0; first < count; first += kWidth) {
    semFilterRow(lanes + first, count - first < kWidth ? count - first : kWidth, frames);
  }
}

}  // namespace
}  // namespace morv
