#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/HostBlocks.h"
#include "hosts/lv2/EffectTexts.h"
#include "hosts/lv2/EffectUris.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"
#include "tests/lv2/EffectHost.h"

namespace morv::lv2 {

struct EffectSound {
  std::vector<float> left;
  std::vector<float> right;
};

inline EffectSound noise(std::size_t frames, std::uint64_t seed, float peak = 0.5F) {
  Random random(seed);
  EffectSound sound{std::vector<float>(frames), std::vector<float>(frames)};
  for (auto* side : {&sound.left, &sound.right}) {
    for (float& sample : *side) sample = peak * static_cast<float>(2.0 * random.unitDouble() - 1.0);
  }
  return sound;
}

inline EffectSound sine(std::size_t frames, double frequencyHz, double rateHz, double peak = 0.5) {
  EffectSound sound{std::vector<float>(frames), std::vector<float>(frames)};
  for (std::size_t i = 0; i < frames; ++i) {
    const double phase = 2.0 * 3.14159265358979323846 * frequencyHz * static_cast<double>(i) / rateHz;
    sound.left[i] = sound.right[i] = static_cast<float>(peak * std::sin(phase));
  }
  return sound;
}

// The effect of the catalogue itself, run in blocks of 64 as an effect should be.
class PlainEffect {
 public:
  PlainEffect(std::string_view kind, double rateHz)
      : effect(makeEffect(kind, rateHz)), controls(controlsOf(kind, *effect)) {
    effect->prepare(static_cast<float>(rateHz), 64);
    for (const EffectPortText& text : effectPortTexts()) {
      const std::string start = std::string(kind) + ".";
      const std::string path(text.text.parameter);
      if (text.start && path.starts_with(start)) set(path.substr(start.size()), *text.start);
    }
  }

  void set(const std::string& identifier, float value) {
    for (EffectControl& control : controls) {
      if (control.identifier() == identifier) control.set(value);
    }
  }
  // `before(frame)` is called ahead of each block.
  EffectSound run(const EffectSound& in, const std::function<void(std::size_t)>& before = {}) {
    const ScopedFlushDenormals flush;
    EffectSound out = in;
    for (std::size_t done = 0; done < in.left.size(); done += 64) {
      const std::size_t count = std::min<std::size_t>(64, in.left.size() - done);
      if (before) before(done);
      effect->runEffect(in.left.data() + done, in.right.data() + done, out.left.data() + done,
                        out.right.data() + done, static_cast<int>(count), tempo);
    }
    return out;
  }

  std::unique_ptr<ZRDSPEffect> effect;
  std::vector<EffectControl> controls;
  float tempo = 120.0F;
};

using Settings = std::vector<std::pair<std::string, float>>;

// Values for all controls of a kind, drawn from a seed, as its ports hold them. `isHeard` keeps out what
// leaves the effect out.
inline Settings drawnSettings(const std::string& kind, std::uint64_t seed, bool isHeard) {
  Random random(seed);
  const auto effect = makeEffect(kind, 48000.0);
  Settings settings;
  for (const EffectControl& control : controlsOf(kind, *effect)) {
    const auto& texts = effectPortTexts();
    const auto text = std::find_if(texts.begin(), texts.end(), [&](const EffectPortText& each) {
      return each.text.parameter == kind + "." + control.identifier();
    });
    const EffectControl::Range range = *control.range();
    float value = range.least + (range.greatest - range.least) * static_cast<float>(random.unitDouble());
    if (control.isWhole() || text->text.isWhole) value = std::round(value);
    if (isHeard && control.identifier().find("ypass") != std::string::npos) value = 0;
    if (isHeard && control.identifier() == "program") value = control.value();
    settings.emplace_back(control.identifier(), value);
  }
  return settings;
}

inline std::vector<std::string> kindNames() {
  std::vector<std::string> names;
  for (const EffectKind& kind : effectKinds()) names.emplace_back(kind.name);
  return names;
}

// One of the kinds, as the build tree has it.
class EffectsFixture : public testing::TestWithParam<std::string> {
 protected:
  EffectsFixture() { EXPECT_NE(world_.plugin(), nullptr); }

  const EffectFacts& facts() const { return *factsOfEffect(GetParam()); }
  static void set(EffectHost& host, const Settings& settings) {
    for (const auto& [symbol, value] : settings) host.port(symbol) = value;
  }
  static void set(PlainEffect& effect, const Settings& settings) {
    for (const auto& [identifier, value] : settings) effect.set(identifier, value);
  }

  Lv2World world_{kEffectUriStart + GetParam()};
};

// The same for one kind that a test names.
class OneEffect : public testing::Test {
 protected:
  static Lv2World worldOf(const std::string& kind) { return Lv2World(kEffectUriStart + kind); }
};

inline std::string kindOfTest(const testing::TestParamInfo<std::string>& info) { return info.param; }

}  // namespace morv::lv2
