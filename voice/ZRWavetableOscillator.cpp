#include "voice/ZRWavetableOscillator.h"

#include <algorithm>
#include <cmath>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/OscillatorLaws.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr float kMaxFrequencyHz = 20000.0F;  // what the steps' kernel holds the frequency to
constexpr float kTableGain = 0.95F;
constexpr int kHighestCopy = WavetableSet::kSubtables - 1;
constexpr int kBankFrameSize = 2048;
constexpr std::uint64_t kDefaultSeed = 1;
const double kSemitone = std::pow(2.0, 1.0 / 12.0);

// The position inside 0 to size. Steps are a few cycles at the most; anything further off, or not a number,
// is taken home in one go.
float wrapped(float position, float size) noexcept {
  for (int i = 0; i < 4 && position >= size; ++i) position -= size;
  for (int i = 0; i < 4 && position < 0.0F; ++i) position += size;
  if (position >= 0.0F && position < size) return position;
  position = std::fmod(position, size);
  if (position < 0.0F) position += size;
  return position >= 0.0F && position < size ? position : 0.0F;
}

// Linear interpolation at a position of 0 to just below the table's length; reads one value beyond it.
inline float readTable(const float* table, float position) noexcept {
  const int i = static_cast<int>(position);
  const float fraction = position - static_cast<float>(i);
  return table[i] + fraction * (table[i + 1] - table[i]);
}

// The same over exactly `count` values: positions behind the last give the last.
float readClipped(const float* table, int count, float position) noexcept {
  const auto last = static_cast<float>(count - 1);
  return position >= last ? table[count - 1] : readTable(table, position);
}

}  // namespace

ZRWavetableOscillator::ZRWavetableOscillator(float sampleRateHz, int blockLengthFrames, ZROscillatorMode mode,
                                             int* addressCounter)
    : ZRDSPOscillator(sampleRateHz, addressCounter),
      oscillatorMode(mode),
      log10Ratio(std::log10(static_cast<double>(sampleRateHz) / WavetableSet::kTableSize)),
      log10Low(std::log10(0.9)),
      log10Step(std::log10(1.44)),
      random_(kDefaultSeed) {
  blockSize = blockLengthFrames;
  ZRWavetableOscillator::_init();
}

ZRWavetableOscillator::~ZRWavetableOscillator() = default;

void ZRWavetableOscillator::_init() {
  constexpr int kFirstStateSize = 600;
  constexpr int kSecondStateWaves = 50;
  initWTOsc(&firstState_, kFirstStateSize, 1, 1, sizeof(float));
  initWTOsc(&secondState_, tableSize, WavetableSet::kSubtables, kSecondStateWaves, sizeof(float));
  if (tablesReady) return;
  if (oscillatorMode == ZROscillatorMode::voice) {
    waves_ = WavetableSet::sharedVoiceSet(sampleRate);
    tableCount = waves_->tableCount;
  } else {
    ownWaves_ = std::make_shared<WavetableSet>(sampleRate);
    waves_ = ownWaves_;
    if (oscillatorMode == ZROscillatorMode::standardWaves) {
      for (int w = 0; w < 5; ++w) generateWaveInTable(static_cast<ZROscillatorWave>(w), ownWaves_->wave(w));
    } else if (oscillatorMode == ZROscillatorMode::scaledWave) {
      generateWaveInTable(ZROscillatorWave::shiftedSine, ownWaves_->wave(0));
      generateWaveInTable(ZROscillatorWave::sine, ownWaves_->wave(1));
    }
  }
  tablesReady = true;
}

void ZRWavetableOscillator::resetPhase() noexcept {
  phaseOne = 0;
  const int half = tableSize / 2;
  phaseTwo = static_cast<float>(half);
  phaseThree = 0;
}

void ZRWavetableOscillator::setRandomSeed(std::uint64_t seed) {
  random_.reseed(seed);
  if (oscillatorMode == ZROscillatorMode::standardWaves && ownWaves_ != nullptr) {
    const int counted = tableCount;
    generateWaveInTable(ZROscillatorWave::noise, ownWaves_->wave(noiseWave));
    tableCount = counted;
    ownWaves_->tableCount = counted;
  }
}

void ZRWavetableOscillator::runGenerator(int frames, float tempo) noexcept {
  ZRDSPOscillator::runGenerator(frames, tempo);
}

