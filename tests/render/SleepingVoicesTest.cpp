// An engine whose voices sleep in pauses against one whose voices never do.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "platform/ScopedFlushDenormals.h"
#include "render/ZQ3DSPKernel.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

using Signal = std::vector<float>;

// At this rate 440 Hz are ten samples of the table, so that a phase loses nothing in rounding.
constexpr double kRate = 45056.0;
constexpr float kRestHz = 440.0F;
constexpr int kBlock = 64;
constexpr int kSecond = 704;      // blocks in one
constexpr double kWanted = 1e-4;  // of the peak: 80 dB below

class Engine {
 public:
  explicit Engine(bool sleeps) {
    kernel.init(2, kRate, 1024, 8);
    kernel.prepare(kRate, kBlock);
    list_.mNumberBuffers = 2;
    list_.mBuffers[0].mData = left_.data();
    list_.mBuffers[1].mData = right_.data();
    kernel.setBuffers(nullptr, &list_);
    kernel.instrument->setRandomSeed(3);
    if (sleeps) return;
    // What is called at each wrap must not be left out, so a voice whose LFO has such a call stays awake.
    for (int i = 0; i < 8; ++i) voice(i).lfo->wrapCallback = [](void*) { return 0; };
  }

  ZRTurboVoice& voice(int i) {
    return static_cast<ZRTurboVoice&>(*kernel.instrument->voices[static_cast<std::size_t>(i)]);
  }
  int asleep() {
    int count = 0;
    for (int i = 0; i < 8; ++i) count += static_cast<int>(voice(i).isAsleep());
    return count;
  }
  void set(const char* identifier, float value) {
    kernel.setParameter(static_cast<std::uint64_t>(kernel.instrument->addressForIdentifier(identifier)),
                        value, 0);
  }
  void midi(int status, int first, int second) {
    AUMIDIEvent event{};
    event.eventType = AURenderEventMIDI;
    event.length = 3;
    event.data[0] = static_cast<std::uint8_t>(status);
    event.data[1] = static_cast<std::uint8_t>(first);
    event.data[2] = static_cast<std::uint8_t>(second);
    kernel.handleMIDIEvent(event);
    DiagnosticRing::shared().drain(nullptr);
  }
  Signal play(int blocks, int frames = kBlock) {
    const ScopedFlushDenormals flush;
    Signal out;
    for (int i = 0; i < blocks; ++i) {
      kernel.processWithEvents(&time_, static_cast<std::uint32_t>(frames), nullptr);
      time_.mSampleTime += frames;
      out.insert(out.end(), left_.begin(), left_.begin() + frames);
      out.insert(out.end(), right_.begin(), right_.begin() + frames);
    }
    return out;
  }

  ZQ3DSPKernel kernel;

 private:
  AudioTimeStamp time_{};
  AudioBufferList list_{};
  std::array<float, 4096> left_{};
  std::array<float, 4096> right_{};
};

class SleepingVoices : public ::testing::Test {
 protected:
  SleepingVoices() {
    both([](Engine& e) { e.set("midiMode", 0); });
  }

  void both(const std::function<void(Engine&)>& act) {
    act(sleeper);
    act(awake);
  }
  void play(int blocks, int frames = kBlock) {
    both([&](Engine& e) { e.play(blocks, frames); });
  }
  // Eight notes and four seconds behind their end.
  void playToSleep() {
    both([](Engine& e) {
      for (int i = 0; i < 8; ++i) e.midi(0x90, 48 + 3 * i, 100);
      e.play(100);
      for (int i = 0; i < 8; ++i) e.midi(0x80, 48 + 3 * i, 0);
      for (int i = 0; i < 8; ++i) e.voice(i).noteFrequency = kRestHz;
      e.play(4 * kSecond);
    });
    ASSERT_EQ(sleeper.asleep(), 8);
    ASSERT_EQ(awake.asleep(), 0);
  }
  void startNotes() {
    both([](Engine& e) {
      for (const int note : {50, 57, 62}) e.midi(0x90, note, 90);
    });
  }
  // Greatest difference over the greatest sample, of what both play from here on.
  double error(int blocks = kSecond, int frames = kBlock) {
    const Signal actual = sleeper.play(blocks, frames);
    const Signal expected = awake.play(blocks, frames);
    double peak = 0;
    double difference = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      peak = std::max(peak, std::fabs(static_cast<double>(expected[i])));
      difference =
          std::max(difference, std::fabs(static_cast<double>(actual[i]) - static_cast<double>(expected[i])));
    }
    EXPECT_GT(peak, 0.01);
    return difference / peak;
  }
  // Of the voices that are awake.
  void expectSameLfos() {
    ASSERT_LT(sleeper.asleep(), 8);
    for (int i = 0; i < 8; ++i) {
      if (sleeper.voice(i).isAsleep()) continue;
      EXPECT_EQ(sleeper.voice(i).lfo->phase, awake.voice(i).lfo->phase) << i;
      EXPECT_EQ(sleeper.voice(i).lfo->secondPhase, awake.voice(i).lfo->secondPhase) << i;
      EXPECT_EQ(sleeper.voice(i).lfo->sign, awake.voice(i).lfo->sign) << i;
      EXPECT_EQ(sleeper.voice(i).lfo->heldValue, awake.voice(i).lfo->heldValue) << i;
    }
  }

  Engine sleeper{true};
  Engine awake{false};
};

