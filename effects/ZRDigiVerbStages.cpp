// The stages of the digital reverb that its modes share.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "effects/HeldSettings.h"
#include "effects/UniCombBlocks.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZRDigiVerbModes.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kTwoPi = 2.0F * kPi;

constexpr float kLFO2Hz = 2.5F;
constexpr float kNoiseCutoffHz = 500.0F;
constexpr float kLowShelfHz = 250.0F;
constexpr float kPostCutoff = 0.34F;          // of the rate, undamped
constexpr float kNoiseLevel = 5.6234133e-5F;  // 10^(-85/20)
constexpr float kLeastPreDelaySeconds = 0.0001F;
constexpr float kCombSpread = 0.00049F;  // of the scale of the combs' times, for each unit of spread
constexpr float kCombSwingSeconds = 0.001F;
constexpr float kAllpassSwingSeconds = 0.0001F;
constexpr float kChorusSeconds = 0.005F;

// A gain of 0.001^x is one of 1200 log2(0.001) x cents.
constexpr float kCentsOfDecay = -11958.941F;

// Bounds of controls whose loops would run away.
constexpr float kLongestPreDelayMs = 10000.0F;
constexpr float kGreatestShelfDb = 100.0F;

// Of the combs; the first and the last are spare.
constexpr std::array kCombSeconds = {0.08F,  0.05F,  0.056F, 0.061F, 0.068F,
                                     0.072F, 0.078F, 0.087F, 0.091F, 0.007F};
constexpr std::array kAllpassSeconds = {0.0025F, 0.0076F, 0.0087F, 0.0103F, 0.0211F, 0.0377F};

// The next phase within a turn; one that runs backwards stays within one too.
float stepped(float phase, float step) noexcept {
  phase += step;
  if (phase >= kTwoPi) phase -= kTwoPi;
  if (phase <= -kTwoPi) phase += kTwoPi;
  return phase;
}

}  // namespace

// All-passes stay stable for a diffusion of 0 to 1, the combs' low-pass for a damping of 0 to 1; times to
// -60 dB and times of combs do not go below 0. Beyond that the controls may lie far outside any use.
void ZRDigiVerb::_hold() noexcept {
  held_.diffusion = heldSetting(diffusion, 0.0F, 1.0F);
  held_.decay = heldSetting(decay, 0.0F, kHeldMagnitude);
  held_.preDelay = heldSetting(preDelay, 0.0F, kLongestPreDelayMs);
  held_.damping = heldSetting(damping, 0.0F, 1.0F);
  held_.size = heldSetting(size, 0.0F, kHeldMagnitude);
  held_.mix = heldSetting(mix, -kHeldMagnitude, kHeldMagnitude);
  held_.spread = heldSetting(spread, -kHeldMagnitude, kHeldMagnitude);
  held_.modDepth = heldSetting(modDepth, -kHeldMagnitude, kHeldMagnitude);
}

// The followers. A comb stage moves that of the modulation depth once more each time it runs.
void ZRDigiVerb::smooth(Modulation* m, int frames) noexcept {
  _hold();
  const Held target = held_;
  const Mode& now = kModeTable[_mode()];
  const bool isHalfRate = _mode() == kLoFi;
  const float c = smoothing;
  const auto follow = [](float x, float at, float coefficient) { return coefficient * (x - at) + at; };
  for (int i = 0; i < frames; ++i) {
    const auto k = static_cast<std::size_t>(i);
    m->decay[k] = decaySmoothed = follow(decaySmoothed, target.decay, c);
    m->preDelay[k] = preDelaySmoothed = follow(preDelaySmoothed, target.preDelay, c);
    m->size[k] = sizeSmoothed = follow(sizeSmoothed, target.size, sizeSmoothing);
    m->mix[k] = mixSmoothed = follow(mixSmoothed, target.mix, c);
    m->spread[k] = spreadSmoothed = follow(spreadSmoothed, target.spread, c);
    modDepthSmoothed = follow(modDepthSmoothed, target.modDepth, c);
    if (now.combs > 0 && !(isHalfRate && i % 2 == 1)) {
      modDepthSmoothed = follow(modDepthSmoothed, target.modDepth, c);
    }
    m->depth[k] = modDepthSmoothed;
  }
}

