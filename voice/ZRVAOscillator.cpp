#include "voice/ZRVAOscillator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "modulation/ZRDSPModMatrix.h"
#include "render/BlockLimits.h"
#include "voice/OscillatorLaws.h"
#include "voice/PhaseWalk.h"
#include "voice/Smoothing.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr double kLfoSmoothingMs = 1.0;
constexpr float kHistoryStart = 10.0F;
constexpr std::uint64_t kDefaultSeed = 0x56414F53;
constexpr float kGreatestDivision = 126.0F;  // keeps the tempo division finite whatever oscFreq holds

std::size_t bufferFrames(int framesPerBlock) {
  return static_cast<std::size_t>(std::max(framesPerBlock, kMaxBlockFrames));
}

void fill(ZeroedFloats& buffer, float value) { std::fill_n(buffer.data(), buffer.size(), value); }

// Band-limited wave from the history of its parabola: difference of neighbours, scaled to a height of one.
void differentiate(const float* history, float scale, float* out, int frames) noexcept {
  for (int i = 0; i < frames; ++i) out[i] = (history[i + 1] - history[i]) * scale;
}

// A phase that starts anew at -1 with each wrap, `frames` steps on.
struct SkippedPhase {
  std::int64_t wraps = 0;
  std::int64_t lastWrap = 0;  // steps up to and with the last one
};

SkippedPhase skipCycles(float* phase, float step, std::int64_t frames) noexcept {
  SkippedPhase skipped;
  PhaseWalk walk = walkPhase(*phase, step, 1.0F, frames);
  *phase = walk.position;
  if (!walk.reachesEnd) return skipped;
  skipped = {1, walk.steps};
  *phase = -1.0F;
  if (skipped.lastWrap == frames) return skipped;
  walk = walkPhase(-1.0F, step, 1.0F, frames - skipped.lastWrap);
  if (walk.reachesEnd) {
    const std::int64_t cycles = (frames - skipped.lastWrap) / walk.steps;
    skipped.wraps += cycles;
    skipped.lastWrap += cycles * walk.steps;
    walk = walkPhase(-1.0F, step, 1.0F, frames - skipped.lastWrap);
  }
  *phase = skipped.lastWrap == frames ? -1.0F : walk.position;
  return skipped;
}

}  // namespace

ZRVAOscillator::ZRVAOscillator(float sampleRateHz, int framesPerBlock, int* addressCounter, bool isLfo)
    : ZRDSPOscillator(sampleRateHz, addressCounter),
      lfoMode(isLfo),
      historyA(bufferFrames(framesPerBlock) + 1),
      historyB(bufferFrames(framesPerBlock) + 1),
      historyC(bufferFrames(framesPerBlock) + 1),
      phaseBuffer(bufferFrames(framesPerBlock)),
      secondPhaseBuffer(bufferFrames(framesPerBlock)),
      signBuffer(bufferFrames(framesPerBlock)),
      scratch(bufferFrames(framesPerBlock)),
      lfoSmoothing(smoothingCoefficient(kLfoSmoothingMs, sampleRateHz)),
      firstSmoothing_(lfoSmoothing) {
  blockSize = framesPerBlock;
  initDPWOsc(dpwState);
  fill(historyA, kHistoryStart);
  fill(signBuffer, -1.0F);
  oscWave = 0.0F;
  if (lfoMode) {
    oscFreq.minValue = 0.01F;
    oscFreq.maxValue = 10.0F;
    oscFreq.defaultValue = 0.1F;
    oscFreq = 0.1F;
  }
  setRandomSeed(kDefaultSeed);
}

void ZRVAOscillator::setRandomSeed(std::uint64_t seed) {
  dpwState.random.reseed(Random::derive(seed, 0));
  _initNoise(seed, static_cast<int>(scratch.size()));
}

void ZRVAOscillator::_initNoise(std::uint64_t seed, int length) {
  noise_ = PinkNoise::ofSeed(seed, length);
  noiseTable = noise_->samples;
  random_ = noise_->behind;
}

void ZRVAOscillator::resetPhase() noexcept {
  phase = -1.0F;
  secondPhase = 0.0F;
  sign = -1.0F;
  if (wrapCallback != nullptr) wrapCallback(wrapCallbackOwner);
}

