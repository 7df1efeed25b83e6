#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "platform/Random.h"
#include "voice/ZRBasicEnvelope.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr float kTempo = 120.0F;
constexpr float kLineRounding = 1e-6F;  // a few float steps at values up to one

std::vector<float> run(ZRBasicEnvelope& e, int frames, float tempo = kTempo) {
  std::vector<float> out(static_cast<std::size_t>(frames), 55.0F);
  e.runAndApplyEnvelope(out.data(), frames, tempo);
  return out;
}

// Runs until the state is reached and returns the number of samples.
int runUntilState(ZRBasicEnvelope& e, int state, int limit = 200000) {
  int samples = 0;
  while (e.state() != state && samples < limit) {
    run(e, 1);
    ++samples;
  }
  return samples;
}

struct Calls {
  int trigger = 0;
  int decay = 0;
  int end = 0;
};

void countCalls(ZRBasicEnvelope& e, Calls& calls) {
  e.callbackOwner = &calls;
  e.onTrigger = [](void* owner) { return ++static_cast<Calls*>(owner)->trigger; };
  e.onDecay = [](void* owner) { return ++static_cast<Calls*>(owner)->decay; };
  e.onEnd = [](void* owner) { return ++static_cast<Calls*>(owner)->end; };
}

class ZRBasicEnvelopeTest : public ::testing::Test {
 protected:
  int counter = 0;
  ZRBasicEnvelope e{kRate, 64, &counter};
};

TEST_F(ZRBasicEnvelopeTest, StartsAsItsFieldsSay) {
  EXPECT_EQ(e.name, "BasicEnvelope");
  EXPECT_EQ(e.blockSize, 64);
  EXPECT_EQ(e.envelopeMode, 0);
  EXPECT_EQ(e.envelopeCurve, 0);
  EXPECT_EQ(e.attack, 0.01F);
  EXPECT_EQ(e.decay, 0.5F);
  EXPECT_EQ(e.sustain, 1.0F);
  EXPECT_EQ(e.release, 0.1F);
  EXPECT_EQ(e.velocityScale, 1.0F);
  EXPECT_EQ(e.delay, 0.0F);
  EXPECT_FALSE(e.loop);
  EXPECT_FALSE(e.sync);
  EXPECT_EQ(e.modMatrix, nullptr);
  EXPECT_EQ(e.onTrigger, nullptr);
  EXPECT_EQ(e.onEnd, nullptr);
  EXPECT_EQ(e.onDecay, nullptr);
  EXPECT_EQ(e.callbackOwner, nullptr);
  EXPECT_EQ(e.level, 0.0F);
  EXPECT_EQ(e.stageTarget, 0.0F);
  EXPECT_EQ(e.attackStart, 0.0F);
  EXPECT_EQ(e.state(), 0);
  EXPECT_EQ(e.gate, 0);
  EXPECT_EQ(e.time, 44100);
  EXPECT_EQ(e.lastState, 0);
  EXPECT_EQ(e.delayUnit, 5);
  EXPECT_EQ(e.delaySamples, 0);
  EXPECT_EQ(e.delayCount, 0);
}

TEST_F(ZRBasicEnvelopeTest, HasItsThreeParametersNamedWithItsIndex) {
  int addresses = 40;
  ZRBasicEnvelope second(kRate, 64, &addresses, 2);

  EXPECT_EQ(addresses, 43);
  EXPECT_EQ(second.numberOfParameters(), 3);
  struct Row {
    const ZRDSPParameter& p;
    const char* identifier;
    const char* name;
    float initial;
    ZRDSPParameterUnit unit;
    int address;
  };
  const std::vector<Row> rows = {
      {second.envVelocity, "envVelocity", "Env Velocity 2", 1, ZRDSPParameterUnit::generic, 40},
      {second.envGate, "envGate", "Env Gate 2", 0, ZRDSPParameterUnit::boolean, 41},
      {second.envMax, "envMax", "Env Max 2", 1, ZRDSPParameterUnit::generic, 42},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.identifier);
    EXPECT_EQ(row.p.identifier, row.identifier);
    EXPECT_EQ(row.p.name, row.name);
    EXPECT_EQ(row.p.minValue, 0.0F);
    EXPECT_EQ(row.p.maxValue, 1.0F);
    EXPECT_EQ(row.p.value, row.initial);
    EXPECT_EQ(row.p.unit, row.unit);
    EXPECT_EQ(row.p.address, row.address);
    EXPECT_EQ(second.parameterForAddress(row.address), &row.p);
  }
  EXPECT_EQ(e.envVelocity.name, "Env Velocity");
}

