#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"
#include "platform/PropertyListFile.h"
#include "platform/Random.h"
#include "tests/hosts/TemporaryFolder.h"
#include "tests/platform/ChildProcess.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr std::size_t kLimit = 1U << 24U;

std::string contentOf(const std::string& path) { return readWholeFile(path, kLimit).value(); }

TEST(AtomicFile, MakesAndReplacesAFileAndLeavesNothingElse) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a");

  ASSERT_TRUE(writeFileAtomically(path, "first"));
  EXPECT_EQ(contentOf(path), "first");
  ASSERT_TRUE(writeFileAtomically(path, std::string("se\0cond", 7)));

  EXPECT_EQ(contentOf(path), std::string("se\0cond", 7));
  EXPECT_THAT(folder.names(), ElementsAre("a"));
}

TEST(AtomicFile, KeepsThePermissionsOfTheFile) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a", std::string("old"));
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);

  ASSERT_TRUE(writeFileAtomically(path, "new"));

  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
}

TEST(AtomicFile, GivesANewFileWhatTheMaskAllows) {
  const TemporaryFolder folder;
  const mode_t before = ::umask(027);

  ASSERT_TRUE(writeFileAtomically(folder.path("a"), "new"));
  ::umask(before);

  EXPECT_EQ(fs::status(folder.path("a")).permissions(), fs::perms{0640});
}

TEST(AtomicFile, ReplacesTheTargetOfASymbolicLink) {
  const TemporaryFolder folder;
  const std::string target = folder.write("target", std::string("old"));
  fs::create_symlink("target", folder.path("link"));

  ASSERT_TRUE(writeFileAtomically(folder.path("link"), "new"));

  EXPECT_TRUE(fs::is_symlink(folder.path("link")));
  EXPECT_EQ(contentOf(target), "new");
}

TEST(AtomicFile, FailsWithAReasonWhereThereIsNoFolder) {
  const TemporaryFolder folder;

  const Outcome outcome = writeFileAtomically(folder.path("none/a"), "new");

  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.failure().systemError, ENOENT);
  EXPECT_THAT(outcome.reason(), HasSubstr("none/a: No such file"));
}

TEST(AtomicFile, LeavesNothingBehindWhenTheNameCannotBeTaken) {
  const TemporaryFolder folder;
  fs::create_directory(folder.path("a"));

  EXPECT_FALSE(writeFileAtomically(folder.path("a"), "new"));

  EXPECT_THAT(folder.names(), ElementsAre("a"));
}

TEST(AtomicFile, KeepsTheOldFileWhenTheNewOneDoesNotFit) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a", std::string("old"));
  ChildProcess child([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
    return writeFileAtomically(path, std::string(5000, 'x')).ok() ? 1 : 0;
  });

  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(contentOf(path), "old");
  EXPECT_THAT(folder.names(), ElementsAre("a"));
}

TEST(AtomicFile, IsWholeWheneverItIsReadAndWhenTheWriterIsKilled) {
  constexpr int kKills = 200;
  constexpr std::size_t kSize = 50000;
  const TemporaryFolder folder;
  const std::string path = folder.path("a");
  ASSERT_TRUE(writeFileAtomically(path, std::string(kSize, 'a')));
  const auto isWhole = [&] {
    const std::string content = contentOf(path);
    return content.size() == kSize && content == std::string(kSize, content[0]);
  };
  Random random(3);

  for (int i = 0; i < kKills; ++i) {
    ChildProcess writer([&] {
      ChildProcess::giveSign();
      for (char c = 'a';; c = static_cast<char>(c == 'z' ? 'a' : c + 1)) {
        if (!writeFileAtomically(path, std::string(kSize, c))) return 1;
      }
    });
    ASSERT_TRUE(writer.waitForSign());
    for (auto reads = static_cast<int>(random.unitDouble() * 30); reads >= 0; --reads) ASSERT_TRUE(isWhole());
    writer.kill();
    ASSERT_TRUE(isWhole());
  }
}

TEST(AtomicFile, KnowsItsTemporaryFilesAndRemovesOldOnes) {
  const TemporaryFolder folder;
  for (const std::string name : {".morv-12-0.tmp", ".morv-13-7.tmp", "a.tmp", ".morv-x"})
    folder.write(name, name);
  const auto twoHoursAgo = fs::file_time_type::clock::now() - std::chrono::hours(2);
  for (const std::string name : {".morv-12-0.tmp", "a.tmp", ".morv-x"})
    fs::last_write_time(folder.path(name), twoHoursAgo);

  removeStaleTemporaryFiles(folder.path(""));
  removeStaleTemporaryFiles(folder.path("none"));

  EXPECT_THAT(folder.names(), UnorderedElementsAre(".morv-13-7.tmp", "a.tmp", ".morv-x"));
  EXPECT_TRUE(isTemporaryFileName(".morv-13-7.tmp"));
  EXPECT_FALSE(isTemporaryFileName("a.tmp"));
}

TEST(AtomicFile, MakesFoldersAndRemovesFiles) {
  const TemporaryFolder folder;

  EXPECT_TRUE(makeFolder(folder.path("a/b/c")));
  EXPECT_TRUE(makeFolder(folder.path("a/b/c")));
  folder.write("a/file", std::string());
  EXPECT_FALSE(makeFolder(folder.path("a/file/d")));
  EXPECT_TRUE(removeFile(folder.path("a/file")));
  EXPECT_EQ(removeFile(folder.path("a/file")).failure().systemError, ENOENT);
  EXPECT_TRUE(fs::is_directory(folder.path("a/b/c")));
}

TEST(ReadWholeFile, ReadsUpToItsLimit) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a", std::string("12345"));

  EXPECT_EQ(readWholeFile(path, 5).value(), "12345");
  EXPECT_THAT(readWholeFile(path, 4).reason(), HasSubstr("longer than 4 bytes"));
  EXPECT_EQ(readWholeFile(folder.write("empty", std::string()), 0).value(), "");
}

TEST(ReadWholeFile, RefusesWhatIsNoRegularFile) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);

  EXPECT_EQ(readWholeFile(folder.path("none"), 5).failure().systemError, ENOENT);
  EXPECT_THAT(readWholeFile(folder.path(""), 5).reason(), HasSubstr("no regular file"));
  EXPECT_THAT(readWholeFile(folder.path("pipe"), 5).reason(), HasSubstr("no regular file"));
}

TEST(PropertyListFile, WritesAndReadsAValue) {
  const TemporaryFolder folder;
  const PropertyListValue value = PropertyListDictionary{{"a", 0.1}};

  ASSERT_TRUE(writePropertyListFile(folder.path("a.plist"), value));

  EXPECT_EQ(readPropertyListFile(folder.path("a.plist")).value(), value);
}

TEST(PropertyListFile, NamesTheFileInItsReasons) {
  const TemporaryFolder folder;
  const std::string damaged = folder.write("a.plist", std::string("<plist>\n<true>"));

  EXPECT_THAT(readPropertyListFile(damaged).reason(), HasSubstr("a.plist: line 2: "));
  EXPECT_EQ(readPropertyListFile(folder.path("none")).failure().systemError, ENOENT);
  EXPECT_THAT(writePropertyListFile(damaged, "\xFF").reason(), HasSubstr("a.plist: a string that XML"));
  EXPECT_EQ(contentOf(damaged), "<plist>\n<true>");
}

}  // namespace
}  // namespace morv
