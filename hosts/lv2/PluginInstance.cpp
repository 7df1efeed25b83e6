#include "hosts/lv2/PluginInstance.h"

#include <lv2/atom/util.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "hosts/lv2/AtomInput.h"
#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/ProcessSurroundings.h"
#include "unit/ZRMidiMapper.h"

namespace morv::lv2 {
namespace {

// How long a host may take to set the ports of a session whose state it has restored.
constexpr double kPortsFollowSeconds = 2.0;

}  // namespace

PluginInstance::PluginInstance(double sampleRateHz, const HostFeatures& host)
    : log_(std::make_shared<InstanceLog>(host)),
      urids_(*host.map),
      sampleRateHz_(sampleRateHz),
      surroundings_(processSurroundings()),
      ports_(portsOfFreshUnit()),
      watch_(ports_),
      output_(*host.map, urids_),
      turner_(host.schedule, [this] { turnQueue(); }) {
  for (std::size_t i = 0; i < ports_.size(); ++i) {
    const std::string uri = kNamespace + ports_[i].symbol;
    properties_.emplace_back(host.map->map(host.map->handle, uri.c_str()), i);
  }
  std::sort(properties_.begin(), properties_.end());
  // What the unit has posted on its way up shall not fall into the first cycles.
  turnQueue();
  if (!allocate()) throw std::runtime_error("this sample rate is out of range");
}

PluginInstance::~PluginInstance() {
  log_->end();
  delete pending_.load();
  freeTakenOver();
}

std::vector<ControlPort> PluginInstance::portsOfFreshUnit() {
  makeSounding(std::nullopt);
  return controlPorts(*sounding_->unit.parameterTree());
}

void PluginInstance::makeSounding(std::optional<std::uint32_t> firstAddress) {
  AudioUnitServices given =
      surroundings_->services(queue_, [log = log_](const std::string& line) { log->log(line); });
  // A mapper moves the parameters of one unit. The process's own would take each controller to the unit made
  // last, whichever instance it came to; so each instance has one of its own.
  if (mapper_ == nullptr) {
    mapper_ = std::make_shared<ZRMidiMapper>(MidiMapperServices{&surroundings_->standardSettings(),
                                                                &surroundings_->notifications(),
                                                                surroundings_->directories(), given.log});
  }
  given.midiMapper = mapper_;
  sounding_.reset();
  sounding_ = std::make_unique<Sounding>(given, firstAddress);
  ZQ3Unit& unit = sounding_->unit;
  // The session's MIDI mode and channel are ports, so they are the session's.
  unit.overridesMIDISettingParametersWithPrefs = false;
  // The user's bend range and note priority count from the start, and not only when a setting changes.
  unit.prefsChanged();
  unit.setDelegate(this);
  unit.midiOutputEventBlock = [this](AUEventSampleTime, std::uint8_t, std::size_t length,
                                     const std::uint8_t* bytes) {
    MidiOut message;
    message.length = static_cast<std::uint8_t>(std::min(length, message.bytes.size()));
    std::copy_n(bytes, message.length, message.bytes.begin());
    return midiOut_.push(message) ? 0 : -1;
  };
}

bool PluginInstance::allocate() {
  ZQ3Unit& unit = sounding_->unit;
  unit.outputBus()->format.sampleRate = sampleRateHz_;
  unit.setMaximumFramesToRender(HostBlockCutter::kBlockFrames);
  std::string error;
  if (unit.allocateRenderResources(&error)) return true;
  log_->log(error);
  return false;
}

void PluginInstance::connectPort(std::uint32_t port, void* data) noexcept {
  switch (port) {
    case kControlPort:
      control_ = static_cast<const LV2_Atom_Sequence*>(data);
      return;
    case kNotifyPort:
      notify_ = static_cast<LV2_Atom_Sequence*>(data);
      return;
    case kOutLeftPort:
      left_ = static_cast<float*>(data);
      return;
    case kOutRightPort:
      right_ = static_cast<float*>(data);
      return;
    default:
      break;
  }
  // The last port tells of rendering faster than real time, which changes nothing here.
  const std::uint32_t parameter = port - kFirstParameterPort;
  if (parameter < ports_.size()) watch_.connect(parameter, static_cast<const float*>(data));
}

// An engine that has played is not fresh in many small ways, so a new one takes over, with the same values
// and the same addresses.
void PluginInstance::activate() {
  const std::scoped_lock lock(mainMutex_);
  if (sounding_->cycle.position() > 0) {
    const PropertyListDictionary state = sounding_->unit.fullState();
    makeSounding(sounding_->unit.firstAddress());
    const std::vector<ControlPort> fresh = controlPorts(*sounding_->unit.parameterTree());
    for (std::size_t i = 0; i < ports_.size(); ++i) ports_[i].parameter = fresh[i].parameter;
    sounding_->unit.setFullState(&state);
    queue_.runDue(queue_.now());
    allocate();
  }
  sounding_->cycle.addTempo(0, tempo_);
  turner_.forget();
  isActive_ = true;
}

void PluginInstance::deactivate() {
  const std::scoped_lock lock(mainMutex_);
  isActive_ = false;
  takeOver(pending_.exchange(nullptr));
}

void PluginInstance::turnQueue() {
  const std::scoped_lock lock(mainMutex_);
  PresetName name{};
  while (presetRequests_.take(&name)) {
    presetRequestsWaiting_.fetch_sub(1);
    sounding_->unit.setCurrentPresetWithName(name.data());
  }
  if (hasUnsentName_) sendPresetName();
  queue_.runDue(static_cast<double>(playedFrames_.load()) / sampleRateHz_);
}

void PluginInstance::run(std::uint32_t frames) noexcept {
  takeOver(pending_.exchange(nullptr));
  takePorts();
  if (expectingFrames_ > 0 && (expectingFrames_ -= frames) <= 0) watch_.endExpectation();
  if (isPresetWanted_) requestPreset();
  output_.begin(notify_);
  writeNotices();
  HostCycle& cycle = sounding_->cycle;
  const bool hasOutputs = left_ != nullptr && right_ != nullptr;
  if (!hasOutputs) {
    for (float* connected : {left_, right_}) {
      if (connected != nullptr) std::fill_n(connected, frames, 0.0F);
    }
  }
  cycle.begin(hasOutputs ? frames : 0, left_, right_);
  if (control_ != nullptr) readControl();
  cycle.end();
  output_.end();
  const std::uint64_t played = playedFrames_.load() + frames;
  playedFrames_.store(played);
  if (presetRequestsWaiting_.load() > 0 || hasUnsentName_ ||
      queue_.hasDue(static_cast<double>(played) / sampleRateHz_)) {
    turner_.request();
  }
}

void PluginInstance::takePorts() noexcept {
  bool isChanging = false;
  watch_.collect([&](std::size_t port, float value) {
    if (!isChanging) changes_.beginChange();
    isChanging = true;
    ports_[port].parameter->setValue(value);
  });
  if (isChanging) changes_.endChange();
}

void PluginInstance::readControl() noexcept {
  LV2_ATOM_SEQUENCE_FOREACH(control_, event) {
    const auto frame = static_cast<std::uint32_t>(std::clamp<std::int64_t>(event->time.frames, 0, INT32_MAX));
    if (event->body.type == urids_.midiEvent) {
      const auto* bytes = static_cast<const std::uint8_t*>(LV2_ATOM_BODY_CONST(&event->body));
      sounding_->cycle.addMidi(frame, {bytes, event->body.size});
    } else if (event->body.type == urids_.atomObject || event->body.type == urids_.atomBlank) {
      if (event->body.size < sizeof(LV2_Atom_Object_Body)) continue;
      readObject(frame, *reinterpret_cast<const LV2_Atom_Object*>(&event->body));
    }
  }
}

void PluginInstance::readObject(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  if (object.body.otype == urids_.timePosition) {
    if (const auto beatsPerMinute = tempoOf(urids_, object)) {
      sounding_->cycle.addTempo(frame, *beatsPerMinute);
      tempo_ = *beatsPerMinute;
    }
  } else if (object.body.otype == urids_.patchSet) {
    readSet(frame, object);
  } else if (object.body.otype == urids_.patchGet) {
    readGet(frame, object);
  }
}

void PluginInstance::readSet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  const LV2_Atom* property = nullptr;
  const LV2_Atom* value = nullptr;
  lv2_atom_object_get(&object, urids_.patchProperty, &property, urids_.patchValue, &value, 0);
  if (property == nullptr || value == nullptr || property->type != urids_.atomUrid) return;
  const LV2_URID asked = reinterpret_cast<const LV2_Atom_URID*>(property)->body;
  if (asked == urids_.preset) {
    if (value->type != urids_.atomString || value->size > wantedPreset_.size()) return;
    wantedPreset_.fill('\0');
    std::memcpy(wantedPreset_.data(), LV2_ATOM_BODY_CONST(value), value->size);
    wantedPreset_.back() = '\0';
    requestPreset();
    return;
  }
  const ControlPort* port = portWithProperty(asked);
  const auto number = numberOf(urids_, *value);
  if (port == nullptr || !number) return;
  sounding_->cycle.renderUpTo(frame);
  changes_.beginChange();
  port->parameter->setValue(port->held(*number));
  changes_.endChange();
  stateHasChanged_ = true;
}

