#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/SettingsSuite.h"
#include "tests/platform/ChildProcess.h"
#include "tests/platform/SettingsSuiteTesting.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class SettingsSuiteTest : public SettingsFileTest {
 protected:
  std::vector<std::string> names() const {
    std::vector<std::string> list;
    for (const auto& entry : fs::directory_iterator(folder())) list.push_back(entry.path().filename());
    return list;
  }
  SettingsSuite::MessageHandler intoMessages() {
    return [this](const std::string& message) { messages_.push_back(message); };
  }

  std::vector<std::string> messages_;
};

TEST_F(SettingsSuiteTest, KeepsEveryKindOfValueForTheNextOneToOpenIt) {
  const PropertyListDictionary presets{{"[USER]_a", PropertyListDictionary{{"volume", 0.1F}}}};
  {
    SettingsSuite suite(folder(), kSuiteName);
    suite.setBool("b", true);
    suite.setInteger("i", INT64_MIN);
    suite.setDouble("d", 0.1);
    suite.setString("s", "\xC3\xA9");
    suite.setStrings("favs", {"x", "y"});
    suite.setValue("data", PropertyListValue::Data{1, 2});
    suite.setValue("presets", presets);
    EXPECT_TRUE(suite.synchronize());
  }

  const SettingsSuite suite(folder(), kSuiteName);

  EXPECT_TRUE(suite.boolForKey("b"));
  EXPECT_EQ(suite.integerForKey("i"), INT64_MIN);
  EXPECT_EQ(suite.doubleForKey("d"), 0.1);
  EXPECT_EQ(suite.stringForKey("s"), "\xC3\xA9");
  EXPECT_THAT(suite.stringsForKey("favs"), ElementsAre("x", "y"));
  EXPECT_EQ(suite.valueForKey("data"), PropertyListValue(PropertyListValue::Data{1, 2}));
  EXPECT_EQ(suite.valueForKey("presets"), PropertyListValue(presets));
}

TEST_F(SettingsSuiteTest, IsEmptyAndMakesNothingWhereThereIsNoFile) {
  {
    SettingsSuite suite(folder(), kSuiteName, intoMessages());
    EXPECT_FALSE(suite.has("a"));
    EXPECT_TRUE(suite.synchronize());
    EXPECT_TRUE(suite.refresh());
  }
  EXPECT_FALSE(fs::exists(folder()));
  EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(SettingsSuiteTest, WritesWhatWaitsWhenItGoes) {
  { SettingsSuite(folder(), kSuiteName).setInteger("a", 1); }

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}}));
  EXPECT_THAT(names(), UnorderedElementsAre("group.morv.plist", "group.morv.plist.lock"));
}

TEST_F(SettingsSuiteTest, LeavesAllOtherKeysAndTheirOrderAlone) {
  put("<plist><dict><key>z</key><date>2001-01-01T00:00:00Z</date><key>a</key><integer>1</integer>"
      "<key>m</key><string>keep</string></dict></plist>");
  {
    SettingsSuite suite(folder(), kSuiteName);
    suite.setInteger("a", 2);
    suite.setInteger("n", 3);
  }

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{
                          {"z", PropertyListDate{978307200}}, {"a", 2}, {"m", "keep"}, {"n", 3}}));
  EXPECT_EQ(onDisk().dictionary()->entries()[0].first, "z");
}

TEST_F(SettingsSuiteTest, RemovesAKeyFromTheFile) {
  put("<plist><dict><key>a</key><true/><key>b</key><true/></dict></plist>");
  SettingsSuite suite(folder(), kSuiteName);

  suite.remove("a");
  ASSERT_TRUE(suite.synchronize());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"b", true}}));
}

TEST_F(SettingsSuiteTest, BringsTheChangesOfTwoTogether) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);

  one.setInteger("a", 1);
  other.setInteger("b", 2);
  ASSERT_TRUE(one.synchronize());
  ASSERT_TRUE(other.synchronize());
  ASSERT_TRUE(one.refresh());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(one.integerForKey("b"), 2);
  EXPECT_EQ(other.integerForKey("a"), 1);
}

