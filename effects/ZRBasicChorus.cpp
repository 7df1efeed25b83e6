#include "effects/ZRBasicChorus.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "effects/DelayBlocks.h"
#include "effects/EffectKernels.h"
#include "effects/HeldSettings.h"
#include "voice/PhaseWalk.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
constexpr std::array kShapes = {"SINE", "NOISE"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kBypass = {"chorusBypass", "Bypass", 0, 1, 0, U::boolean};
constexpr ParameterRow kMix = {"chorusMix", "Chorus Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kSpread = {"chorusSpread", "Spread", 0, 100, 75, U::percent};
constexpr ParameterRow kModFreq = {"chorusModFreq", "Mod Freq", 0.1F, 5, 0.25F, U::hertz};
constexpr ParameterRow kModAmount = {"chorusModAmount", "Mod Amount", 0, 100, 25, U::percent};
constexpr ParameterRow kModShape = {"modShape", "Mod Shape", 0, 1, 0, U::generic, kShapes};
constexpr ParameterRow kInputVolume = {"inputVolume", "Input Volume", 0, 100, 100, U::percent, kDryWet};
constexpr ParameterRow kOutputVolume = {"outputVolume", "Output Volume", 0, 100, 100, U::percent, kDryWet};

constexpr std::uint64_t kDefaultSeed = 1;
constexpr double kSmoothingMs = 250.0;
constexpr float kCrossCutoffHz = 100.0F;
constexpr float kCrossGain = 0.3F;
constexpr float kCentreSeconds = 0.005F;  // of the delay, and the depth of its swing
constexpr float kForward = 0.75F;
constexpr float kSaturatingIn = 0.95F;  // what the saturating comb takes of its input
constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kTwoPi = 2.0F * kPi;

float heldFraction(const ZRDSPParameter& parameter) noexcept {
  return heldSetting(parameter.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
}

}  // namespace

struct ZRBasicChorus::Stretch {
  std::array<float, kDelayBlock> dryL, dryR;
  std::array<float, kDelayBlock> left, right;   // the wet signal
  std::array<float, kDelayBlock> sineL, sineR;  // turns of pi, then their sines
  std::array<float, kDelayBlock> noiseL, noiseR;
  std::array<float, kDelayBlock> amount, mix;
};

ZRBasicChorus::ZRBasicChorus(float sampleRateHz) : ZRDSPEffect(sampleRateHz), random_(kDefaultSeed) {
  identifier = "vachorus";
  name = "Chorus";
  initParameter(kBypass, -1, &bypass);
  initParameter(kMix, -1, &mix);
  initParameter(kSpread, -1, &chorusSpread);
  initParameter(kModFreq, -1, &chorusModFreq);
  initParameter(kModAmount, -1, &chorusModAmount);
  initParameter(kModShape, -1, &modShape);
  initParameter(kInputVolume, -1, &inputVolume);
  initParameter(kOutputVolume, -1, &outputVolume);
  _setup();
}

ZRBasicChorus::~ZRBasicChorus() = default;

void ZRBasicChorus::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  _setup();
}

void ZRBasicChorus::_setup() {
  initUniComb(&delayL, static_cast<int>(sampleRate));
  initUniComb(&delayR, static_cast<int>(sampleRate));
  for (tpt* filter : {&crossL, &crossR}) {
    initTPT(filter);
    setTPTCutoff(filter, kCrossCutoffHz, sampleRate);
  }
  smoothing = static_cast<float>(
      std::exp(std::log(0.001) / (kSmoothingMs * static_cast<double>(sampleRate) * 0.001)));
  firstSmoothing_ = smoothing;
  // The spread starts at its percentage as it stands and sweeps down to the fraction that it means.
  smoothed.spread = heldSetting(chorusSpread.value, -kHeldMagnitude, kHeldMagnitude);
  smoothed.amount = 0;
  smoothed.mix = heldFraction(mix);
  noiseTargetL = noiseTargetR = noiseL = noiseR = 0;
  quietFrames_ = 0;
}

void ZRBasicChorus::setRandomSeed(std::uint64_t seed) { random_.reseed(seed); }

// Noise glides more slowly at a lower frequency. From 10.1 Hz on the glide would run away; it then takes one
// sample.
float ZRBasicChorus::driftCoefficient(float frequencyHz) const noexcept {
  const double samples =
      (10.1 - static_cast<double>(frequencyHz)) * 1000.0 * static_cast<double>(sampleRate) * 0.001 + 1.0;
  return static_cast<float>(std::exp(std::log(0.001) / std::max(samples, 1.0)));
}

// Where all that moves are the phases, and neither comes round: what `stepModulation` does, at once.
bool ZRBasicChorus::stepPhasesAlone(float frequencyHz, Stretch* s, int frames) noexcept {
  // Farther than the roundings of a stretch's sums add up to.
  constexpr float kClear = 0.001F;
  const float step = kTwoPi * frequencyHz / sampleRate;
  const float step2 = step + kTwoPi * 0.5F / sampleRate * smoothed.spread;
  const auto span = static_cast<float>(frames);
  const bool areClear = phase1 >= 0.0F && phase2 >= 0.0F && phase1 + span * step < kTwoPi - kClear &&
                        phase2 + span * step2 < kTwoPi - kClear;
  if (!areClear || !onlyPhasesMove(step, step2)) return false;
  std::array<float, kDelayBlock> phases;
  fillPhase(&phase2, step2, kTwoPi, phases.data(), frames);
  fillPhase(&phase1, step, kTwoPi, phases.data(), frames);
  for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) {
    const float turn = phases[k] / kPi;
    s->sineL[k] = turn - 0.5F * smoothed.spread;
    s->sineR[k] = turn + 0.5F * smoothed.spread;
  }
  std::fill_n(s->noiseL.data(), frames, noiseL);
  std::fill_n(s->noiseR.data(), frames, noiseR);
  std::fill_n(s->amount.data(), frames, smoothed.amount);
  std::fill_n(s->mix.data(), frames, smoothed.mix);
  return true;
}

