// The arpeggio event by event, block after block, against a plain second form of its rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

constexpr int kVoices = 4;
constexpr int kBlocks = 1500;  // of 64 frames, some forty steps at the middle tempo
constexpr std::uint64_t kInstrumentSeed = 77;

struct Settings {
  int mode = 0, division = 4, range = 0;
  float gateLength = 50, spread = 0.75F;
  bool isUnison = false, isOn = true;
};

struct ArpModel {
  std::map<int, int> held;  // note to the number of its voice
  std::vector<int> order, notes;
  float counter = 0, stepSamples = 0;
  int index = 0, cycle = 0, octave = 1;
  bool goingUp = false;
  Random draws{Random::derive(kInstrumentSeed, 0)};
  std::vector<float> pans = std::vector<float>(kVoices, 0.0F);
  Calls calls;
  std::string printed;

  float drawPan(float spread) {
    const auto r = static_cast<double>(static_cast<float>(draws.nextBits() >> 1U) / 2147483648.0F);
    return static_cast<float>(static_cast<double>(spread) * (0.5 - r) * 2.0);
  }
  void gate(int voice, int on, int note, int velocity) {
    calls.push_back(text("%i: gateAt %i %i %i 0", voice, on, note, velocity));
  }

  void block(int frames, float tempo, float rate, const Settings& s) {
    if (s.isOn) arpeggiate(frames, static_cast<int>(tempo), rate, s);
    for (int v = 0; v < kVoices; ++v) {
      if (!s.isUnison) draws.nextBits();  // the voice's step of the pitch walk
      calls.push_back(text("%i: run %i at %g", v, frames, static_cast<double>(tempo)));
    }
  }

  void arpeggiate(int frames, int tempo, float rate, const Settings& s) {
    const std::map<int, int> ticks = {{0, 32}, {1, 16}, {2, 8}, {3, 6}, {4, 4}, {5, 3}, {6, 2}, {7, 1}};
    stepSamples = static_cast<float>(60.0 / tempo / 8 * ticks.at(s.division) * static_cast<double>(rate));
    const auto gateOff = static_cast<float>(static_cast<double>(s.gateLength / 100.0F) * 0.95 *
                                            static_cast<double>(stepSamples));
    if (counter < stepSamples) {
      if (counter >= gateOff) rest(s);
    } else {
      newStep(s);
    }
    counter += static_cast<float>(frames);
  }

  void rest(const Settings& s) {
    int note = 0;
    if (!notes.empty()) note = index < static_cast<int>(notes.size()) ? notes.at(at(index)) : notes.at(0);
    if (s.isUnison) {
      for (int v = 0; v < kVoices; ++v) gate(v, 0, note, 0);
    } else if (!held.empty()) {
      if (held.count(note) == 0) {
        printed += "\nout of range\n";
      } else {
        gate(held.at(note), 0, note, 0);
      }
    }
  }

  void newStep(const Settings& s) {
    counter -= stepSamples;
    const int octaves = s.range + 1;
    if (!notes.empty()) {
      const int size = static_cast<int>(notes.size());
      index = (index + 1) % size;
      cycle = (cycle + 1) % (size * octaves);
      if (index == 0) {
        // The remainder keeps the sign of what is divided.
        const int moved = octave + (goingUp ? 1 : -1);
        octave = moved < 0 ? -(-moved % octaves) : moved % octaves;
      }
    }
    if (held.empty()) return;
    std::vector<int> keys;
    for (const auto& [note, voice] : held) keys.push_back(note);
    if (s.mode == 0) notes = keys;
    if (s.mode == 1) {
      notes = keys;
      std::sort(notes.begin(), notes.end(), std::greater<>());
    }
    if (s.mode == 2 && cycle == 0) {
      notes = keys;
      if (goingUp) std::sort(notes.begin(), notes.end(), std::greater<>());
      goingUp = !goingUp;
    }
    if (s.mode == 3) {
      notes = keys;
      index = static_cast<int>((draws.nextBits() >> 1U) % static_cast<std::uint32_t>(keys.size()));
    }
    if (s.mode == 4) notes = order;
    play(s);
  }

