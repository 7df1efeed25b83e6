// What an effect does while it forgets, and that nothing of its memory is left out.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "effects/EffectMemory.h"
#include "effects/HeldSettings.h"
#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 48000;
constexpr int kRecoveryFrames = 4800;    // 100 ms
constexpr int kForgettingFrames = 2048;  // 40 ms and a block
constexpr std::size_t kLeastSlice = 32768;
const float kNoNumber = std::numeric_limits<float>::quiet_NaN();

template <typename Effect>
Effect& as(ZRDSPEffect& effect) {
  return dynamic_cast<Effect&>(effect);
}

template <typename Line>
void fill(Line& line, float value) {
  std::fill_n(line.buffer.data(), line.buffer.size(), value);
}

std::size_t lostFloats(const ZeroedFloats& buffer) {
  return static_cast<std::size_t>(
      std::count_if(buffer.data(), buffer.data() + buffer.size(), [](float x) { return !std::isfinite(x); }));
}

// The digital reverb is silent until its controls are set; they stand in the middle.
std::unique_ptr<ZRDSPEffect> preparedEffect(const char* kind) {
  std::unique_ptr<ZRDSPEffect> effect = makeEffect(kind, static_cast<double>(kRate));
  effect->prepare(kRate, 64);
  effect->bypass = 0.0F;
  if (std::string(kind) != "digiverb") return effect;
  for (EffectControl& control : controlsOf(kind, *effect)) {
    const auto range = control.range();
    if (range.has_value() && !control.isWhole()) control.set(0.5F * (range->least + range->greatest));
  }
  return effect;
}

struct Kind {
  const char* name;
  void (*poison)(ZRDSPEffect& effect);  // a filter or follower, which the next look sees
};

constexpr Kind kKinds[] = {
    {"basicchorus", [](ZRDSPEffect& e) { as<ZRBasicChorus>(e).crossL.z1 = kNoNumber; }},
    {"ecoverb", [](ZRDSPEffect& e) { as<ZREcoVerb>(e).lowpassA.z1 = kNoNumber; }},
    {"basicdelay", [](ZRDSPEffect& e) { as<ZRBasicDelay>(e).timeL = kNoNumber; }},
    {"digiverb", [](ZRDSPEffect& e) { as<ZRDigiVerb>(e).mixSmoothed = kNoNumber; }},
    {"vachorus", [](ZRDSPEffect& e) { as<ZRVAChorus>(e).smoothedDepth = kNoNumber; }},
    {"vadelay", [](ZRDSPEffect& e) { as<ZRVADelay>(e).smoothedFeedback = kNoNumber; }},
    {"digidelay", [](ZRDSPEffect& e) { as<ZRDigiDelay>(e).lowpassLeft.z1 = kNoNumber; }},
    {"digiphaser", [](ZRDSPEffect& e) { as<ZRDigiPhaser>(e).phase = kNoNumber; }},
    {"springverb", [](ZRDSPEffect& e) { as<ZRSpringVerb>(e).allpasses[99].state = kNoNumber; }},
};

class PoisonedKind : public ::testing::TestWithParam<Kind> {};

TEST_P(PoisonedKind, InBlocksOfOneAndOfOddLengthsIsMendedOnceAndPlaysOn) {
  for (const int block : {1, 7, 333}) {
    const auto effect = preparedEffect(GetParam().name);
    runInBlocks(*effect, stereoNoise(4096, 3), block);
    GetParam().poison(*effect);

    EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(kRecoveryFrames, 4), block)));
    const Stereo heard = runInBlocks(*effect, stereoNoise(24000, 5), block);

    EXPECT_TRUE(isFinite(heard));
    EXPECT_GT(peakOf(heard.left), 0.01F);
    EXPECT_EQ(effect->recoveryCount(), 1U) << block;
  }
}

