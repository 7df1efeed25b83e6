#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace morv {

// Asks again and again until the condition holds, and gives whether it did within the time.
inline bool holdsWithin(double seconds, const std::function<bool()>& condition) {
  constexpr std::chrono::milliseconds kBetweenLooks{5};
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

}  // namespace morv
