#include "voice/ZRToneStack.h"

namespace morv {
namespace {

// Components, in ohms and farads. The treble potentiometer is fed by C1 on top and by C2 from below; C2 and
// C3 hang behind the slope resistor R4. The bass control is a rheostat from the foot of the treble
// potentiometer to the middle potentiometer, whose wiper takes C3 and whose foot is grounded. The output is
// the treble wiper, without load.
constexpr double kR1 = 250000.0;   // treble
constexpr double kR2 = 1000000.0;  // bass
constexpr double kR3 = 25000.0;    // middle
constexpr double kR4 = 56000.0;    // slope
constexpr double kC1 = 0.25e-9;
constexpr double kC2 = 20e-9;
constexpr double kC3 = 20e-9;

constexpr double kTreble = 0.5;
constexpr double kMiddle = 0.5;
constexpr double kBass = 0.5;

// (n1 s + n2 s^2 + n3 s^3) / (1 + d1 s + d2 s^2 + d3 s^3)
struct Network {
  double n1, n2, n3, d1, d2, d3;
};

// Kirchhoff's current law at the four inner nodes, solved for the treble wiper. Rb is the way from the foot
// of the treble potentiometer to the middle wiper, Rm the way on to ground.
constexpr Network analyse() {
  constexpr double Rb = kBass * kR2 + (1.0 - kMiddle) * kR3;
  constexpr double Rm = kMiddle * kR3;
  constexpr double R14 = kR1 * kR4;
  constexpr double C12 = kC1 * kC2;
  constexpr double C13 = kC1 * kC3;
  constexpr double ends = (kC1 + kC2) * kC3 * Rb * Rm;
  return {
      kTreble * kC1 * kR1 + (kC1 + kC2) * (Rb + Rm) + kC3 * Rm,
      kTreble * R14 * (C12 + C13) + C12 * (kR1 + kR4) * (Rb + Rm) + C13 * (kR1 * Rm + kR4 * (Rb + Rm)) + ends,
      C12 * kC3 * Rb * (kTreble * R14 + (kR1 + kR4) * Rm),
      kC1 * (kR1 + Rb + Rm) + kC2 * (kR4 + Rb + Rm) + kC3 * (kR4 + Rm),
      C12 * (R14 + (kR1 + kR4) * (Rb + Rm)) + C13 * (R14 + kR1 * Rm + kR4 * (Rb + Rm)) + ends +
          kC2 * kC3 * kR4 * Rb,
      C12 * kC3 * Rb * (R14 + (kR1 + kR4) * Rm),
  };
}

constexpr Network kNetwork = analyse();

// The fastest pole of s^3 + a s^2 + b s + c. A network of resistors and capacitors has real negative poles
// only, so Newton's method from left of them all (the sum of the poles is -a) comes down to it without ever
// passing it.
double fastestPole(double a, double b, double c) noexcept {
  constexpr int kSteps = 64;  // far more than the quadratic convergence needs
  double s = -a;
  for (int i = 0; i < kSteps; ++i) s -= (((s + a) * s + b) * s + c) / ((3.0 * s + 2.0 * a) * s + b);
  return s;
}

// Bilinear transform, s = w (1 - 1/z) / (1 + 1/z), of (p0 + p1 s + p2 s^2) / (q0 + q1 s + q2 s^2).
void storeBilinear(double* c, double w, const std::array<double, 3>& p,
                   const std::array<double, 3>& q) noexcept {
  const double norm = q[0] + q[1] * w + q[2] * w * w;
  c[0] = (p[0] + p[1] * w + p[2] * w * w) / norm;
  c[1] = 2.0 * (p[0] - p[2] * w * w) / norm;
  c[2] = (p[0] - p[1] * w + p[2] * w * w) / norm;
  c[3] = 2.0 * (q[0] - q[2] * w * w) / norm;
  c[4] = (q[0] - q[1] * w + q[2] * w * w) / norm;
}

}  // namespace

ZRToneStack::ZRToneStack(float sampleRateHz) : ZRDSPFilter(sampleRateHz) { computeCoefficients(); }

ZRToneStack::ZRToneStack(float sampleRateHz, int* addressCounter)
    : ZRDSPFilter(sampleRateHz, addressCounter) {
  computeCoefficients();
}

// Split into s / (s - p), with p the fastest pole, and the quadratic rest.
void ZRToneStack::computeCoefficients() {
  const double w = 2.0 * static_cast<double>(sampleRate);
  const double a = kNetwork.d2 / kNetwork.d3;
  const double b = kNetwork.d1 / kNetwork.d3;
  const double p = fastestPole(a, b, 1.0 / kNetwork.d3);
  const double q1 = a + p;
  const double q0 = b + p * q1;
  double* c = coefficients_.data();
  // One pole: the bilinear form without a second delay.
  c[0] = w / (w - p);
  c[1] = -c[0];
  c[2] = 0;
  c[3] = (-p - w) / (w - p);
  c[4] = 0;
  storeBilinear(c + kBiquadCoefficients, w,
                {kNetwork.n1 / kNetwork.d3, kNetwork.n2 / kNetwork.d3, kNetwork.n3 / kNetwork.d3},
                {q0, q1, 1.0});
}

void ZRToneStack::reset() noexcept {
  for (Delays& channel : delays_) channel.fill(0.0);
}

void ZRToneStack::runFilter(const float* in1, const float* in2, float* out1, float* out2,
                            int frames) noexcept {
  runBiquadCascade(coefficients_.data(), kSections, delays_[0].data(), in1, out1, frames);
  if (in2 != nullptr && out2 != nullptr)
    runBiquadCascade(coefficients_.data(), kSections, delays_[1].data(), in2, out2, frames);
}

}  // namespace morv
