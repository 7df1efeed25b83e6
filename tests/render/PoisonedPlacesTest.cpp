// Every place of the instrument and of a voice that sounds that is put back, with what it is put back to, and
// when it is looked for; places that are heard are in PoisonedStateTest.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "tests/render/InstrumentTesting.h"
#include "tests/render/PoisonedEngine.h"
#include "voice/ZRVAAmp.h"

namespace morv {
namespace {

constexpr int kBlock = 64;
const float kNoNumber = kPoisons[0];

struct InstrumentPlace {
  const char* name;
  float ZRDSPInstrument::*value;
  float fresh;
};

constexpr InstrumentPlace kInstrumentPlaces[] = {
    {"volume", &ZRDSPInstrument::smoothedVolume, 0.75F}, {"slop", &ZRDSPInstrument::slopValue, 0.0F},
    {"bend", &ZRDSPInstrument::bendValue, 0.0F},         {"unison bend", &ZRDSPInstrument::currentBend, 0.0F},
    {"arpeggiator", &ZRDSPInstrument::arpCounter, 0.0F},
};

TEST(PoisonedPlaces, OfTheInstrumentArePutBackInTheNextBlock) {
  for (const InstrumentPlace& place : kInstrumentPlaces) {
    SCOPED_TRACE(place.name);
    PoisonedEngine engine(kBlock);
    ZRDSPInstrument& instrument = *engine.kernel.instrument;
    instrument.slopCoefficient = 1.0F;  // holds the walk where it is
    instrument.*place.value = kNoNumber;

    engine.renderBlock();

    EXPECT_EQ(instrument.*place.value, place.fresh);
    EXPECT_EQ(engine.recoveries(), 1U);
  }
}

TEST(PoisonedPlaces, OfTheInstrumentThatAreNumbersStayWhenOthersAreMended) {
  PoisonedEngine engine(kBlock);
  ZRDSPInstrument& instrument = *engine.kernel.instrument;
  instrument.mpeBendRange = 24.0F;
  instrument.arpCounter = 100.0F;
  instrument.volumeCoefficient = 0.5F;
  instrument.bendValue = kNoNumber;

  engine.renderBlock();

  EXPECT_EQ(instrument.mpeBendRange.load(), 24.0F);
  EXPECT_EQ(instrument.arpCounter, 100.0F);
  EXPECT_EQ(instrument.volumeCoefficient, 0.5F);
}

TEST(PoisonedPlaces, OfTheBendRangeOfMemberChannelsGoBackToFourOctaves) {
  PoisonedEngine engine(kBlock);
  engine.kernel.instrument->mpeBendRange = kNoNumber;

  engine.renderBlock();

  EXPECT_EQ(engine.kernel.instrument->mpeBendRange.load(), 48.0F);
  EXPECT_EQ(engine.recoveries(), 1U);
}

// Ahead of the block, so that nothing follows by a coefficient that is none.
TEST(PoisonedPlaces, OfTheInstrumentsFollowersAreWorkedOutAnewAheadOfTheBlock) {
  for (float ZRDSPInstrument::*coefficient :
       {&ZRDSPInstrument::volumeCoefficient, &ZRDSPInstrument::slopCoefficient}) {
    PoisonedEngine engine(kBlock);
    ZRDSPInstrument& instrument = *engine.kernel.instrument;
    engine.holdChord();
    const float expected = instrument.*coefficient;
    instrument.*coefficient = kNoNumber;

    engine.renderBlock();

    EXPECT_EQ(instrument.*coefficient, expected);
    EXPECT_TRUE(std::isfinite(instrument.slopValue));
    EXPECT_TRUE(std::isfinite(instrument.smoothedVolume));
    EXPECT_TRUE(allFinite(engine.render(kRecoveryFrames)));
    EXPECT_EQ(engine.recoveries(), 1U);
  }
}

TEST(PoisonedPlaces, OfEachGlobalSettingGoBackToItsDefault) {
  struct Global {
    ZRDSPParameter ZRDSPInstrument::*setting;
    float fresh;
  };
  const Global globals[] = {{&ZRDSPInstrument::volume, 0.75F},       {&ZRDSPInstrument::voiceDetune, 0.0F},
                            {&ZRDSPInstrument::voiceNumber, 8.0F},   {&ZRDSPInstrument::pitchbendRange, 3.0F},
                            {&ZRDSPInstrument::outputDistortion, 0}, {&ZRDSPInstrument::controlA, 20.0F}};
  for (const Global& global : globals) {
    for (const float poison : kPoisons) {
      PoisonedEngine engine(kBlock);
      engine.holdChord();
      engine.render(6000);
      engine.kernel.instrument.get()->*global.setting = poison;

      const std::vector<float> heard = engine.render(kRecoveryFrames);

      EXPECT_TRUE(allFinite(heard));
      EXPECT_GT(levelDb(heard), -60.0);
      EXPECT_EQ((engine.kernel.instrument.get()->*global.setting).value.load(), global.fresh);
      EXPECT_EQ(engine.recoveries(), 1U);
    }
  }
}

TEST(PoisonedPlaces, OfTheMuteGoToItsTargetAndCountOnTheInstrument) {
  for (const float poison : kPoisons) {
    for (const bool isMuted : {false, true}) {
      PoisonedEngine engine(kBlock);
      engine.holdChord();
      engine.render(6000);
      engine.kernel.muted = isMuted;
      engine.kernel.muteState = poison;

      const std::vector<float> heard = engine.render(kBlock);

      EXPECT_TRUE(allFinite(heard));
      EXPECT_EQ(engine.kernel.muteState, isMuted ? 1.0F : 0.0F);
      EXPECT_EQ(levelDb(heard) > -60.0, !isMuted);
      EXPECT_EQ(engine.recoveries(), 1U);
    }
  }
}

TEST(PoisonedPlaces, OfTheMutesCoefficientGoBackToNone) {
  PoisonedEngine engine(kBlock);
  engine.kernel.muteCoefficient = kNoNumber;

  engine.render(kRecoveryFrames);

  EXPECT_EQ(engine.kernel.muteCoefficient, 0.0F);
  EXPECT_EQ(engine.kernel.muteState, 0.0F);
  EXPECT_EQ(engine.recoveries(), 1U);
}

TEST(PoisonedPlaces, OfTheMuteAreCountedEachTimeThatTheyCome) {
  PoisonedEngine engine(kBlock);
  for (int i = 0; i < 3; ++i) {
    engine.kernel.muteState = kNoNumber;
    engine.renderBlock();
    engine.renderBlock();
  }

  EXPECT_EQ(engine.recoveries(), 3U);
}

TEST(PoisonedPlaces, OfTheTempoGoTo120WhereThereIsNoLastOne) {
  PoisonedEngine engine(kBlock);
  engine.kernel.tempo = kNoNumber;
  engine.kernel.instrument->tempo = kNoNumber;

  engine.renderBlock();

  EXPECT_EQ(engine.kernel.instrument->tempo, 120.0F);
  EXPECT_EQ(engine.recoveries(), 1U);
}

TEST(PoisonedPlaces, OfTheTempoLeaveTheArpeggiatorItsStep) {
  PoisonedEngine engine(kBlock);
  engine.set("arpEnabled", 1.0F);
  engine.kernel.tempo = 90.0F;
  engine.holdChord();
  const float step = engine.kernel.instrument->arpStepSamples;
  ASSERT_GT(step, 0.0F);
  engine.kernel.tempo = kNoNumber;

  engine.renderBlock();

  EXPECT_EQ(engine.kernel.instrument->arpStepSamples, step);
}

TEST(PoisonedPlaces, OfTheTempoLeaveTheLastOne) {
  for (const float poison : kPoisons) {
    PoisonedEngine engine(kBlock);
    engine.set("lfoBPMSync", 1.0F);
    engine.kernel.tempo = 90.0F;
    engine.holdChord();
    engine.render(6000);
    engine.kernel.tempo = poison;

    EXPECT_TRUE(allFinite(engine.render(24000)));

    EXPECT_EQ(engine.kernel.instrument->tempo, 90.0F);
    EXPECT_EQ(engine.recoveries(), 0U);
  }
}

float valueOf(float value) { return value; }
float valueOf(const ZRDSPParameter& setting) { return setting.value; }

// Puts what is no number into a place of a voice that sounds; it goes back to `fresh`, counted once.
template <typename Value>
void expectMendedOnce(PoisonedEngine& engine, Value& place, float poison, float fresh) {
  place = poison;

  EXPECT_TRUE(allFinite(engine.render(24000)));

  EXPECT_EQ(valueOf(place), fresh);
  EXPECT_EQ(engine.recoveries(), 1U);
}

struct VoiceCoefficient {
  const char* name;
  float& (*value)(ZRTurboVoice& voice);
};

// Found by what they make, and put back with it.
const VoiceCoefficient kVoiceCoefficients[] = {
    {"LFO smoothing", [](ZRTurboVoice& v) -> float& { return v.lfo->lfoSmoothing; }},
    {"gain smoothing", [](ZRTurboVoice& v) -> float& { return v.outputAmp->maxSmoothing; }},
    {"LFO gain smoothing", [](ZRTurboVoice& v) -> float& { return v.lfoAmp->maxSmoothing; }},
};

TEST(PoisonedPlaces, OfAVoicesCoefficientsGoBackToThoseOfItsRate) {
  for (const VoiceCoefficient& place : kVoiceCoefficients) {
    SCOPED_TRACE(place.name);
    PoisonedEngine engine(kBlock);
    engine.holdChord();
    engine.render(6000);
    float& coefficient = place.value(engine.sounding());
    expectMendedOnce(engine, coefficient, kNoNumber, coefficient);
  }
}

struct SettingPlace {
  const char* name;
  std::function<ZRDSPParameter&(ZRTurboVoice&)> setting;
  float fresh;
};

const SettingPlace kSettingPlaces[] = {
    {"LFO level", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.lfo->level; }, 1.0F},
    {"LFO cents", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.lfo->oscCents; }, 0.0F},
    {"LFO semitones", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.lfo->oscSemitones; }, 0.0F},
    {"LFO octave", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.lfo->oscOctave; }, 0.0F},
    {"output gain", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.outputAmp->max; }, 1.0F},
    {"output volume", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.outputAmp->volume; }, 0.0F},
    {"LFO gain", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.lfoAmp->max; }, 1.0F},
    {"cents", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.waveOscillator->oscCents; }, 0.0F},
    {"semitones", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.waveOscillator->oscSemitones; }, 0.0F},
    {"octave", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.waveOscillator->oscOctave; }, 0.0F},
    {"phase modulation", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.waveOscillator->fmAmount; }, 0.0F},
    {"blend", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.waveOscillator->morphAmount; }, 0.0F},
    {"portamento", [](ZRTurboVoice& v) -> ZRDSPParameter& { return v.portamentoTime; }, 0.0F},
};

