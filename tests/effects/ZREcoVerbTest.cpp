#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZREcoVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
// Other roundings of products and sums, gone round a loop of gain below 1.
constexpr double kPlainFormDb = -100.0;
// The sines differ by 4e-7, which moves a read by 2e-5 of a sample: heard at its most in white noise.
constexpr double kModulatedFormDb = -90.0;

// The reverb sample by sample, from the lines' own steps.
class PlainReverb {
 public:
  explicit PlainReverb(float sampleRateHz)
      : rate(sampleRateHz),
        variable(ZRBiquadType::highpass, 1.0F, 1, 2, rate),
        high(ZRBiquadType::highpass, 100.0F, 1, 2, rate),
        low(ZRBiquadType::lowpass, 15000.0F, 1, 2, rate) {
    const int second = static_cast<int>(rate);
    for (ap& a : diffusers) initAP(&a, second);
    for (ap& a : ap_) initAP(&a, second);
    for (uniComb& d : d_) initUniComb(&d, second);
    initTPT(&lowpassA);
    initTPT(&lowpassB);
  }

  Stereo run(const Stereo& in) {
    Stereo out(in.frames());
    variable.filterCutoff = 1.0F + highpass * 5000.0F;
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      float l = in.left[i];
      float r = in.right[i];
      for (ZRBiquadFilter* filter : {&variable, &high, &low}) filter->runFilter(&l, &r, &l, &r, 1);
      float wetL = 0;
      float wetR = 0;
      tank(l, r, &wetL, &wetR);
      out.left[i] = (1.0F - mix) * in.left[i] + mix * wetL;
      out.right[i] = (1.0F - mix) * in.right[i] + mix * wetR;
    }
    return out;
  }

  float mix = 0.5F, size = 0.25F, decay = 0.5F, spread = 1, modAmount = 0.5F, modFrequency = 1, highpass = 0;
  uniComb d_[4];
  ap ap_[4];

 private:
  void tank(float fL, float fR, float* wetL, float* wetR) {
    constexpr float kPi = std::numbers::pi_v<float>;
    const float r = 1.0F / rate;
    const float g = std::sqrt(1.1F * decay);
    phase += 2 * kPi * modFrequency / rate;
    if (phase >= 2 * kPi) phase -= 2 * kPi;
    const float m1 = std::sin(phase - spread * kPi);
    const float m2 = std::sin(phase + spread * kPi);
    const float scale = 0.1F + 2.0F * size;

    float x = runAP(&diffusers[0], fL, 0.0032F, 0.4F, rate);
    x = runAP(&diffusers[1], x, 0.0024F, 0.4F, rate);
    x = runAP(&diffusers[2], x, 0.0085F, 0.6F, rate);
    x = runAP(&diffusers[3], x, 0.0062F, 0.6F, rate);

    float t = uniCombGetSampleWithDelay(&d_[3], 3163);
    float u = runAP(&ap_[0], x + g * t, r * (672 + 50 * modAmount * m1), -0.5F, rate);
    float v = runUniComb(&d_[0], u, r * 3453, 0, 0, 1, rate);
    setTPTCutoff(&lowpassA, 20000, rate);
    float w = runTPT2(&lowpassA, 0, v, rate) * g;
    float y = runAP(&ap_[1], w, r * 1800, 0.5F, rate);
    runUniComb(&d_[1], y, r * 3720, 0.25F, 0, 1, rate);

    t = uniCombGetSampleWithDelay(&d_[1], 3720);
    u = runAP(&ap_[2], fR + g * t, r * (908 + 50 * modAmount * m2), -0.5F, rate);
    v = runUniComb(&d_[2], u, r * 4217, 0, 0, 1, rate);
    setTPTCutoff(&lowpassB, 20000, rate);
    w = runTPT2(&lowpassB, 0, v, rate) * g;
    y = runAP(&ap_[3], w, r * 2656, 0.5F, rate);
    runUniComb(&d_[3], y, r * 3163, 0.25F, 0, 1, rate);

    const auto tap = [this, scale](int line, float samples) {
      return allpassGetSampleWithDelay(&ap_[line - 1], samples * scale);
    };
    *wetL = 0.6F * (tap(3, 266) + tap(3, 2974) + tap(4, 1996) - tap(1, 1990) - tap(2, 1066));
    *wetR = 0.6F * (tap(1, 353) + tap(1, 3627) + tap(2, 2673) - tap(3, 2111) - tap(4, 121));
  }

  float rate;
  ZRBiquadFilter variable, high, low;
  ap diffusers[4];
  tpt lowpassA, lowpassB;
  float phase = 0;
};

