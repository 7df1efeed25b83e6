#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/PropertyListValue.h"
#include "unit/WaitingPresets.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

PropertyListDictionary state(int volume) { return {{"volume", volume}}; }

TEST(WaitingPresets, ChangesOnlyTheNamesThatWait) {
  WaitingPresets waiting;
  waiting.set("new", state(1));
  waiting.set("held", state(2));
  waiting.remove("gone");
  PropertyListDictionary presets{{"held", state(0)}, {"gone", state(0)}, {"other", state(0)}};

  waiting.applyTo(&presets);

  EXPECT_EQ(presets, (PropertyListDictionary{{"held", state(2)}, {"other", state(0)}, {"new", state(1)}}));
}

TEST(WaitingPresets, TakesTheLatestWishForEachName) {
  WaitingPresets waiting;
  waiting.set("a", state(1));
  waiting.remove("a");
  waiting.remove("b");
  waiting.set("b", state(2));
  PropertyListDictionary presets{{"a", state(0)}, {"b", state(0)}};

  waiting.applyTo(&presets);

  EXPECT_EQ(presets, (PropertyListDictionary{{"b", state(2)}}));
}

TEST(WaitingPresets, ForgetsAllWhenCleared) {
  WaitingPresets waiting;
  waiting.set("a", state(1));
  waiting.remove("b");
  PropertyListDictionary presets{{"b", state(0)}};

  waiting.clear();
  waiting.applyTo(&presets);

  EXPECT_EQ(presets, (PropertyListDictionary{{"b", state(0)}}));
}

TEST(WaitingPresets, DropsOnlyWhatCannotBeWritten) {
  WaitingPresets waiting;
  waiting.set("a", state(1));
  waiting.set("\x01", state(2));
  waiting.set("bad state", {{"text", "\xFF"}});
  PropertyListDictionary presets;

  const auto reasons = waiting.dropWhatCannotBeWritten();
  waiting.applyTo(&presets);

  EXPECT_THAT(reasons,
              ElementsAre(HasSubstr("the preset \"\x01\" cannot be kept: "), HasSubstr("bad state")));
  EXPECT_EQ(presets, (PropertyListDictionary{{"a", state(1)}}));
  EXPECT_THAT(waiting.dropWhatCannotBeWritten(), IsEmpty());
}

}  // namespace
}  // namespace morv
