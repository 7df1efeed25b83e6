#pragma once

#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// Small seeded generator; each owner that draws keeps one, so that a render repeats bit for bit for the same
// seed. PCG-XSH-RR 64/32 (O'Neill 2014). Not for several threads at once.
class Random {
 public:
  explicit constexpr Random(std::uint64_t seed = 1) noexcept MORV_NONBLOCKING { reseed(seed); }

  constexpr void reseed(std::uint64_t seed) noexcept MORV_NONBLOCKING {
    state_ = 0;
    nextBits();
    state_ += seed;
    nextBits();
  }

  // Uniform over all 32 bits.
  constexpr std::uint32_t nextBits() noexcept MORV_NONBLOCKING {
    const std::uint64_t old = state_;
    state_ = old * 6364136223846793005ULL + 1442695040888963407ULL;
    const auto shifted = static_cast<std::uint32_t>(((old >> 18U) ^ old) >> 27U);
    const auto turn = static_cast<std::uint32_t>(old >> 59U);
    return (shifted >> turn) | (shifted << ((32U - turn) & 31U));
  }

  // Uniform over 0 to 2147483647.
  constexpr std::int32_t integer31() noexcept MORV_NONBLOCKING {
    return static_cast<std::int32_t>(nextBits() >> 1U);
  }

  // A 31-bit draw over 2^31, rounded to float: 0 to 1; 1.0 itself only by rounding.
  constexpr float unit31() noexcept MORV_NONBLOCKING {
    return static_cast<float>(integer31()) / 2147483648.0F;
  }

  // Uniform double, 0 to just below 1.
  constexpr double unitDouble() noexcept MORV_NONBLOCKING {
    const std::uint64_t high = nextBits();
    const std::uint64_t bits = (high << 32U) | nextBits();
    return static_cast<double>(bits >> 11U) * 0x1.0p-53;
  }

  // Leaves out `draws` of 32 bits; as many steps as that number has binary digits.
  constexpr void skip(std::uint64_t draws) noexcept MORV_NONBLOCKING {
    std::uint64_t factor = 6364136223846793005ULL;
    std::uint64_t summand = 1442695040888963407ULL;
    for (; draws != 0; draws >>= 1U) {
      if ((draws & 1U) != 0) state_ = state_ * factor + summand;
      summand *= factor + 1;
      factor *= factor;
    }
  }

  // A well-mixed seed for the n-th owner below one seed (splitmix64, Steele et al. 2014).
  static constexpr std::uint64_t derive(std::uint64_t seed, std::uint64_t n) noexcept MORV_NONBLOCKING {
    std::uint64_t z = seed + (n + 1) * 0x9E3779B97F4A7C15ULL;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31U);
  }

 private:
  std::uint64_t state_ = 0;
};

}  // namespace morv
