// How a block drives the instrument: buffers, tempo, mute, parameters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "render/ZRDSPInstrumentKernel.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class TestKernel : public ZRDSPInstrumentKernel {
 public:
  TestKernel() = default;
};

// Notes what the kernel asks of it and fills its outputs with two constants.
class LoggingInstrument : public ZRDSPInstrument {
 public:
  LoggingInstrument() : ZRDSPInstrument(44100.0F) {}
  void runInstrument(float* left, float* right, int frames, float blockTempo,
                     double sampleTime) noexcept override {
    calls.push_back(text("run %i %g %g", frames, static_cast<double>(blockTempo), sampleTime));
    lastLeft = left;
    lastRight = right;
    for (int i = 0; i < frames; ++i) left[i] = 0.5F;
    for (int i = 0; i < frames; ++i) right[i] = -0.25F;
  }
  void setGate(int gate) noexcept override { calls.push_back(text("setGate %i", gate)); }
  void setParameterValueForAddress(int address, float value) noexcept override {
    calls.push_back(text("set %i %g", address, static_cast<double>(value)));
  }
  float parameterValueForAddress(int address) noexcept override { return static_cast<float>(address) + 0.5F; }

  Calls calls;
  float* lastLeft = nullptr;
  float* lastRight = nullptr;
};

class InstrumentKernelTest : public ::testing::Test {
 protected:
  InstrumentKernelTest() {
    kernel.instrument = instrument;
    out.mNumberBuffers = 2;
    out.mBuffers[0].mData = left.data();
    out.mBuffers[1].mData = right.data();
    kernel.setBuffers(nullptr, &out);
  }
  void render(std::uint32_t frames = 64) { kernel.processWithEvents(&stamp, frames, nullptr); }

  std::shared_ptr<LoggingInstrument> instrument = std::make_shared<LoggingInstrument>();
  TestKernel kernel;
  AudioTimeStamp stamp{1234.5};
  std::vector<float> left = std::vector<float>(64, 9.0F);
  std::vector<float> right = std::vector<float>(64, 9.0F);
  std::vector<float> third = std::vector<float>(64, 8.0F);
  AudioBufferList out;
};

TEST_F(InstrumentKernelTest, FreshKernelIsOpenAt120BeatsAnd44100Hz) {
  const TestKernel fresh;

  EXPECT_EQ(fresh.inBufferList, nullptr);
  EXPECT_EQ(fresh.outBufferList, nullptr);
  EXPECT_EQ(fresh.instrument, nullptr);
  EXPECT_EQ(fresh.tempo, 120.0F);
  EXPECT_EQ(fresh.sampleRate, 44100.0F);
  EXPECT_FALSE(fresh.muted);
  EXPECT_EQ(fresh.muteState, 0.0F);
  EXPECT_EQ(fresh.muteCoefficient, 0.0F);
  EXPECT_EQ(fresh.owner, nullptr);
  EXPECT_FALSE(fresh.midiMonitorBlock);
  EXPECT_FALSE(fresh.programChangeCallback);
  EXPECT_FALSE(fresh.voiceTriggeredCallback);
}

TEST_F(InstrumentKernelTest, BlockReachesTheInstrumentWithFramesTempoAndSampleTime) {
  kernel.tempo = 97.5F;

  render(32);

  EXPECT_EQ(instrument->calls, Calls{"run 32 97.5 1234.5"});
  EXPECT_EQ(instrument->lastLeft, left.data());
  EXPECT_EQ(instrument->lastRight, right.data());
  EXPECT_EQ(left[31], 0.5F);
  EXPECT_EQ(right[31], -0.25F);
  EXPECT_EQ(left[32], 9.0F);
}

TEST_F(InstrumentKernelTest, OneBufferIsLeftAndRightAtOnce) {
  out.mNumberBuffers = 1;

  render();

  EXPECT_EQ(instrument->lastLeft, left.data());
  EXPECT_EQ(instrument->lastRight, left.data());
  EXPECT_EQ(left[0], -0.25F);
  EXPECT_EQ(right[0], 9.0F);
}

