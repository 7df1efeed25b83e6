#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"

namespace morv {
namespace {

constexpr float kRateHz = 48000;
constexpr int kBlockFrames = 64;
constexpr long kShorterForInsides = 10;  // of every pair of a choice and another control
constexpr long kLeastBlocks = 100;
constexpr float kBound = 100.0F;  // 40 dB above the noise that goes in

// Noise at each setting: a quarter of a second, or what the environment asks for, ten minutes in the nightly
// run.
long blocksOfTest() {
  const char* wanted = std::getenv("MORV_NOISE_SECONDS");
  return std::lround((wanted != nullptr ? std::atof(wanted) : 0.25) * static_cast<double>(kRateHz) /
                     kBlockFrames);
}

// Both ends of a continuous control, each value of a whole one.
std::vector<float> settingsOf(const EffectControl& control) {
  const EffectControl::Range range = control.range().value();
  if (!control.isWhole()) return {range.least, range.greatest};
  std::vector<float> all;
  for (float value = range.least; value <= range.greatest; ++value) all.push_back(value);
  return all;
}

// The greatest size of what comes out of full-scale noise; infinite once something is no number, though the
// effect has put it back.
float peakOfNoise(ZRDSPEffect& effect, long blocks, Random& random) {
  const ScopedFlushDenormals guard;
  std::array<std::array<float, kBlockFrames>, 2> in{};
  std::array<std::array<float, kBlockFrames>, 2> out{};
  float peak = 0;
  for (long block = 0; block < blocks; ++block) {
    for (auto& side : in) {
      for (float& sample : side) sample = static_cast<float>(2.0 * random.unitDouble() - 1.0);
    }
    effect.runEffect(in[0].data(), in[1].data(), out[0].data(), out[1].data(), kBlockFrames, 120.0F);
    for (const auto& side : out) {
      for (const float sample : side) {
        if (!std::isfinite(sample)) return INFINITY;
        peak = std::max(peak, std::fabs(sample));
      }
    }
  }
  return effect.recoveryCount() == 0 ? peak : INFINITY;
}

// What changes the whole inside of a unit.
bool choosesInside(const EffectControl& control) {
  constexpr std::array<std::string_view, 4> kNames{"mode", "program", "modType", "oversample"};
  return std::find(kNames.begin(), kNames.end(), control.identifier()) != kNames.end();
}

// Continuous controls in their middle, so that each stage has something to do; switches as they were.
void setToMiddle(std::vector<EffectControl>& controls) {
  for (EffectControl& control : controls) {
    const EffectControl::Range range = control.range().value();
    if (!control.isWhole()) control.set(0.5F * (range.least + range.greatest));
  }
}

class EffectExtremes : public testing::TestWithParam<EffectKind> {
 protected:
  // Each control but the choice itself, at each of its settings, under one inside of the unit.
  void expectBounded(std::vector<EffectControl>& controls, ZRDSPEffect& effect, long blocks) {
    for (EffectControl& control : controls) {
      if (choosesInside(control)) continue;
      const float before = control.value();
      for (const float value : settingsOf(control)) {
        control.set(value);
        const float peak = peakOfNoise(effect, blocks, random_);
        ASSERT_LT(peak, kBound) << control.identifier() << " at " << value;
        greatest_ = std::max(greatest_, peak);
        ++settings_;
      }
      control.set(before);
    }
  }

  Random random_{5};
  float greatest_ = 0;
  int settings_ = 0;
};

TEST_P(EffectExtremes, StayBoundedInLongNoise) {
  const std::string kind(GetParam().name);
  const auto effect = makeEffect(kind, kRateHz);
  effect->prepare(kRateHz, kBlockFrames);
  auto controls = controlsOf(kind, *effect);
  setToMiddle(controls);
  const long blocks = blocksOfTest();
  expectBounded(controls, *effect, blocks);
  for (EffectControl& choice : controls) {
    if (!choosesInside(choice)) continue;
    for (const float value : settingsOf(choice)) {
      SCOPED_TRACE(choice.identifier() + " " + std::to_string(value));
      choice.set(value);
      const float peak = peakOfNoise(*effect, blocks, random_);
      ASSERT_LT(peak, kBound);
      expectBounded(controls, *effect, std::max(blocks / kShorterForInsides, kLeastBlocks));
    }
  }
  RecordProperty("settings", settings_);
  RecordProperty("greatestPeak", std::to_string(greatest_));
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, EffectExtremes,
                         testing::ValuesIn(effectKinds().begin(), effectKinds().end()),
                         [](const auto& kind) { return std::string(kind.param.name); });

}  // namespace
}  // namespace morv
