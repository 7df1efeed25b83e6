// How an address finds the globals, the voices or nobody.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

constexpr int kToneAddress = 1;

class PlainEffect : public ZRDSPEffect {
 public:
  explicit PlainEffect(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
    initParameter("depth", "Depth", -1, 0, 1, {}, ZRDSPParameterUnit::generic, 0.5F, &depth);
  }
  using ZRDSPEffect::runEffect;
  void runEffect(const float*, const float*, float*, float*, int, float) noexcept override {}
  void reset() override {}
  ZRDSPParameter depth;
};

class InstrumentRouting : public InstrumentFixture {
 protected:
  void set(const ZRDSPParameter& p, float value) {
    instrument->setParameterValueForAddress(p.address, value);
  }
};

TEST_F(InstrumentRouting, ParametersAreTheFirstVoicesFollowedByTheGlobals) {
  std::vector<std::string> identifiers;
  for (const ZRDSPParameter* p : instrument->parameters()) identifiers.push_back(p->identifier);

  ASSERT_EQ(identifiers.size(), 2U + 25U);
  EXPECT_EQ(identifiers[0], "portamentoTime");
  EXPECT_EQ(identifiers[1], "tone");
  EXPECT_EQ(identifiers[2], "midiMode");
  EXPECT_EQ(identifiers.back(), "midiChannel");
  EXPECT_EQ(instrument->parameters()[1], &voice(0).tone);
}

TEST_F(InstrumentRouting, EffectParametersAreNotAmongThem) {
  instrument->addEffect<PlainEffect>(44100.0F, 0);

  for (const ZRDSPParameter* p : instrument->parameters()) EXPECT_NE(p->identifier, "depth");
}

TEST_F(InstrumentRouting, IdentifiersAreFoundAmongGlobalsAndVoices) {
  EXPECT_EQ(instrument->addressForIdentifier("volume"), instrument->volume.address);
  EXPECT_EQ(instrument->addressForIdentifier("tone"), kToneAddress);
  EXPECT_EQ(instrument->addressForIdentifier("portamentoTime"), 0);
}

TEST_F(InstrumentRouting, UnknownAndUnregisteredIdentifiersGiveZero) {
  EXPECT_EQ(instrument->addressForIdentifier("nothing"), 0);
  EXPECT_EQ(instrument->addressForIdentifier("outputDistortion"), 0);
  EXPECT_EQ(instrument->addressForIdentifier("seqEnabled"), 0);
}

TEST_F(InstrumentRouting, ParameterForAddressAnswersNoneForEveryAddress) {
  EXPECT_EQ(instrument->parameterForAddress(instrument->volume.address), nullptr);
  EXPECT_EQ(instrument->parameterForAddress(kToneAddress), nullptr);
  EXPECT_EQ(instrument->parameterForAddress(-1), nullptr);
  EXPECT_EQ(instrument->parameterForAddress(100000), nullptr);
}

TEST_F(InstrumentRouting, ValuesAreReadFromGlobalsThenTheFirstVoiceElseZero) {
  instrument->volume = 0.5F;
  voice(0).tone = 7.0F;
  voice(1).tone = 8.0F;

  EXPECT_EQ(instrument->parameterValueForAddress(instrument->volume.address), 0.5F);
  EXPECT_EQ(instrument->parameterValueForAddress(kToneAddress), 7.0F);
  EXPECT_EQ(instrument->parameterValueForAddress(100000), 0.0F);
  EXPECT_EQ(instrument->parameterValueForAddress(-1), 0.0F);
}

TEST_F(InstrumentRouting, AGlobalIsWrittenInTheInstrumentAlone) {
  set(instrument->volume, 0.25F);

  EXPECT_EQ(instrument->volume.value, 0.25F);
  EXPECT_EQ(instrument->volume.normalizedValueCache, 0.25F);
  EXPECT_EQ(takeDiagnostics(), "");
}

TEST_F(InstrumentRouting, ValuesAreNotHeldInsideTheirRange) {
  set(instrument->volume, 40.0F);
  set(instrument->arpMode, -3.0F);

  EXPECT_EQ(instrument->volume.value, 40.0F);
  EXPECT_EQ(instrument->arpMode.value, -3.0F);
}

TEST_F(InstrumentRouting, AVoiceAddressWritesEveryVoice) {
  instrument->setParameterValueForAddress(kToneAddress, 2.5F);

  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(voice(i).tone.value, 2.5F) << i;
    EXPECT_EQ(voice(i).tone.normalizedValueCache, 0.25F) << i;
  }
}

TEST_F(InstrumentRouting, AnUnknownAddressPrintsOncePerVoiceAndChangesNothing) {
  instrument->setParameterValueForAddress(100000, 1.0F);

  std::string expected;
  for (int i = 0; i < 4; ++i) expected += "Error: no parameter with address 100000";
  EXPECT_EQ(takeDiagnostics(), expected);
}