TEST_P(PoisonedKind, WhileBypassedIsMendedWhenItRunsAgain) {
  const auto effect = preparedEffect(GetParam().name);
  runInBlocks(*effect, stereoNoise(4096, 3), 64);
  effect->bypass = 1.0F;
  runInBlocks(*effect, stereoNoise(640, 3), 64);
  GetParam().poison(*effect);
  runInBlocks(*effect, stereoNoise(640, 3), 64);
  // The analogue delay goes on in its bypass.
  EXPECT_EQ(effect->recoveryCount(), std::string(GetParam().name) == "vadelay" ? 1U : 0U);

  effect->bypass = 0.0F;

  EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(24000, 4), 64)));
  EXPECT_EQ(effect->recoveryCount(), 1U);
}

TEST_P(PoisonedKind, WhoseBypassGoesOnAndOffWhileItForgetsIsMendedOnce) {
  const auto effect = preparedEffect(GetParam().name);
  runInBlocks(*effect, stereoNoise(4096, 3), 64);
  GetParam().poison(*effect);

  for (int i = 0; i < 150; ++i) {
    effect->bypass = static_cast<float>(i % 2);
    EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(64, 4), 64)));
  }
  effect->bypass = 0.0F;

  EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(24000, 5), 64)));
  EXPECT_EQ(effect->recoveryCount(), 1U);
}

TEST_P(PoisonedKind, ThatIsPreparedOrResetWhileItForgetsIsMendedOnce) {
  for (const float rateHz : {96000.0F, 22050.0F, kRate, 0.0F}) {
    const auto effect = preparedEffect(GetParam().name);
    runInBlocks(*effect, stereoNoise(4096, 3), 64);
    GetParam().poison(*effect);
    runInBlocks(*effect, stereoNoise(640, 4), 64);
    if (rateHz > 0.0F) {
      effect->prepare(rateHz, 64);
    } else {
      effect->reset();
    }

    EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(48000, 5), 64)));
    EXPECT_LE(effect->recoveryCount(), 1U);
  }
}

