#include <gtest/gtest.h>

#include "tests/realtime/NoteStorm.h"

namespace morv {
namespace {

TEST(LongNoteStorm, TenMinutesStayFiniteWithoutAnAllocationLockOrWait) {
  constexpr std::uint64_t kSeed = 20260101;

  const StormResult result = runNoteStorm(kSeed, 600.0);

  EXPECT_GE(result.seconds, 600.0);
  EXPECT_EQ(result.badSamples, 0) << "seed " << kSeed;
  EXPECT_EQ(result.recoveries, 0U) << "seed " << kSeed;
  EXPECT_EQ(result.trappedCalls, 0) << "seed " << kSeed << " last " << result.lastTrapped;
}

}  // namespace
}  // namespace morv
