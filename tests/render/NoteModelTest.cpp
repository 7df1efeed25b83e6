// Long random play on the instrument and on a plain second form of its note allocator, event by event.

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tests/render/NoteModel.h"

namespace morv {
namespace {

constexpr int kEvents = 6000;
constexpr std::uint64_t kDrawSeed = 91;

enum class Settings { fixed, changing };

struct Play {
  const char* name;
  int mode;
  bool mpe;
  Settings settings;
  unsigned seed;
};

// Names the play in the list of tests.
void PrintTo(const Play& play, std::ostream* out) { *out << play.name; }

class RandomPlay : public InstrumentFixture, public ::testing::WithParamInterface<Play> {
 protected:
  RandomPlay() : random(GetParam().seed), model(5, kDrawSeed) {
    build(5);
    instrument->setRandomSeed(kDrawSeed);
    instrument->arpStepSamples = model.arpStep = 700.25F;
    instrument->panSpread = model.panSpread = 0.7F;
    instrument->aftertouchAmount = model.pressureAmount = 0.5F;
    instrument->slideAmount = model.slideAmount = -0.75F;
    instrument->modwheelAmount = model.wheelAmount = 0.6F;
    instrument->voiceMode = static_cast<float>(model.mode = GetParam().mode);
    instrument->midiMode = (model.mpe = GetParam().mpe) ? 1.0F : 0.0F;
    instrument->voiceNumber = static_cast<float>(model.voiceNumber = 5);
  }

  int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  // One random event, given to both.
  std::string step() {
    const int channel = below(4);
    const int note = 58 + below(9);
    const int velocity = below(128);
    const int choice = below(100);
    if (choice < 60) {
      const int on = choice < 32 ? 1 : 0;
      instrument->setGateWithNote(channel, on, note, velocity);
      model.noteEvent(channel, on, note, velocity);
      return text("note channel %i on %i note %i velocity %i", channel, on, note, velocity);
    }
    if (choice < 64) {
      const int on = below(2);
      const int v = below(5);
      instrument->setGateWithNote(channel, on, note, velocity, v);
      model.namedEvent(channel, on, note, velocity, v);
      return text("named %i", v);
    }
    if (choice < 70) {
      const int value = below(2);
      instrument->setSustain(value);
      model.sustain(value);
      return text("pedal %i", value);
    }
    if (choice < 76) {
      const int value = below(16384);
      instrument->setPitchbend(channel, value);
      model.bend(channel, value);
      return text("bend %i %i", channel, value);
    }
    if (choice < 82) {
      const int controller = std::vector<int>{1, 2, 6, 38, 74, 100, 101}[static_cast<std::size_t>(below(7))];
      instrument->setMIDICC(channel, controller, velocity);
      model.controller(channel, controller, velocity);
      return text("cc %i %i %i", channel, controller, velocity);
    }
    if (choice < 86) {
      instrument->setChannelPressure(channel, velocity);
      model.channelPressure(channel, velocity);
      return text("pressure %i %i", channel, velocity);
    }
    if (choice < 90) {
      instrument->setPolyAftertouch(note, velocity);
      model.polyPressure(note, velocity);
      return text("poly %i %i", note, velocity);
    }
    if (choice < 91) {
      instrument->setAllNotesOff();
      model.allNotesOff();
      return "all notes off";
    }
    return GetParam().settings == Settings::changing ? changeSetting() : "nothing";
  }

  std::string changeSetting() {
    switch (below(9)) {
      case 0:
        instrument->voiceNumber = static_cast<float>(model.voiceNumber = 1 + below(5));
        return text("voices %i", model.voiceNumber);
      case 1:
        instrument->setNotePriority(model.priority = below(3));
        return text("priority %i", model.priority);
      case 2:
        instrument->legato = (model.legato = below(2) != 0) ? 1.0F : 0.0F;
        return text("legato %i", model.legato ? 1 : 0);
      case 3:
        instrument->midiChannel = static_cast<float>(model.midiChannel = below(6) == 0 ? below(4) : -1);
        return text("channel %i", model.midiChannel);
      case 4:
        instrument->pitchbendRange = static_cast<float>(model.wheelRange = below(13));
        return text("range %i", model.wheelRange);
      case 5:
        instrument->midiMode = (model.mpe = below(2) != 0) ? 1.0F : 0.0F;
        return text("mpe %i", model.mpe ? 1 : 0);
      case 6:
        model.mode = below(2);
        instrument->setParameterValueForAddress(instrument->voiceMode.address,
                                                static_cast<float>(model.mode));
        model.allNotesOff();
        return text("mode %i", model.mode);
      case 7:
        model.arp = below(2) != 0;
        instrument->setParameterValueForAddress(instrument->arpEnabled.address, model.arp ? 1.0F : 0.0F);
        if (!model.arp) {
          model.held.clear();
          model.channelNote.clear();
          model.order.clear();
          model.allNotesOff();
        }
        return text("arp %i", model.arp ? 1 : 0);
      default:
        instrument->arpLatch = (model.latch = below(6) == 0) ? 1.0F : 0.0F;
        return text("latch %i", model.latch ? 1 : 0);
    }
  }

