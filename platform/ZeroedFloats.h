#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

#include "platform/NonBlocking.h"

namespace morv {

// A zero-filled float array whose pages come untouched from the system: what is never used costs no memory.
// Owned by one object, freed with it; allocate off the render thread only. Throws std::bad_alloc.
class ZeroedFloats {
 public:
  ZeroedFloats() noexcept = default;
  explicit ZeroedFloats(std::size_t count) : data_(allocate(count)), size_(count) {}

  float* data() noexcept MORV_NONBLOCKING { return data_.get(); }
  const float* data() const noexcept MORV_NONBLOCKING { return data_.get(); }
  std::size_t size() const noexcept MORV_NONBLOCKING { return size_; }
  float& operator[](std::size_t i) noexcept MORV_NONBLOCKING { return data_.get()[i]; }
  float operator[](std::size_t i) const noexcept MORV_NONBLOCKING { return data_.get()[i]; }

 private:
  struct Free {
    void operator()(float* p) const noexcept { std::free(p); }
  };
  static float* allocate(std::size_t count) {
    auto* p = static_cast<float*>(std::calloc(count == 0 ? 1 : count, sizeof(float)));
    if (p == nullptr) throw std::bad_alloc();
    return p;
  }

  std::unique_ptr<float, Free> data_;
  std::size_t size_ = 0;
};

}  // namespace morv
