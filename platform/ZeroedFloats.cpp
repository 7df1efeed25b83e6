#include "platform/ZeroedFloats.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

#include "platform/FloatPool.h"

namespace morv {
namespace {

// From here on an array takes pages of its own.
constexpr std::size_t kPagedFloats = FloatPool::kMostFloats + 1;

// Of an array from the pool these are there from the start: what blocks of common lengths use.
constexpr std::size_t kReadyFloats = 512;

bool isPooled(std::size_t count) {
  return FloatPool::kIsInUse && count >= FloatPool::kFewestFloats && count <= FloatPool::kMostFloats;
}

thread_local bool populates = false;

// A write to each page makes the system supply it. Volatile, for it changes nothing that counts.
void touchPages(float* floats, std::size_t count) {
  const auto step = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / sizeof(float);
  volatile float* touched = floats;
  for (std::size_t i = 0; i < count; i += step) touched[i] = 0.0F;
  if (count > 0) touched[count - 1] = 0.0F;
}

// All pages of a mapping at once, or one by one on kernels before 5.14. False if there is no memory for them.
bool populate(float* floats, std::size_t count) {
#ifdef MADV_POPULATE_WRITE
  if (madvise(floats, count * sizeof(float), MADV_POPULATE_WRITE) == 0) return true;
  if (errno == ENOMEM) return false;
#endif
  touchPages(floats, count);
  return true;
}

}  // namespace

ZeroedFloats::Populated::Populated(bool fromTheStart) noexcept : before_(populates) {
  populates = fromTheStart;
}

ZeroedFloats::Populated::~Populated() { populates = before_; }

float* ZeroedFloats::allocate(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(float)) throw std::bad_alloc();
  if (isPooled(count)) {
    float* floats = FloatPool::allocate(count);
    touchPages(floats, populates ? count : kReadyFloats);
    return floats;
  }
  if (count < kPagedFloats) {
    auto* floats = static_cast<float*>(std::calloc(count == 0 ? 1 : count, sizeof(float)));
    if (floats == nullptr) throw std::bad_alloc();
    if (populates) touchPages(floats, count);
    return floats;
  }
  void* pages =
      mmap(nullptr, count * sizeof(float), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  auto* floats = static_cast<float*>(pages);
  if (populates && !populate(floats, count)) {
    release(floats, count);
    throw std::bad_alloc();
  }
  return floats;
}

void ZeroedFloats::release(float* data, std::size_t count) noexcept {
  if (data == nullptr) return;
  if (isPooled(count)) {
    FloatPool::release(data);
  } else if (count < kPagedFloats) {
    std::free(data);
  } else {
    munmap(data, count * sizeof(float));
  }
}

}  // namespace morv
