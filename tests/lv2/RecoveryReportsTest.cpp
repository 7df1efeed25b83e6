// How the host hears of state that was no number.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "hosts/lv2/PluginInstance.h"
#include "hosts/lv2/RecoveryReports.h"
#include "platform/DiagnosticRing.h"
#include "tests/lv2/Lv2Fixture.h"
#include "voice/ZRTurboVoice.h"

namespace morv::lv2 {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Reaches the engine of a unit.
struct Inside : ZQ3Unit {
  static ZRDSPInstrument& of(ZQ3Unit& unit) { return *(unit.*(&Inside::_kernel)).instrument; }
};

class RecoveryReports : public Lv2Fixture {
 protected:
  static ZRTurboVoice& firstVoice(Lv2Host& host) {
    auto* instance = static_cast<PluginInstance*>(lilv_instance_get_handle(host.instance()));
    return static_cast<ZRTurboVoice&>(*Inside::of(instance->unit()).voices.front());
  }
};

TEST_F(RecoveryReports, AreWhatTheEnginesHaveReportedOfThemselvesAndNothingElse) {
  takeRecoveryReports();
  DiagnosticRing& ring = DiagnosticRing::shared();
  ring.post("voice# %i\n", 3);
  ring.postIntegersWord("[RECOVERY] %i: voice %i held what is no number: %s\n", 7, 2, "filter");
  ring.post("[RECOVERY] %i: the instrument held what is no number\n", 8);

  EXPECT_THAT(takeRecoveryReports(), ElementsAre("[RECOVERY] 7: voice 2 held what is no number: filter",
                                                 "[RECOVERY] 8: the instrument held what is no number"));
  EXPECT_THAT(takeRecoveryReports(), IsEmpty());
}

TEST_F(RecoveryReports, ReachTheHostsLogSoonAndOnce) {
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.run(640);
  ASSERT_THAT(host.logged, Not(Contains(HasSubstr("no number"))));

  firstVoice(host).filter->z1 = std::numeric_limits<float>::quiet_NaN();
  host.run(640);
  host.run(640);

  EXPECT_THAT(host.logged, Contains(HasSubstr("voice 0 held what is no number: filter")).Times(1));
  EXPECT_EQ(host.badSamples, 0U);
  host.logged.clear();
  host.runFor(48000, 512);
  EXPECT_THAT(host.logged, Not(Contains(HasSubstr("no number"))));
}

// Each note leaves a line in the ring, and nothing else may ask for it to be emptied.
TEST_F(RecoveryReports, FindRoomHoweverManyNotesCome) {
  Lv2Host host(world_);
  host.activate();
  for (std::size_t i = 0; i < 2 * DiagnosticRing::kCapacity; ++i) {
    DiagnosticRing::shared().post("voice# %i\n", 1);
    if (i % 64 == 63) host.run(64);
  }
  host.noteOn(0, 60);
  host.run(640);

  firstVoice(host).filter->z1 = std::numeric_limits<float>::quiet_NaN();
  host.run(640);
  host.run(640);

  EXPECT_THAT(host.logged, Contains(HasSubstr("voice 0 held what is no number: filter")).Times(1));
}

// The ring may be full of other lines, which nobody takes meanwhile.
TEST_F(RecoveryReports, AreToldInShortIfTheRingHadNoRoomForThem) {
  Lv2Host host(world_);
  host.activate();
  host.noteOn(0, 60);
  host.run(640);
  for (std::size_t i = 0; i < DiagnosticRing::kCapacity; ++i) DiagnosticRing::shared().post("voice# %i\n", 1);

  firstVoice(host).filter->z1 = std::numeric_limits<float>::quiet_NaN();
  host.run(640);
  host.run(640);

  EXPECT_THAT(host.logged, Contains(HasSubstr("state that was no number was put back, 1 times so far")));
}

}  // namespace
}  // namespace morv::lv2
