#include "effects/ZRVAChorus.h"

#include <algorithm>
#include <cmath>

#include "effects/HeldSettings.h"
#include "effects/ZRVAChorusStretch.h"

namespace morv {
namespace {

constexpr std::array kDryWet = {"DRY", "WET"};
constexpr std::array kPrograms = {"Analog", "Digital", "VintageDigital"};
constexpr std::array kShapes = {"SINE", "NOISE"};
constexpr std::array kRoutings = {"SERIAL", "PARALLEL"};
constexpr std::array kStageCounts = {"1", "2", "3"};
using U = ZRDSPParameterUnit;
constexpr ParameterRow kProgram = {"program", "Program", 0, 2, 1, U::indexed, kPrograms};
constexpr ParameterRow kBypass = {"chorusBypass", "Bypass", 0, 1, 0, U::boolean};
constexpr ParameterRow kMix = {"chorusMix", "Chorus Mix", 0, 100, 50, U::percent, kDryWet};
constexpr ParameterRow kSpread = {"spread", "Spread", 0, 100, 50, U::percent};
constexpr ParameterRow kModFreq = {"modFreq", "Mod Freq", 0.1F, 5, 0.25F, U::hertz};
constexpr ParameterRow kModAmount = {"modAmount", "Mod Amount", 0, 100, 25, U::percent};
constexpr ParameterRow kModShape = {"modShape", "Mod Shape", 0, 1, 0, U::generic, kShapes};
constexpr ParameterRow kModRouting = {"modRouting", "Mod Routing", 0, 1, 0, U::generic, kRoutings};
constexpr ParameterRow kNumStages = {"numStages", "Stages", 0, 2, 0, U::indexed, kStageCounts};
constexpr ParameterRow kShape = {"shape", "Shape", -1, 1, 0, U::generic};
constexpr ParameterRow kAnimate = {"animate", "Animate", 0, 1, 0, U::generic};
constexpr ParameterRow kMinDelay = {"minDelay", "Min Delay", 0, 150, 25, U::milliseconds};
constexpr ParameterRow kInGainLow = {"inGainLow", "Low Gain", 0, 1, 1, U::generic};
constexpr ParameterRow kInGainMid = {"inGainMid", "Mid Gain", 0, 1, 1, U::generic};
constexpr ParameterRow kInGainHigh = {"inGainHigh", "High Gain", 0, 1, 1, U::generic};
constexpr ParameterRow kLowShelf = {"lowShelf", "Low Shelf", -6, 6, 0, U::decibels};
constexpr ParameterRow kHighShelf = {"highShelf", "High Shelf", -6, 6, 0, U::decibels};
constexpr ParameterRow kInputVolume = {"inputVolume", "Input Volume", 0, 100, 75, U::percent, kDryWet};
constexpr ParameterRow kOutputVolume = {"outputVolume", "Output Volume", 0, 100, 75, U::percent, kDryWet};
constexpr ParameterRow kFeedback = {"feedback", "Feedback", 0, 100, 0, U::percent};
constexpr ParameterRow kBitDepth = {"bitDepth", "Bit Depth", 1, 24, 12, U::generic};

constexpr std::uint64_t kDefaultSeed = 1;
constexpr double kSmoothingMs = 250.0;
constexpr int kLineBuckets = 512;
constexpr float kLineSeconds = 1.0F;
constexpr float kHighBandHz = 5000.0F;
constexpr float kLowBandHz = 1000.0F;
constexpr float kStageStepHz = 0.05F;  // each stage swings this much faster than the one before
// Far above any signal; with every gain at its bound it still stays a finite number.
constexpr float kLoudestInput = 1e12F;
constexpr float kTwoPi = 2.0F * kChorusPi;

float follow(float c, float y, float target) noexcept MORV_NONBLOCKING { return c * (y - target) + target; }

}  // namespace

ZRVAChorus::ZRVAChorus(float sampleRateHz)
    : ZRDSPEffect(sampleRateHz), seed_(kDefaultSeed), random_(kDefaultSeed) {
  identifier = "vachorus";
  name = "Chorus";
  initParameter(kProgram, -1, &program);
  initParameter(kBypass, -1, &bypass);
  initParameter(kMix, -1, &mix);
  initParameter(kSpread, -1, &spread);
  initParameter(kModFreq, -1, &modFreq);
  initParameter(kModAmount, -1, &modAmount);
  initParameter(kModShape, -1, &modShape);
  initParameter(kModRouting, -1, &modRouting);
  initParameter(kNumStages, -1, &numStages);
  initParameter(kShape, -1, &shape);
  initParameter(kAnimate, -1, &animate);
  initParameter(kMinDelay, -1, &minDelay);
  initParameter(kInGainLow, -1, &inGainLow);
  initParameter(kInGainMid, -1, &inGainMid);
  initParameter(kInGainHigh, -1, &inGainHigh);
  initParameter(kLowShelf, -1, &lowShelf);
  initParameter(kHighShelf, -1, &highShelf);
  initParameter(kInputVolume, -1, &inputVolume);
  initParameter(kOutputVolume, -1, &outputVolume);
  initParameter(kFeedback, -1, &feedback, false);
  initParameter(kBitDepth, -1, &bitDepth, false);
  std::copy_n(BChorus, BLChorus, halfbandCoefficients.begin());
  _setup();
}

ZRVAChorus::~ZRVAChorus() = default;

void ZRVAChorus::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  _setup();
}

