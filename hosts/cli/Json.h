#pragma once

#include <string>
#include <string_view>

namespace morv::cli {

// A text between quotes as JSON has it; what JSON cannot show as it is becomes an escape, and each byte that
// is no UTF-8 the replacement character U+FFFD.
std::string jsonQuoted(std::string_view text);
// A number with a point; infinities and what is no number, which JSON lacks, become null.
std::string jsonNumber(double value, int decimals);

}  // namespace morv::cli
