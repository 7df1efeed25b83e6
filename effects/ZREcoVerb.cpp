#include "effects/ZREcoVerb.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "effects/DelayBlocks.h"
#include "effects/EffectKernels.h"
#include "effects/HeldSettings.h"
#include "effects/PhaseRamp.h"
#include "voice/PhaseWalk.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kBypass = {"reverbBypass", "Bypass", 0, 1, 0, U::boolean};
constexpr ParameterRow kMix = {"reverbMix", "Reverb Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kSize = {"reverbSize", "Size", 0, 1, 0.25F};
constexpr ParameterRow kDecay = {"reverbDecay", "Decay", 0, 1, 0.5F};
constexpr ParameterRow kSpread = {"spread", "Spread", 0, 1, 1};
constexpr ParameterRow kModAmount = {"modAmount", "Mod Amount", 0, 1, 0.5F};
constexpr ParameterRow kModFrequency = {"modFrequency", "Mod Frequency", 0, 10, 1, U::hertz};
constexpr ParameterRow kHighpass = {"highpass", "Highpass", 0, 1, 0};

constexpr float kLeastCutoffHz = 1.0F;
constexpr float kCutoffRangeHz = 5000.0F;
constexpr float kFixedHighpassHz = 100.0F;
constexpr float kFixedLowpassHz = 15000.0F;
constexpr float kDampingCutoffHz = 20000.0F;
constexpr std::array kDiffuserSeconds = {0.0032F, 0.0024F, 0.0085F, 0.0062F};
constexpr std::array kDiffuserGains = {0.4F, 0.4F, 0.6F, 0.6F};

// Lengths of the tank, in samples.
constexpr float kAP1 = 672.0F;
constexpr float kAP2 = 1800.0F;
constexpr float kAP3 = 908.0F;
constexpr float kAP4 = 2656.0F;
constexpr float kModDepth = 50.0F;  // of the first all-pass of each branch
constexpr float kD1 = 3453.0F;
constexpr int kD2 = 3720;
constexpr float kD3 = 4217.0F;
constexpr int kD4 = 3163;
constexpr float kFirstGain = -0.5F;  // of the modulated all-passes
constexpr float kSecondGain = 0.5F;
constexpr float kSaturatingIn = 0.95F;  // what the saturating comb takes of its input

// Shortest and longest distance of a tap, before the size scales it.
constexpr float kNearestTap = 121.0F;
constexpr float kFarthestTap = 3627.0F;
constexpr float kTapGain = 0.6F;
constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kTwoPi = 2.0F * kPi;

// Of the loop; beyond it the first delays saturate whatever comes.
constexpr float kGreatestDecay = 1.0e6F;

// Samples from where `uc` is read, `delay` behind its write index, to where it is written, or the other way
// round where that is nearer. The two drift against each other by one sample with each lap.
int distanceToWrite(const uniComb& uc, int delay) noexcept {
  const int behind = (static_cast<int>(uc.position) - uc.writeIndex + delay) % uc.size;
  const int forward = behind < 0 ? behind + uc.size : behind;
  return std::min(forward, uc.size - forward);
}

}  // namespace

struct ZREcoVerb::Block {
  float r;  // seconds of a sample
  float loopGain;
  float tapScale;
  float modAmount;
  float turnsOfPi;  // distance of each modulation from the phase
  float phaseStep;
  float mix;
};

struct ZREcoVerb::Stretch {
  std::array<float, kDelayBlock> dryL, dryR;
  std::array<float, kDelayBlock> left, right;     // filtered input, then the branches' signals
  std::array<float, kDelayBlock> delay1, delay3;  // seconds, of the modulated all-passes
  std::array<float, kDelayBlock> lowA, lowB;      // what leaves the loop's low-passes
  std::array<float, kDelayBlock> wetL, wetR;
};

ZREcoVerb::ZREcoVerb(float sampleRateHz)
    : ZRDSPEffect(sampleRateHz),
      variableHighpass(ZRBiquadType::highpass, kLeastCutoffHz, 1, 2, sampleRateHz),
      fixedHighpass(ZRBiquadType::highpass, kFixedHighpassHz, 1, 2, sampleRateHz),
      fixedLowpass(ZRBiquadType::lowpass, heldCutoff(kFixedLowpassHz, sampleRateHz), 1, 2, sampleRateHz) {
  identifier = "ecoverb";
  name = "EcoVerb";
  initParameter(kBypass, -1, &bypass);
  initParameter(kMix, -1, &mix);
  initParameter(kSize, -1, &reverbSize);
  initParameter(kDecay, -1, &reverbDecay);
  initParameter(kSpread, -1, &spread);
  initParameter(kModAmount, -1, &modAmount);
  initParameter(kModFrequency, -1, &modFrequency);
  initParameter(kHighpass, -1, &highpass);
  const int size = static_cast<int>(sampleRateHz);
  for (ap& diffuser : diffusers) initAP(&diffuser, size);
  for (ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4}) initAP(line, size);
  for (uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4}) initUniComb(line, size);
  initTPT(&lowpassA);
  initTPT(&lowpassB);
}

