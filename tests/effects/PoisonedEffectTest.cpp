// What is heard of an effect whose state is no number.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "render/BlockLimits.h"
#include "tests/effects/PoisonedEffects.h"

namespace morv {
namespace {

constexpr int kRecoveryFrames = 4800;  // 100 ms
constexpr int kHeardFrames = 24000;
// Noise through swings that stand elsewhere, and a memory that fills 40 ms later.
constexpr double kSameLevelDb = 1.5;
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

double levelDb(const Stereo& s) {
  return 10.0 * std::log10((energy(s.left) + energy(s.right)) / (2.0 * s.frames()));
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

}  // namespace
}  // namespace morv
