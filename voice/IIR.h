#pragma once

#include <cstddef>
#include <vector>

#include "platform/NonBlocking.h"

namespace morv {

// Cascades of second-order sections in direct form II over coefficients that somebody else holds. The records
// own their delay memory. Seven coefficients a section: c0 scales the input, c2 and c3 feed the two delays
// back, c5 and c6 feed them forward; c1 and c4 stand for leading coefficients of 1 and are not read.
inline constexpr std::size_t kIIRCoefficients = 7;

// Single precision throughout.
struct iir {
  int sections = 0;
  std::vector<float> state;  // 2 x sections: the first delays of all sections, then the second ones
  const float* coefficients = nullptr;  // borrowed, kIIRCoefficients x sections
};

// Double precision inside, floats in and out.
struct iird {
  int sections = 0;
  std::vector<double> state;
  const double* coefficients = nullptr;
};

// Give the record zeroed delays and a pointer to coefficients that must outlive it. They allocate: not for
// the render thread. A record that ran before starts afresh.
void initIIR(iir* filter, int sections, const float* coefficients);
void initIIRD(iird* filter, int sections, const double* coefficients);

// One sample through all sections, in order. Render thread.
inline float runIIR(iir* filter, float in) noexcept MORV_NONBLOCKING {
  float* d1 = filter->state.data();
  float* d2 = d1 + filter->sections;
  const float* c = filter->coefficients;
  float x = in;
  for (int s = 0; s < filter->sections; ++s, c += kIIRCoefficients) {
    const float w = c[0] * x - c[2] * d1[s] - c[3] * d2[s];
    x = w + c[5] * d1[s] + c[6] * d2[s];
    d2[s] = d1[s];
    d1[s] = w;
  }
  return x;
}

inline float runIIRD(iird* filter, float in) noexcept MORV_NONBLOCKING {
  double* d1 = filter->state.data();
  double* d2 = d1 + filter->sections;
  const double* c = filter->coefficients;
  double x = static_cast<double>(in);
  for (int s = 0; s < filter->sections; ++s, c += kIIRCoefficients) {
    const double w = c[0] * x - c[2] * d1[s] - c[3] * d2[s];
    x = w + c[5] * d1[s] + c[6] * d2[s];
    d2[s] = d1[s];
    d1[s] = w;
  }
  return static_cast<float>(x);
}

}  // namespace morv