TEST_P(PoisonedKind, ThatHeardNothingForLongIsMendedOnceAndPlaysOn) {
  const auto effect = preparedEffect(GetParam().name);
  const Stereo silence = stereoNoise(24000, 3, 0.0F);
  runInBlocks(*effect, stereoNoise(4096, 3), 512);
  for (int i = 0; i < 40; ++i) runInBlocks(*effect, silence, 512);
  GetParam().poison(*effect);
  EXPECT_TRUE(isFinite(runInBlocks(*effect, silence, 512)));
  const Stereo heard = runInBlocks(*effect, stereoNoise(24000, 5), 512);

  EXPECT_TRUE(isFinite(heard));
  EXPECT_GT(peakOf(heard.left), 0.01F);
  EXPECT_EQ(effect->recoveryCount(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, PoisonedKind, ::testing::ValuesIn(kKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST(PoisonedMemory, IsEmptiedAlsoWhileTheEffectIsBypassed) {
  const auto effect = preparedEffect("digidelay");
  runInBlocks(*effect, stereoNoise(64, 3), 64);
  auto& delay = as<ZRDigiDelay>(*effect);
  delay.lowpassLeft.z1 = kNoNumber;
  runInBlocks(*effect, stereoNoise(512, 3), 64);
  ASSERT_EQ(effect->recoveryCount(), 1U);
  fill(delay.modRight, kNoNumber);

  effect->bypass = 1.0F;
  runInBlocks(*effect, stereoNoise(kForgettingFrames, 3), 64);

  EXPECT_EQ(lostFloats(delay.modRight.buffer), 0U);
}

TEST(PoisonedMemory, IsEmptiedInShareOverFortyMilliseconds) {
  const auto effect = preparedEffect("digidelay");
  auto& delay = as<ZRDigiDelay>(*effect);
  uniComb* const lines[] = {&delay.combLeft, &delay.combRight, &delay.modLeft, &delay.modRight};
  const auto lost = [&] {
    std::size_t count = 0;
    for (const uniComb* line : lines) count += lostFloats(line->buffer);
    return count;
  };
  std::size_t all = 0;
  for (uniComb* line : lines) {
    fill(*line, kNoNumber);
    all += line->buffer.size();
  }
  ASSERT_EQ(lost(), all);
  const std::size_t share = std::max(all * 64 / 1920, kLeastSlice);
  std::size_t before = all;
  int blocks = 0;
  for (; before > 0 && blocks < 100; ++blocks) {
    runInBlocks(*effect, stereoNoise(64, 3), 64);
    const std::size_t after = lost();
    EXPECT_LE(before - after, share + 2 * 64 * 4);  // what is written into the four lines in a block
    before = after;
  }

  EXPECT_GT(blocks, 25);
  EXPECT_LE(blocks, 45);  // 30 and those until the look
}

TEST(PoisonedMemory, LetsAnInputThroughInsideItsBounds) {
  const auto effect = preparedEffect("ecoverb");
  effect->mix = 25.0F;
  as<ZREcoVerb>(*effect).lowpassA.z1 = kNoNumber;
  runInBlocks(*effect, stereoNoise(512, 3), 64);
  ASSERT_EQ(effect->recoveryCount(), 1U);
  std::vector<float> in(64, 0.5F);
  in[3] = kNoNumber;
  in[4] = 1.0e30F;
  in[5] = -std::numeric_limits<float>::infinity();
  std::vector<float> left(64);
  std::vector<float> right(64);

  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left[2], 0.375F);
  EXPECT_EQ(left[3], 0.0F);
  EXPECT_EQ(left[4], 0.75e6F);
  EXPECT_EQ(left[5], -0.75e6F);
}

TEST(PoisonedMemory, OfTheEchoLetsTheDrySideThroughByItsMixAndWholeWhereItIsAdded) {
  for (const int routing : {0, 1}) {
    const auto effect = preparedEffect("basicdelay");
    effect->routing = routing;
    effect->mix = 25.0F;
    as<ZRBasicDelay>(*effect).timeL = kNoNumber;
    runInBlocks(*effect, stereoNoise(512, 3), 64);
    ASSERT_EQ(effect->recoveryCount(), 1U);
    const std::vector<float> in(64, 0.5F);
    std::vector<float> left(64);
    std::vector<float> right(64);

    effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

    EXPECT_EQ(left, std::vector<float>(64, routing == 0 ? 0.375F : 0.5F));
  }
}

TEST(PoisonedMemory, OfTheDigitalDelayCountsAsSilentAfterAReset) {
  for (const bool prepares : {false, true}) {
    const auto effect = preparedEffect("digidelay");
    auto& delay = as<ZRDigiDelay>(*effect);
    std::vector<float> left(64, 0.5F);
    std::vector<float> right(64, 0.5F);
    runInBlocks(*effect, stereoNoise(512, 3), 64);
    fill(delay.combLeft, kNoNumber);
    fill(delay.modLeft, kNoNumber);
    delay._runEffect(left.data(), right.data(), left.data(), right.data(), 64, 120.0F);
    if (prepares) {
      delay.prepare(kRate, 64);
    } else {
      delay.reset();
    }

    runInBlocks(*effect, stereoNoise(4096, 3), 64);

    EXPECT_EQ(effect->recoveryCount(), 0U);
  }
}

template <typename Line>
void expectStartedOver(Line& line) {
  fill(line, kNoNumber);
  line.writeIndex = 5;
  line.position = line.state = kNoNumber;
  EffectMemory memory(0, 100);

  memory.forget(line);

  EXPECT_EQ(lostFloats(line.buffer), 0U);
  EXPECT_EQ(line.writeIndex, 0);
  EXPECT_EQ(line.position, 0.0F);
  EXPECT_EQ(line.state, 0.0F);
}

TEST(PoisonedMemory, OfALineStartsOver) {
  uniComb line;
  initUniComb(&line, 16);
  ap allpass;
  initAP(&allpass, 16);

  expectStartedOver(line);
  expectStartedOver(allpass);
}

TEST(PoisonedMemory, OfAHalfBandStartsOver) {
  fir filter;
  filter.buffer = ZeroedFloats(16);
  fill(filter, kNoNumber);
  filter.index = 5;
  EffectMemory memory(0, 100);

  memory.forget(filter);

  EXPECT_EQ(lostFloats(filter.buffer), 0U);
  EXPECT_EQ(filter.index, 0);
}

TEST(PoisonedMemory, OfACombLosesItsStates) {
  comb line;
  initComb(&line, 16);
  std::fill_n(line.buffer.data(), line.buffer.size(), kNoNumber);
  line.lastOutput = line.filterState = kNoNumber;
  line.writeIndex = 5;
  EffectMemory memory(0, 100);

  memory.forget(line);

  EXPECT_EQ(lostFloats(line.buffer), 0U);
  EXPECT_EQ(line.lastOutput, 0.0F);
  EXPECT_EQ(line.filterState, 0.0F);
  EXPECT_EQ(line.writeIndex, 0);
  EXPECT_EQ(memory.walked(), line.buffer.size());
}

TEST(PoisonedMemory, OfABucketBrigadeLosesItsFilterStates) {
  bbd line;
  initBBDLine(&line, 8, 0.01F, kRate);
  std::fill_n(line.delayBuffer.data(), line.delayBuffer.size(), kNoNumber);
  std::fill_n(line.stageBuffer.data(), line.stageBuffer.size(), kNoNumber);
  line.writeIndex = 5;
  line.feedbackOut = kNoNumber;
  line.clockPhase = static_cast<double>(kNoNumber);
  for (iird* filter : {&line.inputFilter, &line.outputFilter}) {
    std::fill(filter->state.begin(), filter->state.end(), static_cast<double>(kNoNumber));
  }
  EffectMemory memory(0, 10000);

  memory.forget(line);

  EXPECT_EQ(lostFloats(line.delayBuffer), 0U);
  EXPECT_EQ(lostFloats(line.stageBuffer), 0U);
  EXPECT_EQ(line.writeIndex, 0);
  EXPECT_EQ(line.feedbackOut, 0.0F);
  EXPECT_EQ(line.clockPhase, 0.0);
  for (const iird* filter : {&line.inputFilter, &line.outputFilter}) {
    for (const double state : filter->state) EXPECT_EQ(state, 0.0);
  }
}

// A line that the present mode does not read is emptied with the others.
struct MemoryPlace {
  const char* kind;
  const char* name;
  ZeroedFloats& (*buffer)(ZRDSPEffect& effect);
};

const MemoryPlace kMemoryPlaces[] = {
    {"vachorus", "bucket brigade",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).lines[1][0].delayBuffer; }},
    {"vachorus", "half-band",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).halfbands[1].buffer; }},
    {"vadelay", "left decimator",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVADelay>(e).decimatorLeft; }},
    {"vadelay", "right decimator",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVADelay>(e).decimatorRight; }},
    {"digiverb", "lo-fi half-band",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).loFiFIR[1].buffer; }},
    {"digiverb", "spring's half-band",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springFIR.buffer; }},
    {"digiverb", "spring",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springLine[1].buffer; }},
};

