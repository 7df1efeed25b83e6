#pragma once

#include <string>
#include <string_view>

namespace morv::cli {

// A text between quotes as JSON has it; what JSON cannot show as it is becomes an escape.
std::string jsonQuoted(std::string_view text);
// A number with a point; infinities and what is no number, which JSON lacks, become null.
std::string jsonNumber(double value, int decimals);

}  // namespace morv::cli
