// The oscillator in its voice's mode: two saws that make a variable pulse, a sub oscillator and noise.

#include <algorithm>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/OscillatorLaws.h"
#include "voice/VoiceKernels.h"
#include "voice/ZRWavetableOscillator.h"

namespace morv {
namespace {

constexpr float kMaxWidth = 0.98F;

// Width of the pulse as a part of the cycle.
float limitedWidth(float width) noexcept {
  return width != width ? 0.5F : std::min(std::max(width, 0.0F), 1.0F) * kMaxWidth;
}

}  // namespace

void ZRWavetableOscillator::runWidths(int frames) noexcept {
  const float width = oscPulsewidth.value;
  const float* modulation = destinationOf(oscPulsewidth);
  const bool isStill = holdsStill(oscPulsewidth, frames);
  const int worked = isStill ? 1 : frames;
  for (int i = 0; i < worked; ++i) {
    widths_[static_cast<std::size_t>(i)] =
        limitedWidth(width + (modulation != nullptr ? modulation[i] : 0.0F));
  }
  if (isStill) std::fill_n(widths_.data() + 1, frames - 1, widths_[0]);
  lastWidth_ = widths_[static_cast<std::size_t>(frames) - 1];
}

// left = (a + b (2 (0.5 - w)(1 - wave))) + b (wave + modulation), with a the saw, b the saw backwards at the
// pulse's offset, w the pulse width of the block's last sample; then divided by the wider of the pulse's two
// parts, which keeps a narrow pulse at its height.
PulseWaveSettings ZRWavetableOscillator::pulseSettings() const noexcept {
  PulseWaveSettings settings;
  const float w = lastWidth_;
  settings.saw = table(1) + readOffset_;
  settings.reversed = table(3) + readOffset_;
  settings.shape = oscWave.value;
  settings.a = 2.0F * (0.5F - w) * (1.0F - settings.shape);
  settings.height = 1.0F / std::max(w, 1.0F - w);
  settings.level = level.value;
  return settings;
}

const float* ZRWavetableOscillator::subTable() const noexcept {
  return table(subWave != 0 ? 4 : 0) + readOffset_;
}

// Voice mode in one pass over the block.
void ZRWavetableOscillator::runPulse(const OscillatorStepSettings& steps, float* left, int frames) noexcept {
  const VoiceKernels& kernels = voiceKernels();
  PulseOscillatorSettings settings;
  settings.steps = steps;
  const float* frequencies = destinationOf(oscFreq);
  const float* cents = destinationOf(oscCents);
  if (holdsPitch(frames)) {
    const float factor = centsFactor(cents[0]);
    kernels.oscillatorSteps(steps, frequencies, &factor, &settings.step, &settings.subStep, 1);
  } else {
    settings.frequencyModulation = frequencies;
    settings.centsModulation = cents;
  }
  const float width = oscPulsewidth.value;
  const float* widths = destinationOf(oscPulsewidth);
  lastWidth_ = limitedWidth(width + widths[frames - 1]);
  if (holdsStill(oscPulsewidth, frames)) {
    settings.width = lastWidth_;
  } else {
    settings.width = width;
    settings.widthModulation = widths;
  }
  settings.pulse = pulseSettings();
  if (!modMatrix->isClear(oscWave.address)) settings.shapeModulation = destinationOf(oscWave);
  settings.sub = subTable();
  settings.subLevel = subLevel;
  PulseOscillatorState state{phaseOne, phaseTwo, phaseThree, 0.0F};
  kernels.pulseOscillator(settings, state, left, frames);
  phaseOne = state.one;
  phaseTwo = state.two;
  phaseThree = state.three;
  keepFrequencies(steps, state.lastStep, frames);
  addNoise(left, frames);
}

void ZRWavetableOscillator::runVoiceMode(float* left, int frames) noexcept {
  const float* shapeModulation = destinationOf(oscWave);
  if (shapeModulation == nullptr) {
    std::fill_n(work.data(), frames, 0.0F);
    shapeModulation = work.data();
  }
  voiceKernels().pulseWave(pulseSettings(), phaseOneBuffer.data(), phaseTwoBuffer.data(), shapeModulation,
                           left, frames);
  addSub(left, frames);
  addNoise(left, frames);
}

void ZRWavetableOscillator::addNoise(float* left, int frames) noexcept {
  if (!(noiseLevel > 0.0F)) return;
  for (int n = 0; n < frames; ++n) left[n] += (random_.unit31() - 0.5F) * noiseLevel;
}

void ZRWavetableOscillator::addSub(float* left, int frames) noexcept {
  if (subLevel == 0.0F) return;
  voiceKernels().addTable(subTable(), phaseThreeBuffer.data(), subLevel, left, frames);
}

}  // namespace morv
