#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace morv::lv2 {

// Tells a figure that a test has measured: on the standard output, and in the test's record.
inline void tellFigure(const std::string& name, double value) {
  testing::Test::RecordProperty(name, std::to_string(value));
  std::printf("[ FIGURE   ] %s: %g\n", name.c_str(), value);
}

}  // namespace morv::lv2