  void expectSameState() {
    for (int note = 0; note < 128; ++note) {
      const auto found = model.held.find(note);
      ASSERT_EQ(holderOf(note), found == model.held.end() ? -1 : found->second) << "note " << note;
    }
    for (int channel = 0; channel < 16; ++channel) {
      const auto note = model.channelNote.find(channel);
      const auto v = model.channelVoice.find(channel);
      ASSERT_EQ(channelNote(channel), note == model.channelNote.end() ? -1 : note->second);
      ASSERT_EQ(channelVoice(channel), v == model.channelVoice.end() ? -1 : v->second);
    }
    for (int i = 0; i < 5; ++i) {
      const ModelVoice& expected = model.voices[static_cast<std::size_t>(i)];
      ASSERT_EQ(voice(i).gate, expected.gate) << i;
      ASSERT_EQ(voice(i).note, expected.note) << i;
      ASSERT_EQ(voice(i).sampleTime, expected.channel) << i;
      ASSERT_EQ(voice(i).pitchbendRange, expected.range) << i;
      ASSERT_EQ(voice(i).panTarget, expected.pan) << i;
    }
    ASSERT_EQ(sustained(), model.sustained);
    ASSERT_EQ(order(), model.order);
    ASSERT_EQ(instrument->noteStack.size(), model.stack.size());
    for (std::size_t i = 0; i < model.stack.size(); ++i) {
      const NoteState& state = instrument->noteStack[i];
      ASSERT_EQ(state.note, model.stack[i].note);
      ASSERT_EQ(state.channel, model.stack[i].channel);
      ASSERT_EQ(state.velocity, model.stack[i].velocity);
      ASSERT_EQ(state.pitchbend, model.stack[i].bend);
      ASSERT_EQ(state.pressure, model.stack[i].pressure);
      ASSERT_EQ(state.slide, model.stack[i].slide);
    }
    ASSERT_EQ(instrument->sustainHeld, model.pedal);
    ASSERT_EQ(instrument->currentVoiceMode, model.modeNow);
    ASSERT_EQ(instrument->voiceIndex, model.index);
    ASSERT_EQ(instrument->lastNote, model.lastNote);
    ASSERT_EQ(instrument->lastChannel, model.lastChannel);
    ASSERT_EQ(instrument->lastReleasedNote, model.lastReleased);
    ASSERT_EQ(instrument->bendValue, model.bendValue);
    ASSERT_EQ(instrument->currentBend, model.bendNow);
    ASSERT_EQ(instrument->arpCounter, model.arpCounter);
    ASSERT_EQ(instrument->numActiveVoices(), static_cast<int>(model.held.size()));
  }

  std::mt19937 random;
  NoteModel model;
};

TEST_P(RandomPlay, InstrumentAndModelAskTheSameOfTheirVoices) {
  std::size_t mostHeld = 0;
  for (int i = 0; i < kEvents; ++i) {
    forget();
    model.calls.clear();
    model.lines.clear();

    const std::string event = step();

    SCOPED_TRACE(text("seed %u event %i: ", GetParam().seed, i) + event);
    ASSERT_EQ(allCalls(), model.calls);
    ASSERT_EQ(takeDiagnostics(), model.lines);
    ASSERT_NO_FATAL_FAILURE(expectSameState());
    mostHeld = std::max({mostHeld, model.stack.size(), model.order.size(), model.sustained.size()});
  }

  EXPECT_LT(mostHeld, ZRDSPInstrument::kMaxHeldOrder) << "the model's lists have no limit";
  EXPECT_GT(mostHeld, 0U);
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomPlay,
                         ::testing::Values(Play{"PolyDefault", 0, false, Settings::fixed, 1},
                                           Play{"PolyMPE", 0, true, Settings::fixed, 2},
                                           Play{"UnisonDefault", 1, false, Settings::fixed, 3},
                                           Play{"UnisonMPE", 1, true, Settings::fixed, 4},
                                           Play{"AllSettingsFromPoly", 0, false, Settings::changing, 5},
                                           Play{"AllSettingsFromUnison", 1, true, Settings::changing, 6}),
                         [](const ::testing::TestParamInfo<Play>& play) {
                           return std::string(play.param.name);
                         });

}  // namespace
}  // namespace morv
