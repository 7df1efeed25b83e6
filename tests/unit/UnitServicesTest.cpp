// What units take from their surroundings, share through them, and leave behind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Moment = KeyValueObservers::Moment;

// What a unit did, told to somebody who outlives it.
struct Deeds {
  int notices = 0;
  std::vector<int> programs;
};

class TellingUnit : public OpenUnit {
 public:
  TellingUnit(const AudioUnitServices& services, Deeds& deeds) : OpenUnit(services), deeds_(deeds) {}
  using OpenUnit::buildParameterTree;
  void prefsChanged() override {
    ++deeds_.notices;
    OpenUnit::prefsChanged();
  }
  void setCurrentPresetWithIndex(std::int32_t index) override { deeds_.programs.push_back(index); }

 private:
  Deeds& deeds_;
};

// A set of services with folders in a place of its own.
struct Instance {
  explicit Instance(const std::string& folder) {
    services.directories = Directories::under(folder);
    services.log = [this](const std::string& line) { log.push_back(line); };
    services.notifications = &notifications;
  }
  SettingsStore standard;
  SettingsStore shared;
  MainQueue queue;
  NotificationCenter notifications;
  std::vector<std::string> log;
  AudioUnitServices services{.standardSettings = &standard, .sharedSettings = &shared, .mainQueue = &queue};
  std::unique_ptr<OpenUnit> unit;

  void open() { unit = std::make_unique<OpenUnit>(services); }
  void sendController(std::uint8_t controller, std::uint8_t value) {
    const std::array<std::uint8_t, 3> bytes{0xB0, controller, value};
    unit->midiMonitorBlock()(0, 0, 3, bytes.data());
    queue.runDue(0);
  }
  AUParameter& cutoff() const { return *unit->parameterTree()->parameterForKeyPath("morv.filterCutoff"); }
};

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
  Instance first(folder.path("user"));
  Instance second(folder.path("user"));
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
  auto first = std::make_unique<Instance>(folder.path("user"));
  auto second = std::make_unique<Instance>(folder.path("user"));
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
  Instance first(folder.path("user"));
  Instance second(folder.path("user"));
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

