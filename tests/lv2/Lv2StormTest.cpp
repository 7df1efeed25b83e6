// What no player would do, and a host under test does: everything at once, at random, for long. Each storm is
// drawn from a seed and comes back the same.

#include <gmock/gmock.h>
#include <xmmintrin.h>

#include <cmath>

#include "hosts/HostBlockCutter.h"
#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/PropertyListValue.h"
#include "platform/Random.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/realtime/RenderTrap.h"

namespace morv::lv2 {
namespace {

class Lv2Storm : public Lv2Fixture {
 protected:
  void SetUp() override {
    for (const std::string& symbol : host_.parameterSymbols()) {
      LilvNode* low = nullptr;
      LilvNode* high = nullptr;
      lilv_port_get_range(world_.plugin(), world_.port(symbol), nullptr, &low, &high);
      ranges_.push_back({symbol, lilv_node_as_float(low), lilv_node_as_float(high)});
      lilv_node_free(low);
      lilv_node_free(high);
    }
    host_.keepsAudio = false;
    host_.activate();
  }

  struct Range {
    std::string symbol;
    float least;
    float greatest;
  };
  std::uint8_t draw(std::uint32_t below) { return static_cast<std::uint8_t>(random_.nextBits() % below); }
  void turnKnob() {
    const Range& range = ranges_[random_.nextBits() % ranges_.size()];
    host_.port(range.symbol) = range.least + (range.greatest - range.least) * random_.unit31();
  }
  void message(std::uint32_t frame) {
    const auto status = static_cast<std::uint8_t>(0x80U + draw(7) * 16U + draw(16));
    if (status >= 0xC0 && status < 0xE0) {
      host_.midi(frame, {status, draw(128)});
    } else {
      host_.midi(frame, {status, draw(128), draw(128)});
    }
  }
  // Like `run`, with the plug-in's part inside a trap.
  void runTrapped(std::uint32_t frames) {
    host_.reserve(frames);
    host_.layOutEvents();
    {
      const RenderTrap trap;
      host_.runBare(frames);
    }
    for (std::uint32_t i = 0; i < frames; ++i) {
      if (!std::isfinite(host_.lastLeft()[i]) || !std::isfinite(host_.lastRight()[i])) ++badSamples_;
    }
    host_.work();
  }
  float peakOver(std::uint64_t frames) {
    host_.peak = 0;
    host_.runFor(frames, 512);
    return host_.peak;
  }

  static constexpr std::uint64_t kSeed = 20261121;
  Random random_{kSeed};
  Lv2Host host_{world_};
  std::vector<Range> ranges_;
  long badSamples_ = 0;
};

TEST_F(Lv2Storm, HasATrapThatHearsThePlugIn) {
  const long before = RenderTrap::caught();
  {
    const RenderTrap trap;
    host_.save();
  }
  EXPECT_EQ(RenderTrap::caught() > before, RenderTrap::isArmed());
}

TEST_F(Lv2Storm, NeverAllocatesLocksOrWaitsInACycle) {
  constexpr double kSeconds = 60.0;
  const long before = RenderTrap::caught();
  std::uint64_t frames = 0;
  while (static_cast<double>(frames) < kSeconds * 48000.0) {
    const auto cycle = static_cast<std::uint32_t>(1 + random_.nextBits() % 1024);
    for (int i = draw(12); i > 0; --i) message(static_cast<std::uint32_t>(random_.nextBits() % cycle));
    for (int i = draw(4); i > 0; --i) turnKnob();
    if (draw(20) == 0) host_.position(0, 1 + draw(255) * 4.0, draw(2));
    if (draw(20) == 0) host_.patchSet(0, std::string(kNamespace) + "filterCutoff", 20.0F + draw(255) * 70.0F);
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
  EXPECT_EQ(RenderTrap::caught(), before) << "seed " << kSeed << " last " << RenderTrap::lastCaught();
  EXPECT_EQ(badSamples_, 0) << "seed " << kSeed;
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
    ASSERT_EQ(host_.badSamples, 0U) << "set " << set << " of seed " << kSeed;
    worst = std::max(worst, host_.peak);
  }
  tellFigure("T19 greatest peak, dBFS", 20.0 * std::log10(worst));
  EXPECT_LE(worst, HostBlockCutter::kGreatestSample);
}

TEST_F(Lv2Storm, TakesEveryMoveOfEveryPort) {
  host_.noteOn(0, 60);
  for (int cycle = 0; cycle < 48000 * 10 / 16; ++cycle) {
    for (const Range& range : ranges_) {
      host_.port(range.symbol) = range.least + (range.greatest - range.least) * random_.unit31();
    }
    host_.port("midiChannel") = -1;
    runTrapped(16);
  }
  EXPECT_EQ(badSamples_, 0);
  std::map<std::string, float> last;
  for (const Range& range : ranges_) last[range.symbol] = host_.port(range.symbol) = range.greatest;
  host_.run(16);
  const auto state = StateEnvelope::fromText(*host_.save());
  int dropped = 0;
  for (const auto& port : state.value().ports) dropped += port.value != last.at(port.symbol) ? 1 : 0;
  tellFigure("T20 dropped values", dropped);
  EXPECT_EQ(dropped, 0);
}

TEST_F(Lv2Storm, TakesMessagesAtAnyPace) {
  const std::string cutoff = std::string(kNamespace) + "filterCutoff";
  for (const std::uint32_t pace : {10U, 100U, 1000U}) {
    float last = 0;
    host_.noteOn(0, 60);
    for (int cycle = 0; cycle < 100; ++cycle) {
      for (std::uint32_t frame = 0; frame < 2048; frame += pace) {
        last = 100.0F + static_cast<float>(draw(200)) * 40.0F;
        host_.patchSet(frame, cutoff, last);
      }
      host_.run(2048);
    }
    host_.notices.clear();
    host_.patchGet(0, cutoff);
    host_.run(64);
    EXPECT_THAT(host_.notices, testing::Contains("filterCutoff=" + std::to_string(last))) << "each " << pace;
  }
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

TEST_F(Lv2Storm, SurvivesBytesThatAreNoMidi) {
  constexpr int kBytes = 3'000'000;
  std::vector<std::uint8_t> message;
  int bytes = 0;
  while (bytes < kBytes) {
    for (int i = 0; i < 100; ++i) {
      message.resize(draw(6));
      for (std::uint8_t& byte : message) byte = draw(256);
      // Whole messages are what reaches the engine: every second one begins as such.
      if (!message.empty() && draw(2) == 0) message[0] = static_cast<std::uint8_t>(0x80U | draw(112));
      for (std::size_t at = 1; at < message.size() && draw(4) != 0; ++at) message[at] &= 0x7FU;
      // Presets bring sounds that play on by themselves.
      if (!message.empty() && (message[0] & 0xF0U) == 0xC0U) continue;
      host_.midi(static_cast<std::uint32_t>(i), message);
      bytes += static_cast<int>(message.size());
    }
    host_.run(256);
  }
  std::vector<std::uint8_t> exclusive(65000, 0x11);
  exclusive.front() = 0xF0;
  exclusive.back() = 0xF7;
  host_.midi(0, exclusive);
  host_.run(256);
  EXPECT_EQ(host_.badSamples, 0U);
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 64, 0});
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 123, 0});
  }
  host_.runFor(4 * 48000, 512);
  const float left = peakOver(48000);
  tellFigure("T25 level five seconds behind, dBFS", 20.0 * std::log10(std::max(left, 1e-10F)));
  EXPECT_LT(left, 1e-4F);
}

