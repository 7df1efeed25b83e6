// One file for all units, whatever addresses their parameters have drawn.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "platform/PropertyListFile.h"
#include "tests/unit/MapperFixture.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

// What stands at 4 in a first unit stands at 11 in this one.
constexpr ZRMidiMapper::AddressShift kShift{4, 7};

class MidiMapperShift : public MidiMapper {
 protected:
  std::optional<std::int64_t> inFile(const char* controller) {
    const auto file = readPropertyListFile(filePath());
    EXPECT_TRUE(file.ok());
    const PropertyListValue* entry = file.ok() ? file.value().dictionary()->find(controller) : nullptr;
    return entry != nullptr ? entry->integer() : std::nullopt;
  }
  void openWithFile(const PropertyListDictionary& entries) {
    ASSERT_TRUE(writePropertyListFile(filePath(), entries).ok());
    openWithTree();
    mapper_->setAddressShift(kShift);
  }
};

TEST_F(MidiMapperShift, ReadsTheAddressesOfAFirstUnitAsItsOwn) {
  openWithFile({{"20", 4}, {"21", 5}, {"22", 3}, {"23", -1}});

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(20, 11), Pair(21, 12), Pair(22, 3), Pair(23, -1)));
  mapper_->setMidiCHannel(-1);
  EXPECT_TRUE(mapper_->handleMidiCC(21, 127, 1));
  EXPECT_EQ(value("other"), 1.0F);
}

TEST_F(MidiMapperShift, WritesItsAddressesAsThoseOfAFirstUnit) {
  openWithFile({});

  mapper_->setMapping(20, 12);
  mapper_->setMapping(21, 3);
  mapper_->initiateMappingForParameter(11);
  mapper_->handleMidiCC(22, 0, 1);

  EXPECT_THAT(inFile("20"), Optional(5));
  EXPECT_THAT(inFile("21"), Optional(3));
  EXPECT_THAT(inFile("22"), Optional(4));
  EXPECT_EQ(mapper_->mappingForControl(22), 11);
}

TEST_F(MidiMapperShift, GivesAnotherUnitTheSameParameters) {
  openWithFile({});
  ZRMidiMapper other(services_);
  other.setAddressShift({4, 100});

  mapper_->setMapping(20, 12);
  mapper_->setMapping(21, 2);
  other.reloadMapping();

  EXPECT_EQ(other.mappingForControl(20), 105);
  EXPECT_EQ(other.mappingForControl(21), 2);
}

// Between the addresses that are alike in all units and the least that this one has drawn lie none of its
// own.
TEST_F(MidiMapperShift, WritesNothingForAnAddressThatItCannotHave) {
  openWithFile({});

  mapper_->setMapping(20, 10);
  mapper_->setMapping(21, 4);

  EXPECT_THAT(inFile("20"), Optional(-1));
  EXPECT_THAT(inFile("21"), Optional(-1));
}

TEST_F(MidiMapperShift, TakesAnAddressBeyondAllNumbersForNothing) {
  openWithFile({{"20", std::numeric_limits<std::int64_t>::max()}});

  EXPECT_EQ(mapper_->mappingForControl(20), -1);
}

TEST_F(MidiMapperShift, KeepsItsTableWhenThereIsNoFileToReload) {
  openWithFile({{"20", 4}});
  ASSERT_TRUE(std::filesystem::remove(filePath()));

  mapper_->reloadMapping();

  EXPECT_EQ(mapper_->mappingForControl(20), 11);
}

}  // namespace
}  // namespace morv
