// What the voice base writes into its built-in sources, sample by sample.

#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::at;
using testing::PlainVoice;
using testing::Signal;

constexpr double kFloatSteps = 2.5e-7;  // two roundings of a float

float coefficient(double timeMs, double rate) {
  return static_cast<float>(std::exp(static_cast<double>(std::log(0.001F)) / (timeMs * rate * 0.001)));
}

// The laws of the sources, one sample at a time, in floats.
struct PlainSources {
  explicit PlainSources(float rate)
      : inverseRate(1.0F / rate),
        fast(coefficient(25.5, static_cast<double>(rate))),
        medium(coefficient(35, static_cast<double>(rate))),
        slow(coefficient(65, static_cast<double>(rate))) {}

  static float follow(float y, float target, float c) { return c * (y - target) + target; }

  void step(const ZRDSPVoice& v) {
    const float time = v.portamentoTime.value;
    if (!(time > 0.0F) || start == v.noteFrequency) {
      phase = 0;
    } else if (phase < 1.0F) {
      phase += (1000.0F * inverseRate) / (1000.0F * time);
    } else {
      phase = 1.0F;
    }
    pressure = follow(pressure, v.pressure, fast);
    bend = follow(bend, v.pitchbendDelta + v.addedPitchbend, medium);
    slide = follow(slide, v.slide, fast);
    gate = follow(gate, static_cast<float>(v.gate), medium);
    velocity = follow(velocity, v.velocity, slow);
    const auto interval = static_cast<float>(
        12.0 * std::log2(static_cast<double>(v.noteFrequency) / static_cast<double>(start)));
    note = phase > 0.0F ? static_cast<float>(static_cast<double>(start) *
                                             std::pow(2.0, static_cast<double>(phase) *
                                                               static_cast<double>(interval) / 12.0))
                        : v.noteFrequency;
  }

  float inverseRate, fast, medium, slow;
  float start = 220, phase = 0;
  float pressure = 0, bend = 0, slide = 0, gate = 0, velocity = 0, note = 0;
};

constexpr std::array kSmoothed = {kSourceVelocity, kSourcePitchWheel, kSourcePressure, kSourceSlide,
                                  kSourceGate};

// Every control moves at some moment; the moments are whole numbers of every block size in use.
void playStory(PlainVoice& voice, int step) {
  if (step == 0) voice.setGateWithNote(1, 60, 100);
  if (step == 1) {
    voice.setPitchbend(0.3F);
    voice.setPressure(90);
    voice.setMIDICC(74, 127);
    voice.setMIDICC(1, 33);
  }
  if (step == 2) voice.setNote(67);
  if (step == 3) voice.addPitchbend(-0.5F, 12);
  if (step == 4) voice.setGateWithNoteAndPitchbend(0, 67, 0, 0.0F);
  if (step == 5) voice.setGateWithNoteAndPitchbend(1, 48, 30, -0.1F);
  if (step == 6) voice.setPressure(0);
}

constexpr int kSteps = 8;
constexpr int kStepFrames = 7 * 4096;

class ZRDSPVoiceSourcesTest : public ::testing::TestWithParam<float> {
 protected:
  testing::FreshRows rows;
};

TEST_P(ZRDSPVoiceSourcesTest, FollowersAreOnePolesBitForBit) {
  const float rate = GetParam();
  PlainVoice voice(rate, 64);
  voice.portamentoTime = 0.2F;
  PlainSources plain(rate);
  for (int step = 0; step < kSteps; ++step) {
    playStory(voice, step);
    plain.start = voice.glideStartFrequency;
    plain.phase = voice.glidePhase;
    plain.bend = voice.smoothedPitchbend;
    for (int done = 0; done < kStepFrames; done += 4096) {
      voice.runGenerator(nullptr, nullptr, 4096, 120.0F);
      int different = 0;
      int offPitch = 0;
      for (int i = 0; i < 4096; ++i) {
        plain.step(voice);
        const std::array expected = {plain.velocity, plain.bend, plain.pressure, plain.slide, plain.gate};
        for (std::size_t s = 0; s < kSmoothed.size(); ++s)
          different += static_cast<int>(voice.modMatrix->sourceBuffer(kSmoothed[s])[i] != expected[s]);
        const auto ratio = static_cast<double>(voice.modMatrix->sourceBuffer(kSourceNote)[i]) /
                           static_cast<double>(plain.note);
        offPitch += static_cast<int>(!(std::abs(ratio - 1.0) < kFloatSteps));
      }
      EXPECT_EQ(different, 0) << "step " << step;
      EXPECT_EQ(offPitch, 0) << "step " << step;
    }
    EXPECT_EQ(voice.glidePhase, plain.phase);
  }
}

