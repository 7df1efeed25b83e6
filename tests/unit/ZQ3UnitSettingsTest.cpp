#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

// Remembers what it held each time that it was brought to the disk.
class SynchronisedStore : public SettingsStore {
 public:
  explicit SynchronisedStore(std::vector<std::string> keys) : keys_(std::move(keys)) {}
  Outcome synchronize() override {
    std::map<std::string, double> values;
    for (const std::string& key : keys_) {
      if (has(key)) values[key] = doubleForKey(key);
    }
    synchronised.push_back(values);
    return Done{};
  }
  std::vector<std::map<std::string, double>> synchronised;

 private:
  std::vector<std::string> keys_;
};

class ZQ3UnitSynchronising : public testing::Test {
 protected:
  ZQ3UnitSynchronising() {
    around_.services.standardSettings = &standard_;
    around_.services.sharedSettings = &shared_;
  }
  using Values = std::map<std::string, double>;

  SynchronisedStore standard_{{"midiMode", "didInitAUPrefs", "midiNotePriority"}};
  SynchronisedStore shared_{{"midiMPEBendRange"}};
  UnitSurroundings around_;
};

TEST_F(ZQ3UnitSynchronising, BringsTheDefaultsOfTheFirstStartToTheDisk) {
  const OpenUnit unit(around_);

  EXPECT_THAT(standard_.synchronised,
              testing::ElementsAre(Values{{"midiMode", 1}, {"didInitAUPrefs", 1}, {"midiNotePriority", 0}}));
  EXPECT_THAT(shared_.synchronised, testing::ElementsAre(Values{{"midiMPEBendRange", 48}}));
}

TEST_F(ZQ3UnitSynchronising, ALaterStartBringsNothing) {
  standard_.setBool("didInitAUPrefs", true);

  const OpenUnit unit(around_);

  EXPECT_THAT(standard_.synchronised, testing::IsEmpty());
  EXPECT_THAT(shared_.synchronised, testing::IsEmpty());
}

TEST_F(ZQ3UnitSynchronising, AMissingBendRangeIsBroughtToTheDiskAndOneThatIsThereIsNot) {
  const OpenUnit unit(around_);
  around_.queue.runDue(0);
  shared_.synchronised.clear();

  shared_.setDouble("midiMPEBendRange", 12.0);
  around_.queue.runDue(1);
  EXPECT_THAT(shared_.synchronised, testing::IsEmpty());
  shared_.remove("midiMPEBendRange");
  around_.queue.runDue(2);

  EXPECT_THAT(shared_.synchronised, testing::ElementsAre(Values{{"midiMPEBendRange", 48}}));
}

// Remembers on which threads it was told of settings.
class ThreadUnit : public OpenUnit {
 public:
  using OpenUnit::OpenUnit;
  void prefsChanged() override {
    toldOn.push_back(std::this_thread::get_id());
    OpenUnit::prefsChanged();
  }
  std::vector<std::thread::id> toldOn;
};

TEST(ZQ3UnitSettings, AChangeOnAnotherThreadIsAnsweredOnTheMainQueue) {
  UnitSurroundings around;
  ThreadUnit unit(around);
  around.queue.runDue(0);
  unit.toldOn.clear();

  std::thread other([&around] { around.shared.setDouble("midiMPEBendRange", 7.0); });
  other.join();
  EXPECT_THAT(unit.toldOn, testing::IsEmpty());
  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 48.0F);
  around.queue.runDue(1);

  EXPECT_THAT(unit.toldOn, testing::ElementsAre(std::this_thread::get_id()));
  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 7.0F);
}

TEST(ZQ3UnitSettings, ALaterStartReadsNoBendRangeUntilANotice) {
  UnitSurroundings around;
  around.standard.setBool("didInitAUPrefs", true);
  around.shared.setDouble("midiMPEBendRange", 12.0);
  OpenUnit unit(around);

  around.queue.runDue(0);
  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 48.0F);
  around.standard.setInteger("midiChannel", 3);
  around.queue.runDue(1);

  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 12.0F);
}

TEST(ZQ3UnitSettings, WritesTheDefaultsAtTheFirstStart) {
  UnitSurroundings around;
  const OpenUnit unit(around);

  EXPECT_TRUE(around.standard.boolForKey("didInitAUPrefs"));
  EXPECT_TRUE(around.standard.boolForKey("midiMode"));
  EXPECT_EQ(around.standard.integerForKey("midiMode"), 1);
  EXPECT_TRUE(around.standard.has("midiNotePriority"));
  EXPECT_EQ(around.standard.integerForKey("midiNotePriority"), 0);
  EXPECT_EQ(around.shared.doubleForKey("midiMPEBendRange"), 48.0);
  EXPECT_FALSE(around.standard.has("midiChannel"));
}

