#pragma once

#include <gmock/gmock.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "hosts/lv2/PluginUris.h"
#include "platform/Random.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/realtime/RenderTrap.h"

namespace morv::lv2 {

// A host that does everything at once, at random, for long. Each storm is drawn from a seed and comes back
// the same; with a seed of its own each night brings new ones.
class Lv2Storm : public Lv2Fixture {
 protected:
  void SetUp() override {
    for (const std::string& symbol : host_.parameterSymbols()) {
      const auto [least, greatest] = world_.rangeOf(symbol);
      ranges_.push_back({symbol, least, greatest});
    }
    host_.keepsAudio = false;
    host_.activate();
    RecordProperty("seed", std::to_string(seed_));
  }
  void TearDown() override {
    // The plug-in makes silence of what is no number, and tells its host.
    EXPECT_THAT(host_.logged, testing::Not(testing::Contains(testing::HasSubstr("no number"))));
    if (HasFailure())
      std::printf("MORV_STORM_SEED=%llu brings this storm again\n", static_cast<unsigned long long>(seed_));
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
  // Something of everything for one cycle.
  void drawCycle(std::uint32_t frames) {
    for (int i = draw(12); i > 0; --i) message(static_cast<std::uint32_t>(random_.nextBits() % frames));
    for (int i = draw(4); i > 0; --i) turnKnob();
    if (draw(20) == 0) host_.position(0, 1 + draw(255) * 4.0, draw(2));
    if (draw(20) == 0) host_.patchSet(0, std::string(kNamespace) + "filterCutoff", 20.0F + draw(255) * 70.0F);
  }
  // Processor time of the calling thread.
  static double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }
  // Of these the instrument keeps another value than it is given.
  static bool isHeldElsewhere(const std::string& symbol) {
    return symbol == "voiceMode" || symbol == "ecoverb_highpass";
  }
  // Like `run`, with the plug-in's part inside a trap. The worker may be somebody else's.
  void runTrapped(std::uint32_t frames, bool works = true) {
    host_.reserve(frames);
    host_.layOutEvents();
    {
      const RenderTrap trap;
      host_.runBare(frames);
    }
    for (std::uint32_t i = 0; i < frames; ++i) {
      if (!std::isfinite(host_.lastLeft()[i]) || !std::isfinite(host_.lastRight()[i])) ++badSamples_;
    }
    if (works) host_.work();
  }
  float peakOver(std::uint64_t frames) {
    host_.peak = 0;
    host_.runFor(frames, 512);
    return host_.peak;
  }

  const std::uint64_t seed_ = stormSeed();
  Random random_{seed_};
  Lv2Host host_{world_};
  std::vector<Range> ranges_;
  long badSamples_ = 0;
};

}  // namespace morv::lv2
