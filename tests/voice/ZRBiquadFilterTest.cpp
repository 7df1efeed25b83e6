#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>

#include "tests/voice/BiquadTesting.h"
#include "tests/voice/FilterTesting.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {
namespace {

using testing::bilinear;
using testing::coefficientsOf;
using testing::filterGainDb;
using testing::Section;
using testing::takeSettings;

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 44100.0;
constexpr float kRateF = 44100.0F;
// The tangent is taken in single precision.
constexpr double kCoefficientTolerance = 2e-6;
constexpr double kDbTolerance = 0.02;

// The analogue prototype of each type, q being the resonance parameter.
Section prototype(ZRBiquadType type, double K, double Q, double V, double cutoffHz, double bandwidthHz,
                  double q) {
  const double S = std::sqrt(2.0);
  const double peakQ = cutoffHz / bandwidthHz;
  const bool boosts = V > 1.0;
  switch (type) {
    case ZRBiquadType::lowpass:
      return bilinear(K, 1, 0, 0, 1, 1 / Q, 1);
    case ZRBiquadType::highpass:
      return bilinear(K, 0, 0, 1, 1, 1 / Q, 1);
    case ZRBiquadType::bandpass:
      return bilinear(K, 0, 1 / Q, 0, 1, 1 / Q, 1);
    case ZRBiquadType::notch:
      return bilinear(K, 1, 0, 1, 1, 1 / Q, 1);
    case ZRBiquadType::allpass:
      return bilinear(K, 1, -1 / Q, 1, 1, 1 / Q, 1);
    case ZRBiquadType::lowShelf:
      return boosts ? bilinear(K, V, 2 * V, 1, 1, S, 1) : bilinear(K, V, V * S, V, 1, 2 * V, V);
    case ZRBiquadType::highShelf:
      return boosts ? bilinear(K, 1, 2 * V, V, 1, S, 1) : bilinear(K, V, V * S, V, V, 2 * V, 1);
    case ZRBiquadType::peaking:
      return boosts ? bilinear(K, 1, V / peakQ, 1, 1, 1 / peakQ, 1)
                    : bilinear(K, 1, 1 / peakQ, 1, 1, 1 / (V * peakQ), 1);
    case ZRBiquadType::resonantBandpass:
      return bilinear(K, 0, 1 / q, 0, 1, 1 / q, 1);
    case ZRBiquadType::onePoleLowpass:
      return {K / (1 + K), K / (1 + K), 0, (K - 1) / (K + 1), 0};
    case ZRBiquadType::onePoleHighpass:
      return {1 / (1 + K), -1 / (1 + K), 0, (K - 1) / (K + 1), 0};
    case ZRBiquadType::none:
      break;
  }
  return {0, 0, 0, 0, 0};
}

double butterworthQ(int section, int sections) {
  return 1.0 / (2.0 * std::cos(kPi * (2.0 * section + 1.0) / (4.0 * sections)));
}

TEST(ZRBiquadType, NumbersItsTwelveValuesInOrder) {
  EXPECT_EQ(static_cast<int>(ZRBiquadType::lowpass), 0);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::highpass), 1);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::bandpass), 2);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::notch), 3);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::allpass), 4);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::lowShelf), 5);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::highShelf), 6);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::peaking), 7);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::resonantBandpass), 8);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::onePoleLowpass), 9);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::onePoleHighpass), 10);
  EXPECT_EQ(static_cast<int>(ZRBiquadType::none), 11);
}

TEST(ZRBiquadFilter, ConstructorFillsTheFieldsAndComputesAtOnce) {
  ZRBiquadFilter mono(ZRBiquadType::lowpass, 1000, 3, 1, kRateF);
  ZRBiquadFilter stereo(ZRBiquadType::peaking, 2000, 1, 2, 48000);

  EXPECT_EQ(mono.sections, 3);
  EXPECT_EQ(mono.channels, 1);
  EXPECT_EQ(mono.multichannel, 0);
  EXPECT_EQ(mono.filterCutoff.value, 1000.0F);
  EXPECT_EQ(mono.biquadType, ZRBiquadType::lowpass);
  EXPECT_EQ(mono.gain, 0.0F);
  EXPECT_EQ(mono.sampleRate, 44100.0F);
  EXPECT_NEAR(mono.K, std::tan(kPi * 1000.0 / kRate), 1e-7);
  EXPECT_EQ(mono.K, static_cast<double>(static_cast<float>(mono.K)));  // a float tangent
  EXPECT_EQ(mono.coefficients().size(), 15U);
  EXPECT_EQ(stereo.multichannel, 1);
  EXPECT_EQ(stereo.sampleRate, 48000.0F);
  EXPECT_EQ(ZRBiquadFilter(ZRBiquadType::none, 1, 1, 0, kRateF).multichannel, 0);
}

