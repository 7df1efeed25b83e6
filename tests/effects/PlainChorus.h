#pragma once

// The chorus sample by sample, as a second form to hold the block form against.

#include <cmath>
#include <memory>
#include <numbers>

#include "effects/ZRBasicChorus.h"
#include "tests/effects/EffectTesting.h"

namespace morv {

constexpr float kRate = 44100.0F;
constexpr std::uint64_t kSeed = 77;
// Other roundings of a phase move the read position of a line of this length by up to 1/256 of a sample.
constexpr double kPlainFormDb = -55.0;

// Phases, followers and read positions are floats, as their rounding decides where a line is read.
class PlainChorus {
 public:
  explicit PlainChorus(float sampleRateHz) : rate(sampleRateHz), random(kSeed) {
    initUniComb(&lineL, static_cast<int>(rate));
    initUniComb(&lineR, static_cast<int>(rate));
    smoothing = static_cast<float>(std::exp(std::log(0.001) / (250.0 * static_cast<double>(rate) * 0.001)));
    const double g = std::tan(std::numbers::pi * 100.0 / static_cast<double>(rate));
    G = g / (1.0 + g);
  }

  Stereo run(const Stereo& in) {
    Stereo out(in.frames());
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      run(in.left[i], in.right[i], &out.left[i], &out.right[i]);
    }
    return out;
  }

  float frequency = 0.25F;
  float spreadTarget = 0.75F;
  float amountTarget = 0.25F;
  float mixTarget = 0.5F;
  float inputVolume = 1;
  float outputVolume = 1;
  bool isNoise = false;
  bool isSend = false;

 private:
  static constexpr float kPi = std::numbers::pi_v<float>;

  void run(float inL, float inR, float* outL, float* outR) {
    phase1 += 2 * kPi * frequency / rate;
    if (phase1 >= 2 * kPi) {
      phase1 -= 2 * kPi;
      targetR = draw();
    }
    phase2 += 2 * kPi * (frequency + 0.5F * spread) / rate;
    if (phase2 >= 2 * kPi) {
      phase2 -= 2 * kPi;
      targetL = draw();
    }
    if (isNoise) {
      const auto c = static_cast<float>(std::exp(
          std::log(0.001) / ((10.1 - static_cast<double>(frequency)) * static_cast<double>(rate) + 1.0)));
      noiseL = c * (noiseL - targetL) + targetL;
      noiseR = c * (noiseR - targetR) + targetR;
    }
    spread = smoothing * (spread - spreadTarget) + spreadTarget;
    amount = smoothing * (amount - amountTarget) + amountTarget;
    mix = smoothing * (mix - mixTarget) + mixTarget;
    const float l = chorus(&lineL, inL * inputVolume, -spread, noiseL);
    const float r = chorus(&lineR, inR * inputVolume, spread, noiseR);
    const float wetL = (l + 0.3F * highpass(&zL, -r)) * outputVolume;
    const float wetR = (r + 0.3F * highpass(&zR, -l)) * outputVolume;
    const float dry = isSend ? 1.0F : 1.0F - mix;
    *outL = dry * inL + mix * wetL;
    *outR = dry * inR + mix * wetR;
  }

  float draw() { return static_cast<float>(2.0 * random.unitDouble() - 1.0); }

  float chorus(uniComb* line, float in, float side, float noise) const {
    const float s = (std::sin(phase1 + side * kPi / 2) + 1) / 2;
    const float d = std::abs(0.005F * (3 * amount * noise + 1 - amount * s));
    return runUniComb(line, in, 0.005F + d, 1, 0, 0.75F, rate);
  }

  float highpass(double* z, float in) const {
    const double v = (static_cast<double>(in) - *z) * G;
    const double y = v + *z;
    *z = y + v;
    return static_cast<float>(static_cast<double>(in) - y);
  }

  float rate;
  uniComb lineL, lineR;
  Random random;
  float smoothing = 0, mix = 0.5F, spread = 75, amount = 0;
  float phase1 = 0, phase2 = 0, targetL = 0, targetR = 0, noiseL = 0, noiseR = 0;
  double G = 0, zL = 0, zR = 0;
};

inline std::unique_ptr<ZRBasicChorus> preparedChorus(float rateHz = kRate) {
  auto chorus = std::make_unique<ZRBasicChorus>(rateHz);
  chorus->setRandomSeed(kSeed);
  chorus->prepare(rateHz, 512);
  return chorus;
}

}  // namespace morv
