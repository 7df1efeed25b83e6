#include "unit/ZRAudioUnit.h"

#include <stdexcept>
#include <utility>

#include "platform/AtomicFile.h"
#include "platform/DiagnosticRing.h"
#include "render/ZRDSPParameter.h"
#include "unit/GroupName.h"
#include "unit/PresetNames.h"
#include "unit/ZRMidiMapper.h"

namespace morv {
namespace {

constexpr const char* kGroupIdentifier = "group.org.morv";
constexpr unsigned kFirstStatusWithoutChannel = 241;
constexpr unsigned kControllerType = 176;
constexpr std::uint16_t kControllerBytes = 3;
// A controller's number, value and channel on their way through the main queue.
constexpr int kByteMask = 0xFF;
constexpr int kDataShift = 8;
constexpr int kChannelShift = 16;

const AudioUnitServices& checked(const AudioUnitServices& services) {
  if (services.standardSettings == nullptr) throw std::invalid_argument("no standard settings");
  if (services.sharedSettings == nullptr) throw std::invalid_argument("no shared settings");
  if (services.mainQueue == nullptr) throw std::invalid_argument("no main queue");
  return services;
}

}  // namespace

ZRAudioUnit::ZRAudioUnit(const AudioUnitServices& services, const AudioComponentDescription& description)
    : AUAudioUnit(description), services_(checked(services)), self_(std::make_shared<ZRAudioUnit*>(this)) {
  groupIdentifier_ = groupNameOfBundle(kBundleIdentifier);
  // The settings of a user stay the same in whatever bundle the unit comes.
  groupIdentifier_ = kGroupIdentifier;
  if (services_.fileCoordinator != nullptr && services_.backgroundQueue != nullptr) {
    cloud_ = std::make_shared<CloudContainer>(defaults(), *services_.fileCoordinator);
    // The container may live on with the background queue, and its watch would tell a main queue that is
    // gone.
    registrations_.add([this] { cloud_->stopWatching(); });
  }
  if (!services_.directories.documents.empty()) removeStaleTemporaryFiles(services_.directories.documents);
  presetSource = static_cast<std::int32_t>(defaults().integerForKey(kPresetStorageLocation));
  if (presetSource == kCloudLocation) {
    _initCloudStorage();
    _migrateToiCloud();
  }
  factoryPresets();
  overridesMIDISettingParametersWithPrefs = true;
  if (services_.notifications != nullptr) {
    const auto token = services_.notifications->addObserver("presetImportSucesfull", mainQueue(),
                                                            [this] { _reloadiCloudData(); });
    registrations_.add([this, token] { services_.notifications->removeObserver(token); });
  }
  observe(standardDefaults());
  observe(defaults());
  if (services_.midiMapper == nullptr) useMapperOfProcess();
  registrations_.add([this] { midiMapper()->takeBackParameterTree(mappedTree_.lock()); });
  // Last: what comes from a render thread finds a whole unit.
  voiceTriggeredKind_ = handleFromRender([this](std::int32_t note) {
    if (ZRAudioUnitDelegate* told = delegate()) told->audioUnitDidTriggerVoiceForNote(this, note);
    DiagnosticRing::shared().post("did trigger note: %i\n", note);
  });
  programChangeKind_ = handleFromRender([this](std::int32_t program) { programChanged(program); });
  controllerKind_ = handleFromRender([this](std::int32_t message) {
    midiMapper()->handleMidiCC(message & kByteMask, message >> kDataShift & kByteMask,
                               message >> kChannelShift);
  });
}

ZRAudioUnit::~ZRAudioUnit() { registrations_.undoAll(); }

void ZRAudioUnit::useMapperOfProcess() {
  services_.midiMapper = ZRMidiMapper::sharedObject();
  const auto loan = services_.midiMapper->lendServices({.standardSettings = services_.standardSettings,
                                                        .notifications = services_.notifications,
                                                        .directories = services_.directories,
                                                        .log = services_.log});
  registrations_.add([this, loan] { services_.midiMapper->takeBackServices(loan); });
}

// The queue is there as long as the unit is, and a call that is under way ends ahead of the removal.
void ZRAudioUnit::observe(SettingsStore& store) {
  const auto token = store.addObserver(
      [queue = services_.mainQueue, weak = std::weak_ptr<ZRAudioUnit*>(self_)](const std::string&) {
        queue->post([weak] {
          const auto self = weak.lock();
          if (!self) return;
          if ((*self)->followCloudFolder()) (*self)->iCloudDataChanged();
          (*self)->prefsChanged();
        });
      });
  registrations_.add([&store, token] { store.removeObserver(token); });
}

std::int32_t ZRAudioUnit::handleFromRender(std::function<void(std::int32_t value)> handler) {
  const std::int32_t kind = mainQueue().addRenderHandler(std::move(handler));
  registrations_.add([this, kind] { mainQueue().removeRenderHandler(kind); });
  return kind;
}

std::shared_ptr<AUParameterTree> ZRAudioUnit::generateParameterTree() {
  return AUParameterTree::createTreeWithChildren({});
}

std::shared_ptr<AUParameterGroup> ZRAudioUnit::createGroupWithId(
    const std::string& identifier, const std::string& name,
    const std::vector<ZRDSPParameter*>& ZRDSPParameters, std::int64_t groupAddressOffset) {
  std::vector<std::unique_ptr<AUParameter>> children;
  children.reserve(ZRDSPParameters.size());
  for (const ZRDSPParameter* record : ZRDSPParameters) {
    AUParameter::Description description;
    description.identifier = record->identifier;
    description.displayName = record->name;
    description.address = static_cast<AUParameterAddress>(record->address + groupAddressOffset);
    description.minValue = record->minValue;
    description.maxValue = record->maxValue;
    description.unit = static_cast<std::int32_t>(record->unit);
    description.flags = record->flags;
    if (!(record->minValue < 0.0F)) description.valueStrings = record->valueStrings;
    children.push_back(std::make_unique<AUParameter>(std::move(description)));
    children.back()->setValue(record->value);
  }
  auto group = std::make_shared<AUParameterGroup>(identifier, name, std::move(children));
  parameterGroups_.push_back(group);
  return group;
}

void ZRAudioUnit::log(const std::string& line) const {
  if (services_.log) services_.log(line);
}

void ZRAudioUnit::synchronize(SettingsStore& settings) const {
  if (const Outcome done = settings.synchronize(); !done.ok()) log("[ZRAU] error: " + done.reason());
}

MainQueue::Token ZRAudioUnit::performAfter(double seconds, std::function<void()> work) {
  return mainQueue().postAfter(seconds, [weak = std::weak_ptr<ZRAudioUnit*>(self_), work = std::move(work)] {
    if (weak.lock()) work();
  });
}

void ZRAudioUnit::handTreeToMapper() {
  const auto before = mappedTree_.lock();
  mappedTree_ = parameterTree_;
  midiMapper()->setParameterTree(parameterTree_);
  if (before != parameterTree_) midiMapper()->takeBackParameterTree(before);
}

ZRDSPModMatrix* ZRAudioUnit::getModMatrix() const { return nullptr; }

void ZRAudioUnit::prefsChanged() { log("[ZRAUdioUnit] prefs changed"); }

const ZRAudioUnit::MIDIMonitorBlock& ZRAudioUnit::midiMonitorBlock() {
  if (!midiMonitorBlock_) {
    midiMonitorBlock_ = [this](AUEventSampleTime, std::uint8_t, std::uint16_t length,
                               const std::uint8_t* bytes) { return monitorMidi(length, bytes); };
  }
  return midiMonitorBlock_;
}

int ZRAudioUnit::monitorMidi(std::uint16_t length, const std::uint8_t* bytes) noexcept {
  if (length < kControllerBytes || bytes[0] >= kFirstStatusWithoutChannel) return 0;
  const unsigned type = bytes[0] & 0xF0U;
  const unsigned channel = (bytes[0] & 0x0FU) + 1U;
  if (type == kControllerType) {
    const auto message = bytes[1] | unsigned{bytes[2]} << kDataShift | channel << kChannelShift;
    mainQueue().postFromRender(controllerKind_, static_cast<std::int32_t>(message));
  }
  return 0;
}

void ZRAudioUnit::postVoiceTriggered(int note) noexcept {
  mainQueue().postFromRender(voiceTriggeredKind_, note);
}

void ZRAudioUnit::postProgramChange(int program) noexcept {
  mainQueue().postFromRender(programChangeKind_, program);
}

}  // namespace morv
