#include "voice/ZRVAEnvelope.h"

#include <algorithm>
#include <cmath>

#include "modulation/ZRDSPModMatrix.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

constexpr float kTableSeconds = 5.0F;
constexpr float kLeastStageSeconds = 0.0025F;  // added to attack and release, so that neither clicks
constexpr float kAttackFloor = 0.0001F;        // -80 dB
constexpr float kAttackSteepness = 5.0F;
constexpr int kGreatestCount = 1 << 30;  // some hours on, where nothing depends on the counters any more

std::size_t tableSize(float sampleRateHz) { return static_cast<std::size_t>(kTableSeconds * sampleRateHz); }

// Straight line over `count` points with both ends among them, of which the first `capacity` are written.
void writeRamp(float* out, float from, float to, int count, int capacity) noexcept {
  const float step = count > 1 ? (to - from) / static_cast<float>(count - 1) : 0.0F;
  const int written = std::min(count, capacity);
  for (int i = 0; i < written; ++i) out[i] = from + static_cast<float>(i) * step;
}

int advanced(int count, int frames) noexcept {
  return count < kGreatestCount - frames ? count + frames : kGreatestCount;
}

// Multiplies by table[from] onwards; beyond `end` by `beyond`.
void multiplyFromTable(float* buffer, int frames, const float* table, int from, int end,
                       float beyond) noexcept {
  const int inside = std::clamp(end - from, 0, frames);
  const float* gains = inside > 0 ? table + from : table;
  for (int i = 0; i < inside; ++i) buffer[i] *= gains[i];
  for (int i = inside; i < frames; ++i) buffer[i] *= beyond;
}

}  // namespace

ZRVAEnvelope::ZRVAEnvelope(float sampleRateHz, int framesPerBlock)
    : ZRDSPEntity(sampleRateHz),
      attackDecayTable(tableSize(sampleRateHz)),
      releaseTable(tableSize(sampleRateHz)) {
  blockSize = framesPerBlock;
  name = "VAEnvelope";
  isModSource = true;
  reset();
}

void ZRVAEnvelope::setModMatrix(ZRDSPModMatrix* matrix) {
  modMatrix = matrix;
  outputSource = matrix->registerSource(this, false, false, "");
  modSourceIndex = outputSource;
}

int ZRVAEnvelope::idleCount() const noexcept { return static_cast<int>(kTableSeconds * sampleRate); }

void ZRVAEnvelope::reset() noexcept {
  counter = idleCount();
  releaseCounter = idleCount();
  updateEnvelope();
}

void ZRVAEnvelope::updateEnvelope() noexcept {
  attackSamples = static_cast<int>((kLeastStageSeconds + attack) * sampleRate);
  decaySamples = static_cast<int>(decay * sampleRate);
  releaseSamples = static_cast<int>((kLeastStageSeconds + release) * sampleRate);
  const float settings = static_cast<float>(firstStages() + releaseSamples) + sustain;
  if (settings == static_cast<float>(signature) || counter < firstStages()) return;
  signature = static_cast<int>(settings);
  const int held = firstStages() + std::max(blockSize, kMaxBlockFrames);
  std::fill_n(attackDecayTable.data(), std::min(held, tableSamples()), sustain);
  writeAttack();
  writeDecay();
  writeRelease(sustain);
}

void ZRVAEnvelope::writeAttack() noexcept {
  float* table = attackDecayTable.data();
  writeRamp(table, kAttackFloor, peak, attackSamples, tableSamples());
  if (curve != 1) return;
  const int written = std::min(attackSamples, tableSamples());
  for (int i = 0; i < written; ++i) table[i] = std::exp(kAttackSteepness * (table[i] - 1.0F));
}

// Linear, or exp(u ln sustain), written as a power so that a sustain of 0 falls from one to silence.
void ZRVAEnvelope::writeDecay() noexcept {
  const int room = tableSamples() - attackSamples;
  if (room <= 0) return;
  float* table = attackDecayTable.data() + attackSamples;
  if (curve != 1) {
    writeRamp(table, peak, sustain, decaySamples, room);
    return;
  }
  writeRamp(table, 0.0F, peak, decaySamples, room);
  const int written = std::min(decaySamples, room);
  for (int i = 0; i < written; ++i) table[i] = std::pow(sustain, table[i]);
}

void ZRVAEnvelope::writeRelease(float from) noexcept {
  if (from == releaseFrom_ && releaseSamples == releaseLength_) return;
  writeRamp(releaseTable.data(), from, 0.0F, releaseSamples, static_cast<int>(releaseTable.size()));
  releaseFrom_ = from;
  releaseLength_ = releaseSamples;
}

void ZRVAEnvelope::setGate(int newGate) noexcept {
  if (gate == 0 && newGate != 0) {
    updateEnvelope();
    if (counter <= firstStages() + releaseSamples)
      writeRamp(attackDecayTable.data(), lastValue, peak, attackSamples, tableSamples());
    counter = 0;
    releaseCounter = 0;
  }
  gate = newGate;
}

void ZRVAEnvelope::runGenerator(int frames, float tempo) noexcept {
  if (modMatrix == nullptr) return;
  float* buffer = modMatrix->sourceBuffer(outputSource);
  if (buffer == nullptr) return;
  std::fill_n(buffer, frames, 1.0F);
  runAndApplyEnvelope(buffer, frames, tempo);
}

void ZRVAEnvelope::applyOpenGate(float* buffer, int frames, float tempo) noexcept {
  if (counter < firstStages()) {
    multiplyFromTable(buffer, frames, attackDecayTable.data(), counter, tableSamples(), sustain);
    return;
  }
  if (loop) {
    const float beat = std::trunc(timeDivisionToPeriod(1.0F, 4.0F, tempo) * sampleRate);
    if (!sync || static_cast<float>(counter) > beat) counter = 0;
  }
  const float gain = sustain;
  for (int i = 0; i < frames; ++i) buffer[i] *= gain;
}

void ZRVAEnvelope::applyClosedGate(float* buffer, int frames) noexcept {
  if (counter <= firstStages() + frames) {
    const int attackEnd = std::clamp(attackSamples - 1, 0, tableSamples() - 1);
    writeRelease(attackDecayTable[static_cast<std::size_t>(attackEnd)]);
  }
  const int end =
      releaseCounter > releaseSamples ? 0 : std::min(releaseSamples, static_cast<int>(releaseTable.size()));
  multiplyFromTable(buffer, frames, releaseTable.data(), end == 0 ? 0 : releaseCounter, end, 0.0F);
  releaseCounter = advanced(releaseCounter, frames);
}

void ZRVAEnvelope::runAndApplyEnvelope(float* buffer, int frames, float tempo) noexcept {
  if (frames <= 0) return;
  if (gate != 0) {
    applyOpenGate(buffer, frames, tempo);
  } else {
    applyClosedGate(buffer, frames);
  }
  counter = advanced(counter, frames);
  lastValue = buffer[frames - 1];
}

}  // namespace morv
