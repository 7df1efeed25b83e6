// What no player would do, and a host under test does: everything at once, at random, for long.

#include <gmock/gmock.h>
#include <xmmintrin.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <map>
#include <set>
#include <thread>

#include "hosts/HostBlockCutter.h"
#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "tests/lv2/Lv2StormFixture.h"

namespace morv::lv2 {
namespace {

TEST_F(Lv2Storm, HasATrapThatHearsThePlugIn) {
  const long before = RenderTrap::caught();
  {
    const RenderTrap trap;
    host_.save();
  }
  EXPECT_EQ(RenderTrap::caught() > before, RenderTrap::isArmed());
}

// Ten minutes of it in full.
TEST_F(Lv2Storm, NeverAllocatesLocksOrWaitsInACycle) {
  const double seconds = measure(15.0, 600.0);
  const long before = RenderTrap::caught();
  std::uint64_t frames = 0;
  while (static_cast<double>(frames) < seconds * 48000.0) {
    const auto cycle = static_cast<std::uint32_t>(1 + random_.nextBits() % 1024);
    drawCycle(cycle);
    if (draw(20) == 0) host_.patchGet(0, kPresetUri);
    if (draw(200) == 0) host_.patchSet(0, kPresetUri, "[FACTORY]_BS_Bent Wire");
    if (draw(100) == 0) {
      const auto saved = host_.save();
      ASSERT_TRUE(saved);
      host_.restore(*saved);
    }
    runTrapped(cycle);
    frames += cycle;
  }
  tellFigure("T05 trapped calls", static_cast<double>(RenderTrap::caught() - before));
  tellFigure("T05 seconds", static_cast<double>(frames) / 48000.0);
  EXPECT_EQ(RenderTrap::caught(), before) << "last " << RenderTrap::lastCaught();
  EXPECT_EQ(badSamples_, 0);
}

// The same with the worker, saving and restoring on threads of their own, all the time.
TEST_F(Lv2Storm, NeverWaitsForThoseBesideIt) {
  const double seconds = measure(5.0, 600.0);
  const std::string state = *host_.save();
  std::atomic<bool> isEnding{false};
  std::thread worker([&] {
    while (!isEnding) {
      host_.workOnce();
      std::this_thread::yield();
    }
  });
  std::thread keeper([&] {
    for (int turn = 0; !isEnding; ++turn) {
      EXPECT_TRUE(host_.save());
      if (turn % 4 == 0) host_.restore(state);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  const long before = RenderTrap::caught();
  std::uint64_t frames = 0;
  while (static_cast<double>(frames) < seconds * 48000.0) {
    const auto cycle = static_cast<std::uint32_t>(1 + random_.nextBits() % 1024);
    drawCycle(cycle);
    runTrapped(cycle, false);
    frames += cycle;
  }
  isEnding = true;
  worker.join();
  keeper.join();
  tellFigure("T05 trapped calls beside others", static_cast<double>(RenderTrap::caught() - before));
  EXPECT_EQ(RenderTrap::caught(), before) << "last " << RenderTrap::lastCaught();
  EXPECT_EQ(badSamples_, 0);
}

// Without a worker the plug-in has a thread of its own, which its cycles must not wake or wait for.
TEST_F(Lv2Storm, NeverWaitsForItsOwnThread) {
  Lv2Host alone(world_, 48000, {.worker = false, .log = true, .notify = true, .control = true});
  alone.keepsAudio = false;
  alone.activate();
  alone.reserve(256);
  const long before = RenderTrap::caught();
  for (int cycle = 0; cycle < 48000 * 5 / 256; ++cycle) {
    alone.midi(0, {0xB0, draw(128), draw(128)});
    if (draw(100) == 0) alone.midi(0, {0xC0, draw(16)});
    alone.layOutEvents();
    const RenderTrap trap;
    alone.runBare(256);
  }
  EXPECT_EQ(RenderTrap::caught(), before) << "last " << RenderTrap::lastCaught();
}

TEST_F(Lv2Storm, StaysFiniteAtRandomAndExtremeSettings) {
  float worst = 0;
  for (int set = 0; set < 5500; ++set) {
    const bool isExtreme = set >= 5000;
    for (const Range& range : ranges_) {
      const float place = isExtreme ? static_cast<float>(draw(2)) : static_cast<float>(random_.unit31());
      host_.port(range.symbol) = range.least + (range.greatest - range.least) * place;
    }
    host_.port("midiChannel") = -1;
    host_.noteOn(0, static_cast<std::uint8_t>(30 + draw(60)));
    host_.noteOff(40, static_cast<std::uint8_t>(30 + draw(60)));
    host_.peak = 0;
    host_.runFor(5 * 64);
    ASSERT_EQ(host_.badSamples, 0U) << "set " << set;
    worst = std::max(worst, host_.peak);
  }
  tellFigure("T19 greatest peak, dBFS", 20.0 * std::log10(worst));
  EXPECT_LE(worst, HostBlockCutter::kGreatestSample);
}

// Cycles of sixteen frames; a minute in full. In the quiet run the same sounds come, and each one stays.
TEST_F(Lv2Storm, TakesEveryMoveOfEveryPort) {
  constexpr int kCyclesOfASound = 200;
  constexpr double kGreatestStormRatio = 4.0;
  const int cycles = static_cast<int>(48000.0 * measure(4.0, 60.0)) / 16;
  const auto run = [&](int cyclesOfASound) {
    const double begin = threadSeconds();
    for (int cycle = 0; cycle < cycles; ++cycle) {
      for (const Range& range : ranges_) {
        const float place = static_cast<float>(random_.unit31());
        if (cycle % cyclesOfASound != 0) continue;
        host_.port(range.symbol) = range.least + (range.greatest - range.least) * place;
      }
      host_.port("midiChannel") = -1;
      host_.port("midiMode") = 0;
      if (cycle % 1000 == 0) {
        for (std::uint8_t note = 40; note < 56; note = static_cast<std::uint8_t>(note + 2)) {
          host_.noteOn(0, note);
        }
      }
      runTrapped(16);
    }
    return threadSeconds() - begin;
  };
  const double quiet = run(kCyclesOfASound);
  const double storm = run(1);
  EXPECT_EQ(badSamples_, 0);
  std::map<std::string, float> last;
  for (const Range& range : ranges_) last[range.symbol] = host_.port(range.symbol) = range.greatest;
  host_.run(16);
  const auto state = StateEnvelope::fromText(*host_.save());
  int dropped = 0;
  for (const auto& port : state.value().ports) dropped += port.value != last.at(port.symbol) ? 1 : 0;
  tellFigure("T20 dropped final values of ports", dropped);
  tellFigure("T20 time of the storm against a quiet run", storm / quiet);
  EXPECT_EQ(dropped, 0);
  // More than a hundred parameters move in each sixteen frames, which costs about as much again as eight
  // voices and three effects do in that time. Far more than that would be a fault.
  EXPECT_LE(storm / quiet, kGreatestStormRatio);
}

// Sets of all parameters by turns, at each pace for a minute in full; the last of each is what counts.
TEST_F(Lv2Storm, TakesMessagesAtAnyPace) {
  constexpr std::uint32_t kCycle = 2048;
  const int cycles = static_cast<int>(48000.0 * measure(3.0, 60.0) / kCycle);
  int dropped = 0;
  for (const std::uint32_t pace : {10U, 100U, 1000U}) {
    std::map<std::string, float> last;
    std::size_t next = 0;
    host_.noteOn(0, 60);
    for (int cycle = 0; cycle < cycles; ++cycle) {
      for (std::uint32_t frame = 0; frame < kCycle; frame += pace) {
        const Range& range = ranges_[next++ % ranges_.size()];
        const float value = std::min(
            range.greatest, range.least + std::round((range.greatest - range.least) * 0.01F * draw(101)));
        host_.patchSet(frame, kNamespace + range.symbol, value);
        last[range.symbol] = value;
      }
      host_.run(kCycle);
    }
    host_.notices.clear();
    for (const auto& [symbol, value] : last) host_.patchGet(0, kNamespace + symbol);
    host_.run(64);
    const std::set<std::string> told(host_.notices.begin(), host_.notices.end());
    for (const auto& [symbol, value] : last) {
      const bool isHeld = told.count(symbol + "=" + std::to_string(value)) != 0;
      if (!isHeld && !isHeldElsewhere(symbol)) {
        ADD_FAILURE() << symbol << " is not " << value << " at one each " << pace;
        ++dropped;
      }
    }
    EXPECT_GE(last.size(), std::min<std::size_t>(ranges_.size(), cycles * (kCycle / pace)));
  }
  tellFigure("T20 dropped final values of messages", dropped);
  EXPECT_EQ(dropped, 0);
  EXPECT_EQ(host_.badSamples, 0U);
}

TEST_F(Lv2Storm, LeavesTheProcessorsModesAndNoSubnormalNumbers) {
  host_.port("ecoverb_reverbBypass") = 0;
  host_.port("ecoverb_reverbDecay") = 1;
  host_.port("basicdelay_echoBypass") = 0;
  host_.port("basicdelay_echoFeedback") = 0.9F;
  host_.noteOn(0, 60);
  host_.run(4800);
  host_.noteOff(0, 60);
  const unsigned modes = _mm_getcsr() & ~0x3FU;  // all but the flags of what has happened
  long subnormal = 0;
  for (int cycle = 0; cycle < 120 * 48000 / 512; ++cycle) {
    host_.run(512);
    for (int i = 0; i < 512; ++i) subnormal += std::fpclassify(host_.lastLeft()[i]) == FP_SUBNORMAL ? 1 : 0;
  }
  tellFigure("T24 subnormal samples", static_cast<double>(subnormal));
  EXPECT_EQ(subnormal, 0);
  EXPECT_EQ(_mm_getcsr() & ~0x3FU, modes);
  EXPECT_EQ(host_.badSamples, 0U);
}

// A host may give one and the same memory for both channels, or leave out what it need not connect; nothing
// that is heard changes.
TEST_F(Lv2Storm, SoundsTheSameHoweverItsPortsAreConnected) {
  constexpr std::uint32_t kCycle = 256;
  constexpr int kCycles = 200;
  const auto setUp = [](Lv2Host& host) {
    host.port("ecoverb_reverbBypass") = 0;
    host.port("basicdelay_echoBypass") = 0;
    host.port("vachorus_chorusBypass") = 0;
    host.port("panSpread") = 1;
    host.activate();
    for (const std::uint8_t note : {50, 57, 62}) host.noteOn(7, note);
    host.reserve(kCycle);
  };
  Lv2Host reference(world_);
  setUp(reference);
  for (int cycle = 0; cycle < kCycles; ++cycle) reference.run(kCycle);

  Lv2Host shared(world_);
  setUp(shared);
  std::vector<float> both(kCycle);
  lilv_instance_connect_port(shared.instance(), 2, both.data());
  lilv_instance_connect_port(shared.instance(), 3, both.data());
  std::vector<float> heard;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    shared.layOutEvents();
    shared.runBare(kCycle);
    heard.insert(heard.end(), both.begin(), both.end());
  }
  EXPECT_EQ(heard, reference.right) << "the channel that is written last";

  Lv2Host bare(world_, 48000, {.worker = false, .log = false, .notify = false, .control = true});
  setUp(bare);
  for (int cycle = 0; cycle < kCycles; ++cycle) bare.run(kCycle);
  EXPECT_EQ(bare.left, reference.left) << "without notices, log and worker";

  Lv2Host portless(world_);
  setUp(portless);
  portless.run(kCycle);
  for (std::uint32_t port = 4; port < lilv_plugin_get_num_ports(world_.plugin()); ++port) {
    lilv_instance_connect_port(portless.instance(), port, nullptr);
  }
  for (int cycle = 1; cycle < kCycles; ++cycle) portless.run(kCycle);
  EXPECT_EQ(portless.left, reference.left) << "without the control ports, which keep their values";
}

TEST_F(Lv2Storm, RunsWithoutOutputs) {
  lilv_instance_connect_port(host_.instance(), 2, nullptr);
  lilv_instance_connect_port(host_.instance(), 3, nullptr);
  host_.noteOn(0, 60);
  host_.layOutEvents();
  host_.runBare(256);
  host_.reserve(128);
  host_.layOutEvents();
  EXPECT_GT(peakOver(4800), 0.01F) << "the note waits until there is somewhere to play it";
}

}  // namespace
}  // namespace morv::lv2
