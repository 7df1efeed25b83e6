#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/SettingsStore.h"

namespace morv {
namespace {

TEST(SettingsStore, ReadsAMissingKeyAsNothing) {
  const SettingsStore store;

  EXPECT_FALSE(store.has("midiMode"));
  EXPECT_FALSE(store.boolForKey("midiMode"));
  EXPECT_EQ(store.integerForKey("midiMode"), 0);
  EXPECT_EQ(store.doubleForKey("midiMode"), 0.0);
  EXPECT_EQ(store.stringForKey("midiMode"), "");
}

TEST(SettingsStore, KeepsEachKindOfValue) {
  SettingsStore store;

  store.setBool("b", true);
  store.setInteger("i", -7);
  store.setDouble("d", 2.75);
  store.setString("s", "cloud");

  EXPECT_TRUE(store.boolForKey("b"));
  EXPECT_EQ(store.integerForKey("i"), -7);
  EXPECT_EQ(store.doubleForKey("d"), 2.75);
  EXPECT_EQ(store.stringForKey("s"), "cloud");
}

TEST(SettingsStore, ReadsOneKindAsAnother) {
  SettingsStore store;
  store.setBool("b", true);
  store.setInteger("i", 3);
  store.setDouble("d", -2.75);
  store.setString("s", "12");

  EXPECT_EQ(store.integerForKey("b"), 1);
  EXPECT_EQ(store.doubleForKey("b"), 1.0);
  EXPECT_TRUE(store.boolForKey("i"));
  EXPECT_EQ(store.doubleForKey("i"), 3.0);
  EXPECT_EQ(store.integerForKey("d"), -2);
  EXPECT_TRUE(store.boolForKey("d"));
  EXPECT_EQ(store.integerForKey("s"), 0);
  EXPECT_EQ(store.stringForKey("i"), "");
}

TEST(SettingsStore, KeepsArraysDictionariesAndData) {
  SettingsStore store;
  const PropertyListDictionary presets{{"a", PropertyListDictionary{{"b", 1.5}}}};

  store.setStrings("favs", {"one", "two"});
  store.setValue("presets", presets);
  store.setValue("token", PropertyListValue::Data{7});
  store.setValue("mixed", PropertyListValue::Array{1, "x", true});

  EXPECT_THAT(store.stringsForKey("favs"), testing::ElementsAre("one", "two"));
  EXPECT_EQ(store.valueForKey("presets"), PropertyListValue(presets));
  EXPECT_EQ(store.valueForKey("token"), PropertyListValue(PropertyListValue::Data{7}));
  EXPECT_THAT(store.stringsForKey("mixed"), testing::ElementsAre("x"));
  EXPECT_THAT(store.stringsForKey("presets"), testing::IsEmpty());
  EXPECT_EQ(store.integerForKey("presets"), 0);
  EXPECT_FALSE(store.valueForKey("none"));
}

TEST(SettingsStore, HasNothingToSynchroniseInMemoryAlone) {
  SettingsStore store;
  store.setInteger("a", 1);

  EXPECT_TRUE(store.synchronize());

  EXPECT_EQ(store.integerForKey("a"), 1);
}

TEST(SettingsStore, CutsRealsThatNoIntegerHolds) {
  SettingsStore store;
  store.setDouble("high", 1e300);
  store.setDouble("low", -1e300);
  store.setDouble("none", std::numeric_limits<double>::quiet_NaN());

  EXPECT_EQ(store.integerForKey("high"), INT64_MAX);
  EXPECT_EQ(store.integerForKey("low"), INT64_MIN);
  store.setValue("great", UINT64_MAX);
  EXPECT_EQ(store.integerForKey("great"), INT64_MAX);
  EXPECT_EQ(store.integerForKey("none"), 0);
}

TEST(SettingsStore, TellsObserversOfEachChangeAndOnlyOfChanges) {
  SettingsStore store;
  std::vector<std::string> seen;
  store.addObserver([&](const std::string& key) { seen.push_back(key); });

  store.setInteger("a", 1);
  store.setInteger("a", 1);
  store.setInteger("a", 2);
  store.setDouble("a", 2.0);
  store.remove("a");
  store.remove("a");

  EXPECT_THAT(seen, testing::ElementsAre("a", "a", "a", "a"));
}

TEST(SettingsStore, UpdatesAValueFromWhatItWas) {
  SettingsStore store;
  std::vector<std::string> seen;
  store.addObserver([&](const std::string& key) { seen.push_back(key); });
  std::vector<std::optional<SettingsStore::Value>> found;
  const auto put = [&](std::optional<SettingsStore::Value> next) {
    EXPECT_TRUE(store.update("a", [&](std::optional<SettingsStore::Value>& value) {
      found.push_back(value);
      value = next;
    }));
  };

  put(1);
  put(2);
  EXPECT_EQ(store.integerForKey("a"), 2);
  put(2);
  put(std::nullopt);
  put(std::nullopt);

  EXPECT_FALSE(store.has("a"));
  const SettingsStore::Value one(1);
  const SettingsStore::Value two(2);
  EXPECT_THAT(found, testing::ElementsAre(std::nullopt, one, two, two, std::nullopt));
  EXPECT_THAT(seen, testing::ElementsAre("a", "a", "a"));
}

TEST(SettingsStore, LosesNoUpdateOfSeveralThreads) {
  SettingsStore store;
  constexpr int kThreads = 4;
  constexpr int kTurns = 500;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < kTurns; ++turn) {
        EXPECT_TRUE(store.update("a", [](std::optional<SettingsStore::Value>& value) {
          value = (value ? *value->integer() : 0) + 1;
        }));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(store.integerForKey("a"), kThreads * kTurns);
}

TEST(SettingsStore, HasNothingToRefreshInMemory) {
  SettingsStore store;
  store.setInteger("a", 1);

  EXPECT_TRUE(store.refresh());

  EXPECT_EQ(store.integerForKey("a"), 1);
}

TEST(SettingsStore, LetsAnObserverReadAndWriteTheStore) {
  SettingsStore store;
  store.addObserver([&](const std::string& key) {
    if (key == "source") store.setInteger("copy", store.integerForKey("source"));
  });

  store.setInteger("source", 5);

  EXPECT_EQ(store.integerForKey("copy"), 5);
}

TEST(SettingsStore, StopsTellingARemovedObserver) {
  SettingsStore store;
  int first = 0;
  int second = 0;
  const auto token = store.addObserver([&](const std::string&) { ++first; });
  store.addObserver([&](const std::string&) { ++second; });

  store.removeObserver(token);
  store.setBool("a", true);

  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

}  // namespace
}  // namespace morv
