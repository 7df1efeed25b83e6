// The spring of the digital reverb.

#include "effects/ZRDigiVerb.h"
#include "effects/ZRDigiVerbModes.h"

namespace morv {
namespace {

// The spring's two ways back: seconds at size 1, and their swing.
constexpr float kSpringLowSeconds = 0.056F;
constexpr float kSpringHighSeconds = 0.024347826086956525F;
constexpr float kSpringSwingSeconds = 0.0001F;

}  // namespace

float ZRDigiVerb::doSpringHF(float x) noexcept {
  const float sample = sampleSeconds(sampleRate);
  const float g = -0.95F * held_.diffusion;
  for (ap& stage : springHF) x = runAP(&stage, x, sample, g, sampleRate);
  return x;
}

float ZRDigiVerb::doSpringLF(float x) noexcept {
  const float delaySamples = 0.15F * springFrequency;
  const float g = 0.95F * held_.diffusion;
  for (ap& stage : springLF) x = runSIAP(&stage, x, delaySamples, g);
  return x;
}

// A mono signal runs down two chains of all-passes, whose dispersion is the spring's: a slow one at half rate
// for the low chirps and a fast one for the high ones. Both come back after their time.
void ZRDigiVerb::_runSpring(Stretch* s, int frames) noexcept {
  const auto n = static_cast<std::size_t>(frames);
  const Modulation& m = s->m;
  for (std::size_t i = 0; i < n; ++i) s->left[i] = s->right[i] = 0.5F * s->left[i] + 0.5F * s->right[i];
  doPreDelay(m, s->left.data(), s->right.data(), frames);
  doAllpass(m, s->left.data(), s->right.data(), kModeTable[kSpring].allpasses, frames);

  const float lowSeconds = kSpringLowSeconds * held_.size;
  const float highSeconds = kSpringHighSeconds * held_.size;
  float low = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const float x = s->left[i];
    if (i % 2 == 0) low = doSpringLF(x + feedbackLow_ + 0.1F * feedbackHigh_);
    const float lowOut = halfband(&springFIR, 1, low);
    const float highOut = doSpringHF(x - feedbackHigh_);
    const float swing = kSpringSwingSeconds * m.springSwing[i];
    const float k = 0.5F + 0.46F * m.decay[i];
    feedbackLow_ = k * runUniComb(&springLine[0], lowOut, lowSeconds + swing, 0, 0, 1, sampleRate);
    feedbackHigh_ = k * runUniComb(&springLine[1], highOut, highSeconds + swing, 0, 0, 1, sampleRate);
    const float apart = 0.25F * m.spread[i] * highOut;
    s->left[i] = lowOut + apart;
    s->right[i] = lowOut - apart;
  }
  doTremolo(m, s->left.data(), s->right.data(), frames);
}

}  // namespace morv