// What the block's steps are made with, but for the modulation of pitch by the sample. Also finds out whether
// every step is sure to lie above 0 and below a cycle.
OscillatorStepSettings ZRWavetableOscillator::stepSettings() noexcept {
  OscillatorStepSettings settings;
  settings.base = oscFreq.value;
  settings.octave = octaveFactor(oscOctave.value, firstDestinationSampleOf(oscOctave));
  settings.semitone = semitoneFactor(oscSemitones.value, firstDestinationSampleOf(oscSemitones));
  settings.cents = centsFactor(oscCents.value);
  settings.size = static_cast<float>(tableSize);
  settings.rate = sampleRate;
  if (oscillatorMode == ZROscillatorMode::scaledWave) settings.scale = 1.0F + oscWave.normalizedValue();
  if (subOctave != 0) settings.subDivisor = 2.0F * static_cast<float>(subOctave);
  if (subDetune != 0.0F)
    settings.subDetune = static_cast<float>(std::pow(kSemitone, static_cast<double>(subDetune)));
  const float longest = kMaxFrequencyHz / settings.rate;
  stepsAreShort_ = modMatrix != nullptr && settings.scale >= 0.0F && longest * settings.scale < 1.0F &&
                   settings.subDivisor > 0.0F && longest / settings.subDivisor * settings.subDetune < 1.0F;
  return settings;
}

void ZRWavetableOscillator::keepFrequencies(const OscillatorStepSettings& settings, float lastStep,
                                            int frames) noexcept {
  const float* modulation = destinationOf(oscFreq);
  if (modulation != nullptr) rawFrequency = settings.base + modulation[frames - 1];
  modulatedFrequency = lastStep * settings.rate / settings.size / settings.scale;
}

// f = (oscFreq + modulation) x octaves x semitones x cents, held between 1 Hz ahead of the factors and 20 kHz
// behind them. From it the steps of the main and sub phases in table samples.
void ZRWavetableOscillator::runFrequency(const OscillatorStepSettings& settings, int frames) noexcept {
  const float* modulation = destinationOf(oscFreq);
  const float* cents = destinationOf(oscCents);
  if (modulation == nullptr) {
    const float f = settings.base * settings.octave * settings.semitone * settings.cents;
    std::fill_n(increments_.data(), frames, f * settings.size / settings.rate * settings.scale);
    std::fill_n(subIncrements_.data(), frames,
                f / settings.subDivisor * settings.subDetune * settings.size / settings.rate);
  } else if (holdsPitch(frames)) {
    const float factor = centsFactor(cents[0]);
    voiceKernels().oscillatorSteps(settings, modulation, &factor, increments_.data(), subIncrements_.data(),
                                   1);
    std::fill_n(increments_.data() + 1, frames - 1, increments_[0]);
    std::fill_n(subIncrements_.data() + 1, frames - 1, subIncrements_[0]);
  } else {
    voiceKernels().centsFactors(cents, 1.0F, work.data(), frames);
    voiceKernels().oscillatorSteps(settings, modulation, work.data(), increments_.data(),
                                   subIncrements_.data(), frames);
  }
  keepFrequencies(settings, increments_[static_cast<std::size_t>(frames) - 1], frames);
}

ZRWavetableOscillator::Steps ZRWavetableOscillator::meanSteps(int frames) noexcept {
  if (frames <= 0) return {};
  runFrequency(stepSettings(), frames);
  Steps sum;
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    sum.main += static_cast<double>(increments_[i]);
    sum.sub += static_cast<double>(subIncrements_[i]);
  }
  return {sum.main / frames, sum.sub / frames};
}

void ZRWavetableOscillator::skip(Steps each, std::int64_t frames) noexcept {
  const auto count = static_cast<double>(frames);
  const auto size = static_cast<float>(tableSize);
  const auto moved = [&](float phase, double step) {
    const double position = static_cast<double>(phase) + step * count;
    return wrapped(static_cast<float>(std::fmod(position, static_cast<double>(tableSize))), size);
  };
  phaseOne = moved(phaseOne, each.main);
  phaseThree = moved(phaseThree, each.sub);
  phaseTwo = wrapped(lastWidth_ * size + phaseOne + static_cast<float>(each.main), size);
  random_ = noiseAfter(frames);
}

