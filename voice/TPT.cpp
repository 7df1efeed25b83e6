#include "voice/TPT.h"

#include <cmath>
#include <numbers>

namespace morv {
namespace {

// Gain of a trapezoidal integrator whose cutoff is prewarped to land where it was asked for.
double integratorGain(float cutoffHz, float sampleRateHz) noexcept {
  const double T = 1.0 / static_cast<double>(sampleRateHz);
  return (2.0 / T) * std::tan(2.0 * std::numbers::pi * static_cast<double>(cutoffHz) * T / 2.0) * T / 2.0;
}

}  // namespace

void initTPT(tpt* state) noexcept {
  *state = tpt{};
  setTPTCutoff(state, 10000.0F, 44100.0F);
}

void setTPTCutoff(tpt* state, float cutoffHz, float sampleRateHz) noexcept {
  if (cutoffHz == state->cutoff) return;
  const double g = integratorGain(cutoffHz, sampleRateHz);
  state->G = static_cast<float>(g / (1.0 + g));
  state->cutoff = cutoffHz;
}

void tptUpdateCoefficients(tpt* state, float sampleRateHz) noexcept {
  const float cutoffHz = state->cutoff;
  state->cutoff = 0;
  setTPTCutoff(state, cutoffHz, sampleRateHz);
}

void setTPTCutoff2(tpt* state, int type, float cutoffHz, float q, float sampleRateHz) noexcept {
  if (type == kTPTLowpass1 || type == kTPTHighpass1 || type == kTPTAllpass1) {
    setTPTCutoff(state, cutoffHz, sampleRateHz);
    return;
  }
  const double g = integratorGain(cutoffHz, sampleRateHz);
  const double R = 1.0 / (2.0 * static_cast<double>(q));
  state->alpha0 = static_cast<float>(1.0 / (1.0 + 2.0 * R * g + g * g));
  state->G = static_cast<float>(g);
  state->rho = static_cast<float>(2.0 * R + g);
  state->cutoff = cutoffHz;
}

}  // namespace morv
