// Every line of each effect that it empties when it forgets, and what of them its look sees.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "tests/effects/PoisonedEffects.h"

namespace morv {
namespace {

struct Memory {
  const char* kind;
  const char* name;
  ZeroedFloats& (*buffer)(ZRDSPEffect& effect);
};

template <auto kMember>
ZeroedFloats& lineOf(ZRDSPEffect& e) {
  return Of<kMember>::in(e).buffer;
}

const Memory kMemories[] = {
    {"basicchorus", "left", lineOf<&ZRBasicChorus::delayL>},
    {"basicchorus", "right", lineOf<&ZRBasicChorus::delayR>},
    {"basicdelay", "left", lineOf<&ZRBasicDelay::delayL>},
    {"basicdelay", "right", lineOf<&ZRBasicDelay::delayR>},
    {"ecoverb", "diffuser",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZREcoVerb>(e).diffusers.back().buffer; }},
    {"ecoverb", "all-pass 1", lineOf<&ZREcoVerb::loopAP1>},
    {"ecoverb", "all-pass 2", lineOf<&ZREcoVerb::loopAP2>},
    {"ecoverb", "all-pass 3", lineOf<&ZREcoVerb::loopAP3>},
    {"ecoverb", "all-pass 4", lineOf<&ZREcoVerb::loopAP4>},
    {"ecoverb", "delay 1", lineOf<&ZREcoVerb::loopD1>},
    {"ecoverb", "delay 2", lineOf<&ZREcoVerb::loopD2>},
    {"ecoverb", "delay 3", lineOf<&ZREcoVerb::loopD3>},
    {"ecoverb", "delay 4", lineOf<&ZREcoVerb::loopD4>},
    {"digiverb", "low shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).lowShelf[1].buffer; }},
    {"digiverb", "high shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).highShelf[1].buffer; }},
    {"digiverb", "pre-delay",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).preDelayLine[1].buffer; }},
    {"digiverb", "chorus",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).chorus[1].buffer; }},
    {"digiverb", "spring",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springLine[0].buffer; }},
    {"digiverb", "echo",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).echoLine[1].buffer; }},
    {"digiverb", "comb",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).combs[1].back().buffer; }},
    {"digiverb", "all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).allpass[1].back().buffer; }},
    {"digiverb", "second all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).allpass2[1].back().buffer; }},
    {"digiverb", "lo-fi",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).loFiFIR[0].buffer; }},
    {"digiverb", "spring's half-band", lineOf<&ZRDigiVerb::springFIR>},
    {"digiverb", "spring's lows",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springLF.back().buffer; }},
    {"digiverb", "spring's highs",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springHF.back().buffer; }},
    {"digiverb", "diffuser",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).diffusers.back().buffer; }},
    {"digiverb", "all-pass 1", lineOf<&ZRDigiVerb::loopAP1>},
    {"digiverb", "all-pass 2", lineOf<&ZRDigiVerb::loopAP2>},
    {"digiverb", "all-pass 3", lineOf<&ZRDigiVerb::loopAP3>},
    {"digiverb", "all-pass 4", lineOf<&ZRDigiVerb::loopAP4>},
    {"digiverb", "delay 1", lineOf<&ZRDigiVerb::loopD1>},
    {"digiverb", "delay 2", lineOf<&ZRDigiVerb::loopD2>},
    {"digiverb", "delay 3", lineOf<&ZRDigiVerb::loopD3>},
    {"digiverb", "delay 4", lineOf<&ZRDigiVerb::loopD4>},
    {"digiverb", "early reflections", Of<&ZRDigiVerb::earlyBuffer>::in},
    {"vachorus", "bucket brigade",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).lines[0].back().delayBuffer; }},
    {"vachorus", "comb",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).combs[1].back().buffer; }},
    {"vachorus", "shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).shelves[1].buffer; }},
    {"vachorus", "half-band",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).halfbands[0].buffer; }},
    {"vadelay", "left decimator", Of<&ZRVADelay::decimatorLeft>::in},
    {"vadelay", "right decimator", Of<&ZRVADelay::decimatorRight>::in},
    {"digidelay", "left", lineOf<&ZRDigiDelay::combLeft>},
    {"digidelay", "right", lineOf<&ZRDigiDelay::combRight>},
    {"digidelay", "modulated left", lineOf<&ZRDigiDelay::modLeft>},
    {"digidelay", "modulated right", lineOf<&ZRDigiDelay::modRight>},
    {"digiphaser", "stage",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiPhaser>(e).channels[1].lines.back().buffer; }},
    {"springverb", "all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).allpasses.back().buffer; }},
    {"springverb", "line",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).tanks[0].line.buffer; }},
    {"springverb", "block",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).tanks[0].buffer; }},
};

