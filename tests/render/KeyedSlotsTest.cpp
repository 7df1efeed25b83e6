#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>
#include <vector>

#include "render/KeyedSlots.h"

namespace morv {
namespace {

using Slots = KeyedSlots<int, 16>;

std::vector<std::pair<int, int>> contents(const Slots& slots) {
  std::vector<std::pair<int, int>> list;
  slots.forEach([&](int key, int value) { list.emplace_back(key, value); });
  return list;
}

TEST(KeyedSlots, StartsEmptyAndFindsNothing) {
  const Slots slots;

  EXPECT_TRUE(slots.empty());
  EXPECT_EQ(slots.size(), 0);
  EXPECT_EQ(slots.find(3), nullptr);
  EXPECT_EQ(slots.valueOr(3, -1), -1);
}

TEST(KeyedSlots, FindsWhatWasSetAndOverwritesIt) {
  Slots slots;

  slots.set(3, 30);
  slots.set(3, 31);

  ASSERT_NE(slots.find(3), nullptr);
  EXPECT_EQ(*slots.find(3), 31);
  EXPECT_EQ(slots.valueOr(3, -1), 31);
  EXPECT_EQ(slots.size(), 1);
}

TEST(KeyedSlots, WalksInAscendingOrderOfKey) {
  Slots slots;
  slots.set(15, 1);
  slots.set(0, 2);
  slots.set(7, 3);

  EXPECT_EQ(contents(slots), (std::vector<std::pair<int, int>>{{0, 2}, {7, 3}, {15, 1}}));
}

TEST(KeyedSlots, KeysOutsideTheRangeAreNeverFound) {
  Slots slots;

  for (const int key : {-1, 16, 1000, -2147483647 - 1, 2147483647}) {
    slots.set(key, 1);
    slots.erase(key);
    EXPECT_EQ(slots.find(key), nullptr) << key;
  }

  EXPECT_TRUE(slots.empty());
}

TEST(KeyedSlots, ErasingAMissingKeyChangesNothing) {
  Slots slots;
  slots.set(3, 30);

  slots.erase(4);
  slots.erase(3);
  slots.erase(3);

  EXPECT_EQ(slots.size(), 0);
  EXPECT_EQ(slots.find(3), nullptr);
}

TEST(KeyedSlots, ClearForgetsEverything) {
  Slots slots;
  for (int key = 0; key < 16; ++key) slots.set(key, key);

  slots.clear();

  EXPECT_TRUE(slots.empty());
  EXPECT_EQ(slots.find(0), nullptr);
  slots.set(2, 5);
  EXPECT_EQ(contents(slots), (std::vector<std::pair<int, int>>{{2, 5}}));
}

TEST(KeyedSlots, BehavesAsAnOrderedMap) {
  constexpr unsigned kSeed = 20;
  std::mt19937 random(kSeed);
  Slots slots;
  std::map<int, int> map;

  for (int step = 0; step < 5000; ++step) {
    const int key = static_cast<int>(random() % 16U);
    const unsigned choice = random() % 100U;
    if (choice < 55) {
      slots.set(key, step);
      map[key] = step;
    } else if (choice < 99) {
      slots.erase(key);
      map.erase(key);
    } else {
      slots.clear();
      map.clear();
    }
    const std::vector<std::pair<int, int>> expected(map.begin(), map.end());
    ASSERT_EQ(contents(slots), expected) << "seed " << kSeed << " step " << step;
    ASSERT_EQ(slots.size(), static_cast<int>(map.size()));
    ASSERT_EQ(slots.empty(), map.empty());
  }
}

}  // namespace
}  // namespace morv
