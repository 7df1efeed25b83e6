#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "platform/FloatPool.h"
#include "platform/ZeroedFloats.h"

namespace morv {
namespace {

bool isZero(const ZeroedFloats& floats) {
  return std::all_of(floats.data(), floats.data() + floats.size(), [](float v) { return v == 0.0F; });
}

// Pages of an array that the system has supplied, as a part of all of them.
double suppliedPart(const ZeroedFloats& floats) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t ahead = reinterpret_cast<std::uintptr_t>(floats.data()) % page;
  const std::size_t bytes = ahead + floats.size() * sizeof(float);
  std::vector<unsigned char> pages((bytes + page - 1) / page);
  auto* first = reinterpret_cast<char*>(const_cast<float*>(floats.data())) - ahead;
  EXPECT_EQ(mincore(first, bytes, pages.data()), 0);
  std::size_t supplied = 0;
  for (const unsigned char each : pages) supplied += each & 1U;
  return static_cast<double>(supplied) / static_cast<double>(pages.size());
}

constexpr std::size_t kMany = 3000000;

TEST(ZeroedFloats, HaveTheirPagesWhenTheyAreUsed) {
  const ZeroedFloats floats(kMany);

  EXPECT_LT(suppliedPart(floats), 0.5);
}

TEST(ZeroedFloats, ThoseOfABlockHaveThePagesOfItsFirstFrames) {
  const ZeroedFloats block(16383);

  EXPECT_GT(suppliedPart(block), 0.0);
  EXPECT_LE(suppliedPart(block), FloatPool::kIsInUse ? 0.2 : 1.0);
}

TEST(ZeroedFloats, HaveTheirPagesFromTheStartInsideAScope) {
  const ZeroedFloats::Populated populated;
  for (const std::size_t count : {0U, 1U, 1000U, 1024U, 16383U, 16384U, 300000U}) {
    const ZeroedFloats floats(count);
    if (count > 0) {
      EXPECT_EQ(suppliedPart(floats), 1.0) << count;
    }
    EXPECT_TRUE(isZero(floats)) << count;
  }
  EXPECT_EQ(suppliedPart(ZeroedFloats(kMany)), 1.0);
}

TEST(ZeroedFloats, TheInnermostScopeSaysWhenTheirPagesCome) {
  const ZeroedFloats::Populated populated;
  {
    const ZeroedFloats::Populated whenUsed(false);
    EXPECT_LT(suppliedPart(ZeroedFloats(kMany)), 0.5);
  }
  EXPECT_EQ(suppliedPart(ZeroedFloats(kMany)), 1.0);
}

TEST(ZeroedFloats, AScopeIsThatOfItsThreadAndEnds) {
  {
    const ZeroedFloats::Populated populated;
    double elsewhere = 1.0;
    std::thread([&elsewhere] { elsewhere = suppliedPart(ZeroedFloats(kMany)); }).join();
    EXPECT_LT(elsewhere, 0.5);
  }
  EXPECT_LT(suppliedPart(ZeroedFloats(kMany)), 0.5);
}

TEST(ZeroedFloats, AreZeroInEverySizeAndEveryTime) {
  for (const std::size_t count : {0U, 1U, 1000U, 1024U, 16383U, 16384U, 300000U}) {
    for (int round = 0; round < 3; ++round) {
      ZeroedFloats floats(count);
      ASSERT_EQ(floats.size(), count);
      ASSERT_TRUE(isZero(floats)) << count;
      std::fill_n(floats.data(), count, 1.0F);
    }
  }
}

TEST(ZeroedFloats, MoveWithTheirContent) {
  for (const std::size_t count : {10U, 20000U}) {
    ZeroedFloats first(count);
    first[count - 1] = 5.0F;
    ZeroedFloats second(std::move(first));
    ZeroedFloats third(7);

    third = std::move(second);

    EXPECT_EQ(third.size(), count);
    EXPECT_EQ(third[count - 1], 5.0F);
  }
}

TEST(ZeroedFloats, HaveNothingUntilTheyAreMade) {
  const ZeroedFloats none;

  EXPECT_EQ(none.data(), nullptr);
  EXPECT_EQ(none.size(), 0U);
}

TEST(ZeroedFloats, RefuseWhatNoMachineHas) {
  EXPECT_THROW(ZeroedFloats{std::numeric_limits<std::size_t>::max()}, std::bad_alloc);
  EXPECT_THROW(ZeroedFloats{std::numeric_limits<std::size_t>::max() / 8}, std::bad_alloc);
}

}  // namespace
}  // namespace morv
