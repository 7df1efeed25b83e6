#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/BackgroundQueue.h"

namespace morv {
namespace {

TEST(BackgroundQueue, RunsTasksInOrderOnAThreadOfItsOwn) {
  BackgroundQueue queue;
  std::vector<int> seen;
  std::thread::id worker;

  for (int i = 0; i < 100; ++i) {
    queue.post([&, i] {
      seen.push_back(i);
      worker = std::this_thread::get_id();
    });
  }
  queue.waitUntilIdle();

  ASSERT_EQ(seen.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
  EXPECT_NE(worker, std::this_thread::get_id());
}

TEST(BackgroundQueue, RunsAllThatWaitsBeforeItGoes) {
  int runs = 0;
  std::mutex gate;
  std::unique_lock closed(gate);
  {
    BackgroundQueue queue;
    queue.post([&] { const std::lock_guard opened(gate); });
    for (int i = 0; i < 10; ++i) queue.post([&] { queue.post([&] { ++runs; }); });
    closed.unlock();
  }
  EXPECT_EQ(runs, 10);
}

TEST(BackgroundQueue, TakesTasksFromSeveralThreads) {
  std::atomic<int> runs{0};
  {
    BackgroundQueue queue;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int j = 0; j < 100; ++j) queue.post([&] { ++runs; });
      });
    }
    for (std::thread& thread : threads) thread.join();
    queue.waitUntilIdle();
    EXPECT_EQ(runs, 400);
  }
}

TEST(BackgroundQueue, IsIdleFromTheStart) {
  BackgroundQueue queue;
  queue.waitUntilIdle();

  int runs = 0;
  queue.post([&] { ++runs; });
  queue.waitUntilIdle();

  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace morv
