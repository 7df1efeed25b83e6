#pragma once

#include <cstddef>
#include <utility>

#include "platform/Export.h"
#include "platform/NonBlocking.h"

namespace morv {

// A zero-filled float array. Large ones come straight from the system, whatever the heap has lying about, and
// those of a block's length from a pool (FloatPool): pages that are never used cost no memory. Owned by one
// object, freed with it; make and free it off the render thread only. Throws std::bad_alloc.
class MORV_EXPORT ZeroedFloats {
 public:
  // While one lives, the arrays that its thread makes have their pages from the start or, with `false`, when
  // they are first used, but for those of the first frames of a block's length. The innermost one counts;
  // without any it is as with `false`. For what is rendered in real time, where the system must not be waited
  // for.
  class MORV_EXPORT Populated {
   public:
    explicit Populated(bool fromTheStart = true) noexcept;
    ~Populated();
    Populated(const Populated&) = delete;
    Populated& operator=(const Populated&) = delete;

   private:
    const bool before_;
  };

  ZeroedFloats() noexcept = default;
  explicit ZeroedFloats(std::size_t count) : data_(allocate(count)), size_(count) {}
  ~ZeroedFloats() { release(data_, size_); }
  ZeroedFloats(ZeroedFloats&& other) noexcept { swap(other); }
  ZeroedFloats& operator=(ZeroedFloats&& other) noexcept {
    ZeroedFloats taken(std::move(other));
    swap(taken);
    return *this;
  }

  float* data() noexcept MORV_NONBLOCKING { return data_; }
  const float* data() const noexcept MORV_NONBLOCKING { return data_; }
  std::size_t size() const noexcept MORV_NONBLOCKING { return size_; }
  float& operator[](std::size_t i) noexcept MORV_NONBLOCKING { return data_[i]; }
  float operator[](std::size_t i) const noexcept MORV_NONBLOCKING { return data_[i]; }

 private:
  static float* allocate(std::size_t count);
  static void release(float* data, std::size_t count) noexcept;
  void swap(ZeroedFloats& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
  }

  float* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace morv
