#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>

#include "tests/voice/FilterTesting.h"
#include "voice/ZRToneStack.h"

namespace morv {
namespace {

using testing::filterGainDb;
using testing::makeNoise;
using testing::runInBlocks;
using Complex = std::complex<double>;

constexpr double kDbTolerance = 0.01;

// Solves the network's node equations at one complex frequency, by Gaussian elimination. Nodes: top of the
// treble potentiometer, behind the slope resistor, foot of the treble potentiometer, middle wiper.
Complex networkResponse(Complex s) {
  const double treble = 1 / 250000.0;
  const double slope = 1 / 56000.0;
  const double bass = 1 / (500000.0 + 12500.0);
  const double middle = 1 / 12500.0;
  const Complex c1 = s * 0.25e-9;
  const Complex c2 = s * 20e-9;
  const Complex c3 = s * 20e-9;
  std::array<std::array<Complex, 5>, 4> a = {{{c1 + treble, 0.0, -treble, 0.0, c1},
                                              {0.0, slope + c2 + c3, -c2, -c3, slope},
                                              {-treble, -c2, treble + c2 + bass, -bass, 0.0},
                                              {0.0, -c3, -bass, bass + c3 + middle, 0.0}}};
  for (std::size_t i = 0; i < 4; ++i) {
    for (std::size_t j = i + 1; j < 4; ++j) {
      const Complex factor = a[j][i] / a[i][i];
      for (std::size_t k = i; k < 5; ++k) a[j][k] -= factor * a[i][k];
    }
  }
  std::array<Complex, 4> v{};
  for (std::size_t i = 4; i-- > 0;) {
    v[i] = a[i][4];
    for (std::size_t k = i + 1; k < 4; ++k) v[i] -= a[i][k] * v[k];
    v[i] /= a[i][i];
  }
  return (v[0] + v[2]) / 2.0;  // treble wiper in the middle
}

TEST(ZRToneStack, FollowsTheNetworkAtTheWarpedFrequency) {
  for (const double rate : {44100.0, 96000.0}) {
    for (const double f : {20.0, 100.0, 300.0, 600.0, 1500.0, 5000.0, 15000.0}) {
      ZRToneStack filter(static_cast<float>(rate));
      const Complex s(0.0, 2.0 * rate * std::tan(std::numbers::pi * f / rate));

      EXPECT_NEAR(filterGainDb(filter, f, rate), 20.0 * std::log10(std::abs(networkResponse(s))),
                  kDbTolerance)
          << f << " Hz at " << rate;
    }
  }
}

TEST(ZRToneStack, DipsInTheMiddleAndBlocksDc) {
  ZRToneStack filter(44100.0F);
  const double low = filterGainDb(filter, 80, 44100);
  const double dip = filterGainDb(filter, 500, 44100);
  const double high = filterGainDb(filter, 10000, 44100);
  EXPECT_LT(dip, low - 3.0);
  EXPECT_LT(dip, high - 3.0);

  ZRToneStack dc(44100.0F);
  const std::vector<float> step(44100, 1.0F);
  EXPECT_LT(std::abs(runInBlocks(dc, step, step, 4096).left.back()), 1e-6F);
}

TEST(ZRToneStack, ChannelsAreApartAndBlockSizeMakesNoDifference) {
  const auto in1 = makeNoise(512, 1.0F, 1);
  const auto in2 = makeNoise(512, 1.0F, 2);
  int counter = 0;
  ZRToneStack whole(44100.0F, &counter);
  const auto expected = runInBlocks(whole, in1, in2, 512);
  EXPECT_EQ(counter, 3);

  for (const int frames : {1, 7, 64}) {
    ZRToneStack filter(44100.0F);
    const auto out = runInBlocks(filter, in1, in2, frames);
    EXPECT_EQ(out.left, expected.left);
    EXPECT_EQ(out.right, expected.right);
  }
  ZRToneStack swapped(44100.0F);
  EXPECT_EQ(runInBlocks(swapped, in2, in1, 512).left, expected.right);
}

TEST(ZRToneStack, OneChannelAloneInPlaceAndResetEqualsFresh) {
  const auto in = makeNoise(128);
  ZRToneStack filter(44100.0F);
  const auto expected = runInBlocks(filter, in, in, 128);

  filter.reset();
  auto samples = in;
  filter.runFilter(samples.data(), nullptr, samples.data(), nullptr, 128);

  EXPECT_EQ(samples, expected.left);
}

}  // namespace
}  // namespace morv
