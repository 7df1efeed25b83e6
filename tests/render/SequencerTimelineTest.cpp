// The sequence event by event, call after call, against a plain second form of its rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/render/SequencerTesting.h"

namespace morv {
namespace {

constexpr int kVoices = 2;

struct SequencerModel {
  struct Step {
    bool gate = false;
    int note = 60, pressure = 0, retrigger = 0, chance = 0;
  };
  std::array<Step, 8> table{};
  int mode = 0, division = 4, type = 0, root = 0, scale = 0, lastNote = 60;
  bool isTransposed = false;
  double gateShare = 0.5;

  int step = 0, direction = 0, ticks = 0, shift = 0, gateLength = 0, stepCount = 0, tickCount = 0, cycle = 0;
  std::set<int> allowed;  // notes of the scale in force, 0 to 127
  Random draws{0};
  Calls calls;

  SequencerModel() { useScale(0, {0, 2, 4, 5, 7, 9, 11}); }

  void useScale(int newRoot, const std::vector<int>& notes) {
    allowed.clear();
    for (int note = newRoot; note <= 127; ++note) {
      if (std::find(notes.begin(), notes.end(), (note - newRoot) % 12) != notes.end()) allowed.insert(note);
    }
  }
  void useScaleOf(int newRoot, int value) {
    static const std::vector<std::vector<int>> kScales = {{},
                                                          {0, 2, 4, 5, 7, 9, 11},
                                                          {0, 2, 3, 5, 7, 9, 10},
                                                          {0, 1, 3, 5, 7, 8, 10},
                                                          {0, 2, 4, 6, 7, 9, 11},
                                                          {0, 2, 4, 5, 7, 9, 10},
                                                          {0, 2, 3, 5, 7, 8, 10},
                                                          {0, 1, 3, 5, 6, 8, 10},
                                                          {0, 2, 3, 5, 7, 8, 11},
                                                          {0, 2, 3, 5, 7, 9, 11},
                                                          {0, 2, 3, 4, 7, 9},
                                                          {0, 3, 5, 6, 7, 10},
                                                          {0, 4, 8},
                                                          {0, 3, 6, 9},
                                                          {0, 7},
                                                          {0, 2, 4, 6, 8, 10},
                                                          {0, 1, 3, 4, 6, 7, 9, 10},
                                                          {0, 2, 4, 7, 9}};
    if (value == 0) {
      useScale(0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    } else {
      useScale(newRoot, kScales.at(static_cast<std::size_t>(value)));
    }
  }
  int quantized(int note) const {
    const auto found = allowed.lower_bound(note);
    return found == allowed.end() ? note : *found;
  }
  int drawn(int bound) {
    return static_cast<int>((draws.nextBits() >> 1U) % static_cast<std::uint32_t>(bound));
  }
  void gateAll(int on, int note) {
    for (int v = 0; v < kVoices; ++v) calls.push_back(text("%i: gateAt %i %i 0 0", v, on, note));
  }

  void run(float tempo, float rate) {
    static const std::vector<int> kTicks = {32, 16, 8, 6, 4, 3, 2, 1};
    const int ticksPerStep = kTicks.at(static_cast<std::size_t>(division));
    const double tickSeconds = 60 / static_cast<double>(tempo) / 8;
    const double stepSeconds = tickSeconds * ticksPerStep;
    const double tickSamples = tickSeconds * static_cast<double>(rate);
    const double stepSamples = stepSeconds * static_cast<double>(rate);
    if (tickCount >= gateShare * 0.95 * gateLength) gateAll(0, 36);
    if (tickCount >= tickSamples) {
      tickCount = static_cast<int>(tickCount - tickSamples);
      tick(ticksPerStep, stepSamples);
      ++ticks;
    }
    tickCount += 256;
    stepCount += 256;
  }

  void tick(int ticksPerStep, double stepSamples) {
    const Step now = table.at(static_cast<std::size_t>(step));
    const int dice = drawn(12) + 1;
    const float rate = static_cast<float>(now.retrigger) / 12.0F;
    int period = static_cast<int>((1.0F - rate) * static_cast<float>(ticksPerStep));
    if (period < 1) period = 1;
    if (ticks % period == 0) {
      bool gate = now.gate;
      int note = quantized(shift + now.note) + (isTransposed ? lastNote - 24 : 0);
      if (now.chance > dice) {
        if (type != 3) shift = 0;
        if (type == 0) gate = drawn(2) == 1;
        if (type == 1) note = quantized(note + drawn(12));
        if (type == 2) mode = (mode + 1) % 2;
        if (type == 3) {
          shift = drawn(12);
          note = quantized(shift + note);
        }
      }
      if (gate) {
        gateLength = static_cast<int>(static_cast<double>(1.0F - rate) * stepSamples * 0.5);
        gateAll(1, note);
      }
      const float pressure = static_cast<float>(now.pressure) / 12.0F * 127.0F;
      for (int v = 0; v < kVoices; ++v) {
        calls.push_back(text("%i: pressure %g", v, static_cast<double>(pressure)));
      }
    }
    if (stepCount >= stepSamples) {
      stepCount = static_cast<int>(stepCount - stepSamples);
      useScaleOf(root, scale);
      advance();
    }
  }

  void advance() {
    if (mode == 0) step = step == 7 ? 0 : step + 1;
    if (mode == 1) step = step == 0 ? 7 : step - 1;
    if (mode == 2 || mode == 3) {
      const bool isAtEnd = direction == 0 ? step == 7 : step == 0;
      if (isAtEnd) {
        if (mode == 2) step += direction == 0 ? -1 : 1;
        direction = 1 - direction;
      } else {
        step += direction == 0 ? 1 : -1;
      }
    }
    if (mode == 4) step = drawn(8);
    if (step == 0) ++cycle;
  }
};

// Mode, division.
class SequencerTimeline : public SequencerFixture,
                          public ::testing::WithParamInterface<std::tuple<int, int>> {
 protected:
  int below(int bound) { return static_cast<int>(random.nextBits() % static_cast<std::uint32_t>(bound)); }
  void drawTable() {
    for (int i = 0; i < 8; ++i) {
      SequencerModel::Step& s = model.table.at(static_cast<std::size_t>(i));
      s = {below(4) != 0, 30 + below(60), below(13), below(13), below(13)};
      set(0, i, s.note, s.gate);
      set(1, i, s.pressure);
      set(2, i, s.retrigger, true);
      set(3, i, s.chance, true);
    }
  }
  void drawSettings() {
    model.type = below(4);
    model.root = below(12);
    model.scale = below(18);
    model.isTransposed = below(2) != 0;
    model.lastNote = below(128);
    const int share = below(11) * 10;
    model.gateShare = static_cast<double>(static_cast<float>(share) / 100.0F);
    instrument->seqVariationType = static_cast<float>(model.type);
    instrument->seqRoot = static_cast<float>(model.root);
    instrument->seqScale = static_cast<float>(model.scale);
    instrument->seqKeyTranspose = model.isTransposed ? 1.0F : 0.0F;
    instrument->lastNote = model.lastNote;
    instrument->seqGateLength = static_cast<float>(share);
  }

  SequencerModel model;
  Random random{1};
};

TEST_P(SequencerTimeline, PlaysWhatThePlainFormPlays) {
  constexpr int kCalls = 3000;
  const auto [mode, division] = GetParam();
  for (const float rate : {8192.0F, 44100.0F}) {
    // At 25 and 50 the samples of three and of six ticks hang on which product comes first.
    for (const float tempo : {25.0F, 50.0F, 60.0F, 97.9F, 174.0F, 999.0F}) {
      start(kVoices);
      model = SequencerModel{};
      model.draws = freshDraws();
      random.reseed(static_cast<std::uint64_t>(tempo * rate) +
                    static_cast<std::uint64_t>(8 * mode + division));
      instrument->sampleRate = rate;
      instrument->tempo = tempo;
      instrument->seqMode = static_cast<float>(model.mode = mode);
      instrument->seqClockDivision = static_cast<float>(model.division = division);
      drawTable();
      drawSettings();
      long notes = 0;
      for (int i = 0; i < kCalls; ++i) {
        if (below(300) == 0) drawSettings();
        if (below(150) == 0) drawTable();
        model.calls.clear();
        forget();

        call();
        model.run(tempo, rate);

        ASSERT_EQ(allCalls(), model.calls) << "rate " << rate << " tempo " << tempo << " call " << i;
        ASSERT_EQ(instrument->seqStep, model.step);
        ASSERT_EQ(instrument->seqCycle, model.cycle);
        ASSERT_EQ(instrument->seqStepCounter, model.stepCount);
        ASSERT_EQ(instrument->seqTickCounter, model.tickCount);
        ASSERT_EQ(instrument->seqTickInStep, model.ticks);
        ASSERT_EQ(instrument->seqGateLengthSamples, model.gateLength);
        ASSERT_EQ(instrument->seqShift, model.shift);
        ASSERT_EQ(instrument->seqMode.intValue(), model.mode);
        ASSERT_EQ(instrument->seqDirection, model.direction);
        for (const std::string& line : model.calls)
          notes += line.find("gateAt 1") != std::string::npos ? 1 : 0;
      }
      EXPECT_GT(notes, 0) << "rate " << rate << " tempo " << tempo;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(ModesAndDivisions, SequencerTimeline,
                         ::testing::Combine(::testing::Range(0, 5), ::testing::Range(0, 8)));

}  // namespace
}  // namespace morv
