// The kernels that read tables, and the voice's oscillator made of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/voice/VoiceTesting.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

using testing::at;
using testing::Signal;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int kLengths[] = {0, 1, 2, 3, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 100, 1001};

std::vector<const VoiceKernels*> allKernels() {
  std::vector<const VoiceKernels*> list = {&baselineVoiceKernels()};
  if (avx2VoiceKernels() != nullptr) list.push_back(avx2VoiceKernels());
  return list;
}

std::string kernelName(const ::testing::TestParamInfo<const VoiceKernels*>& info) {
  return info.index == 0 ? "Baseline" : "Avx2";
}

// The kernel gives each element the same bits at any length, and writes no further.
template <typename Run>
void expectLengthsAgree(Run&& run) {
  const Signal whole = run(1001);
  for (const int frames : kLengths) {
    const Signal part = run(frames);
    for (int i = 0; i < frames; ++i) ASSERT_EQ(part[at(i)], whole[at(i)]) << frames << ": " << i;
    for (std::size_t i = at(frames); i < part.size(); ++i) ASSERT_EQ(part[i], 99.0F) << frames;
  }
}

class VoiceKernelTables : public ::testing::TestWithParam<const VoiceKernels*> {
 protected:
  VoiceKernelTables() {
    Random random(8);
    for (int i = 0; i <= 1024; ++i) {
      saw.push_back(2.0F * random.unit31() - 1.0F);
      reversed.push_back(2.0F * random.unit31() - 1.0F);
    }
    for (int i = 0; i < 1001; ++i) {
      one.push_back(std::min(1024.0F * random.unit31(), 1023.99994F));
      two.push_back(std::min(1024.0F * random.unit31(), 1023.99994F));
      modulation.push_back(2.0F * random.unit31() - 1.0F);
    }
    one[3] = 0.0F;
    one[4] = 1023.99994F;
    one[5] = 1023.0F;
  }
  static double read(const Signal& table, float position) {
    const auto i = static_cast<std::size_t>(position);
    const double fraction = static_cast<double>(position) - static_cast<double>(i);
    return static_cast<double>(table[i]) * (1 - fraction) + static_cast<double>(table[i + 1]) * fraction;
  }

  static constexpr double kReadError = 3e-7;  // of values up to one
  const VoiceKernels& k = *GetParam();
  Signal saw, reversed, one, two, modulation;
};

INSTANTIATE_TEST_SUITE_P(Machines, VoiceKernelTables, ::testing::ValuesIn(allKernels()), kernelName);

TEST_P(VoiceKernelTables, ReadingIsLinearInterpolationUpToOneValueBeyondTheTable) {
  Signal out(one.size());
  k.readTable(saw.data(), one.data(), out.data(), 1001);
  for (std::size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], read(saw, one[i]), kReadError) << i;
  Signal same = one;
  k.readTable(saw.data(), same.data(), same.data(), 1001);
  EXPECT_EQ(same, out);
}

TEST_P(VoiceKernelTables, AddingAddsTheReadTimesItsGain) {
  Signal out = modulation;
  k.addTable(saw.data(), one.data(), 0.6F, out.data(), 1001);
  for (std::size_t i = 0; i < out.size(); ++i)
    ASSERT_NEAR(out[i], static_cast<double>(modulation[i]) + static_cast<double>(0.6F) * read(saw, one[i]),
                kReadError);
}

TEST_P(VoiceKernelTables, ThePulseIsTheMixOfBothSaws) {
  const PulseWaveSettings s{saw.data(), reversed.data(), 0.3F, 0.4F, 1.7F, 0.8F};
  Signal out(one.size());
  k.pulseWave(s, one.data(), two.data(), modulation.data(), out.data(), 1001);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const double a = 0.95 * read(saw, one[i]);
    const double b = 0.95 * read(reversed, two[i]);
    const double expected = (a + 0.3 * b + b * (0.4 + static_cast<double>(modulation[i]))) * 1.7 * 0.8;
    ASSERT_NEAR(out[i], expected, 5 * kReadError) << i;
  }
}

