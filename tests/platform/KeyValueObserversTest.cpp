#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/KeyValueObservers.h"

namespace morv {
namespace {

using Moment = KeyValueObservers::Moment;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class KeyValueObservation : public testing::Test {
 protected:
  KeyValueObservers::Observer remember(const std::string& who) {
    return [this, who](Moment moment) { told_.emplace_back(who, moment); };
  }

  KeyValueObservers observers_;
  std::vector<std::pair<std::string, Moment>> told_;
};

TEST_F(KeyValueObservation, TellsAheadOfAChangeAndBehindIt) {
  observers_.add("tree", remember("one"));
  observers_.add("tree", remember("two"));

  observers_.willChangeValueForKey("tree");
  observers_.didChangeValueForKey("tree");

  EXPECT_THAT(told_, ElementsAre(Pair("one", Moment::willChange), Pair("two", Moment::willChange),
                                 Pair("one", Moment::didChange), Pair("two", Moment::didChange)));
}

TEST_F(KeyValueObservation, TellsNobodyOfAnotherProperty) {
  observers_.add("tree", remember("one"));

  observers_.didChangeValueForKey("tempo");

  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(KeyValueObservation, EndsWithItsRemoval) {
  const auto token = observers_.add("tree", remember("one"));
  observers_.add("tree", remember("two"));

  observers_.remove(token);
  observers_.remove(token);
  observers_.didChangeValueForKey("tree");

  EXPECT_THAT(told_, ElementsAre(Pair("two", Moment::didChange)));
}

TEST_F(KeyValueObservation, ObserversMayComeAndGoInsideACall) {
  KeyValueObservers::Token second = 0;
  observers_.add("tree", [&](Moment) {
    observers_.remove(second);
    observers_.add("tree", remember("late"));
  });
  second = observers_.add("tree", remember("second"));

  observers_.willChangeValueForKey("tree");
  EXPECT_THAT(told_, IsEmpty());
  observers_.didChangeValueForKey("tree");

  EXPECT_THAT(told_, ElementsAre(Pair("late", Moment::didChange)));
}

}  // namespace
}  // namespace morv
