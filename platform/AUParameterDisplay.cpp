// Values of parameters as texts.

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "platform/AUParameter.h"

namespace morv {
namespace {

constexpr std::int32_t kIndexed = 1;
constexpr std::int32_t kBoolean = 2;
constexpr int kDigits = 4;

// Behind the number, by the unit's number.
std::string_view suffixOf(std::int32_t unit) {
  switch (unit) {
    case 3:
      return " %";
    case 5:
      return " samples";
    case 8:
      return " Hz";
    case 9:
      return " ct";
    case 10:
      return " st";
    case 13:
      return " dB";
    case 21:
      return " oct";
    case 24:
      return " ms";
    default:
      return "";
  }
}

std::string numberText(AUValue value) {
  if (!std::isfinite(value)) return std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
  std::array<char, 64> text{};
  const double magnitude = std::abs(static_cast<double>(value));
  int wholeDigits = 1;
  for (double power = 10.0; magnitude >= power && wholeDigits < kDigits; power *= 10.0) ++wholeDigits;
  const auto written = std::to_chars(text.data(), text.data() + text.size(), static_cast<double>(value),
                                     std::chars_format::fixed, kDigits - wholeDigits);
  std::string number(text.data(), written.ptr);
  if (number.find('.') != std::string::npos) {
    while (number.back() == '0') number.pop_back();
    if (number.back() == '.') number.pop_back();
  }
  return number == "-0" ? "0" : number;
}

}  // namespace

std::string AUParameter::stringFromValue(AUValue shown) const {
  const std::vector<std::string>& strings = description_.valueStrings;
  if (unit() == kIndexed && !strings.empty()) {
    const double index = std::round(static_cast<double>(shown) - static_cast<double>(minValue()));
    if (index >= 0.0 && index < static_cast<double>(strings.size()))
      return strings[static_cast<std::size_t>(index)];
  }
  if (unit() == kBoolean) return shown >= 0.5F ? "On" : "Off";
  return numberText(shown).append(suffixOf(unit()));
}

std::optional<AUValue> AUParameter::valueFromString(const std::string& text) const {
  const std::vector<std::string>& strings = description_.valueStrings;
  if (unit() == kIndexed) {
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (strings[i] == text) return minValue() + static_cast<AUValue>(i);
    }
  }
  if (unit() == kBoolean && (text == "On" || text == "Off")) return text == "On" ? 1.0F : 0.0F;
  AUValue value = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  if (parsed.ec != std::errc() || !std::isfinite(value)) return std::nullopt;
  const std::string_view rest(parsed.ptr, static_cast<std::size_t>(end - parsed.ptr));
  if (!rest.empty() && rest != suffixOf(unit())) return std::nullopt;
  return value;
}

}  // namespace morv
