#include <gtest/gtest.h>

#include "tests/realtime/NoteStorm.h"

namespace morv {
namespace {

class NoteStorm : public testing::TestWithParam<int> {};

TEST_P(NoteStorm, KeepsEverySampleFiniteAndNeverAllocatesLocksOrWaits) {
  const auto seed = static_cast<std::uint64_t>(GetParam());

  const StormResult result = runNoteStorm(seed, 10.0);

  EXPECT_EQ(result.badSamples, 0) << "seed " << seed;
  EXPECT_EQ(result.trappedCalls, 0) << "seed " << seed << " last " << result.lastTrapped;
  EXPECT_EQ(result.recoveries, 0U) << "seed " << seed;
  EXPECT_GT(result.peak, 0.01F) << "seed " << seed;
  EXPECT_GE(result.mostVoices, 4) << "seed " << seed;
  EXPECT_GT(result.arpeggiatedNotes, 10) << "seed " << seed;
}

INSTANTIATE_TEST_SUITE_P(Seeds, NoteStorm, testing::Range(1, 9));

}  // namespace
}  // namespace morv