TEST_F(SettingsSuiteTest, TellsObserversOfWhatOthersHaveChanged) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);
  one.setInteger("gone", 1);
  one.setInteger("same", 1);
  one.setInteger("new", 1);
  ASSERT_TRUE(one.synchronize());
  ASSERT_TRUE(other.refresh());
  std::vector<std::string> seen;
  other.addObserver([&](const std::string& key) { seen.push_back(key); });

  one.remove("gone");
  one.setInteger("new", 2);
  ASSERT_TRUE(one.synchronize());
  EXPECT_THAT(seen, IsEmpty());
  ASSERT_TRUE(other.refresh());
  ASSERT_TRUE(other.refresh());

  EXPECT_THAT(seen, UnorderedElementsAre("gone", "new"));
  EXPECT_FALSE(other.has("gone"));
}

TEST_F(SettingsSuiteTest, KeepsAChangeOfItsOwnThatWaitsWhenOthersChangeTheKey) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);
  one.setInteger("a", 1);
  ASSERT_TRUE(one.synchronize());

  other.setInteger("a", 2);
  ASSERT_TRUE(other.refresh());
  EXPECT_EQ(other.integerForKey("a"), 2);
  ASSERT_TRUE(other.synchronize());
  ASSERT_TRUE(one.synchronize());

  EXPECT_EQ(one.integerForKey("a"), 2);
}

TEST_F(SettingsSuiteTest, SeesEachOfManyQuickChangesByAnother) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);

  for (int i = 1; i < 60; ++i) {
    one.setInteger("a", i % 10);
    ASSERT_TRUE(one.synchronize());
    ASSERT_TRUE(other.refresh());
    ASSERT_EQ(other.integerForKey("a"), i % 10);
  }
}

TEST_F(SettingsSuiteTest, LetsAnObserverSynchronise) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);
  one.setInteger("a", 1);
  ASSERT_TRUE(one.synchronize());
  other.addObserver([&](const std::string& key) {
    if (key == "a") other.setInteger("b", 2);
    EXPECT_TRUE(other.synchronize());
  });

  ASSERT_TRUE(other.refresh());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(SettingsSuiteTest, LosesNoKeyWhenProcessesWriteAtOnce) {
  constexpr int kProcesses = 4;
  constexpr int kKeys = 20;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(std::make_unique<ChildProcess>([&, process] {
      SettingsSuite suite(folder(), kSuiteName);
      for (int i = 0; i < kKeys; ++i) {
        suite.setInteger(std::to_string(process) + "-" + std::to_string(i), i);
        if (!suite.synchronize()) return 1;
      }
      return 0;
    }));
  }
  for (const auto& child : children) ASSERT_EQ(child->wait(), 0);

  const SettingsSuite suite(folder(), kSuiteName);

  for (int process = 0; process < kProcesses; ++process) {
    for (int i = 0; i < kKeys; ++i) {
      const std::string key = std::to_string(process) + "-" + std::to_string(i);
      EXPECT_TRUE(suite.has(key)) << key;
      EXPECT_EQ(suite.integerForKey(key), i);
    }
  }
}

TEST_F(SettingsSuiteTest, IsWholeAfterAWriterWasKilled) {
  constexpr int kKills = 25;
  for (int i = 0; i < kKills; ++i) {
    ChildProcess writer([&] {
      SettingsSuite suite(folder(), kSuiteName);
      for (std::int64_t turn = 0;; ++turn) {
        suite.setInteger("first", turn);
        suite.setInteger("second", turn);
        if (!suite.synchronize()) return 1;
        if (turn == i % 7) ChildProcess::giveSign();
      }
    });
    ASSERT_TRUE(writer.waitForSign());
    writer.kill();

    const SettingsSuite suite(folder(), kSuiteName, intoMessages());
    EXPECT_TRUE(suite.has("first"));
    EXPECT_EQ(suite.integerForKey("first"), suite.integerForKey("second"));
  }
  EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(SettingsSuiteTest, IsUsedFromSeveralThreadsAtOnce) {
  SettingsSuite suite(folder(), kSuiteName);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&suite, i] {
      for (int j = 0; j < 20; ++j) {
        suite.setInteger(std::to_string(i), j);
        EXPECT_TRUE(suite.synchronize());
        EXPECT_TRUE(suite.refresh());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"0", 19}, {"1", 19}, {"2", 19}, {"3", 19}}));
}

TEST_F(SettingsSuiteTest, SetsADamagedFileAsideWithAMessage) {
  put("<plist><dict><key>a</key>");
  {
    SettingsSuite suite(folder(), kSuiteName, intoMessages());
    EXPECT_FALSE(suite.has("a"));
    suite.setInteger("b", 1);
  }

  ASSERT_EQ(messages_.size(), 1U);
  EXPECT_THAT(messages_[0], HasSubstr("line 1: the file ends too soon"));
  EXPECT_THAT(messages_[0], HasSubstr("group.morv.plist.damaged"));
  EXPECT_THAT(names(),
              UnorderedElementsAre("group.morv.plist", "group.morv.plist.damaged", "group.morv.plist.lock"));
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"b", 1}}));
}

