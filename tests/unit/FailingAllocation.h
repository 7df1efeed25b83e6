#pragma once

namespace morv {

// While one lives, an allocation of its thread fails, as for want of memory: the one behind the first
// `allowed`. Those after it succeed again.
class FailingAllocation {
 public:
  explicit FailingAllocation(long allowed) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  // Whether the thread has come to the one that fails.
  bool hasFailed() const noexcept;
};

}  // namespace morv