  void play(const Settings& s) {
    if (notes.empty()) {
      printed += "\nout of range\n";
      return;
    }
    const int note = index < static_cast<int>(notes.size()) ? notes.at(at(index)) : notes.at(0);
    if (s.isUnison) {
      for (int v = 0; v < kVoices; ++v) {
        pans.at(at(v)) = drawPan(s.spread);
        gate(v, 1, note + 12 * octave, 127);
      }
      return;
    }
    if (held.count(note) == 0) {
      printed += "\nout of range\n";
      return;
    }
    pans.at(at(held.at(note))) = drawPan(s.spread);
    calls.push_back(text("%i: gateAtTime 1 %i 127 %.9g", held.at(note), note + 12 * octave,
                         static_cast<double>(stepSamples)));
    printed += text("[ARP] %i tick note: %i - Direction: %s\n", index, note,
                    static_cast<const char*>(goingUp ? "Up" : "Down"));
  }

  static std::size_t at(int i) { return static_cast<std::size_t>(i); }
};

enum class Way {
  plain,
  drawnTempo,  // another tempo in every block
  mpe,         // notes on the channels 0 to 15
  pedal,       // pressed and released between the notes
};

// Mode, Unison, frames of a block.
using Case = std::tuple<int, bool, int, Way>;

class ArpeggiatorTimeline : public InstrumentFixture, public ::testing::WithParamInterface<Case> {
 protected:
  void start() {
    build(kVoices);
    instrument->sampleRate = rate;
    instrument->setRandomSeed(kInstrumentSeed);
    instrument->arpEnabled = 1.0F;
    if (settings.isUnison) useUnison();
    if (way == Way::mpe) useMPE();
    apply();
  }
  void apply() {
    instrument->arpMode = static_cast<float>(settings.mode);
    instrument->arpClockDivision = static_cast<float>(settings.division);
    instrument->arpRange = static_cast<float>(settings.range);
    instrument->arpGateLength = settings.gateLength;
    instrument->panSpread = settings.spread;
    instrument->arpLatch = latch ? 1.0F : 0.0F;
  }
  int below(int bound) { return static_cast<int>(random.nextBits() % static_cast<std::uint32_t>(bound)); }

  // What the note path keeps for the arpeggiator is taken over; what follows from it is the model's own.
  void takeOverNotes() {
    model.held.clear();
    instrument->heldNotes.forEach([this](int note, ZRDSPVoice* v) { model.held[note] = numberOf(v); });
    model.order = order();
  }
  void press(int note) {
    if (settings.isOn && model.held.empty()) model.counter = model.stepSamples;
    const int channel = way == Way::mpe ? below(16) : 0;
    noteOn(note, 100, channel);
    channelOf[note] = channel;
    takeOverNotes();
    if (settings.isUnison) {
      for (float& pan : model.pans) pan = model.drawPan(settings.spread);
    } else {
      model.pans.at(static_cast<std::size_t>(holderOf(note))) = model.drawPan(settings.spread);
    }
  }
  void release() {
    if (model.held.empty()) return;
    auto key = model.held.begin();
    std::advance(key, below(static_cast<int>(model.held.size())));
    noteOff(key->first, 0, channelOf[key->first]);
    takeOverNotes();
  }
  void movePedal() {
    isPedalDown = !isPedalDown;
    instrument->setSustain(isPedalDown ? 127 : 0);
    takeOverNotes();
  }
  void somethingHappens() {
    if (way == Way::pedal && below(4) == 0) movePedal();
    switch (below(12)) {
      case 0:
      case 1:
      case 2:
      case 3:
        press(below(20) == 0 ? 127 * below(2) : 36 + below(60));
        break;
      case 4:
      case 5:
      case 6:
        release();
        break;
      case 7:
        settings.division = below(8);
        break;
      case 8:
        settings.range = below(3);
        break;
      case 9:
        settings.gateLength = static_cast<float>(below(11) * 10);
        settings.spread = static_cast<float>(below(3)) * 0.5F;
        break;
      case 10:
        if (below(3) == 0) latch = !latch;
        if (below(6) == 0) settings.mode = below(5);
        break;
      default:
        if (below(6) == 0) {
          settings.isOn = !settings.isOn;
          instrument->setParameterValueForAddress(instrument->arpEnabled.address,
                                                  settings.isOn ? 1.0F : 0.0F);
          takeOverNotes();
        }
        break;
    }
    apply();
  }
  void runBlock(int frames, float tempo) {
    model.calls.clear();
    model.printed.clear();
    forget();
    instrument->runInstrument(left.data(), right.data(), frames, tempo, 0.0);
    model.block(frames, tempo, rate, settings);
  }

