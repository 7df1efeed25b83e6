// The kernel's MIDI table, row by row.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "render/ZRDSPInstrumentKernel.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class TestKernel : public ZRDSPInstrumentKernel {
 public:
  TestKernel() = default;
};

// Writes down which note operation each message becomes.
class DecodingInstrument : public ZRDSPInstrument {
 public:
  explicit DecodingInstrument(Calls* log) : ZRDSPInstrument(44100.0F), calls(log) {}
  void setGateWithNote(int channel, int gate, int note, int velocity) noexcept override {
    calls->push_back(text("gate %i %i %i %i", channel, gate, note, velocity));
  }
  void setGateWithNote(int, int, int, int, double) noexcept override { calls->push_back("wrong form"); }
  void setGateWithNote(int, int, int, int, int) noexcept override { calls->push_back("wrong form"); }
  void setPitchbend(int channel, int value) noexcept override {
    calls->push_back(text("bend %i %i", channel, value));
  }
  void setMIDICC(int channel, int controller, int value) noexcept override {
    calls->push_back(text("cc %i %i %i", channel, controller, value));
  }
  void setChannelPressure(int channel, int value) noexcept override {
    calls->push_back(text("pressure %i %i", channel, value));
  }
  void setPolyAftertouch(int note, int value) noexcept override {
    calls->push_back(text("poly %i %i", note, value));
  }
  void setAllNotesOff() noexcept override { calls->push_back("allNotesOff"); }
  void setSustain(int value) noexcept override { calls->push_back(text("sustain %i", value)); }

  Calls* calls;
};

class MIDIDecodingTest : public ::testing::Test {
 protected:
  MIDIDecodingTest() {
    kernel.instrument = std::make_shared<DecodingInstrument>(&calls);
    kernel.owner = this;
  }
  // What one message leads to.
  Calls send(int status, int first, int second, int length = 3) {
    calls.clear();
    AUMIDIEvent event{};
    event.eventSampleTime = 777;
    event.eventType = AURenderEventMIDI;
    event.length = static_cast<std::uint16_t>(length);
    event.cable = 5;
    event.data = {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first),
                  static_cast<std::uint8_t>(second)};
    kernel.handleMIDIEvent(event);
    return calls;
  }
  void installCallbacks() {
    kernel.programChangeCallback = [this](int program, void* owner) {
      calls.push_back(text("program %i %s", program, owner == this ? "own" : "other"));
      return 0;
    };
    kernel.voiceTriggeredCallback = [this](int note, int channel, void* owner) {
      calls.push_back(text("triggered %i %i %s", note, channel, owner == this ? "own" : "other"));
    };
  }
  Calls calls;
  TestKernel kernel;
};

TEST_F(MIDIDecodingTest, NoteOffCarriesChannelNoteAndReleaseVelocity) {
  EXPECT_EQ(send(0x80, 60, 64), Calls{"gate 0 0 60 64"});
  EXPECT_EQ(send(0x8F, 1, 0), Calls{"gate 15 0 1 0"});
  EXPECT_EQ(send(0x83, 127, 127), Calls{"gate 3 0 127 127"});
}

TEST_F(MIDIDecodingTest, NoteOffForNoteZeroOrOutOfRangeFallsAway) {
  EXPECT_EQ(send(0x80, 0, 64), Calls{});
  EXPECT_EQ(send(0x80, 128, 64), Calls{});
  EXPECT_EQ(send(0x80, 255, 64), Calls{});
}

TEST_F(MIDIDecodingTest, NoteOffOfAnyOtherLengthFallsAway) {
  for (const int length : {0, 1, 2, 4}) EXPECT_EQ(send(0x80, 60, 64, length), Calls{}) << length;
}

TEST_F(MIDIDecodingTest, NoteOnReachesFrom0To120) {
  EXPECT_EQ(send(0x90, 0, 1), Calls{"gate 0 1 0 1"});
  EXPECT_EQ(kernel.lastNote, 0);
  EXPECT_EQ(send(0x9A, 120, 127), Calls{"gate 10 1 120 127"});
  EXPECT_EQ(kernel.lastNote, 120);
}

TEST_F(MIDIDecodingTest, NoteOnAbove120DoesNothingAndKeepsLastNote) {
  installCallbacks();
  send(0x90, 60, 100);

  EXPECT_EQ(send(0x90, 121, 100), Calls{});
  EXPECT_EQ(send(0x90, 127, 100), Calls{});
  EXPECT_EQ(send(0x90, 127, 0), Calls{});
  EXPECT_EQ(kernel.lastNote, 60);
}

TEST_F(MIDIDecodingTest, NoteOffsAbove120Pass) { EXPECT_EQ(send(0x80, 121, 0), Calls{"gate 0 0 121 0"}); }

TEST_F(MIDIDecodingTest, NoteOnOfVelocityZeroIsANoteOff) {
  installCallbacks();

  EXPECT_EQ(send(0x92, 61, 0), Calls{"gate 2 0 61 0"});
  EXPECT_EQ(send(0x90, 0, 0), Calls{"gate 0 0 0 0"});
  EXPECT_EQ(kernel.lastNote, 0);
}