TEST_F(PoisonedEffectPlaces, OfTheLinesAreEmptied) {
  for (const Memory& place : kMemories) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    ZRDSPEffect& effect = effectOf(place.kind);
    ZeroedFloats& buffer = place.buffer(effect);
    ASSERT_GT(buffer.size(), 0U);
    std::fill_n(buffer.data(), buffer.size(), kNoNumber);

    Opened::forget(effect);

    EXPECT_TRUE(std::all_of(buffer.data(), buffer.data() + buffer.size(), [](float x) { return x == 0.0F; }));
  }
}

// What a line of it gives that is no number becomes silence on its way out.
TEST_F(PoisonedEffectPlaces, OfTheDigitalDelaysLinesAreSeenWithoutBeingHeard) {
  ZRDSPEffect& effect = effectOf("digidelay");
  auto& delay = as<ZRDigiDelay>(effect);
  effect.bypass = 0.0F;
  std::fill_n(delay.combLeft.buffer.data(), delay.combLeft.buffer.size(), kNoNumber);
  float left[64] = {};
  float right[64] = {};
  delay._runEffect(left, right, left, right, 64, 120.0F);
  ASSERT_TRUE(std::all_of(left, left + 64, [](float x) { return std::isfinite(x); }));
  EXPECT_FALSE(Opened::holds(effect));

  Opened::forget(effect);

  EXPECT_TRUE(Opened::holds(effect));
}

// A tape that has gone round is written everywhere, and too long to be emptied.
TEST_F(PoisonedEffectPlaces, OfATapeThatHasGoneRoundAreNotReadAgain) {
  constexpr float kSlowRate = 1000;
  ZRVADelay delay(kSlowRate);
  delay.prepare(kSlowRate, 4096);
  delay.bypass = 0.0F;
  std::vector<float> left(1024, 0.25F);
  std::vector<float> right(1024, 0.25F);
  for (int frames = 0; frames < 61 * 1000; frames += 1024) {
    delay._runEffect(left.data(), right.data(), left.data(), right.data(), 1024, 120.0F);
  }
  std::fill_n(delay.delayBuffer.data(), delay.delayBuffer.size(), kNoNumber);

  Opened::forget(delay);

  for (int i = 0; i < 4; ++i) {
    delay._runEffect(left.data(), right.data(), left.data(), right.data(), 1024, 120.0F);
    EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](float x) { return std::isfinite(x); }));
  }
}

// One frame takes what is no number from the line to the feedback and no further.
TEST_F(PoisonedEffectPlaces, OfTheSpringsFeedbackIsSeenAndForgotten) {
  for (const std::size_t side : {0U, 1U}) {
    ZRDSPEffect& effect = effectOf("digiverb");
    auto& verb = as<ZRDigiVerb>(effect);
    effect.bypass = 0.0F;
    verb.mode = kSpringMode;
    uniComb& line = verb.springLine[side];
    std::fill_n(line.buffer.data(), line.buffer.size(), kNoNumber);
    float left = 0.5F;
    float right = 0.5F;
    verb._runEffect(&left, &right, &left, &right, 1, 120.0F);
    EXPECT_FALSE(Opened::holds(effect));

    Opened::forget(effect);

    EXPECT_TRUE(Opened::holds(effect));
  }
}

}  // namespace
}  // namespace morv
