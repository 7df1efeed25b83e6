// What amplifiers, filters and the matrix put back by themselves.

#include <gtest/gtest.h>

#include <cmath>

#include "modulation/ZRDSPModMatrix.h"
#include "tests/render/PoisonedEngine.h"
#include "voice/ZRBiquadFilter.h"
#include "voice/ZRVAAmp.h"

namespace morv {
namespace {

constexpr int kBlock = 64;
const float kNoNumber = kPoisons[0];

TEST(PoisonedPlaces, OfAnAmplifiersPanGoLeft) {
  int addresses = 0;
  ZRVAAmp amp(48000.0F, &addresses);
  float in[4] = {1, 1, 1, 1};
  float left[4] = {};
  float right[4] = {};
  amp.pan = kNoNumber;
  amp.runAmp(in, nullptr, left, right, 4, 120.0F);
  ASSERT_FALSE(amp.holdsNumbers());

  amp.mendState();

  EXPECT_TRUE(amp.holdsNumbers());
  const float ones[4] = {1, 1, 1, 1};
  float mendedLeft[4] = {};
  float mendedRight[4] = {};
  amp.addPanned(ones, mendedLeft, mendedRight, 4);
  EXPECT_EQ(mendedLeft[3], 1.0F);
  EXPECT_EQ(mendedRight[3], 0.0F);
}

TEST(PoisonedPlaces, OfAFiltersRunningCoefficientsGoBackToThoseOfItsSettings) {
  ZRBiquadFilter mended(ZRBiquadType::peaking, 1000.0F, 1, 2, 48000.0F);
  ZRBiquadFilter fresh(ZRBiquadType::peaking, 1000.0F, 1, 2, 48000.0F);
  float samples[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  mended.gain = kNoNumber;
  mended.runFilter(samples, nullptr, samples, nullptr, 8);
  ASSERT_FALSE(mended.holdsNumbers());
  mended.gain = 0.0F;
  mended.mendState();
  ASSERT_TRUE(mended.holdsNumbers());

  float actual[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  float expected[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  mended.runFilter(actual, nullptr, actual, nullptr, 8);
  fresh.runFilter(expected, nullptr, expected, nullptr, 8);

  for (int i = 0; i < 8; ++i) EXPECT_EQ(actual[i], expected[i]);
}

TEST(PoisonedPlaces, OfAFilterOfOneChannelAreSeenAndEmptied) {
  ZRBiquadFilter filter(ZRBiquadType::lowpass, 1000.0F, 2, 1, 48000.0F);
  float samples[4] = {kNoNumber, 0, 0, 0};
  filter.runFilter(samples, nullptr, samples, nullptr, 4);
  ASSERT_FALSE(filter.holdsNumbers());

  filter.mendState();

  EXPECT_TRUE(filter.holdsNumbers());
  float silence[4] = {};
  filter.runFilter(silence, nullptr, silence, nullptr, 4);
  for (const float x : silence) EXPECT_EQ(x, 0.0F);
}

TEST(PoisonedPlaces, OfAFiltersDelaysLetItsCoefficientsGoOnToTheirSettings) {
  ZRBiquadFilter mended(ZRBiquadType::peaking, 1000.0F, 1, 2, 48000.0F);
  ZRBiquadFilter twin(ZRBiquadType::peaking, 1000.0F, 1, 2, 48000.0F);
  for (ZRBiquadFilter* filter : {&mended, &twin}) {
    float silence[4] = {};
    filter->gain = 12.0F;
    filter->runFilter(silence, nullptr, silence, nullptr, 4);
  }
  mended.mendState();

  float actual[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  float expected[8] = {1, 0, 0, 0, 0, 0, 0, 0};
  mended.runFilter(actual, nullptr, actual, nullptr, 8);
  twin.runFilter(expected, nullptr, expected, nullptr, 8);

  for (int i = 0; i < 8; ++i) EXPECT_EQ(actual[i], expected[i]);
}

class PoisonedMatrix : public ::testing::Test {
 protected:
  void SetUp() override {
    matrix_.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore());
    depth_.maxValue = 1.0F;
    depth_ = 1.0F;
    row_ = matrix_.addRow(kSourcePressure, kDestination, &depth_, 1.0F, 0);
  }

  static constexpr int kDestination = 3;
  ZRDSPModMatrix matrix_{kBlock};
  ZRDSPParameter depth_;
  modMatrixRow* row_ = nullptr;
};

TEST_F(PoisonedMatrix, ForgetsWhatItKnewToHoldStill) {
  matrix_.holdSource(kSourcePressure, kNoNumber, kBlock);
  matrix_.runMatrix(kBlock);
  ASSERT_TRUE(matrix_.isHeld(kDestination, kBlock));
  ASSERT_TRUE(std::isnan(matrix_.readDestination(kDestination)[0]));

  EXPECT_TRUE(matrix_.mendState(8, kBlock));

  EXPECT_FALSE(matrix_.isHeld(kDestination, kBlock));
  EXPECT_FALSE(matrix_.isSourceHeld(kSourcePressure, kBlock));
  EXPECT_EQ(matrix_.readDestination(kDestination)[0], 0.0F);
  matrix_.runMatrix(kBlock);
  for (int i = 0; i < kBlock; ++i) EXPECT_EQ(matrix_.readDestination(kDestination)[i], 0.0F);
}

TEST_F(PoisonedMatrix, GivesARowItsFirstAmountAndNoSecondOne) {
  row_->amount = kNoNumber;
  row_->modAmount = kNoNumber;

  EXPECT_TRUE(matrix_.mendState(8, kBlock));

  EXPECT_EQ(row_->amount.load(), 1.0F);
  EXPECT_EQ(row_->modAmount.load(), 0.0F);
  EXPECT_FALSE(matrix_.mendState(8, kBlock));
}

TEST_F(PoisonedMatrix, TellsEachAmountThatItPutBack) {
  for (Relaxed<float> modMatrixRow::*amount : {&modMatrixRow::amount, &modMatrixRow::modAmount}) {
    row_->*amount = kNoNumber;

    EXPECT_TRUE(matrix_.mendState(8, kBlock));

    EXPECT_FALSE(matrix_.mendState(8, kBlock));
  }
}

TEST_F(PoisonedMatrix, PassesOverRowsThatAreNotThere) {
  modMatrixRow* behind = matrix_.addRow(kSourceSlide, kDestination, &depth_, 0.5F, 0);
  matrix_.getMatrixCore()->rows[0].reset();
  behind->amount = kNoNumber;

  EXPECT_TRUE(matrix_.mendState(8, kBlock));

  EXPECT_EQ(behind->amount.load(), 0.5F);
}

TEST(PoisonedMatrixAlone, ThatHasNoRowsMendsItsBuffers) {
  ZRDSPModMatrix matrix(kBlock);
  matrix.destinationBuffer(3)[5] = kNoNumber;

  EXPECT_TRUE(matrix.mendState(8, kBlock));

  EXPECT_EQ(matrix.destinationBuffer(3)[5], 0.0F);
}

}  // namespace
}  // namespace morv
