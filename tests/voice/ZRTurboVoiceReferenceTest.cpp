// The turbo voice's whole chain against a plain second form: one sample behind the other, libm, double where
// the voice takes vector kernels, and the exact filter.

#include <gtest/gtest.h>

#include <array>

#include "tests/voice/PlainWavetableOscillator.h"
#include "voice/EnvelopeStages.h"

namespace morv {
namespace {

using testing::at;
using testing::Block;
using testing::FedMatrix;
using testing::PlainWavetableOscillator;
using testing::Signal;

constexpr int kBlock = 64;
constexpr double kWantedDb = -100.0;

struct Patch {
  float wave = 0.4F, width = 0.35F, level = 0.8F, sub = 0.3F, subDetune = 0, subOctave = 1;
  float lfoHz = 5.3F, cutoff = 900, resonance = 0.5F, mode = 0.2F;
  float envToCutoff = 0.3F, lfoToCutoff = 0.15F, lfoToMode = 0.3F, lfoToQ = 0.2F, keytrack = 0.5F;
  float envToWidth = 0.2F, lfoToWave = 0.3F;
  float drive = 0.4F, tone = 0.5F, pan = 0.3F;
  std::array<float, 5> amp = {0.05F, 0.3F, 0.7F, 0.1F, 0.5F};  // attack, decay, sustain, release, velocity
  std::array<float, 5> mod = {0.2F, 0.3F, 0.4F, 0.1F, 0.0F};
  int note = 57, velocity = 100;
};

void setUp(ZRTurboVoice& v, const Patch& p) {
  v.oscWave = p.wave;
  v.oscPulseWidth = p.width;
  v.oscMainLevel = p.level;
  v.oscSubLevel = p.sub;
  v.oscSubDetune = p.subDetune;
  v.oscSubOctave = p.subOctave;
  v.lfoFreq = p.lfoHz;
  v.filterCutoff = p.cutoff;
  v.filterResonance = p.resonance;
  v.filterMode = p.mode;
  v.filterEnvModAmount = p.envToCutoff;
  v.filterLFOModAmount = p.lfoToCutoff;
  v.filterModeModAmount = p.lfoToMode;
  v.filterQLFOAmount = p.lfoToQ;
  v.filterKeyTrackAmount = p.keytrack;
  v.oscEnvModAmount = p.envToWidth;
  v.oscWaveLFOModAmount = p.lfoToWave;
  v.outputDistortion = p.drive;
  v.outputDistortionTone = p.tone;
  v.panTarget = p.pan;
  v.env1Attack = p.amp[0];
  v.env1Decay = p.amp[1];
  v.env1Sustain = p.amp[2];
  v.env1Release = p.amp[3];
  v.env1Velocity = p.amp[4];
  v.env2Attack = p.mod[0];
  v.env2Decay = p.mod[1];
  v.env2Sustain = p.mod[2];
  v.env2Release = p.mod[3];
  v.env2Velocity = p.mod[4];
}

struct PlainEnvelope {
  void open(const std::array<float, 5>& p, float releaseFactor, int velocity) {
    attack = static_cast<float>(std::pow(2.0F * p[0], 2.0F) + 0.001);
    decay = static_cast<float>(std::pow(2.5F * p[1], 2.0F) + 0.0001);
    release = static_cast<float>(std::pow(releaseFactor * p[3], 2.0F) + 0.0001);
    target = p[2];
    const float gain = 1.0F - p[4] + p[4] * static_cast<float>(velocity / 127.0);
    scale = static_cast<float>(std::pow(static_cast<double>(gain), 1.5));
    state = 1;
    time = 0;
  }
  void close() {
    target = static_cast<float>(static_cast<double>(last) / static_cast<double>(scale));
    state = 4;
    time = 0;
  }
  void run(Signal& out) {
    for (float& y : out)
      last = y = adsr_state(time, state, false, false, 44100.0F, scale, 0.0F, attack, decay, target, release,
                            120.0F);
  }
  float attack = 0, decay = 0, release = 0, target = 0, scale = 1, last = 0;
  int state = 0, time = 0;
};

// A bell of one section whose coefficients go half of the way to their targets at each sample.
struct PlainBell {
  static std::array<double, 5> coefficients(double hertz, double db, double bandwidth) {
    const double K = static_cast<double>(std::tan(static_cast<float>(std::numbers::pi * hertz / 44100.0)));
    const double Q = hertz / bandwidth;
    const double V = std::pow(10.0, db / 20.0);
    const double boost = db > 0 ? V : 1.0;
    const double cut = db > 0 ? 1.0 : V;
    const double norm = 1 + K / (cut * Q) + K * K;
    const double middle = 2 * (K * K - 1) / norm;
    return {(1 + boost * K / Q + K * K) / norm, middle, (1 - boost * K / Q + K * K) / norm, middle,
            (1 - K / (cut * Q) + K * K) / norm};
  }
  double step(double x) {
    for (std::size_t i = 0; i < 5; ++i) {
      c[i] += 0.5 * (target[i] - c[i]);
      if (std::abs(target[i] - c[i]) < 0.005) c[i] = target[i];
    }
    const double y = c[0] * x + c[1] * x1 + c[2] * x2 - c[3] * y1 - c[4] * y2;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
  }
  std::array<double, 5> c = coefficients(1000, 0, 1000);
  std::array<double, 5> target{};
  double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
};

class PlainTurboVoice {
 public:
  explicit PlainTurboVoice(const Patch& patch) : p(patch), osc(44100.0F), filter(44100.0F, &counter) {
    filter.setModMatrix(&fed.matrix);
    filter.filterCutoff = p.cutoff;
    filter.filterResonance = p.resonance;
    filter.filterMode = p.mode;
    frequency = static_cast<float>(440.0 * std::exp2((p.note - 69) / 12.0));
    osc.frequency = frequency;
    osc.noteFrequency = frequency;
    osc.width = p.width;
    osc.wave = p.wave;
    osc.level = p.level;
    osc.subLevel = p.sub;
    osc.subDetune = p.subDetune;
    osc.subOctave = static_cast<int>(2 - p.subOctave);
    bell.target = PlainBell::coefficients(3500, 12 * static_cast<double>(p.tone), 2000);
  }

