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
constexpr float kLongestReplay = 1024.0F;
constexpr int kLfoSamples = 64;  // of a stretch of the LFO that stands for a longer one

}  // namespace

void ZRTurboVoice::setParameterValueForAddress(int address, float value) noexcept {
  ZRDSPVoice::setParameterValueForAddress(address, value);
  settingsSeen_.fetch_add(1, std::memory_order_release);
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
          settingsSeen_.load(std::memory_order_acquire),
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
  lastDetune_ = detuneOffset;
  sleptDetune_ = 0;
  sleptFrames_ = 0;
  isGated_ = false;
  lfoRestarts_ = false;
  asleep_ = true;
}

// Of what each block begins with only the pan can move: whatever else does has stirred the voice.
void ZRTurboVoice::sleepOn(int frames) noexcept {
  followPan();
  if (frames == 0) return;
  sleptFrames_ += frames;
  sleptDetune_ += static_cast<double>(detuneOffset) * frames;
  lastDetune_ = detuneOffset;
}

bool ZRTurboVoice::isStirred(int frames, float tempo) const noexcept {
  return asleep_ && frames != 0 && (isGated_ || presentRest(frames, tempo) != rest_);
}

// Voices that wake in one block play their last blocks again side by side, as the filter costs little more
// for eight than for one.
void ZRTurboVoice::wakeStirred(ZRDSPVoice* const* bank, int count, int frames, float tempo) noexcept {
  std::array<ZRTurboVoice*, VoiceKernels::kLanes> waking{};
  int found = 0;
  for (int i = 0; i < count; ++i) {
    auto* voice = static_cast<ZRTurboVoice*>(bank[i]);
    if (!voice->isStirred(frames, tempo)) continue;
    // What is no number would be carried over the sleep, and may take as long as the sleep to skip.
    if (!voice->holdsNumbers(voice->rest_.frames)) {
      voice->mendState(voice->rest_.frames);
      continue;
    }
    const bool fits =
        found < VoiceKernels::kLanes && (found == 0 || waking[0]->rest_.frames == voice->rest_.frames);
    if (!fits) {
      replayTogether(waking.data(), found);
      found = 0;
    }
    waking[static_cast<std::size_t>(found++)] = voice;
  }
  replayTogether(waking.data(), found);
}

void ZRTurboVoice::wake() noexcept {
  ZRTurboVoice* self = this;
  if (asleep_ && !holdsNumbers(rest_.frames)) mendState(rest_.frames);
  if (asleep_) replayTogether(&self, 1);
}

// The last blocks are played again, unheard, in the partition in which they would have come.
void ZRTurboVoice::beginWaking() noexcept {
  asleep_ = false;
  quietFrames_ = 0;
  const int block = rest_.frames;
  const int wanted = (replayedFrames_ + block - 1) / block;
  const std::int64_t slept = sleptFrames_ / block;
  const auto replayed = static_cast<int>(std::min<std::int64_t>(slept, wanted));
  awake_.blocksLeft = replayed;
  awake_.noteFrequency = noteFrequency;
  awake_.detune = detuneOffset;
  noteFrequency = rest_.noteFrequency;
  modMatrix->holdSource(kSourceModWheel, rest_.wheel, block);
  if (slept > replayed) {
    const double skipped = static_cast<double>(slept - replayed) * block;
    const double ofReplay = static_cast<double>(lastDetune_) * replayed * block;
    waveOscillator->oscFreq = static_cast<float>((sleptDetune_ - ofReplay) / skipped);
    skip((slept - replayed) * block);
  }
  detuneOffset = lastDetune_;
  const ZRVAOscillator::Place now = lfo->place();
  lfo->skip(static_cast<std::int64_t>(replayed) * block, block);
  awake_.lfo = lfo->place();
  lfo->setPlace(now);
  awake_.noise = waveOscillator->noiseAfter(static_cast<std::int64_t>(replayed) * block);
}

// LFO and noise go on from where the settings that stood till now took them, whatever the blocks were played
// with.
void ZRTurboVoice::endWaking() noexcept {
  noteFrequency = awake_.noteFrequency;
  detuneOffset = awake_.detune;
  lfo->setPlace(awake_.lfo);
  waveOscillator->setNoise(awake_.noise);
  if (lfoRestarts_) lfo->resetPhase();
}

// Up to eight voices that slept in blocks of one length. The envelopes are left out: what they last played
// was zeros, and some may have been started since.
void ZRTurboVoice::replayTogether(ZRTurboVoice* const* waking, int count) noexcept {
  if (count == 0) return;
  const int frames = waking[0]->rest_.frames;
  int longest = 0;
  for (int i = 0; i < count; ++i) {
    waking[i]->beginWaking();
    longest = std::max(longest, waking[i]->awake_.blocksLeft);
  }
  std::array<ZRTurboVoice*, VoiceKernels::kLanes> playing{};
  std::array<SEMFilterLane, VoiceKernels::kLanes> lanes{};
  SeenRows rows;
  for (; longest > 0; --longest) {
    int lane = 0;
    for (int i = 0; i < count; ++i) {
      ZRTurboVoice* voice = waking[i];
      if (voice->awake_.blocksLeft < longest) continue;
      float* signal = voice->runToFilter(frames, voice->rest_.tempo, &rows, false);
      const auto at = static_cast<std::size_t>(lane++);
      playing[at] = voice;
      lanes[at] = voice->laneFor(signal, frames);
    }
    voiceKernels().semFilterBank(lanes.data(), lane, frames);
    for (int i = 0; i < lane; ++i) {
      ZRTurboVoice* voice = playing[static_cast<std::size_t>(i)];
      float* signal = voice->modMatrix->sourceBuffer(voice->waveOscillator->outputSourceLeft);
      voice->runDriveTone(signal, frames);
      std::fill_n(signal, frames, 0.0F);
    }
  }
  for (int i = 0; i < count; ++i) waking[i]->endWaking();
}

// Oscillator steps while the LFO goes through so many frames from where it stands, in a few samples spread
// over them.
ZRWavetableOscillator::Steps ZRTurboVoice::meanSteps(double frames) noexcept {
  const int samples = std::min(kLfoSamples, rest_.frames);
  lfo->sampleRate = static_cast<float>(static_cast<double>(sampleRate) * samples / frames);
  lfo->runGenerator(samples, rest_.tempo);
  modMatrix->runMatrix(samples);
  lfoAmp->runAmp(samples, rest_.tempo);
  modMatrix->runMatrix(samples);
  return waveOscillator->meanSteps(samples);
}

void ZRTurboVoice::skip(std::int64_t frames) noexcept {
  ZRWavetableOscillator::Steps each;
  if (waveOscillator->holdsPitch(rest_.frames)) {
    each = waveOscillator->meanSteps(1);
  } else {
    const ZRVAOscillator::Place place = lfo->place();
    const float rate = lfo->sampleRate;
    const float smoothing = lfo->lfoSmoothing;
    const float output = lfo->lfoOutput;
    const float frequency = lfo->frequency;
    lfo->lfoSmoothing = 0;
    const auto count = static_cast<double>(frames);
    const double cycle = static_cast<double>(rate) / static_cast<double>(frequency);
    const double whole = std::floor(count / cycle) * cycle;
    ZRWavetableOscillator::Steps ofCycle;
    if (whole > 0.0) ofCycle = meanSteps(cycle);
    lfo->setPlace(place);
    const ZRWavetableOscillator::Steps ofRest = meanSteps(std::max(count - whole, 1.0));
    lfo->setPlace(place);
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
