#pragma once

#include <algorithm>
#include <cmath>

#include "tests/voice/VoiceTesting.h"
#include "voice/WavetableSet.h"

namespace morv::testing {

// The wavetable oscillator in its voice's mode, sample by sample: phases and frequencies in single precision,
// the mix in double. Modulation signals may be empty for silence.
struct PlainWavetableOscillator {
  explicit PlainWavetableOscillator(float constructionRate)
      : set(WavetableSet::sharedVoiceSet(constructionRate)),
        builtFor(constructionRate),
        rate(constructionRate) {}

  static float powerOfTwo(double octaves) { return static_cast<float>(std::exp2(octaves)); }
  static float valueAt(const Signal& x, int i) { return x.empty() ? 0.0F : x[at(i)]; }
  static float insideDownwards(float position) {
    while (position >= 1024.0F) position -= 1024.0F;
    return position;
  }

  int copy() const {
    const double x = std::floor((std::log10(static_cast<double>(noteFrequency)) - std::log10(0.9) -
                                 std::log10(static_cast<double>(builtFor) / 1024.0)) /
                                std::log10(1.44));
    return x >= 12.0 ? 12 : (x >= 0.0 ? static_cast<int>(x) : 0);
  }

  // Over one sample more than a copy holds, from one sample inside it.
  double read(int which, float position) const {
    const float* from = set->wave(which) + copy() * 1024 + 1;
    const int i = static_cast<int>(position);
    const double fraction = static_cast<double>(position) - i;
    return static_cast<double>(from[i]) * (1.0 - fraction) + static_cast<double>(from[i + 1]) * fraction;
  }

  std::vector<double> run(int frames) {
    const float octaves = powerOfTwo(static_cast<double>(octave)) *
                          powerOfTwo(std::trunc(static_cast<double>(valueAt(octaveModulation, 0))));
    const float semitone = powerOfTwo(static_cast<double>(semitones) / 12.0) *
                           powerOfTwo(std::trunc(static_cast<double>(valueAt(semitoneModulation, 0))) / 12.0);
    const float ownCents = powerOfTwo(static_cast<double>(cents) / 1200.0);
    const auto detune =
        static_cast<float>(std::pow(std::pow(2.0, 1.0 / 12.0), static_cast<double>(subDetune)));
    std::vector<float> one(at(frames)), two(at(frames)), three(at(frames));
    float w = 0;
    for (int i = 0; i < frames; ++i) {
      float factor = ownCents * powerOfTwo(static_cast<double>(valueAt(centsModulation, i)) / 1200.0);
      if (std::isnan(factor)) factor = 1;
      float f = frequency + valueAt(frequencyModulation, i);
      rawFrequency = f;
      if (f <= 0.0F) f = 1;
      f = f * octaves * semitone * factor;
      if (f > 20000.0F) f = 20000;
      modulatedFrequency = f;
      const float step = f * 1024.0F / rate;
      const float subFrequency = subOctave != 0 ? f / (2.0F * static_cast<float>(subOctave)) : f;
      const float subStep = subFrequency * detune * 1024.0F / rate;
      w = width + valueAt(widthModulation, i);
      w = std::isnan(w) ? 0.5F : std::min(std::max(w, 0.0F), 1.0F) * 0.98F;
      const float m = valueAt(phaseModulation, i) * fmAmount;
      one[at(i)] = phaseOne;
      two[at(i)] = phaseTwo;
      three[at(i)] = phaseThree;
      phaseOne = phaseOne + (step + m);
      while (phaseOne >= 1024.0F) phaseOne -= 1024.0F;
      while (phaseOne < 0.0F) phaseOne += 1024.0F;
      phaseTwo = insideDownwards(w * 1024.0F + phaseOne + step);
      phaseThree = insideDownwards(phaseThree + subStep);
    }
    std::vector<double> out(at(frames));
    const auto width64 = static_cast<double>(w);
    const auto shape = static_cast<double>(wave);
    for (int i = 0; i < frames; ++i) {
      const double saw = 0.95 * read(1, one[at(i)]);
      const double back = 0.95 * read(3, two[at(i)]);
      double y = saw + 2.0 * (0.5 - width64) * (1.0 - shape) * back;
      y += back * (shape + static_cast<double>(valueAt(waveModulation, i)));
      y *= 1.0 / std::max(width64, 1.0 - width64) * static_cast<double>(level);
      y += read(subWave != 0 ? 4 : 0, three[at(i)]) * static_cast<double>(subLevel);
      out[at(i)] = y;
    }
    return out;
  }

  std::shared_ptr<const WavetableSet> set;
  float builtFor, rate;
  float frequency = 110, octave = 0, semitones = 0, cents = 0, width = 0.5F, wave = 0, level = 0.5F;
  float fmAmount = 0, subLevel = 0, subDetune = 0, noteFrequency = 0;
  int subOctave = 0, subWave = 0;
  Signal frequencyModulation, octaveModulation, semitoneModulation, centsModulation, widthModulation,
      waveModulation, phaseModulation;
  float phaseOne = 0, phaseTwo = 512, phaseThree = 0;
  float rawFrequency = 1, modulatedFrequency = 1;
};

}  // namespace morv::testing
