// The chain of effects behind the voices, as insert and as send.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

// What the effects of a chain were asked, in order.
Calls& effectCalls() {
  static Calls calls;
  return calls;
}

// An effect that computes out = in x factor + offset unless it is bypassed.
class LinearEffect : public ZRDSPEffect {
 public:
  LinearEffect(float sampleRateHz, const char* effectName, float factor, float offset)
      : ZRDSPEffect(sampleRateHz), factor_(factor), offset_(offset) {
    name = effectName;
    initParameter("bypass", "Bypass", -1, 0, 1, {}, ZRDSPParameterUnit::boolean, 0, &bypass);
    initParameter("mix", "Mix", -1, 0, 100, {}, ZRDSPParameterUnit::percent, 50, &mix);
  }
  using ZRDSPEffect::runEffect;
  void runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                 float tempo) noexcept override {
    const bool inPlace = inL == outL && inR == outR;
    effectCalls().push_back(text("%s %i %g %s", name.c_str(), frames, static_cast<double>(tempo),
                                 inPlace ? "in place" : "apart"));
    if (bypass.value > 0.0F) return;
    for (int i = 0; i < frames; ++i) outL[i] = inL[i] * factor_ + offset_;
    for (int i = 0; i < frames; ++i) outR[i] = inR[i] * factor_ + offset_;
  }
  void reset() override { effectCalls().push_back(name + " reset"); }
  void prepare(float sampleRateHz, int blockSizeFrames) override {
    ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
    effectCalls().push_back(name +
                            text(" prepare %g %i", static_cast<double>(sampleRateHz), blockSizeFrames));
  }

 private:
  float factor_, offset_;
};

class Doubler : public LinearEffect {
 public:
  explicit Doubler(float sampleRateHz) : LinearEffect(sampleRateHz, "doubler", 2, 0) {}
};

class Lifter : public LinearEffect {
 public:
  explicit Lifter(float sampleRateHz) : LinearEffect(sampleRateHz, "lifter", 1, 1) {}
};

// An effect that writes what it is asked into the voices' log, and keeps the seed that it is given.
class Witness : public LinearEffect {
 public:
  explicit Witness(float sampleRateHz) : LinearEffect(sampleRateHz, "witness", 1, 0) {}
  void prepare(float sampleRateHz, int blockSizeFrames) override {
    ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
    VoiceLog::shared().calls.push_back("effect: prepare");
  }
  void setRandomSeed(std::uint64_t newSeed) override { seed = newSeed; }

  std::uint64_t seed = 0;
};

constexpr int kInsert = 0;
constexpr int kSend = 1;

class InstrumentEffects : public InstrumentFixture {
 protected:
  InstrumentEffects() {
    build(1);
    instrument->volume = 1.0F;
    voice(0).levelLeft = 3.0F;
    voice(0).levelRight = 5.0F;
    effectCalls().clear();
  }
  template <typename Effect>
  ZRDSPEffect& add(int routing) {
    instrument->addEffect<Effect>(48000.0F, routing);
    return *instrument->effects.back();
  }
  void switchOn() {
    for (const auto& effect : instrument->effects) effect->bypass = 0.0F;
  }
  void render() {
    left.assign(8, 99.0F);
    right.assign(8, 99.0F);
    instrument->runInstrument(left.data(), right.data(), 8, 97.0F, 0.0);
  }
  std::vector<float> left, right;
};

TEST_F(InstrumentEffects, AnEffectIsBuiltAtItsRateAndBypassed) {
  const ZRDSPEffect& effect = add<Doubler>(kInsert);

  EXPECT_EQ(effect.sampleRate, 48000.0F);
  EXPECT_EQ(effect.bypass.value, 1.0F);
  EXPECT_EQ(effect.bypass.normalizedValueCache, 1.0F);
  EXPECT_EQ(effect.mix.value, 50.0F);
  EXPECT_EQ(instrument->effects.size(), 1U);
  EXPECT_EQ(instrument->effectRouting, ZRDSPInstrumentEffectRouting::insert);
  EXPECT_TRUE(instrument->sendParameters.empty());
}