// In Hz, before modulation. With sync the setting counts in eighths: 0, 1 and 2 are four, two and one bars, n
// above that is 2^(n - 2) notes per bar.
float ZRVAOscillator::baseFrequency(float tempo) const noexcept {
  const float value = oscFreq.value;
  if (!bpmSync) return value;
  const int division = static_cast<int>(std::min(std::max(0.0F, value * 8.0F), kGreatestDivision));
  const float bars = division < 2 ? static_cast<float>(4 >> division) : 1.0F;
  const float notesPerBar = division > 2 ? std::ldexp(1.0F, division - 2) : 1.0F;
  return timeDivisionToFrequency(bars, notesPerBar, tempo);
}

// Leaves the phase step of each sample in `scratch`; returns whether all are alike. The phase runs over a
// range of two.
bool ZRVAOscillator::fillSteps(int frames, float tempo) noexcept {
  const float f0 = baseFrequency(tempo);
  float* steps = scratch.data();
  if (modMatrix == nullptr) {
    frequency = f0;
    std::fill_n(steps, frames, 2.0F * f0 / sampleRate);
    return true;
  }
  const float octaves = octaveFactor(oscOctave.value, firstDestinationSampleOf(oscOctave));
  const float semitones = semitoneFactor(oscSemitones.value, firstDestinationSampleOf(oscSemitones));
  const float* frequencies = destinationOf(oscFreq);
  const float* centsModulation = destinationOf(oscCents);
  const float cents = oscCents.value;
  const auto stepFor = [&](float modulation, float factor) {
    return (f0 + modulation) * octaves * semitones * factor;
  };
  if (holdsStill(oscCents, frames) && holdsStill(oscFreq, frames)) {
    frequency = stepFor(frequencies[0], centsFactor(cents + centsModulation[0]));
    std::fill_n(steps, frames, 2.0F * frequency / sampleRate);
    return true;
  }
  float lastModulation = centsModulation[0];
  float factor = centsFactor(cents + lastModulation);
  for (int i = 0; i < frames; ++i) {
    if (centsModulation[i] != lastModulation) {
      lastModulation = centsModulation[i];
      factor = centsFactor(cents + lastModulation);
    }
    steps[i] = stepFor(frequencies[i], factor);
  }
  frequency = steps[frames - 1];
  const float rate = sampleRate;
  for (int i = 0; i < frames; ++i) steps[i] = 2.0F * steps[i] / rate;
  return false;
}

template <bool kLfo, bool kPulse, bool kWidthModulated>
void ZRVAOscillator::advancePhases(int frames) noexcept {
  const float* steps = scratch.data();
  const float* noise = noiseTable.data();
  const float* widths = kWidthModulated ? destinationOf(oscPulsewidth) : nullptr;
  const float width = oscPulsewidth.value;
  float* phases = phaseBuffer.data();
  float* secondPhases = secondPhaseBuffer.data();
  float* signs = signBuffer.data();
  float p = phase;
  float q = secondPhase;
  float s = sign;
  float held = heldValue;
  for (int i = 0; i < frames; ++i) {
    p += steps[i];
    if (p >= 1.0F) {
      p = kLfo ? -1.0F : p - 2.0F;
      held = noise[i];
      if (wrapCallback != nullptr) wrapCallback(wrapCallbackOwner);
    }
    phases[i] = p;
    if constexpr (kPulse) q = width + p;
    q += steps[i];
    if constexpr (kWidthModulated) q += widths[i];
    if (q >= 1.0F) {
      q = kLfo ? -1.0F : q - 2.0F;
      s = s > 0.0F ? -1.0F : 1.0F;
    }
    secondPhases[i] = q;
    signs[i] = s;
  }
  phase = p;
  secondPhase = q;
  sign = s;
  heldValue = held;
}

bool ZRVAOscillator::isSteady(int frames) const noexcept {
  const int wave = oscWave.intValue() + truncatedInt(firstDestinationSampleOf(oscWave));
  return lfoMode && pulseMode == 0 && wrapCallback == nullptr && frequency > 0.0F && wave >= 0 && wave <= 4 &&
         holdsStill(oscCents, frames) && holdsStill(oscFreq, frames);
}

ZRVAOscillator::Place ZRVAOscillator::place() const noexcept {
  return {phase, secondPhase, sign, heldValue, {historyA[0], historyB[0], historyC[0]}};
}

void ZRVAOscillator::setPlace(const Place& place) noexcept {
  phase = place.phase;
  secondPhase = place.secondPhase;
  sign = place.sign;
  heldValue = place.heldValue;
  historyA[0] = place.lastHistories[0];
  historyB[0] = place.lastHistories[1];
  historyC[0] = place.lastHistories[2];
}