TEST_F(InstrumentRouting, AnEffectsAddressIsUnknownOnThisRoad) {
  instrument->addEffect<PlainEffect>(44100.0F, 0);
  auto& effect = dynamic_cast<PlainEffect&>(*instrument->effects[0]);

  set(effect.depth, 1.0F);

  EXPECT_EQ(effect.depth.value, 0.5F);
  EXPECT_EQ(instrument->parameterValueForAddress(effect.depth.address), 0.0F);
  EXPECT_NE(takeDiagnostics().find("Error: no parameter with address"), std::string::npos);
}

TEST_F(InstrumentRouting, AVoiceModeBelowItsMaximumIsStoredAndEndsAllNotes) {
  set(instrument->voiceMode, 1.0F);
  noteOn(60);
  forget();

  set(instrument->voiceMode, 0.0F);

  EXPECT_EQ(instrument->voiceMode.value, 0.0F);
  EXPECT_EQ(allCalls(), (Calls{"0: setGate 0", "1: setGate 0", "2: setGate 0", "3: setGate 0"}));
}

TEST_F(InstrumentRouting, AVoiceModeAtItsMaximumIsStoredToo) {
  noteOn(60);
  forget();

  set(instrument->voiceMode, 1.0F);

  EXPECT_EQ(instrument->voiceMode.value, 1.0F);
  EXPECT_EQ(instrument->voiceMode.normalizedValueCache, 1.0F);
  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_TRUE(instrument->heldNotes.empty());
}

TEST_F(InstrumentRouting, AVoiceModeAboveItsMaximumGetsStoredAfterAll) {
  set(instrument->voiceMode, 5.0F);

  EXPECT_EQ(instrument->voiceMode.value, 5.0F);
}

TEST_F(InstrumentRouting, TheSameVoiceModeAgainEndsAllNotes) {
  noteOn(60);

  set(instrument->voiceMode, 0.0F);

  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
}

TEST_F(InstrumentRouting, SwitchingTheArpeggiatorOffForgetsAllNotes) {
  useUnison();
  noteOn(60);
  noteOn(64);
  ASSERT_FALSE(instrument->heldNotes.empty());

  set(instrument->arpEnabled, 0.0F);

  EXPECT_EQ(instrument->arpEnabled.value, 0.0F);
  EXPECT_TRUE(instrument->heldNotes.empty());
  EXPECT_TRUE(instrument->channelNotes.empty());
  EXPECT_TRUE(instrument->noteOrder.empty());
  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(channelVoice(0), 3);
  EXPECT_EQ(stack().size(), 2U);
}

TEST_F(InstrumentRouting, SwitchingTheArpeggiatorOnLeavesNotesAlone) {
  noteOn(60);

  set(instrument->arpEnabled, 1.0F);
  set(instrument->arpEnabled, 0.25F);

  EXPECT_EQ(instrument->arpEnabled.value, 0.25F);
  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 0, 0}));
  EXPECT_EQ(holderOf(60), 0);
}

TEST_F(InstrumentRouting, VoiceNumberIsCutToItsMaximum) {
  set(instrument->voiceNumber, 9.0F);
  EXPECT_EQ(instrument->voiceNumber.value, 4.0F);
  EXPECT_EQ(instrument->voiceNumber.normalizedValueCache, 1.0F);

  set(instrument->voiceNumber, 2.0F);
  EXPECT_EQ(instrument->voiceNumber.value, 2.0F);

  set(instrument->voiceNumber, -1.0F);
  EXPECT_EQ(instrument->voiceNumber.value, -1.0F);
}

TEST_F(InstrumentRouting, OtherGlobalsEndNoNotes) {
  noteOn(60);

  set(instrument->voiceNumber, 2.0F);
  set(instrument->midiMode, 1.0F);
  set(instrument->legato, 0.0F);

  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 0, 0}));
}

TEST_F(InstrumentRouting, WithoutVoicesUnknownAddressesAreSilent) {
  build(0);

  instrument->setParameterValueForAddress(100000, 1.0F);

  EXPECT_EQ(takeDiagnostics(), "");
  EXPECT_EQ(instrument->parameters().size(), 25U);
  EXPECT_EQ(instrument->parameterValueForAddress(100000), 0.0F);
  EXPECT_EQ(instrument->addressForIdentifier("tone"), 0);
}

TEST_F(InstrumentRouting, AnyFloatMayBeWrittenAndPlayedWith) {
  const std::vector<float> odd = {std::nanf(""),
                                  std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(),
                                  1e30F,
                                  -1e30F,
                                  0.4F};
  std::vector<float> block(64);

  for (const ZRDSPParameter* p : instrument->parameters()) {
    const float before = p->value;
    for (const float value : odd) {
      instrument->setParameterValueForAddress(p->address, value);
      for (int note = 60; note < 66; ++note) noteOn(note);
      instrument->setPitchbend(0, 9000);
      instrument->setMIDICC(0, 1, 100);
      instrument->setChannelPressure(0, 100);
      instrument->runInstrument(block.data(), block.data(), 64, 120.0F, 0.0);
      for (int note = 60; note < 66; ++note) noteOff(note);
    }
    instrument->setParameterValueForAddress(p->address, before);
  }

  EXPECT_GE(instrument->voiceIndex, 0);
}

}  // namespace
}  // namespace morv
