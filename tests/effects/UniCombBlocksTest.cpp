#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "effects/DelayBlocks.h"
#include "effects/UniCombBlocks.h"
#include "platform/Random.h"

namespace morv {
namespace {

constexpr float kRate = 8000.0F;
constexpr int kSize = 500;
constexpr float kTangent = 2e-6F;  // the kernels' tangent, twice round a loop of gain 0.6

struct Lines {
  uniComb stepped;
  uniComb inBlocks;

  explicit Lines(int linear) {
    initUniComb(&stepped, kSize);
    initUniComb(&inBlocks, kSize);
    stepped.linear = inBlocks.linear = linear;
  }
};

// Both forms over noise with a swinging delay, in blocks of several lengths.
void expectTheSame(Lines* lines, float seconds, float swing) {
  Random random(3);
  int frame = 0;
  for (int block = 0; block < 60; ++block) {
    const int frames = block % 7 == 0 ? kDelayBlock : block % kDelayBlock;
    float in[kDelayBlock], delays[kDelayBlock], out[kDelayBlock];
    for (int k = 0; k < frames; ++k) {
      in[k] = static_cast<float>(2.0 * random.unitDouble() - 1.0);
      delays[k] = seconds + swing * std::sin(0.01F * static_cast<float>(frame + k));
    }
    runUniCombBlock(&lines->inBlocks, in, delays, 0.5F, -0.6F, 0.9F, kRate, out, frames);
    for (int k = 0; k < frames; ++k) {
      const float expected = runUniComb(&lines->stepped, in[k], delays[k], 0.5F, -0.6F, 0.9F, kRate);
      ASSERT_NEAR(out[k], expected, kTangent) << block << " " << k;
    }
    frame += frames;
    ASSERT_EQ(lines->inBlocks.position, lines->stepped.position);
    ASSERT_EQ(lines->inBlocks.writeIndex, lines->stepped.writeIndex);
  }
}

TEST(UniCombBlocks, AreTheStepsOfTheLineAtAnyDelay) {
  for (const int linear : {0, 1}) {
    for (const float samples : {0.0F, 1.0F, 30.5F, 66.0F, 67.0F, 100.25F, 430.0F, 440.0F, 499.0F, 900.0F}) {
      for (const float swingSamples : {0.0F, 5.0F, 80.0F}) {
        SCOPED_TRACE(samples);
        Lines lines(linear);
        expectTheSame(&lines, samples / kRate, swingSamples / kRate);
      }
    }
  }
}

TEST(UniCombBlocks, OneDelayIsTheSameDelayForEachFrame) {
  Lines lines(0);
  float in[kDelayBlock] = {1.0F, -0.5F, 0.25F};
  float delays[kDelayBlock];
  std::fill_n(delays, kDelayBlock, 0.01F);
  float one[kDelayBlock];
  float each[kDelayBlock];

  for (int block = 0; block < 3; ++block) {
    runUniCombBlock(&lines.inBlocks, in, 0.01F, 1, 0.5F, 1, kRate, one, kDelayBlock);
    runUniCombBlock(&lines.stepped, in, delays, 1, 0.5F, 1, kRate, each, kDelayBlock);
    for (int k = 0; k < kDelayBlock; ++k) ASSERT_EQ(one[k], each[k]);
  }
}

TEST(UniCombBlocks, ADelayThatIsNoNumberReadsSomeElement) {
  Lines lines(0);
  float x[kDelayBlock] = {1.0F};
  for (const float delay :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -3e8F}) {
    runUniCombBlock(&lines.inBlocks, x, delay, 0.5F, 0.5F, 0.5F, kRate, x, kDelayBlock);
    for (const float v : x) ASSERT_TRUE(std::isfinite(v));
  }
}

}  // namespace
}  // namespace morv