TEST_F(ZRBasicEnvelopeTest, WritesItsStagesAsStraightLines) {
  e.attack = 0.01F;
  e.decay = 0.02F;
  e.sustain = 0.4F;
  e.release = 0.03F;
  const double a = 0.011 * 44100;
  const double d = 0.0201 * 44100;
  const double r = 0.0301 * 44100;

  e.setGate(1, 1.0F);
  const auto open = run(e, 3000);
  EXPECT_EQ(e.state(), 3);
  e.setGate(0, 1.0F);
  const auto closed = run(e, 2000);

  for (int t = 0; t < 3000; ++t) {
    double want = 0.4;
    if (t <= std::ceil(a)) {
      want = t / a;
    } else if (t <= std::ceil(a + d)) {
      want = 1 - (t - a) * 0.6 / d;
    }
    ASSERT_NEAR(open[static_cast<std::size_t>(t)], static_cast<float>(want), kLineRounding) << t;
  }
  for (int t = 0; t < 2000; ++t) {
    const double want = t <= std::ceil(r) ? 0.4 - t * 0.4 / r : 0.0;
    ASSERT_NEAR(closed[static_cast<std::size_t>(t)], static_cast<float>(want), kLineRounding) << t;
  }
  EXPECT_EQ(e.state(), 0);
  EXPECT_EQ(closed.back(), 0.0F);
}

TEST_F(ZRBasicEnvelopeTest, TimesOfZeroStillTakeAMillisecondAndATenthOfOne) {
  e.attack = 0.0F;
  e.decay = 0.0F;
  e.release = 0.0F;
  e.sustain = 0.5F;

  e.setGate(1, 1.0F);

  EXPECT_EQ(runUntilState(e, 2), 46);  // 44.1 samples: time 45 is the first beyond
  EXPECT_EQ(runUntilState(e, 3), 4);   // 48.51 samples in all: time 49
  e.setGate(0, 1.0F);
  EXPECT_EQ(runUntilState(e, 0), 6);  // 4.41 samples: time 5
}

TEST_F(ZRBasicEnvelopeTest, AnEqualGateChangesNothing) {
  e.setGate(1, 1.0F);
  run(e, 300);
  const int time = e.time;
  e.sustain = 0.2F;

  e.setGate(1, 0.3F);

  EXPECT_EQ(e.time, time);
  EXPECT_EQ(e.velocityScale, 1.0F);
  EXPECT_EQ(e.stageTarget, 1.0F);
}

TEST_F(ZRBasicEnvelopeTest, TheSustainIsTakenWhenTheGateOpens) {
  e.attack = e.decay = 0.0F;
  e.sustain = 0.5F;
  e.setGate(1, 1.0F);
  run(e, 200);

  e.sustain = 0.9F;

  EXPECT_EQ(run(e, 1)[0], 0.5F);
  e.setGate(0, 1.0F);
  e.setGate(1, 1.0F);
  run(e, 400);
  EXPECT_EQ(run(e, 1)[0], 0.9F);
}

TEST_F(ZRBasicEnvelopeTest, AReleaseFallsFromTheLevelThatItFound) {
  e.attack = 0.1F;
  e.setGate(1, 1.0F);
  run(e, 2000);
  const float found = e.level;

  e.setGate(0, 1.0F);

  EXPECT_EQ(e.state(), 4);
  EXPECT_EQ(e.stageTarget, found);
  EXPECT_EQ(e.attackStart, 0.0F);
  EXPECT_EQ(run(e, 1)[0], found);
}

