#include "effects/ZRDSPEffect.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "effects/EffectMemory.h"
#include "effects/HeldSettings.h"
#include "platform/DiagnosticRing.h"
#include "render/BlockLimits.h"
#include "render/FiniteCheck.h"

namespace morv {
namespace {

// How often in a second what the output does not show is looked at; every 512 frames at 48 kHz.
constexpr float kLooksPerSecond = 93.75F;
// In which the memory is emptied, and so the bound of one block's part of it.
constexpr float kForgettingSeconds = 0.04F;
// Floats that any block empties at least.
constexpr std::size_t kLeastSlice = 32768;

}  // namespace

ZRDSPEffect::ZRDSPEffect(float sampleRateHz) : ZRDSPEntity(sampleRateHz), hostRate_(sampleRateHz) {}

ZRDSPEffect::~ZRDSPEffect() = default;

void ZRDSPEffect::prepare(float sampleRateHz, int blockSizeFrames) {
  endForgetting();
  sampleRate = sampleRateHz;
  hostRate_ = sampleRateHz;
  blockSize = blockSizeFrames;
}

void ZRDSPEffect::reset() { endForgetting(); }

void ZRDSPEffect::runEffect(const float* /*inL*/, const float* /*inR*/, const float* /*sidechain*/,
                            float* /*outL*/, float* /*outR*/, int /*frames*/, float /*tempo*/) noexcept {}

void ZRDSPEffect::setGateWithNote(int /*gate*/, int /*note*/, int /*velocity*/) noexcept {}

void ZRDSPEffect::runSequencer() noexcept {}

void ZRDSPEffect::resetTimeline(int /*mode*/) noexcept {}

int ZRDSPEffect::latencyFrames() const noexcept { return 0; }

void ZRDSPEffect::setRandomSeed(std::uint64_t /*seed*/) {}

void ZRDSPEffect::_runEffect(const float* /*inL*/, const float* /*inR*/, float* /*outL*/, float* /*outR*/,
                             int /*frames*/, float /*tempo*/) noexcept {}

bool ZRDSPEffect::_isIdle() const noexcept { return bypass.intValue() != 0; }

const char* ZRDSPEffect::_diagnosticName() const noexcept { return "effect"; }

bool ZRDSPEffect::_holdsNumbers() const noexcept { return true; }

void ZRDSPEffect::_forget(EffectMemory* /*memory*/) noexcept {}

float ZRDSPEffect::_dryGain() const noexcept {
  return 1.0F - heldSetting(mix.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
}

void ZRDSPEffect::runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                            float tempo) noexcept {
  const bool isIdle = _isIdle();
  recoveries_.pass(frames);
  if (isUntold_) [[unlikely]]
    tell();
  if (isForgetting_) [[unlikely]] {
    forgetSlice(frames);
    if (isIdle) return;
    letThrough(inL, outL, frames);
    letThrough(inR, outR, frames);
    return;
  }
  _runEffect(inL, inR, outL, outR, frames, tempo);
  if (isIdle) return;
  // In place what went in is gone.
  const auto kept = [outL, outR](const float* in) { return in != outL && in != outR ? in : nullptr; };
  const float* keptL = kept(inL);
  const float* keptR = kept(inR);
  bool isSpoilt = false;
  if (!areFinite(outL, outR, frames)) [[unlikely]] {
    isSpoilt = spoiltNumbers(keptL, outL, frames) || spoiltNumbers(keptR, outR, frames);
  }
  framesUnwatched_ += frames;
  if (static_cast<float>(framesUnwatched_) >= hostRate_ / kLooksPerSecond) {
    framesUnwatched_ = 0;
    isSpoilt = isSpoilt || !_holdsNumbers();
    isAiling_ = isAiling_ && isSpoilt;
  }
  if (!isSpoilt) [[likely]]
    return;
  beginForgetting();
  forgetSlice(frames);
  letThrough(keptL, outL, frames);
  letThrough(keptR, outR, frames);
}

// Whether something that is no number came out where a number went in. An input that is none is another's
// fault, even if it comes out again.
bool ZRDSPEffect::spoiltNumbers(const float* in, const float* out, int frames) const noexcept {
  for (int i = 0; i < frames; ++i) {
    if (!std::isfinite(out[i]) && (in == nullptr || std::isfinite(in[i]))) return true;
  }
  return false;
}

void ZRDSPEffect::beginForgetting() noexcept {
  forgotten_ = 0;
  const bool wasAiling = isAiling_;
  isAiling_ = true;
  if (wasAiling) return;
  if (recoveries_.count(hostRate_)) tell();
}

// An effect's own complaints may have filled the ring in this very block; it is then told later. Where nobody
// drains the ring, it is given up.
void ZRDSPEffect::tell() noexcept {
  const bool isTold = DiagnosticRing::shared().postIntegersWord(
      "[RECOVERY] %i: effect at %i Hz held what is no number: %s\n",
      static_cast<std::int32_t>(recoveries_.total()), truncatedInt(hostRate_), _diagnosticName());
  isUntold_ = !isTold && recoveries_.isNews(hostRate_);
}

void ZRDSPEffect::forgetSlice(int frames) noexcept {
  EffectMemory all(0, 0);
  _forget(&all);
  const float share = static_cast<float>(frames) / (kForgettingSeconds * hostRate_);
  const auto floats = static_cast<float>(all.walked());
  const auto slice = std::max(static_cast<std::size_t>(std::clamp(share, 0.0F, 1.0F) * floats), kLeastSlice);
  EffectMemory memory(forgotten_, slice);
  _forget(&memory);
  forgotten_ += slice;
  isForgetting_ = forgotten_ < all.walked();
}

// All that is left of it at once. What is found next is of its own.
void ZRDSPEffect::endForgetting() noexcept {
  if (isForgetting_) {
    EffectMemory rest(forgotten_, std::numeric_limits<std::size_t>::max() - forgotten_);
    _forget(&rest);
  }
  isForgetting_ = false;
  isAiling_ = false;
}

void ZRDSPEffect::letThrough(const float* in, float* out, int frames) const noexcept {
  const float gain = _dryGain();
  for (int i = 0; i < frames; ++i) out[i] = in != nullptr ? gain * heldInput(in[i]) : 0.0F;
}

}  // namespace morv
