// What a host hears of the plug-in.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "hosts/HostBlockCutter.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/lv2/InstanceLog.h"
#include "hosts/lv2/PluginUris.h"
#include "platform/Random.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Notes, wheels and parameter moves at frames of a run; the same for every way of cutting it.
struct Happening {
  std::uint64_t frame;
  std::vector<std::uint8_t> message;
};

std::vector<Happening> piece(std::uint64_t frames, std::uint64_t grid, std::uint64_t seed) {
  Random random(seed);
  std::vector<Happening> happenings;
  const auto draw = [&random](std::uint32_t below) {
    return static_cast<std::uint8_t>(random.nextBits() % below);
  };
  for (int i = 0; i < 60; ++i) {
    const std::uint64_t frame = random.nextBits() % (frames / grid) * grid;
    const auto note = static_cast<std::uint8_t>(40 + draw(40));
    const auto off = std::min<std::uint64_t>(frame + random.nextBits() % 12000 / grid * grid, frames - grid);
    happenings.push_back({frame, {0x90, note, static_cast<std::uint8_t>(1 + draw(127))}});
    happenings.push_back({off, {0x80, note, 64}});
    happenings.push_back({frame, {0xB0, 1, draw(128)}});
    happenings.push_back({off, {0xE0, draw(128), draw(128)}});
    happenings.push_back({off, {0xD0, draw(128)}});
  }
  std::stable_sort(happenings.begin(), happenings.end(),
                   [](const Happening& a, const Happening& b) { return a.frame < b.frame; });
  return happenings;
}

// Parameters of a sound that uses all of the instrument.
const std::vector<std::pair<std::string, float>>& richSound() {
  static const std::vector<std::pair<std::string, float>> values = {
      {"oscNoiseLevel", 0.2F},      {"oscSubLevel", 0.5F},        {"lfoAmount", 0.6F},
      {"oscLFOModAmount", 0.3F},    {"filterCutoff", 1800.0F},    {"filterEnvModAmount", 0.6F},
      {"filterLFOModAmount", 0.4F}, {"outputDistortion", 0.5F},   {"voiceDetune", 0.4F},
      {"panSpread", 0.7F},          {"vachorus_chorusBypass", 0}, {"ecoverb_reverbBypass", 0},
      {"basicdelay_echoBypass", 0}, {"vachorus_modShape", 0.5F},  {"midiMode", 0}};
  return values;
}

int keepFormat(LV2_Log_Handle handle, LV2_URID, const char* format, ...) {
  static_cast<std::vector<std::string>*>(handle)->emplace_back(format);
  return 0;
}

class Lv2Render : public Lv2Fixture {
 protected:
  static void setRichSound(Lv2Host& host) {
    for (const auto& [symbol, value] : richSound()) host.port(symbol) = value;
  }
  // Sixteenths of clicks.
  static void setArpeggio(Lv2Host& host) {
    host.port("arpEnabled") = 1;
    host.port("midiMode") = 0;
    host.port("arpClockDivision") = 6;  // sixteenths
    host.port("env1Attack") = 0.001F;
    host.port("env1Decay") = 0;
    host.port("env1Sustain") = 0;
    host.port("env1Release") = 0;
  }
  // Sounds that begin behind silence of at least a hundredth of a second.
  static int onsetsOf(const std::vector<float>& sound) {
    int onsets = 0;
    int quiet = 480;
    for (const float sample : sound) {
      if (std::abs(sample) < 1e-4F) {
        ++quiet;
      } else {
        if (quiet >= 480) ++onsets;
        quiet = 0;
      }
    }
    return onsets;
  }
  // Plays a piece in cycles of the lengths that `cycleAt` gives.
  template <typename CycleAt>
  static void play(Lv2Host& host, const std::vector<Happening>& happenings, std::uint64_t frames,
                   CycleAt&& cycleAt) {
    std::size_t next = 0;
    for (std::uint64_t done = 0; done < frames;) {
      const auto cycle = static_cast<std::uint32_t>(std::min<std::uint64_t>(cycleAt(), frames - done));
      for (; next < happenings.size() && happenings[next].frame < done + cycle; ++next) {
        host.midi(static_cast<std::uint32_t>(happenings[next].frame - done), happenings[next].message);
      }
      host.run(cycle);
      ASSERT_TRUE(host.guardsAreWhole());
      done += cycle;
    }
  }
};

TEST_F(Lv2Render, IsExactlySilentUntilANoteComes) {
  Lv2Host host(world_);
  host.activate();

  host.runFor(48000);
  EXPECT_THAT(host.left, Each(0.0F));

  host.noteOn(0, 60);
  host.runFor(4800);
  EXPECT_EQ(host.badSamples, 0U);
  EXPECT_GT(host.peak, 0.01F);
}

