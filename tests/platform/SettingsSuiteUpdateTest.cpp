// Changes of single settings that processes share, in one step.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/SettingsSuite.h"
#include "tests/platform/ChildProcess.h"
#include "tests/platform/SettingsSuiteTesting.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class SettingsSuiteUpdateTest : public SettingsFileTest {
 protected:
  // Puts a name into a dictionary.
  static SettingsStore::Change adding(const std::string& name) {
    return [name](std::optional<PropertyListValue>& value) {
      if (!value) value = PropertyListDictionary();
      value->dictionary()->set(name, true);
    };
  }
};

TEST_F(SettingsSuiteUpdateTest, UpdatesWhatTheFileHoldsAtThatMomentAndTells) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);
  std::vector<std::string> seen;
  other.addObserver([&](const std::string& key) {
    seen.push_back(key);
    EXPECT_TRUE(other.synchronize());  // no lock is held
  });
  ASSERT_TRUE(one.update("names", adding("one")));
  one.setInteger("a", 1);
  ASSERT_TRUE(one.synchronize());

  ASSERT_TRUE(other.update("names", adding("other")));

  const PropertyListDictionary both{{"one", true}, {"other", true}};
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"names", both}, {"a", 1}}));
  EXPECT_EQ(other.valueForKey("names"), PropertyListValue(both));
  EXPECT_EQ(other.integerForKey("a"), 1);
  EXPECT_THAT(seen, UnorderedElementsAre("names", "a"));
}

TEST_F(SettingsSuiteUpdateTest, UpdatesAChangeOfItsOwnThatWaitsAndWritesWhatElseWaits) {
  SettingsSuite one(folder(), kSuiteName);
  SettingsSuite other(folder(), kSuiteName);
  ASSERT_TRUE(one.update("names", adding("one")));
  other.setValue("names", PropertyListDictionary{{"waiting", true}});
  other.setInteger("a", 1);

  ASSERT_TRUE(other.update("names", adding("other")));

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{
                          {"names", PropertyListDictionary{{"waiting", true}, {"other", true}}}, {"a", 1}}));
}

TEST_F(SettingsSuiteUpdateTest, RemovesAKeyByAnUpdate) {
  put("<plist><dict><key>a</key><true/><key>b</key><true/></dict></plist>");
  SettingsSuite suite(folder(), kSuiteName);

  ASSERT_TRUE(suite.update("a", [](std::optional<PropertyListValue>& value) { value.reset(); }));

  EXPECT_FALSE(suite.has("a"));
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"b", true}}));
}

TEST_F(SettingsSuiteUpdateTest, WritesNothingForAnUpdateThatChangesNothing) {
  const std::string text = "<plist><dict><key>names</key><dict><key>one</key><true/></dict></dict></plist>";
  put(text);
  SettingsSuite suite(folder(), kSuiteName);

  ASSERT_TRUE(suite.update("names", adding("one")));

  EXPECT_EQ(fs::file_size(file()), text.size());
}

TEST_F(SettingsSuiteUpdateTest, AnUpdateOfAFileThatCannotBeReadOrLockedFailsAndChangesNothing) {
  SettingsSuite suite(folder(), kSuiteName);
  suite.setInteger("waits", 1);
  fs::create_directories(file());  // a folder of that name
  EXPECT_FALSE(suite.update("names", adding("one")));
  EXPECT_FALSE(suite.has("names"));
  fs::remove(file());
  fs::remove(file() + ".lock");
  fs::create_directories(file() + ".lock");
  EXPECT_FALSE(suite.update("names", adding("two")));
  EXPECT_FALSE(suite.has("names"));
  EXPECT_FALSE(fs::exists(file()));
  fs::remove(file() + ".lock");

  EXPECT_TRUE(suite.synchronize());

  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"waits", 1}}));
}

TEST_F(SettingsSuiteUpdateTest, AnUpdateToWhatCannotBeWrittenFailsAndChangesNothing) {
  SettingsSuite suite(folder(), kSuiteName);
  ASSERT_TRUE(suite.update("names", adding("one")));
  suite.setInteger("waits", 1);

  const Outcome done = suite.update("names", adding("\xFF"));

  ASSERT_FALSE(done);
  EXPECT_THAT(done.reason(), HasSubstr("\"names\""));
  const PropertyListDictionary names{{"one", true}};
  EXPECT_EQ(suite.valueForKey("names"), PropertyListValue(names));
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"names", names}}));
  ASSERT_TRUE(suite.synchronize());
  EXPECT_EQ(onDisk(), PropertyListValue(PropertyListDictionary{{"names", names}, {"waits", 1}}));
}

TEST_F(SettingsSuiteUpdateTest, LosesNoEntryOfOneDictionaryWhenProcessesUpdateItAtOnce) {
  constexpr int kProcesses = 2;
  constexpr int kSuiteNames = 20;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(std::make_unique<ChildProcess>([&, process] {
      SettingsSuite suite(folder(), kSuiteName);
      ChildProcess::giveSign();
      if (!ChildProcess::waitForGo()) return 1;
      for (int i = 0; i < kSuiteNames; ++i) {
        if (!suite.update("names", adding(std::to_string(process) + "-" + std::to_string(i)))) return 1;
      }
      return 0;
    }));
  }
  for (const auto& child : children) ASSERT_TRUE(child->waitForSign());
  for (const auto& child : children) child->letGo();
  for (const auto& child : children) ASSERT_EQ(child->wait(), 0);

  const PropertyListValue held = onDisk();

  const PropertyListDictionary& names = *held.dictionary()->find("names")->dictionary();
  EXPECT_EQ(names.size(), 40U);
  for (int process = 0; process < kProcesses; ++process) {
    for (int i = 0; i < kSuiteNames; ++i) {
      const std::string name = std::to_string(process) + "-" + std::to_string(i);
      EXPECT_NE(names.find(name), nullptr) << name;
    }
  }
}

}  // namespace
}  // namespace morv
