#include "effects/ZRDigiVerb.h"

#include <algorithm>
#include <cmath>

#include "effects/EffectKernels.h"
#include "effects/FIRTables.h"
#include "effects/HeldSettings.h"
#include "effects/UniCombBlocks.h"
#include "effects/ZRDigiVerbModes.h"
#include "platform/DiagnosticRing.h"
#include "voice/Smoothing.h"

namespace morv {
namespace {

constexpr std::uint64_t kDefaultSeed = 1;
constexpr double kSmoothingMs = 250.0;
constexpr double kSizeSmoothingMs = 10.0;
constexpr float kLineSeconds = 2.0F;
constexpr int kShortLine = 10;  // a long line holds so many short ones
constexpr float kEarlyOfPlate = 0.5F;
constexpr float kQuantiserSteps = 4095.0F;

// Of the echo behind the combs of mode 6.
constexpr float kEchoSeconds = 0.25F;  // at size 1
constexpr float kEchoFeedback = 0.6F;  // at full diffusion

}  // namespace

// The last row's times are never used: mode 8 takes over those of the mode before.
constexpr ZRDigiVerb::Mode ZRDigiVerb::kModeTable[kModes] = {
    {3.0F, 0.3F, 0.3F, 10.0F, 1.0F, 0, 0, true},    {3.0F, 0.3F, 0.3F, 5.0F, 0.25F, 6, 4, true},
    {5.0F, 0.5F, 0.3F, 20.0F, 0.15F, 3, 8, true},   {5.0F, 0.5F, 0.3F, 20.0F, 0.25F, 3, 6, false},
    {3.0F, 0.3F, 0.3F, 10.0F, 0.15F, 2, 6, true},   {5.0F, 0.5F, 0.3F, 20.0F, 1.0F, 1, 0, false},
    {10.0F, 0.5F, 0.3F, 20.0F, 0.25F, 2, 4, false}, {10.0F, 0.5F, 0.3F, 15.0F, 0.5F, 0, 0, false},
    {0.0F, 0.0F, 0.0F, 0.0F, 0.1F, 6, 8, false},
};

ZRDigiVerb::ZRDigiVerb(float sampleRateHz)
    : ZRDSPEffect(sampleRateHz),
      smoothing(smoothingCoefficient(kSmoothingMs, sampleRateHz)),
      sizeSmoothing(smoothingCoefficient(kSizeSmoothingMs, sampleRateHz)),
      springFrequency(sampleRateHz / 2.0F),
      combMode_(&kModeTable[kPlate]),
      random_(kDefaultSeed) {
  identifier = "digiverb";
  name = "Reverb";
  for (tpt* filter : {&lowpassA, &lowpassB, &inputLowpass, &postFilter[0], &postFilter[1], &noiseFilter}) {
    initTPT(filter);
  }
  initBuffers();
}

ZRDigiVerb::~ZRDigiVerb() = default;

void ZRDigiVerb::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  reset();
}

void ZRDigiVerb::reset() {
  ZRDSPEffect::reset();
  freeBuffers();
  initBuffers();
}

void ZRDigiVerb::setRandomSeed(std::uint64_t seed) { random_.reseed(seed); }

void ZRDigiVerb::initBuffers() {
  const int longLine = std::max(static_cast<int>(kLineSeconds * sampleRate), kShortLine);
  const int shortLine = longLine / kShortLine;
  for (std::size_t side = 0; side < 2; ++side) {
    for (ap* line : {&lowShelf[side], &highShelf[side]}) initAP(line, longLine);
    for (uniComb* line : {&preDelayLine[side], &chorus[side], &springLine[side], &echoLine[side]}) {
      initUniComb(line, longLine);
    }
    for (comb& line : combs[side]) initComb(&line, longLine);
    for (uniComb& line : allpass[side]) initUniComb(&line, longLine);
    for (uniComb& line : allpass2[side]) initUniComb(&line, longLine);
    initFIR(&loFiFIR[side], BLLoFi, BLoFi);
  }
  initFIR(&springFIR, BLSpring, BSpring);
  for (ap& line : springLF) initAP(&line, shortLine);
  for (ap& line : springHF) initAP(&line, shortLine);
  for (ap& line : diffusers) initAP(&line, shortLine);
  for (ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4}) initAP(line, shortLine);
  for (uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4}) initUniComb(line, shortLine);
  earlyBuffer = ZeroedFloats(static_cast<std::size_t>(longLine));
}

