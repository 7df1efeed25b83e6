#include "effects/ZRBasicDelay.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "effects/DelayBlocks.h"
#include "effects/EffectKernels.h"
#include "effects/HeldSettings.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kBypass = {"echoBypass", "Bypass", 0, 1, 1, U::boolean};
constexpr ParameterRow kMix = {"echoMix", "Echo Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kTime = {"echoTime", "Time", 0, 500, 250, U::milliseconds};
constexpr ParameterRow kRelative = {"echoRelative", "Relative Time", -1, 1, 0};
constexpr ParameterRow kFeedback = {"echoFeedback", "Feedback", 0, 1, 0.25F};
constexpr ParameterRow kSync = {"syncTempo", "BPM Sync", 0, 1, 0, U::boolean};
constexpr ParameterRow kHighpass = {"highpass", "Highpass", 0, 20000, 0, U::hertz};
constexpr ParameterRow kSpread = {"echoSpread", "Spread", 0, 100, 0, U::percent};

constexpr float kLineSeconds = 5.0F;
constexpr double kSmoothingMs = 500.0;
constexpr float kSpreadMs = 10.0F;  // at full spread, to each side
constexpr float kLeastSeconds = 0.0001F;
constexpr float kSyncUnit = 0.0625F;  // of a beat
constexpr float kSyncSteps = 5.0F;
// More than the greatest block writes.
constexpr int kErasedPerBlock = 4 * kMaxBlockFrames;
constexpr float kGreatestMs = 1.0e6F;

}  // namespace

struct ZRBasicDelay::Side {
  uniComb* line;
  tpt* filter;
  float* time;
  float target;
  float feedback;
  float cutoffHz;
  float wetGain;
  float dryGain;
  float* dry;  // the stretch's input
  float* out;
};

ZRBasicDelay::ZRBasicDelay(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
  identifier = "basicdelay";
  name = "Echo";
  initParameter(kBypass, -1, &bypass);
  initParameter(kMix, -1, &mix);
  initParameter(kTime, -1, &echoTime);
  initParameter(kRelative, -1, &echoRelative);
  initParameter(kFeedback, -1, &echoFeedback);
  initParameter(kSync, -1, &syncTempo);
  initParameter(kHighpass, -1, &highpass);
  initParameter(kSpread, -1, &echoSpread);
  _buildLines();
  initTPT(&highpassL);
  initTPT(&highpassR);
  smoothing =
      static_cast<float>(std::exp(std::log(0.01) / (kSmoothingMs * static_cast<double>(sampleRate) * 0.001)));
  firstSmoothing_ = smoothing;
}

ZRBasicDelay::~ZRBasicDelay() = default;

void ZRBasicDelay::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  _buildLines();
}

void ZRBasicDelay::_buildLines() {
  for (uniComb* line : {&delayL, &delayR}) {
    initUniComb(line, static_cast<int>(kLineSeconds * sampleRate));
    line->linear = 1;
  }
  written_ = 0;
  erased_ = 0;
  dirty_ = 0;
}

void ZRBasicDelay::reset() {
  ZRDSPEffect::reset();
  resetUniComb(&delayL);
  resetUniComb(&delayR);
  written_ = 0;
  erased_ = 0;
  dirty_ = 0;
}