TEST(PoisonedPlaces, OfAModulesSettingsGoBackToWhatTheVoiceBeganWith) {
  for (const SettingPlace& place : kSettingPlaces) {
    for (const float poison : kPoisons) {
      SCOPED_TRACE(place.name);
      PoisonedEngine engine(kBlock);
      engine.holdChord();
      engine.render(6000);
      expectMendedOnce(engine, place.setting(engine.sounding()), poison, place.fresh);
    }
  }
}

TEST(PoisonedPlaces, OfPitchAndWidthAreSeenInTheirBuffers) {
  using Destination = const ZRDSPParameter& (*)(ZRTurboVoice&);
  const Destination whole[] = {
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.waveOscillator->oscFreq; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.waveOscillator->oscCents; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.waveOscillator->oscPulsewidth; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.lfo->oscFreq; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.lfo->oscCents; }};
  const Destination first[] = {
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.waveOscillator->oscOctave; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.waveOscillator->oscSemitones; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.lfo->oscOctave; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.lfo->oscSemitones; },
      [](ZRTurboVoice& v) -> const ZRDSPParameter& { return v.lfo->oscWave; }};
  PoisonedEngine engine(kBlock);
  engine.holdChord();
  engine.render(6000);
  ZRTurboVoice& voice = engine.sounding();
  ASSERT_TRUE(voice.holdsNumbers(kBlock));
  const auto expectSeenAt = [&](Destination destination, int sample) {
    float& place = voice.modMatrix->destinationBuffer(destination(voice).address)[sample];
    const float healthy = place;
    place = kNoNumber;
    EXPECT_FALSE(voice.holdsNumbers(kBlock)) << destination(voice).identifier;
    place = healthy;
    EXPECT_TRUE(voice.holdsNumbers(kBlock)) << destination(voice).identifier;
  };

  for (const Destination destination : whole) expectSeenAt(destination, kBlock - 1);
  for (const Destination destination : first) expectSeenAt(destination, 0);
}