void ZRVAChorus::_setup() {
  for (std::size_t channel = 0; channel < 2; ++channel) {
    for (bbd& line : lines[channel]) initBBDLine(&line, kLineBuckets, kLineSeconds, sampleRate);
    for (uniComb& comb : combs[channel]) initUniComb(&comb, static_cast<int>(sampleRate));
    initAP(&shelves[channel], static_cast<int>(sampleRate));
    initFIR(&halfbands[channel], BLChorus, halfbandCoefficients.data());
  }
  for (tpt* filter : {&split5kLeft, &split5kRight}) {
    initTPT(filter);
    setHeldTPTCutoff(filter, kHighBandHz, sampleRate);
  }
  for (tpt* filter : {&split1kLeft, &split1kRight}) {
    initTPT(filter);
    setHeldTPTCutoff(filter, kLowBandHz, sampleRate);
  }
  initTPT(&animateLeft);
  initTPT(&animateRight);
  phaseA.fill(0.0F);
  phaseB.fill(0.0F);
  noiseTargetLeft = noiseTargetRight = noiseLeft = noiseRight = 0;
  smoothing = static_cast<float>(
      std::exp(std::log(0.001) / (kSmoothingMs * static_cast<double>(sampleRate) * 0.001)));
  firstSmoothing_ = smoothing;
  smoothedDepth = 0;
  // The spread starts at its percentage as it stands and sweeps down to the fraction that it means.
  smoothedSpread = heldValue(spread);
  smoothedMix = heldFraction(mix);
  setRandomSeed(seed_);
}

void ZRVAChorus::setRandomSeed(std::uint64_t seed) {
  seed_ = seed;
  random_.reseed(seed);
  std::uint64_t n = 0;
  for (auto& channel : lines) {
    for (bbd& line : channel) reseedBBDLine(&line, Random::derive(seed, n++));
  }
}

// Noise glides more slowly at a lower frequency. From 10.1 Hz on the glide would run away; it then takes one
// sample.
float ZRVAChorus::driftCoefficient(float frequencyHz) const noexcept {
  const double samples =
      (10.1 - static_cast<double>(frequencyHz)) * 1000.0 * static_cast<double>(sampleRate) * 0.001 + 1.0;
  return static_cast<float>(std::exp(std::log(0.001) / std::max(samples, 1.0)));
}

