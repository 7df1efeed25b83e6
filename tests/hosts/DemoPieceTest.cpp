#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

// The piece that a newcomer hears first.
class DemoPiece : public ProgramFixture {
 protected:
  void SetUp() override {
    const auto run = runMorv({"render", "--midi", MORV_DEMO_FOLDER "/demo.mid", "--automation",
                              MORV_DEMO_FOLDER "/demo.csv", "--out", out_});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.errors, testing::Not(testing::HasSubstr("outside")));
    const auto interleaved = sound();
    for (std::size_t i = 0; i < interleaved.size(); i += 2) left_.push_back(interleaved[i]);
    peak_ = 0;
    for (const float sample : interleaved) peak_ = std::max(peak_, std::abs(sample));
  }
  double levelDb(double beginSeconds, double endSeconds) const {
    const auto begin = static_cast<std::size_t>(beginSeconds * kRateHz);
    const auto end = std::min(left_.size(), static_cast<std::size_t>(endSeconds * kRateHz));
    double sum = 0;
    for (std::size_t i = begin; i < end; ++i) sum += static_cast<double>(left_[i]) * left_[i];
    return 10 * std::log10(sum / static_cast<double>(end - begin));
  }

  static constexpr double kRateHz = 44100.0;
  std::vector<float> left_;
  float peak_ = 0;
};

TEST_F(DemoPiece, LastsHalfAMinuteToAMinuteWithoutClipping) {
  const double seconds = static_cast<double>(left_.size()) / kRateHz;

  EXPECT_GE(seconds, 30.0);
  EXPECT_LE(seconds, 60.0);
  EXPECT_LT(peak_, 1.0F);
  EXPECT_GT(peak_, 0.5F);
}

TEST_F(DemoPiece, SoundsInEachSectionAndEndsInSilence) {
  // Bass, pad, lead, arpeggio and close, at 100 beats per minute in bars of four.
  for (const auto& [begin, end] :
       {std::pair(0.0, 9.6), {9.6, 21.6}, {21.6, 36.0}, {36.0, 45.6}, {45.6, 55.6}}) {
    EXPECT_GT(levelDb(begin, end), -20.0) << "from " << begin << " s";
  }
  EXPECT_LT(levelDb(57.8, 58.1), -60.0);
}

// A patch that changed too early once brought a fading note back with a click.
TEST_F(DemoPiece, DoesNotClick) {
  // A click shows as a second difference far above those of the 80 ms around it. Notes begin and end more
  // softly: their greatest stays within three times their neighbours'.
  constexpr std::size_t kWindow = 441;
  constexpr std::size_t kReach = 8;
  constexpr float kRatio = 3.0F;
  constexpr float kFloor = 0.004F;
  std::vector<float> bends(left_.size() / kWindow + 1);
  for (std::size_t i = 1; i + 1 < left_.size(); ++i) {
    float& greatest = bends[i / kWindow];
    greatest = std::max(greatest, std::abs(left_[i + 1] - 2 * left_[i] + left_[i - 1]));
  }

  for (std::size_t i = kReach; i + kReach < bends.size(); ++i) {
    std::array<float, 2 * kReach> around{};
    for (std::size_t j = 0; j < kReach; ++j) {
      around[j] = bends[i - kReach + j];
      around[kReach + j] = bends[i + 1 + j];
    }
    std::nth_element(around.begin(), around.end() - 2, around.end());
    const float usual = *(around.end() - 2);

    EXPECT_LE(bends[i], kRatio * usual + kFloor) << "at " << static_cast<double>(i) / 100 << " s";
  }
}

}  // namespace
}  // namespace morv
