#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/DiagnosticRing.h"

namespace morv {
namespace {

std::string drained(DiagnosticRing& ring) {
  std::FILE* file = std::tmpfile();
  ring.drain(file);
  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

TEST(DiagnosticRing, PrintsEachLineInItsOwnFormAndOrder) {
  auto ring = std::make_unique<DiagnosticRing>();

  ring->post("buffer too large\n");
  ring->post("Error: no parameter with address %i", 999);
  ring->post("voice#: %i channel:%i gate:%i note:%i\n", 1, 2, 3, 4);
  ring->postIntegerReal("%i %f\n", 5, 0.5);
  ring->postReal("poly pressure:%f\n", 1.25);
  ring->postReals("%f %f\n", 1.5, -2.0);
  ring->postIntegersWord("[ARP] %i tick note: %i - Direction: %s\n", 6, 64, "Down");

  EXPECT_EQ(
      drained(*ring),
      "buffer too large\nError: no parameter with address 999voice#: 1 channel:2 gate:3 note:4\n"
      "5 0.500000\npoly pressure:1.250000\n1.500000 -2.000000\n[ARP] 6 tick note: 64 - Direction: Down\n");
}

TEST(DiagnosticRing, DropsAndCountsLinesThatFindItFull) {
  auto ring = std::make_unique<DiagnosticRing>();

  for (std::size_t i = 0; i < DiagnosticRing::kCapacity + 3; ++i) ring->post("x");

  EXPECT_EQ(ring->dropped(), 3U);
  EXPECT_EQ(drained(*ring).size(), DiagnosticRing::kCapacity);
}

TEST(DiagnosticRing, SaysOfALineWithAWordWhetherItFoundRoom) {
  auto ring = std::make_unique<DiagnosticRing>();
  for (std::size_t i = 0; i < DiagnosticRing::kCapacity - 1; ++i) ring->post("x");

  EXPECT_TRUE(ring->postIntegersWord("%i %i %s", 1, 2, "three"));
  EXPECT_FALSE(ring->postIntegersWord("%i %i %s", 1, 2, "three"));
}

TEST(DiagnosticRing, IsHalfFullFromHalfOfItsLinesOnWhereverTheyLie) {
  auto ring = std::make_unique<DiagnosticRing>();
  for (std::size_t lap = 0; lap < 5; ++lap) {  // from a start elsewhere each time
    EXPECT_FALSE(ring->isHalfFull());
    for (std::size_t i = 1; i < DiagnosticRing::kCapacity / 2; ++i) ring->post("x");
    EXPECT_FALSE(ring->isHalfFull());
    ring->post("x");
    EXPECT_TRUE(ring->isHalfFull());
    for (std::size_t i = 0; i < DiagnosticRing::kCapacity / 2 + 1; ++i) ring->post("x");
    EXPECT_TRUE(ring->isHalfFull());
    DiagnosticRing::Line line;
    for (std::size_t i = 0; i < DiagnosticRing::kCapacity / 2; ++i) ring->take(&line);
    EXPECT_TRUE(ring->isHalfFull());
    ring->take(&line);
    EXPECT_FALSE(ring->isHalfFull());
    for (std::size_t i = 0; i < 300; ++i) ring->take(&line);
    EXPECT_FALSE(ring->isHalfFull());
    ring->drain(nullptr);
    for (std::size_t i = 0; i < 77; ++i) ring->post("x");
    ring->drain(nullptr);
  }
}

TEST(DiagnosticRing, TakesLinesFromSeveralThreadsWithoutLoss) {
  auto ring = std::make_unique<DiagnosticRing>();
  constexpr int kLinesPerThread = 200;
  std::vector<std::thread> writers;

  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([&ring, w] {
      for (int i = 0; i < kLinesPerThread; ++i) ring->post("%i %i", w, i);
    });
  }
  for (auto& writer : writers) writer.join();

  std::vector<int> next(4, 0);
  DiagnosticRing::Line line;
  while (ring->take(&line)) {
    const auto writer = static_cast<std::size_t>(line.integers[0]);
    EXPECT_EQ(line.integers[1], next[writer]++);
  }
  EXPECT_EQ(next, std::vector<int>(4, kLinesPerThread));
}

}  // namespace
}  // namespace morv
