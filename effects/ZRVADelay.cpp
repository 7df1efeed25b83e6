#include "effects/ZRVADelay.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "effects/Desample.h"
#include "effects/FIRTables.h"
#include "effects/HeldSettings.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
constexpr std::array kPrograms = {"Analog", "Tape", "VintageDigital"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kMix = {"mix", "Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kProgram = {"program", "Program", 0, 3, 1, U::indexed, kPrograms};
constexpr ParameterRow kTime = {"time", "Time", 20, 1000, 250, U::milliseconds};
constexpr ParameterRow kFeedback = {"feedback", "Feedback", 0, 100, 40, U::percent};
constexpr ParameterRow kSpread = {"spread", "Spread", 0, 100, 0, U::percent};
constexpr ParameterRow kTempoSync = {"tempoSync", "Sync", 0, 1, 0, U::boolean};
constexpr ParameterRow kOversample = {"oversample", "Oversample", 0, 1, 0, U::boolean};

enum ProgramValue : int { kTape = 1, kCrusher = 3 };

constexpr std::uint64_t kDefaultSeed = 1;
constexpr int kOversampling = 8;
constexpr int kStretchFrames = 64;
constexpr auto kHistory = static_cast<std::size_t>(BL8x);

constexpr double kTapeSeconds = 10.0;
constexpr float kLineSeconds = 5.0F;
constexpr int kLineStages = 512;
// Where a read still lies on the tape: one length is added to what is before its start, none taken off behind
// its end.
constexpr float kLongestSeconds = 20.0F;
constexpr float kShortestSeconds = -10.0F;
constexpr float kSpreadMs = 50.0F;  // for each percent, to each side
constexpr float kSyncOctaves = 5.0F;
constexpr std::array kSyncBeats = {0.0625F, 0.09375F, 1.0F / 24.0F};  // straight, dotted, triplet

// Far above any signal, and its sums stay finite numbers.
constexpr float kLoudestDry = 1e30F;

float follower(double milliseconds, float rateHz) noexcept MORV_NONBLOCKING {
  return static_cast<float>(std::exp(std::log(0.01) / (milliseconds * static_cast<double>(rateHz) * 0.001)));
}

// Each frame `factor` times.
void hold(const float* in, int frames, int factor, float* out) noexcept MORV_NONBLOCKING {
  for (int i = 0; i < frames; ++i) std::fill_n(out + static_cast<std::ptrdiff_t>(i) * factor, factor, in[i]);
}

// out = (1 - mix) dry + mix wet.
void crossfade(const float* dry, const float* wet, double mix, int count,
               float* out) noexcept MORV_NONBLOCKING {
  for (int i = 0; i < count; ++i) {
    const auto work = static_cast<double>(heldSetting(dry[i], -kLoudestDry, kLoudestDry));
    out[i] = static_cast<float>((1.0 - mix) * work + mix * static_cast<double>(wet[i]));
  }
}

}  // namespace

// Some frames at the working rate.
struct ZRVADelay::Stretch {
  static constexpr std::size_t kSamples = static_cast<std::size_t>(kStretchFrames) * kOversampling;
  std::array<float, kSamples> dryL, dryR;
  std::array<float, kSamples> wetL{};
  std::array<float, kSamples> wetR{};
  int count = 0;
};

ZRVADelay::ZRVADelay(float sampleRateHz) : ZRDSPEffect(sampleRateHz), random_(kDefaultSeed) {
  identifier = "vadelay";
  name = "Delay";
  initParameter(kMix, -1, &mix);
  initParameter(kProgram, -1, &program);
  initParameter(kTime, -1, &time);
  initParameter(kFeedback, -1, &feedback);
  initParameter(kSpread, -1, &spread);
  initParameter(kTempoSync, -1, &tempoSync);
  initParameter(kOversample, -1, &oversample);
  constexpr std::size_t kBlock = static_cast<std::size_t>(kMaxBlockFrames) * kOversampling;
  decimatorLeft = ZeroedFloats(kHistory + kBlock);
  decimatorRight = ZeroedFloats(kHistory + kBlock);
  ZRVADelay::reset();
}

ZRVADelay::~ZRVADelay() = default;

void ZRVADelay::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz * static_cast<float>(oversampleFactor), blockSizeFrames);
  setHostRate(sampleRateHz);
  reset();
}

