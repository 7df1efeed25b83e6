// What the plug-in leaves in memory. A sanitizer keeps what was freed, so this is for the plain build.

#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/Random.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

class Lv2Memory : public Lv2Fixture {};

TEST_F(Lv2Memory, LeavesNothingBehindInManyActivations) {
  // Some hundred cycles pass until the C library's heap has found its size.
  const int warmUp = measure(50, 1000);
  constexpr std::array<double, 4> kRates = {44100.0, 48000.0, 96000.0, 192000.0};
  Random random(stormSeed());
  std::vector<std::unique_ptr<Lv2Host>> hosts;
  for (const double rate : kRates) {
    hosts.push_back(std::make_unique<Lv2Host>(world_, rate));
    hosts.back()->keepsAudio = false;
  }
  const auto bytesInUse = [] {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  };
  const auto residentKiB = [] {
    malloc_trim(0);  // what is free is nobody's
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    long total = 0;
    long resident = 0;
    EXPECT_EQ(std::fscanf(file, "%ld %ld", &total, &resident), 2);
    std::fclose(file);
    return resident * 4;
  };
  long before = 0;
  std::size_t usedBefore = 0;
  const int cycles = measure(300, 1000);
  for (int i = 0; i < warmUp + cycles; ++i) {
    // Those of the warm-up come by turns, for each instance has its own.
    const std::size_t which = i < warmUp ? static_cast<std::size_t>(i) : random.nextBits();
    Lv2Host& host = *hosts[which % kRates.size()];
    host.activate();
    host.noteOn(0, 60);
    host.run(64);
    host.deactivate();
    if (i + 1 != warmUp) continue;
    before = residentKiB();
    usedBefore = bytesInUse();
  }
  // What is in use counts; the pages around it the C library keeps as it likes, which is told and only
  // bounded.
  const auto used = (static_cast<double>(bytesInUse()) - static_cast<double>(usedBefore)) / 1024.0;
  const long resident = residentKiB() - before;
  tellFigure("T37 growth of what is in use, KiB", used);
  tellFigure("T37 growth of the resident set, KiB", static_cast<double>(resident));
  EXPECT_LE(used, 64.0);
  EXPECT_LE(resident, 1024);
}

}  // namespace
}  // namespace morv::lv2
