// What sessions keep of the plug-in, and what comes back.

#include <gmock/gmock.h>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/PropertyListValue.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/lv2/Lv2StateReading.h"

namespace morv::lv2 {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class Lv2State : public Lv2Fixture {
 protected:
  static double cutoffIn(const std::string& text) { return unitValue(text, "morv", "filterCutoff"); }
};

TEST_F(Lv2State, RestoresEachParameterToItsExactValue) {
  Lv2Host host(world_);
  host.activate();
  int exact = 0;
  for (const std::string& symbol : host.parameterSymbols()) {
    const float before = host.port(symbol);
    host.run(64);
    const std::string saved = *host.save();
    const float greatest = world_.rangeOf(symbol).greatest;
    host.port(symbol) = greatest == before ? 0 : greatest;
    host.run(64);
    EXPECT_NE(StateEnvelope::fromText(*host.save()).value().unit, StateEnvelope::fromText(saved).value().unit)
        << symbol;
    host.restore(saved);
    host.port(symbol) = before;
    host.run(64);
    const bool isExact =
        StateEnvelope::fromText(*host.save()).value().unit == StateEnvelope::fromText(saved).value().unit;
    EXPECT_TRUE(isExact) << symbol;
    exact += isExact ? 1 : 0;
  }
  tellFigure("T40 parameters that came back exactly", exact);
}

// A program change has moved the values away from the ports; the session knows both.
TEST_F(Lv2State, AgreesWithThePortsInBothOrdersOfHosts) {
  Lv2Host first(world_);
  first.activate();
  first.port("filterCutoff") = 500.0F;
  first.port("filterResonance") = 0.5F;
  first.run(64);
  first.patchSet(0, std::string(kNamespace) + "filterCutoff", 4321.0F);
  first.run(64);
  const std::string saved = *first.save();
  ASSERT_EQ(cutoffIn(saved), 4321.0);

  const auto restored = [&](bool portsFirst, bool runsBetween) {
    Lv2Host host(world_);
    host.activate();
    host.run(64);
    const auto setPorts = [&host] {
      host.port("filterCutoff") = 500.0F;
      host.port("filterResonance") = 0.5F;
    };
    if (portsFirst) setPorts();
    if (portsFirst && runsBetween) host.run(64);
    host.restore(saved);
    if (!portsFirst && runsBetween) host.run(64);
    if (!portsFirst) setPorts();
    host.run(64);
    host.run(64);
    EXPECT_EQ(unitValue(*host.save(), "morv", "filterResonance"), 0.5);
    const double cutoff = cutoffIn(*host.save());
    // From now on the port moves it again.
    host.port("filterCutoff") = 700.0F;
    host.run(64);
    EXPECT_EQ(cutoffIn(*host.save()), 700.0);
    return cutoff;
  };
  for (const bool portsFirst : {false, true}) {
    for (const bool runsBetween : {false, true}) {
      EXPECT_EQ(restored(portsFirst, runsBetween), 4321.0) << portsFirst << runsBetween;
    }
  }
}

TEST_F(Lv2State, HoldsWithoutPortsThatAHostSetsBehind) {
  Lv2Host first(world_);
  first.activate();
  first.port("filterCutoff") = 500.0F;
  first.run(64);

  Lv2Host host(world_);
  host.restore(*first.save());
  host.activate();
  host.run(64);

  EXPECT_EQ(cutoffIn(*host.save()), 500.0);
}

TEST_F(Lv2State, IsTheRestoredOneUntilACycleHasTakenItOver) {
  Lv2Host first(world_);
  first.port("filterCutoff") = 500.0F;
  first.activate();
  first.run(64);
  const std::string saved = *first.save();
  Lv2Host host(world_);
  host.activate();
  host.run(64);

  host.restore(saved);

  EXPECT_EQ(*host.save(), saved);
}

// The pending state belongs to the unit that an activation replaces.
TEST_F(Lv2State, IsTakenOverByAnActivationToo) {
  Lv2Host first(world_);
  first.port("filterCutoff") = 500.0F;
  first.activate();
  first.run(64);
  const std::string saved = *first.save();
  Lv2Host host(world_);
  host.activate();
  host.run(64);

  host.restore(saved);
  host.activate();
  EXPECT_EQ(cutoffIn(*host.save()), 500.0);
  host.run(64);

  EXPECT_EQ(cutoffIn(*host.save()), 500.0);
}

// A program change waits for the worker when a session is restored: the session is the later one.
TEST_F(Lv2State, WinsOverAProgramChangeThatCameBefore) {
  Lv2Host first(world_);
  first.port("filterCutoff") = 500.0F;
  first.activate();
  first.run(64);
  const std::string saved = *first.save();
  for (const bool isWorkDoneBehind : {false, true}) {
    Lv2Host host(world_);
    host.activate();
    host.run(64);
    host.midi(0, {0xC0, 4});
    host.patchSet(0, kPresetUri, "[FACTORY]_BS_Bent Wire");
    host.layOutEvents();
    host.runBare(64);

    host.restore(saved);
    if (isWorkDoneBehind) host.work();
    host.runFor(64 * 20);

    const auto state = StateEnvelope::fromText(*host.save());
    EXPECT_EQ(state.value().unit, StateEnvelope::fromText(saved).value().unit) << isWorkDoneBehind;
    EXPECT_EQ(state.value().preset, "");
    host.notices.clear();
    host.patchGet(0, kPresetUri);
    host.run(64);
    EXPECT_THAT(host.notices, testing::ElementsAre("preset="));
  }
}

TEST_F(Lv2State, GivesWayToAProgramChangeThatComesBehind) {
  Lv2Host first(world_);
  first.port("filterCutoff") = 500.0F;
  first.activate();
  first.run(64);
  const std::string saved = *first.save();
  Lv2Host other(world_);
  other.activate();
  other.midi(0, {0xC0, 4});
  other.runFor(64 * 20);
  Lv2Host host(world_);
  host.activate();
  host.run(64);

  host.restore(saved);
  host.midi(0, {0xC0, 4});
  host.runFor(64 * 20);

  const auto state = StateEnvelope::fromText(*host.save());
  EXPECT_EQ(state.value().preset, "[FACTORY]_INIT_Plain Fingers");
  EXPECT_EQ(state.value().unit, StateEnvelope::fromText(*other.save()).value().unit);
}

// Of a state and what else sets parameters the later one counts. A port's memory is read in a cycle alone, so
// one that has moved since the last cycle counts as moved behind.
TEST_F(Lv2State, KeepsItsPlaceAmongPortsAndMessages) {
  const std::string cutoff = std::string(kNamespace) + "filterCutoff";
  Lv2Host first(world_);
  first.port("filterCutoff") = 500.0F;
  first.port("filterResonance") = 0.5F;
  first.activate();
  first.run(64);
  const std::string saved = *first.save();

  Lv2Host host(world_);
  host.activate();
  host.patchSet(63, cutoff, 777.0F);
  host.run(64);
  host.restore(saved);
  host.run(64);
  EXPECT_EQ(cutoffIn(*host.save()), 500.0) << "set before";

  for (const std::uint32_t frame : {0U, 63U}) {
    Lv2Host behind(world_);
    behind.activate();
    behind.run(64);
    behind.restore(saved);
    behind.patchSet(frame, cutoff, 777.0F);
    behind.port("filterResonance") = 0.25F;
    behind.run(64);
    EXPECT_EQ(cutoffIn(*behind.save()), 777.0) << "set behind, at " << frame;
    EXPECT_EQ(unitValue(*behind.save(), "morv", "filterResonance"), 0.25);
  }
}

TEST_F(Lv2State, RefusesWhatIsNoStateAndPlaysOn) {
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.run(64);
  const std::string before = *host.save();
  for (const std::string& bad :
       {std::string(), std::string("nonsense"),
        std::string("<plist version=\"1.0\"><string>x</string></plist>"),
        std::string("<plist version=\"1.0\"><dict><key>unit</key><dict><key>parameters</key>"
                    "<integer>3</integer></dict></dict></plist>"),
        before.substr(0, before.size() / 2)}) {
    EXPECT_EQ(host.restore(bad), LV2_STATE_ERR_UNKNOWN);
    EXPECT_THAT(host.logged, Contains(HasSubstr("cannot be used")));
    host.logged.clear();
    host.run(64);
    EXPECT_EQ(*host.save(), before);
  }
  EXPECT_EQ(host.badSamples, 0U);
}

TEST_F(Lv2State, TakesAPortsMoveForOneOnceTheHostHasHadItsTime) {
  Lv2Host first(world_);
  first.activate();
  first.port("filterCutoff") = 500.0F;
  first.run(64);
  first.patchSet(0, std::string(kNamespace) + "filterCutoff", 480.0F);
  first.run(64);
  const std::string saved = *first.save();
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  host.restore(saved);
  host.runFor(3 * 48000, 512);
  host.port("filterCutoff") = 500.0F;
  host.run(64);
  EXPECT_EQ(cutoffIn(*host.save()), 500.0);
}

TEST_F(Lv2State, TellsOfTheChangeWhenThereIsRoomForIt) {
  Lv2Host host(world_);
  host.activate();
  host.runFor(64 * 4);
  host.notices.clear();
  host.patchSet(0, std::string(kNamespace) + "filterCutoff", 480.0F);
  host.leaveRoomForNotices(8);
  host.run(64);
  host.run(64);
  EXPECT_THAT(host.notices, IsEmpty());
  host.leaveRoomForNotices(16000);
  host.run(64);
  EXPECT_THAT(host.notices, testing::ElementsAre("StateChanged"));
}

TEST_F(Lv2State, AnswersForParametersByMessages) {
  const std::string cutoff = std::string(kNamespace) + "filterCutoff";
  Lv2Host host(world_);
  host.activate();
  host.patchSet(10, cutoff, 777.0F);
  host.patchGet(20, cutoff);
  host.run(64);
  EXPECT_THAT(host.notices, Contains("filterCutoff=777.000000"));
  host.notices.clear();
  host.patchSet(0, cutoff, 1e30F);
  host.patchGet(0, cutoff);
  host.run(64);
  EXPECT_THAT(host.notices, Contains("filterCutoff=20000.000000"));
}

}  // namespace
}  // namespace morv::lv2
