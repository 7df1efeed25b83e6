// Which voices an arpeggio reaches, and from when on a new voice mode holds.

#include <gtest/gtest.h>

#include "tests/render/ArpeggiatorTesting.h"

namespace morv {
namespace {

using ArpeggiatorVoiceMode = ArpeggiatorFixture;

TEST_F(ArpeggiatorVoiceMode, UnisonReachesVoicesThatDoNotRun) {
  useUnison();
  instrument->voiceNumber = 2.0F;
  noteOn(60);
  forget();

  step();
  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 1 72 127 0", "1: gateAt 1 72 127 0", "2: gateAt 1 72 127 0",
                               "3: gateAt 1 72 127 0"}));
  instrument->arpCounter = 200.0F;
  forget();
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(),
            (Calls{"0: gateAt 0 60 0 0", "1: gateAt 0 60 0 0", "2: gateAt 0 60 0 0", "3: gateAt 0 60 0 0"}));
}

TEST_F(ArpeggiatorVoiceMode, PolyStaysUntilANoteBringsANewVoiceMode) {
  stayInPlace();
  noteOn(60);
  step();
  instrument->voiceMode = 1.0F;  // without a note
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);
  EXPECT_EQ(allCalls(), Calls{"0: gateAt 0 60 0 0"});
  forget();
  step();

  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 60 127 250"});
}

TEST_F(ArpeggiatorVoiceMode, UnisonStaysUntilANoteBringsANewVoiceMode) {
  useUnison();
  stayInPlace();
  noteOn(60);
  step();
  instrument->voiceMode = 0.0F;  // without a note
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);
  EXPECT_EQ(allCalls(),
            (Calls{"0: gateAt 0 60 0 0", "1: gateAt 0 60 0 0", "2: gateAt 0 60 0 0", "3: gateAt 0 60 0 0"}));
  forget();
  step();

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 1 60 127 0", "1: gateAt 1 60 127 0", "2: gateAt 1 60 127 0",
                               "3: gateAt 1 60 127 0"}));
}

TEST_F(ArpeggiatorVoiceMode, AVoiceModeBelowOneIsPoly) {
  stayInPlace();
  instrument->voiceMode = 0.6F;
  noteOn(60);
  forget();

  step();
  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 60 127 250"});
  instrument->arpCounter = 200.0F;
  forget();
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAt 0 60 0 0"});
}

}  // namespace
}  // namespace morv