TEST_F(SettingsSuiteTest, SetsAFileAsideThatIsNoDictionaryAndKeepsTheOlderOnes) {
  put("damaged");
  { const SettingsSuite suite(folder(), kSuiteName, intoMessages()); }
  put("<plist><array/></plist>");
  { const SettingsSuite suite(folder(), kSuiteName, intoMessages()); }

  ASSERT_EQ(messages_.size(), 2U);
  EXPECT_THAT(messages_[1], HasSubstr("no dictionary"));
  EXPECT_THAT(names(), UnorderedElementsAre("group.morv.plist.damaged", "group.morv.plist.damaged-2",
                                            "group.morv.plist.lock"));
}

TEST_F(SettingsSuiteTest, WritesAllThatItHoldsWhenTheFileIsDamagedMeanwhile) {
  SettingsSuite suite(folder(), kSuiteName, intoMessages());
  suite.setInteger("a", 1);
  suite.setInteger("b", 2);
  ASSERT_TRUE(suite.synchronize());
  put("damaged");

  suite.setInteger("b", 3);
  ASSERT_TRUE(suite.synchronize());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}, {"b", 3}}));
  put("damaged again");
  ASSERT_TRUE(suite.refresh());
  EXPECT_EQ(suite.integerForKey("a"), 1);
  ASSERT_TRUE(suite.synchronize());
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}, {"b", 3}}));
  EXPECT_EQ(messages_.size(), 2U);
}

TEST_F(SettingsSuiteTest, ForgetsWhatAnotherHasDeletedWithTheFile) {
  SettingsSuite suite(folder(), kSuiteName);
  suite.setInteger("a", 1);
  ASSERT_TRUE(suite.synchronize());

  fs::remove(file());
  suite.setInteger("b", 2);
  ASSERT_TRUE(suite.refresh());

  EXPECT_FALSE(suite.has("a"));
  EXPECT_EQ(suite.integerForKey("b"), 2);
}

TEST_F(SettingsSuiteTest, WritesNothingOverAFileThatCannotBeRead) {
  fs::create_directories(file());  // a folder of that name
  SettingsSuite suite(folder(), kSuiteName, intoMessages());
  suite.setInteger("a", 1);

  EXPECT_FALSE(suite.synchronize());

  EXPECT_THAT(messages_, ElementsAre(HasSubstr("no regular file")));
  fs::remove(file());
  EXPECT_TRUE(suite.synchronize());
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"a", 1}}));
}

TEST_F(SettingsSuiteTest, LeavesOutWhatNoPropertyListCanHold) {
  SettingsSuite suite(folder(), kSuiteName, intoMessages());
  suite.setString("bad", "\xFF");
  suite.setInteger("good", 1);

  EXPECT_TRUE(suite.synchronize());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"good", 1}}));
  EXPECT_EQ(suite.stringForKey("bad"), "\xFF");
  EXPECT_THAT(messages_, ElementsAre(HasSubstr("\"bad\"")));
}

TEST_F(SettingsSuiteTest, LeavesTheFilesOldValueWhereTheNewOneCannotBeWritten) {
  SettingsSuite suite(folder(), kSuiteName, intoMessages());
  suite.setValue("presets", PropertyListDictionary{{"old", 1}});
  ASSERT_TRUE(suite.synchronize());

  suite.setValue("presets", PropertyListDictionary{{"old", 1}, {"\xFF", 2}});
  suite.setInteger("good", 1);
  EXPECT_TRUE(suite.synchronize());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{
                          {"presets", PropertyListDictionary{{"old", 1}}}, {"good", 1}}));
  EXPECT_EQ(suite.valueForKey("presets")->dictionary()->size(), 2U);
  EXPECT_THAT(messages_, ElementsAre(HasSubstr("\"presets\"")));
}

TEST_F(SettingsSuiteTest, KeepsSuitesOfDifferentNamesApart) {
  SettingsSuite one(folder(), "one");
  SettingsSuite other(folder(), "other");

  one.setInteger("a", 1);
  ASSERT_TRUE(one.synchronize());
  ASSERT_TRUE(other.refresh());

  EXPECT_FALSE(other.has("a"));
  EXPECT_EQ(one.path(), folder() + "/one.plist");
}

}  // namespace
}  // namespace morv
