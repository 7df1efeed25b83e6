#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/AtomicFile.h"
#include "platform/CloudContainer.h"
#include "platform/PropertyListFile.h"
#include "tests/hosts/TemporaryFolder.h"
#include "tests/platform/ChildProcess.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::chrono::seconds kLongWait{20};  // ends a test that would wait for ever
constexpr std::size_t kLimit = 1000;

class CloudContainerTest : public testing::Test {
 protected:
  CloudContainerTest() {
    fs::create_directory(cloud());
    settings_.setString("cloudFolder", cloud());
  }
  std::string cloud(const std::string& name = "") const {
    const std::string folder = fs::canonical(folder_.path("")).string() + "/cloud";
    return name.empty() ? folder : folder + "/" + name;
  }
  // Counts the calls of a watch.
  FolderWatch::Listener counting() {
    return [this] {
      {
        const std::lock_guard lock(mutex_);
        ++calls_;
      }
      told_.notify_all();
    };
  }
  // Waits for the next call, and then until what it stands for satisfies the condition.
  template <typename Condition>
  bool waitUntil(Condition condition) {
    std::unique_lock lock(mutex_);
    return told_.wait_for(lock, kLongWait, [&] { return calls_ > 0 && condition(); });
  }
  int calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

  TemporaryFolder folder_;
  SettingsStore settings_;
  FileCoordinator coordinator_{folder_.path("locks")};
  std::mutex mutex_;
  std::condition_variable told_;
  int calls_ = 0;
  CloudContainer container_{settings_, coordinator_};  // ends its watch ahead of what the watch uses
};

TEST_F(CloudContainerTest, IsPresentAsLongAsTheChosenFolderIsThere) {
  EXPECT_EQ(container_.path(), cloud());

  fs::remove(cloud());
  EXPECT_FALSE(container_.path());
  EXPECT_FALSE(container_.identityToken());
  fs::create_directory(cloud());
  EXPECT_TRUE(container_.path());
}

TEST_F(CloudContainerTest, IsAbsentUnlessAnAbsoluteFolderIsChosen) {
  settings_.remove("cloudFolder");
  EXPECT_FALSE(container_.path());
  settings_.setString("cloudFolder", "cloud");
  EXPECT_FALSE(container_.path());
  settings_.setString("cloudFolder", folder_.write("file", std::string()));
  EXPECT_FALSE(container_.path());
}

TEST_F(CloudContainerTest, HasATokenOfTheFolder) {
  const auto token = container_.identityToken();
  ASSERT_TRUE(token);
  fs::create_symlink("cloud", folder_.path("link"));
  fs::create_directory(folder_.path("other"));

  EXPECT_EQ(container_.identityToken(), token);
  settings_.setString("cloudFolder", folder_.path("link"));
  EXPECT_EQ(container_.identityToken(), token);
  settings_.setString("cloudFolder", folder_.path("other"));
  EXPECT_TRUE(container_.identityToken());
  EXPECT_NE(container_.identityToken(), token);
}

TEST_F(CloudContainerTest, WritesReadsListsAndRemovesFiles) {
  const std::string presets = cloud("Documents/Presets");
  ASSERT_TRUE(container_.makeFolder(presets));
  ASSERT_TRUE(container_.makeFolder(presets));

  ASSERT_TRUE(container_.write(presets + "/b", "first"));
  ASSERT_TRUE(container_.write(presets + "/b", "second"));
  ASSERT_TRUE(container_.write(presets + "/a", ""));
  folder_.write("cloud/Documents/Presets/.morv-1-0.tmp", std::string("x"));

  EXPECT_EQ(container_.read(presets + "/b", kLimit).value(), "second");
  EXPECT_THAT(container_.list(presets).value(), ElementsAre("a", "b"));
  ASSERT_TRUE(container_.remove(presets + "/b"));
  EXPECT_THAT(container_.list(presets).value(), ElementsAre("a"));
}