// All lines give their memory back before new ones are taken: not for the render thread.
void ZRDigiVerb::freeBuffers() {
  for (std::size_t side = 0; side < 2; ++side) {
    for (ap* line : {&lowShelf[side], &highShelf[side]}) *line = ap{};
    for (uniComb* line : {&preDelayLine[side], &chorus[side], &springLine[side], &echoLine[side]}) {
      deleteUniComb(line);
    }
    for (comb& line : combs[side]) line = comb{};
    for (uniComb& line : allpass[side]) deleteUniComb(&line);
    for (uniComb& line : allpass2[side]) deleteUniComb(&line);
    loFiFIR[side] = fir{};
  }
  springFIR = fir{};
  for (ap& line : springLF) line = ap{};
  for (ap& line : springHF) line = ap{};
  for (ap& line : diffusers) line = ap{};
  for (ap* line : {&loopAP1, &loopAP2, &loopAP3, &loopAP4}) *line = ap{};
  for (uniComb* line : {&loopD1, &loopD2, &loopD3, &loopD4}) deleteUniComb(line);
  earlyBuffer = ZeroedFloats();
  earlyIndex = 0;
  feedbackLow_ = feedbackHigh_ = 0;
}

int ZRDigiVerb::_mode() const noexcept { return std::clamp(mode, 0, kModes - 1); }

// Pre-delay, all-passes, combs; then what tells the halls apart.
void ZRDigiVerb::_runHall(const Mode& hall, Stretch* s, int frames) noexcept {
  const Modulation& m = s->m;
  float* L = s->left.data();
  float* R = s->right.data();
  doPreDelay(m, L, R, frames);
  doAllpass(m, L, R, hall.allpasses, frames);
  doCombStage(m, L, R, hall.combs, frames);
  const int number = _mode();
  if (number == kEchoHall) {
    float seconds[kStretch];
    for (int i = 0; i < frames; ++i) seconds[i] = kEchoSeconds * m.size[static_cast<std::size_t>(i)];
    const float feedback = kEchoFeedback * held_.diffusion;
    runUniCombBlock(&echoLine[0], L, seconds, 0, feedback, 1, sampleRate, L, frames);
    runUniCombBlock(&echoLine[1], R, seconds, 0, feedback, 1, sampleRate, R, frames);
  } else {
    doAllpass2(L, R, 1, frames);
  }
  if (number == kChorusHall || number == kEchoHall) doChorus(m, L, R, frames);
  if (number == kTremoloHall) doTremolo(m, L, R, frames);
}

// Every other frame alone goes through the hall, quantised; the frame behind it repeats what comes out.
void ZRDigiVerb::_runLoFi(Stretch* s, int frames) noexcept {
  const auto even = static_cast<std::size_t>((frames + 1) / 2);
  Modulation m;
  std::array<float, kStretch> left;
  std::array<float, kStretch> right;
  const auto quantised = [](float x) {
    return std::round((x + 1.0F) * kQuantiserSteps) / kQuantiserSteps - 1.0F;
  };
  for (std::size_t k = 0; k < even; ++k) {
    left[k] = quantised(s->left[2 * k]);
    right[k] = quantised(s->right[2 * k]);
    using Frames = Modulation::Frames;
    for (Frames Modulation::*member :
         {&Modulation::decay, &Modulation::preDelay, &Modulation::size, &Modulation::spread,
          &Modulation::depth, &Modulation::sinL, &Modulation::sinR, &Modulation::sin2L, &Modulation::sin2R,
          &Modulation::white}) {
      (m.*member)[k] = (s->m.*member)[2 * k];
    }
  }
  const auto count = static_cast<int>(even);
  const Mode& own = kModeTable[kLoFi];
  doNoise(m, left.data(), right.data(), count);
  doPreDelay(m, left.data(), right.data(), count);
  doAllpass(m, left.data(), right.data(), own.allpasses, count);
  doCombStage(m, left.data(), right.data(), own.combs, count);
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    s->left[i] = halfband(&loFiFIR[0], 1, left[i / 2]);
    s->right[i] = halfband(&loFiFIR[1], 1, right[i / 2]);
  }
}