TEST_P(ZRDSPVoiceSourcesTest, TheBlockSizeMakesNoDifference) {
  const auto play = [&](int blockFrames) {
    PlainVoice voice(GetParam(), 64);
    voice.portamentoTime = 0.05F;
    Signal all;
    for (int step = 0; step < kSteps; ++step) {
      playStory(voice, step);
      for (int done = 0; done < kStepFrames; done += blockFrames) {
        voice.runGenerator(nullptr, nullptr, blockFrames, 120.0F);
        for (int i = 0; i < blockFrames; ++i)
          for (int s = kSourceNote; s <= kSourceGate; ++s) all.push_back(voice.modMatrix->sourceBuffer(s)[i]);
      }
    }
    return all;
  };
  const Signal expected = play(4096);

  EXPECT_TRUE(testing::sameBits(play(1), expected));
  EXPECT_TRUE(testing::sameBits(play(7), expected));
  EXPECT_TRUE(testing::sameBits(play(64), expected));
}

INSTANTIATE_TEST_SUITE_P(Rates, ZRDSPVoiceSourcesTest, ::testing::Values(44100.0F, 96000.0F));

class ZRDSPVoicePortamentoTest : public ::testing::Test {
 protected:
  static double semitonesFrom(float f, double base) {
    return 12.0 * std::log2(static_cast<double>(f) / base);
  }

  testing::FreshRows rows;
  PlainVoice voice;
};

TEST_F(ZRDSPVoicePortamentoTest, SourcesGetTheirFinalValuesInTheirUnits) {
  constexpr float kStall = 2e-3F;  // a follower stops where its step is lost in the rounding
  voice.setGateWithNoteAndPitchbend(1, 69, 100, 0.25F);
  voice.setPressure(90);
  voice.setMIDICC(74, 80);
  voice.setMIDICC(1, 70);
  for (int i = 0; i < 40; ++i) voice.runGenerator(nullptr, nullptr, 4096, 120.0F);

  EXPECT_EQ(voice.present(kSourceNote, 1)[0], 440.0F);
  EXPECT_NEAR(voice.present(kSourceVelocity, 1)[0], 100.0F, kStall);
  EXPECT_EQ(voice.present(kSourceModWheel, 1)[0], 70.0F);
  EXPECT_NEAR(voice.present(kSourcePitchWheel, 1)[0], 440.0F, 10 * kStall);
  EXPECT_NEAR(voice.present(kSourcePressure, 1)[0], 90.0F, kStall);
  EXPECT_NEAR(voice.present(kSourceSlide, 1)[0], 80.0F, kStall);
  EXPECT_EQ(voice.present(kSourceRelease, 1)[0], 0.0F);
  EXPECT_NEAR(voice.present(kSourceGate, 1)[0], 1.0F, 1e-5F);
}

TEST_F(ZRDSPVoicePortamentoTest, WithoutATimeTheNoteIsThereAtOnce) {
  voice.setGateWithNote(1, 40, 100);
  voice.setNote(80);
  voice.glidePhase = 0.7F;

  EXPECT_EQ(voice.source(kSourceNote, 8), Signal(8, ZRDSPVoice::frequencyForNote(80)));
  EXPECT_EQ(voice.glidePhase, 0.0F);
  voice.portamentoTime = -1.0F;
  EXPECT_EQ(voice.source(kSourceNote, 8), Signal(8, ZRDSPVoice::frequencyForNote(80)));
}

