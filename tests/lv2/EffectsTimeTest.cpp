// How the effects follow the song's tempo, and how late they are.

#include <gtest/gtest.h>

#include <limits>

#include "tests/lv2/EffectsFixture.h"

namespace morv::lv2 {
namespace {

constexpr double kRateHz = 48000.0;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class EffectsTime : public EffectsFixture {
 protected:
  static Settings tied(std::string_view kind) {
    PlainEffect plain(kind, kRateHz);
    Settings settings;
    for (const EffectControl& control : plain.controls) {
      const std::string& name = control.identifier();
      if (name.find("ync") != std::string::npos && control.isSwitch()) settings.emplace_back(name, 1.0F);
      if (name.find("ypass") != std::string::npos) settings.emplace_back(name, 0.0F);
      if (name == "time" && kind == "digidelay") settings.emplace_back(name, 2.0F);
      if (name == "modAmount" || name == "mix" || name == "depth") {
        settings.emplace_back(name, control.range()->greatest / 2);
      }
    }
    return settings;
  }
};

TEST_P(EffectsTime, FollowsTheTempoIfItSaysSo) {
  const EffectSound in = noise(48000, 10);
  const auto rendered = [&](float tempo) {
    PlainEffect plain(GetParam(), kRateHz);
    set(plain, tied(GetParam()));
    plain.tempo = tempo;
    return plain.run(in).left;
  };
  EXPECT_EQ(rendered(70.0F) != rendered(190.0F), facts().followsTempo);
  EXPECT_EQ(world_.port("control") != nullptr, facts().followsTempo);
}

TEST_P(EffectsTime, TakesATempoFromTheBlockThatHoldsItAndKeepsIt) {
  if (!facts().followsTempo) {
    EXPECT_EQ(world_.port("control"), nullptr);
    return;
  }
  const EffectSound in = noise(std::size_t{640} * 60, 11);
  EffectHost host(world_, kRateHz);
  set(host, tied(GetParam()));
  host.activate();
  PlainEffect plain(GetParam(), kRateHz);
  set(plain, tied(GetParam()));
  const EffectSound expected = plain.run(in, [&](std::size_t frame) {
    if (frame == 640 + 128) plain.tempo = 75.0F;
    if (frame == 640 + 576) plain.tempo = 90.0F;
    if (frame == std::size_t{640} * 20) plain.tempo = 171.5F;
  });

  for (std::size_t cycle = 0; cycle < 60; ++cycle) {
    if (cycle == 1) {
      host.position(130, 75.0F);
      host.position(4000, 90.0F, 0.0F);  // behind the cycle's end counts as in its last block
    }
    if (cycle == 5) {
      for (const float wild : {0.0F, -5.0F, kNaN, kInfinity}) host.position(0, wild);
    }
    if (cycle == 20) host.position(0, 171.5F, 0.0F);
    host.run(std::span(in.left).subspan(cycle * 640, 640), std::span(in.right).subspan(cycle * 640, 640));
  }
  EXPECT_EQ(host.left, expected.left);
  EXPECT_EQ(host.right, expected.right);
}

// What is plain in the mix comes out at once, or as late as the latency port says.
TEST_P(EffectsTime, DelaysThePlainSoundByItsLatencyAlone) {
  EffectHost host(world_, kRateHz);
  for (const std::string& symbol : host.parameterSymbols()) {
    if (symbol.find("ix") != std::string::npos && symbol.find("inGain") == std::string::npos)
      host.port(symbol) = 0;
    if (symbol == "dryGain" || symbol == "oversample") host.port(symbol) = 1;
    if (symbol.find("ypass") != std::string::npos) host.port(symbol) = 0;
  }
  constexpr double kToneHz = 1000.0;
  const EffectSound in = sine(48000, kToneHz, kRateHz, 0.25);
  host.activate();
  host.runAll(in.left, in.right, 512);
  const double expected = facts().isLate ? static_cast<double>(host.port("latency")) : 0.0;
  EXPECT_EQ(expected > 0, facts().isLate);

  // The phase of the tone over the last half second, in frames.
  double cosine = 0;
  double sinus = 0;
  for (std::size_t i = 24000; i < 48000; ++i) {
    const double phase = 2.0 * 3.14159265358979323846 * kToneHz * static_cast<double>(i) / kRateHz;
    sinus += static_cast<double>(host.left[i]) * std::sin(phase);
    cosine += static_cast<double>(host.left[i]) * std::cos(phase);
  }
  const double period = kRateHz / kToneHz;
  double late = std::atan2(-cosine, sinus) / (2.0 * 3.14159265358979323846) * period;
  while (late < expected - period / 2) late += period;
  constexpr double kHalfAFrame = 0.5;  // a decimator's middle lies between two frames
  EXPECT_NEAR(late, expected, kHalfAFrame);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsTime, testing::ValuesIn(kindNames()), kindOfTest);

class EffectsLatency : public OneEffect {};

TEST_F(EffectsLatency, IsToldAlsoInACycleOfNoFrames) {
  const Lv2World world = worldOf("vadelay");
  EffectHost host(world, kRateHz);
  host.activate();
  host.port("latency") = -1;
  host.run({}, {});
  EXPECT_EQ(host.port("latency"), 0.0F);
  host.port("oversample") = 1;
  host.run({}, {});
  EXPECT_EQ(host.port("latency"), 43.0F);
}

// So nothing moves against the other tracks when the effect goes out of the way.
TEST_F(EffectsLatency, IsKeptByThePlainSoundWithoutTheEffect) {
  const Lv2World world = worldOf("vadelay");
  EffectHost host(world, kRateHz);
  host.port("oversample") = 1;
  host.port("enabled") = 0;
  host.activate();
  const EffectSound in = noise(1000, 12);
  host.runAll(in.left, in.right, 100);
  EXPECT_TRUE(std::equal(host.left.begin() + 43, host.left.end(), in.left.begin()));
  EXPECT_TRUE(std::equal(host.right.begin() + 43, host.right.end(), in.right.begin()));
  EXPECT_TRUE(
      std::all_of(host.left.begin(), host.left.begin() + 43, [](float sample) { return sample == 0.0F; }));
}

}  // namespace
}  // namespace morv::lv2
