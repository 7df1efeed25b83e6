#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace morv::testing {

// Harmonics of one cycle by plain summation: element k holds c with c.real() cos(k x) - c.imag() sin(k x) in
// the cycle; element 0 is the mean.
inline std::vector<std::complex<double>> harmonicsOf(const float* cycle, int size) {
  std::vector<std::complex<double>> turn(static_cast<std::size_t>(size));
  for (int n = 0; n < size; ++n)
    turn[static_cast<std::size_t>(n)] = std::polar(1.0, -2.0 * std::numbers::pi * n / size);
  std::vector<std::complex<double>> list(static_cast<std::size_t>(size / 2) + 1);
  for (int k = 0; k <= size / 2; ++k) {
    std::complex<double> sum = 0;
    for (int n = 0; n < size; ++n)
      sum += static_cast<double>(cycle[n]) *
             turn[static_cast<std::size_t>(k) * static_cast<std::size_t>(n) % static_cast<std::size_t>(size)];
    list[static_cast<std::size_t>(k)] = sum * ((k == 0 || k == size / 2 ? 1.0 : 2.0) / size);
  }
  return list;
}

// Lanczos' factor of harmonic k of `count`.
inline double lanczos(int k, int count) {
  const double x = k * std::numbers::pi / count;
  return std::sin(x) / x;
}

}  // namespace morv::testing