void ZRDigiVerb::runLFO(Modulation* m, int frames) noexcept {
  const float step = kTwoPi * heldSetting(lfoRate, -sampleRate, sampleRate) / sampleRate;
  const float step2 = kTwoPi * std::min(kLFO2Hz, sampleRate) / sampleRate;
  setHeldTPTCutoff(&noiseFilter, kNoiseCutoffHz, sampleRate);
  const bool hisses = _mode() == kLoFi;
  const auto white = [this] { return static_cast<float>(2.0 * random_.unitDouble() - 1.0); };
  for (int i = 0; i < frames; ++i) {
    const auto k = static_cast<std::size_t>(i);
    phase = stepped(phase, step);
    phase2 = stepped(phase2, step2);
    noise = runTPT2(&noiseFilter, kTPTLowpass1, white(), sampleRate);
    m->white[k] = hisses && i % 2 == 0 ? white() : 0.0F;
    const float turn = phase / kPi;
    const float turn2 = phase2 / kPi;
    m->sinL[k] = turn - m->spread[k];
    m->sinR[k] = turn + m->spread[k];
    m->sin2L[k] = turn2 - m->spread[k];
    m->sin2R[k] = turn2 + m->spread[k];
    m->springSwing[k] = phase2;
  }
  for (Modulation::Frames* sines : {&m->sinL, &m->sinR, &m->sin2L, &m->sin2R, &m->springSwing}) {
    voiceKernels().sinPi(sines->data(), sines->data(), frames);
  }
}

// First-order shelves around an all-pass of one sample: out = tanh(x + (x + all-pass(x)) (G - 1) / 2).
void ZRDigiVerb::_shelf(std::array<ap, 2>* lines, float tangent, float gainDb, float* L, float* R,
                        int frames) noexcept {
  const float held = heldSetting(gainDb, -kGreatestShelfDb, kGreatestShelfDb);
  const float G = std::pow(10.0F, held / 20.0F);
  const float a = held > 0.0F ? (tangent - 1.0F) / (tangent + 1.0F) : (tangent - G) / (tangent + G);
  const float sample = sampleSeconds(sampleRate);
  float* const sides[] = {L, R};
  for (std::size_t side = 0; side < 2; ++side) {
    float* x = sides[side];
    for (int i = 0; i < frames; ++i) {
      const float y = runAP(&(*lines)[side], x[i], sample, a, sampleRate);
      x[i] += (x[i] + y) * (G - 1.0F) / 2.0F;
    }
    voiceKernels().tanhInPlace(x, frames);
  }
}

void ZRDigiVerb::doLowShelf(float* L, float* R, int frames) noexcept {
  _shelf(&lowShelf, std::tan(kPi * heldCutoff(kLowShelfHz, sampleRate) / sampleRate), lowShelfGain, L, R,
         frames);
}

// Half the low shelf's angle, so the tangent turns round at the rate itself.
void ZRDigiVerb::doHighShelf(float* L, float* R, int frames) noexcept {
  const float frequencyHz = heldSetting(highShelfFrequency, 0.0F, 2.0F * kHighestCutoff * sampleRate);
  _shelf(&highShelf, std::tan(kPi * frequencyHz / sampleRate / 2.0F), highShelfGain, L, R, frames);
}

void ZRDigiVerb::doPreDelay(const Modulation& m, float* L, float* R, int frames) noexcept {
  float seconds[kStretch];
  int passing = 0;
  for (int i = 0; i < frames; ++i) {
    seconds[i] = m.preDelay[static_cast<std::size_t>(i)] / 1000.0F;
    passing += seconds[i] <= kLeastPreDelaySeconds ? 1 : 0;
  }
  if (passing == frames) return;
  float* const sides[] = {L, R};
  for (std::size_t side = 0; side < 2; ++side) {
    uniComb* line = &preDelayLine[side];
    float* x = sides[side];
    if (passing == 0) {
      runUniCombBlock(line, x, seconds, 0, 0, 1, sampleRate, x, frames);
      continue;
    }
    for (int i = 0; i < frames; ++i) {
      if (seconds[i] > kLeastPreDelaySeconds) x[i] = runUniComb(line, x[i], seconds[i], 0, 0, 1, sampleRate);
    }
  }
}

