#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "effects/ZRSpectrumAnalyzer.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 48000.0F;
constexpr int kFloat = sizeof(float);
constexpr double kPi = std::numbers::pi;
// Of the greatest magnitude: rounding of a transform in floats.
constexpr double kTransformError = 2e-6;

double hann(int n, int size) { return std::sqrt(2.0 / 3.0) * (1 - std::cos(2 * kPi * n / size)); }

// Twice the windowed sums, bin by bin, over the first `transformed` samples of a window of `in`'s length; the
// pairs of what is left behind them.
std::vector<double> plainMagnitudes(const std::vector<float>& in, int transformed) {
  const int size = static_cast<int>(in.size());
  std::vector<double> windowed;
  for (int n = 0; n < size; ++n) {
    windowed.push_back(hann(n, size) * static_cast<double>(in[static_cast<std::size_t>(n)]));
  }
  std::vector<double> magnitudes;
  for (int k = 0; k < size / 2; ++k) {
    std::complex<double> sum = 0;
    for (int n = 0; n < transformed; ++n) {
      sum += windowed[static_cast<std::size_t>(n)] * std::polar(1.0, -2 * kPi * k * n / transformed);
    }
    const auto pair = static_cast<std::size_t>(2 * k);
    magnitudes.push_back(k < transformed / 2 ? 2 * std::abs(sum)
                                             : std::hypot(windowed[pair], windowed[pair + 1]));
  }
  magnitudes.front() = magnitudes.back() = 0;
  return magnitudes;
}

std::vector<float> sineAtBin(int bin, int size, float peak) {
  std::vector<float> in;
  for (int n = 0; n < size; ++n) {
    in.push_back(peak * static_cast<float>(std::sin(2 * kPi * bin * n / size)));
  }
  return in;
}

// What a callback was given.
struct Received {
  int calls = 0;
  std::vector<float> magnitudes;
};

void receive(float* magnitudes, int count, void* userData) {
  auto* received = static_cast<Received*>(userData);
  ++received->calls;
  received->magnitudes.assign(magnitudes, magnitudes + count);
}

TEST(ZRSpectrumAnalyzer, StartsEmptyWithAWindowOfUnitPower) {
  ZRSpectrumAnalyzer analyzer(kRate, 1024, kFloat);

  EXPECT_EQ(analyzer.identifier, "spectrum");
  EXPECT_TRUE(analyzer.parameters().empty());
  EXPECT_EQ(analyzer.fftSize, 1024);
  EXPECT_EQ(analyzer.log2Size, 10);
  EXPECT_EQ(analyzer.halfSize, 512);
  EXPECT_EQ(analyzer.fillPosition, 0);
  EXPECT_EQ(analyzer.sampleSize, 4);
  EXPECT_EQ(analyzer.scale, 1.0F / 4096.0F);
  EXPECT_EQ(analyzer.floorLevel, 1.5849e-13F);
  EXPECT_EQ(analyzer.half, 0.5F);
  EXPECT_EQ(analyzer.dataCallback, nullptr);
  EXPECT_EQ(analyzer.userData, nullptr);
  EXPECT_EQ(analyzer.inputBuffer.size(), 1024U);
  EXPECT_EQ(analyzer.windowedBuffer.size(), 1024U);
  EXPECT_EQ(analyzer.outputBuffer.size(), 1024U);
  EXPECT_EQ(analyzer.realPart.size(), 512U);
  EXPECT_EQ(analyzer.imaginaryPart.size(), 512U);
  double power = 0;
  for (int n = 0; n < 1024; ++n) {
    const auto w = static_cast<double>(analyzer.window[static_cast<std::size_t>(n)]);
    EXPECT_NEAR(w, hann(n, 1024), 1e-7);
    power += w * w;
  }
  EXPECT_NEAR(power / 1024, 1.0, 1e-6);
}

TEST(ZRSpectrumAnalyzer, PassesItsInputOnUnchanged) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  const Stereo in = stereoNoise(5000, 1);

  const Stereo out = runInBlocks(analyzer, in, 100);

  EXPECT_EQ(out.left, in.left);
  EXPECT_EQ(out.right, in.right);
  EXPECT_EQ(runInOneBuffer(analyzer, in.left, 64), in.left);
}

