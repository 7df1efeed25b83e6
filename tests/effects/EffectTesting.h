#pragma once

// Stereo signals, effects run in blocks, parameter tables row by row.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "effects/ZRDSPEffect.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"

namespace morv {

struct Stereo {
  std::vector<float> left;
  std::vector<float> right;

  Stereo() = default;
  explicit Stereo(int frames)
      : left(static_cast<std::size_t>(frames)), right(static_cast<std::size_t>(frames)) {}
  int frames() const { return static_cast<int>(left.size()); }
};

inline Stereo stereoNoise(int frames, std::uint64_t seed, float peak = 0.5F) {
  Random random(seed);
  Stereo s(frames);
  for (auto* side : {&s.left, &s.right}) {
    for (float& v : *side) v = peak * static_cast<float>(2.0 * random.unitDouble() - 1.0);
  }
  return s;
}

inline Stereo stereoImpulse(int frames, float left = 1.0F, float right = 1.0F) {
  Stereo s(frames);
  s.left.front() = left;
  s.right.front() = right;
  return s;
}

inline Stereo stereoSine(int frames, double frequencyHz, double rateHz, double peak = 0.5) {
  Stereo s(frames);
  for (int i = 0; i < frames; ++i) {
    const double x = peak * std::sin(2.0 * 3.14159265358979323846 * frequencyHz * i / rateHz);
    s.left[static_cast<std::size_t>(i)] = s.right[static_cast<std::size_t>(i)] = static_cast<float>(x);
  }
  return s;
}

// The effect over the whole of `in`, in blocks; its own outputs start as silence.
inline Stereo runInBlocks(ZRDSPEffect& effect, const Stereo& in, int blockFrames, float tempo = 120.0F) {
  const ScopedFlushDenormals guard;
  Stereo out(in.frames());
  for (int start = 0; start < in.frames(); start += blockFrames) {
    const int n = std::min(blockFrames, in.frames() - start);
    effect.runEffect(in.left.data() + start, in.right.data() + start, out.left.data() + start,
                     out.right.data() + start, n, tempo);
  }
  return out;
}

// The effect over one buffer that is both sides' input and output.
inline std::vector<float> runInOneBuffer(ZRDSPEffect& effect, std::vector<float> buffer, int blockFrames) {
  const ScopedFlushDenormals guard;
  const int frames = static_cast<int>(buffer.size());
  for (int start = 0; start < frames; start += blockFrames) {
    float* at = buffer.data() + start;
    effect.runEffect(at, at, at, at, std::min(blockFrames, frames - start), 120.0F);
  }
  return buffer;
}

inline double energy(const std::vector<float>& x) {
  double sum = 0;
  for (const float v : x) sum += static_cast<double>(v) * static_cast<double>(v);
  return sum;
}

// Level of the difference of two signals against the first one, in dB.
inline double differenceDb(const std::vector<float>& expected, const std::vector<float>& actual) {
  EXPECT_EQ(expected.size(), actual.size());
  double sum = 0;
  for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i) {
    const double d = static_cast<double>(expected[i]) - static_cast<double>(actual[i]);
    sum += d * d;
  }
  EXPECT_GT(energy(expected), 0.0);
  return 10.0 * std::log10(std::max(sum, 1e-300) / energy(expected));
}

inline double differenceDb(const Stereo& expected, const Stereo& actual) {
  return std::max(differenceDb(expected.left, actual.left), differenceDb(expected.right, actual.right));
}

inline bool isFinite(const Stereo& s) {
  const auto finite = [](float v) { return std::isfinite(v); };
  return std::all_of(s.left.begin(), s.left.end(), finite) &&
         std::all_of(s.right.begin(), s.right.end(), finite);
}

inline float peakOf(const std::vector<float>& x) {
  float peak = 0;
  for (const float v : x) peak = std::max(peak, std::abs(v));
  return peak;
}

// What no setting is meant to be.
inline constexpr float kLostSettings[] = {std::numeric_limits<float>::infinity(),
                                          -std::numeric_limits<float>::infinity(),
                                          std::numeric_limits<float>::quiet_NaN(), 3e38F};

// Each setting in turn is lost for a while and comes back: the output stays finite all the time, and after
// the seconds it is as loud as that of an effect whose settings were never lost. `make` gives an effect at
// the rate, `check` looks at it afterwards.
template <typename Make, typename Check>
void expectEachSettingMayBeLostForAWhile(Make make, float rateHz, float seconds, bool resets, Check check) {
  constexpr double kAsLoudDb = 1.0;  // of the same noise, at other places of the swings
  const Stereo in = stereoNoise(static_cast<int>(rateHz * 0.25F), 21);
  const Stereo between(static_cast<int>(rateHz * seconds));
  const auto runTo = [&](ZRDSPEffect& effect, ZRDSPParameter* lost, float value) {
    runInBlocks(effect, in, 512);
    const float before = lost->value;
    *lost = value;
    EXPECT_TRUE(isFinite(runInBlocks(effect, in, 512)));
    *lost = before;
    EXPECT_TRUE(isFinite(runInBlocks(effect, in, 512)));
    if (resets) effect.reset();
    EXPECT_TRUE(isFinite(runInBlocks(effect, between, 512)));
    return runInBlocks(effect, in, 512);
  };
  const auto usual = make();
  const Stereo expected = runTo(*usual, &usual->mix, usual->mix.value);
  const std::size_t count = usual->parameters().size();
  for (std::size_t i = 0; i < count; ++i) {
    for (const float value : kLostSettings) {
      const auto effect = make();
      ZRDSPParameter* lost = effect->parameters()[i];
      SCOPED_TRACE(lost->identifier + " at " + std::to_string(value));
      const Stereo out = runTo(*effect, lost, value);
      ASSERT_TRUE(isFinite(out));
      EXPECT_NEAR(10 * std::log10(energy(out.left) / energy(expected.left)), 0.0, kAsLoudDb);
      EXPECT_NEAR(10 * std::log10(energy(out.right) / energy(expected.right)), 0.0, kAsLoudDb);
      check(*effect);
    }
  }
}

struct ExpectedRow {
  const char* identifier;
  const char* name;
  float minValue;
  float maxValue;
  float defaultValue;
  ZRDSPParameterUnit unit;
  std::vector<std::string> valueStrings = {};
};

// The effect's parameters are these, at addresses that follow one another.
inline void expectParameters(ZRDSPEffect& effect, const std::vector<ExpectedRow>& rows) {
  const auto parameters = effect.parameters();
  ASSERT_EQ(parameters.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].identifier);
    const ZRDSPParameter& p = *parameters[i];
    EXPECT_EQ(p.identifier, rows[i].identifier);
    EXPECT_EQ(p.name, rows[i].name);
    EXPECT_EQ(p.minValue, rows[i].minValue);
    EXPECT_EQ(p.maxValue, rows[i].maxValue);
    EXPECT_EQ(p.value.load(), rows[i].defaultValue);
    EXPECT_EQ(p.unit, rows[i].unit);
    EXPECT_EQ(p.valueStrings, rows[i].valueStrings);
    EXPECT_EQ(p.address, parameters.front()->address + static_cast<int>(i));
  }
}

}  // namespace morv
