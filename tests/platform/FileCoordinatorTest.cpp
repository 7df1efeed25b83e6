#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"
#include "platform/FileCoordinator.h"
#include "platform/FileLock.h"
#include "tests/hosts/TemporaryFolder.h"
#include "tests/platform/ChildProcess.h"

namespace morv {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNoPatience{0};
constexpr milliseconds kMuchPatience{60000};

bool canLock(const std::string& path, FileLock::Mode mode) {
  return FileLock::acquire(path, mode, kNoPatience).ok();
}

TEST(FileLock, KeepsOthersOutUntilItIsGone) {
  const TemporaryFolder folder;
  const std::string path = folder.path("lock");
  {
    const auto lock = FileLock::acquire(path, FileLock::Mode::exclusive, kNoPatience);
    ASSERT_TRUE(lock);
    const auto second = FileLock::acquire(path, FileLock::Mode::exclusive, kNoPatience);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.failure().systemError, EWOULDBLOCK);
    EXPECT_FALSE(canLock(path, FileLock::Mode::shared));
  }
  EXPECT_TRUE(canLock(path, FileLock::Mode::exclusive));
}

TEST(FileLock, IsSharedAmongThoseWhoOnlyRead) {
  const TemporaryFolder folder;
  const std::string path = folder.path("lock");

  const auto lock = FileLock::acquire(path, FileLock::Mode::shared, kNoPatience);

  EXPECT_TRUE(canLock(path, FileLock::Mode::shared));
  EXPECT_FALSE(canLock(path, FileLock::Mode::exclusive));
}

TEST(FileLock, IsTakenFromAProcessThatDies) {
  const TemporaryFolder folder;
  const std::string path = folder.path("lock");
  ChildProcess child([&] {
    const auto lock = FileLock::acquire(path, FileLock::Mode::exclusive, kNoPatience);
    ChildProcess::giveSign();
    for (;;) ::pause();
    return 0;
  });
  ASSERT_TRUE(child.waitForSign());
  EXPECT_FALSE(canLock(path, FileLock::Mode::exclusive));

  child.kill();

  EXPECT_TRUE(canLock(path, FileLock::Mode::exclusive));
}

TEST(FileLock, WaitsForAnotherThread) {
  const TemporaryFolder folder;
  const std::string path = folder.path("lock");
  auto lock =
      std::make_unique<Result<FileLock>>(FileLock::acquire(path, FileLock::Mode::exclusive, kNoPatience));
  ASSERT_TRUE(*lock);
  bool wasLocked = false;

  std::thread other(
      [&] { wasLocked = FileLock::acquire(path, FileLock::Mode::exclusive, kMuchPatience).ok(); });
  lock.reset();
  other.join();

  EXPECT_TRUE(wasLocked);
}

TEST(FileLock, FailsWithoutAFolder) {
  const TemporaryFolder folder;

  EXPECT_EQ(
      FileLock::acquire(folder.path("none/lock"), FileLock::Mode::shared, kNoPatience).failure().systemError,
      ENOENT);
}

// Adds one to the number that a file holds, again and again; only a reader and writer that nobody disturbs
// counts all.
bool countUp(const FileCoordinator& coordinator, const std::string& path, int times) {
  for (int i = 0; i < times; ++i) {
    const Outcome outcome = coordinator.coordinateWriting(path, [&]() -> Outcome {
      const auto number = readWholeFile(path, 100);
      if (!number) return number.failure();
      return writeFileAtomically(path, std::to_string(std::stoi(number.value()) + 1));
    });
    if (!outcome) return false;
  }
  return true;
}

