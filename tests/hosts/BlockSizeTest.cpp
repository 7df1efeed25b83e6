#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

#include "hosts/HostBlockCutter.h"
#include "platform/Random.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

constexpr double kRateHz = 44100.0;
constexpr AUEventSampleTime kNoteOn = 4096;  // a block's start for blocks of 256 and of 1024
constexpr std::uint32_t kFrames = 64 * 1024;

AURenderEvent midi(AUEventSampleTime time, int status, int first, int second) {
  AURenderEvent event{};
  event.MIDI = {nullptr,
                time,
                AURenderEventMIDI,
                3,
                0,
                {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first),
                 static_cast<std::uint8_t>(second)}};
  return event;
}

// Both channels, one behind the other, of a render in host cycles of the given lengths (the last one again
// and again), cut into blocks of `blockFrames`.
std::vector<float> rendered(std::vector<AURenderEvent> events, std::uint32_t blockFrames,
                            const std::vector<std::uint32_t>& cycles) {
  UnitSurroundings around;
  OpenUnit unit(around);
  unit.setRandomSeed(5);
  unit.setMaximumFramesToRender(blockFrames);
  EXPECT_TRUE(unit.allocateRenderResources(nullptr));
  unit.parameterTree()->parameterForKeyPath("morv.env1Sustain")->setValue(1.0F);
  HostBlockCutter cutter(unit, blockFrames);
  std::vector<float> sound(std::size_t{2} * kFrames);
  std::span<AURenderEvent> waiting = events;
  std::size_t cycle = 0;
  for (std::uint32_t done = 0; done < kFrames;) {
    const std::uint32_t frames = std::min(cycles[cycle], kFrames - done);
    if (cycle + 1 < cycles.size()) ++cycle;
    std::size_t count = 0;
    while (count < waiting.size() && waiting[count].head.eventSampleTime < done + frames) ++count;
    cutter.render(done, frames, sound.data() + done, sound.data() + kFrames + done, waiting.first(count));
    waiting = waiting.subspan(count);
    done += frames;
  }
  return sound;
}

std::vector<float> renderedInBlocks(const std::vector<AURenderEvent>& events, std::uint32_t blockFrames) {
  return rendered(events, blockFrames, {blockFrames});
}

// The steady part of the note: its level, and its pitch by the advance of its fundamental's phase.
constexpr std::size_t kSteady = 24000;
constexpr std::size_t kWindow = 16384;
constexpr std::size_t kAdvance = 16384;

std::complex<double> fundamental(const std::vector<float>& sound, std::size_t begin, double frequencyHz) {
  std::complex<double> sum = 0;
  for (std::size_t i = 0; i < kWindow; ++i) {
    const double place = static_cast<double>(i) / kWindow;
    const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * place);
    const double angle = 2 * std::numbers::pi * frequencyHz * static_cast<double>(begin + i) / kRateHz;
    sum += static_cast<double>(sound[begin + i]) * weight * std::polar(1.0, -angle);
  }
  return sum;
}

double centsFrom(double frequencyHz, const std::vector<float>& sound) {
  const auto first = fundamental(sound, kSteady, frequencyHz);
  const auto second = fundamental(sound, kSteady + kAdvance, frequencyHz);
  const double turns = std::arg(second / first) / (2 * std::numbers::pi);
  const double found = frequencyHz + turns * kRateHz / kAdvance;
  return 1200 * std::log2(found / frequencyHz);
}

double levelDb(const std::vector<float>& sound) {
  double sum = 0;
  for (std::size_t i = kSteady; i < kSteady + kWindow; ++i) sum += static_cast<double>(sound[i]) * sound[i];
  return 10 * std::log10(sum / kWindow);
}

std::size_t firstSound(const std::vector<float>& sound) {
  const auto found = std::find_if(sound.begin(), sound.begin() + kFrames, [](float x) { return x != 0.0F; });
  return static_cast<std::size_t>(found - sound.begin());
}

