#include "unit/NaturalOrder.h"

#include <cstddef>

namespace morv {
namespace {

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

unsigned char folded(char c) noexcept {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

// The run of digits at `at`, without leading zeros; moves `at` behind it.
std::string_view takeNumber(std::string_view text, std::size_t* at) noexcept {
  while (*at < text.size() && text[*at] == '0') ++*at;
  const std::size_t begin = *at;
  while (*at < text.size() && isDigit(text[*at])) ++*at;
  return text.substr(begin, *at - begin);
}

// Below 0, 0 or above 0, without regard to case and leading zeros.
int compare(std::string_view a, std::string_view b) noexcept {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (isDigit(a[i]) && isDigit(b[j])) {
      const std::string_view m = takeNumber(a, &i);
      const std::string_view n = takeNumber(b, &j);
      if (m.size() != n.size()) return m.size() < n.size() ? -1 : 1;
      if (const int order = m.compare(n); order != 0) return order;
      continue;
    }
    const unsigned char c = folded(a[i++]);
    const unsigned char d = folded(b[j++]);
    if (c != d) return c < d ? -1 : 1;
  }
  if (i == a.size() && j == b.size()) return 0;
  return i == a.size() ? -1 : 1;
}

}  // namespace

bool isNaturallyBefore(std::string_view a, std::string_view b) noexcept {
  const int order = compare(a, b);
  return order != 0 ? order < 0 : a < b;
}

}  // namespace morv
