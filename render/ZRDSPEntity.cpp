#include "render/ZRDSPEntity.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "platform/DiagnosticRing.h"

namespace morv {

namespace {

bool isBelow(const std::pair<int, ZRDSPParameter*>& entry, int address) noexcept {
  return entry.first < address;
}

}  // namespace

std::uint32_t ZRDSPEntity::addr = 0;

ZRDSPEntity::ZRDSPEntity(float sampleRateHz) : ZRDSPEntity(sampleRateHz, 0, 0) {}

ZRDSPEntity::ZRDSPEntity(float sampleRateHz, int firstParameterAddress)
    : ZRDSPEntity(sampleRateHz, firstParameterAddress, 0) {}

ZRDSPEntity::ZRDSPEntity(float sampleRateHz, int firstParameterAddress, int entityIndex)
    : sampleRate(sampleRateHz), index(entityIndex), firstAddress(firstParameterAddress) {
  if (entityIndex > 0) {
    indexSuffix.push_back(' ');
    indexSuffix.append(std::to_string(entityIndex));
  }
}

ZRDSPEntity::~ZRDSPEntity() = default;

// An entity's addresses mostly follow one another, so the first guess is right; behind a gap it is a search.
ZRDSPParameter* ZRDSPEntity::registered(int address) const noexcept {
  if (registry_.empty() || address < registry_.front().first) return nullptr;
  const std::size_t guess =
      static_cast<std::uint32_t>(address) - static_cast<std::uint32_t>(registry_.front().first);
  if (guess < registry_.size() && registry_[guess].first == address) return registry_[guess].second;
  const auto found = std::lower_bound(registry_.begin(), registry_.end(), address, isBelow);
  return found != registry_.end() && found->first == address ? found->second : nullptr;
}

bool ZRDSPEntity::isListed(const ZRDSPParameter& parameter) const noexcept {
  if (parameter.dependsOnAddress < 0) return true;
  const ZRDSPParameter* dependency = registered(parameter.dependsOnAddress);
  return dependency != nullptr && dependency->value == parameter.dependsOnValue;
}

std::vector<ZRDSPParameter*> ZRDSPEntity::parameters() {
  std::vector<ZRDSPParameter*> list;
  list.reserve(registry_.size());
  for (const auto& [address, parameter] : registry_) {
    if (isListed(*parameter)) list.push_back(parameter);
  }
  return list;
}

void ZRDSPEntity::registerParameter(ZRDSPParameter* parameter) {
  parameter->dependsOnAddress = -1;
  parameter->dependsOnValue = -1.0F;
  if (parameter->address == -1) parameter->address = static_cast<std::int32_t>(addr);
  const auto place = std::lower_bound(registry_.begin(), registry_.end(), parameter->address, isBelow);
  if (place == registry_.end() || place->first != parameter->address) {
    registry_.emplace(place, parameter->address, parameter);
  }
  ++addr;
}

int ZRDSPEntity::addressForIdentifier(const std::string& wanted) {
  for (const auto& [address, parameter] : registry_) {
    if (isListed(*parameter) && parameter->identifier == wanted) return parameter->address;
  }
  return 0;
}

ZRDSPParameter* ZRDSPEntity::parameterForAddress(int address) {
  ZRDSPParameter* parameter = registered(address);
  if (parameter == nullptr) throw std::out_of_range("no parameter with address " + std::to_string(address));
  return parameter;
}

ZRDSPParameter* ZRDSPEntity::listedParameter(int address) const noexcept {
  ZRDSPParameter* parameter = registered(address);
  return parameter != nullptr && isListed(*parameter) ? parameter : nullptr;
}

void ZRDSPEntity::setParameterValueForAddress(int address, float value) noexcept {
  ZRDSPParameter* parameter = registered(address);
  if (parameter == nullptr) {
    DiagnosticRing::shared().post("Error: no parameter with address %i", address);
    return;
  }
  *parameter = value;
}

float ZRDSPEntity::parameterValueForAddress(int address) { return parameterForAddress(address)->value; }

void ZRDSPEntity::initParameter(const std::string& parameterIdentifier, const std::string& parameterName,
                                int address, float minValue, float maxValue,
                                const std::vector<std::string>& valueStrings, ZRDSPParameterUnit unit,
                                float defaultValue, ZRDSPParameter* parameter, bool doRegister) {
  parameter->identifier = parameterIdentifier;
  parameter->name = parameterName;
  parameter->address = address >= 0 ? address : static_cast<std::int32_t>(addr);
  parameter->minValue = minValue;
  parameter->maxValue = maxValue;
  parameter->defaultValue = defaultValue;
  parameter->valueStrings = valueStrings;
  parameter->unit = unit;
  *parameter = defaultValue;
  parameter->flags = kDefaultParameterFlags;
  parameter->dependsOnAddress = -1;
  parameter->dependsOnValue = -1.0F;
  if (doRegister) registerParameter(parameter);
}

void ZRDSPEntity::initParameter(const ParameterRow& row, int address, ZRDSPParameter* parameter,
                                bool doRegister) {
  initParameter(row.identifier, row.name, address, row.minValue, row.maxValue,
                {row.valueStrings.begin(), row.valueStrings.end()}, row.unit, row.defaultValue, parameter,
                doRegister);
  parameter->flags = row.flags;
}

void ZRDSPEntity::mendParameters() noexcept {
  for (const auto& [address, parameter] : registry_) parameter->mend();
}

void ZRDSPEntity::clearParamters() { registry_.clear(); }

float ZRDSPEntity::clamp(float value, float low, float high) noexcept {
  return std::min(std::max(value, low), high);
}

float ZRDSPEntity::msToHz(float periodSeconds) noexcept {
  return static_cast<float>(1.0 / static_cast<double>(periodSeconds));
}

float ZRDSPEntity::timeDivisionToPeriod(float numerator, float denominator, float bpm) noexcept {
  const auto bar = static_cast<float>(60.0 / static_cast<double>(bpm) * 4.0);
  return bar * (numerator / denominator);
}

float ZRDSPEntity::timeDivisionToFrequency(float numerator, float denominator, float bpm) noexcept {
  return msToHz(timeDivisionToPeriod(numerator, denominator, bpm));
}

float ZRDSPEntity::pitchShift(float semitones) noexcept {
  return std::pow(2.0F, static_cast<float>(static_cast<double>(semitones) / 12.0));
}

float ZRDSPEntity::semitonesBetweenFrequencies(float from, float to) noexcept {
  return static_cast<float>(std::log2(static_cast<double>(to / from)) * 12.0);
}

}  // namespace morv
