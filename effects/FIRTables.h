#pragma once

namespace morv {

// Linear-phase low-pass filters for oversampling by 2, 4 and 8: symmetric, about 0 dB to 20 kHz and far down
// from 22 kHz, at the rates in the table. The measured points are parts of the rate the filter runs at,
// against the gain at 0 Hz, which is the pass band's ripple away from 1.
//
//   table  taps  rate it is for   sum      -3 dB     -60 dB     stop band
//   B2x    169   2 x 44.1 kHz     0.99397  0.232555  0.247559   -95.3 dB
//   B4x    301   4 x 44.1 kHz     0.99920  0.117747  0.124679   -61.9 dB
//   B8x    674   8 x 44.1 kHz     1.00601  0.058114  0.061887   -95.6 dB
//   B8x2   763   8 x 48 kHz       1.00424  0.053462  0.056864   -95.9 dB
//
// And two for what runs at half the rate and repeats its samples: down before a quarter of the rate, from
// where images stand; their pass bands ripple by 1.5 and 1 dB.
//
//   table    taps  rate it is for  sum      -3 dB     -60 dB  stop band
//   BSpring  49    44.1 kHz        0.91320  0.220710  none    -55.3 dB
//   BLoFi    113   44.1 kHz        0.94230  0.237285  none    -54.4 dB
//
// And one that takes the upper half of a band off, at the slope of B4x and with its ripple:
//
//   table    taps  sum      -3 dB     -60 dB    stop band
//   BChorus  113   0.99914  0.230883  0.249369  -61.3 dB
//
// The data is written by design_fir_tables.py. Any thread may read it.
inline constexpr int BL2x = 169;
inline constexpr int BL4x = 301;
inline constexpr int BL8x = 674;
inline constexpr int BL8x2 = 763;
inline constexpr int BLSpring = 49;
inline constexpr int BLLoFi = 113;
inline constexpr int BLChorus = 113;

extern const float B2x[BL2x];
extern const float B4x[BL4x];
extern const float B8x[BL8x];
extern const float B8x2[BL8x2];
extern const float BSpring[BLSpring];
extern const float BLoFi[BLLoFi];
extern const float BChorus[BLChorus];

}  // namespace morv
