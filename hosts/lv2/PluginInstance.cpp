#include "hosts/lv2/PluginInstance.h"

#include <algorithm>
#include <stdexcept>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/ProcessSurroundings.h"
#include "hosts/lv2/RecoveryReports.h"

namespace morv::lv2 {
namespace {

constexpr const char* kMappingChanged = "midiMappingChanged";
// Far more than any work of the queue has others follow on itself.
constexpr int kGreatestTurns = 16;

}  // namespace

PluginInstance::PluginInstance(double sampleRateHz, const HostFeatures& host)
    : log_(std::make_shared<InstanceLog>(host)),
      urids_(*host.map),
      sampleRateHz_(sampleRateHz),
      surroundings_(processSurroundings()),
      ports_(portsOfFreshUnit()),
      watch_(ports_),
      output_(*host.map, urids_),
      turner_(
          host.schedule, [this] { turnQueue(); }, [this](const std::string& reason) { log_->log(reason); }) {
  for (std::size_t i = 0; i < ports_.size(); ++i) {
    const std::string uri = kNamespace + ports_[i].symbol;
    properties_.emplace_back(host.map->map(host.map->handle, uri.c_str()), i);
  }
  std::sort(properties_.begin(), properties_.end());
  // What the unit has posted on its way up shall not fall into the first cycles.
  turnQueue();
  if (!allocate()) throw std::runtime_error("this sample rate is out of range");
  mappingObserver_ = surroundings_->notifications().addObserver(kMappingChanged, queue_,
                                                                [this] { mapper_->tableHasChanged(); });
}

PluginInstance::~PluginInstance() {
  surroundings_->notifications().removeObserver(mappingObserver_);
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
  if (mapper_ == nullptr) {
    mapper_ = std::make_shared<InstanceMapper>(
        MidiMapperServices{&surroundings_->standardSettings(), &surroundings_->notifications(),
                           surroundings_->directories(), given.log},
        [this] { stateHasChanged_ = true; });
  }
  given.midiMapper = mapper_;
  sounding_.reset();
  toldFaults_ = 0;
  sounding_ = std::make_unique<Sounding>(given, firstAddress);
  ZQ3Unit& unit = sounding_->unit;
  const std::int64_t drawnFrom = unit.firstAddress();
  mapper_->setAddressShift({unit.firstAddressBehindVoices() - drawnFrom, drawnFrom});
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
  const std::uint32_t parameter = port - kFirstParameterPort;
  if (parameter < ports_.size()) watch_.connect(parameter, static_cast<const float*>(data));
  if (parameter == ports_.size()) freewheel_ = static_cast<const float*>(data);
}

// An engine that has played is not fresh in many small ways, so a new one takes over, with the same values
// and the same addresses.
void PluginInstance::activate() {
  const std::scoped_lock lock(mainMutex_);
  takePending();  // it belongs to the unit that may now go
  if (sounding_->cycle.hasBegun()) {
    doAllWaitingWork();  // so do program changes and controllers on their way
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
  takePending();
}

// What waits here was asked for behind the restored state that the render thread has not taken yet, so it
// waits for that; `run` asks again.
void PluginInstance::turnQueue() {
  const std::scoped_lock lock(mainMutex_);
  if (pending_.load() == nullptr && !isTaking_.load()) doWaitingWork();
}

void PluginInstance::doWaitingWork() {
  PresetName name{};
  while (presetRequests_.take(&name)) {
    presetRequestsWaiting_.fetch_sub(1);
    sounding_->unit.setCurrentPresetWithName(name.data());
  }
  if (hasUnsentName_) sendPresetName();
  tellFaults();
  queue_.runDue(static_cast<double>(playedFrames_.load()) / sampleRateHz_);
}

// What the engine mended of itself, and what it could not.
void PluginInstance::tellFaults() {
  const std::vector<std::string> reports = takeRecoveryReports();
  for (const std::string& report : reports) log_->log(report);
  const std::uint64_t faults = sounding_->faults();
  if (faults == toldFaults_) return;
  toldFaults_ = faults;
  if (reports.empty()) {
    log_->log("state that was no number was put back, " + std::to_string(sounding_->unit.recoveryCount()) +
              " times so far");
  }
  if (const std::uint64_t samples = sounding_->cycle.numberlessSamples(); samples > 0) {
    log_->log(std::to_string(samples) + " samples that were no number have gone out as silence so far");
  }
}

void PluginInstance::doAllWaitingWork() {
  const double now = static_cast<double>(playedFrames_.load()) / sampleRateHz_;
  for (int turn = 0; turn < kGreatestTurns && (turn == 0 || queue_.hasDue(now)); ++turn) doWaitingWork();
}

void PluginInstance::run(std::uint32_t frames) noexcept {
  takePending();
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
  if (presetRequestsWaiting_.load() > 0 || hasUnsentName_ || sounding_->faults() != toldFaults_ ||
      recoveryReportsNeedRoom() || queue_.hasDue(static_cast<double>(played) / sampleRateHz_)) {
    const bool isOffline = freewheel_ != nullptr && *freewheel_ > 0;
    isOffline ? turner_.requestOffline() : turner_.request();
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

}  // namespace morv::lv2