TEST(FileCoordinator, LetsOneThreadWriteAtATime) {
  const TemporaryFolder folder;
  const std::string path = folder.write("number", std::string("0"));
  const FileCoordinator coordinator(folder.path("locks"), kMuchPatience);

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back([&] { countUp(coordinator, path, 25); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(readWholeFile(path, 100).value(), "100");
}

TEST(FileCoordinator, LetsOneProcessWriteAtATime) {
  const TemporaryFolder folder;
  const std::string path = folder.write("number", std::string("0"));
  std::vector<std::unique_ptr<ChildProcess>> children;

  for (int i = 0; i < 4; ++i) {
    children.push_back(std::make_unique<ChildProcess>(
        [&] { return countUp(FileCoordinator(folder.path("locks"), kMuchPatience), path, 25) ? 0 : 1; }));
  }
  for (const auto& child : children) EXPECT_EQ(child->wait(), 0);

  EXPECT_EQ(readWholeFile(path, 100).value(), "100");
}

TEST(FileCoordinator, LetsReadersInTogetherAndWritersAlone) {
  const TemporaryFolder folder;
  const FileCoordinator coordinator(folder.path("locks"), kNoPatience);
  const std::string path = folder.path("a");
  const auto work = []() -> Outcome { return Done{}; };

  EXPECT_TRUE(coordinator.coordinateReading(path, [&] { return coordinator.coordinateReading(path, work); }));
  EXPECT_FALSE(
      coordinator.coordinateReading(path, [&] { return coordinator.coordinateWriting(path, work); }));
  EXPECT_FALSE(
      coordinator.coordinateWriting(path, [&] { return coordinator.coordinateReading(path, work); }));
  EXPECT_TRUE(coordinator.coordinateWriting(
      path, [&] { return coordinator.coordinateWriting(folder.path("b"), work); }));
}

TEST(FileCoordinator, KnowsAFileByAllItsPaths) {
  const TemporaryFolder folder;
  folder.write("a", std::string());
  std::filesystem::create_symlink("a", folder.path("link"));
  const FileCoordinator coordinator(folder.path("locks"), kNoPatience);
  const auto work = []() -> Outcome { return Done{}; };

  EXPECT_FALSE(coordinator.coordinateWriting(
      folder.path("a"), [&] { return coordinator.coordinateWriting(folder.path("./b/../a"), work); }));
  EXPECT_FALSE(coordinator.coordinateWriting(
      folder.path("a"), [&] { return coordinator.coordinateWriting(folder.path("link"), work); }));
}

TEST(FileCoordinator, GivesWhatTheWorkGives) {
  const TemporaryFolder folder;
  const FileCoordinator coordinator(folder.path("locks"));

  const Outcome outcome =
      coordinator.coordinateReading(folder.path("a"), []() -> Outcome { return Failure{"torn"}; });

  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.reason(), "torn");
}

TEST(FileCoordinator, DoesNotRunTheWorkWithoutALock) {
  const TemporaryFolder folder;
  const FileCoordinator coordinator(folder.write("file", std::string()) + "/locks");
  bool ran = false;

  EXPECT_FALSE(coordinator.coordinateWriting(folder.path("a"), [&]() -> Outcome {
    ran = true;
    return Done{};
  }));
  EXPECT_FALSE(ran);
}

TEST(FileCoordinator, TellsAMissingLockFromWorkThatFails) {
  const TemporaryFolder folder;
  const FileCoordinator good(folder.path("locks"), kNoPatience);
  const FileCoordinator withoutFolder(folder.write("file", std::string()) + "/locks");
  const auto fail = []() -> Outcome { return Failure{"torn"}; };
  const auto work = []() -> Outcome { return Done{}; };
  std::optional<Failure> locked;

  EXPECT_FALSE(good.coordinateWriting(folder.path("a"), fail).failure().isOfCoordination);
  EXPECT_TRUE(withoutFolder.coordinateWriting(folder.path("a"), work).failure().isOfCoordination);
  EXPECT_TRUE(good.coordinateWriting(folder.path("a"), [&]() -> Outcome {
    locked = good.coordinateReading(folder.path("a"), work).failure();
    return Done{};
  }));

  EXPECT_TRUE(locked->isOfCoordination);
}

}  // namespace
}  // namespace morv
