#include "hosts/cli/Numbers.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace morv::cli {
namespace {

template <typename Number>
std::optional<Number> parseWhole(std::string_view text) {
  text = trimmed(text);
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

template <typename Real>
std::string printShortest(Real value) {
  std::array<char, 64> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} ? std::string(text.data(), end) : std::string{};
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<double> parseReal(std::string_view text) {
  const auto number = parseWhole<double>(text);
  return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::int64_t> parseInteger(std::string_view text) { return parseWhole<std::int64_t>(text); }

std::optional<std::uint64_t> parseUnsigned(std::string_view text) { return parseWhole<std::uint64_t>(text); }

std::string printReal(float value) { return printShortest(value); }

std::string printReal(double value) { return printShortest(value); }

std::string printFixed(double value, int decimals) {
  std::array<char, 400> text{};  // the greatest double has 309 digits in front of the point
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
  return error == std::errc{} ? std::string(text.data(), end) : std::string{};
}

}  // namespace morv::cli
