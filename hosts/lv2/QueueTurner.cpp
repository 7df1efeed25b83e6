#include "hosts/lv2/QueueTurner.h"

#include <chrono>
#include <cstdint>
#include <utility>

namespace morv::lv2 {
namespace {

// The render thread must not wake a thread of ours, which is a call of the system; so that one looks by
// itself.
constexpr std::chrono::milliseconds kLook{10};

}  // namespace

QueueTurner::QueueTurner(const LV2_Worker_Schedule* schedule, std::function<void()> work)
    : schedule_(schedule), work_(std::move(work)) {
  if (schedule_ != nullptr) return;
  thread_ = std::thread([this] {
    while (!isEnding_) {
      runRequested();
      std::this_thread::sleep_for(kLook);
    }
  });
}

QueueTurner::~QueueTurner() {
  isEnding_ = true;
  if (thread_.joinable()) thread_.join();
}

void QueueTurner::request() noexcept {
  if (isRequested_.exchange(true) || schedule_ == nullptr) return;
  constexpr std::uint32_t kNothing = 0;
  const auto status = schedule_->schedule_work(schedule_->handle, sizeof(kNothing), &kNothing);
  if (status != LV2_WORKER_SUCCESS) isRequested_ = false;
}

void QueueTurner::runRequested() {
  if (isRequested_.exchange(false)) work_();
}

}  // namespace morv::lv2
