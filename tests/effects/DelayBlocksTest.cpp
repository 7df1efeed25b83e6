#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/DelayBlocks.h"
#include "platform/Random.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 1000.0F;
// Float rounding of one interpolated read of samples up to 1.
constexpr float kReadError = 1e-6F;

std::vector<float> noise(int frames, std::uint64_t seed) { return stereoNoise(frames, seed, 1.0F).left; }

// Lengths of consecutive stretches, of every size up to the longest.
int stretchAt(int number, int longest) { return 1 + (number * 7) % longest; }

TEST(DelayBlocks, TheLongestStretchStaysTwoSamplesBelowTheLeastDelay) {
  EXPECT_EQ(delayBlockFor(1000.0F), 64);
  EXPECT_EQ(delayBlockFor(66.0F), 64);
  EXPECT_EQ(delayBlockFor(65.9F), 63);
  EXPECT_EQ(delayBlockFor(5.0F), 3);
  EXPECT_EQ(delayBlockFor(3.5F), 1);
  EXPECT_EQ(delayBlockFor(0.0F), 1);
  EXPECT_EQ(delayBlockFor(-5.0F), 1);
  EXPECT_EQ(delayBlockFor(std::nanf("")), 1);
}

TEST(DelayBlocks, UniversalCombReadsWhatARunWouldRead) {
  for (const float delay : {66.0F, 66.3F, 100.999F, 250.0F, 300.5F, 330.0F}) {
    uniComb plain;
    uniComb blocks;
    initUniComb(&plain, 400);
    initUniComb(&blocks, 400);
    plain.linear = 1;
    const std::vector<float> in = noise(5000, 1);
    int number = 0;
    for (int start = 0; start < 5000;) {
      const int n = std::min(stretchAt(number++, 64), 5000 - start);
      float out[kDelayBlock];
      readUniComb(blocks, delay, out, n);
      writeUniComb(&blocks, in.data() + start, n);
      for (int i = 0; i < n; ++i) {
        const float expected =
            runUniComb(&plain, in[static_cast<std::size_t>(start + i)], delay / 1000.0F, 0, 0, 1, 1000.0F);
        ASSERT_NEAR(out[i], expected, 3e-4F) << delay << " at " << start + i;
      }
      ASSERT_EQ(plain.position, blocks.position);
      ASSERT_EQ(plain.writeIndex, blocks.writeIndex);
      start += n;
    }
  }
}

TEST(DelayBlocks, UniversalCombReadsExactlyThePositionsThatFloatsWorkOut) {
  uniComb uc;
  initUniComb(&uc, 40000);
  const std::vector<float> content = noise(40000, 3);
  std::copy(content.begin(), content.end(), uc.buffer.data());
  // Fractions that rounding moves about on a line of this length.
  for (const float delay : {3453.0002F, 3452.9998F, 4217.123F, 66.01F, 39900.7F}) {
    for (int position = 0; position < 40000; position += 61) {
      uc.position = static_cast<float>(position);
      float out[kDelayBlock];
      readUniComb(uc, delay, out, 61);
      uniComb* walking = &uc;
      for (int i = 0; i < 61; ++i) {
        const float p = uniCombReadPosition(walking, delay);
        ASSERT_NEAR(out[i], readBetween(content.data(), 40000, p), kReadError) << delay << " " << position;
        walking->position = nextPosition(walking->position, 40000, 1.0F);
      }
    }
  }
}

TEST(DelayBlocks, UniversalCombFollowsADelayThatMoves) {
  uniComb plain;
  uniComb blocks;
  initUniComb(&plain, 500);
  initUniComb(&blocks, 500);
  plain.linear = 1;
  const std::vector<float> in = noise(6000, 2);
  int number = 0;
  for (int start = 0; start < 6000;) {
    const int n = std::min(stretchAt(number++, 64), 6000 - start);
    float delays[kDelayBlock];
    float out[kDelayBlock];
    for (int i = 0; i < n; ++i)
      delays[i] = (0.2F + 0.1F * std::sin(0.01F * static_cast<float>(start + i))) * kRate;
    readUniComb(blocks, delays, out, n);
    writeUniComb(&blocks, in.data() + start, n);
    for (int i = 0; i < n; ++i) {
      const float seconds = 0.2F + 0.1F * std::sin(0.01F * static_cast<float>(start + i));
      ASSERT_EQ(out[i], runUniComb(&plain, in[static_cast<std::size_t>(start + i)], seconds, 0, 0, 1, kRate));
    }
    start += n;
  }
}