TEST_F(ZRBasicEnvelopeTest, ARetriggerClimbsFromWhereTheReleaseStands) {
  e.sustain = 0.8F;
  e.decay = 0.0F;
  e.release = 0.05F;
  e.setGate(1, 1.0F);
  run(e, 2000);
  e.setGate(0, 1.0F);
  const float last = run(e, 1000).back();

  e.setGate(1, 1.0F);
  const auto out = run(e, 2000);

  EXPECT_EQ(e.attackStart, last);
  EXPECT_EQ(out[0], last);
  EXPECT_NEAR(out[1], last + (1 - last) / (0.011F * 44100), kLineRounding);
  EXPECT_EQ(e.stageTarget, 0.8F);
  EXPECT_EQ(out.back(), 0.8F);
}

TEST_F(ZRBasicEnvelopeTest, TheVelocityScalesByItsPowerOfOneAndAHalf) {
  struct Row {
    float amount, velocity;
    double scale;
  };
  const std::vector<Row> rows = {{1, 1, 1},    {1, 0.5F, 0.35355339},    {1, 0.25F, 0.125},
                                 {0, 0.1F, 1}, {0.5F, 0.5F, 0.64951905}, {0.5F, 0, 0.35355339}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.velocity);
    ZRBasicEnvelope fresh(kRate, 64, &counter);
    fresh.envVelocity = row.amount;
    fresh.setGate(1, row.velocity);

    const auto out = run(fresh, 3000);

    EXPECT_NEAR(fresh.velocityScale, static_cast<float>(row.scale), 1e-6F);
    EXPECT_NEAR(out.back(), static_cast<float>(row.scale), 1e-6F);
    EXPECT_NEAR(fresh.level, 1.0F, 1e-6F);  // the level is free of the scale
  }
}

TEST_F(ZRBasicEnvelopeTest, AVelocityOfZeroIsSilentAndKeepsTheLevelANumber) {
  e.setGate(1, 0.0F);

  const auto silent = run(e, 1000);

  EXPECT_TRUE(std::ranges::all_of(silent, [](float x) { return x == 0.0F; }));
  EXPECT_EQ(e.level, 0.0F);
  e.setGate(0, 0.0F);
  run(e, 10);
  e.setGate(1, 1.0F);
  EXPECT_EQ(e.attackStart, 0.0F);
  EXPECT_TRUE(std::ranges::all_of(run(e, 1000), [](float x) { return std::isfinite(x); }));
}

TEST_F(ZRBasicEnvelopeTest, ALoopRunsOnWhenTheGateCloses) {
  e.loop = true;
  e.attack = e.decay = 0.01F;
  e.sustain = 0.0F;
  e.setGate(1, 1.0F);
  run(e, 100);

  e.setGate(0, 1.0F);
  const auto out = run(e, 4000);

  EXPECT_EQ(e.gate, 0);
  EXPECT_NE(e.state(), 4);
  EXPECT_GT(*std::max_element(out.begin() + 3000, out.end()), 0.9F);
}

TEST_F(ZRBasicEnvelopeTest, ALoopRepeatsItsFirstTwoStages) {
  e.loop = true;
  e.attack = 0.01F;
  e.decay = 0.02F;
  e.sustain = 0.5F;
  e.setGate(1, 1.0F);

  const auto out = run(e, 5000);

  // Stages of 485.1 and 886.41 samples end on time 1372; the next round starts one sample into its attack.
  for (std::size_t i = 1; i <= 1372; ++i) ASSERT_EQ(out[i + 1372], out[i]) << i;
}

TEST_F(ZRBasicEnvelopeTest, ASyncedLoopWaitsForTheBeatBelowZero) {
  e.loop = true;
  e.sync = true;
  e.attack = 0.01F;
  e.decay = 0.02F;
  e.sustain = 0.0F;
  e.setGate(1, 1.0F);

  const auto out = run(e, 23000);  // a quarter note at 120 lasts 22050 samples

  EXPECT_LT(out[22050], -20.0F);
  EXPECT_GE(out[22051], 0.0F);
  EXPECT_NEAR(out[22051 + 100], 101 / (0.011F * 44100), 1e-5F);
}

TEST_F(ZRBasicEnvelopeTest, ATriggerStartsTheAttackFromSilenceWithoutAGate) {
  Calls calls;
  countCalls(e, calls);
  e.setGate(1, 1.0F);
  run(e, 200);

  e.trigger();

  EXPECT_EQ(e.state(), 1);
  EXPECT_EQ(e.time, 0);
  EXPECT_EQ(e.attackStart, 0.0F);
  EXPECT_EQ(calls.trigger, 2);
  EXPECT_EQ(run(e, 1)[0], 0.0F);
}

