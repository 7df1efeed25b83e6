#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>

#include "effects/EffectCatalogue.h"
#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "platform/DiagnosticRing.h"
#include "render/BlockLimits.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 48000;
constexpr int kRecoveryFrames = 4800;  // 100 ms
constexpr int kHeardFrames = 24000;
// Noise through swings that stand elsewhere, and a memory that fills 40 ms later.
constexpr double kSameLevelDb = 1.5;
constexpr float kPoisons[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity()};

template <typename Line>
void fill(Line& line, float value) {
  std::fill_n(line.buffer.data(), line.buffer.size(), value);
}

template <typename Effect>
Effect& as(ZRDSPEffect& effect) {
  return dynamic_cast<Effect&>(effect);
}

// A place in an effect, by the effect's kind.
struct Place {
  const char* kind;
  const char* name;
  void (*poison)(ZRDSPEffect& effect, float value);
  bool boundsInfinities = false;  // the ordinary arithmetic takes them home, so that nothing is left to mend
};

const Place kPlaces[] = {
    {"basicchorus", "Line", [](ZRDSPEffect& e, float x) { fill(as<ZRBasicChorus>(e).delayL, x); }, true},
    {"basicchorus", "OneSample",
     [](ZRDSPEffect& e, float x) {
       auto& line = as<ZRBasicChorus>(e).delayR;
       line.buffer[static_cast<std::size_t>(line.writeIndex + line.size - 100) %
                   static_cast<std::size_t>(line.size)] = x;
     },
     true},
    {"basicchorus", "CrossFeed", [](ZRDSPEffect& e, float x) { as<ZRBasicChorus>(e).crossR.z1 = x; }},
    {"basicchorus", "Phase", [](ZRDSPEffect& e, float x) { as<ZRBasicChorus>(e).phase1 = x; }},
    {"basicchorus", "Mix", [](ZRDSPEffect& e, float x) { as<ZRBasicChorus>(e).smoothed.mix = x; }},
    {"basicchorus", "Noise", [](ZRDSPEffect& e, float x) { as<ZRBasicChorus>(e).noiseL = x; }},
    {"ecoverb", "Diffuser", [](ZRDSPEffect& e, float x) { fill(as<ZREcoVerb>(e).diffusers[2], x); }},
    {"ecoverb", "AllPass", [](ZRDSPEffect& e, float x) { fill(as<ZREcoVerb>(e).loopAP3, x); }},
    {"ecoverb", "Delay", [](ZRDSPEffect& e, float x) { fill(as<ZREcoVerb>(e).loopD2, x); }},
    {"ecoverb", "LowPass", [](ZRDSPEffect& e, float x) { as<ZREcoVerb>(e).lowpassB.z1 = x; }},
    {"ecoverb", "Phase", [](ZRDSPEffect& e, float x) { as<ZREcoVerb>(e).phase = x; }},
    {"ecoverb", "InputFilter",
     [](ZRDSPEffect& e, float x) {
       float samples[4] = {x, x, x, x};
       as<ZREcoVerb>(e).fixedHighpass.runFilter(samples, samples, samples, samples, 4);
     }},
    {"basicdelay", "Line", [](ZRDSPEffect& e, float x) { fill(as<ZRBasicDelay>(e).delayR, x); }},
    {"basicdelay", "HighPass", [](ZRDSPEffect& e, float x) { as<ZRBasicDelay>(e).highpassL.z1 = x; }},
    {"basicdelay", "Time", [](ZRDSPEffect& e, float x) { as<ZRBasicDelay>(e).timeL = x; }},
    {"digiverb", "Shelf", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiVerb>(e).lowShelf[0], x); }},
    {"digiverb", "PreDelay", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiVerb>(e).preDelayLine[1], x); }},
    {"digiverb", "Tank", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiVerb>(e).loopAP2, x); }},
    {"digiverb", "Filter", [](ZRDSPEffect& e, float x) { as<ZRDigiVerb>(e).postFilter[0].z1 = x; }},
    {"digiverb", "Mix", [](ZRDSPEffect& e, float x) { as<ZRDigiVerb>(e).mixSmoothed = x; }},
    {"digiverb", "Phase", [](ZRDSPEffect& e, float x) { as<ZRDigiVerb>(e).phase = x; }},
    {"vachorus", "Comb", [](ZRDSPEffect& e, float x) { fill(as<ZRVAChorus>(e).combs[0][0], x); }, true},
    {"vachorus", "Band", [](ZRDSPEffect& e, float x) { as<ZRVAChorus>(e).split5kLeft.z1 = x; }},
    {"vachorus", "Shelf", [](ZRDSPEffect& e, float x) { fill(as<ZRVAChorus>(e).shelves[1], x); }},
    {"vachorus", "Phase", [](ZRDSPEffect& e, float x) { as<ZRVAChorus>(e).phaseB[0] = x; }},
    {"vachorus", "Depth", [](ZRDSPEffect& e, float x) { as<ZRVAChorus>(e).smoothedDepth = x; }},
    {"vadelay", "Tape",
     [](ZRDSPEffect& e, float x) {
       auto& delay = as<ZRVADelay>(e);
       std::fill_n(delay.delayBuffer.data(), delay.writeIndex, x);
     }},
    {"vadelay", "Filter", [](ZRDSPEffect& e, float x) { as<ZRVADelay>(e).lowpassFilter.z1 = x; }},
    {"vadelay", "Time", [](ZRDSPEffect& e, float x) { as<ZRVADelay>(e).smoothedTimeLeft = x; }},
    {"vadelay", "Feedback", [](ZRDSPEffect& e, float x) { as<ZRVADelay>(e).smoothedFeedback = x; }},
    {"vadelay", "Wow", [](ZRDSPEffect& e, float x) { as<ZRVADelay>(e).wowFilter.z1 = x; }},
    {"digidelay", "Line", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiDelay>(e).combLeft, x); }, true},
    {"digidelay", "ModulatedLine", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiDelay>(e).modRight, x); },
     true},
    {"digidelay", "Filter", [](ZRDSPEffect& e, float x) { as<ZRDigiDelay>(e).lowpassLeft.z1 = x; }},
    {"digidelay", "Time", [](ZRDSPEffect& e, float x) { as<ZRDigiDelay>(e).delayLeft = x; }},
    {"digidelay", "Phase", [](ZRDSPEffect& e, float x) { as<ZRDigiDelay>(e).phaseA = x; }},
    {"digiphaser", "Line", [](ZRDSPEffect& e, float x) { fill(as<ZRDigiPhaser>(e).channels[0].lines[1], x); },
     true},
    {"digiphaser", "Feedback", [](ZRDSPEffect& e, float x) { as<ZRDigiPhaser>(e).lastRight = x; }, true},
    {"digiphaser", "Phase", [](ZRDSPEffect& e, float x) { as<ZRDigiPhaser>(e).phase = x; }, true},
    {"digiphaser", "Mix", [](ZRDSPEffect& e, float x) { as<ZRDigiPhaser>(e).smoothedMix = x; }},
    {"springverb", "AllPass", [](ZRDSPEffect& e, float x) { fill(as<ZRSpringVerb>(e).allpasses[50], x); }},
    {"springverb", "State", [](ZRDSPEffect& e, float x) { as<ZRSpringVerb>(e).allpasses[99].state = x; }},
    {"springverb", "Line", [](ZRDSPEffect& e, float x) { fill(as<ZRSpringVerb>(e).tanks[0].line, x); }, true},
    {"springverb", "Block",
     [](ZRDSPEffect& e, float x) {
       std::fill_n(as<ZRSpringVerb>(e).tanks[0].buffer.data(), kMaxBlockFrames, x);
     }},
};