TEST(DelayBlocks, ReadsBehindTheWriteIndexSkipWhatItsShorterCycleSkips) {
  uniComb uc;
  initUniComb(&uc, 200);
  const std::vector<float> in = noise(3000, 5);
  int number = 0;
  for (int start = 0; start < 3000;) {
    const int n = std::min(stretchAt(number++, 60), 3000 - start);
    std::vector<float> expected;
    uniComb walking;
    initUniComb(&walking, 200);
    std::copy_n(uc.buffer.data(), 200, walking.buffer.data());
    walking.writeIndex = uc.writeIndex;
    for (int i = 0; i < n; ++i) {
      expected.push_back(uniCombGetSampleWithDelay(&walking, 110.0F));
      walking.writeIndex = nextWriteIndex(walking.writeIndex, 200);
    }
    float out[kDelayBlock];
    readBehindWriteIndex(uc, uc.writeIndex, 110, out, n);
    ASSERT_EQ(std::vector<float>(out, out + n), expected) << start;
    float added[kDelayBlock];
    std::fill_n(added, n, 0.5F);
    addBehindWriteIndex(uc, uc.writeIndex, 110, -0.7F, added, n);
    for (int i = 0; i < n; ++i) {
      const float scaled = -0.7F * expected[static_cast<std::size_t>(i)];
      ASSERT_EQ(added[i], 0.5F + scaled) << start + i;
    }
    writeUniComb(&uc, in.data() + start, n);
    ASSERT_EQ(uc.writeIndex, walking.writeIndex);
    start += n;
  }
}

TEST(DelayBlocks, AllPassGivesWhatItGivesSampleBySample) {
  for (const float seconds : {0.07F, 0.1F, 0.1234F, 0.2999F}) {
    for (const float g : {0.4F, -0.5F}) {
      ap plain;
      ap blocks;
      initAP(&plain, 400);
      initAP(&blocks, 400);
      const std::vector<float> in = noise(5000, 4);
      int number = 0;
      for (int start = 0; start < 5000;) {
        const int n = std::min(stretchAt(number++, 64), 5000 - start);
        float out[kDelayBlock];
        std::copy_n(in.data() + start, n, out);
        runAPBlock(&blocks, out, seconds, g, kRate, out, n);
        for (int i = 0; i < n; ++i) {
          const float expected = runAP(&plain, in[static_cast<std::size_t>(start + i)], seconds, g, kRate);
          ASSERT_NEAR(out[i], expected, 5e-6F) << seconds << " at " << start + i;
        }
        ASSERT_EQ(plain.position, blocks.position);
        ASSERT_EQ(plain.writeIndex, blocks.writeIndex);
        start += n;
      }
    }
  }
}

TEST(DelayBlocks, AllPassFollowsADelayThatMoves) {
  ap plain;
  ap blocks;
  initAP(&plain, 400);
  initAP(&blocks, 400);
  const std::vector<float> in = noise(5000, 6);
  int number = 0;
  for (int start = 0; start < 5000;) {
    const int n = std::min(stretchAt(number++, 64), 5000 - start);
    float delays[kDelayBlock];
    float out[kDelayBlock];
    for (int i = 0; i < n; ++i) delays[i] = 0.15F + 0.05F * std::sin(0.02F * static_cast<float>(start + i));
    runAPBlock(&blocks, in.data() + start, delays, -0.5F, kRate, out, n);
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(out[i], runAP(&plain, in[static_cast<std::size_t>(start + i)], delays[i], -0.5F, kRate));
    }
    start += n;
  }
}

TEST(DelayBlocks, TapsAreTakenBehindEachFramesWrite) {
  ap plain;
  ap blocks;
  initAP(&plain, 400);
  initAP(&blocks, 400);
  const std::vector<float> in = noise(5000, 7);
  int number = 0;
  for (int start = 0; start < 5000;) {
    const int n = std::min(stretchAt(number++, 64), 5000 - start);
    float out[kDelayBlock];
    float taps[kDelayBlock];
    std::fill_n(taps, n, 10.0F);
    runAPBlock(&blocks, in.data() + start, 0.1F, 0.5F, kRate, out, n);
    addAPTap(blocks, 12.1F, 2.0F, taps, n);
    addAPTap(blocks, 300.7F, -1.0F, taps, n);
    for (int i = 0; i < n; ++i) {
      runAP(&plain, in[static_cast<std::size_t>(start + i)], 0.1F, 0.5F, kRate);
      const float expected =
          10.0F + 2.0F * allpassGetSampleWithDelay(&plain, 12.1F) - allpassGetSampleWithDelay(&plain, 300.7F);
      ASSERT_NEAR(taps[i], expected, 2e-5F) << start + i;
    }
    start += n;
  }
}

TEST(DelayBlocks, AWriteMayScaleWhatItStores) {
  uniComb plain;
  uniComb scaled;
  initUniComb(&plain, 150);
  initUniComb(&scaled, 150);
  const std::vector<float> in = noise(3000, 12);
  int number = 0;
  for (int start = 0; start < 3000;) {
    const int n = std::min(stretchAt(number++, 64), 3000 - start);
    float x[kDelayBlock];
    for (int i = 0; i < n; ++i) x[i] = 0.95F * in[static_cast<std::size_t>(start + i)];
    writeUniComb(&plain, x, n);
    writeUniComb(&scaled, 0.95F, in.data() + start, n);
    ASSERT_TRUE(std::equal(plain.buffer.data(), plain.buffer.data() + 150, scaled.buffer.data())) << start;
    ASSERT_EQ(plain.position, scaled.position);
    ASSERT_EQ(plain.writeIndex, scaled.writeIndex);
    start += n;
  }
}