TEST_F(ZRBasicEnvelopeTest, CallbacksTellOfTriggerDecayAndEnd) {
  Calls calls;
  countCalls(e, calls);
  e.decay = 0.01F;
  e.release = 0.01F;

  e.setGate(1, 1.0F);
  EXPECT_EQ(calls.trigger, 1);
  run(e, 400);
  EXPECT_EQ(calls.decay, 0);
  run(e, 200);
  EXPECT_EQ(calls.decay, 1);
  run(e, 2000);
  e.setGate(0, 1.0F);
  EXPECT_EQ(calls.end, 0);
  run(e, 2000);
  EXPECT_EQ(calls.end, 1);
  EXPECT_EQ(calls.decay, 1);
  EXPECT_EQ(calls.trigger, 1);
  run(e, 2000);
  EXPECT_EQ(calls.end, 1);
}

TEST_F(ZRBasicEnvelopeTest, AnEndCallbackMayGateTheEnvelopeAgainWithinTheBlock) {
  e.envelopeMode = 1;
  e.attack = e.decay = 0.0F;
  e.callbackOwner = &e;
  e.onEnd = [](void* owner) {
    static_cast<ZRBasicEnvelope*>(owner)->setGate(1, 1.0F);
    return 0;
  };

  e.setGate(1, 1.0F);
  const auto out = run(e, 400);

  // A round is 46 samples of attack and 4 of decay: 50.
  const auto peaks = std::ranges::count_if(out, [](float x) { return x > 1.0F; });
  EXPECT_EQ(peaks, 8);
  EXPECT_EQ(e.gate, 1);
}

TEST_F(ZRBasicEnvelopeTest, ACallbackSeesTheLevelOfTheSampleBefore) {
  struct Seen {
    ZRBasicEnvelope* envelope;
    float level;
  };
  Seen seen{&e, -1.0F};
  e.callbackOwner = &seen;
  e.onDecay = [](void* owner) {
    auto* s = static_cast<Seen*>(owner);
    s->level = s->envelope->level;
    return 0;
  };
  e.setGate(1, 0.5F);

  const auto out = run(e, 1000);  // the attack's last sample is that of time 486

  EXPECT_NEAR(seen.level, 485 / (0.011F * 44100), kLineRounding);
  EXPECT_NEAR(out[485], seen.level * e.velocityScale, kLineRounding);
}

TEST_F(ZRBasicEnvelopeTest, ANoteOnTheReleasesLastSampleStartsFromSilence) {
  e.release = 0.0F;
  e.setGate(1, 1.0F);
  run(e, 1000);
  e.setGate(0, 1.0F);
  runUntilState(e, 0);
  EXPECT_LT(e.level, 0.0F);  // the line ends below 0 by part of a step

  e.setGate(1, 1.0F);

  EXPECT_EQ(e.attackStart, 0.0F);
  EXPECT_EQ(run(e, 1)[0], 0.0F);
}

TEST_F(ZRBasicEnvelopeTest, AttackAndDecayEndsByItself) {
  e.envelopeMode = 1;
  e.attack = 0.01F;
  e.decay = 0.02F;
  const double a = 0.011 * 44100;
  const double d = 0.0201 * 44100;

  e.setGate(1, 1.0F);
  const auto out = run(e, 2100);

  for (int t = 0; t < 2100; ++t) {
    const double want = t < a + 1 ? t / a : std::max(1 - (t - a) / d, 0.0);
    ASSERT_NEAR(out[static_cast<std::size_t>(t)], static_cast<float>(want), 3 * kLineRounding) << t;
  }
  EXPECT_EQ(e.state(), 0);
}