TEST_F(CloudContainerTest, SaysWhyItCannot) {
  EXPECT_EQ(container_.read(cloud("none"), kLimit).failure().systemError, ENOENT);
  EXPECT_EQ(container_.remove(cloud("none")).failure().systemError, ENOENT);
  EXPECT_EQ(container_.write(cloud("none/a"), "x").failure().systemError, ENOENT);
  EXPECT_EQ(container_.list(cloud("none")).failure().systemError, ENOENT);
  folder_.write("cloud/a", std::string(kLimit + 1, 'x'));
  EXPECT_THAT(container_.read(cloud("a"), kLimit).reason(), HasSubstr("longer than"));
}

TEST_F(CloudContainerTest, HoldsWhatLiesInsideTheFolder) {
  folder_.write("cloud/a", std::string());
  folder_.write("outside", std::string());
  fs::create_directory(folder_.path("cloudy"));

  EXPECT_TRUE(container_.holds(cloud("a")));
  EXPECT_TRUE(container_.holds(cloud("../cloud/a")));
  EXPECT_FALSE(container_.holds(cloud("none")));
  EXPECT_FALSE(container_.holds(cloud("../outside")));
  EXPECT_FALSE(container_.holds(folder_.path("cloudy")));
  settings_.remove("cloudFolder");
  EXPECT_FALSE(container_.holds(cloud("a")));
}

TEST_F(CloudContainerTest, WaitsForOthersOfOursThatUseAFile) {
  const FileCoordinator impatient(folder_.path("locks"), std::chrono::milliseconds(0));
  const CloudContainer container(settings_, impatient);
  folder_.write("cloud/a", std::string("x"));
  ChildProcess child([&] {
    const Outcome outcome = coordinator_.coordinateWriting(cloud("a"), []() -> Outcome {
      ChildProcess::giveSign();
      ChildProcess::waitForGo();
      return Done{};
    });
    return outcome ? 0 : 1;
  });
  ASSERT_TRUE(child.waitForSign());

  EXPECT_EQ(container.read(cloud("a"), kLimit).failure().systemError, EWOULDBLOCK);
  EXPECT_FALSE(container.write(cloud("a"), "y"));
  EXPECT_FALSE(container.remove(cloud("a")));
  child.letGo();
  EXPECT_EQ(child.wait(), 0);

  EXPECT_EQ(container.read(cloud("a"), kLimit).value(), "x");
}

TEST_F(CloudContainerTest, TellsOfAFileThatAnotherProcessBrings) {
  ChildProcess child([&] {
    ChildProcess::waitForGo();
    return writePropertyListFile(cloud("a.aupreset"), PropertyListDictionary{{"volume", 0.5}}).ok() ? 0 : 1;
  });
  ASSERT_TRUE(container_.startWatching(counting()));

  child.letGo();

  EXPECT_TRUE(waitUntil([&] { return fs::exists(cloud("a.aupreset")); }));
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(readPropertyListFile(cloud("a.aupreset")));
}

TEST_F(CloudContainerTest, TellsOfAFileThatIsWrittenInPlaceMovedOrRemoved) {
  folder_.write("cloud/a", std::string("old"));
  fs::create_directory(folder_.path("elsewhere"));
  ChildProcess child([&] {
    ChildProcess::waitForGo();
    std::ofstream(cloud("a")) << "new text";
    ChildProcess::waitForGo();
    fs::rename(cloud("a"), folder_.path("elsewhere/a"));
    ChildProcess::waitForGo();
    fs::rename(folder_.path("elsewhere/a"), cloud("b"));
    ChildProcess::waitForGo();
    fs::remove(cloud("b"));
    return 0;
  });
  ASSERT_TRUE(container_.startWatching(counting()));

  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return fs::file_size(cloud("a")) == 8; }));
  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return !fs::exists(cloud("a")); }));
  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return fs::exists(cloud("b")); }));
  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return !fs::exists(cloud("b")); }));
}

