#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Export.h"
#include "platform/PropertyListDate.h"
#include "platform/PropertyListDictionary.h"

namespace morv {

// One value of a property list: a boolean, an integer (of 64 bits, signed or not), a real, a string in UTF-8,
// a date, a run of bytes, or an array or a dictionary of such values.
//
// Reals are doubles; every float fits into one and comes back bit for bit. An integer has one form whichever
// type it came from: only numbers above the greatest signed one are held as unsigned.
//
// A plain value: any one thread at a time; not on the render thread, since copies allocate.
class MORV_EXPORT PropertyListValue {
 public:
  using Array = std::vector<PropertyListValue>;
  using Data = std::vector<std::uint8_t>;
  using Dictionary = PropertyListDictionary;
  enum class Kind { boolean, integer, unsignedInteger, real, string, date, data, array, dictionary };

  // An empty dictionary.
  PropertyListValue() : held_(Dictionary{}) {}
  PropertyListValue(bool value) : held_(value) {}
  template <std::integral Integer>
  PropertyListValue(Integer value) : held_(std::int64_t{0}) {
    if (std::in_range<std::int64_t>(value)) {
      held_ = static_cast<std::int64_t>(value);
    } else {
      held_ = static_cast<std::uint64_t>(value);
    }
  }
  PropertyListValue(double value) : held_(value) {}
  PropertyListValue(float value) : held_(static_cast<double>(value)) {}
  PropertyListValue(std::string value) : held_(std::move(value)) {}
  PropertyListValue(std::string_view value) : held_(std::string(value)) {}
  PropertyListValue(const char* value) : held_(std::string(value)) {}
  PropertyListValue(PropertyListDate value) : held_(value) {}
  PropertyListValue(Data value) : held_(std::move(value)) {}
  PropertyListValue(Array value) : held_(std::move(value)) {}
  PropertyListValue(Dictionary value) : held_(std::move(value)) {}

  Kind kind() const noexcept { return static_cast<Kind>(held_.index()); }

  // Each of these gives what the value holds if it is of that kind, and nothing otherwise.
  std::optional<bool> boolean() const;
  std::optional<std::int64_t> integer() const;           // none for an integer too great for the type
  std::optional<std::uint64_t> unsignedInteger() const;  // none for a negative integer
  std::optional<double> real() const;
  std::optional<PropertyListDate> date() const;
  const std::string* string() const { return std::get_if<std::string>(&held_); }
  const Data* data() const { return std::get_if<Data>(&held_); }
  const Array* array() const { return std::get_if<Array>(&held_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&held_); }
  Array* array() { return std::get_if<Array>(&held_); }
  Dictionary* dictionary() { return std::get_if<Dictionary>(&held_); }
  // A boolean (0 or 1), an integer or a real as a real.
  std::optional<double> number() const;

  // Whether both are of one kind and hold the same; reals are the same if their bits are, so that a value
  // that is no number equals itself and 0 differs from -0.
  bool operator==(const PropertyListValue& other) const;

 private:
  // In the order of `Kind`.
  std::variant<bool, std::int64_t, std::uint64_t, double, std::string, PropertyListDate, Data, Array,
               Dictionary>
      held_;
};

}  // namespace morv