TEST_F(Lv2Storm, HangsNoNoteWhateverItsOrder) {
  for (int round = 0; round < 200; ++round) {
    for (int i = 0; i < 20; ++i) {
      const auto channel = draw(16);
      const auto note = static_cast<std::uint8_t>(40 + draw(6));
      switch (draw(4)) {
        case 0:
          host_.midi(0, {static_cast<std::uint8_t>(0x80U + channel), note, 64});
          break;
        case 1:
        case 2:
          host_.midi(0, {static_cast<std::uint8_t>(0x90U + channel), note, 100});
          break;
        default:
          host_.midi(
              0, {static_cast<std::uint8_t>(0xB0U + channel), 64, static_cast<std::uint8_t>(draw(2) * 127)});
      }
    }
    host_.run(512);
  }
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 123, 0});
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 64, 0});
  }
  host_.runFor(4 * 48000, 512);
  const float left = peakOver(48000);
  tellFigure("T26 level behind all notes off, dBFS", 20.0 * std::log10(std::max(left, 1e-10F)));
  EXPECT_LT(left, 1e-4F);
}

TEST_F(Lv2Storm, TakesAThousandNotesASecond) {
  const long before = RenderTrap::caught();
  for (int cycle = 0; cycle < 60 * 1000 / 4; ++cycle) {
    for (std::uint32_t i = 0; i < 4; ++i) host_.noteOn(i * 48, static_cast<std::uint8_t>(24 + draw(80)));
    runTrapped(192);
  }
  tellFigure("T28 trapped calls", static_cast<double>(RenderTrap::caught() - before));
  EXPECT_EQ(RenderTrap::caught(), before);
  EXPECT_EQ(badSamples_, 0);
}

TEST_F(Lv2Storm, FollowsATransportThatJumpsAndStops) {
  host_.port("arpEnabled") = 1;
  host_.port("lfoBPMSync") = 1;
  host_.port("lfoAmount") = 1;
  host_.port("oscLFOModAmount") = 1;
  host_.port("basicdelay_echoBypass") = 0;
  host_.port("basicdelay_syncTempo") = 1;
  for (const std::uint8_t note : {50, 55, 62}) host_.noteOn(0, note);
  for (const std::uint32_t pace : {1U, 100U, 1000U}) {
    for (int cycle = 0; cycle < 40; ++cycle) {
      for (std::uint32_t frame = 0; frame < 1024; frame += pace) {
        host_.position(frame, 1.0 + random_.unit31() * 998.0, static_cast<float>(draw(3)) - 1.0F);
      }
      host_.run(1024);
    }
  }
  for (const double tempo : {1.0, 999.0, 0.0, -5.0, 1e30, 1e-30}) {
    host_.position(0, tempo, 0);
    host_.runFor(4800, 480);
  }
  EXPECT_EQ(host_.badSamples, 0U);
  EXPECT_LT(host_.peak, HostBlockCutter::kGreatestSample);
}

// A host may give one and the same memory for both channels.
TEST_F(Lv2Storm, WritesBothChannelsIntoOneBuffer) {
  std::vector<float> shared(256);
  host_.noteOn(0, 60);
  host_.reserve(256);
  host_.layOutEvents();
  lilv_instance_connect_port(host_.instance(), 2, shared.data());
  lilv_instance_connect_port(host_.instance(), 3, shared.data());
  for (int cycle = 0; cycle < 20; ++cycle) {
    host_.runBare(256);
    host_.layOutEvents();
  }
  EXPECT_THAT(shared, testing::Contains(testing::Ne(0.0F)));
  for (const float sample : shared) EXPECT_TRUE(std::isfinite(sample));
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
