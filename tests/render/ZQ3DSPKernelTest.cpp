#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <string>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZREcoVerb.h"
#include "render/ZQ3DSPKernel.h"

namespace morv {
namespace {

using Pieces = std::vector<std::string>;

// One instrument serves the tests that only look at it.
class ZQ3DSPKernelTest : public ::testing::Test {
 protected:
  ZQ3DSPKernelTest() { kernel.init(2, 44100.0, 1024, 8); }
  ZQ3DSPKernel kernel;
};

TEST_F(ZQ3DSPKernelTest, InitKeepsWhatItWasGivenAnd120Beats) {
  EXPECT_EQ(kernel.channelCount, 2);
  EXPECT_EQ(kernel.maxFrames, 1024);
  EXPECT_EQ(kernel.sampleRate, 44100.0F);
  EXPECT_EQ(kernel.tempo, 120.0F);
  EXPECT_FALSE(kernel.muted);
}

TEST_F(ZQ3DSPKernelTest, InitSetsTheTempoBackTo120) {
  ZQ3DSPKernel other;
  other.tempo = 60.0F;

  other.init(2, 48000.0, 256, 1);

  EXPECT_EQ(other.tempo, 120.0F);
  EXPECT_EQ(other.sampleRate, 48000.0F);
  EXPECT_EQ(other.maxFrames, 256);
}

TEST_F(ZQ3DSPKernelTest, InstrumentBearsTheGroupNameAndIdentifier) {
  EXPECT_EQ(kernel.instrument->identifier, "morv");
  EXPECT_EQ(kernel.instrument->name, "MORV");
  EXPECT_EQ(kernel.instrument->sampleRate, 44100.0F);
  EXPECT_EQ(kernel.instrument->blockSize, 1024);
}

TEST_F(ZQ3DSPKernelTest, InstrumentHasTheVoicesAskedForAndPlaysThemAll) {
  EXPECT_EQ(kernel.instrument->numVoices, 8);
  EXPECT_EQ(kernel.instrument->voices.size(), 8U);
  EXPECT_EQ(kernel.instrument->voiceNumber.value, 8.0F);
  EXPECT_EQ(kernel.instrument->voiceNumber.normalizedValueCache, 1.0F);
}

TEST_F(ZQ3DSPKernelTest, InstrumentHasThreeBypassedInsertEffectsInOrder) {
  const auto& effects = kernel.instrument->effects;
  ASSERT_EQ(effects.size(), 3U);
  EXPECT_NE(dynamic_cast<ZRBasicChorus*>(effects[0].get()), nullptr);
  EXPECT_NE(dynamic_cast<ZREcoVerb*>(effects[1].get()), nullptr);
  EXPECT_NE(dynamic_cast<ZRBasicDelay*>(effects[2].get()), nullptr);
  for (const auto& effect : effects) {
    EXPECT_EQ(effect->bypass.value.load(), 1.0F) << effect->name;
    EXPECT_EQ(effect->sampleRate, 44100.0F);
    EXPECT_EQ(effect->routing, 0);
  }
  EXPECT_EQ(kernel.instrument->effectRouting, ZRDSPInstrumentEffectRouting::insert);
  EXPECT_TRUE(kernel.instrument->sendParameters.empty());
}

TEST_F(ZQ3DSPKernelTest, InstrumentDefaultsToMPE) {
  EXPECT_TRUE(kernel.instrument->defaultsToMPE);
  EXPECT_EQ(kernel.instrument->midiMode.value, 1.0F);
  EXPECT_EQ(kernel.instrument->voices[7]->pitchbendRange, 48.0F);
}

TEST_F(ZQ3DSPKernelTest, PrepareHandsRateAndBlockToTheInstrumentAnyNumberOfTimes) {
  kernel.prepare(96000.0, 256);
  EXPECT_EQ(kernel.instrument->sampleRate, 96000.0F);
  EXPECT_EQ(kernel.instrument->blockSize, 256);

  kernel.prepare(48000.0, 512);

  EXPECT_EQ(kernel.instrument->sampleRate, 48000.0F);
  EXPECT_EQ(kernel.instrument->voices[0]->sampleRate, 48000.0F);
  EXPECT_EQ(kernel.instrument->voices[7]->blockSize, 512);
}

TEST_F(ZQ3DSPKernelTest, ResetChangesNothing) {
  kernel.instrument->setGateWithNote(1, 1, 60, 100);

  kernel.reset();

  EXPECT_EQ(kernel.instrument->numActiveVoices(), 1);
  EXPECT_EQ(kernel.tempo, 120.0F);
}

TEST_F(ZQ3DSPKernelTest, ACopySharesTheInstrument) {
  ZQ3DSPKernel copy = kernel;

  copy.setParameter(static_cast<std::uint64_t>(kernel.instrument->volume.address), 0.25F, 0);

  EXPECT_EQ(kernel.instrument->volume.value, 0.25F);
}

TEST_F(ZQ3DSPKernelTest, DeviceNameIsTheMachineOfTheSystem) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);

