#pragma once

// An instrument whose arpeggiator is on, and its step known.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {

// At 1000 Hz and 60 beats a minute a tick is 125 samples.
inline constexpr float kRate = 1000.0F;
inline constexpr int kTempo = 60;
inline constexpr float kSixteenth = 6.0F;  // division "1/16", two ticks
inline constexpr float kStep = 250.0F;     // its samples
inline constexpr int kBlock = 50;

inline constexpr float kUp = 0, kDown = 1, kUpDown = 2, kRandomOrder = 3, kSequence = 4;

class ArpeggiatorFixture : public InstrumentFixture {
 protected:
  ArpeggiatorFixture() { switchOn(); }
  // With its step known, so that a first key preloads it.
  void switchOn() {
    instrument->sampleRate = kRate;
    instrument->arpEnabled = 1.0F;
    instrument->arpClockDivision = kSixteenth;
    instrument->setRandomSeed(kSeed);
    instrument->doArp(0, kTempo);
  }
  // So that what is played is what is held.
  void stayInPlace() { instrument->arpOctave = 0; }
  void step() { instrument->doArp(static_cast<int>(kStep), kTempo); }
  // Notes of the gates that opened in the calls, in order.
  std::vector<int> playedIn(int steps) {
    std::vector<int> notes;
    for (int i = 0; i < steps; ++i) {
      forget();
      step();
      for (const std::string& call : allCalls()) {
        int number = 0, note = 0;
        if (std::sscanf(call.c_str(), "%i: gateAt 1 %i", &number, &note) == 2 ||
            std::sscanf(call.c_str(), "%i: gateAtTime 1 %i", &number, &note) == 2) {
          notes.push_back(note);
        }
      }
    }
    return notes;
  }
  std::vector<int> arpNotes() const { return {instrument->arpNotes.begin(), instrument->arpNotes.end()}; }
  // The draws that the instrument makes from here on, for this many spent already.
  Random drawsBehind(int spent) const {
    Random draws(Random::derive(kSeed, 0));
    for (int i = 0; i < spent; ++i) draws.nextBits();
    return draws;
  }

  static constexpr std::uint64_t kSeed = 9;
};

}  // namespace morv