ZREcoVerb::~ZREcoVerb() = default;

void ZREcoVerb::reset() {
  ZRDSPEffect::reset();
  for (uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4}) resetUniComb(line);
  for (ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4}) resetAP(line);
}

ZREcoVerb::Block ZREcoVerb::_settings() const noexcept {
  Block block{};
  block.r = 1.0F / sampleRate;
  const float decay = heldSetting(reverbDecay.value, 0.0F, kGreatestDecay);
  block.loopGain = std::sqrt(1.1F * decay);
  block.tapScale = 0.1F + 2.0F * heldSetting(reverbSize.value, -kHeldMagnitude, kHeldMagnitude);
  block.modAmount = heldSetting(modAmount.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
  block.turnsOfPi = heldSetting(spread.value, -kHeldMagnitude, kHeldMagnitude);
  block.phaseStep = kTwoPi * heldSetting(modFrequency.value, -sampleRate, sampleRate) / sampleRate;
  block.mix = heldSetting(mix.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
  return block;
}

int ZREcoVerb::_longestStretch(const Block& block) const noexcept {
  const float swing = kModDepth * std::abs(block.modAmount);
  const auto length = static_cast<float>(loopAP1.size - kDelayBlock);
  const float greatest = std::max({kD3, kAP3 + swing, kFarthestTap * block.tapScale});
  if (!(greatest < length) || !(kNearestTap * block.tapScale >= 2.0F)) return 1;
  const int distance = std::min(distanceToWrite(loopD2, kD2), distanceToWrite(loopD4, kD4));
  return delayBlockFor(
      std::min({kAP1 - swing, kDiffuserSeconds[1] * sampleRate, static_cast<float>(distance)}));
}

// Delays of the two modulated all-passes.
void ZREcoVerb::stepModulation(const Block& block, Stretch* s, int frames) noexcept {
  const VoiceKernels& kernels = voiceKernels();
  float phases[kDelayBlock];
  fillPhaseRamp(&phase, block.phaseStep, kTwoPi, phases, frames);
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    const float turn = phases[i] / kPi;
    s->delay1[i] = turn - block.turnsOfPi;
    s->delay3[i] = turn + block.turnsOfPi;
  }
  kernels.sinPi(s->delay1.data(), s->delay1.data(), frames);
  kernels.sinPi(s->delay3.data(), s->delay3.data(), frames);
  const float depth = kModDepth * block.modAmount;
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    s->delay1[i] = block.r * (kAP1 + depth * s->delay1[i]);
    s->delay3[i] = block.r * (kAP3 + depth * s->delay3[i]);
  }
}

// What comes out of the branches' first delays, saturated, low-passed and scaled. These lines are longer than
// a stretch, so both branches can go side by side before either is fed.
void ZREcoVerb::readDelays(const Block& block, Stretch* s, int frames) noexcept {
  const VoiceKernels& kernels = voiceKernels();
  readUniComb(loopD1, block.r * kD1 * sampleRate, s->lowA.data(), frames);
  readUniComb(loopD3, block.r * kD3 * sampleRate, s->lowB.data(), frames);
  kernels.tanhInPlace(s->lowA.data(), frames);
  kernels.tanhInPlace(s->lowB.data(), frames);
  const float cutoffHz = (1.0F - damping) * kDampingCutoffHz;
  setHeldTPTCutoff(&lowpassA, cutoffHz, sampleRate);
  setHeldTPTCutoff(&lowpassB, cutoffHz, sampleRate);
  effectKernels().lowpass(lowpassA.G, &lowpassA.z1, s->lowA.data(), s->lowA.data(), frames);
  effectKernels().lowpass(lowpassB.G, &lowpassB.z1, s->lowB.data(), s->lowB.data(), frames);
  effectKernels().scale(block.loopGain, s->lowA.data(), s->lowA.data(), frames);
  effectKernels().scale(block.loopGain, s->lowB.data(), s->lowB.data(), frames);
}

// The first branch reads `loopD4` ahead of the second one's writes; the second reads `loopD2` behind the
// first one's, so from the write index that follows.
void ZREcoVerb::runBranches(const Block& block, Stretch* s, int frames) noexcept {
  struct Branch {
    const uniComb* other;
    int otherIndex;
    int otherDelay;
    float* in;
    const float* modulatedDelay;
    ap* first;
    uniComb* delay;
    float* low;
    ap* second;
    float secondDelay;
    uniComb* last;
  };
  const Branch branches[] = {{&loopD4, loopD4.writeIndex, kD4, s->left.data(), s->delay1.data(), &loopAP1,
                              &loopD1, s->lowA.data(), &loopAP2, kAP2, &loopD2},
                             {&loopD2, nextWriteIndex(loopD2.writeIndex, loopD2.size), kD2, s->right.data(),
                              s->delay3.data(), &loopAP3, &loopD3, s->lowB.data(), &loopAP4, kAP4, &loopD4}};
  for (const Branch& b : branches) {
    addBehindWriteIndex(*b.other, b.otherIndex, b.otherDelay, block.loopGain, b.in, frames);
    runAPBlock(b.first, b.in, b.modulatedDelay, kFirstGain, sampleRate, b.in, frames);
    writeUniComb(b.delay, kSaturatingIn, b.in, frames);
    runAPBlock(b.second, b.low, block.r * b.secondDelay, kSecondGain, sampleRate, b.low, frames);
    writeUniComb(b.last, kSaturatingIn, b.low, frames);
  }
}

