#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "render/ZRDSPParameter.h"
#include "tests/unit/UnitSurroundings.h"
#include "unit/RenderCallbacks.h"
#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ShellOnly : public ZRAudioUnit {
 public:
  explicit ShellOnly(UnitSurroundings& surroundings) : ZRAudioUnit(surroundings.services) {}
  AUInternalRenderBlock internalRenderBlock() override { return {nullptr, this}; }
  const AUAudioUnitBusArray* outputBusses() const override { return &busses_; }
  void prefsChanged() override { ++notices; }

  int notices = 0;

 private:
  AUAudioUnitBusArray busses_{AUAudioUnitBusType::output, {}};
};

class RememberingDelegate : public ZRAudioUnitDelegate {
 public:
  void audioUnitDidTriggerVoiceForNote(ZRAudioUnit* unit, int note) override {
    told.emplace_back(unit, note);
  }
  std::vector<std::pair<ZRAudioUnit*, int>> told;
};

void describe(ZRDSPParameter& record, const std::string& identifier, int address, float least, float greatest,
              float value) {
  record.identifier = identifier;
  record.name = "Shown " + identifier;
  record.address = address;
  record.minValue = least;
  record.maxValue = greatest;
  record.unit = ZRDSPParameterUnit::hertz;
  record.flags = kExponentialDisplayFlags;
  record.valueStrings = {"A", "B"};
  record.value = value;
}

TEST(ZRAudioUnit, MakesAGroupAfterParameterRecords) {
  UnitSurroundings around;
  ShellOnly unit(around);
  ZRDSPParameter first;
  ZRDSPParameter second;
  describe(first, "cutoff", 20, 0, 1, 0.25F);
  describe(second, "mode", 22, 0, 2, 2.0F);

  const auto group = unit.createGroupWithId("morv", "MORV", {&first, &second}, 0);

  EXPECT_EQ(group->identifier(), "morv");
  EXPECT_EQ(group->displayName(), "MORV");
  ASSERT_EQ(group->children().size(), 2U);
  const AUParameter& cutoff = *group->children()[0];
  EXPECT_EQ(cutoff.identifier(), "cutoff");
  EXPECT_EQ(cutoff.displayName(), "Shown cutoff");
  EXPECT_EQ(cutoff.address(), 20U);
  EXPECT_EQ(cutoff.minValue(), 0.0F);
  EXPECT_EQ(cutoff.maxValue(), 1.0F);
  EXPECT_EQ(cutoff.unit(), 8);
  EXPECT_EQ(cutoff.flags(), 0x50000U);
  EXPECT_THAT(cutoff.valueStrings(), ElementsAre("A", "B"));
  EXPECT_EQ(cutoff.value(), 0.25F);
  EXPECT_EQ(group->children()[1]->address(), 22U);
  EXPECT_EQ(group->children()[1]->value(), 2.0F);
}

TEST(ZRAudioUnit, DropsValueStringsOfAParameterThatReachesBelowZero) {
  UnitSurroundings around;
  ShellOnly unit(around);
  ZRDSPParameter record;
  describe(record, "tone", 1, -1, 1, 0);

  const auto group = unit.createGroupWithId("morv", "MORV", {&record}, 0);

  EXPECT_THAT(group->children()[0]->valueStrings(), IsEmpty());
  EXPECT_EQ(record.valueStrings.size(), 2U);
}

TEST(ZRAudioUnit, AddsTheGroupsOffsetToAddresses) {
  UnitSurroundings around;
  ShellOnly unit(around);
  ZRDSPParameter record;
  describe(record, "tone", 7, 0, 1, 0);

  EXPECT_EQ(unit.createGroupWithId("a", "A", {&record}, 1000)->children()[0]->address(), 1007U);
}

TEST(ZRAudioUnit, RemembersItsGroupsInOrder) {
  UnitSurroundings around;
  ShellOnly unit(around);

  const auto first = unit.createGroupWithId("a", "A", {}, 0);
  const auto second = unit.createGroupWithId("b", "B", {}, 0);

  EXPECT_THAT(unit.parameterGroups(), ElementsAre(first, second));
}

