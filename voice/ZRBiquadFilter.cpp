#include "voice/ZRBiquadFilter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "voice/BiquadCascade.h"

namespace morv {
namespace {

// A running coefficient that comes this near to its target sits on it from then on.
constexpr double kRampThreshold = 0.005;
// Part of the remaining distance that it covers per sample.
constexpr double kRampRate = 0.5;

// A cutoff that nobody sets, so that the next comparison sees a change.
constexpr float kStaleCutoff = 0.1F;

void store(double* c, double b0, double b1, double b2, double a1, double a2) noexcept {
  c[0] = b0;
  c[1] = b1;
  c[2] = b2;
  c[3] = a1;
  c[4] = a2;
}

}  // namespace

ZRBiquadFilter::ZRBiquadFilter(ZRBiquadType type, float cutoffHz, int sectionCount, int channelCount,
                               float sampleRateHz)
    : ZRDSPFilter(sampleRateHz),
      sections(sectionCount),
      channels(channelCount),
      biquadType(type),
      multichannel(channelCount < 2 ? 0 : 1) {
  filterCutoff = cutoffHz;
  _setupBiquad();
}

void ZRBiquadFilter::_setupBiquad() {
  coefficients_.assign(static_cast<std::size_t>(sections) * kBiquadCoefficients, 0.0);
  if (multichannel != 0) {
    channelDelays_.assign(2 * biquadDelayLength(sections), 0.0);
  } else {
    delays_.assign(biquadDelayLength(sections), 0.0F);
  }
  _updateCoefficients();
  running_ = coefficients_;
  storeSettings();
}

void ZRBiquadFilter::setSampleRate(float sampleRateHz) noexcept {
  if (sampleRateHz == sampleRate) return;
  sampleRate = sampleRateHz;
  lastCutoff_ = kStaleCutoff;
}

bool ZRBiquadFilter::settingsChanged() const noexcept {
  return filterCutoff.value != lastCutoff_ || gain != lastGain_ || bandwidth != lastBandwidth_ ||
         filterResonance.value != lastResonance_;
}

void ZRBiquadFilter::storeSettings() noexcept {
  lastCutoff_ = filterCutoff.value;
  lastGain_ = gain;
  lastBandwidth_ = bandwidth;
  lastResonance_ = filterResonance.value;
}

void ZRBiquadFilter::_updateCoefficients() noexcept {
  const float cutoffHz = filterCutoff.value;
  K = static_cast<double>(std::tan(static_cast<float>(std::numbers::pi * static_cast<double>(cutoffHz) /
                                                      static_cast<double>(sampleRate))));
  double* c = coefficients_.data();
  for (int i = 0; i < sections; ++i, c += kBiquadCoefficients) computeSection(i, c);
}

void ZRBiquadFilter::computeSection(int section, double* c) noexcept {
  const double n = sections;
  Q = 1.0 / (2.0 * std::cos(std::numbers::pi / (4.0 * n) +
                            static_cast<double>(section) * std::numbers::pi / (2.0 * n)));
  switch (biquadType) {
    case ZRBiquadType::resonantBandpass:
      Q = static_cast<double>(filterResonance.value.load());
      [[fallthrough]];
    case ZRBiquadType::lowpass:
    case ZRBiquadType::highpass:
    case ZRBiquadType::bandpass:
    case ZRBiquadType::notch:
    case ZRBiquadType::allpass:
      computeButterworth(c);
      break;
    case ZRBiquadType::lowShelf:
    case ZRBiquadType::highShelf:
      computeShelf(c);
      break;
    case ZRBiquadType::peaking:
      Q = static_cast<double>(filterCutoff.value.load()) / static_cast<double>(bandwidth);
      computePeak(c);
      break;
    case ZRBiquadType::onePoleLowpass:
    case ZRBiquadType::onePoleHighpass:
      computeOnePole(c);
      break;
    case ZRBiquadType::none:
      store(c, 0, 0, 0, 0, 0);
      break;
  }
}

// Bilinear transforms of s^2 + s / Q + 1 and its numerators. The all-pass gets its last coefficient as the
// exact 1 that it must be.
void ZRBiquadFilter::computeButterworth(double* c) const noexcept {
  const double K2 = K * K;
  const double norm = K2 * Q + K + Q;
  const double a1 = 2.0 * Q * (K2 - 1.0) / norm;
  const double a2 = (K2 * Q - K + Q) / norm;
  switch (biquadType) {
    case ZRBiquadType::lowpass:
      store(c, K2 * Q / norm, 2.0 * K2 * Q / norm, K2 * Q / norm, a1, a2);
      break;
    case ZRBiquadType::highpass:
      store(c, Q / norm, -2.0 * Q / norm, Q / norm, a1, a2);
      break;
    case ZRBiquadType::notch:
      store(c, Q * (1.0 + K2) / norm, a1, Q * (1.0 + K2) / norm, a1, a2);
      break;
    case ZRBiquadType::allpass:
      store(c, a2, a1, 1.0, a1, a2);
      break;
    default:  // both band-passes
      store(c, K / norm, 0.0, -K / norm, a1, a2);
      break;
  }
}

// Second-order shelves. The middle term of the polynomial that bears the gain is 2 V K, without a root over
// V: the corner is a little wider than a Butterworth shelf's, and a cut is no mirror image of its boost.
void ZRBiquadFilter::computeShelf(double* c) const noexcept {
  const double K2 = K * K;
  const double V = std::pow(10.0, static_cast<double>(gain) / 20.0);
  const double S = std::numbers::sqrt2;
  const bool isLow = biquadType == ZRBiquadType::lowShelf;
  if (gain > 0.0F) {
    const double norm = 1.0 + S * K + K2;
    const double a1 = 2.0 * (K2 - 1.0) / norm;
    const double a2 = (1.0 - S * K + K2) / norm;
    if (isLow) {
      store(c, (V * K2 + 2.0 * V * K + 1.0) / norm, 2.0 * (V * K2 - 1.0) / norm,
            (V * K2 - 2.0 * V * K + 1.0) / norm, a1, a2);
    } else {
      store(c, (2.0 * V * K + V + K2) / norm, 2.0 * (K2 - V) / norm, (V - 2.0 * V * K + K2) / norm, a1, a2);
    }
    return;
  }
  const double norm = isLow ? 2.0 * V * K + V + K2 : V * K2 + 2.0 * V * K + 1.0;
  const double b0 = V * (1.0 + S * K + K2) / norm;
  const double b1 = 2.0 * V * (K2 - 1.0) / norm;
  const double b2 = V * (1.0 - S * K + K2) / norm;
  if (isLow) {
    store(c, b0, b1, b2, 2.0 * (K2 - V) / norm, (V - 2.0 * V * K + K2) / norm);
  } else {
    store(c, b0, b1, b2, 2.0 * (V * K2 - 1.0) / norm, (V * K2 - 2.0 * V * K + 1.0) / norm);
  }
}

void ZRBiquadFilter::computePeak(double* c) const noexcept {
  const double K2 = K * K;
  const double V = std::pow(10.0, static_cast<double>(gain) / 20.0);
  if (gain > 0.0F) {
    const double norm = 1.0 + K / Q + K2;
    const double a1 = 2.0 * (K2 - 1.0) / norm;
    store(c, (1.0 + V * K / Q + K2) / norm, a1, (1.0 - V * K / Q + K2) / norm, a1, (1.0 - K / Q + K2) / norm);
    return;
  }
  const double norm = 1.0 + K / (V * Q) + K2;
  const double a1 = 2.0 * (K2 - 1.0) / norm;
  store(c, (1.0 + K / Q + K2) / norm, a1, (1.0 - K / Q + K2) / norm, a1, (1.0 - K / (V * Q) + K2) / norm);
}

void ZRBiquadFilter::computeOnePole(double* c) const noexcept {
  const double w = 2.0 * std::numbers::pi * static_cast<double>(filterCutoff.value.load()) /
                   static_cast<double>(sampleRate);
  const double r = std::cos(w) / (1.0 + std::sin(w));
  if (biquadType == ZRBiquadType::onePoleLowpass) {
    store(c, (1.0 - r) / 2.0, (1.0 - r) / 2.0, 0.0, -r, 0.0);
  } else {
    store(c, (1.0 + r) / 2.0, -(1.0 + r) / 2.0, 0.0, -r, 0.0);
  }
}

void ZRBiquadFilter::stepRunningCoefficients() noexcept {
  ramping_ = false;
  for (std::size_t i = 0; i < running_.size(); ++i) {
    running_[i] += kRampRate * (coefficients_[i] - running_[i]);
    if (std::abs(coefficients_[i] - running_[i]) < kRampThreshold) {
      running_[i] = coefficients_[i];
    } else {
      ramping_ = true;
    }
  }
}

// A section whose numerator is its denominator gives back what it takes, once the two histories agree; what
// they may still differ by lies 200 dB below full scale and dies away.
bool ZRBiquadFilter::passesUnchanged(const double* delays) const noexcept {
  constexpr double kAgreement = 1e-10;
  const double* c = running_.data();
  return c[0] == 1.0 && c[1] == c[3] && c[2] == c[4] && std::abs(delays[0] - delays[2]) <= kAgreement &&
         std::abs(delays[1] - delays[3]) <= kAgreement;
}

void ZRBiquadFilter::passUnchanged(double* delays, const float* in, float* out, int frames) noexcept {
  for (int i = std::max(frames - 2, 0); i < frames; ++i) {
    delays[1] = delays[0];
    delays[0] = static_cast<double>(in[i]);
  }
  delays[2] = delays[0];
  delays[3] = delays[1];
  if (out != in) std::copy_n(in, frames, out);
}

void ZRBiquadFilter::runFilter(const float* in1, const float* in2, float* out1, float* out2,
                               int frames) noexcept {
  if (multichannel == 0) {
    runBiquadCascade(running_.data(), sections, delays_.data(), in1, out1, frames);
    if (out2 != nullptr) std::copy_n(out1, frames, out2);
    return;
  }
  if (settingsChanged()) {
    _updateCoefficients();
    storeSettings();
    ramping_ = true;
  }
  double* delays1 = channelDelays_.data();
  double* delays2 = delays1 + biquadDelayLength(sections);
  const bool isStereo = in2 != nullptr && out2 != nullptr;
  const double* c = running_.data();
  int i = 0;
  for (; i < frames && ramping_; ++i) {
    stepRunningCoefficients();
    runBiquadCascade(c, sections, delays1, in1 + i, out1 + i, 1);
    if (isStereo) runBiquadCascade(c, sections, delays2, in2 + i, out2 + i, 1);
  }
  if (isStereo && sections == 1 && out1 != in2 && out2 != in1) {
    runBiquadPair(c, delays1, delays2, in1 + i, in2 + i, out1 + i, out2 + i, frames - i);
    return;
  }
  if (!isStereo && sections == 1 && passesUnchanged(delays1)) {
    passUnchanged(delays1, in1 + i, out1 + i, frames - i);
    return;
  }
  runBiquadCascade(c, sections, delays1, in1 + i, out1 + i, frames - i);
  if (isStereo) runBiquadCascade(c, sections, delays2, in2 + i, out2 + i, frames - i);
}

BiquadPair ZRBiquadFilter::pair() noexcept {
  return {running_.data(), channelDelays_.data(), channelDelays_.data() + biquadDelayLength(sections)};
}

void ZRBiquadFilter::runThree(ZRBiquadFilter& first, ZRBiquadFilter& second, ZRBiquadFilter& third,
                              const float* in1, const float* in2, float* out1, float* out2,
                              int frames) noexcept {
  if (first.isSettledPair() && second.isSettledPair() && third.isSettledPair()) {
    const BiquadPair pairs[] = {first.pair(), second.pair(), third.pair()};
    runThreeBiquadPairs(pairs, in1, in2, out1, out2, frames);
    return;
  }
  first.runFilter(in1, in2, out1, out2, frames);
  second.runFilter(out1, out2, out1, out2, frames);
  third.runFilter(out1, out2, out1, out2, frames);
}

}  // namespace morv
