// States by the thousand, instances by the dozen, and many threads at once.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/PropertyListValue.h"
#include "platform/Random.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

class Lv2StateStorm : public Lv2Fixture {
 protected:
  void randomise(Lv2Host& host, Random& random) const {
    for (const std::string& symbol : host.parameterSymbols()) {
      const auto [least, greatest] = world_.rangeOf(symbol);
      host.port(symbol) = least + (greatest - least) * random.unit31();
    }
  }
  static std::string unitText(const std::string& text) {
    return StateEnvelope{StateEnvelope::fromText(text).value().unit, {}, {}}.text().value();
  }
  // What a fresh instance plays with this state.
  std::vector<float> played(const std::string& state) const {
    Lv2Host host(world_);
    host.restore(state);
    host.activate();
    host.keepsAudio = false;
    host.run(64);
    host.keepsAudio = true;
    for (const std::uint8_t note : {50, 57, 62}) host.noteOn(0, note);
    host.runFor(64 * 100);
    return host.left;
  }
};

TEST_F(Lv2StateStorm, ComesBackExactlyInAnotherInstance) {
  Random random(stormSeed());
  Lv2Host host(world_);
  host.activate();
  Lv2Host other(world_);
  // Two hundred of the states in full.
  const int everyWhich = measure(50, 5);
  int heard = 0;
  for (int round = 0; round < 1000; ++round) {
    randomise(host, random);
    host.run(64);
    const auto saved = host.save();
    ASSERT_TRUE(saved);
    ASSERT_EQ(other.restore(*saved), LV2_STATE_SUCCESS);
    const auto again = other.save();
    ASSERT_TRUE(again);
    ASSERT_EQ(StateEnvelope::fromText(*again).value().unit, StateEnvelope::fromText(*saved).value().unit)
        << "round " << round;
    if (round % everyWhich == 0) {
      EXPECT_EQ(played(*saved), played(*again)) << "round " << round;
      ++heard;
    }
    // With the ports set too, as a host does, the whole text is the same.
    if (round % 100 != 0) continue;
    Lv2Host whole(world_);
    for (const std::string& symbol : host.parameterSymbols()) whole.port(symbol) = host.port(symbol);
    whole.activate();
    ASSERT_EQ(whole.restore(*saved), LV2_STATE_SUCCESS);
    whole.run(64);
    ASSERT_EQ(*whole.save(), *saved) << "round " << round;
  }
  tellFigure("T39 states that came back", 1000);
  tellFigure("T39 of them heard", heard);
}

TEST_F(Lv2StateStorm, SoundsTheSameWhereItIsRestored) {
  Random random(stormSeed() + 1);
  for (int round = 0; round < 10; ++round) {
    Lv2Host host(world_);
    randomise(host, random);
    host.port("arpEnabled") = 0;
    host.port("midiChannel") = -1;
    host.port("ecoverb_highpass") = 0;  // held at 0 in the first unit of a process
    host.activate();
    host.run(64);
    const std::string saved = *host.save();
    const auto played = [](Lv2Host& each) {
      each.deactivate();
      each.activate();
      each.left.clear();
      for (const std::uint8_t note : {50, 57, 62}) each.noteOn(0, note);
      each.runFor(64 * 300);
      return each.left;
    };
    Lv2Host other(world_);
    for (const std::string& symbol : host.parameterSymbols()) other.port(symbol) = host.port(symbol);
    other.activate();
    other.restore(saved);
    other.run(64);

    EXPECT_EQ(played(other), played(host)) << "round " << round;
  }
}

TEST_F(Lv2StateStorm, OfManyInstancesOnManyThreadsIsTheirOwn) {
  constexpr int kInstances = 64;
  constexpr int kThreads = 8;
  constexpr std::uint64_t kMute = 64 * 400;  // a preset's change is silent for half a second
  constexpr std::array<const char*, 4> kPresets = {"[FACTORY]_BS_Bent Wire", "[FACTORY]_PD_Glass Choir",
                                                   "[FACTORY]_LD_Seven Saws", "[FACTORY]_PL_Copper Keys"};
  const auto play = [&](Lv2Host& host, int number) {
    host.activate();
    host.patchSet(0, kPresetUri, kPresets[static_cast<std::size_t>(number) % kPresets.size()]);
    host.runFor(kMute);
    host.port("filterCutoff") = 300.0F + 100.0F * static_cast<float>(number);
    host.port("ecoverb_reverbBypass") = 0;
    host.noteOn(0, static_cast<std::uint8_t>(30 + number));
    host.runFor(64 * 200);
    return host.left;
  };
  std::vector<std::vector<float>> alone(kInstances);
  for (int i = 0; i < kInstances; ++i) {
    Lv2Host host(world_);
    alone[i] = play(host, i);
  }
  std::vector<std::unique_ptr<Lv2Host>> hosts;
  for (int i = 0; i < kInstances; ++i) hosts.push_back(std::make_unique<Lv2Host>(world_));
  std::vector<std::vector<float>> together(kInstances);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = thread; i < kInstances; i += kThreads) together[i] = play(*hosts[i], i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  int alike = 0;
  for (int i = 0; i < kInstances; ++i) {
    EXPECT_GT(*std::max_element(alone[i].begin() + kMute, alone[i].end()), 0.0001F) << i;
    alike += together[i] == alone[i] ? 1 : 0;
  }
  tellFigure("T38 instances that sound as alone", alike);
  EXPECT_EQ(alike, kInstances);
}