void ZRDigiVerb::_runOneChannel(Stretch* s, int frames) noexcept {
  const Mode& own = kModeTable[kOneChannel];
  float* L = s->left.data();
  float* R = s->right.data();
  std::copy_n(L, frames, R);
  doAllpass(s->m, L, R, own.allpasses, frames);
  doPreDelay(s->m, L, R, frames);
  doCombStage(s->m, L, R, own.combs, frames);
}

void ZRDigiVerb::_runMode(Stretch* s, int frames) noexcept {
  const auto n = static_cast<std::size_t>(frames);
  const int number = _mode();
  const Mode& now = kModeTable[number];
  for (std::size_t i = 0; i < n; ++i) {
    s->left[i] *= now.inputScale;
    s->right[i] *= now.inputScale;
    s->earlyL[i] = number == kPlate ? kEarlyOfPlate * s->left[i] : 0.0F;
    s->earlyR[i] = number == kPlate ? kEarlyOfPlate * s->right[i] : 0.0F;
  }
  if (number != kOneChannel) combMode_ = &now;
  switch (number) {
    case kPlate:
      doPreDelay(s->m, s->left.data(), s->right.data(), frames);
      return doDatorro(s->m, s->left.data(), s->right.data(), frames);
    case kLoFi:
      return _runLoFi(s, frames);
    case kSpring:
      return _runSpring(s, frames);
    case kResonance:
      return doResoVerb(s->m, s->left.data(), s->right.data(), frames);
    case kOneChannel:
      return _runOneChannel(s, frames);
    default:
      return _runHall(now, s, frames);
  }
}

void ZRDigiVerb::_mixOutputs(const Stretch& s, float* outL, float* outR, int frames) noexcept {
  const auto gain = [](float control) { return heldSetting(control, -kHeldMagnitude, kHeldMagnitude); };
  const float dry = gain(dryGain);
  const float early = gain(earlyGain);
  const float late = gain(lateGain);
  const float out = gain(outputGain);
  const auto limited = [&](float x, float delay) {
    if (x > 1.0F) {
      DiagnosticRing::shared().postReals("out of range sample: %f delay: %f\n", static_cast<double>(x),
                                         static_cast<double>(delay));
    }
    return std::clamp(x, -1.0F, 1.0F) * out;
  };
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    const float wet = s.m.mix[i];
    const float delay = s.m.preDelay[i];
    outL[i] =
        limited((1.0F - wet) * dry * s.dryL[i] + wet * early * s.earlyL[i] + wet * late * s.left[i], delay);
    outR[i] =
        limited((1.0F - wet) * dry * s.dryR[i] + wet * early * s.earlyR[i] + wet * late * s.right[i], delay);
  }
}

void ZRDigiVerb::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                            float /*tempo*/) noexcept {
  if (bypass.intValue() != 0) return;
  const float gain = heldSetting(inputGain, -kHeldMagnitude, kHeldMagnitude);
  Stretch s;
  for (int start = 0; start < frames; start += kStretch) {
    const int n = std::min(kStretch, frames - start);
    smooth(&s.m, n);
    runLFO(&s.m, n);
    heldInputs(inL + start, s.dryL.data(), n);
    heldInputs(inR + start, s.dryR.data(), n);
    effectKernels().scale(gain, s.dryL.data(), s.left.data(), n);
    effectKernels().scale(gain, s.dryR.data(), s.right.data(), n);
    doLowShelf(s.left.data(), s.right.data(), n);
    doHighShelf(s.left.data(), s.right.data(), n);
    _runMode(&s, n);
    if (_mode() != kResonance) doPostFilter(s.left.data(), s.right.data(), n);
    _mixOutputs(s, outL + start, outR + start, n);
  }
}

}  // namespace morv
