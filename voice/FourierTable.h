#pragma once

#include <cstdint>

namespace morv {

// Single-cycle tables by summing harmonics. Pure functions over memory of the caller. Not for the render
// thread: the cost is harmonics times size.

// Adds harmonics 1 to `harmonics` to a table of `size` samples, each with its amplitude (`amplitudes[k - 1]`,
// or 1 throughout if null) and with the Lanczos factor sin(x)/x at x = k pi / harmonics, which takes the
// ripple off the cut-off series; then normalises. `clear` not 0 zeroes the table first. `phaseCycles` shifts
// every harmonic by the same angle.
void fourierTableFloat(int harmonics, const float* amplitudes, int size, float* table, int clear,
                       float phaseCycles);
// The same into 16-bit samples, full scale 32767.
void fourierTableInt16(int harmonics, const float* amplitudes, int size, std::int16_t* table, int clear,
                       float phaseCycles);
// Adds the harmonics, scaled by 32767, to what the table holds, without normalising; sums are held inside 16
// bits.
void fourierTableInt16AddHarmonics(int harmonics, const float* amplitudes, int size, std::int16_t* table,
                                   float phaseCycles);
// Divides a table by its largest value; negative peaks do not count. A table without a positive value stays
// as it is. `scale` is not used.
void normalise_table(float* table, int size, float scale);

}  // namespace morv
