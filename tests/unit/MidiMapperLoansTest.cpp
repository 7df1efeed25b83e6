// The one mapper of a process, and the services and trees that units lend it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/PropertyListFile.h"
#include "tests/unit/MapperFixture.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// Services as a unit lends them.
class MidiMapperOfTheProcess : public MidiMapper {
 protected:
  const std::shared_ptr<ZRMidiMapper> shared_ = ZRMidiMapper::sharedObject();
};

TEST_F(MidiMapperOfTheProcess, IsOneObjectAsLongAsTheProcessLives) {
  const ZRMidiMapper* before = nullptr;
  {
    const auto held = ZRMidiMapper::sharedObject();
    held->initiateMappingForParameter(77);
    before = held.get();
  }

  EXPECT_EQ(ZRMidiMapper::sharedObject().get(), before);
  EXPECT_EQ(ZRMidiMapper::sharedObject()->currentMappingParameter(), 77U);
  EXPECT_TRUE(ZRMidiMapper::sharedObject()->isWaitingForMapping());
  shared_->setMidiCHannel(-1);
  EXPECT_TRUE(shared_->handleMidiCC(1, 0, 1));
  EXPECT_FALSE(shared_->isWaitingForMapping());
}

TEST_F(MidiMapperOfTheProcess, WorksInMemoryWithoutServices) {
  EXPECT_TRUE(shared_->basePath().empty());
  shared_->setMidiCHannel(-1);
  shared_->setParameterTree(tree_);
  shared_->setMapping(30, 12);

  EXPECT_TRUE(shared_->handleMidiCC(30, 127, 9));

  EXPECT_EQ(value("other"), 1.0F);
}

TEST_F(MidiMapperOfTheProcess, WorksWithTheServicesLentLast) {
  TemporaryFolder elsewhere;
  SettingsStore otherSettings;
  std::vector<std::string> otherLog;
  settings_.setInteger("midiChannel", 3);
  otherSettings.setInteger("midiChannel", 9);
  const auto first = shared_->lendServices(services_);
  EXPECT_EQ(shared_->midiCHannel(), 3);

  const auto second =
      shared_->lendServices({.standardSettings = &otherSettings,
                             .directories = Directories::under(elsewhere.path("user")),
                             .log = [&](const std::string& line) { otherLog.push_back(line); }});

  EXPECT_EQ(shared_->midiCHannel(), 9);
  EXPECT_EQ(shared_->basePath(), elsewhere.path("user/data/MIDIMappings"));
  shared_->initiateMappingForParameter(12);
  EXPECT_FALSE(shared_->handleMidiCC(5, 0, 2));
  EXPECT_TRUE(shared_->handleMidiCC(5, 0, 8));
  EXPECT_EQ(otherLog.size(), 1U);
  EXPECT_EQ(changes_, 0);
  EXPECT_THAT(log_, IsEmpty());

  shared_->takeBackServices(second);
  EXPECT_EQ(shared_->basePath(), services_.directories.data + "/MIDIMappings");
  shared_->initiateMappingForParameter(12);
  EXPECT_FALSE(shared_->handleMidiCC(6, 0, 8));
  EXPECT_TRUE(shared_->handleMidiCC(6, 0, 2));
  EXPECT_EQ(changes_, 1);
  shared_->takeBackServices(first);
}

