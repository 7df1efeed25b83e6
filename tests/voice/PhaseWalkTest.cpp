#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "platform/Random.h"
#include "voice/PhaseWalk.h"

namespace morv {
namespace {

PhaseWalk walkStepByStep(float position, float step, float end, std::int64_t steps) {
  PhaseWalk walk{position, 0, false};
  while (walk.steps < steps && !walk.reachesEnd) {
    walk.position += step;
    ++walk.steps;
    walk.reachesEnd = walk.position >= end;
  }
  return walk;
}

void expectSame(float position, float step, float end, std::int64_t steps) {
  const PhaseWalk expected = walkStepByStep(position, step, end, steps);

  const PhaseWalk actual = walkPhase(position, step, end, steps);

  ASSERT_EQ(actual.position, expected.position) << position << " by " << step << " to " << end;
  ASSERT_EQ(actual.reachesEnd, expected.reachesEnd) << position << " by " << step;
  ASSERT_EQ(actual.steps, expected.steps) << position << " by " << step;
}

void expectSameFill(float position, float step, float end, int steps) {
  std::vector<float> out(static_cast<std::size_t>(steps) + 1, 99.0F);
  float last = position;

  const int written = fillPhase(&last, step, end, out.data(), steps);

  float sum = position;
  for (int i = 0; i < written; ++i) {
    sum += step;
    ASSERT_EQ(out[static_cast<std::size_t>(i)], sum) << position << " by " << step << ": " << i;
    ASSERT_EQ(sum >= end, i == written - 1 && last >= end);
  }
  ASSERT_EQ(last, sum);
  ASSERT_TRUE(written == steps || last >= end);
  ASSERT_EQ(out[static_cast<std::size_t>(written)], 99.0F);
}

TEST(PhaseWalk, GivesTheBitsOfSingleAdditionsForAnyStep) {
  Random random(3);
  for (int n = 0; n < 4000; ++n) {
    const float position = 2.0F * random.unit31() - 1.0F;
    const float step = std::exp2(-18.0F * random.unit31());
    const float end = n % 2 == 0 ? 1.0F : 2.0F * std::numbers::pi_v<float>;
    expectSame(position, step, end, random.integer31() % 300000);
    if (HasFatalFailure()) return;
  }
}

// Such a step falls halfway between two floats somewhere on its way, at odd and at even ones.
TEST(PhaseWalk, GivesTheBitsOfSingleAdditionsWhereSumsAreHalves) {
  for (int exponent = -27; exponent <= -22; ++exponent) {
    for (const int odd : {1, 3, 5, 7, 9, 21, 1001}) {
      const float step = std::ldexp(static_cast<float>(odd), exponent);
      for (int start = 0; start < 8; ++start) {
        expectSame(-1.0F + std::ldexp(static_cast<float>(start), -24), step, 1.0F, 400000);
        expectSame(0.5F + std::ldexp(static_cast<float>(start), -24), step, 1.0F, 400000);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(PhaseWalk, AStepTooSmallToMoveThePhaseTakesAllStepsAtOnce) {
  const PhaseWalk walk = walkPhase(-1.0F, 1.0e-9F, 1.0F, 1000000000000);

  EXPECT_EQ(walk.position, -1.0F);
  EXPECT_EQ(walk.steps, 1000000000000);
  EXPECT_FALSE(walk.reachesEnd);
}

TEST(PhaseWalk, FillsGiveTheBitsOfSingleAdditions) {
  Random random(4);
  for (int n = 0; n < 20000; ++n) {
    const float position = 2.0F * random.unit31() - 1.0F;
    const float odd = static_cast<float>(1 + 2 * (random.integer31() % 600));
    const float step =
        n % 2 == 0 ? std::exp2(-18.0F * random.unit31()) : std::ldexp(odd, -27 + random.integer31() % 6);
    expectSameFill(position, step, 1.0F, 1 + random.integer31() % 100);
    if (HasFatalFailure()) return;
  }
  expectSameFill(-1.0F, 1.0e-9F, 1.0F, 64);
}

TEST(PhaseWalk, NoStepsLeaveThePhase) { expectSame(0.3F, 0.01F, 1.0F, 0); }

TEST(PhaseWalk, AFirstStepMayReachTheEnd) { expectSame(0.999F, 0.5F, 1.0F, 10); }

}  // namespace
}  // namespace morv
