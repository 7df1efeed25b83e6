// One thread renders, one sets parameters, one loads presets and turns the main queue, one reads the state,
// one edits mappings; observers listen, come and go.

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

// A controller, or a note that begins or ends.
AURenderEvent drawnEvent(Random& random) {
  constexpr std::uint8_t kFirstController = 20;
  AURenderEvent event{};
  event.MIDI = {nullptr, 0, AURenderEventMIDI, 3, 0, {}};
  if (random.nextBits() % 2 == 0) {
    const auto controller = static_cast<std::uint8_t>(kFirstController + random.nextBits() % 8);
    event.MIDI.data[0] = 0xB0;
    event.MIDI.data[1] = controller;
    event.MIDI.data[2] = static_cast<std::uint8_t>(random.nextBits() % 128);
    return event;
  }
  event.MIDI.data[0] = random.nextBits() % 3 == 0 ? 0x80 : 0x90;
  event.MIDI.data[1] = static_cast<std::uint8_t>(40 + random.nextBits() % 40);
  event.MIDI.data[2] = 100;
  return event;
}

// Renders until the end, with an event now and then; counts what is no number.
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
    const AURenderEvent event = drawnEvent(random);
    AudioUnitRenderActionFlags flags = 0;
    block(&flags, &time, kFrames, 0, &list, random.nextBits() % 10 == 0 ? &event : nullptr, nullptr);
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
  around.services.midiMapper = nullptr;  // the process's
  around.standard.setInteger("midiChannel", 0);
  PresetUnit unit(around.services);
  ZRMidiMapper& mapper = *unit.midiMapper();
  AUParameterTree& tree = *unit.parameterTree();
  std::string error;
  ASSERT_TRUE(unit.allocateRenderResources(&error)) << error;
  std::atomic<bool> isEnding{false};
  std::atomic<long> bad{0};
  std::atomic<long> sets{0};
  std::atomic<long> reads{0};
  std::atomic<long> observed{0};
  std::atomic<long> edits{0};
  std::atomic<long> moved{0};
  long loads = 0;
  bool isTurningQueue = false;  // the main thread's alone
  const std::thread::id mainThread = std::this_thread::get_id();
  mapper.setMapping(20, tree.parameterForKeyPath("morv.filterCutoff")->address());
  const auto observer = tree.tokenByAddingParameterObserver([&](AUParameterAddress, AUValue) {
    ++observed;
    if (std::this_thread::get_id() == mainThread && isTurningQueue) ++moved;
  });
  const auto automation =
      tree.tokenByAddingParameterAutomationObserver([&](const AUParameterAutomationEvent&) { ++observed; });

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
  std::thread editor([&] {
    const auto& all = tree.allParameters();
    Random random(4);
    while (!isEnding) {
      const AUParameterAddress address = all[random.nextBits() % all.size()]->address();
      const auto passing =
          tree.tokenByAddingParameterObserver([&](AUParameterAddress, AUValue) { ++observed; });
      if (random.nextBits() % 2 == 0) {
        mapper.initiateMappingForParameter(address);
      } else {
        mapper.setMapping(21 + static_cast<int>(random.nextBits() % 7), address);
      }
      mapper.controlForMapping(address);
      tree.removeParameterObserver(passing);
      ++edits;
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(secondsOfTest());
  while (std::chrono::steady_clock::now() < end) {
    unit.setRandomPreset();
    const PropertyListDictionary state = unit.fullState();
    unit.setFullState(&state);
    isTurningQueue = true;
    around.wait(0.7);
    isTurningQueue = false;
    ++loads;
  }
  isEnding = true;
  renderer.join();
  setter.join();
  reader.join();
  editor.join();
  tree.removeParameterObserver(observer);
  tree.removeParameterObserver(automation);

  EXPECT_EQ(bad.load(), 0);
  EXPECT_GT(sets.load(), 100);
  EXPECT_GT(reads.load(), 10);
  EXPECT_GT(loads, 10);
  EXPECT_GT(edits.load(), 10);
  EXPECT_GT(observed.load(), 100);
  EXPECT_GT(moved.load(), 10);  // by controllers
}

TEST(UnitThreads, AStateMayBeAppliedBesideSettersReadersAndTheRenderBlock) {
  UnitSurroundings around;
  OpenUnit unit(around);
  unit.overridesMIDISettingParametersWithPrefs = false;
  ASSERT_TRUE(unit.allocateRenderResources(nullptr));
  const ZRStateChange change = unit.prepareFullState(unit.fullState());
  AUParameter& volume = *unit.outputVolumeParameter();
  const float applied = volume.value();
  const float set = volume.minValue();
  std::atomic<bool> isEnding{false};
  std::atomic<long> bad{0};
  std::atomic<long> sets{0};
  std::atomic<long> reads{0};
  std::thread renderer([&] { bad += renderUntil(isEnding, unit); });
  std::thread setter([&] {
    while (!isEnding) {
      volume.setValue(set);
      ++sets;
    }
  });
  std::thread reader([&] {
    while (!isEnding) {
      const float seen = volume.value();
      if (seen != set && seen != applied) ++bad;
      if (unit.fullState().find("modMatrixDict") != nullptr) ++reads;
    }
  });

  for (int i = 0; i < 200 || sets < 100 || reads < 10; ++i) unit.applyFullState(change);
  isEnding = true;
  renderer.join();
  setter.join();
  reader.join();
  unit.applyFullState(change);

  EXPECT_EQ(bad.load(), 0);
  EXPECT_EQ(volume.value(), applied);
  EXPECT_GE(sets.load(), 100);
  EXPECT_GE(reads.load(), 10);
}

}  // namespace
}  // namespace morv