TEST(ZRSpectrumAnalyzer, MagnitudesAreTwiceTheWindowedSums) {
  for (const int size : {4, 8, 256, 2048}) {
    ZRSpectrumAnalyzer analyzer(kRate, size, kFloat);
    const Stereo in = stereoNoise(size, 2);

    runInBlocks(analyzer, in, size);

    const std::vector<double> expected = plainMagnitudes(in.left, size);
    const double tolerance = kTransformError * *std::max_element(expected.begin(), expected.end());
    for (std::size_t k = 0; k < expected.size(); ++k) {
      ASSERT_NEAR(static_cast<double>(analyzer.outputBuffer[k]), expected[k], tolerance) << size << " " << k;
    }
  }
}

TEST(ZRSpectrumAnalyzer, ALengthBetweenPowersOfTwoTransformsTheLowerOne) {
  ZRSpectrumAnalyzer analyzer(kRate, 23, kFloat);
  EXPECT_EQ(analyzer.log2Size, 4);
  EXPECT_EQ(analyzer.halfSize, 11);
  const Stereo in = stereoNoise(23, 3);

  runInBlocks(analyzer, in, 23);

  const std::vector<double> expected = plainMagnitudes(in.left, 16);
  for (std::size_t k = 0; k < 11; ++k) {
    EXPECT_NEAR(static_cast<double>(analyzer.outputBuffer[k]), expected[k], 1e-5) << k;
  }
}

TEST(ZRSpectrumAnalyzer, TooShortALengthIsHeldAtFour) {
  ZRSpectrumAnalyzer analyzer(kRate, -3, kFloat);

  EXPECT_EQ(analyzer.fftSize, 4);
  runInBlocks(analyzer, stereoNoise(16, 1), 4);
  EXPECT_EQ(analyzer.peakBin, 1);
}

TEST(ZRSpectrumAnalyzer, FindsASinesBinAndTwiceItsFrequency) {
  for (const float rate : {44100.0F, 96000.0F}) {
    ZRSpectrumAnalyzer analyzer(rate, 512, kFloat);
    const std::vector<float> in = sineAtBin(40, 512, 0.5F);

    analyzer.processBuffer(in.data(), 512);

    EXPECT_EQ(analyzer.peakBin, 40);
    EXPECT_FLOAT_EQ(analyzer.peakFrequency, 40.0F * rate / 256.0F);
    // The window spreads a sine over its bin and half as much over each neighbour.
    const double peak = 512 * 0.5 * std::sqrt(2.0 / 3.0);
    EXPECT_NEAR(static_cast<double>(analyzer.outputBuffer[40]), peak, 1e-4 * peak);
    EXPECT_NEAR(static_cast<double>(analyzer.outputBuffer[39]), peak / 2, 1e-4 * peak);
    EXPECT_NEAR(static_cast<double>(analyzer.outputBuffer[41]), peak / 2, 1e-4 * peak);
    EXPECT_EQ(analyzer.binsAboveThreshold, 3);
    EXPECT_NEAR(static_cast<double>(analyzer.weightedSum), 80 * peak, 0.01 * peak);
  }
}

TEST(ZRSpectrumAnalyzer, SumsThreeBands) {
  struct Case {
    int bin;
    int band;
  };
  // A sine's three bins lie in one band.
  for (const Case c : {Case{2, 0}, Case{4, 0}, Case{7, 1}, Case{63, 1}, Case{66, 2}, Case{120, 2}}) {
    ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
    const std::vector<float> in = sineAtBin(c.bin, 256, 1.0F);

    analyzer.processBuffer(in.data(), 256);

    for (int band = 0; band < 3; ++band) {
      const double expected = band == c.band ? 2 * 256 * std::sqrt(2.0 / 3.0) : 0.0;
      EXPECT_NEAR(static_cast<double>(analyzer.bands[static_cast<std::size_t>(band)]), expected, 0.01)
          << c.bin;
    }
  }
}