TEST_F(Lv2Render, GivesTheSameSamplesForEveryCycleThatIsAMultipleOf64) {
  constexpr std::uint64_t kFrames = 64 * 1500;
  const std::vector<Happening> happenings = piece(kFrames, 1, 3);
  const auto rendered = [&](std::uint32_t cycle) {
    Lv2Host host(world_);
    setRichSound(host);
    host.activate();
    play(host, happenings, kFrames, [cycle] { return cycle; });
    EXPECT_EQ(host.badSamples, 0U);
    host.left.insert(host.left.end(), host.right.begin(), host.right.end());
    return host.left;
  };
  const std::vector<float> reference = rendered(64);
  EXPECT_THAT(reference, Contains(testing::Gt(0.05F)));
  int alike = 0;
  for (const std::uint32_t cycle : {128U, 192U, 256U, 1024U, 1536U, 4096U, 16384U}) {
    const bool isAlike = rendered(cycle) == reference;
    EXPECT_TRUE(isAlike) << "cycles of " << cycle;
    alike += isAlike ? 1 : 0;
  }
  tellFigure("T13 lengths of cycles that sound bit for bit as 64, of 7", alike);
}

TEST_F(Lv2Render, PlaysInCyclesOfAnyLength) {
  constexpr std::uint64_t kFrames = 48000;
  const std::vector<Happening> happenings = piece(kFrames, 1, 4);
  Random random(9);
  std::uint64_t badSamples = 0;
  const auto energyOf = [&](auto cycleAt) {
    Lv2Host host(world_);
    setRichSound(host);
    host.port("oscNoiseLevel") = 0;
    host.port("voiceDetune") = 0;
    host.port("vachorus_modShape") = 0;
    host.activate();
    play(host, happenings, kFrames, cycleAt);
    EXPECT_EQ(host.badSamples, 0U);
    badSamples += host.badSamples;
    double energy = 0;
    for (const float sample : host.left) energy += static_cast<double>(sample) * sample;
    return energy;
  };
  const double reference = energyOf([] { return 64U; });
  // Blocks that begin elsewhere move onsets by a block, and nothing more.
  constexpr double kToleranceDb = 1.0;
  double worstDb = 0;
  for (const std::uint32_t cycle : {1U, 10U, 17U, 2027U}) {
    const double difference = 10.0 * std::log10(energyOf([cycle] { return cycle; }) / reference);
    EXPECT_NEAR(difference, 0.0, kToleranceDb) << "cycles of " << cycle;
    worstDb = std::max(worstDb, std::fabs(difference));
  }
  const double mixed = energyOf([&random] { return 1 + random.nextBits() % 2048; });
  EXPECT_NEAR(10.0 * std::log10(mixed / reference), 0.0, kToleranceDb);
  tellFigure("T12 greatest difference of level in odd cycles, dB", worstDb);
  tellFigure("T12 bad samples", static_cast<double>(badSamples));
}

TEST_F(Lv2Render, LetsNotesBeginWithinABlockInCyclesOfAnyLength) {
  const auto onset = [this](std::uint32_t cycle) {
    Lv2Host host(world_);
    host.port("env1Attack") = 0.001F;
    host.activate();
    play(host, {{5000, {0x90, 60, 100}}}, 9600, [cycle] { return cycle; });
    const auto sound = std::find_if(host.left.begin(), host.left.end(), [](float x) { return x != 0.0F; });
    return static_cast<int>(sound - host.left.begin());
  };
  const int expected = onset(64);
  int farthest = 0;
  for (const std::uint32_t cycle : {1U, 10U, 17U, 100U, 2027U}) {
    farthest = std::max(farthest, std::abs(onset(cycle) - expected));
  }
  tellFigure("T13 greatest distance of onsets in odd cycles, frames", farthest);
  EXPECT_LE(farthest, 64);
}

TEST_F(Lv2Render, KeepsWhatHappensInACycleWithoutFrames) {
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.port("volume") = 0.5F;

  host.run(0);
  EXPECT_TRUE(host.guardsAreWhole());
  EXPECT_THAT(host.left, IsEmpty());
  host.runFor(4800);

  EXPECT_GT(host.peak, 0.01F);
}

TEST_F(Lv2Render, ForgetsOverAnActivationWhatACycleWithoutFramesHeard) {
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.run(0);
  host.deactivate();
  host.activate();
  host.runFor(4800);
  EXPECT_EQ(host.peak, 0.0F);
}

