#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace morv::lv2 {

// Tells a figure that a test has measured: on the standard output, and in the test's record.
inline void tellFigure(const std::string& name, double value) {
  testing::Test::RecordProperty(name, std::to_string(value));
  std::printf("[ FIGURE   ] %s: %g\n", name.c_str(), value);
}

// Whether the environment asks for the whole measure of each storm, which takes hours, and not for a sample.
inline bool isFullMeasure() { return std::getenv("MORV_FULL_MEASURE") != nullptr; }
inline double measure(double usual, double full) { return isFullMeasure() ? full : usual; }
inline int measure(int usual, int full) { return isFullMeasure() ? full : usual; }

// What all draws of a storm come from; the same number brings the same storm.
inline std::uint64_t stormSeed() {
  const char* wanted = std::getenv("MORV_STORM_SEED");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : 20261121;
}

}  // namespace morv::lv2