// Takes the memory for the greater working rate. That of the parts that nothing runs costs no pages.
void ZRVADelay::reset() {
  ZRDSPEffect::reset();
  constexpr float kBandHz = 1000.0F;
  constexpr int kBandSections = 10;
  const float greatestRate = sampleRate * static_cast<float>(kOversampling);
  const int greatestSize = std::max(truncatedInt(kTapeSeconds * static_cast<double>(greatestRate)), 3);
  delayBuffer = ZeroedFloats(static_cast<std::size_t>(greatestSize));
  {
    const ZeroedFloats::Populated whenUsed(false);
    for (Channel& channel : channels) {
      initUniComb(&channel.comb, greatestSize);
      initBBDLine(&channel.line, kLineStages, kLineSeconds, greatestRate);
    }
  }
  const std::array rates = {sampleRate, greatestRate};
  for (std::size_t i = 0; i < rates.size(); ++i) {
    bandpasses_[i] =
        std::make_unique<ZRBiquadFilter>(ZRBiquadType::bandpass, kBandHz, kBandSections, 1, rates[i]);
  }
  _rebuild();
}

// Everything for the working rate, in the memory that is there.
void ZRVADelay::_rebuild() noexcept {
  const float rate = workingRate();
  size = std::max(truncatedInt(kTapeSeconds * static_cast<double>(rate)), 3);
  writeIndex = 0;
  written_ = 0;
  feedbackCoefficient = follower(500.0, rate);
  firstFeedbackCoefficient_ = feedbackCoefficient;
  fastCoefficient = follower(250.0, rate);
  smoothedTimeLeft = heldSetting(time.value / 1000.0F, kShortestSeconds, kLongestSeconds);
  smoothedTimeRight = smoothedTimeLeft;
  smoothedFeedback = heldSetting(feedback.value / 100.0F, -kHeldMagnitude, kHeldMagnitude);
  for (Channel& channel : channels) {
    channel.comb.size = size;
    for (tpt& filter : channel.filters) initTPT(&filter);
    channel.line.size = truncatedInt(kLineSeconds * rate);
    channel.line.sampleRate = rate;
  }
  initTPT(&spareFilter);
}

void ZRVADelay::setRandomSeed(std::uint64_t seed) { random_.reseed(seed); }

void ZRVADelay::setParameterValueForAddress(int address, float value) noexcept {
  ZRDSPEffect::setParameterValueForAddress(address, value);
  if (address == oversample.address) oversampleChanged.store(true, std::memory_order_release);
}

float ZRVADelay::workingRate() const noexcept { return sampleRate * static_cast<float>(oversampleFactor); }

// The two times from the knob, or from the tempo in five octaves from a part of a beat.
ZRVADelay::Times ZRVADelay::_times(float bpm) const noexcept {
  const float spreadTime = spread.value * kSpreadMs;
  Times times{};
  if (tempoSync.intValue() == 0) {
    times = {(time.value + spreadTime) / 1000.0F, (time.value - spreadTime) / 1000.0F};
  } else {
    const bool isKnown = syncType > 0 && syncType < static_cast<int>(kSyncBeats.size());
    const float unit = 60.0F / bpm * kSyncBeats[isKnown ? static_cast<std::size_t>(syncType) : 0];
    const float synced = unit * std::exp2(time.normalizedValue() * kSyncOctaves);
    if (!std::isfinite(synced)) return {smoothedTimeLeft, smoothedTimeRight};
    times = {synced + spreadTime / 1000.0F, synced - spreadTime / 1000.0F};
  }
  return {std::clamp(times.left, kShortestSeconds, kLongestSeconds),
          std::clamp(times.right, kShortestSeconds, kLongestSeconds)};
}