TEST_F(SleepingVoices, AChordAfterAPauseIsTheChordOfAnEngineThatStayedAwake) {
  both([](Engine& e) {
    e.set("filterLFOModAmount", 0.3F);
    e.set("lfoFreq", 6.3F);
    e.set("oscNoiseLevel", 0.2F);
    e.set("oscSubLevel", 0.4F);
    e.set("outputDistortion", 0.4F);
  });
  playToSleep();

  startNotes();

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

TEST_F(SleepingVoices, ANoteThatWakesOnlyItsVoiceLeavesTheOthersAsleep) {
  playToSleep();

  both([](Engine& e) { e.midi(0x90, 60, 100); });
  EXPECT_LT(error(100), kWanted);
  both([](Engine& e) { e.midi(0x80, 60, 0); });
  EXPECT_LT(error(20), kWanted);

  EXPECT_EQ(sleeper.asleep(), 7);
}

TEST_F(SleepingVoices, NotesThatComeAndGoBetweenTwoBlocksAreReleasedAsTheyWouldBe) {
  both([](Engine& e) { e.set("env1Release", 0.4F); });
  playToSleep();
  const auto velocity = static_cast<int>(sleeper.voice(0).velocity);

  both([&](Engine& e) {
    e.midi(0x90, 69, velocity);
    e.midi(0x80, 69, 0);
    e.play(kSecond);
  });
  startNotes();

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, SettingsThatMoveInThePauseCountFromThere) {
  playToSleep();
  both([](Engine& e) {
    e.set("filterCutoff", 3000);
    e.set("filterResonance", 0.6F);
    e.set("oscWave", 0.7F);
    e.set("oscNoiseLevel", 0.3F);
    e.set("lfoFreq", 9.0F);
    e.set("filterLFOModAmount", 0.4F);
  });
  play(100);

  startNotes();

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

// The filter alone begins as if the new settings had stood longer; it has forgotten within a few
// milliseconds.
TEST_F(SleepingVoices, SettingsThatMoveWithANoteCountFromThereForLfoAndNoise) {
  playToSleep();
  both([](Engine& e) {
    e.set("filterCutoff", 3000);
    e.set("oscNoiseLevel", 0.3F);
    e.set("lfoFreq", 9.0F);
    e.set("filterLFOModAmount", 0.4F);
  });

  startNotes();
  play(10);

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

TEST_F(SleepingVoices, TheLfosAreWhereTheyWouldBeWhenShapeAndRangeMove) {
  for (const float shape : {1.0F, 4.0F, 3.0F, 2.0F, 0.0F}) {
    for (const float range : {1.0F, 0.0F}) {
      playToSleep();
      both([&](Engine& e) {
        e.set("lfoShape", shape);
        e.set("lfoRange", range);
        e.set("lfoFreq", 1.0F + shape);
      });
      startNotes();
      play(50);
      expectSameLfos();
      both([](Engine& e) {
        for (const int note : {50, 57, 62}) e.midi(0x80, note, 0);
      });
    }
  }
}

TEST_F(SleepingVoices, UnisonWithDetuneBeginsAsItWould) {
  playToSleep();

  both([](Engine& e) {
    e.set("voiceMode", 1);
    e.set("voiceDetune", 0.3F);
    e.midi(0x90, 57, 90);
  });

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, TheSlopOfAPauseMovesThePhasesAsItWould) {
  constexpr double kPerFrame = 0x1.0p-15;  // half a step of a float from 512 to 1024
  both([](Engine& e) { e.set("voiceDetune", 0.5F); });
  playToSleep();

  both([](Engine& e) {
    e.play(kSecond);
    for (int i = 0; i < 8; ++i) e.midi(0x90, 50 + i, 90);
    e.play(1);
  });

  for (int i = 0; i < 8; ++i) {
    const double a = sleeper.voice(i).waveOscillator->phaseOne;
    const double b = awake.voice(i).waveOscillator->phaseOne;
    const double d = std::fabs(a - b);
    EXPECT_LT(std::min(d, 1024.0 - d), kPerFrame * 5.0 * kRate) << i;
  }
}

TEST_F(SleepingVoices, BendPressureAndSlideOfAMemberChannelReachASleepingVoice) {
  both([](Engine& e) {
    e.set("midiMode", 1);
    e.set("filterFreqPressModAmount", 0.5F);
    e.set("oscShapeSlideModAmount", 0.5F);
  });
  playToSleep();

  both([](Engine& e) {
    e.midi(0x92, 60, 90);
    e.midi(0xE2, 0, 80);
    e.midi(0xD2, 90, 0);
    e.midi(0xB2, 74, 70);
    e.play(50);
    e.midi(0x82, 60, 0);
    e.play(kSecond);
    e.voice(0).noteFrequency = kRestHz - e.voice(0).smoothedPitchbend;
    e.play(3 * kSecond);
    e.midi(0xE2, 0, 20);
    e.midi(0xD2, 10, 0);
    e.midi(0xB2, 74, 20);
    e.play(kSecond / 2);
    e.midi(0x92, 60, 90);
    e.midi(0xE2, 0, 64);
  });

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, TheWheelMovesTheFilterFromWhereItIsMoved) {
  both([](Engine& e) { e.set("modwheelFilterFreqAmount", 0.5F); });
  playToSleep();

  both([](Engine& e) {
    e.midi(0xB0, 1, 100);
    e.play(100);
  });
  startNotes();

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, AnotherRateOrBlockInThePauseIsThatOfTheNextNote) {
  playToSleep();
  both([](Engine& e) { e.kernel.prepare(48000.0, 128); });
  EXPECT_EQ(sleeper.asleep(), 0);
  play(10, 128);

  startNotes();

  EXPECT_LT(error(kSecond / 2, 128), kWanted);
}

TEST_F(SleepingVoices, BlocksOfOtherLengthsInThePauseChangeNothing) {
  both([](Engine& e) {
    e.set("filterLFOModAmount", 0.3F);
    e.set("lfoFreq", 6.3F);
  });
  for (const int frames : {100, 1, 4096, 37}) {
    playToSleep();
    play(3, frames);
    startNotes();
    EXPECT_LT(error(100), kWanted) << frames;
    expectSameLfos();
    both([](Engine& e) {
      for (const int note : {50, 57, 62}) e.midi(0x80, note, 0);
    });
  }
}

TEST_F(SleepingVoices, TheArpeggiatorPlaysAsItWould) {
  playToSleep();

  both([](Engine& e) {
    e.set("arpEnabled", 1);
    e.play(3);
    for (const int note : {57, 69, 81}) e.midi(0x90, note, 90);
  });

  EXPECT_LT(error(2 * kSecond), kWanted);
}

TEST_F(SleepingVoices, AnEnvelopeThatLoopsFromThePauseOnIsThatOfTheNextNote) {
  playToSleep();

  both([](Engine& e) {
    e.set("env2Loop", 1);
    e.set("filterEnvModAmount", 0.5F);
    e.play(50);
  });
  startNotes();

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, ALfoInStepWithTheBeatFollowsAnotherTempoFromThereOn) {
  both([](Engine& e) {
    e.set("lfoBPMSync", 1);
    e.set("lfoFreq", 6.0F);
    e.set("filterLFOModAmount", 0.4F);
  });
  playToSleep();

  both([](Engine& e) {
    e.kernel.tempo = 151.0F;
    e.play(50);
  });
  startNotes();

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

TEST_F(SleepingVoices, ANoteRestartsTheLfoThatIsTiedToTheKeys) {
  both([](Engine& e) {
    e.set("lfoKeySync", 1);
    e.set("lfoFreq", 6.3F);
    e.set("filterLFOModAmount", 0.4F);
  });
  playToSleep();

  startNotes();

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

TEST_F(SleepingVoices, AnotherSeedInThePauseGivesItsDraws) {
  both([](Engine& e) {
    e.set("oscNoiseLevel", 0.5F);
    e.set("lfoShape", 4);
    e.set("lfoFreq", 8.0F);
    e.set("filterLFOModAmount", 0.3F);
  });
  playToSleep();

  both([](Engine& e) {
    e.kernel.instrument->setRandomSeed(77);
    e.play(kSecond);
  });
  startNotes();

  EXPECT_LT(error(), kWanted);
  expectSameLfos();
}

TEST_F(SleepingVoices, AllNotesOffLeavesThemAsleepAndChangesNothing) {
  playToSleep();

  both([](Engine& e) {
    e.midi(0xB0, 123, 0);
    e.play(5);
  });
  EXPECT_EQ(sleeper.asleep(), 8);
  startNotes();

  EXPECT_LT(error(), kWanted);
}

TEST_F(SleepingVoices, VoicesThatFellAsleepInBlocksOfTwoLengthsWakeTogether) {
  playToSleep();
  both([](Engine& e) {
    e.kernel.instrument->voiceNumber = 4.0F;
    e.play(3 * kSecond, 128);
    e.kernel.instrument->voiceNumber = 8.0F;
    for (int i = 0; i < 8; ++i) e.midi(0x90, 50 + i, 90);
  });

  EXPECT_LT(error(kSecond, 128), kWanted);
}

}  // namespace
}  // namespace morv
