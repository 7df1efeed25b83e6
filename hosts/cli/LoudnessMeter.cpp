#include "hosts/cli/LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace morv::cli {
namespace {

constexpr double kTableRateHz = 48000.0;
constexpr double kHopSeconds = 0.1;
constexpr std::size_t kHopsPerBlock = 4;
constexpr double kOffsetDb = -0.691;  // the K-weighting's gain at 997 Hz, taken back
constexpr double kAbsoluteGateLufs = -70.0;
constexpr double kRelativeGateLu = -10.0;
constexpr double kSilence = -std::numeric_limits<double>::infinity();

double loudnessOf(double meanSquare) { return kOffsetDb + 10.0 * std::log10(meanSquare); }

}  // namespace

// The tables of the Recommendation: a shelf for the head, then a high-pass.
LoudnessMeter::LoudnessMeter(double sampleRateHz)
    : filters_{movedTo(sampleRateHz, {1.53512485958697, -2.69169618940638, 1.19839281085285,
                                      -1.69065929318241, 0.73248077421585}),
               movedTo(sampleRateHz, {1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621})},
      framesPerHop_(static_cast<std::size_t>(std::lround(sampleRateHz * kHopSeconds))) {}

// Undoes the bilinear transform, p = (1 - z^-1) / (1 + z^-1), and does it again with p stretched so that the
// poles' natural frequency stays at the same number of hertz.
LoudnessMeter::Biquad LoudnessMeter::movedTo(double sampleRateHz, const Biquad& at48kHz) {
  if (sampleRateHz == kTableRateHz) return at48kHz;
  struct Analog {
    double p0, p1, p2;
  };
  const auto toAnalog = [](double c0, double c1, double c2) {
    return Analog{c0 + c1 + c2, 2.0 * (c0 - c2), c0 - c1 + c2};
  };
  const Analog zeros = toAnalog(at48kHz.b0, at48kHz.b1, at48kHz.b2);
  const Analog poles = toAnalog(1.0, at48kHz.a1, at48kHz.a2);
  const double tangent = std::sqrt(poles.p0 / poles.p2);  // of pi * corner / rate
  const double cornerHz = std::atan(tangent) * kTableRateHz / std::numbers::pi;
  const double stretch = tangent / std::tan(std::numbers::pi * cornerHz / sampleRateHz);
  const auto toDigital = [stretch](const Analog& analog) {
    const double p1 = analog.p1 * stretch;
    const double p2 = analog.p2 * stretch * stretch;
    return std::array{analog.p0 + p1 + p2, 2.0 * (analog.p0 - p2), analog.p0 - p1 + p2};
  };
  const auto b = toDigital(zeros);
  const auto a = toDigital(poles);
  return {b[0] / a[0], b[1] / a[0], b[2] / a[0], a[1] / a[0], a[2] / a[0]};
}

double LoudnessMeter::weighted(float sample, std::array<State, 2>& states) const {
  double x = sample;
  for (std::size_t i = 0; i < filters_.size(); ++i) {
    const Biquad& filter = filters_[i];
    const double y = filter.b0 * x + states[i].s1;
    states[i].s1 = filter.b1 * x - filter.a1 * y + states[i].s2;
    states[i].s2 = filter.b2 * x - filter.a2 * y;
    x = y;
  }
  return x;
}

void LoudnessMeter::add(const float* left, const float* right, std::size_t frames) {
  for (std::size_t i = 0; i < frames; ++i) {
    const double l = weighted(left[i], states_[0]);
    const double r = weighted(right[i], states_[1]);
    sum_ += l * l + r * r;
    if (++framesInHop_ < framesPerHop_) continue;
    hops_.push_back(sum_);
    sum_ = 0;
    framesInHop_ = 0;
  }
}

double LoudnessMeter::integratedLufs() const {
  std::vector<double> blocks;
  for (std::size_t i = kHopsPerBlock; i <= hops_.size(); ++i) {
    double sum = 0;
    for (std::size_t j = i - kHopsPerBlock; j < i; ++j) sum += hops_[j];
    blocks.push_back(sum / static_cast<double>(kHopsPerBlock * framesPerHop_));
  }
  const auto meanAbove = [&blocks](double gateLufs) {
    double sum = 0;
    std::size_t count = 0;
    for (const double block : blocks) {
      if (!(loudnessOf(block) > gateLufs)) continue;
      sum += block;
      ++count;
    }
    return count == 0 ? kSilence : loudnessOf(sum / static_cast<double>(count));
  };
  const double ungated = meanAbove(kAbsoluteGateLufs);
  if (ungated == kSilence) return kSilence;
  return meanAbove(std::max(kAbsoluteGateLufs, ungated + kRelativeGateLu));
}

}  // namespace morv::cli
