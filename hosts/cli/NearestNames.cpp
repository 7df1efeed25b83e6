#include "hosts/cli/NearestNames.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace morv::cli {
namespace {

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

// Levenshtein distance, one row of the table at a time.
std::size_t editDistance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (lowered(from[i]) == lowered(to[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

std::vector<std::string> nearestNames(std::string_view misspelt, const std::vector<std::string>& names,
                                      std::size_t count) {
  std::vector<std::pair<std::size_t, const std::string*>> ranked;
  ranked.reserve(names.size());
  for (const auto& name : names) ranked.emplace_back(editDistance(misspelt, name), &name);
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> nearest;
  for (const auto& [distance, name] : ranked) {
    if (nearest.size() == count) break;
    if (std::find(nearest.begin(), nearest.end(), *name) == nearest.end()) nearest.push_back(*name);
  }
  return nearest;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    if (!text.empty()) text += ", ";
    text += name;
  }
  return text;
}

}  // namespace morv::cli
