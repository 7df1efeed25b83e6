#include <gtest/gtest.h>

#include <iostream>

#include "tests/player/OwnSharedMemory.h"

int main(int count, char** words) {
  testing::InitGoogleTest(&count, words);
  if (!testing::GTEST_FLAG(list_tests) && !morv::takeOwnSharedMemory()) {
    std::cerr << "the tests share the user's JACK servers' memory: no namespace of their own is allowed\n";
  }
  return RUN_ALL_TESTS();
}