TEST(ZRAudioUnit, HasAnEmptyTreeAndNoMatrixOfItsOwn) {
  UnitSurroundings around;
  ShellOnly unit(around);

  EXPECT_TRUE(unit.generateParameterTree()->allParameters().empty());
  EXPECT_EQ(unit.getModMatrix(), nullptr);
}

TEST(ZRAudioUnit, LetsTheMidiSettingsOfTheUserWinFromTheStart) {
  UnitSurroundings around;
  const ShellOnly unit(around);

  EXPECT_TRUE(unit.overridesMIDISettingParametersWithPrefs);
  EXPECT_FALSE(unit.isMuted());
  EXPECT_FALSE(unit.groupIdentifier().empty());
}

TEST(ZRAudioUnit, AnswersChangedSettingsOfBothStoresOnTheMainQueue) {
  UnitSurroundings around;
  ShellOnly unit(around);

  around.standard.setInteger("midiChannel", 3);
  around.shared.setDouble("midiMPEBendRange", 24.0);
  EXPECT_EQ(unit.notices, 0);
  around.queue.runDue(0);

  EXPECT_EQ(unit.notices, 2);
}

TEST(ZRAudioUnit, SavesNoRowsWithoutAMatrix) {
  UnitSurroundings around;
  ShellOnly unit(around);
  const PropertyListDictionary state{{"modMatrixDict", PropertyListDictionary{{"row", 1}}}, {"other", 2}};
  EXPECT_EQ(unit.fullState().find("modMatrixDict"), nullptr);

  unit.setFullState(&state);

  EXPECT_EQ(unit.fullState().find("modMatrixDict"), nullptr);
  EXPECT_EQ(unit.fullState().find("other")->integer(), 2);
  EXPECT_NE(OpenUnit(around).fullState().find("modMatrixDict"), nullptr);
}

TEST(ZRAudioUnit, UnmutesByClearingTheMuteFlag) {
  UnitSurroundings around;
  ShellOnly unit(around);
  unit.setIsMuted(true);

  unit.unmute();

  EXPECT_FALSE(unit.isMuted());
}

TEST(ZRAudioUnit, HandsControllersOnWithChannelsFromOne) {
  UnitSurroundings around;
  const auto mapper = std::make_shared<HearingMapper>(around);
  around.services.midiMapper = mapper;
  ShellOnly unit(around);
  const auto& monitor = unit.midiMonitorBlock();
  const std::array<std::uint8_t, 3> first{0xB0, 74, 99};
  const std::array<std::uint8_t, 3> last{0xBF, 1, 2};

  EXPECT_EQ(monitor(0, 0, 3, first.data()), 0);
  EXPECT_EQ(monitor(5, 0, 3, last.data()), 0);

  EXPECT_THAT(mapper->heard, IsEmpty());  // the render thread goes no further
  around.queue.runDue(0);
  EXPECT_THAT(mapper->heard, ElementsAre(std::tuple(74, 99, 1), std::tuple(1, 2, 16)));
}

TEST(ZRAudioUnit, HandsNoOtherMessageOn) {
  UnitSurroundings around;
  const auto mapper = std::make_shared<HearingMapper>(around);
  around.services.midiMapper = mapper;
  ShellOnly unit(around);
  const auto& monitor = unit.midiMonitorBlock();

  for (int status = 0x80; status <= 0xFF; ++status) {
    if ((status & 0xF0) == 0xB0) continue;
    const std::array<std::uint8_t, 3> bytes{static_cast<std::uint8_t>(status), 1, 2};
    EXPECT_EQ(monitor(0, 0, 3, bytes.data()), 0);
  }

  around.queue.runDue(0);
  EXPECT_THAT(mapper->heard, IsEmpty());
}