// Of a kind, with its continuous controls in the middle but for a moderate feedback.
std::unique_ptr<ZRDSPEffect> madeEffect(const char* kind) {
  std::unique_ptr<ZRDSPEffect> effect = makeEffect(kind, static_cast<double>(kRate));
  effect->prepare(kRate, 64);
  effect->bypass = 0.0F;
  for (EffectControl& control : controlsOf(kind, *effect)) {
    const auto range = control.range();
    if (!range.has_value() || control.isWhole()) continue;
    if (control.identifier().find("igh") != std::string::npos) continue;
    control.set(0.5F * (range->least + range->greatest));
  }
  return effect;
}

std::string takeDiagnostics() {
  char* memory = nullptr;
  std::size_t length = 0;
  std::FILE* sink = open_memstream(&memory, &length);
  DiagnosticRing::shared().drain(sink);
  std::fclose(sink);
  std::string lines(memory, length);
  std::free(memory);
  return lines;
}

long recoveriesTold() {
  const std::string told = takeDiagnostics();
  long count = 0;
  for (std::size_t at = told.find("[RECOVERY]"); at != std::string::npos;
       at = told.find("[RECOVERY]", at + 1)) {
    ++count;
  }
  return count;
}

double levelDb(const Stereo& s) {
  return 10.0 * std::log10((energy(s.left) + energy(s.right)) / (2.0 * s.frames()));
}

