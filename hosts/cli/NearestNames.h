#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace morv::cli {

// Number of letters to insert, drop or replace to turn one word into the other; capitals count as small
// letters.
std::size_t editDistance(std::string_view from, std::string_view to);

// The `count` names nearest to a misspelt one, each once, nearest first, those of one distance in the order
// given.
std::vector<std::string> nearestNames(std::string_view misspelt, const std::vector<std::string>& names,
                                      std::size_t count = 3);

// "a, b, c".
std::string joined(const std::vector<std::string>& names);

}  // namespace morv::cli
