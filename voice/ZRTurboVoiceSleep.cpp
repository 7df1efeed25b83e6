// How a voice whose sound has ended sleeps, and how it makes up for it.

#include <algorithm>
#include <cmath>

#include "voice/VoiceKernels.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

constexpr float kQuietSeconds = 1.0F;  // so that only real pauses pay for waking
constexpr int kShortestBlock = 32;
constexpr int kLongestBlock = 512;
// Time constants in which the filter forgets by 80 dB.
constexpr float kForgetting = 9.3F;
// In which the LFO's output smoother, the limiter's filter and the amplifier's buffers come to where they
// would be.
constexpr int kLeastReplay = 256;
// Bounds the work of the block that wakes a voice. What rings longer stays awake.
constexpr float kLongestReplay = 2048.0F;
constexpr int kLfoSamples = 64;  // of a stretch of the LFO that stands for a longer one

}  // namespace

void ZRTurboVoice::setParameterValueForAddress(int address, float value) noexcept {
  ZRDSPVoice::setParameterValueForAddress(address, value);
  settingsSeen_ = settingsSeen_ + 1;
}

ZRTurboVoice::Rest ZRTurboVoice::presentRest(int frames, float tempo) const noexcept {
  return {pressure,
          pitchbendDelta + addedPitchbend,
          slide,
          velocity,
          noteFrequency,
          glideStartFrequency,
          modWheelValue,
          gate,
          settingsSeen_.load(),
          frames,
          tempo};
}

// Whether the block just played was silence, made by modules that stand still.
bool ZRTurboVoice::isAtRest(int frames) const noexcept {
  for (const int source : {kSourceNote, kSourceVelocity, kSourceModWheel, kSourcePitchWheel, kSourcePressure,
                           kSourceSlide, kSourceGate}) {
    if (!modMatrix->isSourceHeld(source, frames)) return false;
  }
  if (!lfo->isSteady(frames)) return false;
  if (!std::isfinite(filter->z1) || !std::isfinite(filter->z2)) return false;
  const float* signal = modMatrix->readSource(waveOscillator->outputSourceLeft);
  return std::all_of(signal, signal + frames, [](float x) { return x == 0.0F; });
}

void ZRTurboVoice::watchForSleep(int frames, float tempo) noexcept {
  if (gate != 0 || ampEnvelope->state() != 0 || modEnvelope->state() != 0 || fadeEnvelope->state() != 0) {
    quietFrames_ = 0;
    return;
  }
  const Rest now = presentRest(frames, tempo);
  if (quietFrames_ == 0 || now != rest_) {
    rest_ = now;
    quietFrames_ = 0;
    longestMemory_ = 0;
  }
  quietFrames_ = std::min(quietFrames_ + frames, 1 << 24);
  longestMemory_ = std::max(longestMemory_, filter->memorySamples());
  if (static_cast<float>(quietFrames_) < kQuietSeconds * sampleRate) return;
  if (frames < kShortestBlock || frames > kLongestBlock || !isAtRest(frames)) return;
  const float wanted = static_cast<float>(kLeastReplay) + kForgetting * longestMemory_;
  if (!(wanted <= kLongestReplay)) return;
  replayedFrames_ = static_cast<int>(wanted);
  restDetune_ = detuneOffset;
  sleptFrames_ = 0;
  asleep_ = true;
}

bool ZRTurboVoice::sleepsOn(int frames, float tempo) noexcept {
  if (!asleep_) return false;
  if (frames == 0) return true;
  if (presentRest(frames, tempo) == rest_) {
    sleptFrames_ += frames;
    return true;
  }
  wake();
  return false;
}

// The last blocks are played again, unheard, in the partition in which they would have come.
void ZRTurboVoice::wake() noexcept {
  if (!asleep_) return;
  asleep_ = false;
  quietFrames_ = 0;
  const int block = rest_.frames;
  const int wanted = (replayedFrames_ + block - 1) / block;
  const std::int64_t slept = sleptFrames_ / block;
  const auto replayed = static_cast<int>(std::min<std::int64_t>(slept, wanted));
  const float nextNoteFrequency = noteFrequency;
  const float nextDetune = detuneOffset;
  noteFrequency = rest_.noteFrequency;
  detuneOffset = restDetune_;
  modMatrix->holdSource(kSourceModWheel, rest_.wheel, block);
  if (slept > replayed) skip((slept - replayed) * block);
  for (int i = 0; i < replayed; ++i) replay(block, rest_.tempo);
  noteFrequency = nextNoteFrequency;
  detuneOffset = nextDetune;
}

void ZRTurboVoice::replay(int frames, float tempo) noexcept {
  SeenRows rows;
  float* signal = runToFilter(frames, tempo, &rows);
  const SEMFilterLane lane = laneFor(signal, frames);
  voiceKernels().semFilterBank(&lane, 1, frames);
  ampEnvelope->runGenerator(frames, tempo);
  runDriveTone(signal, frames);
  std::fill_n(signal, frames, 0.0F);
}

// Oscillator steps while the LFO goes through so many frames from where it stands, in a few samples spread
// over them.
ZRWavetableOscillator::Steps ZRTurboVoice::meanSteps(double frames) noexcept {
  lfo->sampleRate = static_cast<float>(static_cast<double>(sampleRate) * kLfoSamples / frames);
  lfo->runGenerator(kLfoSamples, rest_.tempo);
  modMatrix->runMatrix(kLfoSamples);
  lfoAmp->runAmp(kLfoSamples, rest_.tempo);
  modMatrix->runMatrix(kLfoSamples);
  return waveOscillator->meanSteps(kLfoSamples);
}

void ZRTurboVoice::skip(std::int64_t frames) noexcept {
  ZRWavetableOscillator::Steps each;
  if (waveOscillator->holdsPitch(rest_.frames)) {
    each = waveOscillator->meanSteps(1);
  } else {
    const float rate = lfo->sampleRate;
    const float smoothing = lfo->lfoSmoothing;
    const float output = lfo->lfoOutput;
    const float frequency = lfo->frequency;
    const float phases[] = {lfo->phase, lfo->secondPhase, lfo->sign, lfo->heldValue};
    const auto restore = [&] {
      lfo->phase = phases[0];
      lfo->secondPhase = phases[1];
      lfo->sign = phases[2];
      lfo->heldValue = phases[3];
    };
    lfo->lfoSmoothing = 0;
    const auto count = static_cast<double>(frames);
    const double cycle = static_cast<double>(rate) / static_cast<double>(frequency);
    const double whole = std::floor(count / cycle) * cycle;
    ZRWavetableOscillator::Steps ofCycle;
    if (whole > 0.0) ofCycle = meanSteps(cycle);
    restore();
    const ZRWavetableOscillator::Steps ofRest = meanSteps(std::max(count - whole, 1.0));
    restore();
    each.main = (ofCycle.main * whole + ofRest.main * (count - whole)) / count;
    each.sub = (ofCycle.sub * whole + ofRest.sub * (count - whole)) / count;
    lfo->sampleRate = rate;
    lfo->lfoSmoothing = smoothing;
    lfo->lfoOutput = output;
    lfo->frequency = frequency;
  }
  waveOscillator->skip(each, frames);
  lfo->skip(frames, rest_.frames);
}

}  // namespace morv