Random ZRWavetableOscillator::noiseAfter(std::int64_t frames) const noexcept {
  Random noise = random_;
  if (noiseLevel > 0.0F) noise.skip(static_cast<std::uint64_t>(frames));
  return noise;
}

bool ZRWavetableOscillator::holdsPitch(int frames) const noexcept {
  return holdsStill(oscFreq, frames) && holdsStill(oscCents, frames);
}

bool ZRWavetableOscillator::modulatesPhase() const noexcept {
  return modMatrix != nullptr && (fmAmount.value != 0.0F || destinationOf(fmAmount) != nullptr);
}

void ZRWavetableOscillator::runPhaseModulation(int frames) noexcept {
  phaseIsModulated_ = modulatesPhase();
  if (!phaseIsModulated_) return;
  const float depth = fmAmount.value;
  const float* fm = destinationOf(oscPhaseModulation);
  const float* depthModulation = destinationOf(fmAmount);
  for (int i = 0; i < frames; ++i) {
    phaseModulation_[static_cast<std::size_t>(i)] =
        fm[i] * (depth + (depthModulation != nullptr ? depthModulation[i] : 0.0F));
  }
}

// The second phase leads the first, already advanced, by the pulse width and one more step.
void ZRWavetableOscillator::runPhases(int frames) noexcept {
  const float size = static_cast<float>(tableSize);
  float one = phaseOne;
  float three = phaseThree;
  if (stepsAreShort_ && !phaseIsModulated_) {
    // Branches, as they are seldom taken and so stay out of the chain from sample to sample.
    for (int n = 0; n < frames; ++n) {
      const auto i = static_cast<std::size_t>(n);
      phaseOneBuffer[i] = one;
      phaseThreeBuffer[i] = three;
      one += increments_[i];
      if (one >= size) [[unlikely]]
        one -= size;
      three += subIncrements_[i];
      if (three >= size) [[unlikely]]
        three -= size;
    }
    const auto end = static_cast<std::size_t>(frames);
    phaseOneBuffer[end] = one;
    phaseTwoBuffer[0] = phaseTwo;
    voiceKernels().secondPhases(widths_.data(), phaseOneBuffer.data() + 1, increments_.data(), size,
                                phaseTwoBuffer.data() + 1, frames);
    phaseTwo = phaseTwoBuffer[end];
  } else {
    float two = phaseTwo;
    for (int n = 0; n < frames; ++n) {
      const auto i = static_cast<std::size_t>(n);
      phaseOneBuffer[i] = one;
      phaseTwoBuffer[i] = two;
      phaseThreeBuffer[i] = three;
      one = wrapped(one + (phaseIsModulated_ ? increments_[i] + phaseModulation_[i] : increments_[i]), size);
      two = wrapped(widths_[i] * size + one + increments_[i], size);
      three = wrapped(three + subIncrements_[i], size);
    }
    phaseTwo = two;
  }
  phaseOne = one;
  phaseThree = three;
}

// The band-limited copy for a note: one more for every factor of 1.44 above 0.9 times the base table's pitch.
void ZRWavetableOscillator::chooseCopy() noexcept {
  const bool isKnown = noteFrequency == chosenFrequency_ && tableSize == chosenSize_;
  if (isKnown) return;
  chosenFrequency_ = noteFrequency;
  chosenSize_ = tableSize;
  const double copies = (std::log10(static_cast<double>(noteFrequency)) - log10Low - log10Ratio) / log10Step;
  const double copy = copies > 0.0 ? std::min(std::floor(copies), static_cast<double>(kHighestCopy)) : 0.0;
  tablePosition = static_cast<float>(copy / kHighestCopy);
  readOffset_ = static_cast<int>(copy * tableSize + 1.0);
}

