#include "platform/ZeroedFloats.h"

#include <sys/mman.h>

#include <cstdlib>
#include <limits>
#include <new>

namespace morv {
namespace {

// From here on an array takes pages of its own.
constexpr std::size_t kPagedFloats = 16384;

}  // namespace

float* ZeroedFloats::allocate(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(float)) throw std::bad_alloc();
  if (count < kPagedFloats) {
    auto* floats = static_cast<float*>(std::calloc(count == 0 ? 1 : count, sizeof(float)));
    if (floats == nullptr) throw std::bad_alloc();
    return floats;
  }
  void* pages =
      mmap(nullptr, count * sizeof(float), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  return static_cast<float*>(pages);
}

void ZeroedFloats::release(float* data, std::size_t count) noexcept {
  if (data == nullptr) return;
  if (count < kPagedFloats) {
    std::free(data);
  } else {
    munmap(data, count * sizeof(float));
  }
}

}  // namespace morv
