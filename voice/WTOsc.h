#pragma once

#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Single-sample wavetable oscillator over memory of its own. `initWTOsc` allocates; `runWTOsc` only computes.
struct WTOscState {
  double frequency = 440;  // Hz
  double phase = 0;        // samples, 0 to `size`
  double secondPhase = 0;  // runs at half the speed
  int size = 0;            // samples of one table
  int tables = 0;          // band-limited copies of one wave
  int samplesPerWave = 0;  // size times tables
  int waves = 0;
  int currentWave = 0;
  int tableIndex = 0;  // copy that would suit the last frequency
  ZeroedFloats samples;
};

// Floats from the first table of one wave to that of the next in what `runWTOsc` reads: four sets of thirteen
// tables of 600 samples.
inline constexpr int kWTOscWaveStride = 31200;

// Memory for bytesPerSample x size x tables x waves bytes, cleared; frequency 440 Hz.
void initWTOsc(WTOscState* state, int size, int tables, int waves, int bytesPerSample);
// One sample of the current wave's first table, by linear interpolation that closes the cycle, then one step
// of frequency x size / rate. The three arguments in between are not used. A wave outside the memory is
// silent.
float runWTOsc(WTOscState* state, double frequencyHz, float a, float b, float c,
               double sampleRateHz) noexcept MORV_NONBLOCKING;

}  // namespace morv
