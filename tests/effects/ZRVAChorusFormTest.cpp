// The analogue chorus against a second form of it, one sample at a time, with the same draws of noise.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>

#include "effects/ZRVAChorus.h"
#include "platform/Random.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr std::uint64_t kSeed = 77;
// Other roundings of a phase move the read position of a line of this length by up to 1/256 of a sample.
constexpr double kPlainFormDb = -55.0;
constexpr float kPi = std::numbers::pi_v<float>;

struct PlainPole {
  double z = 0;
  double low(double x, double cutoffHz, double rateHz) {
    const double g = std::tan(std::numbers::pi * cutoffHz / rateHz);
    const double v = (x - z) * g / (1 + g);
    const double y = v + z;
    z = y + v;
    return y;
  }
  double high(double x, double cutoffHz, double rateHz) { return x - low(x, cutoffHz, rateHz); }
};

// Phases, followers and delays are floats, as their rounding decides where a line is read.
class PlainVAChorus {
 public:
  explicit PlainVAChorus(float sampleRateHz) : rate(sampleRateHz), random(kSeed) {
    const auto frames = static_cast<int>(rate);
    for (std::size_t n = 0; n < 6; ++n) {
      initBBDLine(&lines[n], 512, 1.0F, rate);
      reseedBBDLine(&lines[n], Random::derive(kSeed, n));
      initUniComb(&combs[n], frames);
    }
    for (ap& line : shelves) initAP(&line, frames);
    smoothing = static_cast<float>(std::exp(std::log(0.001) / (250.0 * static_cast<double>(rate) * 0.001)));
  }

