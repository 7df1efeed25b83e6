// Controllers and pressures on their way to the voices.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class Controllers : public InstrumentFixture {
 protected:
  Controllers() { build(2); }
  Calls sendCC(int channel, int controller, int value) {
    forget();
    instrument->setMIDICC(channel, controller, value);
    return allCalls();
  }
};

TEST_F(Controllers, InOrdinaryModeEveryVoiceGetsTheValueOnAnyChannel) {
  EXPECT_EQ(sendCC(0, 74, 99), (Calls{"0: cc 74 99", "1: cc 74 99"}));
  EXPECT_EQ(sendCC(9, 20, 5), (Calls{"0: cc 20 5", "1: cc 20 5"}));
}

TEST_F(Controllers, TheModulationWheelIsScaledByItsAmountAndCut) {
  instrument->modwheelAmount = 0.5F;

  EXPECT_EQ(sendCC(0, 1, 100)[0], "0: cc 1 50");
  EXPECT_EQ(sendCC(7, 1, 101)[0], "0: cc 1 50");
  EXPECT_EQ(sendCC(0, 2, 100)[0], "0: cc 2 100");
}

TEST_F(Controllers, ANegativeWheelAmountTurnsTheWheelRound) {
  instrument->modwheelAmount = -0.75F;

  EXPECT_EQ(sendCC(0, 1, 127)[0], "0: cc 1 -95");
}

TEST_F(Controllers, RegisteredParameterNumbersPrintOnChannelsAboveZeroAndGoOn) {
  EXPECT_EQ(sendCC(3, 6, 12).size(), 2U);
  EXPECT_EQ(takeDiagnostics(), "Received NRP value: 12\n");
  EXPECT_EQ(sendCC(3, 100, 13), (Calls{"0: cc 100 13", "1: cc 100 13"}));
  EXPECT_EQ(takeDiagnostics(), "Received NRP LSB: 13\n");
  EXPECT_EQ(sendCC(3, 101, 14).size(), 2U);
  EXPECT_EQ(takeDiagnostics(), "Received NRP MSB: 14\n");
  EXPECT_EQ(sendCC(3, 38, 15).size(), 2U);
  EXPECT_EQ(takeDiagnostics(), "");

  EXPECT_EQ(instrument->nrpnLSB, 13);
  EXPECT_EQ(instrument->nrpnMSB, 14);
}

TEST_F(Controllers, OnChannelZeroRegisteredParameterNumbersAreControllersLikeOthers) {
  EXPECT_EQ(sendCC(0, 101, 14), (Calls{"0: cc 101 14", "1: cc 101 14"}));

  EXPECT_EQ(takeDiagnostics(), "");
  EXPECT_EQ(instrument->nrpnMSB, 0);
}

TEST_F(Controllers, InMPEChannelZeroGoesToAllVoices) {
  useMPE();
  instrument->modwheelAmount = 0.5F;
  instrument->slideAmount = 0.25F;
  noteOn(60, 100, 3);

  EXPECT_EQ(sendCC(0, 1, 100), (Calls{"0: cc 1 50", "1: cc 1 50"}));
  EXPECT_EQ(sendCC(0, 74, 100), (Calls{"0: cc 74 100", "1: cc 74 100"}));
}

TEST_F(Controllers, InMPEPolyAMemberChannelReachesItsVoiceScaledBySlide) {
  useMPE();
  instrument->slideAmount = 0.5F;
  instrument->modwheelAmount = 0.1F;
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);

  EXPECT_EQ(sendCC(4, 74, 101), (Calls{"1: cc 74 50"}));
  EXPECT_EQ(sendCC(3, 1, 100), (Calls{"0: cc 1 50"}));
  EXPECT_EQ(sendCC(9, 1, 100), Calls{});
}

TEST_F(Controllers, InMPEPolyParameterNumbersPrintToo) {
  useMPE();
  sendCC(3, 6, 2);

  EXPECT_EQ(takeDiagnostics(), "Received NRP value: 2\n");
}

