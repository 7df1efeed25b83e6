// Settings that stand between two of their steps act as the nearest one.

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "tests/render/ArpeggiatorTesting.h"
#include "tests/render/SequencerTesting.h"

namespace morv {
namespace {

// A value and the whole number that it stands for: nothing but rounding to the nearest gives all of them.
struct Rounded {
  float value;
  int step;
};

void PrintTo(const Rounded& rounded, std::ostream* out) { *out << rounded.value; }

const auto kIndexed = ::testing::Values(Rounded{1.4F, 1}, Rounded{1.5F, 2}, Rounded{1.6F, 2});
const auto kSwitches = ::testing::Values(Rounded{0.4F, 0}, Rounded{0.5F, 1});

class RoundedArpeggiator : public ArpeggiatorFixture, public ::testing::WithParamInterface<Rounded> {
 protected:
  float value() const { return GetParam().value; }
  bool isLower() const { return GetParam().step == 1; }
};

TEST_P(RoundedArpeggiator, TheDivision) {
  instrument->arpClockDivision = value();

  instrument->doArp(0, kTempo);

  // Sixteen ticks or eight.
  EXPECT_EQ(instrument->arpStepSamples, isLower() ? 2000.0F : 1000.0F);
}

TEST_P(RoundedArpeggiator, TheRange) {
  instrument->arpRange = value();
  noteOn(60);

  EXPECT_EQ(playedIn(5),
            isLower() ? (std::vector<int>{72, 60, 48, 60, 48}) : (std::vector<int>{72, 60, 48, 36, 60}));
}

TEST_P(RoundedArpeggiator, TheMode) {
  stayInPlace();
  instrument->arpMode = value();
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(4), isLower() ? (std::vector<int>{67, 64, 60, 67}) : (std::vector<int>{60, 64, 67, 67}));
}

INSTANTIATE_TEST_SUITE_P(Values, RoundedArpeggiator, kIndexed);

class RoundedSequencer : public SequencerFixture, public ::testing::WithParamInterface<Rounded> {
 protected:
  float value() const { return GetParam().value; }
  int step() const { return GetParam().step; }
  // A sequencer whose first tick varies its step.
  void startVaried() {
    start(1);
    setAll(3, 12);
    std::uint64_t seed = 0;
    int dice = 12;
    while (dice == 12) {
      Random draws(Random::derive(++seed, 0));
      dice = drawn12(draws) + 1;
    }
    instrument->setRandomSeed(seed);
  }
};

TEST_P(RoundedSequencer, TheDivision) {
  instrument->seqClockDivision = value();
  const int ticks = step() == 1 ? 16 : 8;

  call(kCallsPerTick * ticks);
  EXPECT_EQ(instrument->seqStep, 0);
  call();

  EXPECT_EQ(instrument->seqStep, 1);
}

TEST_P(RoundedSequencer, TheRoot) {
  instrument->seqRoot = value();

  call(5);

  EXPECT_EQ(instrument->quantizer->rootNote, step());
}

TEST_P(RoundedSequencer, TheScale) {
  instrument->seqScale = value();

  call(5);

  EXPECT_EQ(static_cast<int>(instrument->quantizer->scale), step());
}

TEST_P(RoundedSequencer, TheMode) {
  instrument->seqMode = value();

  // Backward, or the pendulum.
  EXPECT_EQ(stepsOver(2), step() == 1 ? (std::vector<int>{7, 6}) : (std::vector<int>{1, 2}));
}

// Variation 1 moves the pitch, 2 turns the direction: a mode of 1 goes to 0 and one of 2 to 1.
TEST_P(RoundedSequencer, TheVariationAndTheModeThatItTurns) {
  startVaried();
  instrument->seqVariationType = value();
  instrument->seqMode = 0.0F;
  call(5);
  EXPECT_EQ(instrument->seqMode.value, step() == 1 ? 0.0F : 1.0F);

  startVaried();
  instrument->seqVariationType = 2.0F;
  instrument->seqMode = value();
  call(5);
  EXPECT_EQ(instrument->seqMode.value, step() == 1 ? 0.0F : 1.0F);
}

INSTANTIATE_TEST_SUITE_P(Values, RoundedSequencer, kIndexed);

class SequencerSwitches : public SequencerFixture, public ::testing::WithParamInterface<Rounded> {
 protected:
  float value() const { return GetParam().value; }
  bool isOn() const { return GetParam().step != 0; }
};

TEST_P(SequencerSwitches, Transposing) {
  instrument->seqKeyTranspose = value();
  instrument->lastNote = 31;
  setAll(0, 60, true);

  EXPECT_EQ(notesIn(5), std::vector<int>{isOn() ? 67 : 60});
}

TEST_P(SequencerSwitches, Running) {
  std::vector<float> out(16);
  instrument->seqEnabled = value();

  instrument->runInstrument(out.data(), out.data(), 16, kSequencerTempo, 0.0);

  EXPECT_EQ(instrument->seqTickCounter, isOn() ? 256 : 0);
}

INSTANTIATE_TEST_SUITE_P(Values, SequencerSwitches, kSwitches);

class ArpeggiatorSwitches : public ArpeggiatorFixture, public ::testing::WithParamInterface<Rounded> {
 protected:
  float value() const { return GetParam().value; }
  bool isOn() const { return GetParam().step != 0; }
};

TEST_P(ArpeggiatorSwitches, Running) {
  std::vector<float> out(16);
  instrument->arpCounter = 0.0F;
  instrument->arpEnabled = value();

  instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

  EXPECT_EQ(instrument->arpCounter, isOn() ? 16.0F : 0.0F);
}

TEST_P(ArpeggiatorSwitches, APolyNoteOn) {
  instrument->arpEnabled = value();

  noteOn(60);

  EXPECT_EQ(order(), isOn() ? std::vector<int>{60} : std::vector<int>{});
  EXPECT_EQ(voice(0).gate, isOn() ? 0 : 1);
}

TEST_P(ArpeggiatorSwitches, APolyNoteOff) {
  noteOn(60);
  noteOn(64);
  instrument->arpEnabled = value();

  noteOff(60);

  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(order(), isOn() ? std::vector<int>{60} : (std::vector<int>{60, 64}));
  EXPECT_EQ(instrument->lastReleasedNote, isOn() ? 60 : 0);
}

TEST_P(ArpeggiatorSwitches, AUnisonNoteOn) {
  useUnison();
  instrument->arpEnabled = value();

  noteOn(60);

  const int gate = isOn() ? 0 : 1;
  EXPECT_EQ(gates(), (std::vector<int>{gate, gate, gate, gate}));
  EXPECT_EQ(instrument->arpCounter, isOn() ? kStep : 0.0F);
}

TEST_P(ArpeggiatorSwitches, TheLatchOfAPolyNoteOff) {
  instrument->arpLatch = value();
  noteOn(60);
  noteOn(64);

  noteOff(60);

  EXPECT_EQ(holderOf(60), isOn() ? 0 : -1);
  EXPECT_EQ(order(), isOn() ? (std::vector<int>{60, 64}) : std::vector<int>{60});
  EXPECT_EQ(instrument->lastReleasedNote, isOn() ? 0 : 60);
}

TEST_P(ArpeggiatorSwitches, TheLatchOfAUnisonNoteOff) {
  useUnison();
  instrument->arpLatch = value();
  noteOn(60);

  noteOff(60);

  EXPECT_EQ(stack(), isOn() ? std::vector<int>{60} : std::vector<int>{});
  EXPECT_EQ(order(), isOn() ? std::vector<int>{60} : std::vector<int>{});
  EXPECT_EQ(holderOf(60), isOn() ? 3 : -1);
  EXPECT_EQ(instrument->lastReleasedNote, isOn() ? 0 : 60);
}

TEST_P(ArpeggiatorSwitches, TheLegatoOfAUnisonFallBack) {
  useUnison();
  instrument->arpEnabled = 0.0F;
  noteOn(60);
  noteOn(64);
  instrument->legato = value();
  forget();

  noteOff(64);

  EXPECT_EQ(callsOf(0)[3], isOn() ? "note 60" : "gateAt 0 60 0 0");
}

INSTANTIATE_TEST_SUITE_P(Values, ArpeggiatorSwitches, kSwitches);

}  // namespace
}  // namespace morv