Stereo cut(const Stereo& s, int from, int to) {
  Stereo part;
  part.left.assign(s.left.begin() + from, s.left.begin() + to);
  part.right.assign(s.right.begin() + from, s.right.begin() + to);
  return part;
}

using Case = std::tuple<Place, float, int>;  // place, poison, block

class PoisonedEffect : public ::testing::TestWithParam<Case> {};

// The twin's memory is emptied when the poison comes.
TEST_P(PoisonedEffect, IsHeardNoLongerThanATenthOfASecondAndComesBackAsLoudAsAnEmptiedOne) {
  const auto [place, poison, block] = GetParam();
  const Stereo before = stereoNoise(48000, 3);
  const Stereo behind = stereoNoise(2 * 48000, 4);
  const auto effect = madeEffect(place.kind);
  const auto twin = madeEffect(place.kind);
  runInBlocks(*effect, before, block);
  runInBlocks(*twin, before, block);
  takeDiagnostics();

  place.poison(*effect, poison);
  twin->reset();
  // What effects have to say of each frame fills the ring unless somebody reads it.
  Stereo actual;
  long told = 0;
  for (int start = 0; start < behind.frames(); start += block) {
    const Stereo out =
        runInBlocks(*effect, cut(behind, start, std::min(start + block, behind.frames())), block);
    actual.left.insert(actual.left.end(), out.left.begin(), out.left.end());
    actual.right.insert(actual.right.end(), out.right.begin(), out.right.end());
    told += recoveriesTold();
  }
  const Stereo expected = runInBlocks(*twin, behind, block);

  ASSERT_TRUE(isFinite(actual));
  const int from = std::max(kRecoveryFrames, block);
  EXPECT_NEAR(levelDb(cut(actual, from, from + kHeardFrames)),
              levelDb(cut(expected, from, from + kHeardFrames)), kSameLevelDb);
  EXPECT_NEAR(levelDb(cut(actual, 48000, 96000)), levelDb(cut(expected, 48000, 96000)), kSameLevelDb);
  EXPECT_EQ(twin->recoveryCount(), 0U);
  if (place.boundsInfinities && std::isinf(poison)) {
    EXPECT_LE(effect->recoveryCount(), 1U);
  } else {
    EXPECT_EQ(effect->recoveryCount(), 1U);
  }
  EXPECT_EQ(told, static_cast<long>(effect->recoveryCount()));
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
  const auto [place, poison, block] = info.param;
  const char* what = std::isnan(poison) ? "NaN" : (poison > 0 ? "Inf" : "MinusInf");
  return std::string(place.kind) + place.name + what + std::to_string(block);
}

INSTANTIATE_TEST_SUITE_P(Places, PoisonedEffect,
                         ::testing::Combine(::testing::ValuesIn(kPlaces), ::testing::ValuesIn(kPoisons),
                                            ::testing::Values(64, 4096)),
                         caseName);

