#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "hosts/cli/PendingFile.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

void put(const PendingFile& file, const std::string& text) {
  ASSERT_EQ(write(file.descriptor(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string contentOf(const std::string& path) {
  const auto bytes = TemporaryFolder::read(path);
  return {bytes.begin(), bytes.end()};
}

TEST(PendingFile, AppearsWholeAtItsEnd) {
  const TemporaryFolder folder;
  auto file = PendingFile::create(folder.path("a.wav"));
  ASSERT_TRUE(file) << file.reason();
  put(**file, "sound");
  EXPECT_FALSE(std::filesystem::exists(folder.path("a.wav")));

  ASSERT_TRUE((*file)->commit());

  EXPECT_EQ(contentOf(folder.path("a.wav")), "sound");
  EXPECT_THAT(folder.names(), ElementsAre("a.wav"));
}

TEST(PendingFile, LeavesNothingWithoutItsEnd) {
  const TemporaryFolder folder;
  {
    auto file = PendingFile::create(folder.path("a.wav"));
    ASSERT_TRUE(file) << file.reason();
    put(**file, "sound");
    EXPECT_EQ(folder.names().size(), 1U);
  }

  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(PendingFile, KeepsTheOldFileUntilTheEnd) {
  const TemporaryFolder folder;
  folder.write("a.wav", std::string("old"));
  {
    auto file = PendingFile::create(folder.path("a.wav"));
    ASSERT_TRUE(file) << file.reason();
    put(**file, "new");
  }
  EXPECT_EQ(contentOf(folder.path("a.wav")), "old");

  auto file = PendingFile::create(folder.path("a.wav"));
  ASSERT_TRUE(file) << file.reason();
  put(**file, "new");
  ASSERT_TRUE((*file)->commit());

  EXPECT_EQ(contentOf(folder.path("a.wav")), "new");
  EXPECT_THAT(folder.names(), ElementsAre("a.wav"));
}

TEST(PendingFile, GivesTheResultTheModeOfAnyNewFile) {
  const TemporaryFolder folder;
  const mode_t before = umask(022);
  auto file = PendingFile::create(folder.path("a.wav"));
  ASSERT_TRUE(file) << file.reason();
  ASSERT_TRUE((*file)->commit());
  umask(before);

  struct stat status = {};
  ASSERT_EQ(stat(folder.path("a.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST(PendingFile, WritesThroughALink) {
  const TemporaryFolder folder;
  folder.write("real.wav", std::string("old"));
  std::filesystem::create_symlink("real.wav", folder.path("link.wav"));
  auto file = PendingFile::create(folder.path("link.wav"));
  ASSERT_TRUE(file) << file.reason();
  put(**file, "new");

  ASSERT_TRUE((*file)->commit());

  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.wav")));
  EXPECT_EQ(contentOf(folder.path("real.wav")), "new");
}

TEST(PendingFile, RefusesTargetsThatCannotBe) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path("sub"));

  EXPECT_THAT(PendingFile::create(folder.path("sub")).reason(), HasSubstr("is a directory"));
  EXPECT_THAT(PendingFile::create(folder.path("none/a.wav")).reason(),
              HasSubstr("No such file or directory"));
  EXPECT_THAT(PendingFile::create(folder.path("none/")).reason(), HasSubstr("names no file"));
  EXPECT_THAT(PendingFile::create("/dev/null").reason(), HasSubstr("/dev/null: is no plain file"));
  EXPECT_THAT(PendingFile::create(folder.path(std::string(5000, 'x'))).reason(),
              HasSubstr("cannot be written"));
  EXPECT_THAT(folder.names(), ElementsAre("sub"));
}

TEST(PendingFile, LeavesAWriteProtectedFileInItsPlace) {
  constexpr uid_t kNobody = 65534;
  const TemporaryFolder folder;
  const std::string path = folder.write("a.wav", std::string("old"));
  namespace fs = std::filesystem;
  fs::permissions(folder.path(""), fs::perms::all);
  fs::permissions(path, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // To the superuser no file is protected.
    if (geteuid() == 0 && seteuid(kNobody) != 0) _exit(2);
    const auto file = PendingFile::create(path);
    _exit(!file && file.reason() == path + ": cannot be written: Permission denied" ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);

  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(contentOf(path), "old");
  EXPECT_THAT(folder.names(), ElementsAre("a.wav"));
}

TEST(PendingFile, TakesTheLongestNameThatAFileMayBear) {
  const TemporaryFolder folder;
  const std::string name(255, 'x');
  auto file = PendingFile::create(folder.path(name));
  ASSERT_TRUE(file) << file.reason();

  ASSERT_TRUE((*file)->commit());

  EXPECT_THAT(folder.names(), ElementsAre(name));
  EXPECT_THAT(PendingFile::create(folder.path(name + "x")).reason(), HasSubstr("File name too long"));
  EXPECT_THAT(folder.names(), ElementsAre(name));
}

TEST(PendingFile, TellsOfATargetThatCannotBeReplaced) {
  const TemporaryFolder folder;
  auto file = PendingFile::create(folder.path("a.wav"));
  ASSERT_TRUE(file) << file.reason();
  std::filesystem::create_directory(folder.path("a.wav"));

  const auto committed = (*file)->commit();

  EXPECT_FALSE(committed);
  EXPECT_THAT(committed.reason(), HasSubstr("a.wav: cannot be written"));
  EXPECT_THAT(folder.names(), ElementsAre("a.wav"));
}

TEST(PendingFile, VanishesWhenASignalEndsTheProgram) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const TemporaryFolder folder;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const auto file = PendingFile::create(folder.path("a.wav"));
      raise(signal);
      _exit(file ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_THAT(folder.names(), IsEmpty());
  }
}

TEST(PendingFile, TakesBytesOneAfterTheOther) {
  const TemporaryFolder folder;
  auto file = PendingFile::create(folder.path("a.aupreset"));
  ASSERT_TRUE(file) << file.reason();

  ASSERT_TRUE((*file)->write("so"));
  ASSERT_TRUE((*file)->write(""));
  ASSERT_TRUE((*file)->write("und"));
  ASSERT_TRUE((*file)->commit());

  EXPECT_EQ(contentOf(folder.path("a.aupreset")), "sound");
}

}  // namespace
}  // namespace morv::cli