TEST_F(CloudContainerTest, TellsOfChangesInFoldersThatComeLater) {
  fs::create_directories(cloud("there/before"));
  ChildProcess child([&] {
    ChildProcess::waitForGo();
    std::ofstream(cloud("there/before/a")) << "x";
    ChildProcess::waitForGo();
    fs::create_directories(cloud("Documents/Presets"));
    ChildProcess::waitForGo();
    std::ofstream(cloud("Documents/Presets/b")) << "x";
    return 0;
  });
  ASSERT_TRUE(container_.startWatching(counting()));

  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return fs::exists(cloud("there/before/a")); }));
  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return fs::exists(cloud("Documents/Presets")); }));
  child.letGo();
  EXPECT_TRUE(waitUntil([&] { return fs::exists(cloud("Documents/Presets/b")); }));
}

TEST_F(CloudContainerTest, TellsThatTheFolderItselfIsGone) {
  ASSERT_TRUE(container_.startWatching(counting()));

  fs::remove(cloud());

  EXPECT_TRUE(waitUntil([&] { return !container_.path(); }));
}

TEST_F(CloudContainerTest, TellsNothingOnceItIsStopped) {
  ASSERT_TRUE(container_.startWatching(counting()));
  container_.stopWatching();

  ASSERT_TRUE(container_.write(cloud("a"), "x"));

  EXPECT_EQ(calls(), 0);
}

TEST_F(CloudContainerTest, WatchesTheFolderThatIsChosenNow) {
  ASSERT_TRUE(container_.startWatching(counting()));
  fs::create_directory(folder_.path("other"));
  settings_.setString("cloudFolder", folder_.path("other"));

  ASSERT_TRUE(container_.startWatching(counting()));
  folder_.write("other/a", std::string("x"));

  EXPECT_TRUE(waitUntil([] { return true; }));
}

TEST_F(CloudContainerTest, CannotWatchWhatIsAbsent) {
  settings_.remove("cloudFolder");

  EXPECT_THAT(container_.startWatching(counting()).reason(), HasSubstr("no cloud folder"));
  EXPECT_EQ(FolderWatch::start(cloud("none"), counting()).failure().systemError, ENOENT);
}

TEST_F(CloudContainerTest, DoesNotTellOfFilesThatAreOnlyUnderWay) {
  bool wasEarly = false;
  const auto count = counting();
  ASSERT_TRUE(container_.startWatching([&] {
    if (!fs::exists(cloud("real"))) wasEarly = true;
    count();
  }));

  for (int i = 0; i < 100; ++i) {
    folder_.write("cloud/.morv-1-0.tmp", std::string("x"));
    fs::remove(cloud(".morv-1-0.tmp"));
  }
  folder_.write("cloud/real", std::string("x"));

  EXPECT_TRUE(waitUntil([] { return true; }));
  container_.stopWatching();
  EXPECT_FALSE(wasEarly);
}

TEST_F(CloudContainerTest, KnowsWhetherItWatchesTheFolderOfNow) {
  EXPECT_FALSE(container_.isWatching());
  ASSERT_TRUE(container_.startWatching(counting()));
  EXPECT_TRUE(container_.isWatching());

  fs::create_directory(folder_.path("other"));
  settings_.setString("cloudFolder", folder_.path("other"));
  EXPECT_FALSE(container_.isWatching());
  settings_.setString("cloudFolder", cloud());
  EXPECT_TRUE(container_.isWatching());
  container_.stopWatching();
  EXPECT_FALSE(container_.isWatching());
}

TEST_F(CloudContainerTest, ANewFolderInTheWatchedOnesPlaceIsNotWatched) {
  fs::create_directory(cloud("below"));
  ASSERT_TRUE(container_.startWatching(counting()));
  fs::remove(cloud("below"));
  EXPECT_TRUE(waitUntil([] { return true; }));
  EXPECT_TRUE(container_.isWatching());

  fs::rename(cloud(), folder_.path("away"));
  fs::create_directory(cloud());

  EXPECT_TRUE(waitUntil([&] { return !container_.isWatching(); }));
}

}  // namespace
}  // namespace morv