TEST(ZRAudioUnit, HandsNoCutMessageOn) {
  UnitSurroundings around;
  const auto mapper = std::make_shared<HearingMapper>(around);
  around.services.midiMapper = mapper;
  ShellOnly unit(around);
  const std::array<std::uint8_t, 3> bytes{0xB0, 74, 99};

  for (const std::uint16_t length : {0, 1, 2}) {
    EXPECT_EQ(unit.midiMonitorBlock()(0, 0, length, bytes.data()), 0);
  }
  around.queue.runDue(0);

  EXPECT_THAT(mapper->heard, IsEmpty());
}

TEST(ZRAudioUnit, BuildsItsMonitorOnce) {
  UnitSurroundings around;
  ShellOnly unit(around);

  const auto* first = &unit.midiMonitorBlock();
  ASSERT_TRUE(*first);

  EXPECT_EQ(&unit.midiMonitorBlock(), first);
}

TEST(ZRAudioUnit, TellsItsDelegateOfATriggeredVoiceOnTheMainQueue) {
  UnitSurroundings around;
  ShellOnly unit(around);
  RememberingDelegate delegate;
  unit.setDelegate(&delegate);

  voiceTriggered(60, 3, static_cast<ZRAudioUnit*>(&unit));
  EXPECT_THAT(delegate.told, IsEmpty());
  around.queue.runDue(0);

  EXPECT_THAT(delegate.told, ElementsAre(std::pair<ZRAudioUnit*, int>(&unit, 60)));
}

// Lines that wait in the process's ring, taken out of it.
std::vector<std::pair<std::string, int>> waitingLines() {
  std::vector<std::pair<std::string, int>> lines;
  for (DiagnosticRing::Line line; DiagnosticRing::shared().take(&line);) {
    lines.emplace_back(line.format, line.integers[0]);
  }
  return lines;
}

TEST(ZRAudioUnit, PrintsEachTriggeredVoiceWithAndWithoutADelegate) {
  UnitSurroundings around;
  ShellOnly unit(around);
  waitingLines();

  voiceTriggered(60, 3, static_cast<ZRAudioUnit*>(&unit));
  EXPECT_THAT(waitingLines(), IsEmpty());
  around.queue.runDue(0);

  EXPECT_THAT(waitingLines(), ElementsAre(std::pair<std::string, int>("did trigger note: %i\n", 60)));
}

TEST(ZRAudioUnit, OnlyLogsThatASettingChanged) {
  UnitSurroundings around;
  std::vector<std::string> log;
  around.services.log = [&log](const std::string& line) { log.push_back(line); };
  ShellOnly unit(around);
  waitingLines();

  unit.ZRAudioUnit::prefsChanged();

  EXPECT_THAT(log, ElementsAre("[ZRAUdioUnit] prefs changed"));
  EXPECT_THAT(waitingLines(), IsEmpty());
}

TEST(ZRAudioUnit, LeavesTheSlotForTriggeredVoicesEmpty) {
  UnitSurroundings around;
  OpenUnit unit(around);

  EXPECT_FALSE(unit.kernel().voiceTriggeredCallback);
  EXPECT_TRUE(unit.kernel().programChangeCallback);
  EXPECT_TRUE(unit.kernel().midiMonitorBlock);
  EXPECT_EQ(unit.kernel().owner, static_cast<ZRAudioUnit*>(&unit));
}

TEST(ZRAudioUnit, NeedsNoDelegate) {
  UnitSurroundings around;
  ShellOnly unit(around);
  ZRAudioUnitDelegate indifferent;

  voiceTriggered(60, 3, static_cast<ZRAudioUnit*>(&unit));
  around.queue.runDue(0);
  unit.setDelegate(&indifferent);
  voiceTriggered(61, 3, static_cast<ZRAudioUnit*>(&unit));
  around.queue.runDue(1);

  EXPECT_EQ(unit.delegate(), &indifferent);
}

}  // namespace
}  // namespace morv
