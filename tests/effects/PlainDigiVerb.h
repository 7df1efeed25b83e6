#pragma once

// The digital reverb frame by frame, as a second form to hold the one by stretches against.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "effects/Comb.h"
#include "effects/FIR.h"
#include "effects/FIRTables.h"
#include "effects/ZRDigiVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {

// Controls that both forms take.
struct DigiVerbControls {
  int mode = 0;
  float highShelfFrequency = 500, diffusion = 0.5F, decay = 0.5F, preDelay = 80, damping = 0.2F, size = 0.25F;
  float mix = 1, spread = 0.3F, modDepth = 0.4F, lfoRate = 0.7F;
  float earlyGain = 0.6F, lateGain = 1, dryGain = 0.7F, lowShelfGain = 3, highShelfGain = -4;
  float inputGain = 0.9F, outputGain = 0.8F;
};

template <typename Unit>
void setControls(Unit* unit, const DigiVerbControls& c) {
  unit->mode = c.mode;
  unit->highShelfFrequency = c.highShelfFrequency;
  unit->diffusion = c.diffusion;
  unit->decay = c.decay;
  unit->preDelay = c.preDelay;
  unit->damping = c.damping;
  unit->size = c.size;
  unit->mix = c.mix;
  unit->spread = c.spread;
  unit->modDepth = c.modDepth;
  unit->lfoRate = c.lfoRate;
  unit->earlyGain = c.earlyGain;
  unit->lateGain = c.lateGain;
  unit->dryGain = c.dryGain;
  unit->lowShelfGain = c.lowShelfGain;
  unit->highShelfGain = c.highShelfGain;
  unit->inputGain = c.inputGain;
  unit->outputGain = c.outputGain;
}

class PlainDigiVerb : public DigiVerbControls {
 public:
  explicit PlainDigiVerb(float rateHz) : rate(rateHz) {
    const int longLine = static_cast<int>(2 * rateHz);
    const int shortLine = longLine / 10;
    for (auto& side : side_) {
      initUniComb(&side.pre, longLine);
      for (comb& c : side.combs) initComb(&c, longLine);
      for (uniComb& c : side.allpass) initUniComb(&c, longLine);
      for (uniComb& c : side.second) initUniComb(&c, longLine);
      for (uniComb* c : {&side.chorus, &side.spring, &side.echo}) initUniComb(c, longLine);
      for (ap* a : {&side.low, &side.high}) initAP(a, longLine);
      initFIR(&side.loFi, 113, BLoFi);
      for (tpt* t : {&side.post, &side.loop}) initTPT(t);
    }
    initFIR(&springFIR, 49, BSpring);
    for (ap& a : springLow) initAP(&a, shortLine);
    for (ap& a : springHigh) initAP(&a, shortLine);
    for (ap& a : diffusers) initAP(&a, shortLine);
    for (ap& a : loopAP) initAP(&a, shortLine);
    for (uniComb& d : loopD) initUniComb(&d, shortLine);
    initTPT(&input);
  }

