#include <gtest/gtest.h>

#include "voice/Smoothing.h"

namespace morv {
namespace {

TEST(Smoothing, ReachesAThousandthOfTheStepAfterItsTime) {
  const float c = smoothingCoefficient(20.0, 44100.0F);
  float y = 0;

  for (int i = 0; i < 882; ++i) y = c * (y - 1.0F) + 1.0F;  // 20 ms at 44100 Hz

  EXPECT_NEAR(1.0F - y, 0.001F, 2e-6F);
}

}  // namespace
}  // namespace morv
