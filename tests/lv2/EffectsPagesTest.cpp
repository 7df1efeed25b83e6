// Whether the system must be waited for while an effect fills its lines for the first time. A sanitizer's own
// pages come along with each access, so this is for the plain build.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/lv2/EffectsFixture.h"
#include "tests/lv2/Figures.h"

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

}  // namespace
}  // namespace morv::lv2