void ZREcoVerb::tapOutputs(const Block& block, Stretch* s, int frames) const noexcept {
  const float k = block.tapScale;
  float* left = s->wetL.data();
  float* right = s->wetR.data();
  std::fill_n(left, frames, 0.0F);
  std::fill_n(right, frames, 0.0F);
  const APTap leftTaps[] = {{&loopAP3, 266.0F * k, kTapGain},
                            {&loopAP3, 2974.0F * k, kTapGain},
                            {&loopAP4, 1996.0F * k, kTapGain},
                            {&loopAP1, 1990.0F * k, -kTapGain},
                            {&loopAP2, 1066.0F * k, -kTapGain}};
  const APTap rightTaps[] = {{&loopAP1, 353.0F * k, kTapGain},
                             {&loopAP1, kFarthestTap * k, kTapGain},
                             {&loopAP2, 2673.0F * k, kTapGain},
                             {&loopAP3, 2111.0F * k, -kTapGain},
                             {&loopAP4, kNearestTap * k, -kTapGain}};
  addAPTaps(leftTaps, 5, left, frames);
  addAPTaps(rightTaps, 5, right, frames);
}

// A phase that goes up, by whole stretches of equal sums.
float ZREcoVerb::phaseAfter(float at, float step, int frames) noexcept {
  while (frames > 0) {
    const PhaseWalk walk = walkPhase(at, step, kTwoPi, frames);
    at = walk.reachesEnd ? walk.position - kTwoPi : walk.position;
    frames -= static_cast<int>(walk.steps);
  }
  return at;
}

bool ZREcoVerb::sleepsOn(const Block& block, const float* inL, const float* inR, float* outL, float* outR,
                         float cutoffHz, int frames) noexcept {
  isInputQuiet_ = isQuiet(inL, frames) && isQuiet(inR, frames);
  if (!isInputQuiet_) quietFrames_ = 0;
  const bool sleeps = quietFrames_ >= loopAP1.size && block.phaseStep > 0.0F &&
                      cutoffHz == variableHighpass.filterCutoff.value;
  if (!sleeps) return false;
  phase = phaseAfter(phase, block.phaseStep, frames);
  for (ap& diffuser : diffusers) skipLine(&diffuser, frames);
  for (ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4}) skipLine(line, frames);
  for (uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4}) skipLine(line, frames);
  for (int i = 0; i < frames; ++i) outL[i] = (1.0F - block.mix) * inL[i];
  for (int i = 0; i < frames; ++i) outR[i] = (1.0F - block.mix) * inR[i];
  return true;
}

void ZREcoVerb::watchForSleep(int frames) noexcept {
  bool isStill = isInputQuiet_;
  for (const ap& diffuser : diffusers) isStill = isStill && tookQuiet(diffuser, frames);
  for (const ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4})
    isStill = isStill && tookQuiet(*line, frames);
  for (const uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4})
    isStill = isStill && tookQuiet(*line, frames);
  quietFrames_ = isStill ? std::min(quietFrames_ + frames, loopAP1.size) : 0;
}

void ZREcoVerb::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                           float /*tempo*/) noexcept {
  if (bypass.intValue() != 0) return;
  const Block block = _settings();
  const float cutoffHz = kLeastCutoffHz + heldSetting(highpass.value, 0.0F, kHeldMagnitude) * kCutoffRangeHz;
  const float heldHz = heldCutoff(cutoffHz, variableHighpass.sampleRate);
  if (sleepsOn(block, inL, inR, outL, outR, heldHz, frames)) return;
  variableHighpass.filterCutoff = heldHz;
  Stretch s;
  for (int start = 0; start < frames;) {
    const int n = std::min(_longestStretch(block), frames - start);
    float* left = s.left.data();
    float* right = s.right.data();
    heldInputs(inL + start, s.dryL.data(), n);
    heldInputs(inR + start, s.dryR.data(), n);
    ZRBiquadFilter::runThree(variableHighpass, fixedHighpass, fixedLowpass, s.dryL.data(), s.dryR.data(),
                             left, right, n);
    stepModulation(block, &s, n);
    for (std::size_t d = 0; d < diffusers.size(); ++d) {
      runAPBlock(&diffusers[d], left, kDiffuserSeconds[d], kDiffuserGains[d], sampleRate, left, n);
    }
    readDelays(block, &s, n);
    runBranches(block, &s, n);
    tapOutputs(block, &s, n);
    effectKernels().mix(1.0F - block.mix, s.dryL.data(), block.mix, s.wetL.data(), outL + start, n);
    effectKernels().mix(1.0F - block.mix, s.dryR.data(), block.mix, s.wetR.data(), outR + start, n);
    start += n;
  }
  watchForSleep(frames);
}

}  // namespace morv
