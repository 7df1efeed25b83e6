#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "modulation/RowKernels.h"
#include "platform/Random.h"

namespace morv {
namespace {

using Transform = ZRDSPModMatrixTransform;

constexpr std::array<Transform, 9> kOperations = {
    Transform::plain,      Transform::toBipolar,    Transform::toUnipolar,
    Transform::square,     Transform::fourthPower,  Transform::midi,
    Transform::midiSquare, Transform::eightySquare, Transform::squareAgain};
// Whole rows of any width, one more and one less, and lengths below any width.
constexpr std::array<int, 12> kLengths = {0, 1, 2, 7, 8, 9, 15, 16, 17, 31, 64, 1000};
constexpr float kUntouched = -77.25F;
// A handful of roundings of single precision, each 6e-8 of the value.
constexpr double kTolerance = 4e-7;

double plainTransform(Transform transform, double x) {
  switch (transform) {
    case Transform::toBipolar:
      return 2 * x - 1;
    case Transform::toUnipolar:
      return 0.5 * x + 0.5;
    case Transform::square:
    case Transform::squareAgain:
      return x * x;
    case Transform::fourthPower:
      return x * x * x * x;
    case Transform::midi:
      return x / 127;
    case Transform::midiSquare:
      return std::copysign(x / 127 * x / 127, x);
    case Transform::eightySquare:
      return x / 80 * x / 80;
    default:
      return x;
  }
}

std::vector<float> drawn(std::uint64_t seed, int count) {
  Random random(seed);
  std::vector<float> values(static_cast<std::size_t>(count));
  for (float& x : values) x = 254.0F * random.unit31() - 127.0F;
  return values;
}

std::vector<std::uint32_t> bitsOf(const std::vector<float>& values) {
  std::vector<std::uint32_t> bits;
  for (const float x : values) bits.push_back(std::bit_cast<std::uint32_t>(x));
  return bits;
}

class RowKernelsTest : public ::testing::TestWithParam<const RowKernels*> {
 protected:
  const RowKernels& kernels = *GetParam();
};

TEST_P(RowKernelsTest, RoutingWritesTheTransformedSourceTimesTheGain) {
  for (const Transform transform : kOperations) {
    for (const int frames : kLengths) {
      const auto source = drawn(1, frames + 1);
      std::vector<float> out(source.size(), kUntouched);

      kernels.route(transform, source.data(), -0.3F, out.data(), false, frames);

      for (int i = 0; i < frames; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const double f = plainTransform(transform, static_cast<double>(source[at]));
        const double expected = f * static_cast<double>(-0.3F);
        ASSERT_NEAR(out[at], expected, kTolerance * (1 + std::abs(f)))
            << static_cast<int>(transform) << " " << i;
      }
      ASSERT_EQ(out.back(), kUntouched) << frames;
    }
  }
}

TEST_P(RowKernelsTest, RoutingAddsToWhatStandsThereWhenAsked) {
  for (const Transform transform : kOperations) {
    for (const int frames : kLengths) {
      const auto source = drawn(2, frames + 1);
      const auto before = drawn(3, frames + 1);
      std::vector<float> out = before;

      kernels.route(transform, source.data(), 0.7F, out.data(), true, frames);

      for (int i = 0; i < frames; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const double f =
            plainTransform(transform, static_cast<double>(source[at])) * static_cast<double>(0.7F);
        const auto stood = static_cast<double>(before[at]);
        ASSERT_NEAR(out[at], stood + f, kTolerance * (1 + std::abs(f) + std::abs(stood)))
            << static_cast<int>(transform) << " " << i;
      }
      ASSERT_EQ(out.back(), before.back()) << frames;
    }
  }
}

TEST_P(RowKernelsTest, RoutingAddsEachSampleWithTwoRoundings) {
  const auto source = drawn(4, 1000);
  const auto before = drawn(5, 1000);
  std::vector<float> out = before;

  kernels.route(Transform::plain, source.data(), 0.7F, out.data(), true, 1000);

  for (std::size_t i = 0; i < out.size(); ++i) {
    const float product = source[i] * 0.7F;
    ASSERT_EQ(out[i], before[i] + product) << i;
  }
}

TEST_P(RowKernelsTest, ATransformWithoutAnOperationCountsAsPlain) {
  const auto source = drawn(6, 20);
  std::vector<float> out(source.size());

  kernels.route(Transform::undefined, source.data(), 1.0F, out.data(), false, 20);

  EXPECT_EQ(out, source);
}

TEST_P(RowKernelsTest, ApplyingIsTheTransformAlone) {
  for (const Transform transform : kOperations) {
    const auto source = drawn(7, 37);
    std::vector<float> applied(source.size(), kUntouched);
    std::vector<float> routed(source.size());

    kernels.apply(transform, source.data(), applied.data(), 36);
    kernels.route(transform, source.data(), 1.0F, routed.data(), false, 36);

    EXPECT_EQ(applied.back(), kUntouched);
    applied.pop_back();
    routed.pop_back();
    EXPECT_EQ(bitsOf(applied), bitsOf(routed)) << static_cast<int>(transform);
  }
}

TEST_P(RowKernelsTest, ScalingMultipliesInPlaceByTheGainedSecondBuffer) {
  for (const int frames : kLengths) {
    const auto first = drawn(8, frames + 1);
    const auto second = drawn(9, frames + 1);
    std::vector<float> a = first;

    kernels.scale(a.data(), second.data(), -0.9F, frames);

    for (int i = 0; i < frames; ++i) {
      const auto at = static_cast<std::size_t>(i);
      ASSERT_EQ(a[at], first[at] * (second[at] * -0.9F)) << i;
    }
    ASSERT_EQ(a.back(), first.back()) << frames;
  }
}

TEST_P(RowKernelsTest, SumsCountEverySample) {
  for (const int frames : kLengths) {
    const auto values = drawn(10, frames + 1);
    double expected = 0;
    double magnitude = 0;
    for (int i = 0; i < frames; ++i) {
      expected += static_cast<double>(values[static_cast<std::size_t>(i)]);
      magnitude += std::abs(static_cast<double>(values[static_cast<std::size_t>(i)]));
    }

    // Single precision loses at most one rounding of the magnitude per sample of a partial sum.
    EXPECT_NEAR(kernels.sum(values.data(), frames), expected, 1e-5 * (1 + magnitude)) << frames;
  }
}

TEST_P(RowKernelsTest, SumsOfSamplesThatCancelAreExactlyZero) {
  for (int frames = 0; frames <= 66; frames += 2) {
    std::vector<float> values(static_cast<std::size_t>(frames));
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = i % 2 == 0 ? 0.3F : -0.3F;

    EXPECT_EQ(kernels.sum(values.data(), frames), 0.0F) << frames;
  }
}

TEST_P(RowKernelsTest, OneSampleThatIsNoNumberMakesTheSumNone) {
  for (const std::size_t at : {std::size_t{0}, std::size_t{7}, std::size_t{16}}) {
    std::vector<float> values(17, 1.0F);
    values[at] = std::numeric_limits<float>::quiet_NaN();

    EXPECT_TRUE(std::isnan(kernels.sum(values.data(), 17))) << at;
  }
}

std::vector<const RowKernels*> kernelsOfThisMachine() {
  std::vector<const RowKernels*> list = {&baselineRowKernels()};
  if (avx2RowKernels() != nullptr) list.push_back(avx2RowKernels());
  return list;
}

INSTANTIATE_TEST_SUITE_P(Machines, RowKernelsTest, ::testing::ValuesIn(kernelsOfThisMachine()),
                         [](const auto& kernels) {
                           return std::string(kernels.param->name == std::string("AVX2") ? "Avx2"
                                                                                         : "Baseline");
                         });

TEST(RowKernelsChoice, IsAvx2WhereTheMachineHasIt) {
  const RowKernels* best = avx2RowKernels() != nullptr ? avx2RowKernels() : &baselineRowKernels();

  EXPECT_EQ(&rowKernels(), best);
}

// On a machine without AVX2 the chosen kernels are the baseline's.
TEST(RowKernelsChoice, TheChosenKernelsGiveTheBaselinesBits) {
  const RowKernels& plain = baselineRowKernels();
  const RowKernels& best = rowKernels();
  for (const int frames : kLengths) {
    for (int offset = 0; offset < 3; ++offset) {
      const auto source = drawn(static_cast<std::uint64_t>(20 + offset), frames + offset);
      const auto second = drawn(30, frames);
      const float* at = source.data() + offset;
      for (const Transform transform : kOperations) {
        for (const bool adds : {false, true}) {
          auto expected = second;
          auto out = second;
          plain.route(transform, at, 0.37F, expected.data(), adds, frames);
          best.route(transform, at, 0.37F, out.data(), adds, frames);
          ASSERT_EQ(bitsOf(out), bitsOf(expected)) << static_cast<int>(transform) << " " << frames;
        }
      }
      auto expected = second;
      auto scaled = second;
      plain.scale(expected.data(), at, 0.37F, frames);
      best.scale(scaled.data(), at, 0.37F, frames);
      ASSERT_EQ(bitsOf(scaled), bitsOf(expected)) << frames;
      ASSERT_EQ(bitsOf({best.sum(at, frames)}), bitsOf({plain.sum(at, frames)})) << frames;
    }
  }
}

}  // namespace
}  // namespace morv
