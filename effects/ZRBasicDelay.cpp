#include "effects/ZRBasicDelay.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "effects/DelayBlocks.h"

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
constexpr int kErasedPerBlock = 16384;
// The one-pole's tangent turns round at half the rate; a cutoff above this part of the rate is held here.
constexpr float kHighestCutoff = 0.499F;

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
}

void ZRBasicDelay::reset() {
  resetUniComb(&delayL);
  resetUniComb(&delayR);
  written_ = 0;
  erased_ = 0;
}

// Times in seconds from the knob, or from the tempo in six steps of a sixteenth of a beat to two beats; the
// spread pulls the sides apart.
void ZRBasicDelay::_updateTargets(float tempo) noexcept {
  const float spreadMs = kSpreadMs * echoSpread.normalizedValue();
  if (syncTempo.intValue() != 0) {
    const float base = 60.0F / tempo * kSyncUnit;
    const int steps = truncatedInt(echoTime.normalizedValue() * kSyncSteps);
    const float unit = std::ldexp(base, steps);
    if (!(tempo > 0.0F) || !std::isfinite(unit)) return;
    targetL_ = unit + spreadMs / 1000.0F;
    targetR_ = unit - spreadMs / 1000.0F;
  } else {
    targetL_ = (echoTime.value + spreadMs) / 1000.0F;
    targetR_ = (echoTime.value - spreadMs) / 1000.0F;
  }
  if (!(targetL_ > 0.0F)) targetL_ = kLeastSeconds;
  if (!(targetR_ > 0.0F)) targetR_ = kLeastSeconds;
}

void ZRBasicDelay::_eraseUpTo(int end) noexcept {
  for (uniComb* line : {&delayL, &delayR}) {
    std::fill(line->buffer.data() + erased_, line->buffer.data() + end, 0.0F);
  }
  erased_ = end;
}

// A bypassed block. The first one sends the lines back to their start and begins to empty them.
void ZRBasicDelay::_rest() noexcept {
  wasBypassed = true;
  if (needsReset) {
    needsReset = false;
    erased_ = 0;
    for (uniComb* line : {&delayL, &delayR}) {
      line->writeIndex = 0;
      line->position = 0;
      line->state = 0;
    }
  }
  if (erased_ < written_) _eraseUpTo(std::min(written_, erased_ + kErasedPerBlock));
}

// What enters the line of a side: the stretch behind its high-pass. At 0 Hz that is the stretch itself, less
// what the filter held when it was closed.
void ZRBasicDelay::filterInput(const Side& side, float* entering, int frames) noexcept {
  tpt filter = *side.filter;
  setTPTCutoff(&filter, side.cutoffHz, sampleRate);
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
  if (c * (time - target) + target == time) {
    readUniComb(*side.line, time * sampleRate, delayed, frames);
    return;
  }
  float delays[kDelayBlock];
  for (int i = 0; i < frames; ++i) {
    time = c * (time - target) + target;
    delays[i] = time * sampleRate;
  }
  *side.time = time;
  readUniComb(*side.line, delays, delayed, frames);
}

// out = dry in + wet d, with d read from the line and in + feedback d written to it.
void ZRBasicDelay::runSide(const Side& side, int frames) noexcept {
  float entering[kDelayBlock];
  float delayed[kDelayBlock];
  filterInput(side, entering, frames);
  readLine(side, delayed, frames);
  for (int i = 0; i < frames; ++i) entering[i] += side.feedback * delayed[i];
  writeUniComb(side.line, entering, frames);
  for (int i = 0; i < frames; ++i) side.out[i] = side.dryGain * side.dry[i] + side.wetGain * delayed[i];
}

// The times glide between where they stand and their targets. One that is longer than the line comes round in
// it and may be short.
int ZRBasicDelay::_longestStretch() const noexcept {
  const auto [least, greatest] = std::minmax({timeL, timeR, targetL_, targetR_});
  if (greatest * sampleRate >= static_cast<float>(delayL.size - kDelayBlock)) return 1;
  return delayBlockFor(least * sampleRate);
}

void ZRBasicDelay::runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                             float tempo) noexcept {
  if (bypass.intValue() != 0) {
    _rest();
    return;
  }
  if (wasBypassed) {
    wasBypassed = false;
    _eraseUpTo(std::max(erased_, written_));
    written_ = 0;
    erased_ = 0;
  }
  needsReset = true;
  _updateTargets(tempo);
  const float feedback = clamp(echoFeedback.normalizedValue(), 0.0F, 1.0F);
  const float cutoffHz = std::min(std::max(0.0F, highpass.value.load()), kHighestCutoff * sampleRate);
  const float wet = mix.normalizedValue();
  const float dry = routing != 0 ? 1.0F : 1.0F - wet;
  float dryL[kDelayBlock];
  float dryR[kDelayBlock] = {};
  const int longest = _longestStretch();
  for (int start = 0; start < frames; start += longest) {
    const int n = std::min(longest, frames - start);
    std::copy_n(inL + start, n, dryL);
    if (inR != nullptr) std::copy_n(inR + start, n, dryR);
    runSide({&delayL, &highpassL, &timeL, targetL_, feedback, cutoffHz, wet, dry, dryL, outL + start}, n);
    runSide({&delayR, &highpassR, &timeR, targetR_, feedback, cutoffHz, wet, dry, dryR, outR + start}, n);
  }
  written_ = std::min(written_ + frames, delayL.size);
}

}  // namespace morv