// When the main queue is behind, the wish stays with the render thread, where a later one takes its place.
void PluginInstance::requestPreset() noexcept {
  isPresetWanted_ = !presetRequests_.push(wantedPreset_);
  if (!isPresetWanted_) presetRequestsWaiting_.fetch_add(1);
}

void PluginInstance::readGet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  const LV2_Atom* property = nullptr;
  lv2_atom_object_get(&object, urids_.patchProperty, &property, 0);
  if (property == nullptr) {
    output_.setString(frame, urids_.preset, presetName_.data());
    return;
  }
  if (property->type != urids_.atomUrid) return;
  const LV2_URID asked = reinterpret_cast<const LV2_Atom_URID*>(property)->body;
  if (asked == urids_.preset) {
    output_.setString(frame, asked, presetName_.data());
  } else if (const ControlPort* port = portWithProperty(asked)) {
    output_.setFloat(frame, asked, port->parameter->value());
  }
}

// All of it at the cycle's beginning, so that times do not fall when answers follow.
void PluginInstance::writeNotices() noexcept {
  MidiOut message;
  while (midiOut_.take(&message)) output_.midi(0, {message.bytes.data(), message.length});
  while (presetNames_.take(&presetName_)) isNameTold_ = false;
  if (!isNameTold_) isNameTold_ = output_.setString(0, urids_.preset, presetName_.data());
  if (stateHasChanged_.exchange(false) && !output_.stateChanged(0)) stateHasChanged_ = true;
}

const ControlPort* PluginInstance::portWithProperty(LV2_URID property) const noexcept {
  const auto found =
      std::lower_bound(properties_.begin(), properties_.end(), std::pair(property, std::size_t{0}));
  return found != properties_.end() && found->first == property ? &ports_[found->second] : nullptr;
}

void PluginInstance::takeOver(PendingState* pending) noexcept {
  if (pending == nullptr) return;
  changes_.beginChange();
  sounding_->unit.applyFullState(pending->change);
  watch_.expect(pending->ports);
  changes_.endChange();
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
  restoredText_ = std::move(text);
  setPresetName(envelope.value().preset);
  freeTakenOver();
  if (isActive_) {
    delete pending_.exchange(pending.release());
  } else {
    takeOver(pending.release());
  }
  return LV2_STATE_SUCCESS;
}

}  // namespace morv::lv2