// Phases, noise and followers, sample by sample. A phase that comes round draws the other side's next noise;
// one that runs backwards draws none.
void ZRVAChorus::stepModulation(float frequencyHz, Stretch* s) noexcept {
  constexpr float kHalfTurns = 1.0F / kChorusPi;
  const float drift = driftCoefficient(frequencyHz);
  const float spreadTarget = heldFraction(spread);
  const float depthTarget = heldFraction(modAmount);
  const float mixTarget = heldFraction(mix);
  const float c = smoothing;
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    for (std::size_t stage = 0; stage < kStages; ++stage) {
      const float f = frequencyHz + kStageStepHz * static_cast<float>(stage);
      float a = phaseA[stage] + kTwoPi * f / sampleRate;
      float b = phaseB[stage] + kTwoPi * (f + 0.5F * smoothedSpread) / sampleRate;
      if (a >= kTwoPi) {
        a -= kTwoPi;
        noiseTargetRight = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
      }
      if (a <= -kTwoPi) a += kTwoPi;
      if (b >= kTwoPi) {
        b -= kTwoPi;
        noiseTargetLeft = static_cast<float>(2.0 * random_.unitDouble() - 1.0);
      }
      if (b <= -kTwoPi) b += kTwoPi;
      phaseA[stage] = a;
      phaseB[stage] = b;
      s->phaseA[stage][i] = a * kHalfTurns;
      s->phaseB[stage][i] = b * kHalfTurns;
    }
    noiseLeft = follow(drift, noiseLeft, noiseTargetLeft);
    noiseRight = follow(drift, noiseRight, noiseTargetRight);
    smoothedSpread = follow(c, smoothedSpread, spreadTarget);
    smoothedDepth = follow(c, smoothedDepth, depthTarget);
    smoothedMix = follow(c, smoothedMix, mixTarget);
    s->noiseL[i] = noiseLeft;
    s->noiseR[i] = noiseRight;
    s->spread[i] = smoothedSpread;
    s->depth[i] = smoothedDepth;
    s->mix[i] = smoothedMix;
  }
}

void ZRVAChorus::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                            float tempo) noexcept {
  if (bypass.intValue() != 0) return;
  const float wantedHz = tempoSynced ? timeDivisionToFrequency(4.0F, 4.0F, tempo) : modFreq.value.load();
  const float frequencyHz = heldSetting(wantedHz, -0.5F * sampleRate, 0.5F * sampleRate);
  const float inGain = heldFraction(inputVolume);
  const float outGain = heldFraction(outputVolume);
  const Shelf low = _lowShelf();
  const Shelf high = _highShelf();
  const int which = program.intValue();
  // The second analogue form runs the cross-feed's filters, which then go back and forth at every frame.
  const int longest = which == kAnalog2 ? 1 : Stretch::kFrames;
  Stretch s;
  for (int start = 0; start < frames; start += longest) {
    s.count = std::min(longest, frames - start);
    for (int i = 0; i < s.count; ++i) {
      const auto k = static_cast<std::size_t>(i);
      s.dryL[k] = heldSetting(inL[start + i], -kLoudestInput, kLoudestInput);
      s.dryR[k] = heldSetting(inR[start + i], -kLoudestInput, kLoudestInput);
      s.left[k] = s.dryL[k] * inGain;
      s.right[k] = s.dryR[k] * inGain;
    }
    splitBands(&s);
    stepModulation(frequencyHz, &s);
    runProgram(which, &s);
    crossFeed(&s);
    for (int i = 0; i < s.count; ++i) {
      const auto k = static_cast<std::size_t>(i);
      float left = s.left[k];
      float right = s.right[k];
      doLowShelf(low, &left, &right);
      doHighShelf(high, &left, &right);
      const auto wet = static_cast<double>(s.mix[k]);
      outL[start + i] = static_cast<float>((1.0 - wet) * static_cast<double>(s.dryL[k]) +
                                           wet * static_cast<double>(left * outGain));
      outR[start + i] = static_cast<float>((1.0 - wet) * static_cast<double>(s.dryR[k]) +
                                           wet * static_cast<double>(right * outGain));
    }
  }
}

}  // namespace morv