TEST_F(InstrumentKernelTest, OfMoreBuffersTheFirstTwoAreLeftAndRight) {
  out.mNumberBuffers = 3;
  out.mBuffers[2].mData = third.data();

  render();

  EXPECT_EQ(instrument->lastLeft, left.data());
  EXPECT_EQ(instrument->lastRight, right.data());
  EXPECT_EQ(third[0], 8.0F);
}

TEST_F(InstrumentKernelTest, MuteIsExactlySilentFromItsBlockOnWhileTheInstrumentRunsOn) {
  kernel.muted = true;

  render();
  render();

  EXPECT_EQ(left, std::vector<float>(64, 0.0F));
  EXPECT_EQ(right, std::vector<float>(64, 0.0F));
  EXPECT_EQ(instrument->calls.size(), 2U);
  EXPECT_EQ(kernel.muteState, 1.0F);
}

TEST_F(InstrumentKernelTest, MuteReachesEveryBufferOfTheHost) {
  out.mNumberBuffers = 3;
  out.mBuffers[2].mData = third.data();
  kernel.muted = true;

  render(16);

  for (std::size_t i = 0; i < 64; ++i) EXPECT_EQ(third[i], i < 16 ? 0.0F : 8.0F) << i;
}

TEST_F(InstrumentKernelTest, OpeningTheMuteIsHeardAtOnce) {
  kernel.muted = true;
  render();
  kernel.muted = false;

  render();

  EXPECT_EQ(kernel.muteState, 0.0F);
  EXPECT_EQ(left[0], 0.5F);
}

TEST_F(InstrumentKernelTest, MuteStateFollowsItsTargetOncePerBlock) {
  kernel.muteCoefficient = 0.75F;
  kernel.muted = true;

  render();
  EXPECT_EQ(kernel.muteState, 0.25F);
  EXPECT_EQ(left[0], 0.375F);
  EXPECT_EQ(left[63], 0.375F);
  render();

  EXPECT_EQ(kernel.muteState, 0.4375F);
  EXPECT_EQ(right[0], -0.140625F);
  kernel.muted = false;
  render();
  EXPECT_EQ(kernel.muteState, 0.328125F);
}

TEST_F(InstrumentKernelTest, MuteGainIsWorkedOutInDoublePrecision) {
  kernel.muteCoefficient = 0.7F;
  kernel.muted = true;

  render();

  const float state = std::fma(0.7F, 0.0F - 1.0F, 1.0F);
  EXPECT_EQ(kernel.muteState, state);
  EXPECT_EQ(left[0], static_cast<float>(0.5 * (1.0 - static_cast<double>(state))));
}

TEST_F(InstrumentKernelTest, BufferOffsetIsNotRead) {
  class OffsetKernel : public TestKernel {
   public:
    void process(std::uint32_t frameCount, std::uint32_t /*bufferOffset*/) noexcept override {
      TestKernel::process(frameCount, 17);
    }
  } shifted;
  shifted.instrument = instrument;
  shifted.setBuffers(nullptr, &out);

  static_cast<DSPKernel&>(shifted).processWithEvents(&stamp, 8, nullptr);

  EXPECT_EQ(instrument->lastLeft, left.data());
  EXPECT_EQ(instrument->calls, Calls{"run 8 120 1234.5"});
}

TEST_F(InstrumentKernelTest, SetBuffersStoresBothLists) {
  const AudioBufferList in;

  kernel.setBuffers(&in, &out);

  EXPECT_EQ(kernel.inBufferList, &in);
  EXPECT_EQ(kernel.outBufferList, &out);
}