TEST_F(ZRBasicEnvelopeTest, AClosingGateKeepsAttackAndDecayInItsStageAndStartsItsTimeAgain) {
  e.envelopeMode = 1;
  e.attack = 0.01F;
  e.decay = 0.02F;
  const double a = 0.011 * 44100;
  const double d = 0.0201 * 44100;
  e.setGate(1, 1.0F);
  run(e, 100);

  e.setGate(0, 1.0F);
  const auto attack = run(e, 700);

  EXPECT_NEAR(attack[100], static_cast<float>(100 / a), kLineRounding);
  EXPECT_EQ(e.state(), 2);
  e.setGate(1, 1.0F);
  run(e, 700);
  e.setGate(0, 1.0F);
  const auto decay = run(e, 100);
  EXPECT_EQ(e.state(), 2);
  EXPECT_NEAR(decay[50], static_cast<float>(1 - (50 - a) / d), 2 * kLineRounding);
}

TEST_F(ZRBasicEnvelopeTest, AttackAndDecayGivesTheGateBackAtItsEnd) {
  e.envelopeMode = 1;
  e.decay = 0.0F;
  e.setGate(1, 1.0F);

  run(e, 1000);

  EXPECT_EQ(e.gate, 0);
  e.setGate(1, 1.0F);
  EXPECT_EQ(e.state(), 1);
}

TEST_F(ZRBasicEnvelopeTest, AttackAndDecayCurvesAreAFourthPowerAndARoot) {
  ZRBasicEnvelope power(kRate, 64, &counter);
  ZRBasicEnvelope root(kRate, 64, &counter);
  power.envelopeCurve = 1;
  root.envelopeCurve = 2;
  for (ZRBasicEnvelope* x : {&e, &power, &root}) {
    x->envelopeMode = 1;
    x->decay = 0.02F;
    x->setGate(1, 0.7F);
  }

  const auto straight = run(e, 2000);
  const auto fourth = run(power, 2000);
  const auto square = run(root, 2000);

  for (std::size_t i = 0; i < 2000; ++i) {
    const auto y = static_cast<double>(straight[i]);
    ASSERT_GE(y, 0.0);
    ASSERT_NEAR(fourth[i], static_cast<float>(std::pow(y, 4)), kLineRounding);
    ASSERT_NEAR(square[i], static_cast<float>(std::sqrt(y)), kLineRounding);
  }
}

TEST_F(ZRBasicEnvelopeTest, ASyncedAttackAndDecayDoesNotFollowTheTempo) {
  e.envelopeMode = 1;
  e.loop = true;
  e.sync = true;
  e.attack = e.decay = 0.01F;
  e.setGate(1, 1.0F);

  for (int i = 0; i < 30; ++i) run(e, 44100, 240.0F);  // up to time 1323000: 30 s

  EXPECT_EQ(e.state(), 2);
  EXPECT_EQ(run(e, 10, 240.0F)[0], 0.0F);
  EXPECT_EQ(e.state(), 1);
}

TEST_F(ZRBasicEnvelopeTest, TheDelayIsWrittenAsSilenceAheadOfTheAttack) {
  e.delay = 0.001F;  // 5 ms: 220.5 samples
  ZRBasicEnvelope prompt(kRate, 64, &counter);
  e.setGate(1, 1.0F);
  prompt.setGate(1, 1.0F);
  EXPECT_EQ(e.delaySamples, 220);

  const auto late = run(e, 1000);
  const auto want = run(prompt, 780);

  for (std::size_t i = 0; i < 220; ++i) ASSERT_EQ(late[i], 0.0F);
  for (std::size_t i = 220; i < 1000; ++i) ASSERT_EQ(late[i], want[i - 220]);
  EXPECT_EQ(e.delayCount, 220);
}

TEST_F(ZRBasicEnvelopeTest, TheDelayHoldsTheReleaseBackAsWell) {
  e.delay = 0.001F;
  e.setGate(1, 1.0F);
  const float held = run(e, 5000).back();

  e.setGate(0, 1.0F);
  const auto out = run(e, 300);

  EXPECT_EQ(out[219], 0.0F);
  EXPECT_EQ(out[220], held);
}

// The same envelope sample by sample, on the plain stage functions.
struct PlainEnvelope {
  explicit PlainEnvelope(ZRBasicEnvelope& settings) : s(settings) {}

