#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include "platform/PropertyListFile.h"
#include "tests/unit/MapperFixture.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST_F(MidiMapper, HasNoTableWithoutFileAndTree) {
  EXPECT_FALSE(mapper_->mapping().has_value());
  EXPECT_EQ(mapper_->mappingForControl(7), -1);
  EXPECT_EQ(mapper_->controlForMapping(10), -1);
  EXPECT_FALSE(mapper_->handleMidiCC(7, 64, 1));
  EXPECT_EQ(mapper_->groupIdentifier(), "group.morv.MORV");
  EXPECT_EQ(mapper_->basePath(), services_.directories.data + "/MIDIMappings");
}

TEST_F(MidiMapper, OpensTheSettingsOfItsGroup) {
  std::filesystem::create_directories(services_.directories.configuration);
  folder_.write(
      "user/configuration/group.morv.MORV.plist",
      std::string("<plist version=\"1.0\"><dict><key>seen</key><integer>3</integer></dict></plist>"));
  open();

  EXPECT_EQ(mapper_->defaults()->integerForKey("seen"), 3);

  services_.directories = {};
  open();
  EXPECT_FALSE(mapper_->defaults()->has("seen"));
}

TEST_F(MidiMapper, MakesADefaultTableThatMapsNothingAndDoesNotWriteIt) {
  mapper_->setParameterTree(tree_);

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(11, -1), Pair(12, -1), Pair(13, -1)));
  EXPECT_FALSE(mapper_->handleMidiCC(11, 64, 1));
  EXPECT_EQ(mapper_->controlForMapping(10), -1);
  EXPECT_FALSE(readPropertyListFile(filePath()).ok());
}

TEST_F(MidiMapper, MovesAParameterByTheLawOfItsUnit) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(20, 10);
  mapper_->setMapping(21, 11);
  mapper_->setMapping(22, 12);

  for (const int data : {0, 1, 25, 26, 64, 126, 127}) {
    for (const int controller : {20, 21, 22}) EXPECT_TRUE(mapper_->handleMidiCC(controller, data, 1));
    const double n = data / 127.0;
    EXPECT_EQ(value("indexed"), std::floor(n * 5.0)) << data;
    EXPECT_NEAR(value("hertz"), 20.0 + std::pow(n, 4.0) * 20000.0, 0.01) << data;
    EXPECT_NEAR(value("other"), -1.0 + n * 2.0, 1e-6) << data;
  }
}

TEST_F(MidiMapper, AnIndexedParameterReachesItsMaximumAtTheVeryEndOnly) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(20, 10);

  mapper_->handleMidiCC(20, 126, 1);
  EXPECT_EQ(value("indexed"), 4.0F);
  mapper_->handleMidiCC(20, 127, 1);

  EXPECT_EQ(value("indexed"), 5.0F);
}

TEST_F(MidiMapper, TheChannelSettingAdmitsTheChannelBelowIt) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(22, 12);

  settings_.setInteger("midiChannel", 4);
  EXPECT_FALSE(mapper_->handleMidiCC(22, 127, 4));
  EXPECT_TRUE(mapper_->handleMidiCC(22, 127, 3));
  EXPECT_EQ(mapper_->midiCHannel(), 3);
  settings_.setInteger("midiChannel", 0);

  for (int channel = 0; channel <= 16; ++channel) EXPECT_TRUE(mapper_->handleMidiCC(22, 127, channel));
  EXPECT_EQ(mapper_->midiCHannel(), -1);
}

TEST_F(MidiMapper, StartsWithTheChannelOfTheSetting) {
  settings_.setInteger("midiChannel", 9);
  open();

  EXPECT_EQ(mapper_->midiCHannel(), 9);
  mapper_->setMidiCHannel(2);
  EXPECT_EQ(mapper_->midiCHannel(), 2);
}

TEST_F(MidiMapper, LearnsTheNextControllerWithoutMovingAnything) {
  mapper_->setParameterTree(tree_);
  mapper_->initiateMappingForParameter(12);
  EXPECT_TRUE(mapper_->isWaitingForMapping());
  EXPECT_EQ(mapper_->currentMappingParameter(), 12U);

  EXPECT_TRUE(mapper_->handleMidiCC(74, 127, 1));

  EXPECT_FALSE(mapper_->isWaitingForMapping());
  EXPECT_EQ(value("other"), 0.0F);
  EXPECT_EQ(mapper_->mappingForControl(74), 12);
  EXPECT_EQ(mapper_->controlForMapping(12), 74);
  EXPECT_EQ(changes_, 1);
  EXPECT_THAT(log_, ElementsAre("[MIDI] received mapping: CC:74 -> ADDR:12"));
}

TEST_F(MidiMapper, LearnModeOutlivesMessagesOfOtherChannels) {
  mapper_->setParameterTree(tree_);
  settings_.setInteger("midiChannel", 2);
  mapper_->initiateMappingForParameter(12);

  EXPECT_FALSE(mapper_->handleMidiCC(74, 127, 5));

  EXPECT_TRUE(mapper_->isWaitingForMapping());
  EXPECT_TRUE(mapper_->handleMidiCC(75, 127, 1));
  EXPECT_EQ(mapper_->controlForMapping(12), 75);
}

TEST_F(MidiMapper, AParameterThatLearnsAnewLeavesItsFormerControllerAtNothing) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(31, 0, 1);

  EXPECT_THAT(*mapper_->mapping(), Contains(Pair(30, -1)));
  EXPECT_EQ(mapper_->mappingForControl(30), -1);
  EXPECT_EQ(mapper_->controlForMapping(12), 31);
}

