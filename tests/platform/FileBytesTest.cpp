#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/FileBytes.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(FileBytes, ReadsAPieceOfAFile) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a.bin", std::vector<std::uint8_t>{0, 1, 2, 253, 254, 255});

  EXPECT_THAT(readFileBytes(path, 0, 6), Optional(ElementsAre(0, 1, 2, 253, 254, 255)));
  EXPECT_THAT(readFileBytes(path, 2, 3), Optional(ElementsAre(2, 253, 254)));
  EXPECT_THAT(readFileBytes(path, 6, 0), Optional(IsEmpty()));
}

TEST(FileBytes, GivesNothingOfAFileThatIsShorterOrMissing) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a.bin", std::string("abc"));

  EXPECT_FALSE(readFileBytes(path, 0, 4));
  EXPECT_FALSE(readFileBytes(path, 3, 1));
  EXPECT_FALSE(readFileBytes(path, 1000, 1));
  EXPECT_FALSE(readFileBytes(folder.path("none"), 0, 0));
  EXPECT_FALSE(readFileBytes(folder.path(""), 0, 1));
}

TEST(FileBytes, ListsTheFilesOfAnExtensionByName) {
  const TemporaryFolder folder;
  for (const std::string name : {"b.wav", "a.wav", "c.WAV", "d.wave", "wav"})
    folder.write(name, std::string());

  EXPECT_THAT(filesWithExtension(folder.path(""), ".wav"),
              ElementsAre(folder.path("a.wav"), folder.path("b.wav")));
  EXPECT_THAT(filesWithExtension(folder.path("none"), ".wav"), IsEmpty());
}

}  // namespace
}  // namespace morv
