// What the plug-in leaves in memory. A sanitizer keeps what was freed, so this is for the plain build.

#include <gtest/gtest.h>

#include <cstdio>

#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

class Lv2Memory : public Lv2Fixture {};

TEST_F(Lv2Memory, LeavesNothingBehindInManyActivations) {
  Lv2Host host(world_);
  host.keepsAudio = false;
  const auto residentKiB = [] {
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    long total = 0;
    long resident = 0;
    EXPECT_EQ(std::fscanf(file, "%ld %ld", &total, &resident), 2);
    std::fclose(file);
    return resident * 4;
  };
  long before = 0;
  for (int i = 0; i < 300; ++i) {
    host.activate();
    host.noteOn(0, 60);
    host.run(64);
    host.deactivate();
    if (i == 50) before = residentKiB();
  }
  tellFigure("T37 growth, KiB", static_cast<double>(residentKiB() - before));
  EXPECT_LE(residentKiB() - before, 1024);
}

}  // namespace
}  // namespace morv::lv2
