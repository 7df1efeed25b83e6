#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "effects/Desample.h"
#include "platform/Random.h"

namespace morv {
namespace {

// Of the sum of the terms' magnitudes: rounding of some hundred float sums.
constexpr double kSumError = 1e-6;

std::vector<float> noise(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  std::vector<float> values(count);
  for (float& v : values) v = static_cast<float>(2.0 * random.unitDouble() - 1.0);
  return values;
}

TEST(Desample, IsTheDotProductFromEachKeptSampleOn) {
  for (const int length : {1, 7, 16, 37, 674}) {
    for (const int factor : {1, 3, 8}) {
      const std::vector<float> coefficients = noise(static_cast<std::size_t>(length), 1);
      const std::vector<float> in = noise(static_cast<std::size_t>(factor * 19 + length), 2);
      std::vector<float> out(20);

      desample(in.data(), factor, coefficients.data(), length, out.data(), 20);

      for (int n = 0; n < 20; ++n) {
        double sum = 0;
        double magnitude = 0;
        for (int k = 0; k < length; ++k) {
          const double term = static_cast<double>(in[static_cast<std::size_t>(factor * n + k)]) *
                              static_cast<double>(coefficients[static_cast<std::size_t>(k)]);
          sum += term;
          magnitude += std::abs(term);
        }
        ASSERT_NEAR(static_cast<double>(out[static_cast<std::size_t>(n)]), sum, kSumError * magnitude)
            << length << " " << factor << " " << n;
      }
    }
  }
}

TEST(Desample, GivesNothingForNoFrames) {
  const float in[3] = {1, 2, 3};
  const float coefficients[3] = {1, 1, 1};
  float out = 9.0F;

  desample(in, 2, coefficients, 3, &out, 0);

  EXPECT_EQ(out, 9.0F);
}

}  // namespace
}  // namespace morv