TEST(PoisonedMemory, IsEmptiedEverywhere) {
  for (const MemoryPlace& place : kMemoryPlaces) {
    SCOPED_TRACE(place.name);
    const auto effect = preparedEffect(place.kind);
    runInBlocks(*effect, stereoNoise(512, 3), 64);
    ZeroedFloats& buffer = place.buffer(*effect);
    ASSERT_GT(buffer.size(), 0U);
    std::fill_n(buffer.data(), buffer.size(), kNoNumber);
    for (const Kind& kind : kKinds) {
      if (std::string(kind.name) == place.kind) kind.poison(*effect);
    }

    runInBlocks(*effect, stereoNoise(kRecoveryFrames, 3), 64);

    EXPECT_EQ(lostFloats(buffer), 0U);
    EXPECT_EQ(effect->recoveryCount(), 1U);
  }
}

struct FollowerPlace {
  const char* kind;
  const char* name;
  float& (*value)(ZRDSPEffect& effect);
};

const FollowerPlace kCoefficients[] = {
    {"basicchorus", "smoothing", [](ZRDSPEffect& e) -> float& { return as<ZRBasicChorus>(e).smoothing; }},
    {"basicchorus", "filter", [](ZRDSPEffect& e) -> float& { return as<ZRBasicChorus>(e).crossL.G; }},
    {"basicdelay", "smoothing", [](ZRDSPEffect& e) -> float& { return as<ZRBasicDelay>(e).smoothing; }},
    {"vachorus", "smoothing", [](ZRDSPEffect& e) -> float& { return as<ZRVAChorus>(e).smoothing; }},
    {"vadelay", "feedback", [](ZRDSPEffect& e) -> float& { return as<ZRVADelay>(e).feedbackCoefficient; }},
    {"digidelay", "times", [](ZRDSPEffect& e) -> float& { return as<ZRDigiDelay>(e).timeCoefficient; }},
    {"digidelay", "amount", [](ZRDSPEffect& e) -> float& { return as<ZRDigiDelay>(e).amountCoefficient; }},
    {"digiphaser", "smoothing", [](ZRDSPEffect& e) -> float& { return as<ZRDigiPhaser>(e).smoothing; }},
    {"digiverb", "smoothing", [](ZRDSPEffect& e) -> float& { return as<ZRDigiVerb>(e).smoothing; }},
    {"digiverb", "size", [](ZRDSPEffect& e) -> float& { return as<ZRDigiVerb>(e).sizeSmoothing; }},
    {"ecoverb", "damping", [](ZRDSPEffect& e) -> float& { return as<ZREcoVerb>(e).damping; }},
    {"ecoverb", "filter", [](ZRDSPEffect& e) -> float& { return as<ZREcoVerb>(e).lowpassA.G; }},
};

