#include "hosts/lv2/QueueTurner.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <utility>

namespace morv::lv2 {
namespace {

// The render thread must not wake a thread of ours, which is a call of the system; so that one looks by
// itself.
constexpr std::chrono::milliseconds kLook{10};

}  // namespace

QueueTurner::QueueTurner(const LV2_Worker_Schedule* schedule, Work work, Failed failed)
    : schedule_(schedule), work_(std::move(work)), failed_(std::move(failed)) {
  if (schedule_ != nullptr) return;
  thread_ = std::thread([this] {
    while (!isEnding_) {
      runGuarded();
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

void QueueTurner::requestOffline() noexcept {
  request();
  if (schedule_ == nullptr) runGuarded();
}

void QueueTurner::runGuarded() noexcept {
  try {
    runRequested();
  } catch (const std::exception& error) {
    failed_(error.what());
  }
}

void QueueTurner::runRequested() {
  if (isRequested_.exchange(false)) work_();
}

}  // namespace morv::lv2