  Stereo run(const Stereo& in) {
    Stereo out(in.frames());
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      run(in.left[i], in.right[i], &out.left[i], &out.right[i]);
    }
    return out;
  }

  int program = 1;
  int stages = 3;
  bool isParallel = false;
  bool isNoise = false;
  float modFreq = 5;
  float shape = 0.4F;
  float animate = 0.7F;
  float minDelay = 60;
  double bits = 12;
  float feedback = 0;  // percent for the combs, the factor itself for the second analogue form

 private:
  void run(float inL, float inR, float* outL, float* outR) {
    float left = split(0, inL * 0.75F);
    float right = split(1, inR * 0.75F);
    for (std::size_t s = 0; s < 3; ++s) {
      const float f = modFreq + 0.05F * static_cast<float>(s);
      phaseA[s] += 2 * kPi * f / rate;
      if (phaseA[s] >= 2 * kPi) {
        phaseA[s] -= 2 * kPi;
        targetR = static_cast<float>(2 * random.unitDouble() - 1);
      }
      phaseB[s] += 2 * kPi * (f + 0.5F * spread) / rate;
      if (phaseB[s] >= 2 * kPi) {
        phaseB[s] -= 2 * kPi;
        targetL = static_cast<float>(2 * random.unitDouble() - 1);
      }
    }
    const auto c = static_cast<float>(
        std::exp(std::log(0.001) / ((10.1 - static_cast<double>(modFreq)) * static_cast<double>(rate) + 1)));
    noiseL = c * (noiseL - targetL) + targetL;
    noiseR = c * (noiseR - targetR) + targetR;
    spread = smoothing * (spread - 0.5F) + 0.5F;
    depth = smoothing * (depth - 0.8F) + 0.8F;
    mix = smoothing * (mix - 0.6F) + 0.6F;

    if (program == 2) {
      left = quantised(left);
      right = quantised(right);
    }
    doStages(&left, &right);
    if (program == 2) {
      left = filtered(&historyL, left);
      right = filtered(&historyR, right);
    }
    if (program == 3) {
      const double cutoff = 50 + (1 - static_cast<double>(animate)) * 10000;
      const auto l = static_cast<float>(animateL.high(static_cast<double>(-left), cutoff, rateHz()));
      const auto r = static_cast<float>(animateR.high(static_cast<double>(-right), cutoff, rateHz()));
      left += r * shape;
      right += l * shape;
    }

    const double sA = std::sin(static_cast<double>(phaseA[0]));
    const double sB = std::sin(static_cast<double>(phaseA[0] + spread * kPi / 2));
    const double amount = static_cast<double>(animate);
    const double constant = 0.5 * static_cast<double>(shape);
    const double crossL =
        animateL.high(static_cast<double>(-right), std::max(10 + 100 * amount * sA, 0.0), rateHz());
    const double crossR =
        animateR.high(static_cast<double>(-left), std::max(10 + 100 * amount * sB, 0.0), rateHz());
    left += static_cast<float>(crossL * (constant + amount * sA));
    right += static_cast<float>(crossR * (constant + amount * sB));

    for (const auto& [v, a] : {lowShelf(4), highShelf(-3)}) {
      left += (runAP(&shelves[0], left, 1 / rate, a, rate) + left) * (v - 1) / 2;
      right += (runAP(&shelves[1], right, 1 / rate, a, rate) + right) * (v - 1) / 2;
    }
    *outL = (1 - mix) * inL + mix * (left * 0.75F);
    *outR = (1 - mix) * inR + mix * (right * 0.75F);
  }

  double rateHz() const { return static_cast<double>(rate); }

  float split(std::size_t side, float x) {
    const double a = upper[side].low(static_cast<double>(x), 5000, rateHz());
    const double b = lower[side].low(a, 1000, rateHz());
    return static_cast<float>(b * 0.9 + (static_cast<double>(x) - a) * 0.7 + (a - b) * 0.5);
  }

  float quantised(float x) const {
    const double levels = std::trunc(std::pow(2, bits) - 1);
    return static_cast<float>(std::round((static_cast<double>(x) + 1) * levels) / levels - 1);
  }

  static float filtered(std::array<double, 113>* history, float x) {
    for (std::size_t i = 112; i > 0; --i) (*history)[i] = (*history)[i - 1];
    (*history)[0] = static_cast<double>(x);
    double sum = 0;
    for (std::size_t i = 0; i < 113; ++i) sum += static_cast<double>(BChorus[i]) * (*history)[i];
    return static_cast<float>(sum);
  }

  void doStages(float* left, float* right) {
    if (program > 3) return;
    float sumL = isParallel ? 0 : *left;
    float sumR = isParallel ? 0 : *right;
    for (std::size_t s = 0; s < static_cast<std::size_t>(stages); ++s) {
      float a = 0, b = 0, mA = 0, mB = 0, reach = 0.003F;
      switch (program) {
        case 0:
          a = std::sin(phaseA[s] - spread * kPi / 2);
          b = std::sin(phaseA[s] + spread * kPi / 2);
          reach = 0.005F;
          break;
        case 3:
          a = std::sin(phaseA[s]);
          b = std::sin(phaseB[s]);
          break;
        default:
          a = std::sin(phaseA[s]);
          b = std::sin(phaseA[s] + spread * kPi / 2);
      }
      if (isNoise) {
        mA = (program == 0 ? 3 : 1) * depth * noiseL;
        mB = (program == 0 ? 3 : 1) * depth * noiseR;
      } else {
        mA = program == 3 ? depth * a : depth * (a + 1) * 0.5F;
        mB = program == 3 ? depth * b : depth * (b + 1) * 0.5F;
      }
      const float dA = minDelay / 10000 + std::abs(reach * mA);
      const float dB = minDelay / 10000 + std::abs(reach * mB);
      if (isParallel) {
        sumL += line(s, *left, dA);
        sumR += line(3 + s, *right, dB);
      } else {
        sumL = line(s, sumL, dA);
        sumR = line(3 + s, sumR, dB);
      }
    }
    const bool isMean = isParallel && program != 3;
    *left = isMean ? sumL / static_cast<float>(stages) : sumL;
    *right = isMean ? sumR / static_cast<float>(stages) : sumR;
  }

  float line(std::size_t n, float in, float d) {
    if (program == 0 && !isParallel) return runBBDLine(&lines[n], in, d, 0.5F, 0, 0.75F, rate);
    if (program == 0) return runBBDLine(&lines[n], in, d, 0, 0, 1, rate);
    if (program == 3) return runBBDLine(&lines[n], in, d, 0, feedback, 1, rate);
    return runUniComb(&combs[n], in, d, isParallel ? 0.0F : 0.2F, feedback / 100, 1, rate);
  }

  struct PlainShelf {
    float v, a;
  };
  PlainShelf lowShelf(double g) const {
    const double v = std::pow(10, g / 20);
    const double t = std::tan(std::numbers::pi * 250 / rateHz());
    return {static_cast<float>(v), static_cast<float>(g > 0 ? (t - 1) / (t + 1) : (t - v) / (t + v))};
  }
  PlainShelf highShelf(double g) const {
    const double t = std::tan(std::numbers::pi * (4500 / rateHz()) / 2);
    return {static_cast<float>(std::pow(10, g / 20)), static_cast<float>((t - 1) / (t + 1))};
  }

  float rate;
  Random random;
  std::array<bbd, 6> lines;
  std::array<uniComb, 6> combs;
  std::array<ap, 2> shelves;
  std::array<PlainPole, 2> upper, lower;
  PlainPole animateL, animateR;
  std::array<double, 113> historyL{}, historyR{};
  std::array<float, 3> phaseA{}, phaseB{};
  float targetL = 0, targetR = 0, noiseL = 0, noiseR = 0;
  float smoothing = 0, spread = 50, depth = 0, mix = 0.6F;
};