TEST(PoisonedCoefficient, GoesBackToThatOfTheRateAndIsCountedOnce) {
  for (const FollowerPlace& place : kCoefficients) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    const auto effect = preparedEffect(place.kind);
    runInBlocks(*effect, stereoNoise(4096, 3), 64);
    float& coefficient = place.value(*effect);
    const float expected = coefficient;
    coefficient = kNoNumber;

    EXPECT_TRUE(isFinite(runInBlocks(*effect, stereoNoise(48000, 4), 64)));

    EXPECT_EQ(coefficient, expected);
    EXPECT_EQ(effect->recoveryCount(), 1U);
  }
}

// A look every 10 ms and 40 ms of forgetting, at each rate.
TEST(PoisonedMemory, IsFoundWithin21MillisecondsAtEachRate) {
  for (const float rateHz : {8000.0F, 48000.0F, 192000.0F}) {
    const auto effect = makeEffect("digiphaser", static_cast<double>(rateHz));
    effect->prepare(rateHz, 16);
    effect->bypass = 0.0F;
    runInBlocks(*effect, stereoNoise(16, 3), 16);
    as<ZRDigiPhaser>(*effect).mix = 0.0F;  // so that nothing of it is heard
    as<ZRDigiPhaser>(*effect).smoothedMix = 0.0F;
    as<ZRDigiPhaser>(*effect).phase = kNoNumber;

    runInBlocks(*effect, stereoNoise(static_cast<int>(0.021F * rateHz), 4), 16);

    EXPECT_EQ(effect->recoveryCount(), 1U) << rateHz;
  }
}

}  // namespace
}  // namespace morv