TEST_F(InstrumentKernelTest, ParameterWritesGoToTheInstrumentWithTheAddressNarrowed) {
  kernel.setParameter(42, 0.5F, 0);
  kernel.setParameter(42, 0.25F, 99);
  kernel.setParameter(0x1'0000'0005ULL, 1.0F, 0);
  kernel.setParameter(0xFFFF'FFFFULL, 1.0F, 0);

  EXPECT_EQ(instrument->calls, (Calls{"set 42 0.5", "set 42 0.25", "set 5 1", "set -1 1"}));
}

TEST_F(InstrumentKernelTest, ParameterReadsComeFromTheInstrument) {
  EXPECT_EQ(kernel.getParameter(42, 0), 42.5F);
  EXPECT_EQ(kernel.getParameter(0x1'0000'0005ULL, 7), 5.5F);
}

TEST_F(InstrumentKernelTest, ARampLandsAtOnceInFull) {
  AURenderEvent ramp{};
  ramp.parameter = {nullptr, 1297, AURenderEventParameterRamp, 44100, 12, 0.75F};

  kernel.processWithEvents(&stamp, 64, &ramp);

  EXPECT_EQ(instrument->calls, (Calls{"set 12 0.75", "run 64 120 1234.5"}));
}

TEST_F(InstrumentKernelTest, WhatIsNoFiniteNumberReachesNoParameter) {
  for (const float value : {NAN, INFINITY, -INFINITY}) {
    kernel.setParameter(42, value, 0);
    kernel.startRamp(42, value, 64);
  }
  EXPECT_TRUE(instrument->calls.empty());
}

TEST_F(InstrumentKernelTest, GateGoesToTheInstrument) {
  kernel.setGate(1);
  kernel.setGate(0);

  EXPECT_EQ(instrument->calls, (Calls{"setGate 1", "setGate 0"}));
}

TEST_F(InstrumentKernelTest, ACopySharesTheInstrument) {
  const TestKernel copy = kernel;

  EXPECT_EQ(copy.instrument, kernel.instrument);
  EXPECT_EQ(copy.getParameter(1, 0), 1.5F);
}

TEST_F(InstrumentKernelTest, ABlockWithoutFramesRunsNothing) {
  kernel.muted = true;

  render(0);

  EXPECT_EQ(instrument->calls, Calls{});
  EXPECT_EQ(kernel.muteState, 0.0F);
  EXPECT_EQ(left[0], 9.0F);
}

// The same road with real note handling behind it.
class KernelWithVoicesTest : public InstrumentKernelTest {
 protected:
  KernelWithVoicesTest() {
    VoiceLog::shared() = VoiceLog{};
    bank = std::make_shared<ZRDSPInstrument>(44100.0F);
    bank->initWithNumberOfVoices<RecordingVoice>(2, 44100.0F, 1024, kTurboFlags);
    bank->midiMode = 0.0F;
    kernel.instrument = bank;
  }
  static AURenderEvent midi(std::int64_t time, std::uint8_t status, std::uint8_t first, std::uint8_t second) {
    AURenderEvent event{};
    event.MIDI = {nullptr, time, AURenderEventMIDI, 3, 0, {status, first, second}};
    return event;
  }
  void play(std::uint8_t status, std::uint8_t first, std::uint8_t second) {
    const AURenderEvent event = midi(1234, status, first, second);
    kernel.processWithEvents(&stamp, 8, &event);
  }
  std::shared_ptr<ZRDSPInstrument> bank;
};

TEST_F(KernelWithVoicesTest, ANoteInTheLastFrameOfABlockSoundsFromItsFirst) {
  const AURenderEvent event = midi(1234 + 63, 0x90, 60, 100);

  kernel.processWithEvents(&stamp, 64, &event);

  const Calls& calls = VoiceLog::shared().calls;
  const auto gated = std::find(calls.begin(), calls.end(), "0: gate 1 60 100 bend 0 channel 0");
  const auto ran = std::find(calls.begin(), calls.end(), "0: run 64 at 120");
  ASSERT_NE(gated, calls.end());
  ASSERT_NE(ran, calls.end());
  EXPECT_LT(gated, ran);
}

TEST_F(KernelWithVoicesTest, NoteZeroEndsByVelocityZeroOrAllNotesOffAlone) {
  play(0x90, 0, 100);
  play(0x80, 0, 0);
  EXPECT_EQ(bank->voices[0]->gate, 1);

  play(0x90, 0, 0);
  EXPECT_EQ(bank->voices[0]->gate, 0);

  play(0x90, 0, 100);
  play(0xB5, 123, 7);
  EXPECT_EQ(bank->voices[0]->gate, 0);
}

TEST_F(KernelWithVoicesTest, ExpressionMovesWhatTheModulationWheelMoves) {
  play(0xB0, 11, 90);

  EXPECT_EQ(bank->voices[0]->modWheelValue, 90.0F);
  EXPECT_EQ(bank->voices[1]->modWheelValue, 90.0F);
}

}  // namespace
}  // namespace morv