  Stereo run(const Stereo& in, int blockFrames = 1 << 30) {
    Stereo out(in.frames());
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      frame(static_cast<int>(i) % blockFrames % 2 == 0, in.left[i], in.right[i], &out.left[i], &out.right[i]);
    }
    return out;
  }

  // The form of the plate that no mode runs, on its own.
  void echoVerb(float* L, float* R) {
    follow();
    swing();
    setTPTCutoff(&input, std::min(15000.0F, 0.499F * rate), rate);
    const float x = runTPT2(&input, 0, 0.5F * *L + 0.5F * *R, rate);
    *L = diffused(x);
    *R = x;
    tank(L, R, decay_, 25 * depth_, 0, std::min((1 - damping) * 20000, 0.499F * rate));
  }

 private:
  struct Side {
    uniComb pre, allpass[6], second[6], chorus, spring, echo;
    comb combs[8];
    ap low, high;
    fir loFi;
    tpt post, loop;
    float stored = 0;
  };
  static constexpr float kPi = std::numbers::pi_v<float>;

  void follow() {
    const auto c = [this](double ms) {
      return static_cast<float>(std::exp(std::log(0.001) / (ms * static_cast<double>(rate) * 0.001)));
    };
    if (slow == 0) {
      slow = c(250);
      fast = c(10);
    }
    const auto to = [](float* x, float target, float k) { *x = k * (*x - target) + target; };
    to(&decay_, decay, slow);
    to(&pre_, preDelay, slow);
    to(&size_, size, fast);
    to(&mix_, mix, slow);
    to(&spread_, spread, slow);
    to(&depth_, modDepth, slow);
  }

  void swing() {
    phase += 2 * kPi * lfoRate / rate;
    if (phase >= 2 * kPi) phase -= 2 * kPi;
    phase2 += 2 * kPi * 2.5F / rate;
    if (phase2 >= 2 * kPi) phase2 -= 2 * kPi;
    random.unitDouble();
  }

  float shelf(ap* line, float t, float gainDb, float x) const {
    const float G = std::pow(10.0F, gainDb / 20);
    const float a = gainDb > 0 ? (t - 1) / (t + 1) : (t - G) / (t + G);
    const float y = runAP(line, x, std::nextafter(1 / rate, 0.0F), a, rate);
    return std::tanh(x + (x + y) * (G - 1) / 2);
  }

  void preDelayed(float* L, float* R) {
    const float d = pre_ / 1000;
    if (d <= 0.0001F) return;
    *L = runUniComb(&side_[0].pre, *L, d, 0, 0, 1, rate);
    *R = runUniComb(&side_[1].pre, *R, d, 0, 0, 1, rate);
  }

  void combStage(float* L, float* R, int count) {
    static constexpr float kTimes[] = {0.08F,  0.05F,  0.056F, 0.061F, 0.068F,
                                       0.072F, 0.078F, 0.087F, 0.091F, 0.007F};
    depth_ = slow * (depth_ - modDepth) + modDepth;
    const float t = size_ * A + B;
    const float tL = t - 0.00049F * spread_;
    const float tR = t + 0.00049F * spread_;
    const float T = decay_ * D + C;
    float mL = 0;
    float mR = 0;
    if (mode == 0 || mode == 1 || mode == 2 || mode == 4) {
      mL = std::sin(phase - spread_ * kPi) * 0.001F * depth_;
      mR = std::sin(phase + spread_ * kPi) * 0.001F * depth_;
    }
    const float r = mode == 4 ? rate / 2 : rate;
    float left = 0;
    float right = 0;
    for (int k = 0; k < count; ++k) {
      const float c = kTimes[k + 1];
      const float dL = mL + c * tL;
      const float dR = mR + c * tR;
      left += runLPFBComb(&side_[0].combs[k], mode == 4 ? 1 : 2, *L, dL, std::pow(0.001F, dL / T),
                          1 - damping, r);
      right += runLPFBComb(&side_[1].combs[k], mode == 4 ? 1 : 2, *R, dR, std::pow(0.001F, (mL + c * tR) / T),
                           1 - damping, r);
    }
    *L = left;
    *R = right;
  }

  void allpassed(float* L, float* R, int count) {
    const float g = 0.1F + 0.8F * diffusion;
    const float r = mode == 4 ? rate / 2 : rate;
    for (int k = 0; k < count; ++k) {
      *L = runUniComb(&side_[0].allpass[k], *L, kTimes2[k] + 0.0001F * std::sin(phase2 - spread_ * kPi), g,
                      -g, 1, r);
      *R = runUniComb(&side_[1].allpass[k], *R, kTimes2[k] + 0.0001F * std::sin(phase2 + spread_ * kPi), g,
                      -g, 1, r);
    }
  }

  void allpassedAgain(float* L, float* R) {
    const float g = 0.1F + 0.8F * diffusion;
    *L = runUniComb(&side_[0].second[0], *L, kTimes2[0], g, -g, 1, rate);
    *R = runUniComb(&side_[1].second[0], *R, kTimes2[0], g, -g, 1, rate);
  }

  void chorused(float* L, float* R) {
    const float e = 0.01F + depth_;
    const float dL = std::abs(0.03F * e * 0.1F * std::sin(phase - spread_ * kPi));
    const float dR = std::abs(0.03F * e * 0.1F * std::sin(phase + spread_ * kPi));
    *L = runUniComb(&side_[0].chorus, *L, 0.005F + dL, 1, 0, 0.7F, rate);
    *R = runUniComb(&side_[1].chorus, *R, 0.005F + dR, 1, 0, 0.7F, rate);
  }

  void trembled(float* L, float* R) const {
    const float l = *L;
    const float r = *R;
    *L = (1 - depth_) * l + depth_ * std::sin(phase - spread_ * kPi) * r;
    *R = (1 - depth_) * r + depth_ * std::sin(phase + spread_ * kPi) * l;
  }

  float diffused(float x) {
    x = runAP(&diffusers[0], x, 0.0032F, 0.3F + 0.45F * diffusion, rate);
    x = runAP(&diffusers[1], x, 0.0024F, 0.3F + 0.45F * diffusion, rate);
    x = runAP(&diffusers[2], x, 0.0085F, 0.3F + 0.3F * diffusion, rate);
    return runAP(&diffusers[3], x, 0.0062F, 0.3F + 0.3F * diffusion, rate);
  }

  float tap(int line, float samples) const {
    return allpassGetSampleWithTimeDelay(&loopAP[line - 1], samples / rate * (0.1F + 2 * size_), rate);
  }
  float leftTaps() const {
    return 0.6F * (tap(3, 266) + tap(3, 2974) + tap(4, 1996) - tap(1, 1990) - tap(2, 1066));
  }

  void tank(float* L, float* R, float g, float apSwing, float dSwing, float cutoff) {
    const float s1 = std::sin(phase - spread_ * kPi);
    const float s2 = std::sin(phase + spread_ * kPi);
    const float first = -(0.2F + 0.6F * diffusion);
    for (Side& side : side_) setTPTCutoff(&side.loop, cutoff, rate);

    float t = uniCombGetSampleWithTimeDelay(&loopD[3], 3163 / rate, rate);
    float u = runAP(&loopAP[0], *L + g * t, (672 + apSwing * s1) / rate, first, rate);
    float v = runUniComb(&loopD[0], u, (4453 + dSwing * s1) / rate, 0, 0, 1, rate);
    float w = runTPT2(&side_[0].loop, 0, v, rate) * g;
    float y = runAP(&loopAP[1], w, 1800 / rate, 0.5F, rate);
    runUniComb(&loopD[1], y, 3720 / rate, 0.25F, 0, 1, rate);

    t = uniCombGetSampleWithTimeDelay(&loopD[1], 3720 / rate, rate);
    u = runAP(&loopAP[2], *R + g * t, (908 + apSwing * s2) / rate, first, rate);
    v = runUniComb(&loopD[2], u, (4217 + dSwing * s2) / rate, 0, 0, 1, rate);
    w = runTPT2(&side_[1].loop, 0, v, rate) * g;
    y = runAP(&loopAP[3], w, 2656 / rate, 0.5F, rate);
    runUniComb(&loopD[3], y, 3163 / rate, 0.25F, 0, 1, rate);

    *L = leftTaps();
    *R = 0.6F * (tap(1, 353) + tap(1, 3627) + tap(2, 2673) - tap(3, 2111) - tap(4, 121));
  }

  void plate(float* L, float* R) {
    *L = *R = diffused(0.5F * *L + 0.5F * *R);
    tank(L, R, std::sqrt(decay_), 0, 25 * depth_, (1 - damping) * 0.34F * rate);
  }

  void resonance(float* L, float* R) {
    const float x = diffused(0.5F * *L + 0.5F * *R);
    const float t = uniCombGetSampleWithTimeDelay(&loopD[1], 3720 / rate, rate);
    const float delay = (672 + 25 * depth_ * std::sin(phase - spread_ * kPi)) / rate;
    const float u = runAP(&loopAP[0], x + decay_ * t, delay, -(0.2F + 0.6F * diffusion), rate);
    const float v = runUniComb(&loopD[0], u, 4453 / rate, 0, 0, 1, rate);
    const float y = runAP(&loopAP[1], v * decay_, 1800 / rate, 0.5F, rate);
    runUniComb(&loopD[1], y, 3720 / rate, 0.25F, 0, 1, rate);
    *L = *R = leftTaps();
  }

  void loFi(bool isEven, float* L, float* R) {
    if (isEven) {
      const auto steps = [](float x) { return std::round((x + 1) * 4095) / 4095 - 1; };
      const auto hiss = static_cast<float>((2 * random.unitDouble() - 1) * std::pow(10.0, -85.0 / 20.0));
      *L = steps(*L) + hiss;
      *R = steps(*R) + hiss;
      preDelayed(L, R);
      allpassed(L, R, 2);
      combStage(L, R, 6);
      side_[0].stored = *L;
      side_[1].stored = *R;
    }
    *L = halfband(&side_[0].loFi, 1, side_[0].stored);
    *R = halfband(&side_[1].loFi, 1, side_[1].stored);
  }

  void spring(bool isEven, float* L, float* R) {
    *L = *R = 0.5F * *L + 0.5F * *R;
    preDelayed(L, R);
    allpassed(L, R, 1);
    if (isEven) {
      float x = *L + fbLow + 0.1F * fbHigh;
      for (ap& a : springLow) x = runSIAP(&a, x, 0.15F * (rate / 2), 0.95F * diffusion);
      side_[0].stored = x;
    }
    const float low = halfband(&springFIR, 1, side_[0].stored);
    float high = *L - fbHigh;
    for (ap& a : springHigh) high = runAP(&a, high, std::nextafter(1 / rate, 0.0F), -0.95F * diffusion, rate);
    const float t = 0.0001F * std::sin(phase2 * kPi);
    const float k = 0.5F + 0.46F * decay_;
    fbLow = k * runUniComb(&side_[0].spring, low, 0.056F * size + t, 0, 0, 1, rate);
    fbHigh = k * runUniComb(&side_[1].spring, high, 0.024347826086956525F * size + t, 0, 0, 1, rate);
    *L = low + 0.25F * spread_ * high;
    *R = low - 0.25F * spread_ * high;
    trembled(L, R);
  }

  void late(bool isEven, float* L, float* R) {
    const auto constants = [this](float a, float b, float c, float d) { A = a, B = b, C = c, D = d; };
    const auto scaled = [L, R](float scale) { *L *= scale, *R *= scale; };
    switch (mode) {
      case 0:
        constants(3, 0.3F, 0.3F, 10);
        preDelayed(L, R);
        plate(L, R);
        break;
      case 1:
        constants(3, 0.3F, 0.3F, 5);
        scaled(0.25F);
        preDelayed(L, R);
        allpassed(L, R, 6);
        combStage(L, R, 4);
        allpassedAgain(L, R);
        break;
      case 2:
        constants(5, 0.5F, 0.3F, 20);
        scaled(0.15F);
        preDelayed(L, R);
        allpassed(L, R, 3);
        combStage(L, R, 8);
        allpassedAgain(L, R);
        chorused(L, R);
        break;
      case 3:
        constants(5, 0.5F, 0.3F, 20);
        scaled(0.25F);
        preDelayed(L, R);
        allpassed(L, R, 3);
        combStage(L, R, 6);
        allpassedAgain(L, R);
        trembled(L, R);
        break;
      case 4:
        constants(3, 0.3F, 0.3F, 10);
        scaled(0.15F);
        loFi(isEven, L, R);
        break;
      case 5:
        constants(5, 0.5F, 0.3F, 20);
        spring(isEven, L, R);
        break;
      case 6:
        constants(10, 0.5F, 0.3F, 20);
        scaled(0.25F);
        preDelayed(L, R);
        allpassed(L, R, 2);
        combStage(L, R, 4);
        *L = runUniComb(&side_[0].echo, *L, 0.25F * size_, 0, 0.6F * diffusion, 1, rate);
        *R = runUniComb(&side_[1].echo, *R, 0.25F * size_, 0, 0.6F * diffusion, 1, rate);
        chorused(L, R);
        break;
      case 7:
        constants(10, 0.5F, 0.3F, 15);
        scaled(0.5F);
        resonance(L, R);
        break;
      default:
        scaled(0.1F);
        *R = *L;
        allpassed(L, R, 6);
        preDelayed(L, R);
        combStage(L, R, 8);
    }
  }

  void frame(bool isEven, float l, float r, float* outL, float* outR) {
    follow();
    float L = l * inputGain;
    float R = r * inputGain;
    swing();
    for (int k = 0; k < 2; ++k) {
      float& x = k == 0 ? L : R;
      Side& side = side_[k];
      x = shelf(&side.low, std::tan(kPi * 250 / rate), lowShelfGain, x);
      x = shelf(&side.high, std::tan(kPi * highShelfFrequency / rate / 2), highShelfGain, x);
    }
    const float earlyL = mode == 0 ? 0.5F * L : 0;
    const float earlyR = mode == 0 ? 0.5F * R : 0;
    const float wet = mix_;
    late(isEven, &L, &R);
    if (mode != 7) {
      for (Side& side : side_) setTPTCutoff(&side.post, (1 - damping) * 0.34F * rate, rate);
      L = runTPT2(&side_[0].post, 0, L, rate);
      R = runTPT2(&side_[1].post, 0, R, rate);
    }
    const auto bounded = [this](float x) { return std::min(1.0F, std::max(-1.0F, x)) * outputGain; };
    *outL = bounded((1 - wet) * dryGain * l + wet * earlyGain * earlyL + wet * lateGain * L);
    *outR = bounded((1 - wet) * dryGain * r + wet * earlyGain * earlyR + wet * lateGain * R);
  }

  static constexpr float kTimes2[] = {0.0025F, 0.0076F, 0.0087F, 0.0103F, 0.0211F, 0.0377F};

  float rate;
  Side side_[2];
  fir springFIR;
  ap springLow[25], springHigh[50], diffusers[4], loopAP[4];
  uniComb loopD[4];
  tpt input;
  float A = 3, B = 0.3F, C = 0.3F, D = 10;
  float slow = 0, fast = 0;
  float decay_ = 0, pre_ = 0, size_ = 0, mix_ = 0, spread_ = 0, depth_ = 0;
  float phase = 0, phase2 = 0, fbLow = 0, fbHigh = 0;
  Random random{1};
};

}  // namespace morv
