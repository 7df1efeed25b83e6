#include "hosts/player/PlayerEngine.h"

#include <algorithm>
#include <array>
#include <utility>

namespace morv::player {
namespace {

constexpr double kSettledSeconds = 1.0;  // twice the mute that follows a preset's change
constexpr std::array<std::uint8_t, 3> kPedalUp = {0xB0, 64, 0};
constexpr std::array<std::uint8_t, 3> kAllNotesOff = {0xB0, 123, 0};

AudioUnitServices servicesOf(HostSurroundings& surroundings, MainQueue& queue,
                             std::shared_ptr<ZRMidiMapper> mapper) {
  AudioUnitServices services = surroundings.services(queue);
  services.midiMapper = std::move(mapper);
  return services;
}

}  // namespace

PlayerEngine::PlayerEngine(HostSurroundings& surroundings, std::shared_ptr<ZRMidiMapper> mapper, Log log)
    : log_(std::move(log)), unit_(servicesOf(surroundings, queue_, std::move(mapper))), cycle_(unit_) {
  // The user's bend range and note priority count from the start, and not only when a setting changes.
  unit_.prefsChanged();
  unit_.midiOutputEventBlock = [this](AUEventSampleTime, std::uint8_t, std::size_t length,
                                      const std::uint8_t* bytes) {
    MidiMessage message;
    if (length > message.bytes.size()) return -1;
    std::copy_n(bytes, length, message.bytes.begin());
    message.length = static_cast<std::uint8_t>(length);
    return midiOut_.push(message) ? 0 : -1;
  };
}

PlayerEngine::~PlayerEngine() { unit_.midiOutputEventBlock = nullptr; }

Outcome PlayerEngine::prepare(double sampleRateHz) {
  gate_.close();
  readyRateHz_ = 0;
  unit_.deallocateRenderResources();
  unit_.outputBus()->format.sampleRate = sampleRateHz;
  unit_.setMaximumFramesToRender(HostBlockCutter::kBlockFrames);
  std::string error;
  if (!unit_.allocateRenderResources(&error)) return Failure{error};
  readyRateHz_ = sampleRateHz;
  allNotesOff();
  gate_.open();
  return Done{};
}

void PlayerEngine::turn(double seconds) {
  followRate();
  queue_.runDue(seconds + clockAhead_);
}

void PlayerEngine::followRate() {
  const double wanted = wantedRateHz_.exchange(0);
  if (wanted == 0 || wanted == readyRateHz_ || wanted == refusedRateHz_) return;
  const Outcome ready = prepare(wanted);
  refusedRateHz_ = ready.ok() ? 0 : wanted;
  if (!ready.ok() && log_) log_("the sample rate cannot be used: " + ready.reason());
}

// What was posted may post more: the mute's end is such a task.
void PlayerEngine::settle() {
  const double now = queue_.now();
  queue_.runDue(now);
  queue_.runDue(now + kSettledSeconds);
  queue_.runDue(now + kSettledSeconds);
  clockAhead_ += kSettledSeconds;
}

void PlayerEngine::loadState(const PropertyListDictionary& state) { unit_.setFullState(&state); }

bool PlayerEngine::begin(double sampleRateHz, std::uint32_t frames, float* left, float* right) noexcept {
  cycles_.fetch_add(1, std::memory_order_relaxed);
  const bool isInside = gate_.enter();
  if (!isInside || sampleRateHz != readyRateHz_) {
    if (isInside) gate_.leave();
    wantedRateHz_.store(sampleRateHz);
    std::fill_n(left, frames, 0.0F);
    std::fill_n(right, frames, 0.0F);
    return false;
  }
  cycle_.begin(frames, left, right);
  if (wantsNotesOff_.exchange(false)) {
    cycle_.addMidi(0, kPedalUp);
    cycle_.addMidi(0, kAllNotesOff);
  }
  return true;
}

void PlayerEngine::end() noexcept {
  cycle_.end();
  gate_.leave();
}

}  // namespace morv::player
