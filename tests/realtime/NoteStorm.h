#pragma once

#include <cstdint>

namespace morv {

// What came of a storm.
struct StormResult {
  long blocks = 0;
  double seconds = 0;
  long badSamples = 0;    // not finite
  long trappedCalls = 0;  // allocations, locks, waits, I/O inside render calls
  const char* lastTrapped = "";
  float peak = 0;
  int mostVoices = 0;  // entries of the held-note map
  long arpeggiatedNotes = 0;
  std::uint32_t recoveries = 0;  // from state that was no number
};

// Renders `seconds` of random MIDI of every type, random parameter events, those of the arpeggiator above
// all, and random turns of the effects' knobs, at changing tempos down to 0, in blocks of 1 to 4096 frames,
// all drawn from the seed, with every render call inside a RenderTrap.
StormResult runNoteStorm(std::uint64_t seed, double seconds);

}  // namespace morv
