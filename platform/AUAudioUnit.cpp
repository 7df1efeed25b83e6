#include "platform/AUAudioUnit.h"

#include <array>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace morv {
namespace {

// Far beyond what any device has; engines size their memory by the rate.
constexpr double kLeastRateHz = 1000.0;
constexpr double kGreatestRateHz = 768000.0;

bool isUsableRate(double sampleRateHz) {
  return sampleRateHz >= kLeastRateHz && sampleRateHz <= kGreatestRateHz;
}

constexpr const char* kVersion = "version";
constexpr const char* kType = "type";
constexpr const char* kSubtype = "subtype";
constexpr const char* kManufacturer = "manufacturer";
constexpr const char* kParameters = "parameters";
constexpr std::array<std::string_view, 5> kOwnKeys = {kVersion, kType, kSubtype, kManufacturer, kParameters};

const AUParameterGroup* groupOf(const AUParameterTree* tree, const std::string& identifier) {
  if (tree == nullptr) return nullptr;
  for (const auto& group : tree->children()) {
    if (group->identifier() == identifier) return group.get();
  }
  return nullptr;
}

// What a parameter takes from a value of a state, if anything.
std::optional<AUValue> restoredValue(const AUParameter& parameter, const PropertyListValue& value) {
  const std::optional<double> number = value.number();
  if (!number || !std::isfinite(*number)) return std::nullopt;
  const auto least = static_cast<double>(parameter.minValue());
  const auto greatest = static_cast<double>(parameter.maxValue());
  if (*number < least) return parameter.minValue();
  return *number > greatest ? parameter.maxValue() : static_cast<AUValue>(*number);
}

void checkParameters(const PropertyListValue& parameters) {
  const PropertyListDictionary* groups = parameters.dictionary();
  if (groups == nullptr) throw std::invalid_argument("the state's \"parameters\" is no dictionary");
  for (const auto& [identifier, group] : groups->entries()) {
    if (group.dictionary() == nullptr) {
      throw std::invalid_argument("the state's parameter group \"" + identifier + "\" is no dictionary");
    }
  }
}

}  // namespace

AUAudioUnit::AUAudioUnit() = default;
AUAudioUnit::AUAudioUnit(const AudioComponentDescription& description) : componentDescription_(description) {}
AUAudioUnit::~AUAudioUnit() = default;

bool AUAudioUnit::allocateRenderResources(std::string* error) {
  std::string reason;
  if (maximumFramesToRender_ < 1 || maximumFramesToRender_ > kGreatestBlockFrames) {
    reason = "blocks of " + std::to_string(maximumFramesToRender_) + " frames are out of range (1 to " +
             std::to_string(kGreatestBlockFrames) + ")";
  }
  for (const AUAudioUnitBus* bus : outputBusses()->busses()) {
    if (!isUsableRate(bus->format.sampleRate)) reason = "the output bus has no usable sample rate";
  }
  if (reason.empty()) return true;
  if (error != nullptr) *error = reason;
  return false;
}

void AUAudioUnit::deallocateRenderResources() { renderResourcesAllocated_ = false; }

bool AUAudioUnit::shouldChangeToFormatForBus(const AVAudioFormat& format, const AUAudioUnitBus& bus) const {
  return !renderResourcesAllocated_ && isUsableRate(format.sampleRate) && format.channelCount >= 1 &&
         format.channelCount <= bus.maximumChannelCount;
}

// What is ours comes first and what is not behind it, so that one and the same content always has one text.
PropertyListDictionary AUAudioUnit::fullState() const {
  PropertyListDictionary foreign;
  PropertyListDictionary foreignParameters;
  {
    const std::scoped_lock lock(foreignMutex_);
    foreign = foreign_;
    foreignParameters = foreignParameters_;
  }
  PropertyListDictionary parameters;
  if (const AUParameterTree* tree = parameterTree()) {
    for (const auto& group : tree->children()) {
      PropertyListDictionary values;
      for (const auto& parameter : group->children()) values.set(parameter->identifier(), parameter->value());
      if (const PropertyListValue* others = foreignParameters.find(group->identifier())) {
        for (const auto& [key, value] : others->dictionary()->entries()) values.set(key, value);
      }
      foreignParameters.remove(group->identifier());
      parameters.set(group->identifier(), std::move(values));
    }
  }
  for (const auto& [identifier, values] : foreignParameters.entries()) parameters.set(identifier, values);
  PropertyListDictionary state{{kVersion, kStateVersion},
                               {kType, componentDescription_.componentType},
                               {kSubtype, componentDescription_.componentSubType},
                               {kManufacturer, componentDescription_.componentManufacturer},
                               {kParameters, std::move(parameters)}};
  for (const auto& [key, value] : foreign.entries()) state.set(key, value);
  return state;
}

void AUAudioUnit::keepForeignParts(const PropertyListDictionary& state) {
  const std::scoped_lock lock(foreignMutex_);
  foreign_ = state;
  for (const std::string_view key : kOwnKeys) foreign_.remove(key);
  foreignParameters_ = {};
  const PropertyListValue* parameters = state.find(kParameters);
  if (parameters == nullptr) return;
  for (const auto& [identifier, values] : parameters->dictionary()->entries()) {
    const AUParameterGroup* group = groupOf(parameterTree(), identifier);
    PropertyListDictionary foreign;
    for (const auto& [key, value] : values.dictionary()->entries()) {
      if (group == nullptr || group->parameterWithIdentifier(key) == nullptr) foreign.set(key, value);
    }
    if (group == nullptr || !foreign.empty()) foreignParameters_.set(identifier, std::move(foreign));
  }
}

std::vector<AUAudioUnit::RestoredValue> AUAudioUnit::restoredValues(const PropertyListDictionary& state) {
  std::vector<RestoredValue> restored;
  const PropertyListValue* parameters = state.find(kParameters);
  if (parameters != nullptr) checkParameters(*parameters);
  keepForeignParts(state);
  if (parameters == nullptr) return restored;
  for (const auto& [identifier, values] : parameters->dictionary()->entries()) {
    const AUParameterGroup* group = groupOf(parameterTree(), identifier);
    if (group == nullptr) continue;
    for (const auto& parameter : group->children()) {
      const PropertyListValue* stored = values.dictionary()->find(parameter->identifier());
      if (stored == nullptr) continue;
      if (const auto value = restoredValue(*parameter, *stored))
        restored.push_back({parameter.get(), *value});
    }
  }
  return restored;
}

void AUAudioUnit::setFullState(const PropertyListDictionary* state) {
  if (state == nullptr) return;
  for (const auto& [parameter, value] : restoredValues(*state)) parameter->setValue(value);
}

}  // namespace morv