// Times in seconds from the knob, or from the tempo in six steps of a sixteenth of a beat to two beats; the
// spread pulls the sides apart.
void ZRBasicDelay::_updateTargets(float tempo) noexcept {
  const float spreadMs =
      kSpreadMs * heldSetting(echoSpread.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
  const float timeMs = heldSetting(echoTime.value, -kGreatestMs, kGreatestMs);
  if (syncTempo.intValue() != 0) {
    const float base = 60.0F / tempo * kSyncUnit;
    const int steps = truncatedInt(echoTime.normalizedValue() * kSyncSteps);
    const float unit = std::ldexp(base, steps);
    if (!std::isfinite(unit)) return;
    targetL_ = unit + spreadMs / 1000.0F;
    targetR_ = unit - spreadMs / 1000.0F;
  } else {
    targetL_ = (timeMs + spreadMs) / 1000.0F;
    targetR_ = (timeMs - spreadMs) / 1000.0F;
  }
  targetL_ = targetL_ > 0.0F ? std::min(targetL_, kGreatestMs) : kLeastSeconds;
  targetR_ = targetR_ > 0.0F ? std::min(targetR_, kGreatestMs) : kLeastSeconds;
}

void ZRBasicDelay::_eraseUpTo(int end) noexcept {
  for (uniComb* line : {&delayL, &delayR}) {
    std::fill(line->buffer.data() + erased_, line->buffer.data() + end, 0.0F);
  }
  erased_ = end;
}

// The lines count as empty from here on: what they hold between `erased_` and `dirty_` is not read. The two
// last elements border on what will be written first.
void ZRBasicDelay::_beginErasing() noexcept {
  dirty_ = std::max(dirty_, written_);
  erased_ = 0;
  written_ = 0;
  for (uniComb* line : {&delayL, &delayR}) {
    line->buffer[static_cast<std::size_t>(line->size - 1)] = 0;
    line->buffer[static_cast<std::size_t>(line->size - 2)] = 0;
    line->writeIndex = 0;
    line->position = 0;
    line->state = 0;
  }
}

void ZRBasicDelay::_eraseSome() noexcept {
  if (erased_ < dirty_) _eraseUpTo(std::min(dirty_, erased_ + kErasedPerBlock));
  if (erased_ >= dirty_) dirty_ = 0;
}

// What enters the line of a side: the stretch behind its high-pass. At 0 Hz that is the stretch itself, less
// what the filter held when it was closed.
void ZRBasicDelay::filterInput(const Side& side, float* entering, int frames) noexcept {
  tpt filter = *side.filter;
  setHeldTPTCutoff(&filter, side.cutoffHz, sampleRate);
  if (filter.G == 0.0F) {
    for (int i = 0; i < frames; ++i) entering[i] = side.dry[i] - filter.z1;
  } else {
    for (int i = 0; i < frames; ++i) entering[i] = runTPT2(&filter, kTPTHighpass1, side.dry[i], sampleRate);
  }
  *side.filter = filter;
}

// The line at its time. The follower comes to stand when a step no longer moves it; the reads are then
// neighbours.
void ZRBasicDelay::readLine(const Side& side, float* delayed, int frames) noexcept {
  const float c = smoothing;
  const float target = side.target;
  float time = *side.time;
  float delays[kDelayBlock];
  if (c * (time - target) + target == time) {
    std::fill_n(delays, frames, time * sampleRate);
    readUniComb(*side.line, time * sampleRate, delayed, frames);
  } else {
    for (int i = 0; i < frames; ++i) {
      time = c * (time - target) + target;
      delays[i] = time * sampleRate;
    }
    *side.time = time;
    readUniComb(*side.line, delays, delayed, frames);
  }
  if (dirty_ == 0) return;
  // What was there before the lines were sent back to their start is silence.
  const float position = side.line->position;
  for (int i = 0; i < frames; ++i) {
    if (position + static_cast<float>(i) - delays[i] < -2.0F) delayed[i] = 0.0F;
  }
}

// out = dry in + wet d, with d read from the line and in + feedback d written to it.
void ZRBasicDelay::runSide(const Side& side, int frames) noexcept {
  float entering[kDelayBlock];
  float delayed[kDelayBlock];
  filterInput(side, entering, frames);
  readLine(side, delayed, frames);
  effectKernels().mix(1.0F, entering, side.feedback, delayed, entering, frames);
  writeUniComb(side.line, entering, frames);
  effectKernels().mix(side.dryGain, side.dry, side.wetGain, delayed, side.out, frames);
}

// The times glide between where they stand and their targets. One that is longer than the line comes round in
// it and may be short.
int ZRBasicDelay::_longestStretch() const noexcept {
  const auto [least, greatest] = std::minmax({timeL, timeR, targetL_, targetR_});
  if (greatest * sampleRate >= static_cast<float>(delayL.size - kDelayBlock)) return 1;
  return delayBlockFor(least * sampleRate);
}

void ZRBasicDelay::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                              float tempo) noexcept {
  if (bypass.intValue() != 0) {
    if (needsReset) _beginErasing();
    needsReset = false;
    wasBypassed = true;
    _eraseSome();
    return;
  }
  wasBypassed = false;
  needsReset = true;
  _updateTargets(tempo);
  const float feedback = heldSetting(echoFeedback.normalizedValue(), 0.0F, 1.0F);
  const float cutoffHz = heldSetting(highpass.value, 0.0F, kGreatestMs);
  const float wet = heldSetting(mix.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
  const float dry = routing != 0 ? 1.0F : 1.0F - wet;
  float dryL[kDelayBlock];
  float dryR[kDelayBlock] = {};
  const int longest = _longestStretch();
  // Erasing stays ahead of what a block writes. A delay that comes round in the line would read behind it.
  if (longest == 1 && dirty_ != 0) _eraseUpTo(std::max(erased_, dirty_));
  _eraseSome();
  for (int start = 0; start < frames; start += longest) {
    const int n = std::min(longest, frames - start);
    heldInputs(inL + start, dryL, n);
    if (inR != nullptr) heldInputs(inR + start, dryR, n);
    runSide({&delayL, &highpassL, &timeL, targetL_, feedback, cutoffHz, wet, dry, dryL, outL + start}, n);
    runSide({&delayR, &highpassR, &timeR, targetR_, feedback, cutoffHz, wet, dry, dryR, outR + start}, n);
  }
  written_ = std::min(written_ + frames, delayL.size);
}

}  // namespace morv
