#pragma once

// The reverb sample by sample, as a second form to hold the block form against.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "effects/ZREcoVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {

constexpr float kRate = 44100.0F;

// From the lines' own steps.
class PlainReverb {
 public:
  explicit PlainReverb(float rateHz) : PlainReverb(rateHz, rateHz) {}
  // Lines and input filters are built at one rate, everything else runs at another.
  PlainReverb(float builtRateHz, float runRateHz)
      : rate(runRateHz),
        variable(ZRBiquadType::highpass, 1.0F, 1, 2, builtRateHz),
        high(ZRBiquadType::highpass, 100.0F, 1, 2, builtRateHz),
        low(ZRBiquadType::lowpass, std::min(15000.0F, 0.499F * builtRateHz), 1, 2, builtRateHz) {
    const int second = static_cast<int>(builtRateHz);
    for (ap& a : diffusers) initAP(&a, second);
    for (ap& a : ap_) initAP(&a, second);
    for (uniComb& d : d_) initUniComb(&d, second);
    initTPT(&lowpassA);
    initTPT(&lowpassB);
    lowpassHz = 10000.0F;
  }

  // The lines stay, and so do coefficients that nobody asks to change.
  void prepare(float runRateHz) { rate = runRateHz; }

  Stereo run(const Stereo& in) {
    Stereo out(in.frames());
    variable.filterCutoff = 1.0F + highpass * 5000.0F;
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      float l = in.left[i];
      float r = in.right[i];
      for (ZRBiquadFilter* filter : {&variable, &high, &low}) filter->runFilter(&l, &r, &l, &r, 1);
      float wetL = 0;
      float wetR = 0;
      tank(l, r, &wetL, &wetR);
      out.left[i] = (1.0F - mix) * in.left[i] + mix * wetL;
      out.right[i] = (1.0F - mix) * in.right[i] + mix * wetR;
    }
    return out;
  }

  float mix = 0.5F, size = 0.25F, decay = 0.5F, spread = 1, modAmount = 0.5F, modFrequency = 1, highpass = 0;
  float damping = 0;
  uniComb d_[4];
  ap ap_[4];

 private:
  void tank(float fL, float fR, float* wetL, float* wetR) {
    constexpr float kPi = std::numbers::pi_v<float>;
    const float r = 1.0F / rate;
    const float g = std::sqrt(1.1F * decay);
    phase += 2 * kPi * modFrequency / rate;
    if (phase >= 2 * kPi) phase -= 2 * kPi;
    const float m1 = std::sin(phase - spread * kPi);
    const float m2 = std::sin(phase + spread * kPi);
    const float scale = 0.1F + 2.0F * size;

    float x = runAP(&diffusers[0], fL, 0.0032F, 0.4F, rate);
    x = runAP(&diffusers[1], x, 0.0024F, 0.4F, rate);
    x = runAP(&diffusers[2], x, 0.0085F, 0.6F, rate);
    x = runAP(&diffusers[3], x, 0.0062F, 0.6F, rate);

    float t = uniCombGetSampleWithDelay(&d_[3], 3163);
    float u = runAP(&ap_[0], x + g * t, r * (672 + 50 * modAmount * m1), -0.5F, rate);
    float v = runUniComb(&d_[0], u, r * 3453, 0, 0, 1, rate);
    if (const float asked = (1 - damping) * 20000; asked != lowpassHz) {
      setTPTCutoff(&lowpassA, std::min(asked, 0.499F * rate), rate);
      setTPTCutoff(&lowpassB, std::min(asked, 0.499F * rate), rate);
      lowpassHz = asked;
    }
    float w = runTPT2(&lowpassA, 0, v, rate) * g;
    float y = runAP(&ap_[1], w, r * 1800, 0.5F, rate);
    runUniComb(&d_[1], y, r * 3720, 0.25F, 0, 1, rate);

    t = uniCombGetSampleWithDelay(&d_[1], 3720);
    u = runAP(&ap_[2], fR + g * t, r * (908 + 50 * modAmount * m2), -0.5F, rate);
    v = runUniComb(&d_[2], u, r * 4217, 0, 0, 1, rate);
    w = runTPT2(&lowpassB, 0, v, rate) * g;
    y = runAP(&ap_[3], w, r * 2656, 0.5F, rate);
    runUniComb(&d_[3], y, r * 3163, 0.25F, 0, 1, rate);

    const auto tap = [this, scale](int line, float samples) {
      return allpassGetSampleWithDelay(&ap_[line - 1], samples * scale);
    };
    *wetL = 0.6F * (tap(3, 266) + tap(3, 2974) + tap(4, 1996) - tap(1, 1990) - tap(2, 1066));
    *wetR = 0.6F * (tap(1, 353) + tap(1, 3627) + tap(2, 2673) - tap(3, 2111) - tap(4, 121));
  }

  float rate;
  ZRBiquadFilter variable, high, low;
  ap diffusers[4];
  tpt lowpassA, lowpassB;
  float lowpassHz;  // as last asked for
  float phase = 0;
};

inline std::unique_ptr<ZREcoVerb> preparedReverb(float rateHz = kRate) {
  auto reverb = std::make_unique<ZREcoVerb>(rateHz);
  reverb->prepare(rateHz, 512);
  return reverb;
}

}  // namespace morv
