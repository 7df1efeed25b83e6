#include "tests/unit/FailingAllocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr long kNever = -1;
constexpr long kDone = -2;
thread_local long allocationsAllowed = kNever;

}  // namespace

void* operator new(std::size_t bytes) {
  if (allocationsAllowed >= 0 && allocationsAllowed-- == 0) {
    allocationsAllowed = kDone;
    throw std::bad_alloc();
  }
  void* memory = std::malloc(bytes == 0 ? 1 : bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
// The library sorts in memory that it asks for so; all of a kind come from one place.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return std::malloc(bytes == 0 ? 1 : bytes);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace morv {

FailingAllocation::FailingAllocation(long allowed) noexcept { allocationsAllowed = allowed; }
FailingAllocation::~FailingAllocation() { allocationsAllowed = kNever; }
bool FailingAllocation::hasFailed() const noexcept { return allocationsAllowed == kDone; }

}  // namespace morv