TEST(UnitServices, UnitsComeAndGoOnSeveralThreadsWhileControllersMove) {
  TemporaryFolder folder;
  const auto live = [&folder] {
    for (int i = 0; i < 3; ++i) {
      Instance instance(folder.path("user"));
      instance.open();
      instance.unit->midiMapper()->setMapping(20, instance.cutoff().address());
      for (std::uint8_t value = 0; value < 100; ++value) instance.sendController(20, value);
    }
  };

  std::thread other(live);
  live();
  other.join();

  EXPECT_GE(ZRMidiMapper::sharedObject()->mappingForControl(20), 0);
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

TEST(UnitServices, SayThatAUnitIsBuiltAsTheFirstThingAfterItsBase) {
  UnitSurroundings around;
  std::vector<std::string> log;
  around.services.log = [&log](const std::string& line) { log.push_back(line); };

  const OpenUnit unit(around);

  EXPECT_THAT(log, ElementsAre("Initializing Audio Component: MORV"));
}

TEST(UnitServices, AServiceThatIsNeededAndMissingGivesNoUnit) {
  UnitSurroundings around;
  std::vector<std::string> log;
  for (const int missing : {0, 1, 2}) {
    AudioUnitServices services = around.services;
    services.log = [&log](const std::string& line) { log.push_back(line); };
    if (missing == 0) services.standardSettings = nullptr;
    if (missing == 1) services.sharedSettings = nullptr;
    if (missing == 2) services.mainQueue = nullptr;
    std::string error;
    log.clear();

    EXPECT_EQ(ZQ3Unit::initWithComponentDescription({}, 0, services, &error), nullptr);

    EXPECT_FALSE(error.empty());
    EXPECT_THAT(log, ElementsAre("Initializing Audio Component: MORV",
                                 "[ERROR] Unable to init Audio Unit Component: MORV"));
    EXPECT_THROW(const OpenUnit unit(services), std::invalid_argument);
  }
}

TEST(UnitServices, AUnitIsMadeFromItsDescription) {
  UnitSurroundings around;
  std::string error = "none";

  const auto unit = ZQ3Unit::initWithComponentDescription({}, 0, around.services, &error);

  ASSERT_NE(unit, nullptr);
  EXPECT_EQ(unit->componentDescription().componentSubType, fourCharacterCode("morv"));
  EXPECT_EQ(error, "none");
}

// Settings that fail as the disk does when nobody expected it.
class FailingStore : public SettingsStore {
 public:
  Outcome update(const std::string& key, const Change& change) override {
    if (isFailing) throw std::runtime_error("out of everything");
    return SettingsStore::update(key, change);
  }
  bool isFailing = true;
};

TEST(UnitServices, AUnitThatFailsHalfWayIsNotKnownAnywhere) {
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

// The base stands already when the derived part fails.
class BrokenUnit : public TellingUnit {
 public:
  BrokenUnit(const AudioUnitServices& services, Deeds& deeds) : TellingUnit(services, deeds) {
    postProgramChange(7);
    services.standardSettings->setInteger("midiChannel", 2);
    throw std::runtime_error("not today");
  }
};

TEST(UnitServices, AUnitWhoseOwnPartFailsLeavesNothing) {
  UnitSurroundings around;
  Deeds deeds;

  EXPECT_THROW(const BrokenUnit unit(around.services, deeds), std::runtime_error);
  around.standard.setInteger("midiChannel", 4);
  around.queue.runDue(5.0);

  EXPECT_EQ(deeds.notices, 0);
  EXPECT_THAT(deeds.programs, IsEmpty());
}

class CountingDelegate : public ZRAudioUnitDelegate {
 public:
  void audioUnitDidTriggerVoiceForNote(ZRAudioUnit*, int) override { ++calls; }
  void audioUnitWillChangePreset(ZRAudioUnit*, const AUAudioUnitPreset*) override { ++calls; }
  void audioUnitDidChangePreset(ZRAudioUnit*, const AUAudioUnitPreset*) override { ++calls; }
  int calls = 0;
};

TEST(UnitServices, AUnitThatGoesLeavesNothingOnTheMainQueue) {
  PresetSurroundings around;
  const auto mapper =
      std::make_shared<ZRMidiMapper>(MidiMapperServices{.standardSettings = &around.standard});
  around.services.midiMapper = mapper;
  Deeds deeds;
  Deeds later;
  CountingDelegate delegate;
  int sent = 0;
  auto unit = std::make_unique<TellingUnit>(around.services, deeds);
  around.wait(1.0);
  deeds = {};
  unit->setDelegate(&delegate);
  unit->midiOutputEventBlock = [&sent](AUEventSampleTime, std::uint8_t, std::size_t, const std::uint8_t*) {
    return ++sent;
  };
  mapper->initiateMappingForParameter(20);
  const std::array<std::uint8_t, 3> controller{0xB0, 74, 99};

  // Everything that a unit ever leaves with the queue.
  unit->postVoiceTriggered(60);
  unit->postProgramChange(5);
  unit->midiMonitorBlock()(0, 0, 3, controller.data());
  around.standard.setInteger("midiChannel", 0);
  around.suite.setDouble("midiMPEBendRange", 12.0);
  around.notifications.post("presetImportSucesfull");
  const PropertyListDictionary refused{{"parameters", 1}};
  unit->setFullState(&refused);
  unit->setCurrentPreset(AUAudioUnitPreset{"[FACTORY]_PL_A", 0});
  unit->outputMIDINote(60);
  unit->iCloudDataChanged();
  unit->startRandomPresetTest();
  unit.reset();
  const std::size_t lines = around.loggedLines().size();
  TellingUnit successor(around.services, later);
  around.standard.setInteger("midiChannel", 4);
  for (int i = 0; i < 20; ++i) around.wait(1.0);

  EXPECT_EQ(deeds.notices, 0);
  EXPECT_THAT(deeds.programs, IsEmpty());
  EXPECT_EQ(delegate.calls, 0);
  EXPECT_EQ(sent, 1);
  EXPECT_TRUE(mapper->isWaitingForMapping());
  EXPECT_EQ(around.loggedLines().size(), lines + 1);  // the successor's own
  EXPECT_THAT(later.programs, IsEmpty());
  EXPECT_EQ(later.notices, 1);
}

TEST(UnitServices, ANewTreeIsToldOfAroundItsMaking) {
  UnitSurroundings around;
  Deeds deeds;
  TellingUnit unit(around.services, deeds);
  const AUParameterTree* before = unit.parameterTree();
  const std::size_t groups = unit.parameterGroups().size();
  std::vector<Moment> moments;
  std::vector<const AUParameterTree*> trees;
  std::vector<std::size_t> groupsThen;
  unit.keyValueObservers().add("parameterTree", [&](Moment moment) {
    moments.push_back(moment);
    trees.push_back(unit.parameterTree());
    groupsThen.push_back(unit.parameterGroups().size());
  });

  unit.buildParameterTree();

  EXPECT_THAT(moments, ElementsAre(Moment::willChange, Moment::didChange));
  EXPECT_EQ(trees.front(), before);
  EXPECT_EQ(trees.back(), unit.parameterTree());
  EXPECT_NE(trees.back(), before);
  EXPECT_THAT(groupsThen, ElementsAre(groups, 2 * groups));
  EXPECT_EQ(unit.outputVolumeParameter(), unit.parameterTree()->parameterForKeyPath("morv.volume"));
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
