// One thread renders, one sets parameters, one loads presets, one reads the state.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

constexpr std::uint32_t kFrames = 64;

// Two seconds, or what the environment asks for.
double secondsOfTest() {
  const char* wanted = std::getenv("MORV_THREADS_SECONDS");
  return wanted != nullptr ? std::atof(wanted) : 2.0;
}

// Renders until the end, with a note now and then; counts what is no number.
long renderUntil(const std::atomic<bool>& isEnding, OpenUnit& unit) {
  Random random(1);
  std::vector<float> left(kFrames);
  std::vector<float> right(kFrames);
  AudioTimeStamp time;
  const AUInternalRenderBlock block = unit.internalRenderBlock();
  long bad = 0;
  while (!isEnding) {
    AudioBufferList list;
    list.mNumberBuffers = 2;
    list.mBuffers[0] = {1, kFrames * sizeof(float), left.data()};
    list.mBuffers[1] = {1, kFrames * sizeof(float), right.data()};
    AURenderEvent event{};
    const auto status = static_cast<std::uint8_t>(random.nextBits() % 3 == 0 ? 0x80 : 0x90);
    const auto note = static_cast<std::uint8_t>(40 + random.nextBits() % 40);
    event.MIDI = {nullptr, 0, AURenderEventMIDI, 3, 0, {status, note, 100}};
    AudioUnitRenderActionFlags flags = 0;
    block(&flags, &time, kFrames, 0, &list, random.nextBits() % 20 == 0 ? &event : nullptr, nullptr);
    time.mSampleTime += kFrames;
    for (std::size_t i = 0; i < kFrames; ++i)
      bad += std::isfinite(left[i]) && std::isfinite(right[i]) ? 0 : 1;
  }
  return bad;
}

TEST(UnitThreads, RenderingSettingLoadingAndReadingDoNotDisturbOneAnother) {
  PresetSurroundings around;
  for (const char* name : {"[FACTORY]_PL_A", "[FACTORY]_PL_B", "[FACTORY]_PL_C"})
    around.addFactoryPreset(name, 0.5);
  PresetUnit unit(around.services);
  std::string error;
  ASSERT_TRUE(unit.allocateRenderResources(&error)) << error;
  std::atomic<bool> isEnding{false};
  std::atomic<long> bad{0};
  std::atomic<long> sets{0};
  std::atomic<long> reads{0};
  long loads = 0;

  std::thread renderer([&] { bad = renderUntil(isEnding, unit); });
  std::thread setter([&] {
    Random random(2);
    const auto& all = unit.parameterTree()->allParameters();
    while (!isEnding) {
      AUParameter& each = *all[random.nextBits() % all.size()];
      each.setValue(each.minValue() + (each.maxValue() - each.minValue()) * random.unit31());
      ++sets;
    }
  });
  std::thread reader([&] {
    while (!isEnding) {
      if (writePropertyList(unit.fullState()).ok()) ++reads;
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(secondsOfTest());
  while (std::chrono::steady_clock::now() < end) {
    unit.setRandomPreset();
    const PropertyListDictionary state = unit.fullState();
    unit.setFullState(&state);
    around.wait(0.7);
    ++loads;
  }
  isEnding = true;
  renderer.join();
  setter.join();
  reader.join();

  EXPECT_EQ(bad.load(), 0);
  EXPECT_GT(sets.load(), 100);
  EXPECT_GT(reads.load(), 10);
  EXPECT_GT(loads, 10);
}

}  // namespace
}  // namespace morv