std::unique_ptr<ZREcoVerb> preparedReverb(float rateHz = kRate) {
  auto reverb = std::make_unique<ZREcoVerb>(rateHz);
  reverb->prepare(rateHz, 512);
  return reverb;
}

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

TEST(ZREcoVerb, IsThePlainForm) {
  const Stereo in = stereoNoise(88200, 1);
  const auto reverb = preparedReverb();
  PlainReverb plain(kRate);

  EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 64)), kPlainFormDb);
}

TEST(ZREcoVerb, IsThePlainFormAtOtherSettings) {
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
// hour. Around that the reverb works in shorter stretches.
TEST(ZREcoVerb, IsThePlainFormWhereReadsDriftPastWrites) {
  const Stereo in = stereoNoise(600, 3);
  for (int ahead = -70; ahead <= 70; ++ahead) {
    const auto reverb = preparedReverb();
    PlainReverb plain(kRate);
    for (uniComb* line : {&reverb->loopD4, &plain.d_[3]}) line->writeIndex = 3163 + ahead + 500;
    for (uniComb* line : {&reverb->loopD2, &plain.d_[1]}) line->writeIndex = 3720 + ahead + 500;
    for (uniComb* line : {&reverb->loopD4, &plain.d_[3], &reverb->loopD2, &plain.d_[1]}) {
      line->position = 500;
      for (std::size_t i = 0; i < 2000; ++i)
        line->buffer[i] = std::sin(0.37F * static_cast<float>(i * i % 1000));
    }

    ASSERT_LT(differenceDb(plain.run(in), runInBlocks(*reverb, in, 600)), kPlainFormDb) << ahead;
  }
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

TEST(ZREcoVerb, SpreadOfNoneOrAFullTurnIsTheSameModulation) {
  const Stereo in = stereoNoise(44100, 6);
  std::vector<Stereo> out;
  for (const float spread : {0.0F, 0.5F, 1.0F}) {
    const auto reverb = preparedReverb();
    reverb->spread = spread;
    reverb->modAmount = 1.0F;
    out.push_back(runInBlocks(*reverb, in, 64));
  }

  // Half a turn each way turns both sines round; with none they are as they are. The two modulators agree in
  // both cases, and differ for half of it.
  EXPECT_GT(differenceDb(out[0], out[1]), -30.0);
  EXPECT_GT(differenceDb(out[0], out[2]), -30.0);
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

TEST(ZREcoVerb, ResetEmptiesTheTankAndKeepsTheDiffusers) {
  const auto reverb = preparedReverb();
  runInBlocks(*reverb, stereoNoise(20000, 9), 64);

  reverb->reset();

  for (const ap* line : {&reverb->loopAP1, &reverb->loopAP2, &reverb->loopAP3, &reverb->loopAP4}) {
    EXPECT_EQ(line->position, 0.0F);
    for (int i = 0; i < line->size; ++i) ASSERT_EQ(line->buffer[static_cast<std::size_t>(i)], 0.0F);
  }
  for (const uniComb* line : {&reverb->loopD1, &reverb->loopD2, &reverb->loopD3, &reverb->loopD4}) {
    EXPECT_EQ(line->position, 0.0F);
    for (int i = 0; i < line->size; ++i) ASSERT_EQ(line->buffer[static_cast<std::size_t>(i)], 0.0F);
  }
  EXPECT_NE(reverb->diffusers[0].position, 0.0F);
  EXPECT_NE(reverb->diffusers[0].buffer[100], 0.0F);
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

TEST(ZREcoVerb, WorksInPlaceAndOnOneBufferForBothSides) {
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
