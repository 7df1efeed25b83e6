#pragma once

#include <cstdint>
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

#include "platform/NonBlocking.h"

namespace morv {

// Flushes denormal floats to zero while it lives and gives the thread its old mode back behind it. Decaying
// tails would otherwise slow the arithmetic many times over. One stands around each render call.
class ScopedFlushDenormals {
 public:
#if defined(__SSE2__)
  ScopedFlushDenormals() noexcept MORV_NONBLOCKING : old_(_mm_getcsr()) {
    _mm_setcsr(old_ | kFlushToZero | kDenormalsAreZero);
  }
  ~ScopedFlushDenormals() { _mm_setcsr(old_); }
#elif defined(__aarch64__)
  ScopedFlushDenormals() noexcept MORV_NONBLOCKING {
    std::uint64_t mode = 0;
    asm volatile("mrs %0, fpcr" : "=r"(mode));
    old_ = mode;
    asm volatile("msr fpcr, %0" : : "r"(mode | (1ULL << 24U)));
  }
  ~ScopedFlushDenormals() { asm volatile("msr fpcr, %0" : : "r"(old_)); }
#else
  ScopedFlushDenormals() noexcept = default;
  ~ScopedFlushDenormals() = default;
#endif
  ScopedFlushDenormals(const ScopedFlushDenormals&) = delete;
  ScopedFlushDenormals& operator=(const ScopedFlushDenormals&) = delete;

 private:
#if defined(__SSE2__)
  static constexpr unsigned kFlushToZero = 0x8000;
  static constexpr unsigned kDenormalsAreZero = 0x0040;
  unsigned old_;
#elif defined(__aarch64__)
  std::uint64_t old_ = 0;
#endif
};

}  // namespace morv