TEST(ZRSpectrumAnalyzer, TheWindowedBufferTakesTheBinsAndGivesTheirEnergy) {
  ZRSpectrumAnalyzer analyzer(kRate, 64, kFloat);
  const Stereo in = stereoNoise(64, 4);

  analyzer.processBuffer(in.left.data(), 64);

  double atNyquist = 0;
  double atZero = 0;
  double energyOfBins = 0;
  for (int n = 0; n < 64; ++n) {
    const double x = hann(n, 64) * static_cast<double>(in.left[static_cast<std::size_t>(n)]);
    atZero += 2 * x;
    atNyquist += 2 * (n % 2 == 0 ? x : -x);
  }
  EXPECT_NEAR(static_cast<double>(analyzer.windowedBuffer[0]), atZero, 1e-4);
  EXPECT_NEAR(static_cast<double>(analyzer.windowedBuffer[1]), atNyquist, 1e-4);
  for (std::size_t k = 0; k < 32; ++k) {
    EXPECT_EQ(analyzer.windowedBuffer[2 * k], analyzer.realPart[k]);
    EXPECT_EQ(analyzer.windowedBuffer[2 * k + 1], analyzer.imaginaryPart[k]);
    energyOfBins += std::pow(static_cast<double>(analyzer.realPart[k]), 2) +
                    std::pow(static_cast<double>(analyzer.imaginaryPart[k]), 2);
  }
  EXPECT_NEAR(static_cast<double>(analyzer.energy) / energyOfBins, 1.0, 1e-5);
}

TEST(ZRSpectrumAnalyzer, SilencePeaksInTheLastBinAtNoFrequency) {
  ZRSpectrumAnalyzer analyzer(kRate, 512, kFloat);

  runInBlocks(analyzer, Stereo(512), 64);

  EXPECT_EQ(analyzer.peakBin, 255);
  EXPECT_EQ(analyzer.peakFrequency, 0.0F);
  EXPECT_EQ(analyzer.binsAboveThreshold, 0);
}

TEST(ZRSpectrumAnalyzer, ASignalBelowTheThresholdHasAPeakAndNoFrequency) {
  ZRSpectrumAnalyzer analyzer(kRate, 512, kFloat);
  // Its bin is at 512 sqrt(2/3) of the level.
  const std::vector<float> in = sineAtBin(30, 512, 0.0099F / 418.05F);
  const std::vector<float> louder = sineAtBin(30, 512, 0.0101F / 418.05F);

  analyzer.processBuffer(in.data(), 512);
  EXPECT_EQ(analyzer.peakBin, 30);
  EXPECT_EQ(analyzer.peakFrequency, 0.0F);
  analyzer.processBuffer(louder.data(), 512);

  EXPECT_EQ(analyzer.binsAboveThreshold, 1);
  EXPECT_FLOAT_EQ(analyzer.peakFrequency, 30.0F * kRate / 256.0F);
}

TEST(ZRSpectrumAnalyzer, ABlockThatOverfillsTheWindowLosesItsTail) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  Received received;
  analyzer.setDataCallback(receive, &received);
  const std::vector<float> sine = sineAtBin(20, 256, 1.0F);
  std::vector<float> second(sine.begin() + 200, sine.end());
  second.resize(1000, 5.0F);

  analyzer.processBuffer(sine.data(), 200);
  EXPECT_EQ(received.calls, 0);
  EXPECT_EQ(analyzer.fillPosition, 200);
  analyzer.processBuffer(second.data(), 1000);

  EXPECT_EQ(received.calls, 1);
  EXPECT_EQ(analyzer.fillPosition, 0);
  EXPECT_EQ(analyzer.peakBin, 20);
  EXPECT_EQ(analyzer.binsAboveThreshold, 3);
}

TEST(ZRSpectrumAnalyzer, ABlockThatJustFillsTheWindowIsAnalysed) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  Received received;
  analyzer.setDataCallback(receive, &received);
  const Stereo in = stereoNoise(256, 5);

  analyzer.processBuffer(in.left.data(), 255);
  EXPECT_EQ(received.calls, 0);
  analyzer.processBuffer(in.left.data(), 0);
  EXPECT_EQ(analyzer.fillPosition, 255);
  analyzer.processBuffer(in.left.data(), 1);

  EXPECT_EQ(received.calls, 1);
}

TEST(ZRSpectrumAnalyzer, OneAnalysisABlockAtMost) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  Received received;
  analyzer.setDataCallback(receive, &received);

  runInBlocks(analyzer, stereoNoise(4096, 6), 4096);
  EXPECT_EQ(received.calls, 1);
  // 256 = 2 x 100 + 56: the third block fills the window.
  runInBlocks(analyzer, stereoNoise(900, 6), 100);
  EXPECT_EQ(received.calls, 4);
}