TEST_F(ZRDSPVoicePortamentoTest, ANoteRepeatedAtItsPitchDoesNotGlide) {
  voice.portamentoTime = 0.5F;
  voice.setGateWithNote(1, 60, 100);
  voice.setGateWithNote(0, 60, 0);
  voice.setGateWithNote(1, 60, 100);

  EXPECT_EQ(voice.source(kSourceNote, 64), Signal(64, ZRDSPVoice::frequencyForNote(60)));
  EXPECT_EQ(voice.glidePhase, 0.0F);
}

TEST_F(ZRDSPVoicePortamentoTest, TheGlideIsLinearInPitchAndTakesItsTime) {
  constexpr double kSemitoneError = 5e-3;  // the phase adds up some thousand rounded steps
  voice.portamentoTime = 0.1F;             // 4410 samples
  voice.setGateWithNote(1, 57, 100);
  voice.setGateWithNote(0, 57, 100);
  for (const int target : {58, 69, 93}) {
    SCOPED_TRACE(target);
    const double from = 220.0;
    voice.glideStartFrequency = 220.0F;
    voice.glidePhase = 0;
    voice.setGateWithNote(1, target, 100);
    const Signal x = voice.source(kSourceNote, 4096);

    for (const int i : {0, 1000, 2204, 4000})
      EXPECT_NEAR(semitonesFrom(x[at(i)], from), (target - 57) * (i + 1) / 4410.0, kSemitoneError) << i;
    const Signal rest = voice.source(kSourceNote, 4096);
    EXPECT_LT(semitonesFrom(rest[200], from), target - 57 - 0.01 * (target - 57));
    EXPECT_NEAR(semitonesFrom(rest[330], from), target - 57, 1e-5);
    EXPECT_NEAR(semitonesFrom(rest[4095], from), target - 57, 1e-5);
    EXPECT_EQ(voice.glidePhase, 1.0F);
  }
}

TEST_F(ZRDSPVoicePortamentoTest, AGlideShorterThanASampleOverstepsOnceByWhatIsLeftOfItsStep) {
  constexpr double kRounding = 1e-4;  // of a semitone, in phases of some tens
  voice.portamentoTime = 1.0F / (44100.0F * 30.0F);
  voice.setGateWithNote(1, 60, 100);  // from 220 Hz, three semitones below

  const Signal x = voice.source(kSourceNote, 3);

  EXPECT_NEAR(semitonesFrom(x[0], 220.0), 90.0, kRounding);
  EXPECT_NEAR(semitonesFrom(x[1], 220.0), 3.0, kRounding);
  EXPECT_EQ(x[2], x[1]);
}

TEST_F(ZRDSPVoicePortamentoTest, AGlideThatOverstepsAllFloatsStaysANumber) {
  for (const float seconds : {1.0e-12F, 1.0e-30F, 1.2e-38F}) {
    voice.portamentoTime = seconds;
    voice.glideStartFrequency = 220.0F;
    voice.glidePhase = 0;
    voice.setGateWithNote(1, 60, 100);

    const Signal up = voice.source(kSourceNote, 2);
    voice.setNote(48);
    const Signal down = voice.source(kSourceNote, 2);

    EXPECT_EQ(up[0], 1.0e30F) << seconds;
    EXPECT_NEAR(semitonesFrom(up[1], 220.0), 3.0, 1e-5) << seconds;
    EXPECT_EQ(down[0], 0.0F) << seconds;
    EXPECT_NEAR(semitonesFrom(down[1], 110.0), 3.0, 1e-5) << seconds;
  }
}