// The pulse in one pass beside the same step by step: pitch and phases in floats, as the kernels of their own
// have them, the mix in double.
class VoiceKernelPulse : public VoiceKernelTables {
 protected:
  VoiceKernelPulse() {
    settings.steps.base = 300;
    settings.steps.size = 1024;
    settings.steps.rate = 48000;
    settings.steps.subDivisor = 2;
    settings.pulse = {saw.data(), reversed.data(), 0.3F, 0.4F, 1.7F, 0.8F};
    settings.sub = saw.data();
    settings.subLevel = 0.6F;
    Random random(11);
    for (int i = 0; i < kCount; ++i) {
      frequencies.push_back(9000.0F * random.unit31() - 300.0F);
      cents.push_back(2400.0F * random.unit31() - 1200.0F);
      widths.push_back(1.4F * random.unit31() - 0.2F);
      shapes.push_back(2.0F * random.unit31() - 1.0F);
    }
    widths[5] = kNaN;
  }

  void modulateAll() {
    settings.frequencyModulation = frequencies.data();
    settings.centsModulation = cents.data();
    settings.widthModulation = widths.data();
    settings.shapeModulation = shapes.data();
  }

  // Blocks of a length, one behind the other.
  Signal runBlocks(PulseOscillatorState& state, int frames, int total) const {
    Signal out(at(kCount), 99.0F);
    for (int n = 0; n < total; n += frames) {
      PulseOscillatorSettings block = settings;
      if (block.frequencyModulation != nullptr) block.frequencyModulation += n;
      if (block.centsModulation != nullptr) block.centsModulation += n;
      if (block.widthModulation != nullptr) block.widthModulation += n;
      if (block.shapeModulation != nullptr) block.shapeModulation += n;
      k.pulseOscillator(block, state, out.data() + n, std::min(frames, total - n));
    }
    return out;
  }

  void expectPlain(const Signal& out, PulseOscillatorState state, const PulseOscillatorState& end) const {
    Signal factors(at(kCount)), steps(at(kCount), settings.step), subSteps(at(kCount), settings.subStep);
    if (settings.frequencyModulation != nullptr) {
      k.centsFactors(cents.data(), 1.0F, factors.data(), kCount);
      k.oscillatorSteps(settings.steps, frequencies.data(), factors.data(), steps.data(), subSteps.data(),
                        kCount);
    }
    const auto inside = [](float position) {
      while (position >= 1024.0F) position -= 1024.0F;
      return position;
    };
    for (int i = 0; i < kCount; ++i) {
      const double a = 0.95 * read(saw, state.one);
      const double b = 0.95 * read(reversed, state.two);
      const double shape = settings.shapeModulation != nullptr ? static_cast<double>(shapes[at(i)]) : 0.0;
      const double sub = read(saw, state.three);
      const double expected = (a + 0.3 * b + b * (0.4 + shape)) * 1.7 * 0.8 + 0.6 * sub;
      ASSERT_NEAR(out[at(i)], expected, 6 * kReadError) << i;
      float width = settings.width;
      if (settings.widthModulation != nullptr) {
        const float sum = width + widths[at(i)];
        width = std::isnan(sum) ? 0.5F : std::min(std::max(sum, 0.0F), 1.0F) * 0.98F;
      }
      state.one = inside(state.one + steps[at(i)]);
      state.two = inside(width * 1024.0F + state.one + steps[at(i)]);
      state.three = inside(state.three + subSteps[at(i)]);
    }
    EXPECT_EQ(end.one, state.one);
    EXPECT_EQ(end.two, state.two);
    EXPECT_EQ(end.three, state.three);
    EXPECT_EQ(end.lastStep, steps.back());
  }

  static constexpr int kCount = 1001;
  PulseOscillatorSettings settings;
  Signal frequencies, cents, widths, shapes;
};

INSTANTIATE_TEST_SUITE_P(Machines, VoiceKernelPulse, ::testing::ValuesIn(allKernels()), kernelName);

