// The reverb against its plain form: rates, settings and lines that make the stretches short.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "tests/effects/PlainReverb.h"

namespace morv {
namespace {

// Other roundings of products and sums, gone round a loop of gain below 1.
constexpr double kPlainFormDb = -100.0;
// The sines differ by 4e-7, which moves a read by 2e-5 of a sample: heard at its most in white noise.
constexpr double kModulatedFormDb = -90.0;
// A swing fourteen times as far moves it as much farther: 23 dB.
constexpr double kFarSwingFormDb = -67.0;
// The sine's own rounding at half a turn and a whole one.
constexpr double kSameModulationDb = -90.0;

TEST(ZREcoVerbForm, IsThePlainForm) {
  const Stereo in = stereoNoise(88200, 1);
  const auto reverb = preparedReverb();
  PlainReverb plain(kRate);

  EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 64)), kPlainFormDb);
}

TEST(ZREcoVerbForm, IsThePlainFormAtOtherSettings) {
  const Stereo in = stereoNoise(60000, 2);
  for (const float rate : {48000.0F, 192000.0F}) {
    const auto reverb = preparedReverb(rate);
    reverb->mix = 80.0F;
    reverb->reverbSize = 0.9F;
    reverb->reverbDecay = 0.8F;
    reverb->spread = 0.3F;
    reverb->modAmount = 1.0F;
    reverb->modFrequency = 7.0F;
    reverb->highpass = 0.1F;
    PlainReverb plain(rate);
    plain.mix = 0.8F;
    plain.size = 0.9F;
    plain.decay = 0.8F;
    plain.spread = 0.3F;
    plain.modAmount = 1.0F;
    plain.modFrequency = 7.0F;
    plain.highpass = 0.1F;

    EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 512)), kModulatedFormDb) << rate;
  }
}

// The lines are read from an index that gains one sample on the writes with each lap, and passes them once an
// hour. Around that the reverb works in shorter stretches, whichever of the two lines it is.
TEST(ZREcoVerbForm, IsThePlainFormWhereTheReadsOfEitherLineDriftPastItsWrites) {
  const Stereo in = stereoNoise(600, 3);
  for (const bool isFirst : {false, true}) {
    for (int ahead = -70; ahead <= 70; ++ahead) {
      const auto reverb = preparedReverb();
      PlainReverb plain(kRate);
      const int aheadOfD4 = isFirst ? ahead : ahead + 1000;
      const int aheadOfD2 = isFirst ? ahead + 1000 : ahead;
      for (uniComb* line : {&reverb->loopD4, &plain.d_[3]}) line->writeIndex = 3163 + aheadOfD4 + 500;
      for (uniComb* line : {&reverb->loopD2, &plain.d_[1]}) line->writeIndex = 3720 + aheadOfD2 + 500;
      for (uniComb* line : {&reverb->loopD4, &plain.d_[3], &reverb->loopD2, &plain.d_[1]}) {
        line->position = 500;
        for (std::size_t i = 0; i < 2000; ++i)
          line->buffer[i] = std::sin(0.37F * static_cast<float>(i * i % 1000));
      }

      ASSERT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 600)), kPlainFormDb)
          << isFirst << " " << ahead;
    }
  }
}

// At 4000 Hz a delay of 4217 samples comes round in the line; at 8000 Hz a diffuser is 19 samples long; lines
// of 4210 samples leave 7 of a delay of 4217, and lines of 7650 no room for a stretch behind the farthest
// tap.
TEST(ZREcoVerbForm, IsThePlainFormAtEachPairOfRates) {
  struct Rates {
    float built;
    float run;
    float size;
  };
  for (const Rates rates :
       {Rates{8000.0F, 8000.0F, 0.25F}, Rates{4000.0F, 4000.0F, 0.25F}, Rates{44100.0F, 96000.0F, 0.25F},
        Rates{96000.0F, 32000.0F, 0.25F}, Rates{4210.0F, 44100.0F, 0.25F}, Rates{7650.0F, 44100.0F, 1.0F}}) {
    const Stereo in = stereoNoise(40000, 14);
    ZREcoVerb reverb(rates.built);
    reverb.prepare(rates.run, 512);
    reverb.reverbSize = rates.size;
    PlainReverb plain(rates.built, rates.run);
    plain.size = rates.size;

    EXPECT_LT(differenceDb(plain.run(in), runInBlocks(reverb, in, 512)), kModulatedFormDb)
        << rates.built << " " << rates.run;
  }
}

TEST(ZREcoVerbForm, ASwingBeyondItsRangeThatReachesTheWritesIsThePlainForm) {
  const Stereo in = stereoNoise(30000, 15);
  const auto reverb = preparedReverb();
  reverb->modAmount = 14.0F;
  reverb->modFrequency = 5.0F;
  PlainReverb plain(kRate);
  plain.modAmount = 14.0F;
  plain.modFrequency = 5.0F;

  EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 512)), kFarSwingFormDb);
}

// The taps come to less than a sample, and then stand ahead of the writes.
TEST(ZREcoVerbForm, ASizeBelowNothingIsThePlainForm) {
  const Stereo in = stereoNoise(60000, 16);
  for (const float size : {-0.04F, -0.0475F, -0.05F, -0.3F, -1.0F}) {
    const auto reverb = preparedReverb();
    reverb->reverbSize = size;
    PlainReverb plain(kRate);
    plain.size = size;

    EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 512)), kModulatedFormDb) << size;
  }
}

TEST(ZREcoVerbForm, DampingClosesTheLoopsLowpasses) {
  const Stereo in = stereoNoise(60000, 17);
  for (const float damping : {0.25F, 0.5F, 0.9F}) {
    const auto reverb = preparedReverb(48000.0F);
    reverb->damping = damping;
    PlainReverb plain(48000.0F);
    plain.damping = damping;

    EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 512)), kModulatedFormDb) << damping;
  }
}

// A cutoff that stays is not worked out anew.
TEST(ZREcoVerbForm, TheLoopsLowpassesKeepTheirCoefficientAtAnotherRate) {
  const Stereo in = stereoNoise(30000, 18);
  const auto reverb = preparedReverb(48000.0F);
  PlainReverb plain(48000.0F);
  ASSERT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 512)), kModulatedFormDb);
  const float G = reverb->lowpassA.G;

  reverb->prepare(96000.0F, 512);
  plain.prepare(96000.0F);
  const Stereo out = runInBlocks(*reverb, in, 512);

  EXPECT_EQ(reverb->lowpassA.G, G);
  EXPECT_EQ(reverb->lowpassB.G, G);
  EXPECT_LT(differenceDb(plain.run(in), out), kModulatedFormDb);
}

// A whole turn apart turns both sines round, so it is no turn apart with the swing the other way.
TEST(ZREcoVerbForm, SpreadOfAFullTurnIsNoSpreadWithTheSwingTurnedRound) {
  const Stereo in = stereoNoise(44100, 6);
  const auto run = [&in](float spread, float amount) {
    const auto reverb = preparedReverb();
    reverb->spread = spread;
    reverb->modAmount = amount;
    return runInBlocks(*reverb, in, 64);
  };
  const Stereo whole = run(1.0F, 0.8F);

  EXPECT_LT(differenceDb(whole, run(0.0F, -0.8F)), kSameModulationDb);
  EXPECT_GT(differenceDb(whole, run(0.5F, 0.8F)), -30.0);
  EXPECT_GT(differenceDb(whole, run(0.5F, -0.8F)), -30.0);
  EXPECT_GT(differenceDb(whole, run(0.0F, 0.8F)), -30.0);
}

}  // namespace
}  // namespace morv
