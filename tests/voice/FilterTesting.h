#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "platform/Random.h"
#include "voice/ZRDSPFilter.h"

namespace morv::testing {

// Uniform noise between -amplitude and amplitude.
inline std::vector<float> makeNoise(int frames, float amplitude = 1.0F, std::uint64_t seed = 1) {
  Random random(seed);
  std::vector<float> noise(static_cast<std::size_t>(frames));
  for (float& x : noise) x = amplitude * (2.0F * random.unit31() - 1.0F);
  return noise;
}

// Level in dB against the input's of a sine of whole hertz sent through `step`, one sample in and one out;
// taken by correlation over a second that follows a second of settling.
template <typename Step>
double sineGainDb(double frequencyHz, double sampleRateHz, Step&& step, double amplitude = 1.0) {
  const int second = static_cast<int>(sampleRateHz);
  double real = 0;
  double imaginary = 0;
  for (int i = 0; i < 2 * second; ++i) {
    const double phase = 2.0 * std::numbers::pi * std::fmod(frequencyHz * i / sampleRateHz, 1.0);
    const auto y = static_cast<double>(step(static_cast<float>(amplitude * std::sin(phase))));
    if (i < second) continue;
    real += y * std::sin(phase);
    imaginary += y * std::cos(phase);
  }
  return 20.0 * std::log10(2.0 * std::hypot(real, imaginary) / second / amplitude + 1e-12);
}

// The same through channel 1 of a filter.
inline double filterGainDb(ZRDSPFilter& filter, double frequencyHz, double sampleRateHz,
                           double amplitude = 1.0) {
  return sineGainDb(
      frequencyHz, sampleRateHz,
      [&](float x) {
        float y = 0;
        float other = 0;
        filter.runFilter(&x, &x, &y, &other, 1);
        return y;
      },
      amplitude);
}

struct Stereo {
  std::vector<float> left;
  std::vector<float> right;
};

// Runs a filter over two channels in blocks of the given size.
inline Stereo runInBlocks(ZRDSPFilter& filter, const std::vector<float>& in1, const std::vector<float>& in2,
                          int blockFrames) {
  Stereo out{std::vector<float>(in1.size()), std::vector<float>(in1.size())};
  const int total = static_cast<int>(in1.size());
  for (int at = 0; at < total; at += blockFrames) {
    const int frames = std::min(blockFrames, total - at);
    filter.runFilter(in1.data() + at, in2.data() + at, out.left.data() + at, out.right.data() + at, frames);
  }
  return out;
}

inline bool allFinite(const std::vector<float>& samples) {
  return std::all_of(samples.begin(), samples.end(), [](float x) { return std::isfinite(x); });
}

// A matrix of its own row array whose destinations are fed sample by sample.
class TestMatrix {
 public:
  TestMatrix() : matrix(64) { matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore()); }

  // Feeds a parameter's destination with `values` from now on.
  void feed(const ZRDSPParameter& parameter, const std::vector<float>& values) {
    const int source = matrix.registerSource(nullptr, false, false, "test");
    std::copy(values.begin(), values.end(), matrix.sourceBuffer(source));
    matrix.addRow(source, parameter.address, nullptr, 1.0F, 0);
    matrix.runMatrix(static_cast<int>(values.size()));
  }

  ZRDSPModMatrix matrix;
};

}  // namespace morv::testing
