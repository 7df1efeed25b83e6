#pragma once

// An instrument with the sequencer's flag, whose transport plays.

#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {

// At 8192 Hz and 60 beats a minute a tick is 1024 samples: four calls. The first falls on the fifth call.
inline constexpr float kSequencerRate = 8192.0F;
inline constexpr float kSequencerTempo = 60.0F;
inline constexpr int kCallsPerTick = 4;
inline constexpr unsigned kSequencerFlags = kTurboFlags | kInstrumentSequencer;

class SequencerFixture : public InstrumentFixture {
 protected:
  SequencerFixture() { start(1); }

  void start(int voices, unsigned flags = kSequencerFlags) {
    build(voices, flags);
    instrument->sampleRate = kSequencerRate;
    instrument->tempo = kSequencerTempo;
    instrument->transportState = 2;
    instrument->seqEnabled = 1.0F;
    instrument->seqClockDivision = 7.0F;  // a step is one tick
    instrument->seqGateLength = 100.0F;
    instrument->setRandomSeed(kSeed);
  }
  void set(int lane, int step, int value, bool gate = false) {
    ASSERT_TRUE(instrument->setSequencerStep(lane, step, gate, value));
  }
  void setAll(int lane, int value, bool gate = false) {
    for (int step = 0; step < 8; ++step) set(lane, step, value, gate);
  }
  // Eight gated notes upwards from 60.
  void setRow() {
    for (int step = 0; step < 8; ++step) set(0, step, 60 + step, true);
  }
  void call(int times = 1) {
    for (int i = 0; i < times; ++i) instrument->runSequencer(0.0);
  }
  // Notes that opened on the first voice in so many calls.
  std::vector<int> notesIn(int calls) {
    forget();
    call(calls);
    std::vector<int> notes;
    for (const std::string& line : callsOf(0)) {
      int note = 0;
      if (std::sscanf(line.c_str(), "gateAt 1 %i", &note) == 1) notes.push_back(note);
    }
    return notes;
  }
  std::vector<int> stepsOver(int steps) {
    std::vector<int> list;
    for (int i = 0; i < steps; ++i) {
      instrument->advanceSequencer();
      list.push_back(instrument->seqStep);
    }
    return list;
  }
  static Random freshDraws() { return Random(Random::derive(kSeed, 0)); }
  static int drawn12(Random& draws) { return static_cast<int>((draws.nextBits() >> 1U) % 12U); }

  static constexpr std::uint64_t kSeed = 21;
};

}  // namespace morv
