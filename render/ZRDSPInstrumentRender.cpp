// One block: voices into the mix, the effect chain, saturation, volume.

#include <algorithm>
#include <cmath>

#include "platform/DiagnosticRing.h"
#include "platform/ZeroedFloats.h"
#include "render/FiniteCheck.h"
#include "render/ZRDSPInstrument.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr double kVolumeMs = 200.0;
constexpr double kSlopMs = 10250.0;
constexpr int kTransportPlaying = 2;

// Coefficient of a one-pole follower that comes within a hundredth in `timeMs` at `rate` steps per second.
float followerCoefficient(double timeMs, float rate) noexcept {
  const double logLevel = std::log(0.01F);
  return static_cast<float>(std::exp(logLevel / (timeMs * static_cast<double>(rate) * 0.001)));
}

}  // namespace

void ZRDSPInstrument::prepare(float sampleRateHz, int blockSizeFrames) {
  sampleRate = sampleRateHz;
  blockSize = blockSizeFrames;
  for (const auto& voice : voices) voice->prepare(sampleRateHz, blockSizeFrames);
  // Lines have their memory before the first block, so that a sound's first lap waits for none.
  const ZeroedFloats::Populated populated;
  for (const auto& effect : effects) effect->prepare(sampleRateHz, blockSizeFrames);
  workOutFollowers();
}

void ZRDSPInstrument::workOutFollowers() noexcept {
  volumeCoefficient = followerCoefficient(kVolumeMs, sampleRate);
  slopCoefficient = followerCoefficient(kSlopMs, sampleRate / static_cast<float>(blockSize));
  sampleCoefficient = followerCoefficient(kVolumeMs, sampleRate);
}

// Each voice takes the next step of one slow random walk, which pulls its pitch about by up to 50 Hz. Returns
// the number of voices that run.
int ZRDSPInstrument::prepareVoicesPoly() noexcept {
  int count = 0;
  for (; count < numVoices && static_cast<float>(count) < voiceNumber.value; ++count) {
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(count)];
    const float draw = random_.unit31();
    slopValue = std::fma(slopCoefficient, slopValue - draw, draw);
    voice.timelinePosition = timelinePosition;
    voice.transportState = transportState;
    voice.detuneOffset = static_cast<float>((static_cast<double>(slopValue) - 0.5) * 100.0 *
                                                static_cast<double>(voiceDetune.value) +
                                            static_cast<double>(voice.detuneOffset));
  }
  return count;
}

// A lopsided stack: the lower half goes down by its index, the upper half up, voice 0 and the middle stay.
int ZRDSPInstrument::prepareVoicesUnison() noexcept {
  const float half = voiceNumber.value / 2.0F;
  int count = 0;
  for (; count < numVoices && static_cast<float>(count) < voiceNumber.value; ++count) {
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(count)];
    const auto position = static_cast<float>(count);
    const float spread = position < half ? -position : (position > half ? position : 0.0F);
    voice.detuneOffset = spread * voiceDetune.value;
  }
  return count;
}

void ZRDSPInstrument::runVoices(int frames) noexcept {
  const bool isPoly = currentVoiceMode == 0;
  const int count = isPoly ? prepareVoicesPoly() : prepareVoicesUnison();
  if (count == 0) return;
  voices.front()->runGenerators(bank_.data(), count, mixLeft.data(), mixRight.data(), frames, tempo);
  for (int i = 0; i < count; ++i) {
    ZRDSPVoice& voice = *voices[static_cast<std::size_t>(i)];
    voice.detuneOffset = 0;
    if (isPoly) continue;
    voice.timelinePosition = timelinePosition;
    voice.transportState = transportState;
  }
  watchVoices(count, frames);
}

void ZRDSPInstrument::runInstrument(float* left, float* right, int frames, float blockTempo,
                                    double sampleTime) noexcept {
  blockSampleTime = sampleTime;
  if (frames > kMaxBlockFrames) {
    DiagnosticRing::shared().post("buffer too large\n");
    std::fill_n(left, frames, 0.0F);
    std::fill_n(right, frames, 0.0F);
    return;
  }
  std::fill_n(mixLeft.data(), frames, 0.0F);
  std::fill_n(mixRight.data(), frames, 0.0F);
  std::fill_n(sendLeft.data(), frames, 0.0F);
  std::fill_n(sendRight.data(), frames, 0.0F);
  if (areNumbers(blockTempo)) tempo = blockTempo;
  mendOwnState();
  if (transportState == kTransportPlaying && seqEnabled.intValue() != 0) runSequencer(sampleTime);
  timelineSampleTime = sampleTime;
  if (arpEnabled.intValue() != 0) doArp(frames, truncatedInt(tempo));
  runVoices(frames);
  if (effects.empty() || effectRouting == ZRDSPInstrumentEffectRouting::insert) {
    std::copy_n(mixLeft.data(), frames, left);
    std::copy_n(mixRight.data(), frames, right);
    if (!effects.empty()) _runEffects(left, right, left, right, frames);
  } else {
    _runEffects(mixLeft.data(), mixRight.data(), left, right, frames);
  }
  saturateAndScale(left, right, frames);
}

void ZRDSPInstrument::_runEffects(const float* inLeft, const float* inRight, float* outLeft, float* outRight,
                                  int frames) noexcept {
  for (const auto& effect : effects) {
    if (effectRouting == ZRDSPInstrumentEffectRouting::insert) {
      effect->runEffect(inLeft, inRight, outLeft, outRight, frames, tempo);
      continue;
    }
    const auto send = sendParameters.find(effect.get());
    const float amount = send != sendParameters.end() ? send->second->value.load() : 0.0F;
    for (int i = 0; i < frames; ++i) {
      sendLeft[static_cast<std::size_t>(i)] = inLeft[i] * amount;
      sendRight[static_cast<std::size_t>(i)] = inRight[i] * amount;
    }
    effect->runEffect(sendLeft.data(), sendRight.data(), outLeft, outRight, frames, tempo);
    for (int i = 0; i < frames; ++i) {
      outLeft[i] += inLeft[i];
      outRight[i] += inRight[i];
    }
  }
}

void ZRDSPInstrument::saturateAndScale(float* left, float* right, int frames) noexcept {
  if (outputSaturation.value > 0.0F) {
    voiceKernels().tanhInPlace(left, frames);
    voiceKernels().tanhInPlace(right, frames);
  }
  float gain = smoothedVolume;
  // A follower that a step leaves where it is stays there.
  const float wanted = volume.value;
  if (std::fma(volumeCoefficient, gain - wanted, wanted) == gain) {
    for (int i = 0; i < frames; ++i) left[i] *= gain;
    for (int i = 0; i < frames; ++i) right[i] *= gain;
    return;
  }
  for (int i = 0; i < frames; ++i) {
    const float target = volume.value;
    gain = std::fma(volumeCoefficient, gain - target, target);
    left[i] *= gain;
    right[i] *= gain;
  }
  smoothedVolume = gain;
}

void ZRDSPInstrument::setMinVelocity(float velocity) noexcept {
  for (const auto& voice : voices) voice->minVelocity = velocity;
}

}  // namespace morv