// One thread renders, one restores, and one saves a thousand times a second; a minute in full. Whatever is
// saved is one of the states as a whole, and never one older than what was restored before the save began.
TEST_F(Lv2StateStorm, IsWholeWheneverItIsSaved) {
  const auto lasting = std::chrono::duration<double>(measure(3.0, 60.0));
  Lv2Host host(world_);
  host.keepsAudio = false;
  host.activate();
  std::vector<std::string> states;
  std::map<std::string, std::size_t> units;
  Random random(stormSeed() + 2);
  for (std::size_t i = 0; i < 8; ++i) {
    Lv2Host source(world_);
    source.activate();
    randomise(source, random);
    source.run(64);
    states.push_back(*source.save());
    units[unitText(states.back())] = i;
  }
  ASSERT_EQ(units.size(), states.size());
  host.restore(states[0]);
  host.run(64);
  std::atomic<bool> isEnding{false};
  std::thread renderer([&] {
    while (!isEnding) {
      host.noteOn(3, 60);
      host.run(256);
    }
  });
  // Counted ahead of and behind each restore.
  std::atomic<std::size_t> begun{0};
  std::atomic<std::size_t> done{0};
  std::thread restorer([&] {
    while (!isEnding) {
      const std::size_t next = begun.fetch_add(1) + 1;
      EXPECT_EQ(host.restore(states[next % states.size()]), LV2_STATE_SUCCESS);
      done = next;
      std::this_thread::sleep_for(std::chrono::microseconds(next % 7 * 500));
    }
  });
  int saves = 0;
  int torn = 0;
  int late = 0;
  const auto begin = std::chrono::steady_clock::now();
  auto next = begin;
  while (next - begin < lasting) {
    const std::size_t least = done;
    const auto saved = host.save();
    const std::size_t greatest = begun;
    next += std::chrono::milliseconds(1);
    std::this_thread::sleep_until(next);
    if (!saved) continue;
    ++saves;
    const auto unit = units.find(unitText(*saved));
    if (unit == units.end()) {
      ++torn;
      continue;
    }
    bool isOfItsTime = false;
    for (std::size_t i = least; i <= greatest; ++i) isOfItsTime |= i % states.size() == unit->second;
    late += isOfItsTime ? 0 : 1;
  }
  isEnding = true;
  renderer.join();
  restorer.join();
  tellFigure("T41 saves", saves);
  tellFigure("T41 restores", static_cast<double>(done.load()));
  tellFigure("T41 saves of no whole state", torn);
  tellFigure("T41 saves of an older state", late);
  EXPECT_GT(saves, 100);
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(late, 0);
  EXPECT_EQ(host.badSamples, 0U);
}

// A thousand times in full: an instance that has played, at any rate, sounds fresh when it is activated
// again.
TEST_F(Lv2StateStorm, SoundsFreshInEachOfManyActivationsAtAnyRate) {
  constexpr std::array<double, 5> kRates = {22050.0, 44100.0, 48000.0, 96000.0, 192000.0};
  const auto played = [](Lv2Host& host) {
    host.activate();
    host.left.clear();
    for (const std::uint8_t note : {50, 57, 62}) host.noteOn(0, note);
    host.runFor(64 * 20);
    host.deactivate();
    return host.left;
  };
  std::vector<std::unique_ptr<Lv2Host>> hosts;
  std::vector<std::vector<float>> fresh;
  for (const double rate : kRates) {
    Lv2Host first(world_, rate);
    first.port("ecoverb_reverbBypass") = 0;
    fresh.push_back(played(first));
    hosts.push_back(std::make_unique<Lv2Host>(world_, rate));
    hosts.back()->port("ecoverb_reverbBypass") = 0;
  }
  Random random(stormSeed() + 3);
  const int cycles = measure(100, 1000);
  int alike = 0;
  for (int cycle = 0; cycle < cycles; ++cycle) {
    const std::size_t which = random.nextBits() % kRates.size();
    alike += played(*hosts[which]) == fresh[which] ? 1 : 0;
  }
  tellFigure("T37 activations that sounded fresh", alike);
  EXPECT_EQ(alike, cycles);
}

}  // namespace
}  // namespace morv::lv2
