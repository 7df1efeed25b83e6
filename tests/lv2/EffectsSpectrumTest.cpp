// What the analyser tells its host.

#include <gmock/gmock.h>

#include "tests/lv2/EffectsFixture.h"

namespace morv::lv2 {
namespace {

using testing::Each;
using testing::SizeIs;

constexpr double kRateHz = 48000.0;
constexpr std::size_t kWindow = 2048;

class EffectsSpectrum : public OneEffect {
 protected:
  static std::size_t greatestBin(const EffectHost::Spectrum& spectrum) {
    const auto& m = spectrum.magnitudes;
    return static_cast<std::size_t>(std::max_element(m.begin(), m.end()) - m.begin());
  }

  Lv2World world_{std::string(kEffectUriStart) + "spectrum"};
  EffectHost host_{world_, kRateHz};
};

TEST_F(EffectsSpectrum, ShowsASineOfOneKilohertzInItsBin) {
  const EffectSound in = sine(kWindow * 10, 1000.0, kRateHz);
  host_.activate();
  host_.runAll(in.left, in.right, 256);

  ASSERT_THAT(host_.spectra, SizeIs(10));
  for (const EffectHost::Spectrum& spectrum : host_.spectra) {
    EXPECT_EQ(spectrum.sampleRateHz, 48000.0F);
    EXPECT_EQ(spectrum.fftSize, 2048);
    ASSERT_THAT(spectrum.magnitudes, SizeIs(1024));
    EXPECT_EQ(greatestBin(spectrum), 43U);  // 1000 x 2048 / 48000 = 42.67
    EXPECT_EQ(spectrum.frame, 255U) << "the window ends with a cycle";
  }
  EXPECT_EQ(host_.left, in.left);
  EXPECT_EQ(host_.right, in.right);
}

TEST_F(EffectsSpectrum, TellsWhichMagnitudeIsFullScale) {
  const EffectSound in = sine(kWindow, 42.0 * kRateHz / 2048.0, kRateHz, 1.0);
  host_.activate();
  host_.runAll(in.left, in.right, 2048);

  ASSERT_THAT(host_.spectra, SizeIs(1));
  constexpr float kRounding = 1e-3F;  // of a float transform, by the magnitude
  EXPECT_NEAR(host_.spectra[0].magnitudes[42] / host_.spectra[0].fullScale, 1.0F, kRounding);
  EXPECT_LT(host_.spectra[0].magnitudes[50] / host_.spectra[0].fullScale, kRounding);
}

TEST_F(EffectsSpectrum, LooksAtTheLeftSide) {
  EffectSound in = sine(kWindow, 1000.0, kRateHz);
  std::fill(in.left.begin(), in.left.end(), 0.0F);
  host_.activate();
  host_.run(in.left, in.right);

  ASSERT_THAT(host_.spectra, SizeIs(1));
  EXPECT_THAT(host_.spectra[0].magnitudes, Each(0.0F));
}

TEST_F(EffectsSpectrum, TellsEachWindowOfALongCycleAtItsFrame) {
  const EffectSound in = sine(kWindow * 4, 3000.0, kRateHz);
  host_.activate();
  host_.runAll(in.left, in.right, 8192);

  ASSERT_THAT(host_.spectra, SizeIs(4));
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(host_.spectra[i].frame, (i + 1) * kWindow - 1);
    EXPECT_EQ(greatestBin(host_.spectra[i]), 128U);
  }
}

TEST_F(EffectsSpectrum, LeavesOutWhatHasNoRoom) {
  const EffectSound in = sine(kWindow * 4, 3000.0, kRateHz);
  host_.activate();
  for (const std::uint32_t bytes : {0U, 8U, 24U, 100U, 4000U, 4300U, 9000U}) {
    host_.spectra.clear();
    host_.notifyBytes = bytes;
    host_.runAll(in.left, in.right, 8192);
    // A spectrum is 4096 bytes of magnitudes and less than 200 around them.
    EXPECT_THAT(host_.spectra, SizeIs(bytes / 4300)) << bytes;
    for (const EffectHost::Spectrum& spectrum : host_.spectra) EXPECT_EQ(greatestBin(spectrum), 128U);
  }
}

TEST_F(EffectsSpectrum, TellsNothingWhileItIsNotEnabled) {
  const EffectSound in = sine(kWindow * 2, 3000.0, kRateHz);
  host_.port("enabled") = 0;
  host_.activate();
  host_.runAll(in.left, in.right, 64);
  EXPECT_THAT(host_.spectra, SizeIs(0));
  EXPECT_EQ(host_.left, in.left);

  host_.port("enabled") = 1;
  host_.runAll(in.left, in.right, 64);
  EXPECT_THAT(host_.spectra, SizeIs(2));
}

TEST_F(EffectsSpectrum, RunsWithoutAPortForIt) {
  const EffectSound in = sine(kWindow * 2, 3000.0, kRateHz);
  host_.activate();
  host_.prepareCycle(in.left, in.right);
  lilv_instance_connect_port(host_.instance(), host_.indexOf("notify"), nullptr);
  host_.runBare(4096);
  host_.finishCycle(4096);
  EXPECT_EQ(host_.left, in.left);
}

}  // namespace
}  // namespace morv::lv2