bool ZRBasicChorus::onlyPhasesMove(float step, float step2) const noexcept {
  const auto stands = [this](float at, float target) { return smoothing * (at - target) + target == at; };
  return modShape.intValue() != 1 && step > 0.0F && step2 > 0.0F &&
         stands(smoothed.spread, heldFraction(chorusSpread)) &&
         stands(smoothed.amount, heldFraction(chorusModAmount)) && stands(smoothed.mix, heldFraction(mix));
}

// Phases, noise and followers, sample by sample. A phase that comes round draws the other side's next noise;
// one that runs backwards draws none, and stays within a turn too, where floats have room for its steps.
void ZRBasicChorus::stepModulation(float frequencyHz, Stretch* s, int frames) noexcept {
  if (stepPhasesAlone(frequencyHz, s, frames)) return;
  const bool isNoise = modShape.intValue() == 1;
  const float drift = isNoise ? driftCoefficient(frequencyHz) : 0.0F;
  const float spreadTarget = heldFraction(chorusSpread);
  const float amountTarget = heldFraction(chorusModAmount);
  const float mixTarget = heldFraction(mix);
  const float step = kTwoPi * frequencyHz / sampleRate;
  const float spreadStep = kTwoPi * 0.5F / sampleRate;
  const float c = smoothing;
  float one = phase1;
  float two = phase2;
  float left = noiseL;
  float right = noiseR;
  auto at = smoothed;
  for (int i = 0; i < frames; ++i) {
    one += step;
    if (one >= kTwoPi) {
      one -= kTwoPi;
      noiseTargetR = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
    }
    if (one <= -kTwoPi) one += kTwoPi;
    two += step + spreadStep * at.spread;
    if (two >= kTwoPi) {
      two -= kTwoPi;
      noiseTargetL = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
    }
    if (two <= -kTwoPi) two += kTwoPi;
    if (isNoise) {
      left = drift * (left - noiseTargetL) + noiseTargetL;
      right = drift * (right - noiseTargetR) + noiseTargetR;
    }
    at.spread = c * (at.spread - spreadTarget) + spreadTarget;
    at.amount = c * (at.amount - amountTarget) + amountTarget;
    at.mix = c * (at.mix - mixTarget) + mixTarget;
    const auto k = static_cast<std::size_t>(i);
    const float turn = one / kPi;
    s->sineL[k] = turn - 0.5F * at.spread;
    s->sineR[k] = turn + 0.5F * at.spread;
    s->noiseL[k] = left;
    s->noiseR[k] = right;
    s->amount[k] = at.amount;
    s->mix[k] = at.mix;
  }
  phase1 = one;
  phase2 = two;
  noiseL = left;
  noiseR = right;
  smoothed = at;
}