// The cycle is cut at 64, 128 ...: an event acts at the start of the block that holds it.
TEST_F(Lv2Render, LetsANoteBeginAtTheStartOfItsBlock) {
  const auto firstSound = [&](std::uint32_t frame) {
    Lv2Host host(world_);
    host.port("env1Attack") = 0.001F;
    host.activate();
    host.noteOn(frame, 60);
    host.run(1024);
    host.run(1024);
    const auto sound = std::find_if(host.left.begin(), host.left.end(), [](float x) { return x != 0.0F; });
    return sound - host.left.begin();
  };
  const auto delay = firstSound(0);
  EXPECT_LT(delay, 128);
  for (std::uint32_t frame = 1; frame < 1024; frame += 37) {
    EXPECT_EQ(firstSound(frame), frame / 64 * 64 + delay) << "note at " << frame;
  }
  EXPECT_EQ(firstSound(63), delay);
  EXPECT_EQ(firstSound(64), 64 + delay);
}

TEST_F(Lv2Render, SoundsAsTheUnitItselfDoes) {
  constexpr std::uint64_t kFrames = 64 * 1000;
  const std::vector<Happening> happenings = piece(kFrames, 64, 5);
  Lv2Host host(world_);
  setRichSound(host);
  host.activate();
  play(host, happenings, kFrames, [] { return 256U; });

  cli::OfflineUnit offline("");
  for (const auto& [symbol, value] : richSound()) {
    const std::size_t mark = symbol.find('_');
    const std::string path =
        mark == std::string::npos ? "morv." + symbol : symbol.substr(0, mark) + "." + symbol.substr(mark + 1);
    offline.unit().parameterTree()->parameterForKeyPath(path)->setValue(value);
  }
  ASSERT_TRUE(offline.allocate(48000, 64));
  HostBlockCutter cutter(offline.unit());
  std::vector<float> left(64);
  std::vector<float> right(64);
  std::size_t next = 0;
  for (std::uint64_t done = 0; done < kFrames; done += 64) {
    std::vector<AURenderEvent> events;
    for (; next < happenings.size() && happenings[next].frame < done + 64; ++next) {
      const auto& bytes = happenings[next].message;
      AURenderEvent event{};
      event.MIDI = {nullptr,
                    static_cast<AUEventSampleTime>(happenings[next].frame),
                    AURenderEventMIDI,
                    static_cast<std::uint16_t>(bytes.size()),
                    0,
                    {}};
      std::copy(bytes.begin(), bytes.end(), event.MIDI.data.begin());
      events.push_back(event);
    }
    cutter.render(static_cast<double>(done), 64, left.data(), right.data(), events);
    for (std::size_t i = 0; i < 64; ++i) {
      ASSERT_EQ(host.left[done + i], left[i]) << "frame " << done + i;
      ASSERT_EQ(host.right[done + i], right[i]) << "frame " << done + i;
    }
  }
  EXPECT_GT(host.peak, 0.05F);
}

TEST_F(Lv2Render, TakesTheTempoFromPositionsAndKeepsIt) {
  const auto stepsIn = [&](double beatsPerMinute, float speed) {
    Lv2Host host(world_);
    setArpeggio(host);
    host.activate();
    host.position(0, beatsPerMinute, speed);
    host.noteOn(0, 60);
    host.runFor(48000 * 4, 512);
    return onsetsOf(host.left);
  };
  EXPECT_NEAR(stepsIn(120, 1), 32, 1);
  EXPECT_NEAR(stepsIn(60, 1), 16, 1);
  EXPECT_NEAR(stepsIn(60, 0), 16, 1) << "a stopped song has its tempo too";
}

TEST_F(Lv2Render, KeepsTheTempoOverAnActivation) {
  Lv2Host host(world_);
  setArpeggio(host);
  host.activate();
  host.position(0, 60, 1);
  host.runFor(4800, 512);
  host.deactivate();
  host.activate();
  host.left.clear();
  host.noteOn(0, 60);
  host.runFor(48000 * 4, 512);
  EXPECT_NEAR(onsetsOf(host.left), 16, 1);
}

TEST_F(Lv2Render, BoundsWhatAHostPutsIntoItsPorts) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.runFor(640);
  for (const std::string& symbol : host.parameterSymbols()) {
    const float before = host.port(symbol);
    for (const float wild : {kNotANumber, kInfinity, -kInfinity, 1e30F, -1e30F, -0.0F}) {
      host.port(symbol) = wild;
      host.run(64);
    }
    host.port(symbol) = before;
    host.run(64);
  }
  EXPECT_EQ(host.badSamples, 0U);
  EXPECT_LE(host.peak, 16.0F);

  // All values are back where they were: a fresh instance plays on alike.
  const auto saved = host.save();
  Lv2Host fresh(world_);
  ASSERT_TRUE(saved);
  EXPECT_EQ(*saved, *fresh.save());
  tellFigure("T22 ports back at their values", static_cast<double>(host.parameterSymbols().size()));
}