TEST(ZQ3UnitSettings, KeepsAtALaterStartWhatTheUserSet) {
  UnitSurroundings around;
  { const OpenUnit first(around); }
  around.standard.setBool("midiMode", false);
  around.standard.setInteger("midiNotePriority", 2);
  around.shared.setDouble("midiMPEBendRange", 12.0);

  const OpenUnit second(around);

  EXPECT_FALSE(around.standard.boolForKey("midiMode"));
  EXPECT_EQ(around.standard.integerForKey("midiNotePriority"), 2);
  EXPECT_EQ(around.shared.doubleForKey("midiMPEBendRange"), 12.0);
}

TEST(ZQ3UnitSettings, HandsBendRangeAndNotePriorityToTheInstrumentOnTheMainQueue) {
  UnitSurroundings around;
  OpenUnit unit(around);
  around.queue.runDue(0);

  around.shared.setDouble("midiMPEBendRange", 24.0);
  around.shared.setInteger("midiNotePriority", 2);
  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 48.0F);
  around.queue.runDue(1);

  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 24.0F);
  EXPECT_EQ(unit.instrument().notePriority.load(), 2);
}

TEST(ZQ3UnitSettings, ReadsNoNotePriorityFromTheStandardStore) {
  UnitSurroundings around;
  OpenUnit unit(around);

  around.standard.setInteger("midiNotePriority", 2);
  around.queue.runDue(0);

  EXPECT_EQ(unit.instrument().notePriority.load(), 0);
}

TEST(ZQ3UnitSettings, AMissingBendRangeGivesZeroUntilTheNoticeOfItsDefault) {
  UnitSurroundings around;
  OpenUnit unit(around);
  around.queue.runDue(0);

  around.shared.remove("midiMPEBendRange");
  around.queue.runDue(1);
  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 0.0F);
  EXPECT_EQ(around.shared.doubleForKey("midiMPEBendRange"), 48.0);
  around.queue.runDue(2);

  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 48.0F);
}

TEST(ZQ3UnitSettings, ABendRangeThatIsNoFiniteNumberCountsAsMissing) {
  UnitSurroundings around;
  OpenUnit unit(around);
  around.queue.runDue(0);
  for (const double stored : {std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(), std::nan(""), 1e300}) {
    around.shared.setDouble("midiMPEBendRange", stored);

    unit.prefsChanged();

    EXPECT_EQ(unit.instrument().mpeBendRange.load(), 0.0F) << stored;
    EXPECT_EQ(around.shared.doubleForKey("midiMPEBendRange"), 48.0) << stored;
    around.queue.runDue(0);
    EXPECT_EQ(unit.instrument().mpeBendRange.load(), 48.0F) << stored;
  }
}

TEST(ZQ3UnitSettings, TellsWhatItIs) {
  UnitSurroundings around;
  const OpenUnit unit(around);

  EXPECT_EQ(unit.componentName(), "MORV");
  EXPECT_EQ(unit.audioUnitName(), "MORV");
  EXPECT_EQ(unit.audioUnitShortName(), "MORV");
  EXPECT_TRUE(unit.supportsMPE());
  EXPECT_TRUE(unit.isMusicDeviceOrEffect());
  EXPECT_EQ(unit.virtualMIDICableCount(), 1);
}

TEST(ZQ3UnitSettings, HasOneStereoOutputAndNoInput) {
  UnitSurroundings around;
  OpenUnit unit(around);

  EXPECT_EQ(unit.outputBusses()->busType(), AUAudioUnitBusType::output);
  EXPECT_THAT(unit.outputBusses()->busses(), testing::ElementsAre(unit.outputBus()));
  EXPECT_EQ(unit.outputBus()->format.sampleRate, 44100.0);
  EXPECT_EQ(unit.outputBus()->format.channelCount, 2U);
  EXPECT_EQ(unit.outputBus()->maximumChannelCount, 2U);
  EXPECT_EQ(unit.inputBusses(), nullptr);
  EXPECT_EQ(unit.midiModeParameter(), nullptr);
  EXPECT_EQ(unit.maximumFramesToRender(), 1024U);
}

TEST(ZQ3UnitSettings, GivesTheFirstVoicesMatrix) {
  UnitSurroundings around;
  OpenUnit unit(around);

  EXPECT_EQ(unit.getModMatrix(), unit.instrument().voices.front()->modMatrix.get());
  EXPECT_NE(unit.getModMatrix(), nullptr);
}

TEST(ZQ3UnitSettings, GatesTheFirstVoiceAlone) {
  UnitSurroundings around;
  OpenUnit unit(around);

  unit.setGate(1);

  EXPECT_EQ(unit.instrument().voices[0]->gate, 1);
  EXPECT_EQ(unit.instrument().voices[1]->gate, 0);
}

TEST(ZQ3UnitSettings, KeepsATempoForItselfAndTheKernel) {
  UnitSurroundings around;
  OpenUnit unit(around);
  EXPECT_EQ(unit.tempo(), 0.0F);
  EXPECT_EQ(unit.kernel().tempo.load(), 120.0F);

  unit.setTempo(97.5F);

  EXPECT_EQ(unit.tempo(), 97.5F);
  EXPECT_EQ(unit.kernel().tempo.load(), 97.5F);
}

}  // namespace
}  // namespace morv
