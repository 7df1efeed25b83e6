#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/MainQueue.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MainQueueTest : public testing::Test {
 protected:
  MainQueue::Task note(int number) {
    return [this, number] { ran_.push_back(number); };
  }
  MainQueue queue_;
  std::vector<int> ran_;
};

TEST_F(MainQueueTest, RunsNothingUntilItIsTurned) {
  queue_.post(note(1));

  EXPECT_THAT(ran_, IsEmpty());
  queue_.runDue(0);
  EXPECT_THAT(ran_, ElementsAre(1));
  queue_.runDue(1);
  EXPECT_THAT(ran_, ElementsAre(1));
}

TEST_F(MainQueueTest, RunsTasksOfOneTimeInTheOrderOfPosting) {
  queue_.post(note(1));
  queue_.postAfter(0, note(2));
  queue_.postAfter(-1, note(3));
  queue_.post(note(4));

  queue_.runDue(0);

  EXPECT_THAT(ran_, ElementsAre(1, 2, 3, 4));
}

TEST_F(MainQueueTest, RunsDelayedTasksAtTheirTimeAndInTimeOrder) {
  queue_.postAfter(0.2, note(2));
  queue_.postAfter(0.1, note(1));
  queue_.postAfter(0.3, note(3));

  queue_.runDue(0.0999);
  EXPECT_THAT(ran_, IsEmpty());
  queue_.runDue(0.1);
  EXPECT_THAT(ran_, ElementsAre(1));
  queue_.runDue(5.0);
  EXPECT_THAT(ran_, ElementsAre(1, 2, 3));
}

TEST_F(MainQueueTest, CountsADelayFromTheClockAtPosting) {
  queue_.runDue(10.0);
  queue_.postAfter(0.5, note(1));

  queue_.runDue(10.4);
  EXPECT_THAT(ran_, IsEmpty());
  queue_.runDue(10.5);
  EXPECT_THAT(ran_, ElementsAre(1));
}

TEST_F(MainQueueTest, NeverTurnsItsClockBack) {
  queue_.runDue(3.0);
  queue_.runDue(1.0);

  EXPECT_EQ(queue_.now(), 3.0);
}

TEST_F(MainQueueTest, ShowsEachTaskItsOwnTime) {
  std::vector<double> times;
  queue_.postAfter(0.25, [&] { times.push_back(queue_.now()); });
  queue_.postAfter(0.5, [&] { times.push_back(queue_.now()); });

  queue_.runDue(2.0);

  EXPECT_THAT(times, ElementsAre(0.25, 0.5));
  EXPECT_EQ(queue_.now(), 2.0);
}

TEST_F(MainQueueTest, CatchesUpWithARepeatingTimerInOneTurn) {
  std::vector<double> times;
  MainQueue::Task tick = [&] {
    times.push_back(queue_.now());
    queue_.postAfter(0.25, tick);
  };
  queue_.postAfter(0.25, tick);

  queue_.runDue(1.0);

  EXPECT_THAT(times, ElementsAre(0.25, 0.5, 0.75, 1.0));
}

TEST_F(MainQueueTest, LeavesWhatATaskPostsAtOnceToTheNextTurn) {
  MainQueue::Task again = [&] {
    ran_.push_back(1);
    queue_.post(again);
  };
  queue_.post(again);

  queue_.runDue(0);
  EXPECT_THAT(ran_, ElementsAre(1));
  queue_.runDue(0);
  EXPECT_THAT(ran_, ElementsAre(1, 1));
}

TEST_F(MainQueueTest, IgnoresATurnFromInsideATask) {
  queue_.post([&] {
    queue_.runDue(9.0);
    ran_.push_back(1);
  });
  queue_.post(note(2));

  queue_.runDue(0);

  EXPECT_THAT(ran_, ElementsAre(1, 2));
  EXPECT_EQ(queue_.now(), 0.0);
}

TEST_F(MainQueueTest, CancelsOnlyWhatStillWaits) {
  const auto first = queue_.post(note(1));
  const auto second = queue_.postAfter(1.0, note(2));
  queue_.runDue(0);

  EXPECT_FALSE(queue_.cancel(first));
  EXPECT_TRUE(queue_.cancel(second));
  EXPECT_FALSE(queue_.cancel(second));
  queue_.runDue(2.0);
  EXPECT_THAT(ran_, ElementsAre(1));
}