  float next(float tempo) {
    const auto longer = [](float x, double by) { return static_cast<float>(static_cast<double>(x) + by); };
    const float a = longer(s.attack, 0.001);
    const float d = longer(s.decay, 0.0001);
    const float r = longer(s.release, 0.0001);
    float y = 0;
    if (s.envelopeMode == 0) {
      y = adsr_state(time, state, s.loop, s.sync, s.sampleRate, scale, start, a, d, target, r, tempo);
    } else {
      y = ad_state(time, state, s.loop, s.sync, s.sampleRate, scale, start, a, d, r, level);
      y = std::max(y, 0.0F);
      if (s.envelopeCurve == 1) y = y * y * (y * y);
      if (s.envelopeCurve == 2) y = std::sqrt(y);
    }
    if (state != last && state == 0) gate = 0;
    level = static_cast<float>(static_cast<double>(y) * (1.0 / static_cast<double>(scale)));
    last = state;
    return y;
  }

  void setGate(int g, float velocity) {
    if (g == gate) return;
    time = 0;
    gate = g;
    if (g != 0) {
      start = state == 0 ? 0.0F : level;
      state = 1;
      target = s.sustain;
      const float e = s.envVelocity.value;
      scale = static_cast<float>(std::pow(static_cast<double>(1.0F - e + e * velocity), 1.5));
    } else if (state != 0 && s.envelopeMode == 0 && !s.loop) {
      target = level;
      start = 0;
      state = 4;
    }
  }

  ZRBasicEnvelope& s;
  float level = 0, target = 0, start = 0, scale = 1;
  int state = 0, gate = 0, time = 44100, last = 0;
};

// By turns into a buffer of the caller's and into its source, which it may hold.
// Each attack starts where the one before has stepped to.
TEST_F(ZRBasicEnvelopeTest, AKnobTurnedInManyAttacksStepsUponStepsWithoutLeavingTheNumbers) {
  constexpr double kRounding = 1e-5;
  constexpr int kClimb = 40000;
  const double shortest = static_cast<double>(0.001F) * static_cast<double>(kRate);
  e.sustain = 0.5F;
  e.release = 100.0F;
  double from = 0.0;
  for (int turn = 0; turn < 20; ++turn) {
    e.attack = 4.0F;
    e.setGate(1, 1.0F);
    run(e, kClimb);
    e.attack = 0.0F;
    const double climbed = static_cast<double>(run(e, 1)[0]);
    EXPECT_NEAR(climbed / (from + kClimb * (1.0 - from) / shortest), 1.0, kRounding) << turn;
    from = std::clamp(climbed, -1.0e12, 1.0e12);
    EXPECT_EQ(e.level, static_cast<float>(from)) << turn;
    e.setGate(0, 0.0F);
  }
  EXPECT_EQ(std::abs(e.level), 1.0e12F);
}

TEST_F(ZRBasicEnvelopeTest, RunsBitForBitAsItsStageFunctionsOverRandomGatesTimesAndLoops) {
  const auto rows = ZRDSPModMatrix::initSingleton();
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    ZRBasicEnvelope fast(kRate, 64, &counter);
    fast.envelopeMode = random.unit31() < 0.7F ? 0 : 1;
    fast.envelopeCurve = static_cast<int>(random.unit31() * 2.99F);
    PlainEnvelope plain(fast);
    ZRDSPModMatrix matrix(64);
    matrix.setMatrixCore(rows->getMatrixCore());
    fast.setModMatrix(&matrix);
    for (int block = 0; block < 300; ++block) {
      if (random.unit31() < 0.15F) {
        fast.attack = 0.02F * random.unit31();
        fast.decay = 0.03F * random.unit31();
        fast.sustain = random.unit31();
        fast.release = 0.05F * random.unit31();
        fast.loop = random.unit31() < 0.3F;
        fast.sync = random.unit31() < 0.5F;
      }
      if (random.unit31() < 0.1F) {
        const int gate = random.unit31() < 0.5F ? 1 : 0;
        const float velocity = 0.1F + 0.9F * random.unit31();
        fast.setGate(gate, velocity);
        plain.setGate(gate, velocity);
      }
      const float tempo = 60.0F + 3000.0F * random.unit31();
      const int frames = 1 + static_cast<int>(random.unit31() * 200.0F);

      std::vector<float> got(static_cast<std::size_t>(frames));
      if (seed % 2 == 0) {
        got = run(fast, frames, tempo);
      } else {
        fast.runGenerator(frames, tempo);
        std::copy_n(matrix.readSource(fast.modSourceIndex), frames, got.begin());
      }

      for (const float y : got) ASSERT_EQ(y, plain.next(tempo)) << block;
      ASSERT_EQ(fast.level, plain.level) << block;
      ASSERT_EQ(fast.state(), plain.state) << block;
      ASSERT_EQ(fast.time, plain.time) << block;
      ASSERT_EQ(fast.gate, plain.gate) << block;
    }
  }
}