void ZRVAOscillator::skip(std::int64_t frames, int blockFrames) noexcept {
  if (frames <= 0) return;
  const float step = 2.0F * frequency / sampleRate;
  const SkippedPhase first = skipCycles(&phase, step, frames);
  if (first.wraps > 0) heldValue = noiseTable[static_cast<std::size_t>((first.lastWrap - 1) % blockFrames)];
  skipSecondPhase(step, frames);
  historyA[0] = phase * phase;
  historyB[0] = secondPhase * secondPhase;
  historyC[0] = (1.0F - secondPhase * secondPhase) * sign;
}

// The same for an LFO whose steps are all alike: from wrap to wrap, in runs of equal sums.
void ZRVAOscillator::advancePhasesSteadily(float step, bool isSecondRead, int frames) noexcept {
  float* phases = phaseBuffer.data();
  for (int i = 0; i < frames;) {
    i += fillPhase(&phase, step, 1.0F, phases + i, frames - i);
    if (!(phase >= 1.0F)) break;
    phase = -1.0F;
    phases[i - 1] = phase;
    heldValue = noiseTable[static_cast<std::size_t>(i - 1)];
    if (wrapCallback != nullptr) wrapCallback(wrapCallbackOwner);
  }
  float* secondPhases = secondPhaseBuffer.data();
  float* signs = signBuffer.data();
  if (!isSecondRead) {
    skipSecondPhase(step, frames);
    secondPhases[frames - 1] = secondPhase;
    signs[frames - 1] = sign;
    return;
  }
  for (int i = 0; i < frames;) {
    const int from = i;
    i += fillPhase(&secondPhase, step, 1.0F, secondPhases + i, frames - i);
    std::fill(signs + from, signs + i, sign);
    if (!(secondPhase >= 1.0F)) break;
    secondPhase = -1.0F;
    secondPhases[i - 1] = secondPhase;
    sign = sign > 0.0F ? -1.0F : 1.0F;
    signs[i - 1] = sign;
  }
}

void ZRVAOscillator::skipSecondPhase(float step, std::int64_t frames) noexcept {
  const SkippedPhase second = skipCycles(&secondPhase, step, frames);
  if (second.wraps > 0) sign = (sign > 0.0F) == (second.wraps % 2 == 0) ? 1.0F : -1.0F;
}

void ZRVAOscillator::runPhaseIncrement(int frames, float tempo) noexcept {
  if (frames > 0) advance(frames, tempo, true);
}

// A second phase that nobody reads is only brought to the block's end, in its buffer too.
void ZRVAOscillator::advance(int frames, float tempo, bool isSecondRead) noexcept {
  const bool isSteady = fillSteps(frames, tempo);
  if (isSteady && lfoMode && pulseMode == 0 && scratch[0] > 0.0F) {
    advancePhasesSteadily(scratch[0], isSecondRead, frames);
    return;
  }
  const bool widthModulated = modMatrix != nullptr;
  if (lfoMode) {
    pulseMode != 0 ? advancePhases<true, true, false>(frames) : advancePhases<true, false, false>(frames);
  } else if (widthModulated) {
    pulseMode != 0 ? advancePhases<false, true, true>(frames) : advancePhases<false, false, true>(frames);
  } else {
    pulseMode != 0 ? advancePhases<false, true, false>(frames) : advancePhases<false, false, false>(frames);
  }
}

// The parabolas of the block behind the last sample of the block before; of those that the wave does not take
// only the last sample, from which the next block goes on.
void ZRVAOscillator::fillHistories(bool first, bool second, bool third, int frames) noexcept {
  const float* phases = phaseBuffer.data();
  const float* secondPhases = secondPhaseBuffer.data();
  const float* signs = signBuffer.data();
  float* a = historyA.data() + 1;
  float* b = historyB.data() + 1;
  float* c = historyC.data() + 1;
  const int last = frames - 1;
  for (int i = first ? 0 : last; i < frames; ++i) a[i] = phases[i] * phases[i];
  for (int i = second ? 0 : last; i < frames; ++i) b[i] = secondPhases[i] * secondPhases[i];
  for (int i = third ? 0 : last; i < frames; ++i)
    c[i] = (1.0F - secondPhases[i] * secondPhases[i]) * signs[i];
}