TEST_F(InstrumentEffects, TheFirstSoundIsDryUntilAnEffectIsSwitchedOn) {
  add<Doubler>(kInsert);
  add<Lifter>(kInsert);

  render();
  EXPECT_EQ(left[0], 3.0F);
  EXPECT_EQ(right[0], 5.0F);
  switchOn();
  render();

  EXPECT_EQ(left[0], 7.0F);
}

TEST_F(InstrumentEffects, InsertsRunInPlaceInTheOrderInWhichTheyWereAdded) {
  add<Lifter>(kInsert);
  add<Doubler>(kInsert);
  switchOn();

  render();

  EXPECT_EQ(effectCalls(), (Calls{"lifter 8 97 in place", "doubler 8 97 in place"}));
  EXPECT_EQ(left, std::vector<float>(8, 8.0F));
  EXPECT_EQ(right, std::vector<float>(8, 12.0F));
}

TEST_F(InstrumentEffects, SaturationAndVolumeComeBehindTheEffects) {
  add<Lifter>(kInsert);
  switchOn();
  voice(0).levelLeft = -1.0F;
  instrument->outputSaturation = 1.0F;
  instrument->volume = 0.5F;

  render();

  EXPECT_EQ(left[0], 0.0F);
}

TEST_F(InstrumentEffects, WithOneBufferTheChainRunsOverTheSameMemory) {
  add<Lifter>(kInsert);
  switchOn();
  std::vector<float> one(8);

  instrument->runInstrument(one.data(), one.data(), 8, 97.0F, 0.0);

  EXPECT_EQ(one[0], 7.0F) << "the right channel, lifted once for either side";
}

TEST_F(InstrumentEffects, ASendGetsAParameterOfTheInstrument) {
  ZRDSPEffect& effect = add<Doubler>(kSend);

  EXPECT_EQ(instrument->effectRouting, ZRDSPInstrumentEffectRouting::send);
  EXPECT_EQ(effect.mix.value, 100.0F);
  EXPECT_EQ(effect.bypass.value, 1.0F);
  ASSERT_EQ(instrument->sendParameters.count(&effect), 1U);
  const ZRDSPParameter& send = *instrument->sendParameters.at(&effect);
  EXPECT_EQ(send.identifier, "doublerSend");
  EXPECT_EQ(send.name, "Send");
  EXPECT_EQ(send.minValue, 0.0F);
  EXPECT_EQ(send.maxValue, 1.0F);
  EXPECT_EQ(send.value, 0.0F);
  EXPECT_EQ(send.unit, ZRDSPParameterUnit::generic);
  EXPECT_TRUE(send.valueStrings.empty());
  EXPECT_EQ(send.flags, 0xC2000000U);
}

TEST_F(InstrumentEffects, ASendsParameterDrawsTheNextAddressBehindTheEffectsOwn) {
  const ZRDSPEffect& effect = add<Doubler>(kSend);

  EXPECT_EQ(instrument->sendParameters.begin()->second->address, effect.mix.address + 1);
  EXPECT_EQ(instrument->addressForIdentifier("doublerSend"), effect.mix.address + 1);
  instrument->setParameterValueForAddress(effect.mix.address + 1, 0.5F);

  EXPECT_EQ(instrument->sendParameters.begin()->second->value, 0.5F);
}

TEST_F(InstrumentEffects, ASendIsAddedToTheDrySound) {
  ZRDSPEffect& effect = add<Doubler>(kSend);
  switchOn();
  *instrument->sendParameters.at(&effect) = 0.25F;

  render();

  EXPECT_EQ(left[0], 3.0F * 0.25F * 2.0F + 3.0F);
  EXPECT_EQ(right[7], 5.0F * 0.25F * 2.0F + 5.0F);
  EXPECT_EQ(effectCalls(), Calls{"doubler 8 97 apart"});
}

TEST_F(InstrumentEffects, AClosedSendLeavesTheEffectsOwnSoundAndTheDry) {
  add<Lifter>(kSend);
  switchOn();

  render();

  EXPECT_EQ(left[0], 4.0F);
}