// A release made shorter in its middle ends in one sample of its line far beyond the end: t seconds in, that
// is 1 - t / r times where it began. It is a number, however great, and stays as it is.
TEST(HealthySpike, OfAnEnvelopesKnobKeepsItsHeight) {
  constexpr double kLeastRelease = 0.0001;  // seconds
  constexpr int kReleased = 24000;
  constexpr double kRounding = 1.0e-4;  // of floats over the line's few operations
  PoisonedEngine engine(kBlock);
  engine.set("env1Release", 1.0F);
  engine.renderBlock();
  engine.holdChord();
  engine.render(12000);
  engine.releaseChord();
  engine.render(kReleased - kBlock);
  ZRTurboVoice& voice = engine.voice(0);
  const double from = static_cast<double>(voice.ampEnvelope->stageTarget);
  const int time = voice.ampEnvelope->time;
  takeDiagnostics();

  engine.set("env1Release", 0.0F);
  engine.render(kBlock);

  const double expected = from * (1.0 - time / (kLeastRelease * kPoisonRateHz));
  const float spike = voice.modMatrix->readSource(voice.ampEnvelope->modSourceIndex)[0];
  EXPECT_NEAR(static_cast<double>(spike), expected, kRounding * std::abs(expected));
  EXPECT_LT(spike, -1000.0F);
  const std::vector<float> heard = engine.render(kBlock);  // the amplifier takes it a block later
  EXPECT_TRUE(allFinite(heard));
  EXPECT_GT(*std::max_element(heard.begin(), heard.end()), 1000.0F);
  EXPECT_TRUE(allFinite(engine.render(24000)));
  EXPECT_EQ(engine.recoveries(), 0U);
  EXPECT_EQ(takeDiagnostics(), "");
}