TEST(PoisonedEffect, LetsItsInputThroughFromTheBlockOnInWhichItIsFound) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  effect->mix = 25.0F;
  const std::vector<float> inLeft(64, 0.5F);
  const std::vector<float> inRight(64, -0.5F);
  std::vector<float> left(64);
  std::vector<float> right(64);
  effect->runEffect(inLeft.data(), inRight.data(), left.data(), right.data(), 64, 120.0F);
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);

  effect->runEffect(inLeft.data(), inRight.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left, std::vector<float>(64, 0.375F));
  EXPECT_EQ(right, std::vector<float>(64, -0.375F));
}

// The input is gone when the output is looked at.
TEST(PoisonedEffect, IsSilentInPlaceInTheBlockInWhichItIsFoundAndLetsItsInputThroughBehindIt) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  effect->mix = 25.0F;
  std::vector<float> left(64, 0.5F);
  std::vector<float> right(64, -0.5F);
  const auto run = [&] {
    std::fill(left.begin(), left.end(), 0.5F);
    std::fill(right.begin(), right.end(), -0.5F);
    effect->runEffect(left.data(), right.data(), left.data(), right.data(), 64, 120.0F);
  };
  run();
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);

  run();
  EXPECT_EQ(left, std::vector<float>(64));
  EXPECT_EQ(right, std::vector<float>(64));

  run();
  EXPECT_EQ(left, std::vector<float>(64, 0.375F));
  EXPECT_EQ(right, std::vector<float>(64, -0.375F));
}

// The bare form has no guard around it.
TEST(PoisonedEffect, ThatIsHealthyGivesTheBitsOfItsBareForm) {
  const auto expectSameBits = [](auto& guarded, auto& bare) {
    const Stereo in = stereoNoise(480000, 12);
    Stereo expected = in;
    Stereo actual = in;
    for (int start = 0; start < in.frames(); start += 64) {
      const ScopedFlushDenormals flush;
      float* left = actual.left.data() + start;
      float* right = actual.right.data() + start;
      guarded.runEffect(left, right, left, right, 64, 120.0F);
      left = expected.left.data() + start;
      right = expected.right.data() + start;
      bare._runEffect(left, right, left, right, 64, 120.0F);
    }
    EXPECT_EQ(actual.left, expected.left);
    EXPECT_EQ(actual.right, expected.right);
    EXPECT_EQ(guarded.recoveryCount(), 0U);
  };
  const auto chorus = madeEffect("basicchorus");
  const auto bareChorus = madeEffect("basicchorus");
  expectSameBits(*chorus, as<ZRBasicChorus>(*bareChorus));
  const auto verb = madeEffect("ecoverb");
  const auto bareVerb = madeEffect("ecoverb");
  expectSameBits(*verb, as<ZREcoVerb>(*bareVerb));
  const auto echo = madeEffect("basicdelay");
  const auto bareEcho = madeEffect("basicdelay");
  expectSameBits(*echo, as<ZRBasicDelay>(*bareEcho));
}

TEST(PoisonedEffect, IsNotBlamedForAnInputThatIsNoNumber) {
  const auto effect = makeEffect("spectrum", static_cast<double>(kRate));
  std::vector<float> in(64, 0.5F);
  in[7] = kPoisons[0];
  std::vector<float> left(64);
  std::vector<float> right(64);

  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_TRUE(std::isnan(left[7]));
  EXPECT_EQ(effect->recoveryCount(), 0U);
}

TEST(PoisonedEffect, ThatIsBypassedLeavesItsOutputsAloneWhileItForgets) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  const std::vector<float> in(64, 0.5F);
  std::vector<float> left(64);
  std::vector<float> right(64);
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);
  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);
  ASSERT_EQ(effect->recoveryCount(), 1U);

  effect->bypass = 1.0F;
  std::fill(left.begin(), left.end(), 0.125F);
  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left, std::vector<float>(64, 0.125F));
}