TEST_F(MidiMapperOfTheProcess, UsesNoServicesThatWereTakenBack) {
  settings_.setInteger("midiChannel", 3);
  shared_->takeBackServices(shared_->lendServices(services_));
  settings_.setInteger("midiChannel", 5);

  shared_->initiateMappingForParameter(12);
  shared_->handleMidiCC(6, 0, 3);

  EXPECT_EQ(shared_->midiCHannel(), 3);
  EXPECT_EQ(shared_->controlForMapping(12), 6);
  EXPECT_EQ(changes_, 0);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(MidiMapperOfTheProcess, KeepsATableThatUnitsOfOneFolderShare) {
  const auto first = shared_->lendServices(services_);
  shared_->setMapping(30, 12);

  const auto second = shared_->lendServices(services_);
  shared_->takeBackServices(first);

  EXPECT_EQ(shared_->controlForMapping(12), 30);
  shared_->takeBackServices(second);
}

TEST_F(MidiMapperOfTheProcess, GoesBackToMemoryBehindTheLastLoan) {
  const auto loan = shared_->lendServices(services_);
  shared_->setMapping(30, 12);

  shared_->takeBackServices(loan);

  EXPECT_TRUE(shared_->basePath().empty());
  EXPECT_EQ(shared_->mappingForControl(30), -1);
  shared_->setMapping(31, 12);
  const auto file = readPropertyListFile(filePath());
  ASSERT_TRUE(file.ok());
  EXPECT_NE(file.value().dictionary()->find("30"), nullptr);
  EXPECT_EQ(file.value().dictionary()->find("31"), nullptr);
  const auto again = shared_->lendServices(services_);
  EXPECT_EQ(shared_->mappingForControl(30), 12);
  shared_->takeBackServices(again);
}

TEST_F(MidiMapperOfTheProcess, OpensTheSettingsOfALoanWithAnotherConfigurationFolderOnly) {
  const auto first = shared_->lendServices(services_);
  shared_->setMapping(30, 12);
  MidiMapperServices other = services_;
  other.directories.configuration = folder_.path("elsewhere");
  std::filesystem::create_directories(other.directories.configuration);
  folder_.write(
      "elsewhere/group.morv.MORV.plist",
      std::string("<plist version=\"1.0\"><dict><key>seen</key><integer>3</integer></dict></plist>"));

  const auto second = shared_->lendServices(other);

  EXPECT_EQ(shared_->defaults()->integerForKey("seen"), 3);
  EXPECT_EQ(shared_->basePath(), services_.directories.data + "/MIDIMappings");
  EXPECT_EQ(shared_->mappingForControl(30), 12);
  shared_->takeBackServices(second);
  EXPECT_FALSE(shared_->defaults()->has("seen"));
  EXPECT_EQ(shared_->mappingForControl(30), 12);
  shared_->takeBackServices(first);
}

TEST_F(MidiMapperOfTheProcess, WorksInMemoryWithALoanWithoutADataFolder) {
  const auto first = shared_->lendServices(services_);
  shared_->setMapping(30, 12);
  MidiMapperServices other = services_;
  other.directories.data.clear();

  const auto second = shared_->lendServices(other);

  EXPECT_TRUE(shared_->basePath().empty());
  EXPECT_EQ(shared_->mappingForControl(30), -1);
  shared_->setMapping(31, 12);
  shared_->takeBackServices(second);
  EXPECT_EQ(shared_->mappingForControl(30), 12);
  EXPECT_EQ(shared_->mappingForControl(31), -1);
  shared_->takeBackServices(first);
}

// The folder cannot be made, and the log that is to hear of it gives up.
TEST_F(MidiMapperOfTheProcess, ALoanThatFailsIsNone) {
  settings_.setInteger("midiChannel", 3);
  const auto first = shared_->lendServices(services_);
  shared_->setMapping(30, 12);
  SettingsStore otherSettings;
  otherSettings.setInteger("midiChannel", 9);
  MidiMapperServices broken{.standardSettings = &otherSettings,
                            .directories = services_.directories,
                            .log = [](const std::string&) { throw std::runtime_error("not today"); }};
  broken.directories.data = folder_.write("file", std::string("in the way"));

  EXPECT_THROW(shared_->lendServices(broken), std::runtime_error);

  EXPECT_EQ(shared_->basePath(), services_.directories.data + "/MIDIMappings");
  EXPECT_EQ(shared_->mappingForControl(30), 12);
  shared_->initiateMappingForParameter(12);
  EXPECT_TRUE(shared_->handleMidiCC(6, 0, 2));
  EXPECT_EQ(shared_->midiCHannel(), 2);
  EXPECT_EQ(changes_, 1);
  shared_->takeBackServices(first);
  EXPECT_TRUE(shared_->basePath().empty());
}

TEST_F(MidiMapper, FallsBackToTheTreeBeforeWhenTheLatestGoesOrIsTakenBack) {
  mapper_->setParameterTree(tree_);
  auto second = smallTree();
  const auto third = smallTree();
  mapper_->setParameterTree(second);
  mapper_->setParameterTree(third);
  mapper_->setMapping(30, 12);

  mapper_->takeBackParameterTree(third);
  EXPECT_TRUE(mapper_->handleMidiCC(30, 127, 1));
  EXPECT_EQ(second->parameterForKeyPath("g.other")->value(), 1.0F);
  EXPECT_EQ(value("other"), 0.0F);
  second.reset();
  EXPECT_TRUE(mapper_->handleMidiCC(30, 127, 1));
  EXPECT_EQ(value("other"), 1.0F);

  EXPECT_EQ(third->parameterForKeyPath("g.other")->value(), 0.0F);
  mapper_->takeBackParameterTree(tree_);
  mapper_->takeBackParameterTree(tree_);
  EXPECT_FALSE(mapper_->handleMidiCC(30, 0, 1));
  EXPECT_EQ(mapper_->mappingForControl(30), 12);
}

TEST_F(MidiMapper, ATreeThatIsSetAgainIsTheLatest) {
  const auto second = smallTree();
  mapper_->setParameterTree(tree_);
  mapper_->setParameterTree(second);
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);

  mapper_->handleMidiCC(30, 127, 1);

  EXPECT_EQ(value("other"), 1.0F);
  EXPECT_EQ(second->parameterForKeyPath("g.other")->value(), 0.0F);
}

TEST_F(MidiMapper, SettingNoTreeForgetsThemAll) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);

  mapper_->setParameterTree(nullptr);

  EXPECT_FALSE(mapper_->handleMidiCC(30, 127, 1));
  EXPECT_EQ(value("other"), 0.0F);
}

}  // namespace
}  // namespace morv
