#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "render/FixedList.h"

namespace morv {
namespace {

using List = FixedList<int, 4>;

std::vector<int> contents(const List& list) { return {list.begin(), list.end()}; }

List listOf(std::initializer_list<int> items) {
  List list;
  for (const int item : items) list.append(item);
  return list;
}

TEST(FixedList, StartsEmpty) {
  const List list;

  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.size(), 0U);
  EXPECT_EQ(List::capacity(), 4U);
  EXPECT_FALSE(list.contains(0));
}

TEST(FixedList, KeepsElementsInTheOrderInWhichTheyCame) {
  List list = listOf({3, 1, 2});

  EXPECT_EQ(contents(list), (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(list.front(), 3);
  EXPECT_EQ(list.back(), 2);
  EXPECT_EQ(list[1], 1);
  EXPECT_TRUE(list.contains(2));
  EXPECT_FALSE(list.contains(4));
}

TEST(FixedList, AFullListDropsItsOldestElement) {
  List list = listOf({1, 2, 3, 4});

  list.append(5);
  list.append(6);

  EXPECT_EQ(contents(list), (std::vector<int>{3, 4, 5, 6}));
}

TEST(FixedList, EraseClosesTheGap) {
  List list = listOf({1, 2, 3, 4});

  list.erase(1);
  list.erase(2);
  list.erase(0);

  EXPECT_EQ(contents(list), (std::vector<int>{3}));
}

TEST(FixedList, DropLastTakesTheNewestAndLeavesAnEmptyListAlone) {
  List list = listOf({1, 2});

  list.dropLast();
  EXPECT_EQ(contents(list), (std::vector<int>{1}));
  list.dropLast();
  list.dropLast();

  EXPECT_TRUE(list.empty());
}

TEST(FixedList, EraseIfTakesEveryMatch) {
  List list = listOf({7, 7, 1, 7});

  list.eraseIf([](int item) { return item == 7; });

  EXPECT_EQ(contents(list), (std::vector<int>{1}));
}

TEST(FixedList, EraseWalkingLeavesTheSecondOfTwoMatchesSideBySide) {
  List pair = listOf({7, 7});
  List apart = listOf({7, 1, 7});
  List four = listOf({7, 7, 7, 7});
  const auto isSeven = [](int item) { return item == 7; };

  pair.eraseWalking(isSeven);
  apart.eraseWalking(isSeven);
  four.eraseWalking(isSeven);

  EXPECT_EQ(contents(pair), (std::vector<int>{7}));
  EXPECT_EQ(contents(apart), (std::vector<int>{1}));
  EXPECT_EQ(contents(four), (std::vector<int>{7, 7}));
}

TEST(FixedList, SortKeepsTheOrderOfEquals) {
  FixedList<std::pair<int, char>, 6> list;
  for (const auto& item : {std::pair{2, 'a'}, {1, 'b'}, {2, 'c'}, {1, 'd'}, {0, 'e'}}) list.append(item);

  list.sort([](const auto& a, const auto& b) { return a.first < b.first; });

  const std::vector<std::pair<int, char>> sorted(list.begin(), list.end());
  EXPECT_EQ(sorted, (std::vector<std::pair<int, char>>{{0, 'e'}, {1, 'b'}, {1, 'd'}, {2, 'a'}, {2, 'c'}}));
}

TEST(FixedList, ClearedListTakesElementsAgain) {
  List list = listOf({1, 2, 3, 4});

  list.clear();
  list.append(9);

  EXPECT_EQ(contents(list), (std::vector<int>{9}));
}

TEST(FixedList, CopiesAreApart) {
  List list = listOf({1, 2});

  const List copy = list;
  list.clear();

  EXPECT_EQ(contents(copy), (std::vector<int>{1, 2}));
}

}  // namespace
}  // namespace morv