  void followPan() {
    const double c = std::exp(std::log(0.001) / (20 * 44100 * 0.001));
    pan = c * (pan - static_cast<double>(p.pan)) + static_cast<double>(p.pan);
  }
  void open() {
    amp.open(p.amp, 3.5F, p.velocity);
    mod.open(p.mod, 4.5F, p.velocity);
  }
  void close() {
    amp.close();
    mod.close();
  }

  void run(float* left, float* right) {
    followPan();
    Signal fresh(kBlock), cutoff(kBlock), resonance(kBlock), mode(kBlock), width(kBlock), wave(kBlock),
        gain(kBlock);
    for (int n = 0; n < kBlock; ++n) {
      const std::size_t i = at(n);
      const auto lfo = static_cast<double>(lfoOut[i]);
      const auto env = static_cast<double>(modOut[i]);
      cutoff[i] = static_cast<float>(
          static_cast<double>(p.lfoToCutoff) * lfo + static_cast<double>(p.envToCutoff) * std::pow(env, 4) +
          0.0001 * static_cast<double>(p.keytrack) * static_cast<double>(frequency));
      resonance[i] = static_cast<float>(static_cast<double>(p.lfoToQ) * lfo);
      mode[i] = static_cast<float>(static_cast<double>(p.lfoToMode) * lfo);
      width[i] = static_cast<float>(0.5 * static_cast<double>(p.envToWidth) * env);
      wave[i] = static_cast<float>(static_cast<double>(p.lfoToWave) * lfo);
      gain[i] = ampOut[i] * ampOut[i];
      fresh[i] = static_cast<float>(0.5 * lfoSample() + 0.5);
    }
    lfoOut = fresh;
    osc.widthModulation = width;
    osc.waveModulation = wave;
    const std::vector<double> raw = osc.run(kBlock);
    Signal s(kBlock), other(kBlock);
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = static_cast<float>(std::tanh(raw[i]));
    mod.run(modOut);
    fed.feed(filter.filterCutoff, cutoff);
    fed.feed(filter.filterResonance, resonance);
    fed.feed(filter.filterMode, mode);
    fed.run(kBlock);
    filter.runFilter(s.data(), s.data(), s.data(), other.data(), kBlock);
    amp.run(ampOut);
    const double angle = std::numbers::pi / 4 * (pan + 1);
    for (std::size_t i = 0; i < s.size(); ++i) {
      auto x = static_cast<double>(s[i]);
      if (p.drive > 0.0F) {
        const double t = x * (1.0 + 20.0 * static_cast<double>(p.drive));
        x = bell.step((t < 0 ? -1 : 1) * (1.0 - std::exp(-std::abs(t))));
      }
      x *= static_cast<double>(gain[i]) * static_cast<double>(gain[i]);
      left[i] += static_cast<float>(x * std::cos(angle));
      right[i] += static_cast<float>(x * std::sin(angle));
    }
  }

