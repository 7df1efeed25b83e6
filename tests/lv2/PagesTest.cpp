// Whether the system must be waited for while lines are filled for the first time, an effect's or the
// instrument's. A sanitizer's own pages come along with each access, so this is for the plain build.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/lv2/EffectsFixture.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

constexpr double kRateHz = 48000.0;
constexpr std::size_t kFrames = 192000;  // four seconds, two laps of the reverb's lines
constexpr std::size_t kCycle = 512;
constexpr long kFew = 8;  // lines fault some thousand times where their pages come with their use

long faultsOfThread() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_minflt;
}

class EffectsPages : public OneEffect {
 protected:
  // Of the plug-in alone; its code and the stack have been used in a first cycle.
  static long faultsOf(EffectHost& host) {
    const EffectSound in = noise(kFrames, 3);
    long faults = 0;
    for (std::size_t done = 0; done < kFrames; done += kCycle) {
      host.prepareCycle(std::span(in.left).subspan(done, kCycle), std::span(in.right).subspan(done, kCycle));
      const long before = faultsOfThread();
      host.runBare(kCycle);
      if (done > 0) faults += faultsOfThread() - before;
      host.finishCycle(kCycle);
    }
    return faults;
  }
};

TEST_F(EffectsPages, OfAnOversampledTapeAreThereFromTheStart) {
  const Lv2World world = worldOf("vadelay");
  EffectHost host(world, kRateHz);
  host.port("oversample") = 1;
  host.activate();

  const long faults = faultsOf(host);

  tellFigure("page faults of the oversampled tape in 4 s", static_cast<double>(faults));
  EXPECT_LE(faults, kFew);
}

TEST_F(EffectsPages, OfAReverbsManyLinesAreThereFromTheStartAndAfterAnActivation) {
  const Lv2World world = worldOf("digiverb");
  EffectHost host(world, kRateHz);
  host.port("mode") = 2;
  host.port("mix") = 1;
  host.activate();

  const long faults = faultsOf(host);

  tellFigure("page faults of the reverb in 4 s", static_cast<double>(faults));
  EXPECT_LE(faults, kFew);
  host.deactivate();
  host.activate();
  EXPECT_LE(faultsOf(host), kFew);
}

class InstrumentPages : public Lv2Fixture {};

// The echo's lines are the longest: five seconds.
TEST_F(InstrumentPages, OfTheEffectsLinesAreThereFromTheStartAndAfterAnActivation) {
  Lv2Host host(world_, kRateHz);
  host.keepsAudio = false;
  for (int activation = 0; activation < 2; ++activation) {
    for (const char* bypass : {"vachorus_chorusBypass", "basicdelay_echoBypass", "ecoverb_reverbBypass"}) {
      host.port(bypass) = 0;
    }
    host.activate();
    long faults = 0;
    for (int cycle = 0; cycle < 12 * 750; ++cycle) {
      if (cycle == 0) host.noteOn(0, 60);
      host.layOutEvents();
      const long before = faultsOfThread();
      host.runBare(64);
      // The first ones meet what is used in every cycle.
      if (cycle > 1) faults += faultsOfThread() - before;
      host.work();
    }
    host.deactivate();
    tellFigure("page faults of the instrument in 12 s", static_cast<double>(faults));
    EXPECT_LE(faults, kFew) << "activation " << activation;
  }
}

}  // namespace
}  // namespace morv::lv2