TEST(ZRSpectrumAnalyzer, TheCallbackGetsTheLowerHalfOfTheBins) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  Received received;
  analyzer.setDataCallback(receive, &received);

  runInBlocks(analyzer, stereoNoise(256, 7), 256);

  ASSERT_EQ(received.magnitudes.size(), 64U);
  EXPECT_EQ(received.magnitudes[0], 0.0F);
  for (std::size_t k = 0; k < 64; ++k) EXPECT_EQ(received.magnitudes[k], analyzer.outputBuffer[k]);
  EXPECT_GT(energy(received.magnitudes), 1.0);
}

TEST(ZRSpectrumAnalyzer, MeasuresTheLeftInputAlone) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  Stereo in = stereoNoise(256, 8);
  std::fill(in.left.begin(), in.left.end(), 0.0F);

  runInBlocks(analyzer, in, 64);

  EXPECT_EQ(analyzer.binsAboveThreshold, 0);
}

TEST(ZRSpectrumAnalyzer, BlocksThatFitTheWindowMeasureAlike) {
  const Stereo in = stereoNoise(256, 9);
  for (const int blockFrames : {1, 32, 64, 128}) {
    ZRSpectrumAnalyzer whole(kRate, 256, kFloat);
    ZRSpectrumAnalyzer parts(kRate, 256, kFloat);
    runInBlocks(whole, in, 256);
    runInBlocks(parts, in, blockFrames);
    for (std::size_t k = 0; k < 128; ++k) ASSERT_EQ(parts.outputBuffer[k], whole.outputBuffer[k]);
  }
}

TEST(ZRSpectrumAnalyzer, ResetKeepsWhatHasComeIn) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  runInBlocks(analyzer, stereoNoise(100, 1), 100);

  analyzer.reset();

  EXPECT_EQ(analyzer.fillPosition, 100);
}

TEST(ZRSpectrumAnalyzer, SetupTakesAnotherLength) {
  ZRSpectrumAnalyzer analyzer(kRate, 256, kFloat);
  runInBlocks(analyzer, stereoNoise(100, 1), 100);

  analyzer.setupFFT(1024);

  EXPECT_EQ(analyzer.fillPosition, 0);
  const std::vector<float> in = sineAtBin(300, 1024, 1.0F);
  analyzer.processBuffer(in.data(), 1024);
  EXPECT_EQ(analyzer.peakBin, 300);
}

TEST(ZRSpectrumAnalyzer, SamplesOfFewerBytesAreCopiedAsTheyAre) {
  ZRSpectrumAnalyzer narrow(kRate, 8, 2);
  const float in[8] = {1, 2, 3, 4, 5, 6, 7, 8};

  narrow.processBuffer(in, 7);

  EXPECT_EQ(narrow.inputBuffer[0], 1.0F);
  EXPECT_EQ(narrow.inputBuffer[2], 3.0F);
  EXPECT_EQ(narrow.inputBuffer[4], 0.0F);
}

TEST(ZRSpectrumAnalyzer, SamplesOfMoreBytesThanAFloatAreHeldAtAFloats) {
  ZRSpectrumAnalyzer wide(kRate, 8, 8);
  const float in[8] = {1, 2, 3, 4, 5, 6, 7, 8};

  wide.processBuffer(in, 7);

  EXPECT_EQ(wide.sampleSize, 4);
  EXPECT_EQ(wide.inputBuffer[6], 7.0F);
  EXPECT_EQ(wide.inputBuffer[7], 0.0F);
}

TEST(ZRSpectrumAnalyzer, ItsResultsStayFiniteWhateverComesIn) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const float bad : {std::nanf(""), kInfinity, -kInfinity, 3e38F}) {
    ZRSpectrumAnalyzer analyzer(kRate, 4096, kFloat);
    Stereo in = stereoNoise(4096, 10);
    std::fill(in.left.begin() + 1000, in.left.begin() + 3000, bad);

    runInBlocks(analyzer, in, 4096);

    for (std::size_t k = 0; k < 2048; ++k) ASSERT_TRUE(std::isfinite(analyzer.outputBuffer[k])) << bad;
    EXPECT_TRUE(std::isfinite(analyzer.peakFrequency));
    EXPECT_TRUE(std::isfinite(analyzer.weightedSum));
    EXPECT_TRUE(std::isfinite(analyzer.energy));
  }
}

}  // namespace
}  // namespace morv