// What lies in a line is found when it is heard, a fifth of a second later.
TEST(PoisonedEffect, MendsWhatIsHeardOnlyLaterWhenItIsHeard) {
  constexpr int kLate = 9600;
  const auto effect = makeEffect("basicdelay", static_cast<double>(kRate));
  effect->bypass = 0.0F;
  auto& echo = as<ZRBasicDelay>(*effect);
  echo.timeL = echo.timeR = 0.25F;
  const Stereo in = stereoNoise(24000, 9);
  runInBlocks(*effect, in, 64);
  const int read = echo.delayL.writeIndex - 12000 + kLate;
  echo.delayL.buffer[static_cast<std::size_t>((read + echo.delayL.size) % echo.delayL.size)] = kPoisons[0];

  const Stereo ahead = runInBlocks(*effect, cut(in, 0, kLate - 128), 64);
  EXPECT_EQ(effect->recoveryCount(), 0U);
  const Stereo behind = runInBlocks(*effect, in, 64);

  EXPECT_TRUE(isFinite(ahead));
  EXPECT_TRUE(isFinite(behind));
  EXPECT_EQ(effect->recoveryCount(), 1U);
}

// It forgets for 40 ms, and is looked at again 10 ms later.
TEST(PoisonedEffect, IsToldAFewTimesASecondAtMostAndCountedEachTime) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  const Stereo between = stereoNoise(2624, 2);
  takeDiagnostics();
  for (int i = 0; i < 18; ++i) {  // a second
    as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
    EXPECT_TRUE(isFinite(runInBlocks(*effect, between, 64)));
  }

  EXPECT_EQ(effect->recoveryCount(), 18U);
  const long told = recoveriesTold();
  EXPECT_GE(told, 4);
  EXPECT_LE(told, 5);
}

TEST(PoisonedEffect, IsToldLaterWhereTheRingIsFull) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  takeDiagnostics();
  DiagnosticRing& ring = DiagnosticRing::shared();
  const std::uint64_t dropped = ring.dropped();
  while (ring.dropped() == dropped) ring.post("full\n");
  as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
  runInBlocks(*effect, stereoNoise(64, 2), 64);
  ASSERT_EQ(effect->recoveryCount(), 1U);
  EXPECT_EQ(recoveriesTold(), 0);

  runInBlocks(*effect, stereoNoise(64, 2), 64);
  EXPECT_EQ(recoveriesTold(), 1);
  runInBlocks(*effect, stereoNoise(64, 2), 64);
  EXPECT_EQ(recoveriesTold(), 0);
}

// Nothing listens to the digital reverb's slow noise.
TEST(PoisonedEffect, IsLookedAtEvery512FramesAt48kHz) {
  const auto effect = madeEffect("digiverb");
  runInBlocks(*effect, stereoNoise(512, 2), 64);
  as<ZRDigiVerb>(*effect).noiseFilter.z1 = kPoisons[0];

  runInBlocks(*effect, stereoNoise(448, 3), 64);
  EXPECT_EQ(effect->recoveryCount(), 0U);
  runInBlocks(*effect, stereoNoise(64, 4), 64);

  EXPECT_EQ(effect->recoveryCount(), 1U);
}

TEST(PoisonedEffect, ThatIsNeverFoundHealthyIsCountedAndToldOnce) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  const Stereo block = stereoNoise(64, 2);
  takeDiagnostics();

  for (int i = 0; i < 750; ++i) {
    as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
    EXPECT_TRUE(isFinite(runInBlocks(*effect, block, 64)));
  }
  EXPECT_EQ(effect->recoveryCount(), 1U);
  EXPECT_EQ(recoveriesTold(), 1);
  runInBlocks(*effect, stereoNoise(kRecoveryFrames, 3), 64);
  as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
  runInBlocks(*effect, block, 64);

  EXPECT_EQ(effect->recoveryCount(), 2U);
}

}  // namespace
}  // namespace morv