void ZRVADelay::doBBDDelay(float /*inLeft*/, float /*inRight*/, float* /*wetLeft*/, float* /*wetRight*/,
                           float /*timeLeft*/, float /*timeRight*/) noexcept {}

void ZRVADelay::doVintageDigitalDelay(float /*inLeft*/, float /*inRight*/, float* /*wetLeft*/,
                                      float* /*wetRight*/, float /*timeLeft*/, float /*timeRight*/) noexcept {
}

// Below one step a unit there is no grid to divide by.
float ZRVADelay::crushed(float value, int bits) noexcept {
  const double levels = static_cast<double>(std::max(truncatedInt(std::ldexp(1.0, bits) - 1.0), 1));
  return static_cast<float>(std::round((static_cast<double>(value) + 1.0) * levels) / levels - 1.0);
}

// Every other sample of a wet signal that starts each block as silence and that nothing else feeds.
void ZRVADelay::runCrusher(Stretch* s) const noexcept {
  const int bits = bitDepth;
  float left = 0.0F;
  float right = 0.0F;
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    if (i % 2 == 0) {
      left = crushed(left, bits);
      right = crushed(right, bits);
    }
    s->wetL[i] = left;
    s->wetR[i] = right;
  }
}

void ZRVADelay::decimateBlock(float* outL, float* outR, int frames) noexcept {
  const auto taken = static_cast<std::size_t>(frames) * kOversampling;
  float* const outs[] = {outL, outR};
  float* const decimators[] = {decimatorLeft.data(), decimatorRight.data()};
  for (int side = 0; side < 2; ++side) {
    float* values = decimators[side];
    desample(values, kOversampling, B8x, BL8x, outs[side], frames);
    std::copy(values + taken, values + taken + kHistory, values);
  }
}

// The decimator looks at the BL8x samples ahead of a frame, and a held frame's middle lies behind its
// start: 42.6 frames, to the nearest one.
int ZRVADelay::latencyFrames() const noexcept {
  const bool isChanging = oversampleChanged.load(std::memory_order_relaxed);
  const bool oversamples = isChanging ? oversample.intValue() != 0 : oversampleFactor != 1;
  if (!oversamples) return 0;
  return (BL8x + kOversampling + kOversampling) / (2 * kOversampling);
}

void ZRVADelay::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                           float bpm) noexcept {
  if (oversampleChanged.load(std::memory_order_relaxed)) {
    // Cleared ahead of the look at the setting, so that one that comes meanwhile is seen by the next block.
    oversampleChanged.exchange(false, std::memory_order_acquire);
    oversampleFactor = oversample.intValue() != 0 ? kOversampling : 1;
    _rebuild();
  }
  tempo = bpm;
  const Times times = _times(bpm);
  const int which = truncatedInt(program.value.load());
  const auto wet = static_cast<double>(heldSetting(mix.normalizedValue(), -kHeldMagnitude, kHeldMagnitude));
  const int factor = oversampleFactor;
  const bool decimates = factor != 1;
  Stretch s;
  for (int start = 0; start < frames; start += kStretchFrames) {
    const int n = std::min(kStretchFrames, frames - start);
    s.count = n * factor;
    hold(inL + start, n, factor, s.dryL.data());
    hold(inR + start, n, factor, s.dryR.data());
    if (which == kTape) {
      runTape(s.dryL.data(), s.dryR.data(), s.wetL.data(), s.wetR.data(), s.count, times);
    }
    if (which == kCrusher) runCrusher(&s);
    const std::size_t at = kHistory + static_cast<std::size_t>(start) * kOversampling;
    crossfade(s.dryL.data(), s.wetL.data(), wet, s.count,
              decimates ? decimatorLeft.data() + at : outL + start);
    crossfade(s.dryR.data(), s.wetR.data(), wet, s.count,
              decimates ? decimatorRight.data() + at : outR + start);
  }
  if (decimates) decimateBlock(outL, outR, frames);
}

}  // namespace morv