  EXPECT_EQ(kernel.deviceName(), std::string(names.machine));
}

TEST(VoicesForDevice, FixedNamesKeepTheVoices) {
  EXPECT_EQ(ZQ3DSPKernel::voicesForDevice("x86_64", 8), 8);
  EXPECT_EQ(ZQ3DSPKernel::voicesForDevice("arm64", 6), 6);
}

TEST(VoicesForDevice, OlderTabletsGetFour) {
  for (const char* device : {"iPad2,1", "iPad2,4", "iPad2,7", "iPad2,0", "iPad3,1", "iPad3,2", "iPad3,3"}) {
    EXPECT_EQ(ZQ3DSPKernel::voicesForDevice(device, 8), 4) << device;
  }
}

TEST(VoicesForDevice, FourIsAFixedNumberWhateverWasAskedFor) {
  EXPECT_EQ(ZQ3DSPKernel::voicesForDevice("iPad2,1", 2), 4);
}

TEST(VoicesForDevice, OtherDevicesKeepTheVoices) {
  for (const char* device :
       {"iPad3,4", "iPad3,6", "iPad1,1", "iPad4,1", "iPad13,4", "iPad20,1", "iPhone2,1"}) {
    EXPECT_EQ(ZQ3DSPKernel::voicesForDevice(device, 8), 8) << device;
  }
}

TEST(VoicesForDevice, NamesOfAnyOtherFormKeepTheVoices) {
  for (const char* device :
       {"aarch64", "riscv64", "", ",", "iPad2", "iPad2,", "iPad2,x", "iPad3,99999999999"}) {
    EXPECT_EQ(ZQ3DSPKernel::voicesForDevice(device, 8), 8) << device;
  }
}

TEST(Split, GivesThePiecesBetweenDelimiters) {
  EXPECT_EQ(ZQ3DSPKernel::split("iPad2,1", ','), (Pieces{"iPad2", "1"}));
  EXPECT_EQ(ZQ3DSPKernel::split("a b c", ' '), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(ZQ3DSPKernel::split("whole", ','), Pieces{"whole"});
}

TEST(Split, KeepsEmptyPiecesInFrontAndBetween) {
  EXPECT_EQ(ZQ3DSPKernel::split(",a,,b", ','), (Pieces{"", "a", "", "b"}));
  EXPECT_EQ(ZQ3DSPKernel::split(",", ','), Pieces{""});
}

TEST(Split, ATrailingDelimiterAddsNoPiece) { EXPECT_EQ(ZQ3DSPKernel::split("a,", ','), Pieces{"a"}); }

TEST(Split, AnEmptyTextGivesNoPieces) { EXPECT_EQ(ZQ3DSPKernel::split("", ','), Pieces{}); }

}  // namespace
}  // namespace morv
