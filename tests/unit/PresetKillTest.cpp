// A process that dies in the middle of saving a preset.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/Random.h"
#include "tests/platform/ChildProcess.h"
#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

constexpr const char* kName = "[USER]_Saved";
constexpr double kOne = 0.25;
constexpr double kOther = 0.75;

double volumeOf(const PropertyListDictionary& state) {
  return *state.find("parameters")->dictionary()->find("morv")->dictionary()->find("volume")->number();
}

TEST(PresetKill, LeavesTheOldPresetOrTheNewOneAndNeverAMixture) {
  constexpr std::uint64_t kSeed = 4;
  PresetSurroundings around;
  auto unit = std::make_unique<PresetUnit>(around.services);
  AUParameter* volume = unit->parameterTree()->parameterForKeyPath("morv.volume");
  volume->setValue(static_cast<AUValue>(kOne));
  unit->writePresetWithName(kName, -1);
  Random random(kSeed);
  int changed = 0;
  double last = kOne;
  for (int i = 0; i < 200; ++i) {
    ChildProcess saver([&] {
      for (bool isOther = true;; isOther = !isOther) {
        volume->setValue(static_cast<AUValue>(isOther ? kOther : kOne));
        unit->saveChangesToCurrentPreset();
        if (isOther) ChildProcess::giveSign();
      }
      return 0;
    });
    ASSERT_TRUE(saver.waitForSign());
    std::this_thread::sleep_for(std::chrono::microseconds(static_cast<int>(random.unitDouble() * 20000)));
    saver.kill();

    const auto file = readPropertyListFile(around.documentOf(kName));
    ASSERT_TRUE(file.ok()) << file.reason() << ", seed " << kSeed << ", kill " << i;
    const double inFile = volumeOf(*file.value().dictionary());
    EXPECT_TRUE(inFile == kOne || inFile == kOther) << inFile;
    ASSERT_EQ(file.value().dictionary()->find("parameters")->dictionary()->size(), 4U);
    const SettingsSuite settings(around.folder.path("config"), "group.org.morv");
    const auto presets = settings.valueForKey("presets");
    ASSERT_TRUE(presets.has_value()) << "kill " << i;
    const double stored = volumeOf(*presets->dictionary()->find(kName)->dictionary());
    EXPECT_TRUE(stored == kOne || stored == kOther) << stored;
    changed += stored != last ? 1 : 0;
    last = stored;
  }

  EXPECT_GT(changed, 10);
}

}  // namespace
}  // namespace morv