// Where a tap meets the end of its line the order of the sum is another one.
TEST(DelayBlocks, SeveralTapsAreTheSumOfEach) {
  constexpr float kSumRounding = 1e-6F;
  ap one;
  ap other;
  initAP(&one, 400);
  initAP(&other, 300);
  const std::vector<float> in = noise(5000, 11);
  int number = 0;
  for (int start = 0; start < 5000;) {
    const int n = std::min(stretchAt(number++, 64), 5000 - start);
    float out[kDelayBlock];
    runAPBlock(&one, in.data() + start, 0.1F, 0.5F, kRate, out, n);
    runAPBlock(&other, in.data() + start, 0.1F, 0.5F, kRate, out, n);
    const APTap taps[] = {{&one, 12.1F, 0.6F}, {&other, 150.7F, -0.6F}, {&one, 300.25F, 0.3F}};
    float together[kDelayBlock] = {};
    float apart[kDelayBlock] = {};
    addAPTaps(taps, 3, together, n);
    for (const APTap& tap : taps) addAPTap(*tap.line, tap.delaySamples, tap.gain, apart, n);
    for (int k = 0; k < n; ++k) ASSERT_NEAR(together[k], apart[k], kSumRounding) << start + k;
    start += n;
  }
}

// A delay below nothing reads ahead; beyond the end a run holds it two samples short of it.
TEST(DelayBlocks, OneFrameReadsAheadAsARunDoes) {
  uniComb uc;
  initUniComb(&uc, 60);
  const std::vector<float> content = noise(60, 8);
  std::copy(content.begin(), content.end(), uc.buffer.data());
  for (int position = 0; position < 60; ++position) {
    for (const float delay : {0.0F, -0.5F, -1.0F, -7.25F, -59.0F, -60.5F}) {
      uc.position = static_cast<float>(position);
      const float p = static_cast<float>(position) - delay;
      const float held = p > 60.0F ? 58.0F : p;
      const float expected = held == 60.0F ? content[0] : readBetween(content.data(), 60, held);
      float one[1];
      float other[1];
      readUniComb(uc, delay, one, 1);
      readUniComb(uc, &delay, other, 1);
      ASSERT_EQ(one[0], expected) << position << " " << delay;
      ASSERT_EQ(other[0], expected) << position << " " << delay;
    }
  }
}

TEST(DelayBlocks, ReadsBehindTheWriteIndexComeRoundForDelaysBeyondTheLine) {
  uniComb uc;
  initUniComb(&uc, 200);
  const std::vector<float> content = noise(200, 9);
  std::copy(content.begin(), content.end(), uc.buffer.data());
  for (const int delay : {199, 200, 201, 399, 450, 1000, 12345}) {
    for (const int writeIndex : {0, 1, 100, 198}) {
      float out[1];
      readBehindWriteIndex(uc, writeIndex, delay, out, 1);
      uc.writeIndex = writeIndex;
      const int element = ((writeIndex - delay) % 200 + 200) % 200;
      ASSERT_EQ(out[0], content[static_cast<std::size_t>(element)]) << writeIndex << " " << delay;
      ASSERT_EQ(out[0], uniCombGetSampleWithDelay(&uc, static_cast<float>(delay)));
    }
  }
}

// An all-pass's tap beyond the end comes round instead.
TEST(DelayBlocks, OneFrameTapsAheadAsTheAllPassDoes) {
  ap a;
  initAP(&a, 60);
  const std::vector<float> content = noise(60, 10);
  std::copy(content.begin(), content.end(), a.buffer.data());
  for (int position = 0; position < 60; ++position) {
    for (const float delay : {0.3F, 0.0F, -0.5F, -7.25F, -59.0F, -60.5F}) {
      a.position = static_cast<float>(position);
      float tap[1] = {10.0F};
      addAPTap(a, delay, 2.0F, tap, 1);
      ASSERT_EQ(tap[0], 10.0F + 2.0F * allpassGetSampleWithDelay(&a, delay)) << position << " " << delay;
    }
  }
}

TEST(DelayBlocks, NoFramesChangeNothing) {
  uniComb uc;
  initUniComb(&uc, 100);
  ap a;
  initAP(&a, 100);
  float nothing[1] = {3.0F};

  readUniComb(uc, 70.0F, nothing, 0);
  readBehindWriteIndex(uc, 0, 70, nothing, 0);
  writeUniComb(&uc, nothing, 0);
  runAPBlock(&a, nothing, 0.07F, 0.5F, kRate, nothing, 0);
  addAPTap(a, 10.0F, 1.0F, nothing, 0);

  EXPECT_EQ(nothing[0], 3.0F);
  EXPECT_EQ(uc.position, 0.0F);
  EXPECT_EQ(uc.writeIndex, 0);
  EXPECT_EQ(a.position, 0.0F);
}

}  // namespace
}  // namespace morv