 private:
  double lfoSample() {
    lfoPhase += 2.0F * p.lfoHz / 44100.0F;
    if (lfoPhase >= 1.0F) lfoPhase = -1.0F;
    const double y = std::sin(std::numbers::pi * static_cast<double>(lfoPhase));
    const double c = std::exp(std::log(0.001) / (1 * 44100 * 0.001));
    lfoSmoothed = std::min(std::max(c * (lfoSmoothed - y) + y, -1.0), 1.0);
    return lfoSmoothed;
  }

  Patch p;
  int counter = 0;
  FedMatrix fed;
  PlainWavetableOscillator osc;
  ZRSEMFilter filter;
  PlainEnvelope amp, mod;
  PlainBell bell;
  float frequency = 0, lfoPhase = -1;
  double lfoSmoothed = 0, pan = 0;
  Signal lfoOut = Signal(kBlock), modOut = Signal(kBlock), ampOut = Signal(kBlock);
};

// A second of one note that ends at its half.
void expectSecondForm(const Patch& patch) {
  constexpr int kBlocks = 690;
  const auto voice = testing::makeTurboVoice();
  setUp(*voice, patch);
  testing::runVoice(*voice, kBlock);
  PlainTurboVoice plain(patch);
  plain.followPan();
  Block actual(kBlocks * kBlock);
  Block expected(kBlocks * kBlock);
  for (int n = 0; n < kBlocks; ++n) {
    if (n == 0) {
      voice->setGateWithNote(1, patch.note, patch.velocity);
      plain.open();
    }
    if (n == kBlocks / 2) {
      voice->setGateWithNote(0, patch.note, 0);
      plain.close();
    }
    voice->runGenerator(actual.left.data() + n * kBlock, actual.right.data() + n * kBlock, kBlock, 120.0F);
    plain.run(expected.left.data() + n * kBlock, expected.right.data() + n * kBlock);
  }
  EXPECT_GT(testing::power(expected.left), 10.0);
  EXPECT_LT(testing::errorDb(actual.left, expected.left), kWantedDb);
  EXPECT_LT(testing::errorDb(actual.right, expected.right), kWantedDb);
}

TEST(ZRTurboVoiceReference, AModulatedAndDrivenNoteIsItsPlainForm) { expectSecondForm({}); }

TEST(ZRTurboVoiceReference, TheCleanVoiceIsItsPlainForm) {
  Patch patch;
  patch.drive = 0;
  expectSecondForm(patch);
}

TEST(ZRTurboVoiceReference, AResonantSweepOfABrightNoteIsItsPlainForm) {
  Patch patch;
  patch.note = 84;
  patch.resonance = 0.95F;
  patch.lfoToQ = 0;
  patch.lfoToCutoff = 0.6F;
  patch.lfoToMode = 1.0F;
  patch.mode = 0.9F;
  patch.subDetune = 7;
  patch.subOctave = 2;
  patch.drive = 1;
  patch.tone = -1;
  patch.pan = -0.9F;
  expectSecondForm(patch);
}

TEST(ZRTurboVoiceReference, ALowPulseIsItsPlainForm) {
  Patch patch;
  patch.note = 28;
  patch.wave = 1;
  patch.lfoToWave = 0;
  patch.width = 0.1F;
  patch.subOctave = 0;
  patch.sub = 1.25F;
  patch.cutoff = 5000;
  patch.drive = 0.05F;
  expectSecondForm(patch);
}

}  // namespace
}  // namespace morv