TEST_F(Lv2Render, SoundsOnAsItWasWhenPortsHoldNoNumbers) {
  const auto rendered = [this](bool isWild) {
    Lv2Host host(world_);
    setRichSound(host);
    host.activate();
    host.noteOn(0, 60);
    host.runFor(640);
    for (const std::string& symbol : host.parameterSymbols()) {
      const float before = host.port(symbol);
      if (isWild) host.port(symbol) = std::numeric_limits<float>::quiet_NaN();
      host.run(64);
      host.port(symbol) = before;
      host.run(64);
    }
    return host.left;
  };
  const std::vector<float> expected = rendered(false);
  EXPECT_THAT(expected, Contains(testing::Gt(0.01F)));
  EXPECT_EQ(rendered(true), expected);
}

TEST_F(Lv2Render, PlaysWithoutWorkerLogAndOptionalPorts) {
  Lv2Host host(world_, 44100.0, {.worker = false, .log = false, .notify = false, .control = true});
  ASSERT_TRUE(host.isInstantiated());
  host.activate();
  host.noteOn(0, 60);
  host.midi(0, {0xC0, 3});
  host.runFor(4410);
  EXPECT_GT(host.peak, 0.01F);

  Lv2Host deaf(world_, 44100.0, {.worker = true, .log = true, .notify = false, .control = false});
  deaf.activate();
  deaf.runFor(4410);
  EXPECT_EQ(deaf.peak, 0.0F);
  tellFigure("T18 bad samples without optional ports",
             static_cast<double>(host.badSamples + deaf.badSamples));
}

TEST_F(Lv2Render, RefusesAHostWithoutTheMapAndARateThatIsNone) {
  EXPECT_EQ(lilv_plugin_instantiate(world_.plugin(), 48000, nullptr), nullptr);
  const Lv2Host host(world_, 0.0);
  EXPECT_FALSE(host.isInstantiated());
  EXPECT_THAT(host.logged, Contains(testing::HasSubstr("sample rate")));
}

TEST_F(Lv2Render, TellsTheHostsLogNothingBehindTheInstancesEnd) {
  std::vector<std::string> lines;
  LV2_URID_Map map{nullptr, [](LV2_URID_Map_Handle, const char* uri) { return uridOf(uri); }};
  LV2_Log_Log log{&lines, keepFormat, nullptr};
  const LV2_Feature mapFeature{LV2_URID__map, &map};
  const LV2_Feature logFeature{LV2_LOG__log, &log};
  const std::vector<const LV2_Feature*> features = {&mapFeature, &logFeature, nullptr};
  InstanceLog instanceLog{HostFeatures(features.data())};

  instanceLog.log("while it lives");
  instanceLog.end();
  instanceLog.log("behind its end");

  EXPECT_THAT(lines, ElementsAre("morv: %s\n"));
}

// The common rates, those of devices whose clocks are a little off, and far more than any device has; two
// seconds at each in full.
TEST_F(Lv2Render, PlaysAtEveryRate) {
  const double seconds = measure(0.5, 2.0);
  std::uint64_t bad = 0;
  for (const double rate : {8000.0, 11025.0, 16000.0, 22050.0, 32000.0, 44099.9, 44100.0, 44100.7, 47999.5,
                            48000.0, 88200.0, 95999.25, 96000.0, 176400.0, 192000.0, 384000.0, 768000.0}) {
    Lv2Host host(world_, rate);
    ASSERT_TRUE(host.isInstantiated()) << rate;
    setRichSound(host);
    host.activate();
    host.keepsAudio = false;
    const auto frames = static_cast<std::uint64_t>(rate * seconds);
    play(host, piece(frames, 1, stormSeed()), frames, [] { return 512U; });
    bad += host.badSamples;
    EXPECT_EQ(host.badSamples, 0U) << rate;
    EXPECT_GT(host.peak, 0.01F) << rate;
    EXPECT_LT(host.peak, 16.0F) << rate;
  }
  tellFigure("T11 bad samples", static_cast<double>(bad));
}

TEST_F(Lv2Render, SoundsFreshBehindDeactivationAndActivation) {
  constexpr std::uint64_t kFrames = 64 * 200;
  const std::vector<Happening> happenings = piece(kFrames, 1, 8);
  Lv2Host fresh(world_);
  setRichSound(fresh);
  fresh.activate();
  play(fresh, happenings, kFrames, [] { return 256U; });

  Lv2Host host(world_);
  setRichSound(host);
  host.activate();
  play(host, piece(kFrames, 1, 9), kFrames, [] { return 256U; });
  host.midi(0, {0xB0, 64, 127});
  host.noteOn(0, 70);
  host.run(64);
  host.deactivate();
  host.left.clear();
  host.right.clear();
  host.activate();
  play(host, happenings, kFrames, [] { return 256U; });

  EXPECT_EQ(host.left, fresh.left);
  EXPECT_EQ(host.right, fresh.right);
}

}  // namespace
}  // namespace morv::lv2