TEST_F(ZRDSPVoicePortamentoTest, ALegatoNoteRestartsAGlideThatHasEnded) {
  voice.portamentoTime = 0.01F;
  voice.setGateWithNote(1, 60, 100);
  voice.source(kSourceNote, 4096);
  EXPECT_EQ(voice.glidePhase, 1.0F);

  voice.setNote(72);

  const Signal x = voice.source(kSourceNote, 1);
  EXPECT_NEAR(semitonesFrom(x[0], 220.0), 3.0 + 12.0 / 441.0, 1e-4);
}

TEST_F(ZRDSPVoicePortamentoTest, TheFirstNoteOfAFreshVoiceGlidesFrom220Hz) {
  voice.portamentoTime = 1.0F;
  voice.setGateWithNote(1, 33, 100);

  const Signal x = voice.source(kSourceNote, 1);

  EXPECT_NEAR(semitonesFrom(x[0], 220.0), -24.0 / 44100.0, 1e-5);
}

TEST_F(ZRDSPVoicePortamentoTest, AGlideStartsFromTheReleasedNoteHoweverLateTheNextOneComes) {
  voice.portamentoTime = 0.05F;
  voice.setGateWithNote(1, 72, 100);
  voice.source(kSourceNote, 4096);
  voice.setGateWithNote(0, 72, 0);
  for (int i = 0; i < 100; ++i) voice.source(kSourceNote, 4096);

  voice.setGateWithNote(1, 60, 100);

  EXPECT_NEAR(semitonesFrom(voice.source(kSourceNote, 1)[0], 220.0), 15.0 - 12.0 / 2205.0, 1e-4);
}

TEST_F(ZRDSPVoicePortamentoTest, APhaseThatRunsOverItsEndIsSetToItOneSampleLater) {
  voice.portamentoTime = 0.001F;  // 44.1 samples
  voice.setGateWithNote(1, 69, 100);

  const Signal x = voice.source(kSourceNote, 45);
  const float phase = voice.glidePhase;
  const Signal next = voice.source(kSourceNote, 1);

  EXPECT_GT(phase, 1.0F);
  EXPECT_GT(x[44], 440.0F);
  EXPECT_EQ(voice.glidePhase, 1.0F);
  EXPECT_NEAR(next[0], 440.0F, 1e-3F);
}

TEST_F(ZRDSPVoicePortamentoTest, AFrequencyThatIsNoNumberBecomes220Hz) {
  voice.portamentoTime = 0.5F;
  voice.setGateWithNote(1, 69, 100);
  voice.glideStartFrequency = -100.0F;
  EXPECT_EQ(voice.source(kSourceNote, 8), Signal(8, 220.0F));

  voice.glideStartFrequency = 0.0F;
  EXPECT_EQ(voice.source(kSourceNote, 8), Signal(8, 220.0F));
}

TEST_F(ZRDSPVoicePortamentoTest, PreparingANewRateKeepsTheTimesOfTheConstructorsRate) {
  PlainVoice kept;
  kept.portamentoTime = 0.1F;
  voice.portamentoTime = 0.1F;
  voice.prepare(192000.0F, 64);
  for (PlainVoice* v : {&kept, &voice}) {
    v->setGateWithNoteAndPitchbend(1, 69, 100, 0.5F);
    v->setPressure(80);
    v->setMIDICC(74, 90);
    v->runGenerator(nullptr, nullptr, 2000, 120.0F);
  }

  for (int s = kSourceNote; s <= kSourceGate; ++s)
    EXPECT_EQ(voice.present(s, 2000), kept.present(s, 2000)) << s;
}

TEST_F(ZRDSPVoicePortamentoTest, NoFramesLeaveEverythingAsItIs) {
  voice.portamentoTime = 0.1F;
  voice.setGateWithNote(1, 69, 100);
  voice.runGenerator(nullptr, nullptr, 100, 120.0F);
  const float phase = voice.glidePhase;
  const float gate = voice.smoothedGate;

  voice.runGenerator(nullptr, nullptr, 0, 120.0F);

  EXPECT_EQ(voice.glidePhase, phase);
  EXPECT_EQ(voice.smoothedGate, gate);
}

}  // namespace
}  // namespace morv
