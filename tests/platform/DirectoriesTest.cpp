#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "platform/Directories.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv {
namespace {

Directories::Lookup environment(std::map<std::string, std::string> variables) {
  return [variables](const std::string& name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found != variables.end() ? std::optional(found->second) : std::nullopt;
  };
}

TEST(Directories, LieInTheHomeFolderByDefault) {
  const auto directories = Directories::ofUser(environment({{"HOME", "/nowhere/ada"}}));

  EXPECT_EQ(directories.configuration, "/nowhere/ada/.config/morv");
  EXPECT_EQ(directories.data, "/nowhere/ada/.local/share/morv");
  EXPECT_EQ(directories.documents, "/nowhere/ada/Documents/MORV");
  EXPECT_EQ(directories.locks, "/nowhere/ada/.cache/morv/locks");
}

TEST(Directories, FollowTheVariablesOfTheEnvironment) {
  const auto directories = Directories::ofUser(environment({{"HOME", "/nowhere/ada"},
                                                            {"XDG_CONFIG_HOME", "/c"},
                                                            {"XDG_DATA_HOME", "/d"},
                                                            {"XDG_DOCUMENTS_DIR", "/p"},
                                                            {"XDG_CACHE_HOME", "/h"},
                                                            {"XDG_RUNTIME_DIR", "/r"}}));

  EXPECT_EQ(directories.configuration, "/c/morv");
  EXPECT_EQ(directories.data, "/d/morv");
  EXPECT_EQ(directories.documents, "/p/MORV");
  EXPECT_EQ(directories.locks, "/r/morv/locks");
}

TEST(Directories, TakePathsThatAreNotAbsoluteForNotSet) {
  const auto directories = Directories::ofUser(
      environment({{"HOME", "/nowhere/ada"}, {"XDG_CONFIG_HOME", ""}, {"XDG_DATA_HOME", "share"}}));

  EXPECT_EQ(directories.configuration, "/nowhere/ada/.config/morv");
  EXPECT_EQ(directories.data, "/nowhere/ada/.local/share/morv");
}

TEST(Directories, FindTheDocumentsWhereTheUsersFoldersAreNamed) {
  const TemporaryFolder folder;
  folder.write("user-dirs.dirs", std::string("# comment\nXDG_MUSIC_DIR=\"$HOME/Musik\"\n"
                                             "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"));
  const auto variables = environment({{"HOME", "/nowhere/ada"}, {"XDG_CONFIG_HOME", folder.path("")}});

  EXPECT_EQ(Directories::ofUser(variables).documents, "/nowhere/ada/Dokumente/MORV");
  folder.write("user-dirs.dirs", std::string("XDG_DOCUMENTS_DIR=\"/papers\"\n"));
  EXPECT_EQ(Directories::ofUser(variables).documents, "/papers/MORV");
  folder.write("user-dirs.dirs", std::string("XDG_DOCUMENTS_DIR=\"papers\"\nXDG_DOCUMENTS_DIR=\""));
  EXPECT_EQ(Directories::ofUser(variables).documents, "/nowhere/ada/Documents/MORV");
}

TEST(Directories, HaveAHomeWithoutTheEnvironment) {
  EXPECT_EQ(Directories::ofUser(environment({})).configuration.front(), '/');
}

TEST(Directories, LieUnderOneFolderForTests) {
  const auto directories = Directories::under("/nowhere");

  EXPECT_EQ(directories.configuration, "/nowhere/configuration");
  EXPECT_EQ(directories.data, "/nowhere/data");
  EXPECT_EQ(directories.documents, "/nowhere/documents");
  EXPECT_EQ(directories.locks, "/nowhere/locks");
  EXPECT_EQ(directories.resources, "/nowhere/resources");
}

TEST(Directories, FindTheResourcesNearTheLibrary) {
  const TemporaryFolder folder;
  const auto near = [&](const std::string& library, const std::string& resources) {
    const std::filesystem::path root = folder.path("root");
    std::filesystem::create_directories(root / library);
    std::filesystem::create_directories(root / resources);
    const std::string found = Directories::resourcesNear((root / library).string());
    const bool isRight = found == (root / resources).string();
    std::filesystem::remove_all(root);
    return isRight;
  };

  EXPECT_TRUE(near("morv.lv2", "morv.lv2/resources"));
  EXPECT_TRUE(near("lib", "share/morv"));
  EXPECT_TRUE(near("lib/x86_64-linux-gnu", "share/morv"));
  EXPECT_TRUE(near("lib/x86_64-linux-gnu/morv", "share/morv"));
  EXPECT_TRUE(near("build/release/lib", "resources"));
  EXPECT_EQ(Directories::resourcesNear(folder.path("")), "");
}

TEST(Directories, FindTheResourcesOfThisBuild) {
  EXPECT_TRUE(std::filesystem::exists(Directories::resourcesOfLibrary() + "/demo/demo.mid"));
}

}  // namespace
}  // namespace morv
