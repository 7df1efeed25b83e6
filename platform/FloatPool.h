#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define MORV_HAS_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MORV_HAS_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef MORV_HAS_ADDRESS_SANITIZER
#define MORV_HAS_ADDRESS_SANITIZER 0
#endif

namespace morv {

// Gives out zeroed arrays of medium length, thousands of floats, side by side in regions of a mebibyte that
// come straight from the system. Block buffers are made for the longest block and mostly used for the first
// frames of it: here only the pages that are used cost memory, where the heap would clear, and so take, all
// of them. Arrays begin at a cache line, each some lines further within its page than the one before, so that
// equal frames of different buffers do not fall on the same cache set. A region goes back to the system with
// its last array.
//
// Any thread but the render thread.
class FloatPool {
 public:
  // Under the address sanitizer arrays are the heap's, for in the pool it would not see a step too far.
#if MORV_HAS_ADDRESS_SANITIZER
  static constexpr bool kIsInUse = false;
#else
  static constexpr bool kIsInUse = true;
#endif
  // Lengths that the pool is for. Shorter ones are legal.
  static constexpr std::size_t kFewestFloats = 1024;
  static constexpr std::size_t kMostFloats = 16383;

  // Throws std::bad_alloc, also for more than the most floats.
  static float* allocate(std::size_t count);
  // What `allocate` gave, once.
  static void release(float* data) noexcept;
};

}  // namespace morv