TEST_F(Controllers, InMPEUnisonSlideIsKeptForTheNotesOfTheChannel) {
  useMPE();
  useUnison();
  instrument->setNotePriority(2);
  instrument->slideAmount = 0.5F;
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);
  noteOn(67, 100, 3);

  EXPECT_EQ(sendCC(4, 74, 101), Calls{}) << "channel 3 owns the voices";
  EXPECT_EQ(sendCC(3, 74, 81), (Calls{"0: cc 74 40", "1: cc 74 40"}));

  EXPECT_EQ(instrument->noteStack[0].slide, 40.5F);
  EXPECT_EQ(instrument->noteStack[1].slide, 50.5F);
  EXPECT_EQ(instrument->noteStack[2].slide, 40.5F);
}

TEST_F(Controllers, InMPEUnisonOtherControllersReachTheVoicesAndAreNotKept) {
  useMPE();
  useUnison();
  instrument->slideAmount = -0.5F;
  noteOn(60, 100, 3);

  EXPECT_EQ(sendCC(3, 1, 100), (Calls{"0: cc 1 -50", "1: cc 1 -50"}));
  EXPECT_EQ(instrument->noteStack[0].slide, 0.0F);
  EXPECT_EQ(sendCC(2, 1, 100), Calls{});
}

class Pressure : public InstrumentFixture {
 protected:
  Pressure() {
    build(2);
    instrument->aftertouchAmount = 0.5F;
  }
  Calls sendChannel(int channel, int value) {
    forget();
    instrument->setChannelPressure(channel, value);
    return allCalls();
  }
  Calls sendPoly(int note, int value) {
    forget();
    instrument->setPolyAftertouch(note, value);
    return allCalls();
  }
};

TEST_F(Pressure, InOrdinaryModeChannelPressureReachesEveryVoiceScaled) {
  EXPECT_EQ(sendChannel(0, 101), (Calls{"0: pressure 50.5", "1: pressure 50.5"}));
  EXPECT_EQ(sendChannel(15, 20), (Calls{"0: pressure 10", "1: pressure 10"}));
  useUnison();
  EXPECT_EQ(sendChannel(3, 20), (Calls{"0: pressure 10", "1: pressure 10"}));
}

TEST_F(Pressure, InMPEPolyChannelPressureReachesTheVoiceOfTheChannel) {
  useMPE();
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);

  EXPECT_EQ(sendChannel(4, 100), (Calls{"1: pressure 50"}));
  EXPECT_EQ(sendChannel(5, 100), Calls{});
  EXPECT_EQ(sendChannel(0, 100), Calls{});
}

TEST_F(Pressure, InMPEUnisonChannelPressureOfTheOwningChannelReachesEveryVoice) {
  useMPE();
  useUnison();
  noteOn(60, 100, 3);

  EXPECT_EQ(sendChannel(3, 100), (Calls{"0: pressure 50", "1: pressure 50"}));
  EXPECT_EQ(sendChannel(4, 100), Calls{});
  EXPECT_EQ(instrument->noteStack[0].pressure, 0.0F);
}

TEST_F(Pressure, PolyPressureReachesTheVoiceThatHoldsTheNote) {
  noteOn(60);
  noteOn(64);

  EXPECT_EQ(sendPoly(64, 90), (Calls{"1: pressure 45"}));
  EXPECT_EQ(takeDiagnostics(), "poly pressure:45.000000\n");
  EXPECT_EQ(sendPoly(65, 90), Calls{});
  EXPECT_EQ(takeDiagnostics(), "poly pressure:45.000000\n");
}

TEST_F(Pressure, PolyPressureOfANegativeNoteIsWrittenIntoEveryVoice) {
  EXPECT_EQ(sendPoly(-1, 90), Calls{});

  EXPECT_EQ(voice(0).pressure, 45.0F);
  EXPECT_EQ(voice(1).pressure, 45.0F);
}

TEST_F(Pressure, InUnisonPolyPressureOfTheLastNoteReachesEveryVoice) {
  useUnison();
  instrument->setNotePriority(2);
  noteOn(60);
  noteOn(64);

  EXPECT_EQ(sendPoly(64, 90), (Calls{"0: pressure 45", "1: pressure 45"}));
  EXPECT_EQ(sendPoly(60, 90), Calls{});
  EXPECT_EQ(sendPoly(-1, 90), Calls{});
}

TEST_F(Pressure, WithoutAnAmountPressureIsZero) {
  instrument->aftertouchAmount = 0.0F;

  EXPECT_EQ(sendChannel(0, 127), (Calls{"0: pressure 0", "1: pressure 0"}));
}

}  // namespace
}  // namespace morv