// The last step of a glide that takes less than a sample lies at an infinite pitch, which the oscillator
// bounds.
TEST(HealthySpike, OfAShortPortamentoMayBeInfinite) {
  for (const int block : {1, 7, kBlock}) {
    PoisonedEngine engine(block);
    engine.set("lfoRange", 2.0F);  // follows the pitch
    engine.holdChord();
    bool wasFar = false;
    const auto expectHealthy = [&] {
      for (std::size_t v = 0; v < 8; ++v) {
        ZRTurboVoice& voice = engine.voice(v);
        wasFar |= voice.modMatrix->readSource(1)[0] == 1.0e30F;
        ASSERT_TRUE(voice.holdsNumbers(block)) << "voice " << v << ", blocks of " << block;
      }
    };
    for (const float seconds : {1.0e-8F, 1.0e-20F, 2.0e-38F}) {
      engine.set("portamentoTime", seconds);
      for (int i = 0; i < 60; ++i) {
        engine.set("lfoShape", static_cast<float>(i % 5));
        engine.play(0x90, {40 + i});
        for (int later = 0; later < 4; ++later) {
          ASSERT_NO_FATAL_FAILURE(expectHealthy());
          ASSERT_TRUE(allFinite(engine.render(1)));
        }
        engine.play(0x80, {40 + i});
        ASSERT_TRUE(allFinite(engine.render(64)));
      }
    }
    EXPECT_TRUE(wasFar) << block;
    EXPECT_EQ(engine.recoveries(), 0U) << block;
  }
}

// Eight voices take 43 ms, whatever the rate.
TEST(PoisonedPlaces, AreFoundWithinATenthOfASecondAtEachRate) {
  for (const double rateHz : {8000.0, 22050.0, 48000.0, 192000.0}) {
    PoisonedEngine engine(kBlock);
    engine.kernel.prepare(rateHz, kBlock);
    engine.render(512);
    for (std::size_t victim : {0U, 7U}) {
      const std::uint32_t before = engine.recoveries();
      engine.voice(victim).lfo->phase = kNoNumber;

      engine.render(static_cast<int>(rateHz / 10.0) - kBlock);

      EXPECT_EQ(engine.recoveries(), before + 1) << rateHz;
    }
  }
}

// At 48 kHz one voice is looked at every 256 frames.
TEST(PoisonedPlaces, AreLookedForInOneVoiceEvery256FramesAt48kHz) {
  PoisonedEngine engine(kBlock);
  for (std::size_t i = 0; i < 8; ++i) engine.voice(i).lfo->phase = kNoNumber;

  engine.render(3 * 256);

  EXPECT_EQ(engine.recoveries(), 3U);
}

}  // namespace
}  // namespace morv
