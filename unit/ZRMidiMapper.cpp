#include "unit/ZRMidiMapper.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "render/ZRDSPParameter.h"
#include "unit/GroupName.h"

namespace morv {
namespace {

constexpr std::int64_t kMappedToNothing = -1;
constexpr const char* kMappingChanged = "midiMappingChanged";
constexpr double kGreatestData = 127.0;

std::int32_t lowHalf(std::int64_t number) { return static_cast<std::int32_t>(number); }

AUValue mappedValue(const AUParameter& parameter, int data) {
  const auto n = static_cast<float>(data / kGreatestData);
  const float least = parameter.minValue();
  const float greatest = parameter.maxValue();
  const float range = greatest - least;
  switch (static_cast<ZRDSPParameterUnit>(parameter.unit())) {
    case ZRDSPParameterUnit::indexed:
      return std::floor(least + (n * greatest - least));
    case ZRDSPParameterUnit::hertz:
      return least + n * n * n * n * range;
    default:
      return least + n * range;
  }
}

}  // namespace

std::shared_ptr<ZRMidiMapper> ZRMidiMapper::sharedObject() {
  static const auto shared = std::make_shared<ZRMidiMapper>();
  return shared;
}

ZRMidiMapper::ZRMidiMapper(MidiMapperServices services)
    : own_(std::move(services)), groupIdentifier_(groupNameOfBundle(kBundleIdentifier)) {
  _initStorage();
  _loadMappingOrCreateDefaultIfNecesarry();
  readChannel(0);
}

ZRMidiMapper::~ZRMidiMapper() = default;

void ZRMidiMapper::setParameterTree(const std::shared_ptr<AUParameterTree>& tree) {
  const std::scoped_lock lock(mutex_);
  parameterTree_ = tree;
  _loadMappingOrCreateDefaultIfNecesarry();
}

void ZRMidiMapper::initiateMappingForParameter(std::uint64_t address) {
  const std::scoped_lock lock(mutex_);
  currentMappingParameter_ = address;
  isWaitingForMapping_ = true;
}

bool ZRMidiMapper::learn(int controller) {
  if (!mapping_) mapping_.emplace();
  const auto address = static_cast<std::int64_t>(currentMappingParameter_);
  const auto former = std::find_if(mapping_->rbegin(), mapping_->rend(),
                                   [address](const auto& entry) { return entry.second == address; });
  if (former != mapping_->rend()) former->second = kMappedToNothing;
  (*mapping_)[controller] = address;
  isWaitingForMapping_ = false;
  _persistMapping();
  if (services().notifications != nullptr) services().notifications->post(kMappingChanged);
  log("[MIDI] received mapping: CC:" + std::to_string(controller) +
      " -> ADDR:" + std::to_string(currentMappingParameter_));
  return true;
}

bool ZRMidiMapper::handleMidiCC(int controller, int withData, int onChannel) {
  std::shared_ptr<AUParameterTree> tree;
  AUParameter* parameter = nullptr;
  {
    const std::scoped_lock lock(mutex_);
    readChannel(-1);
    if (onChannel != midiCHannel_ && midiCHannel_ >= 0) return false;
    if (isWaitingForMapping_) return learn(controller);
    tree = parameterTree_.lock();
    if (tree == nullptr) return false;
    parameter = tree->parameterWithAddress(static_cast<AUParameterAddress>(mappingForControl(controller)));
  }
  if (parameter == nullptr) return false;
  parameter->setValue(mappedValue(*parameter, withData));
  return true;
}

void ZRMidiMapper::setMidiCHannel(int channel) {
  const std::scoped_lock lock(mutex_);
  midiCHannel_ = channel;
}

int ZRMidiMapper::midiCHannel() const {
  const std::scoped_lock lock(mutex_);
  return midiCHannel_;
}

bool ZRMidiMapper::isWaitingForMapping() const {
  const std::scoped_lock lock(mutex_);
  return isWaitingForMapping_;
}

std::uint64_t ZRMidiMapper::currentMappingParameter() const {
  const std::scoped_lock lock(mutex_);
  return currentMappingParameter_;
}

std::optional<ZRMidiMapper::Mapping> ZRMidiMapper::mapping() const {
  const std::scoped_lock lock(mutex_);
  return mapping_;
}

std::shared_ptr<SettingsStore> ZRMidiMapper::defaults() const {
  const std::scoped_lock lock(mutex_);
  return defaults_;
}

std::string ZRMidiMapper::basePath() const {
  const std::scoped_lock lock(mutex_);
  return basePath_;
}

void ZRMidiMapper::setMapping(int controller, std::uint64_t forParameter) {
  const std::scoped_lock lock(mutex_);
  if (!mapping_) mapping_.emplace();
  const auto address = static_cast<std::int64_t>(forParameter);
  std::erase_if(*mapping_,
                [address](const auto& entry) { return lowHalf(entry.second) == lowHalf(address); });
  (*mapping_)[controller] = address;
  _persistMapping();
}

std::int64_t ZRMidiMapper::mappingForControl(int controller) const {
  const std::scoped_lock lock(mutex_);
  if (!mapping_) return kMappedToNothing;
  const auto entry = mapping_->find(controller);
  return entry != mapping_->end() ? entry->second : kMappedToNothing;
}

// The first search compares the low halves of what is held, the second whole numbers; what passes only the
// first is found at no key and reads as 0.
int ZRMidiMapper::controlForMapping(std::uint64_t address) const {
  const std::scoped_lock lock(mutex_);
  if (!mapping_) return -1;
  const auto wanted = static_cast<std::int64_t>(address);
  const auto holdsLow = [wanted](const auto& entry) { return lowHalf(entry.second) == wanted; };
  if (std::none_of(mapping_->begin(), mapping_->end(), holdsLow)) return -1;
  for (const auto& [controller, held] : *mapping_) {
    if (held >= 0 && held == wanted) return controller;
  }
  return 0;
}

}  // namespace morv
