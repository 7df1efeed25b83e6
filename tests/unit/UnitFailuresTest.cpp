// Units whose construction fails on the way.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <future>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "tests/unit/FailingAllocation.h"
#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

// Settings that fail as the disk does when nobody expected it.
class FailingStore : public SettingsStore {
 public:
  Outcome update(const std::string& key, const Change& change) override {
    if (isFailing) throw std::runtime_error("out of everything");
    return SettingsStore::update(key, change);
  }
  bool isFailing = true;
};

TEST(UnitFailures, OneThatFailsHalfWayIsNotKnownAnywhere) {
  PresetSurroundings around;
  around.addFactoryPreset("[FACTORY]_PL_A", 0.5);
  FailingStore failing;
  around.services.sharedSettings = &failing;
  const std::int32_t kind = around.queue.addRenderHandler([](std::int32_t) {});

  EXPECT_THROW(const PresetUnit unit(around.services), std::runtime_error);

  EXPECT_EQ(around.queue.addRenderHandler([](std::int32_t) {}), kind + 1);
  failing.setDouble("midiMPEBendRange", 3.0);
  around.standard.setInteger("midiChannel", 3);
  around.notifications.post("presetImportSucesfull");
  around.wait(10.0);
  EXPECT_FALSE(around.standard.has("didInitAUPrefs"));
}

// How many folders the process watches.
int openWatches() {
  int watches = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry.path(), error).string().ends_with("inotify")) ++watches;
  }
  return watches;
}

// A migration that still waits on the background queue keeps the cloud, but not its watch.
TEST(UnitFailures, OneThatFailsBehindTheStartOfItsWatchWatchesNoMore) {
  PresetSurroundings around;
  std::filesystem::create_directories(around.folder.path("cloud"));
  around.suite.setString("cloudFolder", around.folder.path("cloud"));
  around.suite.setInteger("presetStorageLocation", 1);
  std::filesystem::create_directories(around.folder.path("resources/Packs/Broken"));
  around.folder.write("resources/Packs/Broken/[FACTORY]_PL_A.aupreset", std::string("no preset"));
  around.services.log = [main = std::this_thread::get_id()](const std::string& line) {
    const bool isInIt = line.find("Broken") != std::string::npos || line.find("PL_A") != std::string::npos;
    if (isInIt && std::this_thread::get_id() == main) throw std::runtime_error(line);
  };
  std::promise<void> letGo;
  around.background.post([&] { letGo.get_future().wait(); });

  EXPECT_THROW(const PresetUnit unit(around.services), std::runtime_error);

  EXPECT_EQ(openWatches(), 0);
  around.services.log = nullptr;
  letGo.set_value();
}

// Addresses given from below, and the process's own.
TEST(UnitFailures, OneThatRunsOutOfMemoryLeavesTheAddressCounterWhereItIs) {
  PresetSurroundings around;
  const ZQ3Unit unit(around.services);
  const std::uint32_t next = ZRDSPEntity::addr;
  int failures = 0;
  for (const auto first : {std::optional<std::uint32_t>(), std::optional(unit.firstAddress())}) {
    for (long allowed = 1; allowed < 100000; allowed += allowed / 2 + 1) {
      const FailingAllocation failing(allowed);
      try {
        const ZQ3Unit failed(around.services, first);
        if (!failing.hasFailed()) break;
      } catch (const std::bad_alloc&) {
        ++failures;
        EXPECT_EQ(ZRDSPEntity::addr, next) << "behind " << allowed << " allocations";
      }
      ZRDSPEntity::addr = next;
    }
    ZRDSPEntity::addr = next;
  }

  EXPECT_GT(failures, 20);
}

}  // namespace
}  // namespace morv
