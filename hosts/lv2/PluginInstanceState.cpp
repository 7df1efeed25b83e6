// What a session keeps of an instance, and how it comes back beside the render thread.

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "hosts/lv2/PluginInstance.h"

namespace morv::lv2 {
namespace {

// How long a host may take to set the ports of a session whose state it has restored.
constexpr double kPortsFollowSeconds = 2.0;

}  // namespace

// The change begins before the pending state is taken off, so that whoever saves meets the one or the other.
void PluginInstance::takePending() noexcept {
  if (pending_.load() == nullptr) return;
  isTaking_ = true;
  changes_.beginChange();
  if (PendingState* pending = pending_.exchange(nullptr); pending != nullptr) takeOver(pending);
  changes_.endChange();
  isTaking_ = false;
}

void PluginInstance::takeOver(PendingState* pending) noexcept {
  sounding_->unit.applyFullState(pending->change);
  watch_.expect(pending->ports);
  isPresetWanted_ = false;  // it was wanted before
  expectingFrames_ = static_cast<std::int64_t>(kPortsFollowSeconds * sampleRateHz_);
  pending->takenBefore = takenOver_.load();
  while (!takenOver_.compare_exchange_weak(pending->takenBefore, pending)) {
  }
}

void PluginInstance::freeTakenOver() noexcept {
  const PendingState* next = takenOver_.exchange(nullptr);
  while (next != nullptr) {
    const std::unique_ptr<const PendingState> freed(next);
    next = freed->takenBefore;
  }
}

void PluginInstance::audioUnitDidChangePreset(ZRAudioUnit*, const AUAudioUnitPreset* preset) {
  setPresetName(preset != nullptr ? preset->name : std::string());
  stateHasChanged_ = true;
}

void PluginInstance::setPresetName(const std::string& name) {
  currentPreset_ = name;
  sendPresetName();
}

// When the render thread is behind, it asks for another turn.
void PluginInstance::sendPresetName() {
  PresetName shown{};
  std::copy_n(currentPreset_.begin(), std::min(currentPreset_.size(), shown.size() - 1), shown.begin());
  hasUnsentName_ = !presetNames_.push(shown);
}

std::string PluginInstance::stateText() const {
  StateEnvelope envelope = changes_.read([this] {
    StateEnvelope read;
    read.unit = sounding_->unit.fullState();
    for (std::size_t i = 0; i < ports_.size(); ++i) read.ports.push_back({ports_[i].symbol, watch_.value(i)});
    return read;
  });
  envelope.preset = currentPreset_;
  const auto text = envelope.text();
  if (!text) log_->log(text.reason());
  return text ? text.value() : std::string();
}

LV2_State_Status PluginInstance::save(LV2_State_Store_Function store, LV2_State_Handle handle) {
  const std::scoped_lock lock(mainMutex_);
  // As long as the render thread has not taken it, what was restored last is what there is.
  const std::string text = pending_.load() != nullptr ? restoredText_ : stateText();
  if (text.empty()) return LV2_STATE_ERR_UNKNOWN;
  return store(handle, urids_.state, text.c_str(), text.size() + 1, urids_.atomString,
               LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
}

LV2_State_Status PluginInstance::restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle) {
  std::size_t size = 0;
  std::uint32_t type = 0;
  std::uint32_t flags = 0;
  const void* value = retrieve(handle, urids_.state, &size, &type, &flags);
  if (value == nullptr) return LV2_STATE_ERR_NO_PROPERTY;
  if (type != urids_.atomString) return LV2_STATE_ERR_BAD_TYPE;
  const auto* characters = static_cast<const char*>(value);
  std::string text(characters, strnlen(characters, size));

  const std::scoped_lock lock(mainMutex_);
  auto envelope = StateEnvelope::fromText(text);
  if (!envelope) {
    log_->log("the session's state cannot be used: " + envelope.reason());
    return LV2_STATE_ERR_UNKNOWN;
  }
  auto pending = std::make_unique<PendingState>();
  try {
    pending->change = sounding_->unit.prepareFullState(envelope.value().unit);
  } catch (const std::invalid_argument& refusal) {
    log_->log(std::string("the session's state cannot be used: ") + refusal.what());
    return LV2_STATE_ERR_UNKNOWN;
  }
  for (const StateEnvelope::Port& saved : envelope.value().ports) {
    const auto port = std::find_if(ports_.begin(), ports_.end(),
                                   [&saved](const ControlPort& each) { return each.symbol == saved.symbol; });
    if (port != ports_.end()) {
      pending->ports.emplace_back(static_cast<std::uint32_t>(port - ports_.begin()), saved.value);
    }
  }
  // What was asked for so far shall not come behind, nor what that asks for in turn.
  doAllWaitingWork();
  restoredText_ = std::move(text);
  setPresetName(envelope.value().preset);
  freeTakenOver();
  delete pending_.exchange(pending.release());
  if (!isActive_) takePending();
  return LV2_STATE_SUCCESS;
}

}  // namespace morv::lv2
