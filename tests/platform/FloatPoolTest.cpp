#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <new>
#include <thread>
#include <vector>

#include "platform/FloatPool.h"

namespace morv {
namespace {

constexpr std::size_t kCount = 4096;
constexpr std::size_t kRegionBytes = std::size_t{1} << 20;

std::uintptr_t regionOf(const float* data) { return reinterpret_cast<std::uintptr_t>(data) / kRegionBytes; }

bool isMapped(const float* data) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  unsigned char supplied = 0;
  auto* start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(data) / page * page);
  return mincore(start, 1, &supplied) == 0 || errno != ENOMEM;
}

TEST(FloatPool, GivesZeroedArraysThatDoNotOverlap) {
  std::vector<float*> arrays;
  for (int i = 0; i < 200; ++i) arrays.push_back(FloatPool::allocate(kCount));

  for (std::size_t i = 0; i < arrays.size(); ++i) {
    ASSERT_TRUE(std::all_of(arrays[i], arrays[i] + kCount, [](float v) { return v == 0.0F; })) << i;
    std::fill_n(arrays[i], kCount, static_cast<float>(i + 1));
  }
  for (std::size_t i = 0; i < arrays.size(); ++i) {
    const auto mine = static_cast<float>(i + 1);
    ASSERT_TRUE(std::all_of(arrays[i], arrays[i] + kCount, [mine](float v) { return v == mine; })) << i;
    FloatPool::release(arrays[i]);
  }
}

TEST(FloatPool, BeginsEachArrayAtALineOfItsOwnWithinThePage) {
  constexpr std::uintptr_t kPage = 4096;
  std::vector<float*> arrays;
  for (int i = 0; i < 12; ++i) arrays.push_back(FloatPool::allocate(kCount));

  std::vector<std::uintptr_t> offsets;
  for (const float* array : arrays) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array) % 64, 0U);
    offsets.push_back(reinterpret_cast<std::uintptr_t>(array) % kPage);
  }
  std::sort(offsets.begin(), offsets.end());
  for (std::size_t i = 1; i < offsets.size(); ++i) {
    EXPECT_GE(offsets[i] - offsets[i - 1], 64 * sizeof(float)) << "64 frames of one lie on those of another";
  }
  for (float* array : arrays) FloatPool::release(array);
}

TEST(FloatPool, GivesARegionBackWithItsLastArray) {
  std::vector<float*> arrays;
  do {
    arrays.push_back(FloatPool::allocate(kCount));
  } while (regionOf(arrays.back()) == regionOf(arrays.front()));
  const float* first = arrays.front();
  const float* last = arrays.back();

  for (std::size_t i = 0; i + 2 < arrays.size(); ++i) FloatPool::release(arrays[i]);
  EXPECT_TRUE(isMapped(first));
  FloatPool::release(arrays[arrays.size() - 2]);
  EXPECT_FALSE(isMapped(first));
  EXPECT_TRUE(isMapped(last));
  FloatPool::release(arrays.back());
  EXPECT_FALSE(isMapped(last));
}

TEST(FloatPool, RefusesWhatIsLongerThanItsMost) {
  for (const std::size_t count : {FloatPool::kMostFloats + 1, kRegionBytes / sizeof(float), 2 * kRegionBytes,
                                  std::numeric_limits<std::size_t>::max() / sizeof(float) + 1,
                                  std::numeric_limits<std::size_t>::max()}) {
    EXPECT_THROW(FloatPool::allocate(count), std::bad_alloc) << count;
  }
  float* most = FloatPool::allocate(FloatPool::kMostFloats);
  most[FloatPool::kMostFloats - 1] = 1.0F;
  FloatPool::release(most);
}

// Behind the 48 floats they come to a region's very end, if they take no more than the way to the next line.
TEST(FloatPool, ArraysWithoutFloatsLieInTheirRegionsToo) {
  std::vector<float*> arrays = {FloatPool::allocate(48)};
  const std::uintptr_t region = regionOf(arrays.front());
  do {
    arrays.push_back(FloatPool::allocate(0));
    ASSERT_TRUE(isMapped(arrays.back())) << arrays.size();
  } while (regionOf(arrays.back()) == region);

  EXPECT_NE(reinterpret_cast<std::uintptr_t>(arrays.back()) % kRegionBytes, 0U);
  for (float* array : arrays) FloatPool::release(array);
}

TEST(FloatPool, ServesManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> faults(4);
  for (std::size_t t = 0; t < faults.size(); ++t) {
    threads.emplace_back([&fault = faults[t], mark = static_cast<float>(t + 1)] {
      for (int round = 0; round < 50; ++round) {
        std::vector<float*> arrays;
        for (int i = 0; i < 20; ++i) {
          arrays.push_back(FloatPool::allocate(kCount));
          std::fill_n(arrays.back(), kCount, mark);
        }
        for (float* array : arrays) {
          fault += std::all_of(array, array + kCount, [mark](float v) { return v == mark; }) ? 0 : 1;
          FloatPool::release(array);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(faults, std::vector<int>(4));
}

}  // namespace
}  // namespace morv
