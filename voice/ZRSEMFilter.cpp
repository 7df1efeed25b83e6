#include "voice/ZRSEMFilter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "voice/Uniform.h"

namespace morv {
namespace {

// Keeps the modulated cutoff off both ends, where the prewarping tangent would leave its range.
float limitCutoff(float c) noexcept {
  c = c < 0.0F ? 0.00001F : c;
  return c > 1.0F ? 0.99999F : c;
}

float limitResonance(float r) noexcept {
  r = r > 1.0F ? 1.0F : r;
  return r < 0.0F ? 0.0F : r;
}

float sampleOf(const float* modulation, int i) noexcept {
  return modulation != nullptr ? modulation[i] : 0.0F;
}

constexpr float kSilence = 0.0F;
constexpr double kLowestHz = 10.0;  // of the cutoff, and its distance from Nyquist at its highest

// One step of a channel, trapezoidal integrators with the saturation at the first one's output:
//   hp = alpha0 (x - rho s1 - s2), bp = tanh(alpha hp + s1), lp = alpha bp + s2
// Below m = 1 the output fades from lp to hp, beyond it from hp to bp.
inline float stepChannel(double alpha, double alpha0, double rho, float x, float m, float& s1,
                         float& s2) noexcept {
  const auto hp = static_cast<float>(
      alpha0 * (static_cast<double>(x) - rho * static_cast<double>(s1) - static_cast<double>(s2)));
  const double driven = alpha * static_cast<double>(hp);
  const auto bp = static_cast<float>(std::tanh(driven + static_cast<double>(s1)));
  const double second = alpha * static_cast<double>(bp);
  const auto lp = static_cast<float>(second + static_cast<double>(s2));
  s1 = static_cast<float>(driven + static_cast<double>(bp));
  s2 = static_cast<float>(second + static_cast<double>(lp));
  return m < 1.0F ? lp * (1.0F - m) + hp * m : bp * (m - 1.0F) + hp * (2.0F - m);
}

}  // namespace

ZRSEMFilter::ZRSEMFilter(float sampleRateHz, int* addressCounter)
    : ZRDSPFilter(sampleRateHz, addressCounter),
      T(1.0 / static_cast<double>(sampleRateHz)),
      halfT(T / 2.0),
      twoOverT(2.0 / T),
      nyquist(static_cast<double>(sampleRateHz) / 2.0),
      turnsScale_(static_cast<float>((nyquist - 2.0 * kLowestHz) * T)),
      turnsOffset_(static_cast<float>(kLowestHz * T)) {}

void ZRSEMFilter::reset() noexcept {
  z1 = 0;
  z2 = 0;
}

// f is linear in c from 10 Hz to 10 Hz below Nyquist; the tangent prewarps it (bilinear transform). Resonance
// runs Q from 0.5 to 25.5.
void ZRSEMFilter::setCoefficients(float c, float r) noexcept {
  lastCutoff = c;
  lastResonance = r;
  const double f = static_cast<double>(c) * (nyquist - 2.0 * kLowestHz) + kLowestHz;
  g = twoOverT * std::tan(2.0 * std::numbers::pi * f * halfT) * halfT;
  R = 1.0 / (2.0 * (25.0 * static_cast<double>(r) + 0.5));
  alpha0 = 1.0 / (1.0 + 2.0 * R * g + g * g);
  alpha = g;
  rho = 2.0 * R + g;
}

void ZRSEMFilter::_updateCoefficients(int sampleIndex) noexcept {
  const float c = limitCutoff(scaledCutoff() + sampleOf(modulationOf(filterCutoff), sampleIndex));
  const float r =
      limitResonance(filterResonance.value.load() + sampleOf(modulationOf(filterResonance), sampleIndex));
  if (c != lastCutoff || r != lastResonance) setCoefficients(c, r);
}

// The poles lie at w (R +- sqrt(R^2 - 1)) with w near 2 alpha a sample; R is 1 at the most.
float ZRSEMFilter::memorySamples() noexcept {
  _updateCoefficients(0);
  return static_cast<float>(1.0 / (2.0 * R * g));
}

bool ZRSEMFilter::holdsStill(const ZRDSPParameter& parameter, const float* modulation,
                             int frames) const noexcept {
  return modulation == nullptr || modMatrix->isHeld(parameter.address, frames) ||
         isUniform(modulation, frames);
}

SEMFilterLane ZRSEMFilter::laneFor(const float* in, float* out, int frames) noexcept {
  SEMFilterLane lane;
  lane.in = in;
  lane.out = out;
  // A modulation that holds still goes into the setting.
  const auto take = [&](const ZRDSPParameter& parameter, float value, float& setting, const float*& by) {
    const float* modulation = frames > 0 ? modulationOf(parameter) : nullptr;
    const bool isStill = holdsStill(parameter, modulation, frames);
    setting = isStill ? value + sampleOf(modulation, 0) : value;
    by = isStill ? nullptr : modulation;
  };
  take(filterCutoff, scaledCutoff(), lane.cutoff, lane.cutoffModulation);
  take(filterResonance, filterResonance.value, lane.resonance, lane.resonanceModulation);
  take(filterMode, filterMode.value, lane.mode, lane.modeModulation);
  lane.turnsScale = turnsScale_;
  lane.turnsOffset = turnsOffset_;
  lane.z1 = &z1;
  lane.z2 = &z2;
  return lane;
}

void ZRSEMFilter::runFilter(const float* in1, const float* in2, float* out1, float* out2,
                            int frames) noexcept {
  const bool varies = modulationOf(filterCutoff) != nullptr || modulationOf(filterResonance) != nullptr;
  const float mode = filterMode.value;
  const float* modeModulation = modulationOf(filterMode);
  const std::ptrdiff_t modeStep = modeModulation != nullptr ? 1 : 0;
  if (modeModulation == nullptr) modeModulation = &kSilence;
  const std::ptrdiff_t in2Step = in2 != nullptr ? 1 : 0;
  if (in2 == nullptr) in2 = &kSilence;
  for (int i = 0; i < frames; ++i) {
    if (varies || i == 0) _updateCoefficients(i);
    const float x1 = in1[i];
    const float x2 = in2[i * in2Step];
    const float m = mode + modeModulation[i * modeStep];
    out1[i] = stepChannel(alpha, alpha0, rho, x1, m, z1, z2);
    out2[i] = stepChannel(alpha, alpha0, rho, x2, m, z3, z4);
  }
}

}  // namespace morv
