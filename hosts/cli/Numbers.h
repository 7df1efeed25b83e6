#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morv::cli {

// Reading and printing of numbers with a point as decimal mark, whatever the locale.

// The whole text as a finite decimal number, blanks around it allowed; none when it is anything else.
std::optional<double> parseReal(std::string_view text);
// The whole text as a decimal integer that fits; none otherwise.
std::optional<std::int64_t> parseInteger(std::string_view text);
std::optional<std::uint64_t> parseUnsigned(std::string_view text);

// Shortest text that reads back as the same number.
std::string printReal(float value);
std::string printReal(double value);
// Text with that many digits behind the point; infinities print as "inf" and "-inf".
std::string printFixed(double value, int decimals);

// The text without blanks, tabs and carriage returns at its ends.
std::string_view trimmed(std::string_view text);

}  // namespace morv::cli