// Both sides' gains go by the left side's swing. A time that swings below 0 has a gain of 1, not more.
void ZRDigiVerb::doCombStage(const Modulation& m, float* L, float* R, int count, int frames) noexcept {
  const Mode& times = *combMode_;
  const bool isHalfRate = _mode() == kLoFi;
  const bool swings = kModeTable[_mode()].swings;
  const float rate = isHalfRate ? sampleRate / 2.0F : sampleRate;
  const int interpolation = isHalfRate ? kCombLinear : kCombCosine;
  const float damp = 1.0F - held_.damping;
  const auto n = static_cast<std::size_t>(frames);
  Modulation::Frames timeL, timeR, swingL, swingR, cents, delayL, delayR, gainL, gainR;
  Modulation::Frames sumL{};
  Modulation::Frames sumR{};
  for (std::size_t i = 0; i < n; ++i) {
    const float time = m.size[i] * times.sizeToTime + times.leastTime;
    timeL[i] = time - kCombSpread * m.spread[i];
    timeR[i] = time + kCombSpread * m.spread[i];
    swingL[i] = swings ? m.sinL[i] * kCombSwingSeconds * m.depth[i] : 0.0F;
    swingR[i] = swings ? m.sinR[i] * kCombSwingSeconds * m.depth[i] : 0.0F;
    cents[i] = kCentsOfDecay / (m.decay[i] * times.decayToTime + times.leastDecay);
  }
  for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
    const float seconds = kCombSeconds[k + 1];
    for (std::size_t i = 0; i < n; ++i) {
      delayL[i] = swingL[i] + seconds * timeL[i];
      delayR[i] = swingR[i] + seconds * timeR[i];
      gainL[i] = cents[i] * std::max(delayL[i], 0.0F);
      gainR[i] = cents[i] * std::max(swingL[i] + seconds * timeR[i], 0.0F);
    }
    voiceKernels().centsFactors(gainL.data(), 1.0F, gainL.data(), frames);
    voiceKernels().centsFactors(gainR.data(), 1.0F, gainR.data(), frames);
    for (std::size_t i = 0; i < n; ++i) {
      sumL[i] += runLPFBComb(&combs[0][k], interpolation, L[i], delayL[i], gainL[i], damp, rate);
      sumR[i] += runLPFBComb(&combs[1][k], interpolation, R[i], delayR[i], gainR[i], damp, rate);
    }
  }
  std::copy_n(sumL.data(), n, L);
  std::copy_n(sumR.data(), n, R);
}

void ZRDigiVerb::doAllpass(const Modulation& m, float* L, float* R, int count, int frames) noexcept {
  const float g = 0.1F + 0.8F * held_.diffusion;
  const float rate = _mode() == kLoFi ? sampleRate / 2.0F : sampleRate;
  float seconds[kStretch];
  float* const sides[] = {L, R};
  const Modulation::Frames* const sines[] = {&m.sin2L, &m.sin2R};
  for (std::size_t side = 0; side < 2; ++side) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      for (int i = 0; i < frames; ++i) {
        seconds[i] = kAllpassSeconds[k] + kAllpassSwingSeconds * (*sines[side])[static_cast<std::size_t>(i)];
      }
      runUniCombBlock(&allpass[side][k], sides[side], seconds, g, -g, 1, rate, sides[side], frames);
    }
  }
}

void ZRDigiVerb::doAllpass2(float* L, float* R, int count, int frames) noexcept {
  const float g = 0.1F + 0.8F * held_.diffusion;
  float* const sides[] = {L, R};
  for (std::size_t side = 0; side < 2; ++side) {
    Modulation::Frames sum{};
    Modulation::Frames one;
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      runUniCombBlock(&allpass2[side][k], sides[side], kAllpassSeconds[k], g, -g, 1, sampleRate, one.data(),
                      frames);
      for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) sum[i] += one[i];
    }
    std::copy_n(sum.data(), frames, sides[side]);
  }
}

void ZRDigiVerb::doChorus(const Modulation& m, float* L, float* R, int frames) noexcept {
  float seconds[kStretch];
  float* const sides[] = {L, R};
  const Modulation::Frames* const sines[] = {&m.sinL, &m.sinR};
  for (std::size_t side = 0; side < 2; ++side) {
    for (int i = 0; i < frames; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const float e = 0.01F + m.depth[k];
      seconds[i] = kChorusSeconds + std::abs(0.03F * e * 0.1F * (*sines[side])[k]);
    }
    runUniCombBlock(&chorus[side], sides[side], seconds, 1, 0, 0.7F, sampleRate, sides[side], frames);
  }
}

// The channels cross.
void ZRDigiVerb::doTremolo(const Modulation& m, float* L, float* R, int frames) noexcept {
  for (int i = 0; i < frames; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const float depth = m.depth[k];
    const float l = L[i];
    const float r = R[i];
    L[i] = (1.0F - depth) * l + depth * m.sinL[k] * r;
    R[i] = (1.0F - depth) * r + depth * m.sinR[k] * l;
  }
}

void ZRDigiVerb::doPostFilter(float* L, float* R, int frames) noexcept {
  const float cutoffHz = (1.0F - held_.damping) * kPostCutoff * sampleRate;
  float* const sides[] = {L, R};
  for (std::size_t side = 0; side < 2; ++side) {
    setHeldTPTCutoff(&postFilter[side], cutoffHz, sampleRate);
    tpt filter = postFilter[side];
    for (int i = 0; i < frames; ++i) {
      sides[side][i] = runTPT2(&filter, kTPTLowpass1, sides[side][i], sampleRate);
    }
    postFilter[side] = filter;
  }
}

void ZRDigiVerb::doNoise(const Modulation& m, float* L, float* R, int frames) noexcept {
  for (int i = 0; i < frames; ++i) {
    const float hiss = kNoiseLevel * m.white[static_cast<std::size_t>(i)];
    L[i] += hiss;
    R[i] += hiss;
  }
}

}  // namespace morv
