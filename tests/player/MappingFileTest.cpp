#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "hosts/player/MappingFile.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::player {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

class MappingFileTest : public testing::Test {
 protected:
  Result<std::map<int, std::uint64_t>> read(const std::string& entries) const {
    return readMappingFile(folder_.write(
        "file.midimap",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + entries + "</plist>"));
  }
  static std::string entry(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key>" + value;
  }
  const TemporaryFolder folder_;
};

TEST_F(MappingFileTest, ReadsControllersAndTheirParameters) {
  const auto mapping = read("<dict>" + entry("74", "<integer>12</integer>") +
                            entry("1", "<integer>900</integer>") + "</dict>");

  ASSERT_TRUE(mapping.ok()) << mapping.reason();
  EXPECT_THAT(mapping.value(), ElementsAre(Pair(1, 900), Pair(74, 12)));
}

TEST_F(MappingFileTest, LeavesOutWhatDrivesNothingWhateverItsKey) {
  const auto mapping =
      read("<dict>" + entry("700", "<integer>-1</integer>") + entry("7", "<integer>-1</integer>") +
           entry("8", "<integer>0</integer>") + "</dict>");

  ASSERT_TRUE(mapping.ok()) << mapping.reason();
  EXPECT_THAT(mapping.value(), ElementsAre(Pair(8, 0)));
}

TEST_F(MappingFileTest, TellsWhatIsNoMapping) {
  EXPECT_THAT(read("<array></array>").reason(), HasSubstr("file.midimap: no dictionary of controllers"));
  EXPECT_THAT(read("<dict>" + entry("128", "<integer>1</integer>") + "</dict>").reason(),
              HasSubstr("file.midimap: '128' is no controller (0 to 127)"));
  EXPECT_THAT(read("<dict>" + entry("x", "<integer>1</integer>") + "</dict>").reason(),
              HasSubstr("'x' is no controller"));
  EXPECT_THAT(read("<dict>" + entry("7", "<string>1</string>") + "</dict>").reason(),
              HasSubstr("controller 7 has no parameter address"));
  EXPECT_THAT(read("<dict>" + entry("7", "<integer>-2</integer>") + "</dict>").reason(),
              HasSubstr("controller 7 has no parameter address"));
  EXPECT_THAT(
      read("<dict>" + entry("7", "<integer>5</integer>") + entry("9", "<integer>5</integer>") + "</dict>")
          .reason(),
      HasSubstr("controllers 7 and 9 both move parameter 5"));
  EXPECT_THAT(readMappingFile(folder_.path("none")).reason(), HasSubstr("none: No such file"));
}

}  // namespace
}  // namespace morv::player
