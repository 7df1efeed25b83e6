// What no player would do with an effect, at random. Each storm is drawn from a seed and comes back the same.

#include <gmock/gmock.h>
#include <xmmintrin.h>

#include <bit>
#include <limits>

#include "tests/lv2/EffectsFixture.h"
#include "tests/lv2/Figures.h"
#include "tests/realtime/RenderTrap.h"

namespace morv::lv2 {
namespace {

class EffectsStorm : public EffectsFixture {
 protected:
  void turnKnob(EffectHost& host) {
    const auto& symbols = host.parameterSymbols();
    if (symbols.empty()) return;
    const std::string& symbol = symbols[random_.nextBits() % symbols.size()];
    const auto [least, greatest] = world_.rangeOf(symbol);
    host.port(symbol) = least + (greatest - least) * static_cast<float>(random_.unitDouble());
  }
  void runTrapped(EffectHost& host, const EffectSound& in) {
    const auto frames = static_cast<std::uint32_t>(in.left.size());
    host.prepareCycle(in.left, in.right);
    {
      const RenderTrap trap;
      host.runBare(frames);
    }
    host.finishCycle(frames);
    host.left.clear();
    host.right.clear();
    host.spectra.clear();
  }

  static constexpr std::uint64_t kSeed = 20261122;
  Random random_{kSeed};
};

TEST_P(EffectsStorm, NeverAllocatesLocksOrWaitsInACycle) {
  constexpr std::size_t kFrames = std::size_t{48000} * 8;
  EffectHost host(world_, 48000.0);
  host.activate();
  const long before = RenderTrap::caught();
  for (std::size_t done = 0; done < kFrames;) {
    const std::size_t cycle = random_.nextBits() % 2048;
    for (auto i = random_.nextBits() % 4; i > 0; --i) turnKnob(host);
    if (random_.nextBits() % 10 == 0) host.port("enabled") = static_cast<float>(random_.nextBits() % 2);
    if (facts().followsTempo && random_.nextBits() % 10 == 0) {
      host.position(static_cast<std::uint32_t>(random_.nextBits() % 2048),
                    static_cast<float>(random_.nextBits() % 999));
    }
    runTrapped(host, noise(cycle, done, 1.0F));
    done += cycle;
  }
  tellFigure("trapped calls", static_cast<double>(RenderTrap::caught() - before));
  EXPECT_EQ(RenderTrap::caught(), before) << "seed " << kSeed << " last " << RenderTrap::lastCaught();
  EXPECT_EQ(host.badSamples, 0U) << "seed " << kSeed;
  EXPECT_LE(host.peak, kGreatestHostSample);
  EXPECT_TRUE(host.guardsAreWhole);
}

// Each switch and each step of a choice changes from cycle to cycle: modes, kinds of modulation,
// oversampling.
TEST_P(EffectsStorm, NeedsNothingOfTheSystemToChangeItsModes) {
  EffectHost host(world_, 48000.0);
  host.activate();
  const long before = RenderTrap::caught();
  for (const EffectControl& control : PlainEffect(GetParam(), 48000.0).controls) {
    if (!control.isWhole()) continue;
    for (int round = 0; round < 3; ++round) {
      const auto steps = static_cast<int>(control.range()->greatest - control.range()->least);
      for (int step = 0; step <= steps; ++step) {
        host.port(control.identifier()) = control.range()->least + static_cast<float>(step);
        runTrapped(host, noise(700, 1));
      }
    }
  }
  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
  EXPECT_EQ(host.badSamples, 0U);
}

// All that bits can say: numbers of any size, none, subnormal ones, in audio and ports alike.
TEST_P(EffectsStorm, StaysFiniteInAChaosOfBits) {
  const auto drawn = [this] { return std::bit_cast<float>(static_cast<std::uint32_t>(random_.nextBits())); };
  EffectHost host(world_, 48000.0);
  host.activate();
  for (int cycle = 0; cycle < 400; ++cycle) {
    for (const std::string& symbol : host.parameterSymbols()) {
      if (random_.nextBits() % 4 == 0) host.port(symbol) = drawn();
    }
    host.port("enabled") = drawn();
    if (facts().followsTempo) host.position(static_cast<std::uint32_t>(random_.nextBits()), drawn(), drawn());
    EffectSound in = noise(random_.nextBits() % 512, 1);
    for (auto* side : {&in.left, &in.right}) {
      for (float& sample : *side) sample = drawn();
    }
    runTrapped(host, in);
  }
  EXPECT_EQ(host.badSamples, 0U) << "seed " << kSeed;
  EXPECT_LE(host.peak, kGreatestHostSample);

  // A fresh start makes it as if nothing had been.
  host.deactivate();
  const Settings settings = drawnSettings(GetParam(), 1, true);
  set(host, settings);
  host.port("enabled") = 1;
  if (facts().followsTempo) host.position(0, 120.0F);
  host.activate();
  const EffectSound in = noise(6400, 2);
  host.runAll(in.left, in.right, 64);
  PlainEffect plain(GetParam(), 48000.0);
  set(plain, settings);
  EXPECT_EQ(host.left, plain.run(in).left);
}

TEST_P(EffectsStorm, RunsAtEveryUsualRate) {
  for (const double rateHz :
       {8000.0, 11025.0, 22050.0, 44099.9, 44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rateHz);
    EffectHost host(world_, rateHz);
    ASSERT_TRUE(host.isInstantiated());
    const Settings settings = drawnSettings(GetParam(), 3, true);
    set(host, settings);
    host.activate();
    const EffectSound in = noise(static_cast<std::size_t>(rateHz / 4.0), 3, 1.0F);
    host.runAll(in.left, in.right, 512);
    EXPECT_EQ(host.badSamples, 0U);
    EXPECT_LE(host.peak, kGreatestHostSample);
    EXPECT_GT(host.peak, 0.0F);
  }
}

TEST_P(EffectsStorm, RefusesRatesThatAreNone) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double rateHz : {0.0, -48000.0, 999.0, 768001.0, kInfinity, std::nan("")}) {
    EXPECT_FALSE(EffectHost(world_, rateHz).isInstantiated()) << rateHz;
  }
}

TEST_P(EffectsStorm, NeedsAMapForAtomsAlone) {
  EXPECT_EQ(EffectHost(world_, 48000.0, false).isInstantiated(), !facts().needsAtoms());
}

TEST_P(EffectsStorm, LeavesTheProcessorsModesAsTheyWere) {
  EffectHost host(world_, 48000.0);
  host.activate();
  const unsigned modes = _mm_getcsr() & ~0x3FU;  // all but the flags of what has happened
  const EffectSound in = noise(512, 4);
  host.run(in.left, in.right);
  EXPECT_EQ(_mm_getcsr() & ~0x3FU, modes);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsStorm, testing::ValuesIn(kindNames()), kindOfTest);

}  // namespace
}  // namespace morv::lv2