void ZRVAOscillator::runWave(int wave, float* left, float* right, bool isRightWanted, int frames) noexcept {
  const float scale = sampleRate / (4.0F * frequency);
  const float* phases = phaseBuffer.data();
  const float* secondPhases = secondPhaseBuffer.data();
  const float* signs = signBuffer.data();
  if (wave == 0) {
    voiceKernels().sinPi(phases, left, frames);
    if (isRightWanted) voiceKernels().sinPi(secondPhases, right, frames);
  } else if (wave == 1 || wave == 2) {
    differentiate(historyA.data(), scale, left, frames);
    if (isRightWanted || wave == 2) differentiate(historyB.data(), scale, right, frames);
    if (wave == 2) {
      for (int i = 0; i < frames; ++i) left[i] -= right[i];
    }
  } else if (wave == 3) {
    const float* c = historyC.data();
    const float slope = sampleRate / frequency;
    for (int i = 0; i < frames; ++i) left[i] = (c[i + 1] - c[i]) * slope * 0.25F;
    if (isRightWanted) differentiate(historyB.data(), scale, right, frames);
  } else if (wave == 4 && lfoMode) {
    const float held = heldValue;
    const float other = 1.0F - held;
    for (int i = 0; i < frames; ++i) left[i] = signs[i] * held;
    if (!isRightWanted) return;
    for (int i = 0; i < frames; ++i) right[i] = signs[i] * other;
  } else if (wave == 5 && lfoMode) {
    for (int i = 0; i < frames; ++i) left[i] = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
  } else if (wave == 4 || wave == 5) {
    const float* noise = noiseTable.data();
    for (int i = 0; i < frames; ++i) left[i] = signs[i] * noise[i];
  } else {
    differentiate(historyA.data(), scale, left, frames);
  }
}

// One-pole follower of the wave, bounded in its state, then the level.
void ZRVAOscillator::smoothOutput(float* left, int frames) noexcept {
  voiceKernels().smoothBounded(left, lfoSmoothing, &lfoOutput, frames);
  const float gain = level.value;
  const float* modulation = destinationOf(level);
  if (holdsStill(level, frames)) {
    const float uniform = gain + (modulation != nullptr ? modulation[0] : 0.0F);
    if (uniform == 1.0F) return;
    for (int i = 0; i < frames; ++i) left[i] *= uniform;
  } else {
    for (int i = 0; i < frames; ++i) left[i] *= gain + modulation[i];
  }
}

void ZRVAOscillator::runGenerator(float* left, float* right, int frames, float tempo) noexcept {
  runOutputs(left, right, true, frames, tempo);
}

void ZRVAOscillator::runGenerator(int frames, float tempo) noexcept {
  if (modMatrix == nullptr) return;
  float* left = modMatrix->sourceBuffer(outputSourceLeft);
  float* right = modMatrix->sourceBuffer(outputSourceRight);
  if (left == nullptr || right == nullptr) return;
  runOutputs(left, right, !leavesUnreadRight || modMatrix->isRead(outputSourceRight), frames, tempo);
}

void ZRVAOscillator::runOutputs(float* left, float* right, bool isRightWanted, int frames,
                                float tempo) noexcept {
  if (frames <= 0) return;
  const int wave = oscWave.intValue() + truncatedInt(firstDestinationSampleOf(oscWave));
  advance(frames, tempo, pulseMode != 0 || isRightWanted || (wave >= 2 && wave <= 4));
  if (pulseMode == 0) {
    const bool isPlain = wave < 0 || wave > 5;
    const bool takesSecond = wave == 2 || (isRightWanted && (wave == 1 || wave == 3));
    fillHistories(wave == 1 || wave == 2 || isPlain, takesSecond, wave == 3, frames);
    runWave(wave, left, right, isRightWanted, frames);
  } else {
    fillHistories(true, true, false, frames);
    const float scale = sampleRate / (4.0F * frequency);
    differentiate(historyA.data(), scale, left, frames);
    if (pulseMode == 1) {
      float* second = scratch.data();
      const float gain = oscWave.value;
      differentiate(historyB.data(), scale, second, frames);
      for (int i = 0; i < frames; ++i) left[i] -= second[i] * gain;
    }
  }
  if (lfoMode) smoothOutput(left, frames);
  const auto last = static_cast<std::size_t>(frames);
  historyA[0] = historyA[last];
  historyB[0] = historyB[last];
  historyC[0] = historyC[last];
}

}  // namespace morv
