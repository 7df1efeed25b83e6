// What a host hears of the effects.

#include <gmock/gmock.h>

#include <limits>

#include "hosts/lv2/BypassFade.h"
#include "tests/lv2/EffectsFixture.h"

namespace morv::lv2 {
namespace {

using testing::Each;

constexpr double kRateHz = 48000.0;
constexpr std::size_t kBlock = 64;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class EffectsRender : public EffectsFixture {};

TEST_P(EffectsRender, SoundsBitForBitAsTheEffectItself) {
  const EffectSound in = noise(kBlock * 600, 1);
  for (const std::uint64_t seed : {0U, 1U, 2U, 3U}) {
    const Settings settings = seed == 0 ? Settings{} : drawnSettings(GetParam(), seed, seed != 3);
    EffectHost host(world_, kRateHz);
    set(host, settings);
    host.activate();
    host.runAll(in.left, in.right, 64);

    PlainEffect plain(GetParam(), kRateHz);
    set(plain, settings);
    const EffectSound expected = plain.run(in);
    ASSERT_EQ(host.left, expected.left) << "settings " << seed;
    ASSERT_EQ(host.right, expected.right) << "settings " << seed;
    EXPECT_TRUE(host.guardsAreWhole);
  }
}

// Whoever puts one into a track hears it, and the plain sound with it.
TEST_P(EffectsRender, IsHeardAsItComes) {
  const EffectSound in = noise(kBlock * 1500, 12);
  EffectHost host(world_, kRateHz);
  host.activate();
  host.runAll(in.left, in.right, 64);
  double plain = 0;
  double rest = 0;
  double shared = 0;
  for (std::size_t i = host.left.size() / 2; i < host.left.size(); ++i) {
    plain += std::pow(in.left[i], 2);
    shared += static_cast<double>(host.left[i]) * in.left[i];
  }
  const double dry = shared / plain;
  for (std::size_t i = host.left.size() / 2; i < host.left.size(); ++i) {
    rest += std::pow(host.left[i] - dry * in.left[i], 2);
  }
  EXPECT_GT(dry, 0.1);
  if (facts().tellsSpectrum) {
    EXPECT_EQ(rest, 0.0);
  } else {
    EXPECT_GT(rest / plain, 1.0e-3);  // 30 dB below
  }
}

TEST_P(EffectsRender, SoundsTheSameInCyclesOfEveryMultipleOf64) {
  const EffectSound in = noise(kBlock * 384, 2);
  const Settings settings = drawnSettings(GetParam(), 4, true);
  const auto rendered = [&](std::uint32_t cycle, bool runsInPlace) {
    EffectHost host(world_, kRateHz);
    host.runsInPlace = runsInPlace;
    set(host, settings);
    host.activate();
    host.runAll(in.left, in.right, cycle);
    EXPECT_TRUE(host.guardsAreWhole);
    host.left.insert(host.left.end(), host.right.begin(), host.right.end());
    return host.left;
  };
  const std::vector<float> reference = rendered(64, false);
  for (const std::uint32_t cycle : {128U, 192U, 1024U, 8192U, 24576U}) {
    EXPECT_EQ(rendered(cycle, false), reference) << "cycles of " << cycle;
  }
  EXPECT_EQ(rendered(64, true), reference) << "in place";
  EXPECT_EQ(rendered(1024, true), reference) << "in place";
}

TEST_P(EffectsRender, TakesCyclesOfNoFramesAndOfOddLengths) {
  const EffectSound in = noise(20000, 3);
  EffectHost host(world_, kRateHz);
  set(host, drawnSettings(GetParam(), 5, true));
  host.activate();
  std::size_t done = 0;
  for (const std::size_t cycle : {0U, 1U, 7U, 63U, 65U, 0U, 1000U, 9001U, 4096U}) {
    host.run(std::span(in.left).subspan(done, cycle), std::span(in.right).subspan(done, cycle));
    done += cycle;
  }
  EXPECT_EQ(host.left.size(), done);
  EXPECT_EQ(host.badSamples, 0U);
  EXPECT_TRUE(host.guardsAreWhole);
}

// A host may give the inputs' memory crosswise for the outputs.
TEST_P(EffectsRender, WritesLeftWhereRightWasRead) {
  const EffectSound in = noise(512, 4);
  const Settings settings = drawnSettings(GetParam(), 6, true);
  EffectHost plain(world_, kRateHz);
  set(plain, settings);
  plain.activate();
  plain.run(in.left, in.right);
  EffectHost crossed(world_, kRateHz);
  set(crossed, settings);
  crossed.activate();
  EffectSound both = in;
  crossed.prepareCycle(in.left, in.right);
  const auto join = [&](const char* symbol, std::vector<float>& memory) {
    lilv_instance_connect_port(crossed.instance(), crossed.indexOf(symbol), memory.data());
  };
  join("in_left", both.left);
  join("out_right", both.left);
  join("in_right", both.right);
  join("out_left", both.right);
  crossed.runBare(512);

  EXPECT_EQ(both.right, plain.left);
  EXPECT_EQ(both.left, plain.right);
}

TEST_P(EffectsRender, GoesOutOfTheWayAndComesBackWithoutAClick) {
  const Settings settings = drawnSettings(GetParam(), 1, true);
  const EffectSound in = sine(kBlock * 1200, 200.0, kRateHz);
  PlainEffect plain(GetParam(), kRateHz);
  set(plain, settings);
  const EffectSound wet = plain.run(in);
  EffectHost host(world_, kRateHz);
  set(host, settings);
  host.activate();
  const auto part = [&](std::size_t begin, std::size_t end) {
    host.runAll(std::span(in.left).subspan(begin, end - begin),
                std::span(in.right).subspan(begin, end - begin), 64);
  };
  constexpr std::size_t kOff = kBlock * 600;
  constexpr std::size_t kOn = kBlock * 900;
  part(0, kOff);
  host.port("enabled") = 0;
  part(kOff, kOn);
  host.port("enabled") = 1;
  part(kOn, in.left.size());

  const auto late = static_cast<std::size_t>(plain.effect->latencyFrames());
  const auto fade = static_cast<std::size_t>(std::lround(BypassFade::kSeconds * kRateHz));
  std::vector<double> dry(in.left.size());
  for (std::size_t i = late; i < dry.size(); ++i) dry[i] = in.left[i - late];
  for (std::size_t i = 0; i < dry.size(); ++i) {
    if (i < kOff || i >= kOn + fade) {
      ASSERT_EQ(host.left[i], wet.left[i]) << i;
    }
    if (i >= kOff + fade && i < kOn) {
      ASSERT_EQ(host.left[i], static_cast<float>(dry[i])) << i;
    }
  }
  // In between: the second difference of d + g w is at most those of d and w, the twofold product of the
  // first ones of g and w, and the bend of g times w, where g goes from 0 to 1 in a line.
  std::vector<double> w(dry.size());
  for (std::size_t i = 0; i < w.size(); ++i) w[i] = static_cast<double>(wet.left[i]) - dry[i];
  constexpr double kRounding = 1e-5;  // of some float sums
  for (const std::size_t begin : {kOff, kOn}) {
    double dryBend = 0;
    double wetBend = 0;
    double wetStep = 0;
    double wetPeak = 0;
    double bend = 0;
    for (std::size_t i = begin; i < begin + fade + 2; ++i) {
      dryBend = std::max(dryBend, std::abs(dry[i] - 2 * dry[i - 1] + dry[i - 2]));
      wetBend = std::max(wetBend, std::abs(w[i] - 2 * w[i - 1] + w[i - 2]));
      wetStep = std::max(wetStep, std::abs(w[i - 1] - w[i - 2]));
      wetPeak = std::max(wetPeak, std::abs(w[i - 1]));
      bend = std::max(
          bend, std::abs(static_cast<double>(host.left[i]) - 2.0 * static_cast<double>(host.left[i - 1]) +
                         static_cast<double>(host.left[i - 2])));
    }
    const double slope = 1.0 / static_cast<double>(fade);
    EXPECT_LE(bend, dryBend + wetBend + 2 * slope * wetStep + slope * wetPeak + kRounding);
  }
}

TEST_P(EffectsRender, BeginsWithoutTheEffectIfItIsNotEnabled) {
  const EffectSound in = noise(4096, 5);
  EffectHost host(world_, kRateHz);
  set(host, drawnSettings(GetParam(), 1, true));
  host.port("enabled") = 0;
  const bool isLate = facts().isLate;
  if (isLate) host.port("oversample") = 0;
  host.activate();
  host.runAll(in.left, in.right, 256);
  EXPECT_EQ(host.left, in.left);
  EXPECT_EQ(host.right, in.right);
}

TEST_P(EffectsRender, IsFreshBehindEachActivation) {
  const EffectSound in = noise(kBlock * 300, 6);
  const Settings settings = drawnSettings(GetParam(), 7, true);
  const auto renderedBy = [&](EffectHost& host) {
    host.left.clear();
    host.right.clear();
    host.activate();
    host.runAll(in.left, in.right, 320);
    host.deactivate();
    host.left.insert(host.left.end(), host.right.begin(), host.right.end());
    return host.left;
  };
  EffectHost fresh(world_, kRateHz);
  set(fresh, settings);
  const std::vector<float> expected = renderedBy(fresh);
  EffectHost used(world_, kRateHz);
  set(used, drawnSettings(GetParam(), 8, true));
  used.port("enabled") = 0;
  renderedBy(used);
  // Between two activations the ports are set to other values, some of them back to their defaults.
  set(used, settings);
  used.port("enabled") = 1;
  EXPECT_EQ(renderedBy(used), expected);
  EXPECT_EQ(renderedBy(used), expected);
  set(used, Settings(drawnSettings(GetParam(), 8, true)));
  EXPECT_EQ(renderedBy(used) == expected, settings.empty());
}

TEST_P(EffectsRender, HoldsWhatPortsAreSetToInTheirRange) {
  const EffectSound in = noise(kBlock * 64, 7);
  const std::size_t quarter = in.left.size() / 4;
  const Settings first = drawnSettings(GetParam(), 9, true);
  const Settings last = drawnSettings(GetParam(), 10, true);
  struct Wild {
    float value;
    bool isHigh;
  };
  for (const Wild each :
       {Wild{kNaN, false}, {kInfinity, true}, {-kInfinity, false}, {1e30F, true}, {-1e30F, false}}) {
    const float wild = each.value;
    const bool isHigh = each.isHigh;
    EffectHost host(world_, kRateHz);
    PlainEffect plain(GetParam(), kRateHz);
    set(host, first);
    host.activate();
    const auto part = [&](std::size_t number) {
      host.runAll(std::span(in.left).subspan(number * quarter, quarter),
                  std::span(in.right).subspan(number * quarter, quarter), 64);
    };
    part(0);
    for (const std::string& symbol : host.parameterSymbols()) host.port(symbol) = wild;
    host.port("enabled") = std::isnan(wild) ? kNaN : 1.0F;
    part(1);
    set(host, last);
    host.port("enabled") = 1.0F;
    part(2);
    part(3);

    const EffectSound expected = plain.run(in, [&](std::size_t frame) {
      if (frame == 0) set(plain, first);
      if (frame == quarter && !std::isnan(wild)) {
        for (EffectControl& control : plain.controls) {
          const float value = isHigh ? control.range()->greatest : control.range()->least;
          if (value != control.value()) control.set(value);
        }
      }
      if (frame == 2 * quarter) {
        for (const auto& [identifier, value] : last) {
          for (EffectControl& control : plain.controls) {
            if (control.identifier() == identifier && control.value() != value) control.set(value);
          }
        }
      }
    });
    EXPECT_EQ(host.left, expected.left) << wild;
    EXPECT_EQ(host.right, expected.right) << wild;
    EXPECT_EQ(host.badSamples, 0U);
  }
}

// A sample that is no number goes in as silence and one beyond all bounds at 24 dB above full scale, so that
// nothing of them stays behind.
TEST_P(EffectsRender, TakesInputThatIsNoNumberForSilence) {
  EffectSound in = noise(kBlock * 200, 8);
  EffectSound clean = in;
  const auto spoil = [&](std::size_t frame, float wild, float meant) {
    in.left[frame] = wild;
    in.right[frame + 3] = wild;
    clean.left[frame] = meant;
    clean.right[frame + 3] = meant;
  };
  for (std::size_t frame = 100; frame < 300; ++frame) spoil(frame, kNaN, 0.0F);
  spoil(1000, kInfinity, kGreatestHostSample);
  spoil(1500, -kInfinity, -kGreatestHostSample);
  spoil(2000, 1e30F, kGreatestHostSample);
  const Settings settings = drawnSettings(GetParam(), 11, true);
  EffectHost host(world_, kRateHz);
  PlainEffect plain(GetParam(), kRateHz);
  set(host, settings);
  set(plain, settings);
  host.activate();
  host.runAll(in.left, in.right, 256);

  const EffectSound expected = plain.run(clean);
  const auto held = [](std::vector<float> sound) {
    holdLevel(sound.data(), static_cast<std::uint32_t>(sound.size()));
    return sound;
  };
  EXPECT_EQ(host.left, held(expected.left));
  EXPECT_EQ(host.right, held(expected.right));
  EXPECT_EQ(host.badSamples, 0U);
}

TEST_P(EffectsRender, RunsWithPortsThatAreNotConnected) {
  const EffectSound in = noise(256, 9);
  EffectHost host(world_, kRateHz);
  host.activate();
  host.prepareCycle(in.left, in.right);
  for (const char* symbol : {"in_left", "in_right", "out_left"}) {
    lilv_instance_connect_port(host.instance(), host.indexOf(symbol), nullptr);
  }
  host.runBare(256);
  std::vector<float> right(256, 1.0F);
  lilv_instance_connect_port(host.instance(), host.indexOf("out_right"), right.data());
  host.runBare(256);
  EXPECT_THAT(right, Each(0.0F)) << "one output alone gets silence";
  host.run(in.left, in.right);
  EXPECT_EQ(host.badSamples, 0U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsRender, testing::ValuesIn(kindNames()), kindOfTest);

}  // namespace
}  // namespace morv::lv2
