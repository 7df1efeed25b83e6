#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/NotificationCenter.h"

namespace morv {
namespace {

using testing::ElementsAre;

TEST(NotificationCenter, TellsTheObserversOfTheNameInTheirOrder) {
  NotificationCenter center;
  std::vector<std::string> seen;
  center.addObserver("changed", [&] { seen.emplace_back("first"); });
  center.addObserver("other", [&] { seen.emplace_back("other"); });
  center.addObserver("changed", [&] { seen.emplace_back("second"); });

  center.post("changed");
  center.post("nobody");

  EXPECT_THAT(seen, ElementsAre("first", "second"));
}

TEST(NotificationCenter, TellsNoObserverThatIsGone) {
  NotificationCenter center;
  int calls = 0;
  const auto token = center.addObserver("changed", [&] { ++calls; });

  center.removeObserver(token);
  center.removeObserver(token);
  center.post("changed");

  EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, LetsAnObserverPostAddAndRemove) {
  NotificationCenter center;
  std::vector<std::string> seen;
  NotificationCenter::Token second = 0;
  center.addObserver("a", [&] {
    seen.emplace_back("a");
    center.removeObserver(second);
    center.addObserver("b", [&] { seen.emplace_back("b"); });
    center.post("b");
  });
  second = center.addObserver("a", [&] { seen.emplace_back("second"); });

  center.post("a");

  EXPECT_THAT(seen, ElementsAre("a", "b"));
}

TEST(NotificationCenter, CallsAnObserverWithAQueueWhereTheQueueRuns) {
  NotificationCenter center;
  MainQueue queue;
  int calls = 0;
  center.addObserver("changed", queue, [&] { ++calls; });

  std::thread([&] { center.post("changed"); }).join();
  EXPECT_EQ(calls, 0);
  queue.runDue(0);

  EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, DropsACallThatWaitsInAQueueWhenItsObserverGoes) {
  MainQueue queue;
  int calls = 0;
  {
    NotificationCenter center;
    const auto token = center.addObserver("changed", queue, [&] { ++calls; });
    center.addObserver("changed", queue, [&] { ++calls; });
    center.post("changed");
    center.removeObserver(token);
  }

  queue.runDue(0);

  EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, IsUsedFromSeveralThreadsAtOnce) {
  NotificationCenter center;
  std::atomic<int> calls{0};
  center.addObserver("changed", [&] { ++calls; });
  std::vector<std::thread> threads;

  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 100; ++j) {
        const auto token = center.addObserver("changed", [] {});
        center.post("changed");
        center.removeObserver(token);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(calls, 400);
}

}  // namespace
}  // namespace morv