TEST_P(VoiceKernelPulse, IsItsStagesOneBehindTheOther) {
  settings.width = 0.1F;
  modulateAll();
  for (const float detune : {1.0F, 1.01F}) {
    settings.steps.subDetune = detune;
    const PulseOscillatorState start{5.0F, 700.0F, 1023.5F, 0.0F};
    PulseOscillatorState state = start;
    expectPlain(runBlocks(state, kCount, kCount), start, state);
  }
}

TEST_P(VoiceKernelPulse, StandsStillWhereNothingModulatesIt) {
  settings.step = 9.3F;
  settings.subStep = 1000.7F;
  settings.width = 0.25F;
  const PulseOscillatorState start{1020.0F, 0.0F, 3.0F, 0.0F};
  PulseOscillatorState state = start;

  const Signal out = runBlocks(state, kCount, kCount);

  expectPlain(out, start, state);
}

TEST_P(VoiceKernelPulse, ASubLevelOfZeroReadsNoTable) {
  settings.step = 9.3F;
  settings.subStep = 4.65F;
  settings.width = 0.25F;
  settings.subLevel = 0;
  PulseOscillatorState state{};
  const Signal without = runBlocks(state, kCount, kCount);
  settings.sub = nullptr;
  PulseOscillatorState again{};

  EXPECT_EQ(runBlocks(again, kCount, kCount), without);
  EXPECT_NEAR(without[0], (0.95 * saw[0] + 0.7 * 0.95 * reversed[0]) * 1.7 * 0.8, 6 * kReadError);
}

TEST_P(VoiceKernelPulse, BlocksOfAnyLengthGiveTheSameBitsAndWriteNoFurther) {
  modulateAll();
  for (const bool isModulated : {true, false}) {
    if (!isModulated) {
      settings.frequencyModulation = settings.centsModulation = settings.widthModulation = nullptr;
      settings.step = 77.7F;
      settings.subStep = 20.1F;
    }
    PulseOscillatorState wholeState{};
    const Signal whole = runBlocks(wholeState, kCount, kCount);
    for (const int frames : kLengths) {
      if (frames == 0) continue;
      PulseOscillatorState state{};
      EXPECT_EQ(runBlocks(state, frames, kCount), whole) << frames;
      EXPECT_EQ(state.one, wholeState.one);
      PulseOscillatorState part{};
      const Signal alone = runBlocks(part, frames, frames);
      for (std::size_t i = at(frames); i < alone.size(); ++i) ASSERT_EQ(alone[i], 99.0F) << frames;
    }
  }
}

TEST_P(VoiceKernelTables, LengthsMakeNoDifferenceToAnyElement) {
  const auto made = [](auto&& run) {
    return [run](int frames) {
      Signal out(1001, 99.0F);
      run(out, frames);
      return out;
    };
  };
  expectLengthsAgree(made([&](Signal& out, int n) {
    std::copy_n(modulation.begin(), n, out.begin());
    k.tanhInPlace(out.data(), n);
  }));
  expectLengthsAgree(made([&](Signal& out, int n) { k.softLimit(modulation.data(), 5.0F, out.data(), n); }));
  expectLengthsAgree(made([&](Signal& out, int n) { k.sinPi(modulation.data(), out.data(), n); }));
  expectLengthsAgree(made([&](Signal& out, int n) { k.centsFactors(one.data(), 2.0F, out.data(), n); }));
  expectLengthsAgree(made([&](Signal& out, int n) { k.readTable(saw.data(), one.data(), out.data(), n); }));
  expectLengthsAgree(made([&](Signal& out, int n) {
    std::copy_n(modulation.begin(), n, out.begin());
    k.addTable(saw.data(), one.data(), 0.7F, out.data(), n);
  }));
  const PulseWaveSettings s{saw.data(), reversed.data(), 0.3F, 0.4F, 1.7F, 0.8F};
  expectLengthsAgree(made(
      [&](Signal& out, int n) { k.pulseWave(s, one.data(), two.data(), modulation.data(), out.data(), n); }));
}

}  // namespace
}  // namespace morv