TEST_F(ZRBasicEnvelopeTest, BlocksOfAnyLengthGiveTheSameEnvelope) {
  const auto play = [&](int size) {
    ZRBasicEnvelope fresh(kRate, size, &counter);
    fresh.decay = 0.03F;
    fresh.sustain = 0.3F;
    fresh.delay = 0.0003F;
    std::vector<float> all;
    for (const int gate : {1, 0, 1, 0}) {
      fresh.setGate(gate, 0.8F);
      for (int done = 0; done < 4096; done += size) {
        const auto block = run(fresh, std::min(size, 4096 - done));
        all.insert(all.end(), block.begin(), block.end());
      }
    }
    return all;
  };

  const auto want = play(4096);

  for (const int size : {1, 7, 64}) EXPECT_EQ(play(size), want) << size;
}

TEST_F(ZRBasicEnvelopeTest, TimesTakeTheRateThatTheOwnerWrites) {
  e.sampleRate = 88200.0F;
  e.setGate(1, 1.0F);

  EXPECT_EQ(runUntilState(e, 2), 972);  // 0.011 s are 970.2 samples: time 971
}

TEST_F(ZRBasicEnvelopeTest, ResetDoesNothing) {
  e.setGate(1, 1.0F);
  run(e, 100);
  const int time = e.time;

  e.reset();

  EXPECT_EQ(e.time, time);
  EXPECT_EQ(e.state(), 1);
}

TEST_F(ZRBasicEnvelopeTest, RunsIntoAPublicSourceOfItsMatrix) {
  ZRDSPModMatrix matrix(64);
  matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore());
  const int offered = matrix.getNumPublicSources();
  ZRBasicEnvelope twin(kRate, 64, &counter);

  e.setModMatrix(&matrix);
  e.setGate(1, 1.0F);
  twin.setGate(1, 1.0F);
  e.runGenerator(64, kTempo);
  const auto want = run(twin, 64);

  EXPECT_EQ(e.modMatrix, &matrix);
  EXPECT_EQ(e.modSourceIndex, 11);
  EXPECT_EQ(e.numModOutputs, 1);
  EXPECT_EQ(matrix.getNumPublicSources(), offered + 1);
  EXPECT_EQ(matrix.getNameForSource(11), "BasicEnvelope");
  for (std::size_t i = 0; i < 64; ++i) ASSERT_EQ(matrix.sourceBuffer(11)[i], want[i]);
}

TEST_F(ZRBasicEnvelopeTest, HoldsItsSourceWhileIdleAndInSustain) {
  ZRDSPModMatrix matrix(64);
  matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore());
  e.setModMatrix(&matrix);
  e.decay = 0.01F;
  e.sustain = 0.5F;
  const auto isHeldAfter = [&](int blocks) {
    for (int i = 0; i < blocks; ++i) e.runGenerator(64, kTempo);
    return matrix.isSourceHeld(e.modSourceIndex, 64);
  };

  EXPECT_TRUE(isHeldAfter(1));
  e.setGate(1, 1.0F);
  EXPECT_FALSE(isHeldAfter(1));
  EXPECT_TRUE(isHeldAfter(20));
  EXPECT_EQ(matrix.readSource(e.modSourceIndex)[63], 0.5F);
  e.setGate(0, 1.0F);
  EXPECT_FALSE(isHeldAfter(1));
}

TEST_F(ZRBasicEnvelopeTest, WithoutAMatrixHasNoBufferToRunInto) {
  e.setGate(1, 1.0F);

  e.runGenerator(64, kTempo);

  EXPECT_EQ(e.time, 0);
}

}  // namespace
}  // namespace morv