  Settings settings;
  Way way = Way::plain;
  bool latch = false, isPedalDown = false;
  std::map<int, int> channelOf;  // of each note's last press
  float rate = 44100.0F;
  ArpModel model;
  Random random{1};
  std::vector<float> left = std::vector<float>(4096), right = std::vector<float>(4096);
};

TEST_P(ArpeggiatorTimeline, PlaysWhatThePlainFormPlays) {
  const auto [mode, isUnison, frames, wayOfCase] = GetParam();
  way = wayOfCase;
  if (frames == 1) rate = 100.0F;
  long opened = 0;
  for (const float tempo : {60.0F, 97.9F, 120.0F, 174.0F, 400.0F}) {
    settings = Settings{};
    settings.mode = mode;
    settings.isUnison = isUnison;
    latch = isPedalDown = false;
    channelOf.clear();
    model = ArpModel{};
    random.reseed(static_cast<std::uint64_t>(tempo) * 10000U + static_cast<std::uint64_t>(frames));
    start();
    for (int block = 0; block < kBlocks; ++block) {
      if (below(4) == 0) somethingHappens();
      runBlock(frames, way == Way::drawnTempo ? static_cast<float>(200 + below(4000)) / 10.0F : tempo);

      ASSERT_EQ(allCalls(), model.calls) << "tempo " << tempo << " block " << block;
      ASSERT_EQ(takeDiagnostics(), model.printed) << "tempo " << tempo << " block " << block;
      ASSERT_EQ(instrument->arpCounter, model.counter);
      ASSERT_EQ(instrument->arpStepSamples, model.stepSamples);
      ASSERT_EQ(instrument->arpIndex, model.index);
      ASSERT_EQ(instrument->arpCycle, model.cycle);
      ASSERT_EQ(instrument->arpOctave, model.octave);
      ASSERT_EQ(instrument->arpGoingUp, model.goingUp ? 1 : 0);
      for (int v = 0; v < kVoices; ++v) {
        ASSERT_EQ(voice(v).panTarget, model.pans.at(static_cast<std::size_t>(v)));
      }
      for (const std::string& call : model.calls) {
        opened += call.find("gateAt 1") != std::string::npos ? 1 : 0;
        opened += call.find("gateAtTime 1") != std::string::npos ? 1 : 0;
      }
    }
  }
  EXPECT_GT(opened, 50);
}

INSTANTIATE_TEST_SUITE_P(ModesAndBlocks, ArpeggiatorTimeline,
                         ::testing::Combine(::testing::Range(0, 5), ::testing::Bool(),
                                            ::testing::Values(1, 64, 256, 1000, 4096),
                                            ::testing::Values(Way::plain)));

INSTANTIATE_TEST_SUITE_P(OtherWays, ArpeggiatorTimeline,
                         ::testing::Combine(::testing::Range(0, 5), ::testing::Bool(),
                                            ::testing::Values(256, 1000),
                                            ::testing::Values(Way::drawnTempo, Way::mpe, Way::pedal)));

}  // namespace
}  // namespace morv
