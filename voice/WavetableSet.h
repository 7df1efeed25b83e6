#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Wave by its harmonics.
enum class ZROscillatorWave : int {
  sine = 0,         // first harmonic
  saw = 1,          // all, 1 / k
  square = 2,       // odd, 1 / k
  triangle = 3,     // odd, 1 / k^2
  noise = 4,        // no harmonics
  shiftedSine = 5,  // first harmonic, a quarter cycle back
  invertedSine = 6,
  invertedSaw = 7,
  invertedTriangle = 8,
};

// Waves with a band-limited copy of each for every range of pitch, one behind the other in one piece of
// memory: a read that runs over the end of a copy meets the next one, and behind the last the next wave,
// zeros if unused.
//
// A set is filled on one thread and from then on only read, by any number of oscillators.
class WavetableSet {
 public:
  static constexpr int kTableSize = 1024;  // samples of one cycle
  static constexpr int kSubtables = 13;  // copies of a wave; copy k serves 1.44 times the pitch of copy k - 1
  static constexpr int kWaveSamples = kTableSize * kSubtables;
  static constexpr int kMaxWaves = 114;

  explicit WavetableSet(float sampleRateHz);

  // The voice's five waves: 0 triangle, 1 saw, 2 silence, 3 saw backwards, 4 square; harmonics up to 20 kHz.
  // All oscillators of one rate share one set. Any thread off the render path; takes a lock.
  static std::shared_ptr<const WavetableSet> sharedVoiceSet(float sampleRateHz);

  float* wave(int index) noexcept MORV_NONBLOCKING {
    return samples_.data() + static_cast<std::ptrdiff_t>(index) * kWaveSamples;
  }
  const float* wave(int index) const noexcept MORV_NONBLOCKING {
    return samples_.data() + static_cast<std::ptrdiff_t>(index) * kWaveSamples;
  }

  // Fills a table and its copies. `harmonics` of the first form: up to 10 kHz at the base table's pitch.
  // Raises `tableCount`. `noise` draws from the generator, the others do not.
  void generateWaveInTable(ZROscillatorWave which, float* table, Random* random);
  void generateWaveInTable(ZROscillatorWave which, float* table, int harmonics, Random* random);
  void _generateWavetables();

  float sampleRate;    // Hz, of construction
  int tableCount = 0;  // number of waves

 private:
  ZeroedFloats samples_;
};

// Fills copies 1 to subtables - 1 behind the base table: copy k keeps the harmonics below
// (size / 2 x 20000 / rate) / 1.444^k and loses its mean.
void _buildSubtablesForTable(float* table, int subtables, int size, float sampleRateHz);
// Takes all harmonics from `firstRemoved` on out of one cycle of `size` samples (even), and its mean.
void _removePartialsFromWaveform(float* buffer, int size, int firstRemoved);

}  // namespace morv