TEST_F(InstrumentEffects, OfSeveralSendsOnlyTheLastIsHeard) {
  ZRDSPEffect& first = add<Doubler>(kSend);
  ZRDSPEffect& second = add<Lifter>(kSend);
  switchOn();
  *instrument->sendParameters.at(&first) = 1.0F;
  *instrument->sendParameters.at(&second) = 0.5F;

  render();

  EXPECT_EQ(effectCalls().size(), 2U);
  EXPECT_EQ(left[0], 3.0F * 0.5F + 1.0F + 3.0F);
}

TEST_F(InstrumentEffects, TheLastRoutingHoldsForAll) {
  add<Lifter>(kSend);
  add<Doubler>(kInsert);
  switchOn();

  render();

  EXPECT_EQ(instrument->effectRouting, ZRDSPInstrumentEffectRouting::insert);
  EXPECT_EQ(left[0], 8.0F);
  EXPECT_EQ(instrument->sendParameters.size(), 1U);
}

TEST_F(InstrumentEffects, NotANumberPassesThroughTheChain) {
  add<Lifter>(kInsert);
  switchOn();
  voice(0).levelLeft = std::nanf("");

  render();

  EXPECT_TRUE(std::isnan(left[0]));
  EXPECT_EQ(right[0], 6.0F);
  EXPECT_EQ(takeDiagnostics(), "");
}

TEST_F(InstrumentEffects, PrepareReachesVoicesAndThenEffects) {
  add<Lifter>(kInsert);
  add<Doubler>(kInsert);

  instrument->prepare(96000.0F, 256);

  EXPECT_EQ(callsOf(0), Calls{"prepare 96000 256"});
  EXPECT_EQ(effectCalls(), (Calls{"lifter prepare 96000 256", "doubler prepare 96000 256"}));
  EXPECT_EQ(instrument->effects[1]->sampleRate, 96000.0F);
}

TEST_F(InstrumentEffects, EveryVoiceIsPreparedBeforeTheFirstEffect) {
  build(2);
  add<Witness>(kInsert);
  add<Witness>(kInsert);

  instrument->prepare(96000.0F, 256);

  EXPECT_EQ(allCalls(),
            (Calls{"0: prepare 96000 256", "1: prepare 96000 256", "effect: prepare", "effect: prepare"}));
}

// Behind the instrument's own and the voices'.
TEST_F(InstrumentEffects, EachEffectGetsASeedOfItsOwn) {
  build(2);
  add<Witness>(kInsert);
  add<Witness>(kInsert);
  add<Witness>(kInsert);

  instrument->setRandomSeed(99);

  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(dynamic_cast<const Witness&>(*instrument->effects[i]).seed, Random::derive(99, 3 + i)) << i;
  }
}

TEST_F(InstrumentEffects, ClearBuffersResetsEveryEffect) {
  add<Lifter>(kInsert);
  add<Doubler>(kInsert);

  instrument->clearBuffers();

  EXPECT_EQ(effectCalls(), (Calls{"lifter reset", "doubler reset"}));
}

TEST_F(InstrumentEffects, ResetTimelineReachesEveryVoice) {
  build(2);

  instrument->resetTimeline(3);

  EXPECT_EQ(allCalls(), (Calls{"0: resetTimeline 3", "1: resetTimeline 3"}));
}

TEST_F(InstrumentEffects, ModMatrixIsTheVoicesOwn) {
  build(2);

  EXPECT_EQ(instrument->getModMatrix(1), instrument->voices[1]->modMatrix.get());
}

TEST_F(InstrumentEffects, TheEffectBasesOtherOperationsAreEmpty) {
  ZRDSPEffect& effect = add<Doubler>(kInsert);
  std::vector<float> in(4, 1.0F), out(4, 7.0F);

  effect.runEffect(in.data(), in.data(), in.data(), out.data(), out.data(), 4, 120.0F);
  effect.setGateWithNote(1, 60, 100);
  effect.runSequencer();
  effect.resetTimeline(1);

  EXPECT_EQ(out, std::vector<float>(4, 7.0F));
  EXPECT_EQ(effect.routing, 0);
}

}  // namespace
}  // namespace morv