// Each side: s = (sin + 1) / 2, delay = 0.005 + |0.005 (3 a noise + 1 - a s)| seconds, then the comb without
// feedback: out = tanh(0.75 d + 0.95 in).
void ZRBasicChorus::doChorus(Stretch* s, int frames) noexcept {
  const VoiceKernels& kernels = voiceKernels();
  struct Side {
    uniComb* line;
    float* wet;
    float* sine;
    const float* noise;
  };
  const Side sides[] = {{&delayL, s->left.data(), s->sineL.data(), s->noiseL.data()},
                        {&delayR, s->right.data(), s->sineR.data(), s->noiseR.data()}};
  float delays[kDelayBlock];
  float delayed[kDelayBlock];
  for (const Side& side : sides) {
    kernels.sinPi(side.sine, side.sine, frames);
    for (int i = 0; i < frames; ++i) {
      const float amount = s->amount[static_cast<std::size_t>(i)];
      const float swing = (side.sine[i] + 1.0F) * 0.5F;
      const float depth = std::abs(kCentreSeconds * (3.0F * amount * side.noise[i] + 1.0F - amount * swing));
      delays[i] = (kCentreSeconds + depth) * sampleRate;
    }
    readUniComb(*side.line, delays, delayed, frames);
    writeUniComb(side.line, kSaturatingIn, side.wet, frames);
    effectKernels().mix(kForward, delayed, kSaturatingIn, side.wet, side.wet, frames);
    kernels.tanhInPlace(side.wet, frames);
  }
}

// Each side takes some of the other one, turned round and without its bass: what a low-pass leaves of it.
void ZRBasicChorus::crossFeed(Stretch* s, int frames) noexcept {
  std::array<float, kDelayBlock> bassL;
  std::array<float, kDelayBlock> bassR;
  for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) {
    bassL[k] = -s->right[k];
    bassR[k] = -s->left[k];
  }
  effectKernels().lowpass(crossL.G, &crossL.z1, bassL.data(), bassL.data(), frames);
  effectKernels().lowpass(crossR.G, &crossR.z1, bassR.data(), bassR.data(), frames);
  for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) {
    const float l = s->left[k];
    const float r = s->right[k];
    s->left[k] = l + kCrossGain * (-r - bassL[k]);
    s->right[k] = r + kCrossGain * (-l - bassR[k]);
  }
}

// The swing keeps the delay at or above its centre. A depth far beyond its range may reach round the line,
// where it is short.
int ZRBasicChorus::_longestStretch() const noexcept {
  const float amount = std::max(std::abs(smoothed.amount), std::abs(heldFraction(chorusModAmount)));
  const float loudestNoise = std::max({1.0F, std::abs(noiseL), std::abs(noiseR)});
  const float greatest = kCentreSeconds * (2.0F + 4.0F * amount * loudestNoise) * sampleRate;
  if (!(greatest < static_cast<float>(delayL.size - kDelayBlock))) return 1;
  return delayBlockFor(kCentreSeconds * sampleRate);
}