TEST(BlockSize, LeavesPitchAndLevelOfASteadyNoteAsTheyAre) {
  // A window of 16384 frames holds 163.5 periods of the note; where it cuts them may move its level by some
  // hundredths of a decibel. The pitch has no such excuse.
  constexpr double kLevelToleranceDb = 0.05;
  constexpr double kPitchToleranceCents = 0.01;
  const std::vector<AURenderEvent> events = {midi(kNoteOn, 0x90, 69, 100)};

  const auto large = renderedInBlocks(events, 1024);
  const auto small = renderedInBlocks(events, 256);

  EXPECT_NEAR(centsFrom(440.0, large), 0.0, 0.1);
  EXPECT_NEAR(centsFrom(440.0, small), centsFrom(440.0, large), kPitchToleranceCents);
  EXPECT_GT(levelDb(large), -40.0);
  EXPECT_NEAR(levelDb(small), levelDb(large), kLevelToleranceDb);
}

TEST(BlockSize, DelaysTheOnsetByTheOneBlockThatTheEnvelopeTakesToTheAmplifier) {
  const std::vector<AURenderEvent> events = {midi(kNoteOn, 0x90, 69, 100)};
  for (const std::uint32_t block : {64U, 256U, 1024U}) {
    const std::size_t onset = firstSound(renderedInBlocks(events, block));

    EXPECT_GE(onset, kNoteOn + block);
    EXPECT_LT(onset, kNoteOn + block + 64);
  }
}

TEST(BlockSize, LetsEventsActAtTheStartOfTheirBlock) {
  const auto at = [](AUEventSampleTime time, std::uint32_t block) {
    return renderedInBlocks({midi(time, 0x90, 69, 100)}, block);
  };

  EXPECT_EQ(at(kNoteOn + 1023, 1024), at(kNoteOn, 1024));
  EXPECT_EQ(at(kNoteOn + 255, 256), at(kNoteOn, 256));
  EXPECT_EQ(firstSound(at(kNoteOn + 1023, 256)), firstSound(at(kNoteOn, 256)) + 768);
}

// Notes, bends, wheels and pressure at any sample, drawn from a seed, in time order.
std::vector<AURenderEvent> busyPiece(std::uint64_t seed) {
  Random random(seed);
  const auto below = [&random](int limit) { return static_cast<int>(random.unit31() * limit) % limit; };
  std::vector<AURenderEvent> events;
  for (int i = 0; i < 400; ++i) {
    const AUEventSampleTime time = below(static_cast<int>(kFrames));
    const int channel = below(4);
    switch (below(6)) {
      case 0:
        events.push_back(midi(time, 0xE0 + channel, below(128), below(128)));
        break;
      case 1:
        events.push_back(midi(time, 0xB0 + channel, 1, below(128)));
        break;
      case 2:
        events.push_back(midi(time, 0xD0 + channel, below(128), 0));
        break;
      case 3:
        events.push_back(midi(time, 0x80 + channel, 36 + below(48), 64));
        break;
      default:
        events.push_back(midi(time, 0x90 + channel, 36 + below(48), 1 + below(127)));
        break;
    }
  }
  std::stable_sort(events.begin(), events.end(), [](const AURenderEvent& a, const AURenderEvent& b) {
    return a.head.eventSampleTime < b.head.eventSampleTime;
  });
  return events;
}

TEST(BlockSize, OfAHostIsNotHeardAsLongAsItIsAMultipleOf64) {
  for (const std::uint64_t seed : {1U, 2U, 3U}) {
    const auto events = busyPiece(seed);
    const auto usual = rendered(events, HostBlockCutter::kBlockFrames, {64});

    EXPECT_THAT(usual, testing::Contains(testing::Gt(0.01F))) << "seed " << seed;
    for (const auto& cycles :
         {std::vector<std::uint32_t>{128}, {256}, {1024}, {4096}, {64, 960, 192, 2048}}) {
      EXPECT_TRUE(rendered(events, HostBlockCutter::kBlockFrames, cycles) == usual)
          << "seed " << seed << ", cycles of " << cycles.front();
    }
  }
}

}  // namespace
}  // namespace morv
