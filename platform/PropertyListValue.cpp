#include "platform/PropertyListValue.h"

#include <bit>

namespace morv {

std::optional<bool> PropertyListValue::boolean() const {
  const bool* held = std::get_if<bool>(&held_);
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

std::optional<std::int64_t> PropertyListValue::integer() const {
  const auto* held = std::get_if<std::int64_t>(&held_);
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

std::optional<std::uint64_t> PropertyListValue::unsignedInteger() const {
  if (const auto* held = std::get_if<std::uint64_t>(&held_)) return *held;
  const auto* held = std::get_if<std::int64_t>(&held_);
  if (held == nullptr || *held < 0) return std::nullopt;
  return static_cast<std::uint64_t>(*held);
}

std::optional<double> PropertyListValue::real() const {
  const double* held = std::get_if<double>(&held_);
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

std::optional<PropertyListDate> PropertyListValue::date() const {
  const auto* held = std::get_if<PropertyListDate>(&held_);
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

std::optional<double> PropertyListValue::number() const {
  switch (kind()) {
    case Kind::boolean:
      return *boolean() ? 1.0 : 0.0;
    case Kind::integer:
      return static_cast<double>(*integer());
    case Kind::unsignedInteger:
      return static_cast<double>(*unsignedInteger());
    case Kind::real:
      return real();
    default:
      return std::nullopt;
  }
}

bool PropertyListValue::operator==(const PropertyListValue& other) const {
  if (kind() == Kind::real && other.kind() == Kind::real)
    return std::bit_cast<std::uint64_t>(*real()) == std::bit_cast<std::uint64_t>(*other.real());
  return held_ == other.held_;
}

}  // namespace morv
