#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/PropertyListValue.h"
#include "tests/unit/FailingAllocation.h"

namespace morv {
namespace {

using Kind = PropertyListValue::Kind;

std::vector<std::string> keysOf(const PropertyListDictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : dictionary.entries()) keys.push_back(key);
  return keys;
}

TEST(PropertyListValue, IsOfTheKindThatItWasMadeOf) {
  EXPECT_EQ(PropertyListValue().kind(), Kind::dictionary);
  EXPECT_EQ(PropertyListValue(true).kind(), Kind::boolean);
  EXPECT_EQ(PropertyListValue(-1).kind(), Kind::integer);
  EXPECT_EQ(PropertyListValue(1.0F).kind(), Kind::real);
  EXPECT_EQ(PropertyListValue("text").kind(), Kind::string);
  EXPECT_EQ(PropertyListValue(PropertyListDate{5}).kind(), Kind::date);
  EXPECT_EQ(PropertyListValue(PropertyListValue::Data{1}).kind(), Kind::data);
  EXPECT_EQ(PropertyListValue(PropertyListValue::Array{1, 2}).kind(), Kind::array);
}

TEST(PropertyListValue, GivesWhatItHoldsAndNothingElse) {
  const PropertyListValue real(0.25);

  EXPECT_EQ(real.real(), 0.25);
  EXPECT_FALSE(real.boolean());
  EXPECT_FALSE(real.integer());
  EXPECT_FALSE(real.unsignedInteger());
  EXPECT_FALSE(real.date());
  EXPECT_EQ(real.string(), nullptr);
  EXPECT_EQ(real.data(), nullptr);
  EXPECT_EQ(real.array(), nullptr);
  EXPECT_EQ(real.dictionary(), nullptr);
  EXPECT_FALSE(PropertyListValue(1).real());
}

TEST(PropertyListValue, HoldsAnIntegerInOneFormWhateverItsTypeWas) {
  EXPECT_EQ(PropertyListValue(std::uint64_t{5}), PropertyListValue(std::int8_t{5}));
  EXPECT_EQ(PropertyListValue(std::uint64_t{5}).integer(), 5);
  EXPECT_EQ(PropertyListValue(5).unsignedInteger(), 5U);
  EXPECT_FALSE(PropertyListValue(-5).unsignedInteger());
  EXPECT_EQ(PropertyListValue(UINT64_MAX).kind(), Kind::unsignedInteger);
  EXPECT_EQ(PropertyListValue(UINT64_MAX).unsignedInteger(), UINT64_MAX);
  EXPECT_FALSE(PropertyListValue(UINT64_MAX).integer());
  EXPECT_EQ(PropertyListValue(INT64_MIN).integer(), INT64_MIN);
}

TEST(PropertyListValue, ReadsEveryKindOfNumberAsAReal) {
  EXPECT_EQ(PropertyListValue(true).number(), 1.0);
  EXPECT_EQ(PropertyListValue(-3).number(), -3.0);
  EXPECT_EQ(PropertyListValue(UINT64_MAX).number(), 18446744073709551616.0);
  EXPECT_EQ(PropertyListValue(0.5).number(), 0.5);
  EXPECT_FALSE(PropertyListValue("1").number());
}

TEST(PropertyListValue, ComparesRealsByTheirBits) {
  const double none = std::numeric_limits<double>::quiet_NaN();

  EXPECT_EQ(PropertyListValue(none), PropertyListValue(none));
  EXPECT_FALSE(PropertyListValue(0.0) == PropertyListValue(-0.0));
  EXPECT_FALSE(PropertyListValue(1) == PropertyListValue(1.0));
  EXPECT_FALSE(PropertyListValue(true) == PropertyListValue(1));
}

TEST(PropertyListDictionary, KeepsItsKeysInTheOrderInWhichTheyCame) {
  PropertyListDictionary dictionary{{"z", 1}, {"a", 2}, {"m", 3}};

  dictionary.set("a", 4);
  dictionary.set("b", 5);

  EXPECT_THAT(keysOf(dictionary), testing::ElementsAre("z", "a", "m", "b"));
  EXPECT_EQ(dictionary.find("a")->integer(), 4);
}

TEST(PropertyListDictionary, FindsTheOthersBehindARemoval) {
  PropertyListDictionary dictionary{{"z", 1}, {"a", 2}, {"m", 3}};

  EXPECT_TRUE(dictionary.remove("a"));
  EXPECT_FALSE(dictionary.remove("a"));
  dictionary.set("a", 9);

  EXPECT_THAT(keysOf(dictionary), testing::ElementsAre("z", "m", "a"));
  EXPECT_EQ(dictionary.find("m")->integer(), 3);
  EXPECT_EQ(dictionary.find("a")->integer(), 9);
  EXPECT_EQ(dictionary.find("none"), nullptr);
}

TEST(PropertyListDictionary, EqualsAnotherOfTheSameEntriesInAnotherOrder) {
  const PropertyListDictionary dictionary{{"a", 1}, {"b", PropertyListDictionary{{"c", 2.5}}}};

  EXPECT_EQ(dictionary, (PropertyListDictionary{{"b", PropertyListDictionary{{"c", 2.5}}}, {"a", 1}}));
  EXPECT_FALSE(dictionary == (PropertyListDictionary{{"a", 1}}));
  EXPECT_FALSE(dictionary == (PropertyListDictionary{{"a", 1}, {"b", 2}}));
  EXPECT_FALSE(dictionary == (PropertyListDictionary{{"a", 1}, {"d", 2}}));
}

// At whichever of its allocations memory runs out.
TEST(PropertyListDictionary, StaysAsItWasWhereThereIsNoMemoryForAKey) {
  const std::string key = "a key too long to lie inside a string";
  const PropertyListDictionary before{{"z", 1}};
  bool hasFailed = true;
  int failures = 0;
  for (long allowed = 0; hasFailed; ++allowed) {
    PropertyListDictionary dictionary{{"z", 1}};
    {
      const FailingAllocation failing(allowed);
      try {
        dictionary.set(key, 2);
      } catch (const std::bad_alloc&) {
        ++failures;
      }
      hasFailed = failing.hasFailed();
    }
    if (!hasFailed) break;
    EXPECT_EQ(dictionary.find(key), nullptr);
    EXPECT_EQ(dictionary, before);
    dictionary.set("m", 3);
    dictionary.set(key, 4);
    EXPECT_THAT(keysOf(dictionary), testing::ElementsAre("z", "m", key));
    EXPECT_EQ(dictionary.find(key)->integer(), 4);
    EXPECT_EQ(dictionary.find("m")->integer(), 3);
  }
  EXPECT_GE(failures, 3);  // the key, its place, its entry
}

TEST(PropertyListDictionary, CopiesAreIndependent) {
  PropertyListDictionary first{{"a", 1}};
  PropertyListDictionary second = first;

  second.set("a", 2);
  first.remove("a");

  EXPECT_EQ(second.find("a")->integer(), 2);
  EXPECT_TRUE(first.empty());
}

TEST(PropertyListDictionary, ACopyOutlivesWhatItWasCopiedFrom) {
  PropertyListDictionary copy;
  {
    const PropertyListDictionary first{{"a", PropertyListDictionary{{"b", "text"}}}};
    copy = first;
  }

  EXPECT_EQ(*copy.find("a")->dictionary()->find("b")->string(), "text");
}

TEST(PropertyListDictionary, ChangesBelowACopiedValueStayInIt) {
  const PropertyListValue first(PropertyListDictionary{{"a", 1}});
  PropertyListValue second = first;

  second.dictionary()->set("a", 2);

  EXPECT_EQ(first.dictionary()->find("a")->integer(), 1);
  EXPECT_EQ(second.dictionary()->find("a")->integer(), 2);
}

TEST(PropertyListDictionary, IsAssignedToItselfAndGivenAway) {
  PropertyListDictionary first{{"a", 1}};
  const PropertyListDictionary& itself = first;

  first = itself;
  const PropertyListDictionary second = std::move(first);
  first = {};
  first.set("b", 2);

  EXPECT_EQ(second, (PropertyListDictionary{{"a", 1}}));
  EXPECT_EQ(first, (PropertyListDictionary{{"b", 2}}));
}

TEST(PropertyListDictionary, CopiesChangeOnManyThreadsAtOnce) {
  const PropertyListDictionary first{{"a", 0}};
  std::vector<std::thread> threads;
  std::vector<PropertyListDictionary> results(4);
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([mine = first, &result = results[i], i]() mutable {
      for (int round = 0; round < 1000; ++round) {
        const PropertyListDictionary kept = mine;
        mine.set("a", kept.find("a")->integer().value() + static_cast<int>(i));
      }
      result = std::move(mine);
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(first.find("a")->integer(), 0);
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(results[i].find("a")->integer(), static_cast<std::int64_t>(1000 * i));
  }
}

}  // namespace
}  // namespace morv