TEST_F(MidiMapper, LearningTakesAControllerAwayFromWhatItDrove) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 10);
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(30, 0, 1);

  EXPECT_EQ(mapper_->mappingForControl(30), 12);
  EXPECT_EQ(mapper_->controlForMapping(10), -1);
}

TEST_F(MidiMapper, LearnsOnControllerNothing) {
  mapper_->setParameterTree(tree_);
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(0, 5, 1);

  EXPECT_EQ(mapper_->controlForMapping(12), 0);
}

TEST_F(MidiMapper, AssigningRemovesTheFormerControllerAndPostsNothing) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);

  mapper_->setMapping(31, 12);

  EXPECT_EQ(mapper_->mapping()->count(30), 0U);
  EXPECT_EQ(mapper_->controlForMapping(12), 31);
  EXPECT_EQ(changes_, 0);
}

TEST_F(MidiMapper, AnEntryOfWhichOnlyTheLowHalfIsTheAddressReadsAsControllerNothing) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(31, (std::uint64_t{1} << 32U) + 50U);

  EXPECT_EQ(mapper_->controlForMapping(50), 0);
  EXPECT_EQ(mapper_->controlForMapping((std::uint64_t{1} << 32U) + 12U), -1);
  EXPECT_EQ(mapper_->controlForMapping(~std::uint64_t{0}), 0);  // the default table's keys hold -1
  EXPECT_EQ(mapper_->controlForMapping(99), -1);
}

TEST_F(MidiMapper, AssigningComparesLowHalves) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);

  mapper_->setMapping(31, (std::uint64_t{1} << 32U) + 12U);

  EXPECT_EQ(mapper_->mapping()->count(30), 0U);
}

TEST_F(MidiMapper, ChannelSettingsBeyondAllChannelsAdmitNobody) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(22, 12);

  settings_.setInteger("midiChannel", (std::int64_t{1} << 32U) + 3);
  for (int channel = 0; channel <= 16; ++channel)
    EXPECT_FALSE(mapper_->handleMidiCC(22, 127, channel)) << channel;
  settings_.setInteger("midiChannel", std::numeric_limits<std::int64_t>::min());

  EXPECT_TRUE(mapper_->handleMidiCC(22, 127, 5));
}

TEST_F(MidiMapper, TheTableOutlastsTheMapper) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 10);
  mapper_->initiateMappingForParameter(12);
  mapper_->handleMidiCC(40, 0, 1);

  openWithTree();

  EXPECT_THAT(*mapper_->mapping(),
              ElementsAre(Pair(11, -1), Pair(12, -1), Pair(13, -1), Pair(30, 10), Pair(40, 12)));
}

TEST_F(MidiMapper, AnUnreadableFileCountsAsMissing) {
  for (const char* content : {"nonsense", "<plist><array/></plist>"}) {
    folder_.write("user/data/MIDIMappings/default.midimap", std::string(content));
    ASSERT_EQ(TemporaryFolder::read(filePath()).size(), std::string(content).size());

    openWithTree();

    EXPECT_EQ(mapper_->mapping()->size(), 3U) << content;
  }
}

TEST_F(MidiMapper, LeavesOutEntriesThatAreNone) {
  folder_.write(
      "user/data/MIDIMappings/default.midimap",
      std::string(
          "<plist version=\"1.0\"><dict><key>x</key><integer>1</integer><key>1</key><string>1</string>"
          "<key>2</key><integer>-2</integer><key>3</key><integer>12</integer></dict></plist>"));

  openWithTree();

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(3, 12)));
}

TEST_F(MidiMapper, AFileThatCannotBeWrittenIsLoggedAndTheTableHolds) {
  services_.directories.data = folder_.write("file", std::string("in the way"));
  openWithTree();
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_TRUE(log_[0].starts_with("ERROR: "));

  mapper_->setMapping(30, 12);

  EXPECT_EQ(log_.back(), "error unable to write mapping file");
  EXPECT_EQ(mapper_->mappingForControl(30), 12);
}

TEST_F(MidiMapper, WithoutADataFolderLivesInMemory) {
  services_.directories = {};
  openWithTree();

  mapper_->setMapping(30, 12);

  EXPECT_EQ(mapper_->mappingForControl(30), 12);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(MidiMapper, ATreeThatGoesTakesItsParametersAlong) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);

  tree_.reset();

  EXPECT_FALSE(mapper_->handleMidiCC(30, 1, 1));
}

TEST(MidiMapperInAUnit, AControllerFromTheHostMovesItsParameterByTheMainQueue) {
  UnitSurroundings around;
  around.services.midiMapper =
      std::make_shared<ZRMidiMapper>(MidiMapperServices{.standardSettings = &around.standard});
  OpenUnit unit(around);
  AUParameter& cutoff = *unit.parameterTree()->parameterForKeyPath("morv.filterCutoff");
  around.services.midiMapper->setMapping(74, cutoff.address());
  const float before = cutoff.value();
  const std::uint8_t bytes[3] = {0xB0, 74, 127};

  unit.midiMonitorBlock()(0, 0, 3, bytes);
  EXPECT_EQ(cutoff.value(), before);
  around.queue.runDue(0);

  EXPECT_EQ(cutoff.value(), cutoff.maxValue());
}

}  // namespace
}  // namespace morv
