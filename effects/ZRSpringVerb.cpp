#include "effects/ZRSpringVerb.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "effects/HeldSettings.h"
#include "render/BlockLimits.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
constexpr std::array kPrograms = {"Spring", "Off"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kProgram = {"program", "Program", 0, 1, 0, U::indexed, kPrograms};
constexpr ParameterRow kMix = {"mix", "Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kDecay = {"decay", "Decay", 0, 100, 50, U::percent};
constexpr ParameterRow kLevel = {"level", "Level", 0, 100, 100, U::percent};

constexpr float kLineSeconds = 1.0F;
constexpr int kAllpassSize = 1024;

// One all-pass of the chain.
constexpr float kStretchSamples = 5.25F;
constexpr float kStretchGain = 0.65F;

// The way back: seconds of the first tank and from one to the next, and what goes straight through.
constexpr float kReturnSeconds = 0.05F;
constexpr float kReturnStepSeconds = 0.01F;
constexpr float kReturnBlend = 0.1F;
constexpr float kReturnGain = 0.95F;

// The bands.
constexpr float kLowpassHz = 4500.0F;
constexpr int kLowpassSections = 25;
constexpr float kLowAllpassHz = 500.0F;
constexpr float kHighAllpassHz = 3500.0F;
constexpr int kAllpassSections = 50;
constexpr float kSpareAllpassHz = 1000.0F;
constexpr int kSpareAllpassSections = 100;

// Far above any signal; a hundred all-passes that ring on it stay finite numbers.
constexpr float kLoudest = 1e6F;

float finite(float in) noexcept MORV_NONBLOCKING { return heldSetting(in, -kLoudest, kLoudest); }

float held(const ZRDSPParameter& parameter) noexcept MORV_NONBLOCKING {
  return heldSetting(parameter.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
}

std::unique_ptr<ZRBiquadFilter> band(ZRBiquadType type, int sections, float cutoffHz, float sampleRateHz) {
  return std::make_unique<ZRBiquadFilter>(type, heldCutoff(cutoffHz, sampleRateHz), sections, 1,
                                          sampleRateHz);
}

}  // namespace

ZRSpringVerb::ZRSpringVerb(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
  identifier = "springverb";
  name = "Spring Reverb";
  initParameter(kProgram, -1, &program);
  initParameter(kMix, -1, &mix);
  initParameter(kDecay, -1, &decay);
  initParameter(kLevel, -1, &level);
  mono_ = ZeroedFloats(kMaxBlockFrames);
  wet_ = ZeroedFloats(kMaxBlockFrames);
  ZRSpringVerb::reset();
}

ZRSpringVerb::~ZRSpringVerb() = default;

void ZRSpringVerb::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  reset();
}

void ZRSpringVerb::reset() {
  ZRDSPEffect::reset();
  using Type = ZRBiquadType;
  for (Tank& tank : tanks) {
    tank.lowpass = band(Type::lowpass, kLowpassSections, kLowpassHz, sampleRate);
    tank.lowAllpass = band(Type::allpass, kAllpassSections, kLowAllpassHz, sampleRate);
    tank.highAllpass = band(Type::allpass, kAllpassSections, kHighAllpassHz, sampleRate);
    initUniComb(&tank.line, truncatedInt(kLineSeconds * sampleRate));
    tank.buffer = ZeroedFloats(kMaxBlockFrames);
  }
  allpassFilter = band(Type::allpass, kSpareAllpassSections, kSpareAllpassHz, sampleRate);
  for (ap& allpass : allpasses) initAP(&allpass, kAllpassSize);
}

void ZRSpringVerb::doLF(float* /*samples*/, int /*frames*/) noexcept {}

void ZRSpringVerb::doHF(float* /*samples*/, int /*frames*/) noexcept {}

// Down the chain and back through the line, for the next block.
void ZRSpringVerb::_runTank(int number, float gain, int frames) noexcept {
  Tank& tank = tanks[static_cast<std::size_t>(number)];
  const float seconds = kReturnSeconds + kReturnStepSeconds * static_cast<float>(number);
  float* buffer = tank.buffer.data();
  for (int i = 0; i < frames; ++i) {
    float x = buffer[i];
    for (ap& allpass : allpasses) x = runSIAP(&allpass, x, kStretchSamples, kStretchGain);
    buffer[i] = gain * runUniComb(&tank.line, x, seconds, kReturnBlend, 0.0F, 1.0F, sampleRate);
  }
}

void ZRSpringVerb::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                              float /*tempo*/) noexcept {
  if (bypass.intValue() != 0 || truncatedInt(program.value.load()) != 0) return;
  const float w = held(mix);
  if (w == 0.0F) return;
  const float tankLevel = held(level);
  const float gain = kReturnGain * held(decay);
  float* mono = mono_.data();
  float* wet = wet_.data();
  for (int i = 0; i < frames; ++i) mono[i] = (finite(inL[i]) + finite(inR[i])) * 0.5F;
  std::fill_n(wet, frames, 0.0F);
  for (int number = 0; number < kRunningTanks; ++number) {
    float* buffer = tanks[static_cast<std::size_t>(number)].buffer.data();
    for (int i = 0; i < frames; ++i) {
      buffer[i] += mono[i];
      wet[i] += buffer[i] * tankLevel;
    }
    _runTank(number, gain, frames);
  }
  for (int i = 0; i < frames; ++i) {
    const float dryL = finite(inL[i]) * (1.0F - w);
    const float dryR = finite(inR[i]) * (1.0F - w);
    outL[i] = dryL + wet[i] * w;
    outR[i] = dryR + wet[i] * w;
  }
}

}  // namespace morv