// What `stepModulation` does to phases, noise and followers. Where all that moves are the phases, they go
// from wrap to wrap at once.
void ZRBasicChorus::skipModulation(float frequencyHz, int frames) noexcept {
  const float step = kTwoPi * frequencyHz / sampleRate;
  const float step2 = step + kTwoPi * 0.5F / sampleRate * smoothed.spread;
  if (!onlyPhasesMove(step, step2)) {
    Stretch s;
    for (int start = 0; start < frames; start += kDelayBlock) {
      stepModulation(frequencyHz, &s, std::min(kDelayBlock, frames - start));
    }
    return;
  }
  while (frames > 0) {
    const PhaseWalk one = walkPhase(phase1, step, kTwoPi, frames);
    const PhaseWalk two = walkPhase(phase2, step2, kTwoPi, one.steps);
    const bool oneWraps = one.reachesEnd && two.steps == one.steps;
    phase1 = oneWraps ? one.position - kTwoPi : walkPhase(phase1, step, kTwoPi, two.steps).position;
    phase2 = two.reachesEnd ? two.position - kTwoPi : two.position;
    if (oneWraps) noiseTargetR = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
    if (two.reachesEnd) noiseTargetL = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
    frames -= static_cast<int>(two.steps);
  }
}

bool ZRBasicChorus::sleepsOn(const float* inL, const float* inR, float* outL, float* outR, float frequencyHz,
                             float inGain, int frames) noexcept {
  isInputQuiet_ = std::abs(inGain) <= 1.0F && isQuiet(inL, frames) && isQuiet(inR, frames);
  if (!isInputQuiet_) quietFrames_ = 0;
  if (quietFrames_ < delayL.size) return false;
  skipModulation(frequencyHz, frames);
  skipLine(&delayL, frames);
  skipLine(&delayR, frames);
  const float dry = routing == 1 ? 1.0F : 1.0F - smoothed.mix;
  for (int i = 0; i < frames; ++i) outL[i] = dry * inL[i];
  for (int i = 0; i < frames; ++i) outR[i] = dry * inR[i];
  return true;
}

void ZRBasicChorus::watchForSleep(int frames) noexcept {
  const bool isStill = isInputQuiet_ && isQuiet(&crossL.z1, 1) && isQuiet(&crossR.z1, 1);
  quietFrames_ = isStill ? std::min(quietFrames_ + frames, delayL.size) : 0;
}

void ZRBasicChorus::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                               float tempo) noexcept {
  if (bypass.intValue() != 0) return;
  const float wantedHz = tempoSync ? timeDivisionToFrequency(4.0F, 4.0F, tempo) : chorusModFreq.value.load();
  const float frequencyHz = heldSetting(wantedHz, -sampleRate, sampleRate);
  const float inGain = heldFraction(inputVolume);
  const float outGain = heldFraction(outputVolume);
  if (sleepsOn(inL, inR, outL, outR, frequencyHz, inGain, frames)) return;
  const int longest = _longestStretch();
  Stretch s;
  for (int start = 0; start < frames; start += longest) {
    const int n = std::min(longest, frames - start);
    heldInputs(inL + start, s.dryL.data(), n);
    heldInputs(inR + start, s.dryR.data(), n);
    effectKernels().scale(inGain, s.dryL.data(), s.left.data(), n);
    effectKernels().scale(inGain, s.dryR.data(), s.right.data(), n);
    stepModulation(frequencyHz, &s, n);
    doChorus(&s, n);
    crossFeed(&s, n);
    for (int i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const float wet = s.mix[k];
      const float dry = routing == 1 ? 1.0F : 1.0F - wet;
      outL[start + i] = dry * s.dryL[k] + wet * (s.left[k] * outGain);
      outR[start + i] = dry * s.dryR[k] + wet * (s.right[k] * outGain);
    }
  }
  watchForSleep(frames);
}

}  // namespace morv
