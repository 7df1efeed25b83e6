#include "voice/ZRBasicEnvelope.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "modulation/ZRDSPModMatrix.h"

namespace morv {
namespace {

// Added to the set times: the fastest attack, and no division by 0.
constexpr double kLeastAttackSeconds = 0.001;
constexpr double kLeastDecaySeconds = 0.0001;
constexpr double kVelocityExponent = 1.5;
constexpr double kGreatestLevel = 1.0e12;

constexpr std::array<ParameterRow, 3> kRows = {{
    {"envVelocity", "Env Velocity", 0, 1, 1},
    {"envGate", "Env Gate", 0, 1, 0, ZRDSPParameterUnit::boolean},
    {"envMax", "Env Max", 0, 1, 1},
}};
static_assert(std::ranges::all_of(kRows, [](const ParameterRow& row) {
  return row.minValue <= row.defaultValue && row.defaultValue <= row.maxValue;
}));

float lengthened(float seconds, double least) noexcept {
  return static_cast<float>(static_cast<double>(seconds) + least);
}

}  // namespace

ZRBasicEnvelope::ZRBasicEnvelope(float sampleRateHz, int framesPerBlock, int* addressCounter)
    : ZRBasicEnvelope(sampleRateHz, framesPerBlock, addressCounter, 0) {}

ZRBasicEnvelope::ZRBasicEnvelope(float sampleRateHz, int framesPerBlock, int* addressCounter, int entityIndex)
    : ZRDSPEntity(sampleRateHz, *addressCounter, entityIndex) {
  blockSize = framesPerBlock;
  name = "BasicEnvelope";
  const std::array<ZRDSPParameter*, kRows.size()> records = {&envVelocity, &envGate, &envMax};
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    initParameter(kRows[i], (*addressCounter)++, records[i]);
    records[i]->name += indexSuffix;
  }
  isModSource = true;
}

void ZRBasicEnvelope::setModMatrix(ZRDSPModMatrix* matrix) {
  modMatrix = matrix;
  modSourceIndex = matrix->registerSource(this, false, true, "");
  numModOutputs = 1;
  modOutputSources = {modSourceIndex};
  isPublicModSource = true;
}

float ZRBasicEnvelope::velocityGain(float velocity) const noexcept {
  const float amount = envVelocity.value;
  const float gain = 1.0F - amount + amount * velocity;
  return static_cast<float>(std::pow(static_cast<double>(gain), kVelocityExponent));
}

void ZRBasicEnvelope::setGate(int newGate, float velocity) noexcept {
  if (newGate == gate) return;
  time = 0;
  gate = newGate;
  delaySamples = static_cast<int>(delay * static_cast<float>(delayUnit) * sampleRate);
  delayCount = 0;
  if (newGate != 0) {
    attackStart = state_ == 0 ? 0.0F : level;
    state_ = 1;
    stageTarget = sustain;
    velocityScale = velocityGain(velocity);
    if (onTrigger != nullptr) onTrigger(callbackOwner);
    return;
  }
  if (state_ == 0 || envelopeMode != 0 || loop) return;
  stageTarget = level;
  attackStart = 0;
  state_ = 4;
}

void ZRBasicEnvelope::trigger() noexcept {
  time = 0;
  state_ = 1;
  attackStart = 0;
  if (onTrigger != nullptr) onTrigger(callbackOwner);
}

void ZRBasicEnvelope::reset() noexcept {}

// A block of one value is handed to the matrix as such.
void ZRBasicEnvelope::runGenerator(int frames, float tempo) noexcept {
  if (modMatrix == nullptr || modMatrix->readSource(modSourceIndex) == nullptr) return;
  float value = 0;
  if (envelopeMode == 0 && state_ == lastState && delayCount >= delaySamples &&
      adsr_state_hold(time, state_, stageSettings(tempo), frames, value)) {
    modMatrix->holdSource(modSourceIndex, value, frames);
    storeLevel(value);
    return;
  }
  runAndApplyEnvelope(modMatrix->sourceBuffer(modSourceIndex), frames, tempo);
}

EnvelopeStageSettings ZRBasicEnvelope::stageSettings(float tempo) const noexcept {
  return {loop,
          sync,
          sampleRate,
          velocityScale,
          attackStart,
          lengthened(attack, kLeastAttackSeconds),
          lengthened(decay, kLeastDecaySeconds),
          stageTarget,
          lengthened(release, kLeastDecaySeconds),
          tempo};
}

// Samples up to the end of the present stage or of the block.
int ZRBasicEnvelope::runStage(float* out, int frames, float tempo) noexcept {
  const EnvelopeStageSettings settings = stageSettings(tempo);
  if (envelopeMode == 0) return adsr_state_block(time, state_, settings, out, frames);
  const int samples = ad_state_block(time, state_, settings, out, frames);
  shapeAttackDecay(out, samples);
  return samples;
}

void ZRBasicEnvelope::shapeAttackDecay(float* out, int frames) const noexcept {
  for (int i = 0; i < frames; ++i) out[i] = std::max(out[i], 0.0F);
  if (envelopeCurve == 1) {
    for (int i = 0; i < frames; ++i) out[i] = (out[i] * out[i]) * (out[i] * out[i]);
  } else if (envelopeCurve == 2) {
    for (int i = 0; i < frames; ++i) out[i] = std::sqrt(out[i]);
  }
}

// A knob that is turned within a stage moves the line that the stage runs on, and with it the present sample
// by up to some 10^5 times; the next stage goes on from there. The bound keeps such steps upon steps numbers.
void ZRBasicEnvelope::storeLevel(float output) noexcept {
  const auto scale = static_cast<double>(velocityScale);
  const double reached = scale != 0.0 ? static_cast<double>(output) * (1.0 / scale) : 0.0;
  level = static_cast<float>(std::clamp(reached, -kGreatestLevel, kGreatestLevel));
}

void ZRBasicEnvelope::runAndApplyEnvelope(float* buffer, int frames, float tempo) noexcept {
  int done = 0;
  while (done < frames) {
    float* out = buffer + done;
    const int left = frames - done;
    if (delayCount < delaySamples) {
      const int silent = std::min(left, delaySamples - delayCount);
      std::fill_n(out, silent, 0.0F);
      delayCount += silent;
      done += silent;
      continue;
    }
    const int samples = runStage(out, left, tempo);
    done += samples;
    if (state_ != lastState) {
      // A callback sees the level of the sample before the one that it is called for.
      if (samples > 1) storeLevel(out[samples - 2]);
      if (state_ == 2 && onDecay != nullptr) onDecay(callbackOwner);
      if (state_ == 0) {
        gate = 0;
        if (onEnd != nullptr) onEnd(callbackOwner);
      }
    }
    storeLevel(out[samples - 1]);
    lastState = state_;
  }
}

}  // namespace morv
