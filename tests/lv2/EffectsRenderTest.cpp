// What a host hears of the effects.

#include <gmock/gmock.h>

#include <limits>
#include <numeric>

#include "hosts/lv2/BypassFade.h"
#include "tests/lv2/EffectsFixture.h"

namespace morv::lv2 {
namespace {

using testing::Each;

constexpr double kRateHz = 48000.0;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class EffectsRender : public EffectsFixture {};

TEST_P(EffectsRender, SoundsBitForBitAsTheEffectItself) {
  const EffectSound in = noise(64 * 600, 1);
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

TEST_P(EffectsRender, SoundsTheSameInCyclesOfEveryMultipleOf64) {
  const EffectSound in = noise(64 * 384, 2);
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
  const EffectSound in = sine(64 * 1200, 200.0, kRateHz);
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
  constexpr std::size_t kOff = std::size_t{64} * 600;
  constexpr std::size_t kOn = std::size_t{64} * 900;
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
  const EffectSound in = noise(64 * 300, 6);
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
  EXPECT_NE(renderedBy(used) == expected, !settings.empty());
}

TEST_P(EffectsRender, HoldsWhatPortsAreSetToInTheirRange) {
  const EffectSound in = noise(64 * 64, 7);
  const std::size_t quarter = in.left.size() / 4;
  const Settings first = drawnSettings(GetParam(), 9, true);
  const Settings last = drawnSettings(GetParam(), 10, true);
  for (const auto& [wild, isHigh] : std::vector<std::pair<float, bool>>{
           {kNaN, false}, {kInfinity, true}, {-kInfinity, false}, {1e30F, true}, {-1e30F, false}}) {
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
  EffectSound in = noise(64 * 200, 8);
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

// What is plain in the mix comes out at once, or as late as the latency port says.
TEST_P(EffectsRender, DelaysThePlainSoundByItsLatencyAlone) {
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

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsRender, testing::ValuesIn(kindNames()), kindOfTest);

class EffectsTempo : public EffectsFixture {
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

TEST_P(EffectsTempo, IsFollowedByThoseThatSaySo) {
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

TEST_P(EffectsTempo, CountsFromTheBlockThatHoldsItAndStays) {
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

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsTempo, testing::ValuesIn(kindNames()), kindOfTest);

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
