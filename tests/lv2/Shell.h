#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace morv::lv2 {

// What a command of the shell prints, and behind it "exit" with its status.
inline std::string outputOf(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  EXPECT_NE(pipe, nullptr);
  std::string text;
  std::array<char, 4096> piece{};
  while (std::fgets(piece.data(), piece.size(), pipe) != nullptr) text += piece.data();
  text += "\nexit " + std::to_string(pclose(pipe));
  return text;
}

}  // namespace morv::lv2
