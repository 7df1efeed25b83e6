// Units that come and go on several threads of one process.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/unit/UnitInstance.h"

namespace morv {
namespace {

TEST(UnitsOnThreads, ComeAndGoWhileControllersMove) {
  TemporaryFolder folder;
  const auto live = [&folder] {
    for (int i = 0; i < 3; ++i) {
      UnitInstance instance(folder.path("user"));
      instance.open();
      instance.unit->midiMapper()->setMapping(20, instance.cutoff().address());
      for (std::uint8_t value = 0; value < 100; ++value) instance.sendController(20, value);
    }
  };

  UnitInstance present(folder.path("user"));
  present.open();

  std::thread other(live);
  live();
  other.join();

  EXPECT_GE(ZRMidiMapper::sharedObject()->mappingForControl(20), 0);
}

// The shell of a unit, which is made in no time.
class ShellOnly : public ZRAudioUnit {
 public:
  using ZRAudioUnit::ZRAudioUnit;
  AUInternalRenderBlock internalRenderBlock() override { return {nullptr, this}; }
  const AUAudioUnitBusArray* outputBusses() const override { return &busses_; }

 private:
  AUAudioUnitBusArray busses_{AUAudioUnitBusType::output, {}};
};

// Counts the notices that it answers.
template <typename Unit>
class Counting : public Unit {
 public:
  using Unit::Unit;
  void prefsChanged() override {
    ++notices;
    Unit::prefsChanged();
  }
  int notices = 0;
};

// One set of settings and notifications for the process, and a main queue for each unit that ends with it, as
// a plug-in has them.
class SharedSurroundings {
 public:
  // Makes units of a kind and ends them, one after another.
  template <typename Unit>
  void live(int units) {
    for (int i = 0; i < units; ++i) {
      const auto queue = std::make_unique<MainQueue>();
      AudioUnitServices services{.standardSettings = &standard,
                                 .sharedSettings = &shared,
                                 .mainQueue = queue.get(),
                                 .notifications = &notifications};
      services.midiMapper = std::make_shared<ZRMidiMapper>(MidiMapperServices{.standardSettings = &standard});
      Counting<Unit> unit(services);
      while (unit.notices < 3) {
        queue->runDue(0);
        std::this_thread::yield();
      }
    }
  }
  // Changes settings of both stores and posts notices until the end.
  void stirUntil(const std::atomic<bool>& isEnding) {
    while (!isEnding) {
      const long round = ++rounds;
      standard.setInteger("midiChannel", round % 17);
      shared.setInteger("midiNotePriority", round % 3);
      notifications.post("presetImportSucesfull");
    }
  }

  SettingsStore standard;
  SettingsStore shared;
  NotificationCenter notifications;
  std::atomic<long> rounds{0};
};

TEST(UnitsOnThreads, ComeAndGoWhileSettingsChangeAndNoticesArePosted) {
  SharedSurroundings around;
  std::atomic<bool> isEnding{false};
  std::thread stirrer([&] { around.stirUntil(isEnding); });
  std::vector<std::thread> others;
  for (int i = 0; i < 2; ++i) others.emplace_back([&] { around.live<ShellOnly>(400); });

  around.live<OpenUnit>(3);
  for (std::thread& each : others) each.join();
  isEnding = true;
  stirrer.join();

  EXPECT_GT(around.rounds.load(), 100);
}

}  // namespace
}  // namespace morv