void ZRWavetableOscillator::runGenerator(float* left, float* /*right*/, int frames,
                                         float /*tempo*/) noexcept {
  if (frames <= 0) return;
  chooseCopy();
  const OscillatorStepSettings settings = stepSettings();
  if (oscillatorMode == ZROscillatorMode::voice && stepsAreShort_ && !modulatesPhase()) {
    runPulse(settings, left, frames);
    return;
  }
  runFrequency(settings, frames);
  runWidths(frames);
  runPhaseModulation(frames);
  runPhases(frames);
  switch (oscillatorMode) {
    case ZROscillatorMode::standardWaves:
      runStandardWaves(left, frames);
      break;
    case ZROscillatorMode::voice:
      runVoiceMode(left, frames);
      break;
    case ZROscillatorMode::scaledWave: {
      const float* sine = table(0) + readOffset_;
      for (int i = 0; i < frames; ++i) {
        left[i] = kTableGain * readClipped(sine, tableSize, phaseOneBuffer[static_cast<std::size_t>(i)]);
      }
      break;
    }
    case ZROscillatorMode::blend: {
      if (!morphEnabled) break;
      const float amount = std::clamp(morphAmount.value + firstDestinationSampleOf(morphAmount), -1.0F, 1.0F);
      blendIntoWork(clampedWave(truncatedInt(oscWave.value)), clampedWave(morphTable), std::fabs(amount));
      const float gain = level.value;
      for (int i = 0; i < frames; ++i) {
        left[i] = readClipped(work.data(), tableSize, phaseOneBuffer[static_cast<std::size_t>(i)]) * gain;
      }
      break;
    }
    case ZROscillatorMode::bank:
      runBank(left, frames);
      break;
  }
}

int ZRWavetableOscillator::clampedWave(int wave) const noexcept {
  return std::clamp(wave, 0, WavetableSet::kMaxWaves - 1);
}

void ZRWavetableOscillator::blendIntoWork(int wave, int other, float amount) noexcept {
  const float* from = table(wave) + readOffset_;
  const float* to = table(other) + readOffset_;
  for (int n = 0; n < tableSize; ++n)
    work[static_cast<std::size_t>(n)] = from[n] + amount * (to[n] - from[n]);
}

void ZRWavetableOscillator::runStandardWaves(float* left, int frames) noexcept {
  const float gain = level.value;
  if (oscWave.intValue() == noiseWave) {
    if (noiseFromTable) {
      std::copy_n(table(clampedWave(noiseWave)), tableSize, work.data());
    } else {
      for (int n = 0; n < frames; ++n) {
        left[n] = gaussianNoise(random_);
        work[static_cast<std::size_t>(n)] = left[n];
      }
    }
    for (int n = 0; n < frames; ++n) left[n] *= gain;
    return;
  }
  const int wave = clampedWave(truncatedInt(oscWave.value + firstDestinationSampleOf(oscWave)));
  if (morphEnabled) {
    const float amount = std::clamp(morphAmount.value + firstDestinationSampleOf(morphAmount), -1.0F, 1.0F);
    const int count = std::max(tableCount, 1);
    const int other = amount < 0.0F ? (wave > 0 ? wave - 1 : count - 1) : (wave + 1 < count ? wave + 1 : 0);
    blendIntoWork(wave, clampedWave(other), std::fabs(amount));
    for (int n = 0; n < frames; ++n) {
      left[n] = readClipped(work.data(), tableSize, phaseOneBuffer[static_cast<std::size_t>(n)]) * gain;
    }
    return;
  }
  const float* cycle = table(wave) + readOffset_;
  for (int n = 0; n < frames; ++n)
    left[n] = readTable(cycle, phaseOneBuffer[static_cast<std::size_t>(n)]) * gain;
}

// Blends two neighbouring frames of the bank by the position's fraction. An empty bank is silent.
void ZRWavetableOscillator::runBank(float* left, int frames) noexcept {
  if (bankTableCount <= 0) {
    std::fill_n(left, frames, 0.0F);
    return;
  }
  const auto span = static_cast<float>(bankTableCount - 1);
  const float position = morphAmount.value * span + firstDestinationSampleOf(morphAmount) * span;
  int frame = std::max(truncatedInt(position), 0);
  float fraction = position > 0.0F ? position - static_cast<float>(frame) : 0.0F;
  if (frame >= bankTableCount) {
    frame = 0;
    fraction = 0.0F;
  }
  const float* from = bank_.data() + static_cast<std::ptrdiff_t>(frame) * kBankFrameSize;
  const float* to = bank_.data() + static_cast<std::ptrdiff_t>((frame + 1) % bankTableCount) * kBankFrameSize;
  for (int n = 0; n < kBankFrameSize; ++n)
    work[static_cast<std::size_t>(n)] = from[n] + fraction * (to[n] - from[n]);
  for (int n = 0; n < frames; ++n) {
    left[n] = readClipped(work.data(), kBankFrameSize, phaseOneBuffer[static_cast<std::size_t>(n)]);
  }
  tableSize = kBankFrameSize;
}

}  // namespace morv
