// The plate tank of the digital reverb in its three forms. Lengths are in samples, so it grows shorter as the
// rate rises.

#include <algorithm>
#include <cmath>

#include "effects/HeldSettings.h"
#include "effects/ZRDigiVerb.h"

namespace morv {
namespace {

constexpr std::array kDiffuserSeconds = {0.0032F, 0.0024F, 0.0085F, 0.0062F};
constexpr float kAP1 = 672.0F;
constexpr float kD1 = 4453.0F;
constexpr float kAP2 = 1800.0F;
constexpr float kD2 = 3720.0F;
constexpr float kAP3 = 908.0F;
constexpr float kD3 = 4217.0F;
constexpr float kAP4 = 2656.0F;
constexpr float kD4 = 3163.0F;
constexpr float kSwing = 25.0F;  // samples at full depth
constexpr float kSecondGain = 0.5F;
constexpr float kLastBlend = 0.25F;
constexpr float kTapGain = 0.6F;

constexpr float kPlateCutoff = 0.34F;  // of the rate, undamped
constexpr float kEchoCutoffHz = 20000.0F;
constexpr float kEchoInputHz = 15000.0F;

}  // namespace

// What tells the forms with two branches apart.
struct ZRDigiVerb::Tank {
  const float* gains;  // of the loop, frame by frame
  float allpassSwing;  // samples, of the first all-pass of each branch
  float delaySwing;    // samples, of the delay behind it
  float cutoffHz;      // of the loop's low-passes
};

void ZRDigiVerb::_diffuse(float* x, int frames) noexcept {
  const float early = 0.3F + 0.45F * held_.diffusion;
  const float late = 0.3F + 0.3F * held_.diffusion;
  for (std::size_t d = 0; d < diffusers.size(); ++d) {
    const float g = d < 2 ? early : late;
    for (int i = 0; i < frames; ++i) x[i] = runAP(&diffusers[d], x[i], kDiffuserSeconds[d], g, sampleRate);
  }
}

// L enters the first branch and R the second; each branch is an all-pass, a delay, a low-pass, an all-pass
// and a delay that feeds the other one. Outputs are tapped from the all-passes.
void ZRDigiVerb::_runTank(const Tank& tank, const Modulation& m, float* L, float* R, int frames) noexcept {
  const float rate = sampleRate;
  const float firstGain = -(0.2F + 0.6F * held_.diffusion);
  setHeldTPTCutoff(&lowpassA, tank.cutoffHz, rate);
  setHeldTPTCutoff(&lowpassB, tank.cutoffHz, rate);
  tpt a = lowpassA;
  tpt b = lowpassB;
  for (int i = 0; i < frames; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const float g = tank.gains[i];
    const float swing1 = m.depth[k] * m.sinL[k];
    const float swing2 = m.depth[k] * m.sinR[k];

    float back = uniCombGetSampleWithTimeDelay(&loopD4, kD4 / rate, rate);
    float u = runAP(&loopAP1, L[i] + g * back, (kAP1 + tank.allpassSwing * swing1) / rate, firstGain, rate);
    float v = runUniComb(&loopD1, u, (kD1 + tank.delaySwing * swing1) / rate, 0, 0, 1, rate);
    float y = runAP(&loopAP2, runTPT2(&a, kTPTLowpass1, v, rate) * g, kAP2 / rate, kSecondGain, rate);
    runUniComb(&loopD2, y, kD2 / rate, kLastBlend, 0, 1, rate);

    back = uniCombGetSampleWithTimeDelay(&loopD2, kD2 / rate, rate);
    u = runAP(&loopAP3, R[i] + g * back, (kAP3 + tank.allpassSwing * swing2) / rate, firstGain, rate);
    v = runUniComb(&loopD3, u, (kD3 + tank.delaySwing * swing2) / rate, 0, 0, 1, rate);
    y = runAP(&loopAP4, runTPT2(&b, kTPTLowpass1, v, rate) * g, kAP4 / rate, kSecondGain, rate);
    runUniComb(&loopD4, y, kD4 / rate, kLastBlend, 0, 1, rate);

    const float scale = 0.1F + 2.0F * m.size[k];
    const auto tap = [rate, scale](const ap& line, float samples) {
      return allpassGetSampleWithTimeDelay(&line, samples / rate * scale, rate);
    };
    L[i] = kTapGain * (tap(loopAP3, 266.0F) + tap(loopAP3, 2974.0F) + tap(loopAP4, 1996.0F) -
                       tap(loopAP1, 1990.0F) - tap(loopAP2, 1066.0F));
    R[i] = kTapGain * (tap(loopAP1, 353.0F) + tap(loopAP1, 3627.0F) + tap(loopAP2, 2673.0F) -
                       tap(loopAP3, 2111.0F) - tap(loopAP4, 121.0F));
  }
  lowpassA = a;
  lowpassB = b;
}

// The diffused mono enters both branches, whose delays swing.
void ZRDigiVerb::doDatorro(const Modulation& m, float* L, float* R, int frames) noexcept {
  float gains[kStretch];
  for (int i = 0; i < frames; ++i) {
    L[i] = 0.5F * L[i] + 0.5F * R[i];
    gains[i] = std::sqrt(m.decay[static_cast<std::size_t>(i)]);
  }
  _diffuse(L, frames);
  std::copy_n(L, frames, R);
  _runTank({gains, 0.0F, kSwing, (1.0F - held_.damping) * kPlateCutoff * sampleRate}, m, L, R, frames);
}

// The low-passed mono enters the first branch diffused and the second as it is; the first all-passes swing.
void ZRDigiVerb::doEchoVerb(const Modulation& m, float* L, float* R, int frames) noexcept {
  setHeldTPTCutoff(&inputLowpass, kEchoInputHz, sampleRate);
  for (int i = 0; i < frames; ++i) {
    R[i] = runTPT2(&inputLowpass, kTPTLowpass1, 0.5F * L[i] + 0.5F * R[i], sampleRate);
    L[i] = R[i];
  }
  _diffuse(L, frames);
  _runTank({m.decay.data(), kSwing, 0.0F, (1.0F - held_.damping) * kEchoCutoffHz}, m, L, R, frames);
}

// The first branch alone, closed on itself. What the second branch holds from another mode stands still, and
// so do its taps.
void ZRDigiVerb::doResoVerb(const Modulation& m, float* L, float* R, int frames) noexcept {
  const float rate = sampleRate;
  const float firstGain = -(0.2F + 0.6F * held_.diffusion);
  for (int i = 0; i < frames; ++i) L[i] = 0.5F * L[i] + 0.5F * R[i];
  _diffuse(L, frames);
  for (int i = 0; i < frames; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const float g = m.decay[k];
    const float back = uniCombGetSampleWithTimeDelay(&loopD2, kD2 / rate, rate);
    const float swing = kSwing * m.depth[k] * m.sinL[k];
    const float u = runAP(&loopAP1, L[i] + g * back, (kAP1 + swing) / rate, firstGain, rate);
    const float v = runUniComb(&loopD1, u, kD1 / rate, 0, 0, 1, rate);
    const float y = runAP(&loopAP2, v * g, kAP2 / rate, kSecondGain, rate);
    runUniComb(&loopD2, y, kD2 / rate, kLastBlend, 0, 1, rate);

    const float scale = 0.1F + 2.0F * m.size[k];
    const auto tap = [rate, scale](const ap& line, float samples) {
      return allpassGetSampleWithTimeDelay(&line, samples / rate * scale, rate);
    };
    L[i] = R[i] = kTapGain * (tap(loopAP3, 266.0F) + tap(loopAP3, 2974.0F) + tap(loopAP4, 1996.0F) -
                              tap(loopAP1, 1990.0F) - tap(loopAP2, 1066.0F));
  }
}

}  // namespace morv
