// The tape echo, the analogue chorus and the analyser ask nothing of the system while they render, whatever
// their controls do.

#include <gtest/gtest.h>

#include <memory>

#include "effects/ZRSpectrumAnalyzer.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "tests/realtime/EffectCalls.h"

namespace morv {
namespace {

TEST(AnalogueAndSpectrumRender, TheTapesProgramsAndOversamplingCallNothingOfTheSystem) {
  const auto delay = std::make_unique<ZRVADelay>(44100.0F);
  const auto set = [&](const ZRDSPParameter& parameter, int value) {
    delay->setParameterValueForAddress(parameter.address, static_cast<float>(value));
  };

  const long caught = callsCaught(*delay, 16, [&](int round) {
    set(delay->oversample, round % 2);
    set(delay->program, round / 2 % 4);
    set(delay->time, 20 + 60 * round);
    set(delay->feedback, 100 - 6 * round);
    set(delay->spread, round == 13 ? 100 : 0);
    set(delay->tempoSync, round / 4 % 2);
  });

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
}

TEST(AnalogueAndSpectrumRender, TheChorusesProgramsCallNothingOfTheSystem) {
  const auto chorus = std::make_unique<ZRVAChorus>(44100.0F);
  const auto set = [&](const ZRDSPParameter& parameter, int value) {
    chorus->setParameterValueForAddress(parameter.address, static_cast<float>(value));
  };

  const long caught = callsCaught(*chorus, 24, [&](int round) {
    set(chorus->program, round % 4);
    set(chorus->numStages, round % 3);
    set(chorus->modShape, round / 2 % 2);
    set(chorus->modRouting, round / 4 % 2);
    set(chorus->animate, round / 8);
    set(chorus->minDelay, 6 * round);
    set(chorus->lowShelf, round % 13 - 6);
    set(chorus->bypass, round == 20 ? 1 : 0);
  });

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
}

TEST(AnalogueAndSpectrumRender, TheAnalyserAndItsCallbackCallNothingOfTheSystem) {
  const auto analyser = std::make_unique<ZRSpectrumAnalyzer>(44100.0F, 2048, static_cast<int>(sizeof(float)));
  int analyses = 0;
  analyser->setDataCallback([](float*, int, void* count) { ++*static_cast<int*>(count); }, &analyses);

  const long caught = callsCaught(*analyser, 16, [](int) {});

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
  EXPECT_GE(analyses, 16);
}

}  // namespace
}  // namespace morv
