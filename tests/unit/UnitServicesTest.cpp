// What units take from their surroundings and share through them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/unit/PresetSurroundings.h"
#include "tests/unit/UnitInstance.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST(UnitServices, AUnitWithoutAMapperOfItsOwnUsesTheOneOfTheProcess) {
  UnitSurroundings around;
  const OpenUnit one(around);
  const OpenUnit two(around);

  EXPECT_EQ(one.midiMapper(), ZRMidiMapper::sharedObject().get());
  EXPECT_EQ(two.midiMapper(), one.midiMapper());
}

TEST(UnitServices, AUnitUsesTheMapperItIsGiven) {
  UnitSurroundings around;
  around.services.midiMapper = std::make_shared<HearingMapper>(around);

  const OpenUnit unit(around);

  EXPECT_EQ(unit.midiMapper(), around.services.midiMapper.get());
  EXPECT_NE(unit.midiMapper(), ZRMidiMapper::sharedObject().get());
}

TEST(UnitServices, ControllersOfEveryUnitMoveTheParametersOfTheLatestOne) {
  TemporaryFolder folder;
  UnitInstance first(folder.path("user"));
  UnitInstance second(folder.path("user"));
  first.standard.setInteger("midiChannel", 0);
  second.standard.setInteger("midiChannel", 0);
  first.open();
  second.open();
  first.unit->midiMapper()->setMapping(74, second.cutoff().address());
  const float before = first.cutoff().value();

  first.sendController(74, 127);

  EXPECT_EQ(first.cutoff().value(), before);
  EXPECT_EQ(second.cutoff().value(), second.cutoff().maxValue());
}

TEST(UnitServices, UnitsWithTheirServicesMayGoInAnyOrder) {
  TemporaryFolder folder;
  const auto mapper = ZRMidiMapper::sharedObject();
  auto first = std::make_unique<UnitInstance>(folder.path("user"));
  auto second = std::make_unique<UnitInstance>(folder.path("user"));
  first->open();
  second->open();

  first.reset();
  mapper->initiateMappingForParameter(second->cutoff().address());
  second->standard.setInteger("midiChannel", 0);
  second->sendController(74, 1);
  EXPECT_THAT(second->log, Contains(testing::StartsWith("[MIDI] received mapping: CC:74")));
  second->sendController(74, 127);
  EXPECT_EQ(second->cutoff().value(), second->cutoff().maxValue());

  second->unit.reset();
  const std::size_t lines = second->log.size();
  mapper->initiateMappingForParameter(1);
  EXPECT_TRUE(mapper->handleMidiCC(75, 0, 1));
  EXPECT_EQ(second->log.size(), lines);
  second.reset();
  EXPECT_FALSE(mapper->handleMidiCC(74, 3, 1));
}

TEST(UnitServices, ReadTheChannelOfTheLatestUnitThatIsThere) {
  TemporaryFolder folder;
  UnitInstance first(folder.path("user"));
  UnitInstance second(folder.path("user"));
  first.standard.setInteger("midiChannel", 4);
  second.standard.setInteger("midiChannel", 9);
  first.open();
  second.open();
  const auto mapper = ZRMidiMapper::sharedObject();

  mapper->handleMidiCC(1, 0, 1);
  EXPECT_EQ(mapper->midiCHannel(), 8);
  second.unit.reset();
  mapper->handleMidiCC(1, 0, 1);

  EXPECT_EQ(mapper->midiCHannel(), 3);
}

TEST(UnitServices, ControllersMoveTheUnitThatIsLeftWhenTheLatestIsGoneOrHasFailed) {
  TemporaryFolder folder;
  UnitInstance first(folder.path("user"));
  UnitInstance second(folder.path("user"));
  first.standard.setInteger("midiChannel", 0);
  second.standard.setInteger("midiChannel", 0);
  first.open();
  second.open();
  first.sendController(1, 0);  // ends a learn mode that another test may have left on
  first.unit->midiMapper()->setMapping(74, first.cutoff().address());
  // Whoever keeps the tree keeps the engine, but no controllers.
  const auto kept = second.unit->tree();
  const AUParameter& keptCutoff = *kept->parameterForKeyPath("morv.filterCutoff");
  const float before = keptCutoff.value();

  second.unit.reset();

  first.sendController(74, 127);
  EXPECT_EQ(first.cutoff().value(), first.cutoff().maxValue());
  EXPECT_EQ(keptCutoff.value(), before);

  class BrokenUnit : public OpenUnit {
   public:
    explicit BrokenUnit(const AudioUnitServices& services) : OpenUnit(services) {
      throw std::runtime_error("not today");
    }
  };
  EXPECT_THROW(const BrokenUnit broken(second.services), std::runtime_error);
  first.sendController(74, 0);
  EXPECT_EQ(first.cutoff().value(), first.cutoff().minValue());
}

TEST(UnitServices, TheMapperIsOnItsOwnBehindTheLastUnit) {
  TemporaryFolder folder;
  UnitInstance instance(folder.path("user"));
  const auto mapper = ZRMidiMapper::sharedObject();
  instance.open();
  EXPECT_EQ(mapper->basePath(), instance.services.directories.data + "/MIDIMappings");
  mapper->setMapping(74, instance.cutoff().address());

  instance.unit.reset();

  EXPECT_TRUE(mapper->basePath().empty());
  EXPECT_EQ(mapper->mappingForControl(74), -1);
}

TEST(UnitServices, WithoutABackgroundQueueThereIsNoCloud) {
  PresetSurroundings around;
  around.suite.setInteger("presetStorageLocation", 1);
  around.suite.setString("cloudFolder", around.folder.path("cloud"));
  std::filesystem::create_directories(around.folder.path("cloud"));
  around.services.backgroundQueue = nullptr;

  PresetUnit unit(around.services);

  EXPECT_FALSE(unit.iCloudIsAvailable());
  EXPECT_FALSE(unit.setStorageLocation(1));
  EXPECT_EQ(unit.iCloudBaseFolder(), "");
  EXPECT_FALSE(std::filesystem::exists(around.folder.path("cloud/Documents")));
}

TEST(UnitServices, KnowTheFolderAndTheSuiteOfTheGroup) {
  PresetSurroundings around;
  const PresetUnit unit(around.services);

  EXPECT_EQ(unit.groupFolderPath(), around.services.directories.data);
  EXPECT_EQ(unit.groupIdentifier(), "group.org.morv");
  EXPECT_EQ(&unit.defaults(), &around.suite);
}

TEST(UnitServices, AnImportFromAnyThreadIsAnsweredOnTheMainQueue) {
  PresetSurroundings around;
  around.addFactoryPreset("[FACTORY]_PL_A", 0.5);
  PresetUnit unit(around.services);
  around.wait(1.0);
  around.addFactoryPreset("[FACTORY]_PL_B", 0.5);

  std::thread other([&around] { around.notifications.post("presetImportSucesfull"); });
  other.join();
  EXPECT_THAT(namesOf(unit.factoryPresets()), ElementsAre("[FACTORY]_PL_A"));
  around.wait(0.0);

  EXPECT_THAT(namesOf(unit.factoryPresets()), ElementsAre("[FACTORY]_PL_A", "[FACTORY]_PL_B"));
}

}  // namespace
}  // namespace morv
