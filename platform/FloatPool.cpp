#include "platform/FloatPool.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>

namespace morv {
namespace {

constexpr std::size_t kRegionBytes = std::size_t{1} << 20;
constexpr std::size_t kLineBytes = 64;
constexpr std::size_t kStaggerBytes = 5 * kLineBytes;

// Lies at the head of its region. Regions are aligned to their size, so that each array tells its own.
struct Region {
  std::size_t used = kLineBytes;  // bytes given out, this head among them
  std::size_t arrays = 0;         // of those that live
};
static_assert(sizeof(Region) <= kLineBytes);
static_assert(FloatPool::kMostFloats * sizeof(float) <= kRegionBytes - 2 * kLineBytes);

// Made with the program and never destroyed, so objects of static lifetime may have arrays too.
constinit std::mutex mutex;
Region* newest = nullptr;  // where arrays are given out; none while there are none

Region* mapRegion() {
  void* pages = mmap(nullptr, 2 * kRegionBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  auto* first = static_cast<char*>(pages);
  const std::size_t past = reinterpret_cast<std::uintptr_t>(first) % kRegionBytes;
  const std::size_t ahead = past == 0 ? 0 : kRegionBytes - past;
  if (ahead > 0) munmap(first, ahead);
  munmap(first + ahead + kRegionBytes, kRegionBytes - ahead);
  return new (first + ahead) Region;
}

Region* regionOf(float* data) {
  auto* bytes = reinterpret_cast<char*>(data);
  return reinterpret_cast<Region*>(bytes - reinterpret_cast<std::uintptr_t>(bytes) % kRegionBytes);
}

}  // namespace

float* FloatPool::allocate(std::size_t count) {
  if (count > kMostFloats) throw std::bad_alloc();
  // An array without floats has a line too: behind a full region its address would be another one's.
  const std::size_t lines = (std::max(count, std::size_t{1}) * sizeof(float) + kLineBytes - 1) / kLineBytes;
  const std::size_t bytes = lines * kLineBytes;
  const std::lock_guard lock(mutex);
  if (newest == nullptr || newest->used + bytes > kRegionBytes) newest = mapRegion();
  char* data = reinterpret_cast<char*>(newest) + newest->used;
  newest->used += bytes + kStaggerBytes;
  ++newest->arrays;
  return reinterpret_cast<float*>(data);
}

void FloatPool::release(float* data) noexcept {
  const std::lock_guard lock(mutex);
  Region* region = regionOf(data);
  if (--region->arrays > 0) return;
  if (region == newest) newest = nullptr;
  munmap(region, kRegionBytes);
}

}  // namespace morv
