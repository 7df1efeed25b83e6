#include "voice/BiquadCascade.h"

namespace morv {
namespace {

template <typename Real>
void runOneSection(const double* c, Real* delays, const float* in, float* out, int frames) noexcept {
  const double b0 = c[0];
  const double b1 = c[1];
  const double b2 = c[2];
  const double a1 = c[3];
  const double a2 = c[4];
  Real x1 = delays[0];
  Real x2 = delays[1];
  Real y1 = delays[2];
  Real y2 = delays[3];
  for (int i = 0; i < frames; ++i) {
    const Real x = static_cast<Real>(in[i]);
    const Real y = static_cast<Real>(b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2);
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    out[i] = static_cast<float>(y);
  }
  delays[0] = x1;
  delays[1] = x2;
  delays[2] = y1;
  delays[3] = y2;
}

template <typename Real>
void runSections(const double* coefficients, int sections, Real* delays, const float* in, float* out,
                 int frames) noexcept {
  for (int i = 0; i < frames; ++i) {
    Real x = static_cast<Real>(in[i]);
    Real* d = delays;
    const double* c = coefficients;
    for (int s = 0; s < sections; ++s, d += 2, c += kBiquadCoefficients) {
      const Real y = static_cast<Real>(c[0] * x + c[1] * d[0] + c[2] * d[1] - c[3] * d[2] - c[4] * d[3]);
      d[1] = d[0];
      d[0] = x;
      x = y;
    }
    d[1] = d[0];
    d[0] = x;
    out[i] = static_cast<float>(x);
  }
}

template <typename Real>
void run(const double* coefficients, int sections, Real* delays, const float* in, float* out,
         int frames) noexcept {
  if (sections == 1) {
    runOneSection(coefficients, delays, in, out, frames);
  } else {
    runSections(coefficients, sections, delays, in, out, frames);
  }
}

}  // namespace

void runBiquadCascade(const double* coefficients, int sections, float* delays, const float* in, float* out,
                      int frames) noexcept {
  run(coefficients, sections, delays, in, out, frames);
}

void runBiquadCascade(const double* coefficients, int sections, double* delays, const float* in, float* out,
                      int frames) noexcept {
  run(coefficients, sections, delays, in, out, frames);
}

void runBiquadPair(const double* coefficients, double* delays1, double* delays2, const float* in1,
                   const float* in2, float* out1, float* out2, int frames) noexcept {
  const double b0 = coefficients[0];
  const double b1 = coefficients[1];
  const double b2 = coefficients[2];
  const double a1 = coefficients[3];
  const double a2 = coefficients[4];
  double u[4] = {delays1[0], delays1[1], delays1[2], delays1[3]};
  double v[4] = {delays2[0], delays2[1], delays2[2], delays2[3]};
  for (int i = 0; i < frames; ++i) {
    const double x = static_cast<double>(in1[i]);
    const double z = static_cast<double>(in2[i]);
    const double y = b0 * x + b1 * u[0] + b2 * u[1] - a1 * u[2] - a2 * u[3];
    const double w = b0 * z + b1 * v[0] + b2 * v[1] - a1 * v[2] - a2 * v[3];
    u[1] = u[0];
    u[0] = x;
    u[3] = u[2];
    u[2] = y;
    v[1] = v[0];
    v[0] = z;
    v[3] = v[2];
    v[2] = w;
    out1[i] = static_cast<float>(y);
    out2[i] = static_cast<float>(w);
  }
  for (int k = 0; k < 4; ++k) {
    delays1[k] = u[k];
    delays2[k] = v[k];
  }
}

namespace {

// Both channels side by side.
using Pair = double __attribute__((vector_size(16)));

struct PairSection {
  double b0, b1, b2, a1, a2;
  Pair x1, x2, y1, y2;

  explicit PairSection(const BiquadPair& p) noexcept
      : b0(p.coefficients[0]),
        b1(p.coefficients[1]),
        b2(p.coefficients[2]),
        a1(p.coefficients[3]),
        a2(p.coefficients[4]),
        x1{p.delays1[0], p.delays2[0]},
        x2{p.delays1[1], p.delays2[1]},
        y1{p.delays1[2], p.delays2[2]},
        y2{p.delays1[3], p.delays2[3]} {}
  Pair step(Pair x) noexcept {
    const Pair y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
  }
  void store(const BiquadPair& p) const noexcept {
    const Pair* const states[] = {&x1, &x2, &y1, &y2};
    for (int k = 0; k < 4; ++k) {
      p.delays1[k] = (*states[k])[0];
      p.delays2[k] = (*states[k])[1];
    }
  }
};

Pair roundedToFloats(Pair x) noexcept {
  using FloatPair = float __attribute__((vector_size(8)));
  return __builtin_convertvector(__builtin_convertvector(x, FloatPair), Pair);
}

// Chosen while the program loads, so that no block has to.
const ThreeBiquadPairs kFastForm = avx2ThreeBiquadPairs();

}  // namespace

void runThreeBiquadPairs(const BiquadPair* pairs, const float* in1, const float* in2, float* out1,
                         float* out2, int frames) noexcept {
  const int done = kFastForm != nullptr ? kFastForm(pairs, in1, in2, out1, out2, frames) : 0;
  if (done == frames) return;
  baselineThreeBiquadPairs(pairs, in1 + done, in2 + done, out1 + done, out2 + done, frames - done);
}

void baselineThreeBiquadPairs(const BiquadPair* pairs, const float* in1, const float* in2, float* out1,
                              float* out2, int frames) noexcept {
  PairSection first(pairs[0]);
  PairSection second(pairs[1]);
  PairSection third(pairs[2]);
  for (int i = 0; i < frames; ++i) {
    const Pair x = {static_cast<double>(in1[i]), static_cast<double>(in2[i])};
    const Pair y = third.step(roundedToFloats(second.step(roundedToFloats(first.step(x)))));
    out1[i] = static_cast<float>(y[0]);
    out2[i] = static_cast<float>(y[1]);
  }
  first.store(pairs[0]);
  second.store(pairs[1]);
  third.store(pairs[2]);
}

}  // namespace morv
