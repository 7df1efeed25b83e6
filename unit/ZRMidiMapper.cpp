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
  std::erase_if(trees_, [&tree](const auto& each) { return each.expired() || each.lock() == tree; });
  if (tree == nullptr) trees_.clear();
  if (tree != nullptr) trees_.push_back(tree);
  _loadMappingOrCreateDefaultIfNecesarry();
}

void ZRMidiMapper::takeBackParameterTree(const std::shared_ptr<AUParameterTree>& tree) {
  const std::scoped_lock lock(mutex_);
  std::erase_if(trees_, [&tree](const auto& each) { return each.expired() || each.lock() == tree; });
}

std::shared_ptr<AUParameterTree> ZRMidiMapper::parameterTree() const {
  for (auto each = trees_.rbegin(); each != trees_.rend(); ++each) {
    if (auto tree = each->lock()) return tree;
  }
  return nullptr;
}

void ZRMidiMapper::initiateMappingForParameter(std::uint64_t address) {
  const std::scoped_lock lock(mutex_);
  currentMappingParameter_ = address;
  isWaitingForMapping_ = true;
}

bool ZRMidiMapper::learn(int controller) {
  if (!storage_.mapping) storage_.mapping.emplace();
  const auto address = static_cast<std::int64_t>(currentMappingParameter_);
  const auto former = std::find_if(storage_.mapping->rbegin(), storage_.mapping->rend(),
                                   [address](const auto& entry) { return entry.second == address; });
  if (former != storage_.mapping->rend()) former->second = kMappedToNothing;
  (*storage_.mapping)[controller] = address;
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
    tree = parameterTree();
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
  return storage_.mapping;
}

std::shared_ptr<SettingsStore> ZRMidiMapper::defaults() const {
  const std::scoped_lock lock(mutex_);
  return storage_.defaults;
}

std::string ZRMidiMapper::basePath() const {
  const std::scoped_lock lock(mutex_);
  return storage_.basePath;
}

void ZRMidiMapper::setMapping(int controller, std::uint64_t forParameter) {
  const std::scoped_lock lock(mutex_);
  if (!storage_.mapping) storage_.mapping.emplace();
  const auto address = static_cast<std::int64_t>(forParameter);
  std::erase_if(*storage_.mapping,
                [address](const auto& entry) { return lowHalf(entry.second) == lowHalf(address); });
  (*storage_.mapping)[controller] = address;
  _persistMapping();
}

std::int64_t ZRMidiMapper::mappingForControl(int controller) const {
  const std::scoped_lock lock(mutex_);
  if (!storage_.mapping) return kMappedToNothing;
  const auto entry = storage_.mapping->find(controller);
  return entry != storage_.mapping->end() ? entry->second : kMappedToNothing;
}

// The first search compares the low halves of what is held, the second whole numbers; what passes only the
// first is found at no key and reads as 0.
int ZRMidiMapper::controlForMapping(std::uint64_t address) const {
  const std::scoped_lock lock(mutex_);
  if (!storage_.mapping) return -1;
  const auto wanted = static_cast<std::int64_t>(address);
  const auto holdsLow = [wanted](const auto& entry) { return lowHalf(entry.second) == wanted; };
  if (std::none_of(storage_.mapping->begin(), storage_.mapping->end(), holdsLow)) return -1;
  for (const auto& [controller, held] : *storage_.mapping) {
    if (held >= 0 && held == wanted) return controller;
  }
  return 0;
}

}  // namespace morv
