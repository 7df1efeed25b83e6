#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZREcoVerb.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainReverb.h"

namespace morv {
namespace {

// First sample of an impulse's response that reaches a level.
int onset(const std::vector<float>& response, float level) {
  for (std::size_t i = 0; i < response.size(); ++i) {
    if (std::abs(response[i]) > level) return static_cast<int>(i);
  }
  return -1;
}

TEST(ZREcoVerb, HasItsParametersInOrder) {
  ZREcoVerb reverb(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(reverb, {{"reverbBypass", "Bypass", 0, 1, 0, U::boolean},
                            {"reverbMix", "Reverb Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                            {"reverbSize", "Size", 0, 1, 0.25F, U::generic},
                            {"reverbDecay", "Decay", 0, 1, 0.5F, U::generic},
                            {"spread", "Spread", 0, 1, 1, U::generic},
                            {"modAmount", "Mod Amount", 0, 1, 0.5F, U::generic},
                            {"modFrequency", "Mod Frequency", 0, 10, 1, U::hertz},
                            {"highpass", "Highpass", 0, 1, 0, U::generic}});
  EXPECT_EQ(reverb.identifier, "ecoverb");
  EXPECT_EQ(reverb.name, "EcoVerb");
}

TEST(ZREcoVerb, LinesAndInputFiltersKeepTheConstructorsRate) {
  ZREcoVerb reverb(48000.0F);

  reverb.prepare(96000.0F, 64);

  EXPECT_EQ(reverb.loopAP1.size, 48000);
  EXPECT_EQ(reverb.loopD4.size, 48000);
  EXPECT_EQ(reverb.diffusers[3].size, 48000);
  EXPECT_EQ(reverb.variableHighpass.sampleRate, 48000.0F);
  EXPECT_EQ(reverb.fixedLowpass.sampleRate, 48000.0F);
  EXPECT_EQ(reverb.sampleRate, 96000.0F);
  EXPECT_EQ(reverb.loopD1.linear, 0);
  EXPECT_EQ(reverb.damping, 0.0F);
  EXPECT_EQ(reverb.fixedHighpass.filterCutoff.value.load(), 100.0F);
  EXPECT_EQ(reverb.fixedLowpass.filterCutoff.value.load(), 15000.0F);
}

TEST(ZREcoVerb, TapsStandAtTheirSamples) {
  // Without modulation, feedback and low end of the filters in the way: right input alone reaches the third
  // all-pass at once, so its taps show the input at their distances, less a sample as they are read behind
  // the step.
  const auto reverb = preparedReverb();
  reverb->modAmount = 0.0F;
  reverb->reverbDecay = 0.0F;
  reverb->mix = 100.0F;
  reverb->reverbSize = 0.45F;  // taps as they are

  const Stereo out = runInBlocks(*reverb, stereoImpulse(6000, 0.0F, 1.0F), 64);

  // The impulse enters the line at frame 0 and is read back `tap` samples behind the position that follows.
  EXPECT_EQ(onset(out.left, 0.1F), 265);
  EXPECT_GT(std::abs(out.left[2973]), 0.1F);
  EXPECT_EQ(onset(out.right, 0.1F), 2110);
  EXPECT_LT(out.right[2110], 0.0F);
}

TEST(ZREcoVerb, SizeScalesTheTapsAlone) {
  for (const float size : {0.0F, 0.25F, 1.0F}) {
    const auto reverb = preparedReverb();
    reverb->modAmount = 0.0F;
    reverb->reverbDecay = 0.0F;
    reverb->mix = 100.0F;
    reverb->reverbSize = size;

    const Stereo out = runInBlocks(*reverb, stereoImpulse(8000, 0.0F, 1.0F), 64);

    // Less a sample as above, and half of one for the read between two samples.
    EXPECT_NEAR(onset(out.left, 0.05F), 266 * (0.1F + 2 * size) - 1.5F, 1.2F) << size;
    EXPECT_NEAR(onset(out.right, 0.05F), 2111 * (0.1F + 2 * size) - 1.5F, 1.2F) << size;
  }
}

TEST(ZREcoVerb, DecayOfNothingDoesNotRecirculate) {
  const auto reverb = preparedReverb();
  reverb->reverbDecay = 0.0F;
  reverb->mix = 100.0F;
  reverb->modAmount = 0.0F;

  const Stereo out = runInBlocks(*reverb, stereoImpulse(88200), 64);

  // All that the taps see lies in the first all-pass of each branch, which dies away by half each 908
  // samples.
  const std::vector<float> late(out.left.begin() + 44100, out.left.end());
  EXPECT_LT(10 * std::log10(energy(late) / energy(out.left)), -100.0);
}

TEST(ZREcoVerb, GreaterDecayRingsLonger) {
  double before = -1000;
  for (const float decay : {0.1F, 0.3F, 0.5F, 0.7F, 0.85F}) {
    const auto reverb = preparedReverb();
    reverb->reverbDecay = decay;
    reverb->mix = 100.0F;
    const Stereo out = runInBlocks(*reverb, stereoImpulse(88200), 64);
    const std::vector<float> late(out.left.begin() + 44100, out.left.end());
    const double levelDb = 10 * std::log10(energy(late) / energy(out.left));
    EXPECT_GT(levelDb, before + 3.0) << decay;
    before = levelDb;
  }
}

TEST(ZREcoVerb, FullDecayStaysBoundedForTenMinutesOfFullScaleNoise) {
  const ScopedFlushDenormals guard;
  const auto reverb = preparedReverb();
  reverb->reverbDecay = 1.0F;
  reverb->mix = 100.0F;
  const Stereo second = stereoNoise(44100, 4, 1.0F);
  Stereo out(44100);
  float peak = 0;
  for (int i = 0; i < 600; ++i) {
    for (int start = 0; start < 44100; start += 4096) {
      const int n = std::min(4096, 44100 - start);
      reverb->runEffect(second.left.data() + start, second.right.data() + start, out.left.data() + start,
                        out.right.data() + start, n, 120.0F);
    }
    ASSERT_TRUE(isFinite(out)) << i;
    peak = std::max({peak, peakOf(out.left), peakOf(out.right)});
  }

  EXPECT_GT(peak, 1.0F);
  EXPECT_LT(peak, 30.0F);
}

TEST(ZREcoVerb, FullDecayAloneRingsOnWithinItsSaturation) {
  const auto reverb = preparedReverb();
  reverb->reverbDecay = 1.0F;
  reverb->mix = 100.0F;
  runInBlocks(*reverb, stereoNoise(44100, 5), 64);

  const Stereo tail = runInBlocks(*reverb, Stereo(44100 * 60), 512);

  EXPECT_TRUE(isFinite(tail));
  const std::vector<float> last(tail.left.end() - 44100, tail.left.end());
  EXPECT_GT(energy(last), 1.0);
  EXPECT_LT(peakOf(last), 10.0F);
}

TEST(ZREcoVerb, FixedFiltersAlwaysStayIn) {
  const double rate = static_cast<double>(kRate);
  const auto prewarped = [rate](double hz) { return std::tan(std::numbers::pi * hz / rate); };
  const auto wetLevelDb = [rate](double frequencyHz, float highpass) {
    const auto reverb = preparedReverb();
    reverb->mix = 100.0F;
    reverb->highpass = highpass;
    reverb->modAmount = 0.0F;
    reverb->reverbDecay = 0.0F;
    const Stereo in = stereoSine(88200, frequencyHz, rate);
    const Stereo out = runInBlocks(*reverb, in, 64);
    const std::vector<float> late(out.right.begin() + 44100, out.right.end());
    return 10 * std::log10(energy(late));
  };
  // With the left channel out of the way by symmetry of levels, only differences between close settings
  // count: at 1 kHz the high-pass of 5001 Hz takes 28 dB (second order), at 20 Hz the fixed one takes 28 dB.
  const double open = wetLevelDb(1000.0, 0.0F);
  EXPECT_NEAR(wetLevelDb(1000.0, 1.0F) - open,
              10 * std::log10(1.0 / (1.0 + std::pow(prewarped(5001.0) / prewarped(1000.0), 4))), 0.1);

  ZREcoVerb reverb(kRate);
  std::vector<float> left(44100);
  std::vector<float> right(44100);
  const Stereo low = stereoSine(44100, 20.0, rate);
  reverb.fixedHighpass.runFilter(low.left.data(), low.right.data(), left.data(), right.data(), 44100);
  EXPECT_NEAR(10 * std::log10(energy(left) / energy(low.left)), -27.97, 0.6);
}

TEST(ZREcoVerb, NoModFrequencyFreezesThePhase) {
  const auto reverb = preparedReverb();
  reverb->modFrequency = 3.0F;
  runInBlocks(*reverb, stereoNoise(5000, 7), 64);
  const float phase = reverb->phase;
  reverb->modFrequency = 0.0F;

  runInBlocks(*reverb, stereoNoise(5000, 7), 64);

  EXPECT_GT(phase, 0.0F);
  EXPECT_EQ(reverb->phase, phase);
}

TEST(ZREcoVerb, GrowsShorterAsTheRateRises) {
  const auto slow = preparedReverb(44100.0F);
  const auto fast = preparedReverb(88200.0F);
  for (ZREcoVerb* reverb : {slow.get(), fast.get()}) {
    reverb->mix = 100.0F;
    reverb->reverbDecay = 0.0F;
    reverb->reverbSize = 0.45F;
    reverb->modAmount = 0.0F;
  }

  const Stereo a = runInBlocks(*slow, stereoImpulse(6000, 0.0F, 1.0F), 64);
  const Stereo b = runInBlocks(*fast, stereoImpulse(6000, 0.0F, 1.0F), 64);

  // The input filters make it a sample's difference, where a reverb in seconds would double it.
  EXPECT_NEAR(onset(a.left, 0.1F), onset(b.left, 0.1F), 1);
}

TEST(ZREcoVerb, AlwaysCrossfades) {
  const Stereo in = stereoNoise(5000, 8);
  const auto insert = preparedReverb();
  const auto send = preparedReverb();
  send->routing = 1;

  EXPECT_EQ(runInBlocks(*insert, in, 64).left, runInBlocks(*send, in, 64).left);
}

TEST(ZREcoVerb, LeavesItsOutputsAloneWhileBypassed) {
  const auto reverb = preparedReverb();
  reverb->bypass = 1.0F;
  const float in[1] = {0.5F};
  float left[1] = {0.1F};
  float right[1] = {0.3F};

  reverb->runEffect(in, in, left, right, 1, 120.0F);

  EXPECT_EQ(left[0], 0.1F);
  EXPECT_EQ(right[0], 0.3F);
  EXPECT_EQ(reverb->phase, 0.0F);
}

TEST(ZREcoVerb, GivesTheSameForEveryBlockSize) {
  const Stereo in = stereoNoise(20000, 10);
  const auto reference = preparedReverb();
  const Stereo expected = runInBlocks(*reference, in, 64);
  for (const int block : {1, 7, 63, 65, 4096}) {
    const auto reverb = preparedReverb();
    EXPECT_LT(differenceDb(expected, runInBlocks(*reverb, in, block)), -110.0) << block;
  }
}

TEST(ZREcoVerb, WorksInPlace) {
  const Stereo in = stereoNoise(3000, 11);
  const auto apart = preparedReverb();
  const auto inPlace = preparedReverb();
  const Stereo expected = runInBlocks(*apart, in, 3000);
  Stereo s = in;

  inPlace->runEffect(s.left.data(), s.right.data(), s.left.data(), s.right.data(), 3000, 120.0F);

  EXPECT_EQ(s.left, expected.left);
  EXPECT_EQ(s.right, expected.right);
}

// At low rates the loop's low-pass of 20 kHz and the input's of 15 kHz lie above half the rate, where their
// filters would run away.
TEST(ZREcoVerb, StaysBoundedAtLowRatesAndAtTheExtremesOfItsSettings) {
  for (const float rate : {4000.0F, 8000.0F, 22050.0F, 32000.0F, 192000.0F}) {
    for (const float value : {-1.0F, 0.0F, 1.0F, 30.0F}) {
      const auto reverb = preparedReverb(rate);
      reverb->reverbSize = value;
      reverb->reverbDecay = value;
      reverb->modAmount = value;
      reverb->modFrequency = value * 10.0F;
      reverb->highpass = value;
      reverb->spread = value;
      const Stereo out = runInBlocks(*reverb, stereoNoise(40000, 12, 1.0F), 64);
      EXPECT_TRUE(isFinite(out)) << rate << " " << value;
      EXPECT_LT(peakOf(out.left), 100.0F) << rate << " " << value;
    }
  }
}

}  // namespace
}  // namespace morv