TEST_F(MIDIDecodingTest, NoteOnDoesNotLookAtTheLength) {
  EXPECT_EQ(send(0x90, 60, 100, 2), Calls{"gate 0 1 60 100"});
}

TEST_F(MIDIDecodingTest, TriggerCallbackFollowsTheGate) {
  installCallbacks();

  EXPECT_EQ(send(0x95, 60, 100), (Calls{"gate 5 1 60 100", "triggered 60 5 own"}));
}

TEST_F(MIDIDecodingTest, PolyPressurePassesWithoutItsChannel) {
  EXPECT_EQ(send(0xA0, 60, 90), Calls{"poly 60 90"});
  EXPECT_EQ(send(0xA7, 0, 0), Calls{"poly 0 0"});
}

TEST_F(MIDIDecodingTest, Controller123EndsAllNotesOnAnyChannelWhateverItsValue) {
  EXPECT_EQ(send(0xB0, 123, 0), Calls{"allNotesOff"});
  EXPECT_EQ(send(0xBF, 123, 127), Calls{"allNotesOff"});
}

TEST_F(MIDIDecodingTest, PedalIsDownFrom64On) {
  EXPECT_EQ(send(0xB0, 64, 63), Calls{"sustain 0"});
  EXPECT_EQ(send(0xB9, 64, 64), Calls{"sustain 1"});
  EXPECT_EQ(send(0xB0, 64, 0), Calls{"sustain 0"});
  EXPECT_EQ(send(0xB0, 64, 127), Calls{"sustain 1"});
}

TEST_F(MIDIDecodingTest, ExpressionBecomesTheModulationWheel) {
  EXPECT_EQ(send(0xB4, 11, 77), Calls{"cc 4 1 77"});
}

TEST_F(MIDIDecodingTest, EveryOtherControllerPassesAsItIs) {
  for (int controller = 0; controller < 128; ++controller) {
    if (controller == 123 || controller == 64 || controller == 11) continue;
    EXPECT_EQ(send(0xB6, controller, 33), Calls{text("cc 6 %i 33", controller)}) << controller;
  }
}

TEST_F(MIDIDecodingTest, ProgramChangeGoesToTheCallbackWithoutItsChannel) {
  installCallbacks();

  EXPECT_EQ(send(0xC0, 12, 0, 2), Calls{"program 12 own"});
  EXPECT_EQ(send(0xCB, 127, 0, 2), Calls{"program 127 own"});
}

TEST_F(MIDIDecodingTest, WithoutCallbacksProgramAndTriggerAreLeftOut) {
  EXPECT_EQ(send(0xC0, 12, 0, 2), Calls{});
  EXPECT_EQ(send(0x90, 60, 100), Calls{"gate 0 1 60 100"});
}

TEST_F(MIDIDecodingTest, ChannelPressurePassesItsChannelAndFirstByte) {
  EXPECT_EQ(send(0xD8, 99, 3, 2), Calls{"pressure 8 99"});
}

TEST_F(MIDIDecodingTest, BendIsFourteenBits) {
  EXPECT_EQ(send(0xE0, 0, 64), Calls{"bend 0 8192"});
  EXPECT_EQ(send(0xE1, 127, 127), Calls{"bend 1 16383"});
  EXPECT_EQ(send(0xEF, 0, 0), Calls{"bend 15 0"});
  EXPECT_EQ(send(0xE0, 1, 2), Calls{"bend 0 257"});
}

TEST_F(MIDIDecodingTest, BendTakesSevenBitsOfEachByte) {
  EXPECT_EQ(send(0xE0, 0x81, 0x82), Calls{"bend 0 257"});
}

TEST_F(MIDIDecodingTest, BendWithALastByteOf255FallsAway) {
  EXPECT_EQ(send(0xE0, 0, 255), Calls{});
  EXPECT_EQ(send(0xE0, 0, 254), Calls{"bend 0 16128"});
}

TEST_F(MIDIDecodingTest, OtherStatusBytesDoNothing) {
  installCallbacks();

  for (int status = 0; status < 0x80; status += 0x10) EXPECT_EQ(send(status, 60, 100), Calls{}) << status;
  for (const int status : {0xF0, 0xF8, 0xFE, 0xFF}) EXPECT_EQ(send(status, 60, 100), Calls{}) << status;
}

TEST_F(MIDIDecodingTest, MonitorSeesEveryMessageAheadOfItsDecoding) {
  kernel.midiMonitorBlock = [this](AUEventSampleTime time, std::uint8_t cable, std::uint16_t length,
                                   const std::uint8_t* data) {
    calls.push_back(text("monitor %i %i %i: %x %i %i", static_cast<int>(time), static_cast<int>(cable),
                         static_cast<int>(length), static_cast<unsigned>(data[0]), static_cast<int>(data[1]),
                         static_cast<int>(data[2])));
    return 0;
  };

  EXPECT_EQ(send(0x90, 60, 100), (Calls{"monitor 777 0 3: 90 60 100", "gate 0 1 60 100"}));
  EXPECT_EQ(send(0x80, 0, 1, 2), Calls{"monitor 777 0 2: 80 0 1"});
  EXPECT_EQ(send(0xF8, 0, 0, 1), Calls{"monitor 777 0 1: f8 0 0"});
}

}  // namespace
}  // namespace morv
