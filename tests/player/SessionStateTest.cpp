#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "hosts/player/SessionState.h"
#include "platform/PropertyListValue.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::player {
namespace {

TEST(SessionState, IsReadBackFromAFolderThatItMakes) {
  const TemporaryFolder folder;
  const std::string path = folder.path("song/MORV.nABC");
  const PropertyListValue name("Plain Saw");
  PropertyListDictionary state;
  state.set("name", name);

  ASSERT_TRUE(writeSessionState(path, state).ok());
  const auto read = readSessionState(path);

  ASSERT_TRUE(read.ok()) << read.reason();
  EXPECT_EQ(read.value(), state);
}

TEST(SessionState, IsNoneInANewSession) {
  const TemporaryFolder folder;

  const auto read = readSessionState(folder.path("new"));

  ASSERT_TRUE(read.ok()) << read.reason();
  EXPECT_FALSE(read.value().has_value());
  EXPECT_FALSE(std::filesystem::exists(folder.path("new")));
}

TEST(SessionState, IsAFailureIfItCannotBeReadOrWritten) {
  const TemporaryFolder folder;
  folder.write("state.plist", std::string("no list"));

  EXPECT_FALSE(readSessionState(folder.path("")).ok());
  EXPECT_FALSE(writeSessionState(folder.path("state.plist"), {}).ok()) << "a file stands in the way";
}

}  // namespace
}  // namespace morv::player
