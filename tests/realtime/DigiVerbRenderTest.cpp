// The digital reverb asks nothing of the system while it renders, whatever its controls do.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "effects/ZRDigiVerb.h"
#include "platform/DiagnosticRing.h"
#include "platform/ScopedFlushDenormals.h"
#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

TEST(DigiVerbRender, ChangesOfModeAndMessagesCallNothingOfTheSystem) {
  const auto verb = std::make_unique<ZRDigiVerb>(44100.0F);
  verb->mix = verb->dryGain = verb->decay = verb->diffusion = verb->modDepth = 0.5F;
  verb->inputGain = 4.0F;
  std::vector<float> left(4096);
  std::vector<float> right(4096);
  const long before = RenderTrap::caught();

  for (const int mode : {0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 4, 99}) {
    for (const int frames : {1, 7, 64, 4096}) {
      std::fill(left.begin(), left.end(), 3.0F);
      std::fill(right.begin(), right.end(), -3.0F);
      const ScopedFlushDenormals flush;
      const RenderTrap trap;
      verb->mode = mode;
      verb->size = static_cast<float>(frames % 5) * 0.2F;
      verb->runEffect(left.data(), right.data(), left.data(), right.data(), frames, 120.0F);
    }
  }

  EXPECT_EQ(RenderTrap::caught() - before, 0) << RenderTrap::lastCaught();
  DiagnosticRing::shared().drain(nullptr);
}

}  // namespace
}  // namespace morv
