#include "voice/ZRMoogFilter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morv {
namespace {

struct Mix {
  float A, B, C, D, E;
};

// Binomial sums of the ladder's taps: four-pole low-pass; (1 - L)^4, high-pass; 4 L^2 (1 - L)^2, band-pass.
constexpr std::array<Mix, 3> kMixes = {{{0, 0, 0, 0, 1}, {1, -4, 6, -4, 1}, {0, 0, 4, -8, 4}}};

}  // namespace

ZRMoogFilter::ZRMoogFilter(float sampleRateHz)
    : ZRDSPFilter(sampleRateHz),
      T(1.0 / static_cast<double>(sampleRateHz)),
      halfT(T / 2.0),
      twoOverT(2.0 / T),
      nyquist(static_cast<double>(sampleRateHz) / 2.0) {
  for (tpt& stage : stages_) initTPT(&stage);
}

ZRMoogFilter::ZRMoogFilter(float sampleRateHz, int* addressCounter)
    : ZRDSPFilter(sampleRateHz, addressCounter),
      T(1.0 / static_cast<double>(sampleRateHz)),
      halfT(T / 2.0),
      twoOverT(2.0 / T),
      nyquist(static_cast<double>(sampleRateHz) / 2.0) {
  for (tpt& stage : stages_) initTPT(&stage);
  filterCutoff = 0.5F;
  filterResonance = 0.5F;
}

void ZRMoogFilter::reset() noexcept {
  for (tpt& stage : stages_) stage.z1 = 0;
}

// A mode outside the three keeps the mix that stands.
void ZRMoogFilter::setMix() noexcept {
  const float mode = std::round(2.0F * filterMode.value);
  if (!(mode >= 0.0F && mode <= 2.0F)) return;
  const Mix& mix = kMixes[static_cast<std::size_t>(mode)];
  A = mix.A;
  B = mix.B;
  C = mix.C;
  D = mix.D;
  E = mix.E;
}

void ZRMoogFilter::_updateCoefficients(float c, float r) noexcept {
  c = std::min(std::max(c, 0.0F), 1.0F);
  if (c != lastCutoff_) {
    lastCutoff_ = c;
    g = twoOverT * std::tan(static_cast<double>(c) * 2.0 * std::numbers::pi * nyquist * halfT) * halfT;
    G = g / (1.0 + g);
  }
  k = 4.0 * static_cast<double>(std::min(r, 1.0F));
}

// The delay-free feedback loop is solved for the ladder's input u from the stages' states alone; half of the
// input is let past the feedback, which keeps the pass band from sinking as resonance rises.
void ZRMoogFilter::runFilter(const float* in1, const float* /*in2*/, float* out1, float* out2,
                             int frames) noexcept {
  const float* cutoffModulation = modulationOf(filterCutoff);
  const float* resonanceModulation = modulationOf(filterResonance);
  const float cutoff = scaledCutoff();
  const float resonance = filterResonance.value;
  setMix();
  std::array<tpt, 4> s = stages_;
  for (int i = 0; i < frames; ++i) {
    _updateCoefficients(cutoffModulation != nullptr ? cutoff + cutoffModulation[i] : cutoff,
                        resonanceModulation != nullptr ? resonance + resonanceModulation[i] : resonance);
    const double x = static_cast<double>(in1[i]);
    const double G2 = G * G;
    const double open = 1.0 / (1.0 + g);
    const double sigma = (G2 * G * static_cast<double>(s[0].z1) + G2 * static_cast<double>(s[1].z1) +
                          G * static_cast<double>(s[2].z1) + static_cast<double>(s[3].z1)) *
                         open;
    const auto u = static_cast<float>((x - k * (sigma - 0.5 * x)) / (1.0 + k * G2 * G2));
    const auto gain = static_cast<float>(G);
    const float y1 = runTPT(&s[0], u, gain, sampleRate);
    const float y2 = runTPT(&s[1], y1, gain, sampleRate);
    const float y3 = runTPT(&s[2], y2, gain, sampleRate);
    const float y4 = runTPT(&s[3], std::tanh(y3), gain, sampleRate);
    const float y = (E * y4 + D * y3 + C * y2 + A * u + B * y1) * outputGain;
    out1[i] = y;
    if (out2 != nullptr) out2[i] = y;
  }
  stages_ = s;
}

}  // namespace morv