TEST_F(MainQueueTest, LetsATaskCancelAnother) {
  MainQueue::Token victim = 0;
  queue_.post([&] { queue_.cancel(victim); });
  victim = queue_.post(note(1));

  queue_.runDue(0);

  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(MainQueueTest, TellsWhetherSomethingIsDue) {
  EXPECT_FALSE(queue_.hasDue(1000));
  const MainQueue::Token later = queue_.postAfter(2, note(1));
  EXPECT_FALSE(queue_.hasDue(1.5));
  EXPECT_TRUE(queue_.hasDue(2));
  queue_.cancel(later);
  EXPECT_FALSE(queue_.hasDue(2));
  queue_.post(note(2));
  EXPECT_TRUE(queue_.hasDue(0));
  queue_.runDue(0);
  EXPECT_FALSE(queue_.hasDue(1000));
  queue_.postFromRender(77, 1);
  EXPECT_TRUE(queue_.hasDue(0));
  queue_.runDue(0);
  EXPECT_FALSE(queue_.hasDue(1000));
}

TEST_F(MainQueueTest, HandsRenderMessagesToTheHandlerOfTheirKindInOrder) {
  const auto one = queue_.addRenderHandler([&](std::int32_t value) { ran_.push_back(100 + value); });
  const auto two = queue_.addRenderHandler([&](std::int32_t value) { ran_.push_back(200 + value); });
  EXPECT_NE(one, two);

  queue_.postFromRender(two, 1);
  queue_.postFromRender(one, 2);
  queue_.postFromRender(two, 3);
  queue_.runDue(0);

  EXPECT_THAT(ran_, ElementsAre(201, 102, 203));
}

TEST_F(MainQueueTest, RunsRenderMessagesAheadOfTasks) {
  const auto kind = queue_.addRenderHandler([&](std::int32_t value) { ran_.push_back(value); });
  queue_.post(note(1));
  queue_.postFromRender(kind, 7);

  queue_.runDue(0);

  EXPECT_THAT(ran_, ElementsAre(7, 1));
}

TEST_F(MainQueueTest, DropsMessagesOfARemovedOrUnknownKind) {
  const auto kind = queue_.addRenderHandler([&](std::int32_t value) { ran_.push_back(value); });
  queue_.postFromRender(kind, 1);
  queue_.postFromRender(12345, 2);
  queue_.removeRenderHandler(kind);

  queue_.runDue(0);

  EXPECT_THAT(ran_, IsEmpty());
  EXPECT_NE(queue_.addRenderHandler([](std::int32_t) {}), kind);
}

TEST_F(MainQueueTest, RefusesRenderMessagesWhenTheirRingIsFullAndTakesThemAgainLater) {
  const auto kind = queue_.addRenderHandler([&](std::int32_t value) { ran_.push_back(value); });
  const int capacity = static_cast<int>(RenderMessageRing::kCapacity);

  for (int i = 0; i < capacity; ++i) EXPECT_TRUE(queue_.postFromRender(kind, i));
  EXPECT_FALSE(queue_.postFromRender(kind, capacity));
  queue_.runDue(0);
  EXPECT_TRUE(queue_.postFromRender(kind, 1));

  EXPECT_EQ(ran_.size(), RenderMessageRing::kCapacity);
}

TEST(MainQueueThreads, LosesNothingThatSeveralThreadsPost) {
  constexpr int kThreads = 4;
  constexpr int kPosts = 50;  // the ring holds all of them even if nobody turns the queue meanwhile
  static_assert(kThreads * kPosts < static_cast<int>(RenderMessageRing::kCapacity));
  MainQueue queue;
  int tasks = 0;
  int messages = 0;
  const auto kind = queue.addRenderHandler([&](std::int32_t value) { messages += value; });
  std::vector<std::thread> threads;

  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPosts; ++i) {
        queue.post([&] { ++tasks; });
        queue.postFromRender(kind, 1);
      }
    });
  }
  for (int i = 0; i < 100; ++i) queue.runDue(i);
  for (auto& thread : threads) thread.join();
  queue.runDue(1000);

  EXPECT_EQ(tasks, kThreads * kPosts);
  EXPECT_EQ(messages, kThreads * kPosts);
}

TEST(MainQueue, RunsOnBehindATaskThatThrows) {
  MainQueue queue;
  int runs = 0;
  queue.post([] { throw std::runtime_error("against the rule"); });
  queue.post([&] { ++runs; });

  EXPECT_THROW(queue.runDue(0.0), std::runtime_error);
  queue.runDue(1.0);

  EXPECT_EQ(runs, 1);
  EXPECT_EQ(queue.now(), 1.0);
}

}  // namespace
}  // namespace morv
