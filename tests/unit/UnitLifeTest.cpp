// How a unit comes to be or fails to, and that it leaves nothing behind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

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

TEST(UnitLife, SaysThatAUnitIsBuiltAsTheFirstThingAfterItsBase) {
  UnitSurroundings around;
  std::vector<std::string> log;
  around.services.log = [&log](const std::string& line) { log.push_back(line); };

  const OpenUnit unit(around);

  EXPECT_THAT(log, ElementsAre("Initializing Audio Component: MORV"));
}

TEST(UnitLife, AServiceThatIsNeededAndMissingGivesNoUnit) {
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

TEST(UnitLife, AUnitIsMadeFromItsDescription) {
  UnitSurroundings around;
  std::string error = "none";

  const auto unit = ZQ3Unit::initWithComponentDescription({}, 0, around.services, &error);

  ASSERT_NE(unit, nullptr);
  EXPECT_EQ(unit->componentDescription().componentSubType, fourCharacterCode("morv"));
  EXPECT_EQ(error, "none");
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

TEST(UnitLife, AUnitWhoseOwnPartFailsLeavesNothing) {
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

TEST(UnitLife, AUnitThatGoesLeavesNothingOnTheMainQueue) {
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
  EXPECT_EQ(around.loggedLines().size(), lines);
  EXPECT_THAT(later.programs, IsEmpty());
  EXPECT_EQ(later.notices, 1);
}

// The queue's tokens count what is posted.
TEST(UnitLife, SettingsAndNoticesOfAUnitThatIsGoneReachNoQueue) {
  PresetSurroundings around;
  { const PresetUnit unit(around.services); }
  around.wait(1.0);
  const MainQueue::Token before = around.queue.post([] {});

  around.standard.setInteger("midiChannel", 4);
  around.suite.setDouble("midiMPEBendRange", 12.0);
  around.notifications.post("presetImportSucesfull");

  EXPECT_EQ(around.queue.post([] {}), before + 1);
}

TEST(UnitLife, ANewTreeIsToldOfAroundItsMaking) {
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

}  // namespace
}  // namespace morv