void setUp(ZRVAChorus* chorus, const PlainVAChorus& plain) {
  chorus->program = static_cast<float>(plain.program);
  chorus->numStages = static_cast<float>(plain.stages - 1);
  chorus->modRouting = plain.isParallel ? 1.0F : 0.0F;
  chorus->modShape = plain.isNoise ? 1.0F : 0.0F;
  chorus->modFreq = plain.modFreq;
  chorus->shape = plain.shape;
  chorus->animate = plain.animate;
  chorus->minDelay = plain.minDelay;
  chorus->feedback = plain.feedback;
  chorus->bitDepth = static_cast<float>(plain.bits);
  chorus->mix = 60.0F;
  chorus->modAmount = 80.0F;
  chorus->inGainLow = 0.9F;
  chorus->inGainMid = 0.5F;
  chorus->inGainHigh = 0.7F;
  chorus->lowShelf = 4.0F;
  chorus->highShelf = -3.0F;
  chorus->setRandomSeed(kSeed);
  chorus->prepare(chorus->sampleRate, 512);
}

TEST(ZRVAChorusForm, IsThePlainFormInEachProgramRoutingAndShape) {
  const Stereo in = stereoNoise(30000, 3);
  for (int program = 0; program < 5; ++program) {
    for (const bool isParallel : {false, true}) {
      for (const bool isNoise : {false, true}) {
        SCOPED_TRACE(std::to_string(program) + (isParallel ? " parallel" : " serial") +
                     (isNoise ? " noise" : " sine"));
        PlainVAChorus plain(44100.0F);
        plain.program = program;
        plain.isParallel = isParallel;
        plain.isNoise = isNoise;
        ZRVAChorus chorus(44100.0F);
        setUp(&chorus, plain);

        const Stereo out = runInBlocks(chorus, in, 512);

        EXPECT_LT(differenceDb(plain.run(in), out), kPlainFormDb);
      }
    }
  }
}

TEST(ZRVAChorusForm, IsThePlainFormAtAnotherRateAndWithFewerStages) {
  const Stereo in = stereoNoise(30000, 4);
  for (int stages = 1; stages < 3; ++stages) {
    for (int program = 0; program < 4; ++program) {
      PlainVAChorus plain(22050.0F);
      plain.program = program;
      plain.stages = stages;
      plain.isParallel = stages == 2;
      plain.modFreq = 1.5F;
      plain.animate = 1.0F;
      plain.shape = -0.8F;
      ZRVAChorus chorus(44100.0F);
      chorus.prepare(22050.0F, 512);
      setUp(&chorus, plain);

      EXPECT_LT(differenceDb(plain.run(in), runInBlocks(chorus, in, 512)), kPlainFormDb) << program;
    }
  }
}

// The bucket-brigade lines of the first form have no way back.
TEST(ZRVAChorusForm, IsThePlainFormWithFeedback) {
  const Stereo in = stereoNoise(20000, 8, 0.2F);
  for (int program = 0; program < 4; ++program) {
    for (const bool isParallel : {false, true}) {
      SCOPED_TRACE(std::to_string(program) + (isParallel ? " parallel" : " serial"));
      PlainVAChorus plain(44100.0F);
      plain.program = program;
      plain.isParallel = isParallel;
      plain.feedback = program == 3 ? 0.5F : 50.0F;
      ZRVAChorus chorus(44100.0F);
      setUp(&chorus, plain);

      EXPECT_LT(differenceDb(plain.run(in), runInBlocks(chorus, in, 512)), kPlainFormDb);
    }
  }
}

// 2^3.7 - 1 = 11.996 steps a unit are 11.
TEST(ZRVAChorusForm, TheGridOfAFractionalDepthHasWholeSteps) {
  const Stereo in = stereoNoise(20000, 9);
  PlainVAChorus plain(44100.0F);
  plain.program = 2;
  plain.bits = 3.7;
  ZRVAChorus chorus(44100.0F);
  setUp(&chorus, plain);

  EXPECT_LT(differenceDb(plain.run(in), runInBlocks(chorus, in, 512)), kPlainFormDb);
}

TEST(ZRVAChorusForm, BlocksOfAnySizeSoundAlike) {
  const Stereo in = stereoNoise(9000, 5);
  for (int program = 0; program < 4; ++program) {
    const auto run = [&](int blockFrames) {
      PlainVAChorus settings(44100.0F);
      settings.program = program;
      ZRVAChorus chorus(44100.0F);
      setUp(&chorus, settings);
      return runInBlocks(chorus, in, blockFrames);
    };
    const Stereo expected = run(4096);
    for (const int blockFrames : {1, 7, 64}) {
      const Stereo out = run(blockFrames);
      EXPECT_EQ(out.left, expected.left) << program << " " << blockFrames;
      EXPECT_EQ(out.right, expected.right) << program << " " << blockFrames;
    }
  }
}

TEST(ZRVAChorusForm, WorksInPlace) {
  Stereo s = stereoNoise(3000, 6);
  ZRVAChorus apart(44100.0F);
  ZRVAChorus inPlace(44100.0F);
  const Stereo expected = runInBlocks(apart, s, 3000);

  inPlace.runEffect(s.left.data(), s.right.data(), s.left.data(), s.right.data(), 3000, 120.0F);

  EXPECT_EQ(s.left, expected.left);
  EXPECT_EQ(s.right, expected.right);
}

}  // namespace
}  // namespace morv