TEST(ZRBiquadFilter, EveryTypeIsTheBilinearTransformOfItsPrototype) {
  for (int type = 0; type <= 11; ++type) {
    for (const float cutoff : {30.0F, 1000.0F, 15000.0F}) {
      for (const float gain : {-12.0F, 0.0F, 6.0F}) {
        for (const int sections : {1, 2, 5}) {
          const auto kind = static_cast<ZRBiquadType>(type);
          ZRBiquadFilter filter(kind, cutoff, sections, 2, kRateF);
          filter.gain = gain;
          filter.bandwidth = 700;
          filter.filterResonance = 3.0F;
          takeSettings(filter);

          const double K = std::tan(kPi * static_cast<double>(cutoff) / kRate);
          const double V = std::pow(10.0, static_cast<double>(gain) / 20.0);
          for (int s = 0; s < sections; ++s) {
            const Section expected =
                prototype(kind, K, butterworthQ(s, sections), V, static_cast<double>(cutoff), 700.0, 3.0);
            const Section c = coefficientsOf(filter, s);
            for (std::size_t i = 0; i < 5; ++i)
              ASSERT_NEAR(c[i], expected[i], kCoefficientTolerance)
                  << "type " << type << " cutoff " << cutoff << " gain " << gain << " section " << s << " of "
                  << sections << " coefficient " << i;
          }
        }
      }
    }
  }
}

TEST(ZRBiquadFilter, AllPassEndsInAnExactOne) {
  ZRBiquadFilter filter(ZRBiquadType::allpass, 777, 3, 1, kRateF);

  for (int s = 0; s < 3; ++s) EXPECT_EQ(coefficientsOf(filter, s)[2], 1.0);
}

TEST(ZRBiquadFilter, ButterworthCascadesAreThreeDbDownAtCutoffWhateverTheirOrder) {
  for (const int sections : {1, 2, 4}) {
    ZRBiquadFilter low(ZRBiquadType::lowpass, 1000, sections, 1, kRateF);
    ZRBiquadFilter high(ZRBiquadType::highpass, 1000, sections, 1, kRateF);
    EXPECT_NEAR(filterGainDb(low, 1000, kRate), -3.01, kDbTolerance);
    EXPECT_NEAR(filterGainDb(high, 1000, kRate), -3.01, kDbTolerance);
    EXPECT_NEAR(filterGainDb(low, 20, kRate), 0.0, kDbTolerance);
    EXPECT_NEAR(filterGainDb(high, 20000, kRate), 0.0, kDbTolerance);
  }
}

TEST(ZRBiquadFilter, EachSectionAddsTwelveDbPerOctave) {
  for (const int sections : {1, 2, 3}) {
    ZRBiquadFilter high(ZRBiquadType::highpass, 2000, sections, 1, kRateF);
    const double octave = filterGainDb(high, 500, kRate) - filterGainDb(high, 250, kRate);
    EXPECT_NEAR(octave, 12.04 * sections, 0.25);
  }
}

TEST(ZRBiquadFilter, BandPassNotchAndAllPassHaveTheirLevels) {
  ZRBiquadFilter band(ZRBiquadType::bandpass, 1000, 1, 1, kRateF);
  ZRBiquadFilter notch(ZRBiquadType::notch, 1000, 1, 1, kRateF);
  ZRBiquadFilter allpass(ZRBiquadType::allpass, 1000, 4, 1, kRateF);

  EXPECT_NEAR(filterGainDb(band, 1000, kRate), 0.0, kDbTolerance);
  EXPECT_LT(filterGainDb(band, 20, kRate), -30.0);
  EXPECT_LT(filterGainDb(band, 20000, kRate), -30.0);
  EXPECT_LT(filterGainDb(notch, 1000, kRate), -80.0);
  EXPECT_NEAR(filterGainDb(notch, 20, kRate), 0.0, kDbTolerance);
  for (const double f : {50.0, 1000.0, 9000.0})
    EXPECT_NEAR(filterGainDb(allpass, f, kRate), 0.0, kDbTolerance);
}

TEST(ZRBiquadFilter, ShelvesAndPeakReachTheirGain) {
  for (const float gain : {-9.0F, 9.0F}) {
    const auto make = [&](ZRBiquadType type) {
      auto filter = std::make_unique<ZRBiquadFilter>(type, 1000.0F, 1, 2, kRateF);
      filter->gain = gain;
      filter->bandwidth = 500;
      return filter;
    };
    const auto low = make(ZRBiquadType::lowShelf);
    const auto high = make(ZRBiquadType::highShelf);
    const auto peak = make(ZRBiquadType::peaking);

    EXPECT_NEAR(filterGainDb(*low, 10, kRate), gain, 0.15);
    EXPECT_NEAR(filterGainDb(*low, 20000, kRate), 0.0, 0.15);
    EXPECT_NEAR(filterGainDb(*high, 10, kRate), 0.0, 0.15);
    EXPECT_NEAR(filterGainDb(*high, 20000, kRate), gain, 0.15);
    EXPECT_NEAR(filterGainDb(*peak, 1000, kRate), gain, kDbTolerance);
    EXPECT_NEAR(filterGainDb(*peak, 20, kRate), 0.0, kDbTolerance);
  }
}

TEST(ZRBiquadFilter, OnePoleTypesAreThreeDbDownAtCutoff) {
  ZRBiquadFilter low(ZRBiquadType::onePoleLowpass, 1000, 1, 1, kRateF);
  ZRBiquadFilter high(ZRBiquadType::onePoleHighpass, 1000, 1, 1, kRateF);

  EXPECT_NEAR(filterGainDb(low, 1000, kRate), -3.01, kDbTolerance);
  EXPECT_NEAR(filterGainDb(high, 1000, kRate), -3.01, kDbTolerance);
  EXPECT_NEAR(filterGainDb(high, 100, kRate) - filterGainDb(high, 50, kRate), 6.0, 0.1);
}

}  // namespace
}  // namespace morv
