#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/voice/BiquadTesting.h"
#include "tests/voice/FilterTesting.h"
#include "voice/BiquadCascade.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {
namespace {

using testing::makeNoise;

constexpr float kRate = 44100.0F;

TEST(BiquadCascade, APairGivesEachChannelTheBitsThatItGivesAlone) {
  const ZRBiquadFilter settings(ZRBiquadType::highpass, 700, 1, 2, kRate);
  const double* c = settings.coefficients().data();
  const auto in1 = makeNoise(500, 1.0F, 1);
  const auto in2 = makeNoise(500, 0.3F, 2);
  double alone1[4] = {0.1, 0.2, 0.3, 0.4};
  double alone2[4] = {-0.5, 0.6, -0.7, 0.8};
  double pair1[4] = {0.1, 0.2, 0.3, 0.4};
  double pair2[4] = {-0.5, 0.6, -0.7, 0.8};
  std::vector<float> expected1(500), expected2(500), out1(500), out2(500);
  int at = 0;

  for (const int frames : {1, 2, 0, 97, 400}) {
    runBiquadCascade(c, 1, alone1, in1.data() + at, expected1.data() + at, frames);
    runBiquadCascade(c, 1, alone2, in2.data() + at, expected2.data() + at, frames);
    runBiquadPair(c, pair1, pair2, in1.data() + at, in2.data() + at, out1.data() + at, out2.data() + at,
                  frames);
    at += frames;
    for (int k = 0; k < 4; ++k) {
      ASSERT_EQ(pair1[k], alone1[k]) << at << " " << k;
      ASSERT_EQ(pair2[k], alone2[k]) << at << " " << k;
    }
  }

  EXPECT_EQ(at, 500);
  EXPECT_EQ(out1, expected1);
  EXPECT_EQ(out2, expected2);
}

TEST(BiquadCascade, APairRunsInPlace) {
  const ZRBiquadFilter settings(ZRBiquadType::lowpass, 700, 1, 2, kRate);
  const double* c = settings.coefficients().data();
  auto one = makeNoise(200, 1.0F, 1);
  auto two = makeNoise(200, 1.0F, 2);
  std::vector<float> expected1(200), expected2(200);
  double alone1[4] = {}, alone2[4] = {}, pair1[4] = {}, pair2[4] = {};
  runBiquadCascade(c, 1, alone1, one.data(), expected1.data(), 200);
  runBiquadCascade(c, 1, alone2, two.data(), expected2.data(), 200);

  runBiquadPair(c, pair1, pair2, one.data(), two.data(), one.data(), two.data(), 200);

  EXPECT_EQ(one, expected1);
  EXPECT_EQ(two, expected2);
}

// The first channel runs before the second one: where it writes over the second one's input, that is what the
// second one filters.
TEST(BiquadCascade, AFilterWithCrossedBuffersRunsItsChannelsOneBehindTheOther) {
  for (const float cutoffHz : {700.0F, 3000.0F}) {  // at rest, and on the way there
    ZRBiquadFilter filter(ZRBiquadType::highpass, 700, 1, 2, kRate);
    ZRBiquadFilter first(ZRBiquadType::highpass, 700, 1, 2, kRate);
    ZRBiquadFilter second(ZRBiquadType::highpass, 700, 1, 2, kRate);
    for (ZRBiquadFilter* f : {&filter, &first, &second}) f->filterCutoff = cutoffHz;
    auto a = makeNoise(300, 1.0F, 1);
    auto b = makeNoise(300, 1.0F, 2);
    std::vector<float> once(300), twice(300), unused(300);
    first.runFilter(a.data(), a.data(), once.data(), unused.data(), 300);
    second.runFilter(once.data(), once.data(), twice.data(), unused.data(), 300);

    filter.runFilter(a.data(), b.data(), b.data(), a.data(), 300);

    EXPECT_EQ(b, once) << cutoffHz;
    EXPECT_EQ(a, twice) << cutoffHz;
  }
}

// What all forms of the pass of three are held to: section by section, rounded to floats between them.
TEST(BiquadCascade, EachFormOfThreePairsGivesTheBitsOfThreePasses) {
  constexpr int kFrames = 700;
  const ZRBiquadFilter settings[] = {ZRBiquadFilter(ZRBiquadType::highpass, 1, 1, 2, kRate),
                                     ZRBiquadFilter(ZRBiquadType::highpass, 100, 1, 2, kRate),
                                     ZRBiquadFilter(ZRBiquadType::lowpass, 15000, 1, 2, kRate)};
  const auto in1 = makeNoise(kFrames, 1.0F, 1);
  const auto in2 = makeNoise(kFrames, 0.3F, 2);
  double plain[6][4] = {{0.1, 0.2, 0.3, 0.4}, {-0.5, 0.6, -0.7, 0.8}, {}, {0.3}, {}, {}};
  double passes[6][4];
  std::copy_n(&plain[0][0], 24, &passes[0][0]);
  BiquadPair pairs[3];
  for (int s = 0; s < 3; ++s) {
    pairs[s] = {settings[s].coefficients().data(), plain[2 * s], plain[2 * s + 1]};
  }
  const auto baseline =
      +[](const BiquadPair* p, const float* a, const float* b, float* c, float* d, int frames) noexcept {
        baselineThreeBiquadPairs(p, a, b, c, d, frames);
        return frames;
      };
  for (const ThreeBiquadPairs form : {ThreeBiquadPairs(baseline), avx2ThreeBiquadPairs()}) {
    if (form == nullptr) continue;
    int at = 0;
    for (const int asked : {8, 9, 15, 16, 64, 65, 71, 72, 73, 128, 0, 5, 100}) {
      std::vector<float> out1(in1.begin() + at, in1.begin() + at + asked);
      std::vector<float> out2(in2.begin() + at, in2.begin() + at + asked);
      const int frames = form(pairs, out1.data(), out2.data(), out1.data(), out2.data(), asked);
      ASSERT_LE(asked - frames, 7);
      ASSERT_LE(frames, asked);
      std::vector<float> expected1(in1.begin() + at, in1.begin() + at + frames);
      std::vector<float> expected2(in2.begin() + at, in2.begin() + at + frames);
      for (int s = 0; s < 3; ++s) {
        runBiquadCascade(pairs[s].coefficients, 1, passes[2 * s], expected1.data(), expected1.data(), frames);
        runBiquadCascade(pairs[s].coefficients, 1, passes[2 * s + 1], expected2.data(), expected2.data(),
                         frames);
      }
      out1.resize(expected1.size());
      out2.resize(expected2.size());
      ASSERT_EQ(out1, expected1) << asked;
      ASSERT_EQ(out2, expected2) << asked;
      for (int k = 0; k < 24; ++k) ASSERT_EQ((&plain[0][0])[k], (&passes[0][0])[k]) << asked << " " << k;
      at += frames;
    }
  }
}

}  // namespace
}  // namespace morv
