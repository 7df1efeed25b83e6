#pragma once

#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"
#include "render/SafeCast.h"

namespace morv {

// Units by the numbering of the platform's parameter tree.
enum class ZRDSPParameterUnit : std::int32_t {
  generic = 0,
  indexed = 1,  // valueStrings name the integer steps
  boolean = 2,
  percent = 3,
  sampleFrames = 5,
  hertz = 8,
  cents = 9,
  relativeSemitones = 10,
  decibels = 13,
  octaves = 21,
  milliseconds = 24,
};

using ZRDSPParameterFlags = std::uint32_t;

// Readable, writable, can ramp, in the platform's bit numbering.
inline constexpr ZRDSPParameterFlags kDefaultParameterFlags = 0xC2000000U;
// Shown on an exponential scale; replaces the default flags where a parameter has it.
inline constexpr ZRDSPParameterFlags kExponentialDisplayFlags = 0x50000U;

// One float setting with its range and names. The record neither smooths nor clamps; the range is for display
// and for the tree. `value` and its quotient may be read and written by any thread, one float at a time;
// everything else is filled during construction and stays.
class ZRDSPParameter {
 public:
  ZRDSPParameter() = default;
  ZRDSPParameter(const ZRDSPParameter&) = delete;
  ZRDSPParameter& operator=(const ZRDSPParameter&) = delete;

  // Stores the value and its quotient by the maximum, without clamping. Any thread.
  ZRDSPParameter& operator=(float newValue) noexcept MORV_NONBLOCKING {
    value = newValue;
    normalizedValueCache = newValue / maxValue;
    return *this;
  }

  // The value rounded half away from zero. All mode switches of the engine read this. Any thread.
  std::int32_t intValue() const noexcept MORV_NONBLOCKING { return truncatedInt(std::round(value.load())); }
  // The value over its maximum. The minimum takes no part: -1 of a range from -1 to 1 gives -1. Any thread.
  float normalizedValue() const noexcept MORV_NONBLOCKING { return value / maxValue; }
  // Whether the value is finite, and to give it the one that it was filled with if it is not. Any thread.
  bool isNumber() const noexcept MORV_NONBLOCKING { return std::isfinite(value.load()); }
  void mend() noexcept MORV_NONBLOCKING {
    if (!isNumber()) *this = defaultValue;
  }

  std::string identifier;     // stable key of the tree and of saved state
  std::string name;           // shown to the user
  std::int32_t address = -1;  // run-time handle; -1 until one is given
  float minValue = 0;
  float maxValue = 0;
  float defaultValue = 0;                 // what it was filled with
  std::vector<std::string> valueStrings;  // one per step of an indexed parameter
  ZRDSPParameterUnit unit = ZRDSPParameterUnit::generic;
  ZRDSPParameterFlags flags = 0;
  Relaxed<float> value{0.0F};
  Relaxed<float> normalizedValueCache{0.0F};
  std::int32_t dependsOnAddress = -1;  // listed only while the parameter at this address has ...
  float dependsOnValue = -1.0F;        // ... this value; below 0 for always
};

// One row of a class's parameter table.
struct ParameterRow {
  const char* identifier;
  const char* name;
  float minValue;
  float maxValue;
  float defaultValue;
  ZRDSPParameterUnit unit = ZRDSPParameterUnit::generic;
  std::span<const char* const> valueStrings{};
  ZRDSPParameterFlags flags = kDefaultParameterFlags;
};

}  // namespace morv
