#include "unit/NaturalOrder.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/Utf8.h"

namespace morv {
namespace {

// The letters behind those with accents, from U+00C0 on; empty for the two that are signs. Letters without a
// plain one behind them go with the one that they are most often written as.
constexpr char32_t kFirstAccented = 0xC0;
// clang-format off
constexpr std::array<std::string_view, 192> kPlainLetters = {
    "a", "a", "a", "a", "a", "a", "ae", "c", "e", "e", "e", "e", "i", "i", "i", "i",  // U+00C0
    "d", "n", "o", "o", "o", "o", "o", "", "o", "u", "u", "u", "u", "y", "th", "ss",  // U+00D0
    "a", "a", "a", "a", "a", "a", "ae", "c", "e", "e", "e", "e", "i", "i", "i", "i",  // U+00E0
    "d", "n", "o", "o", "o", "o", "o", "", "o", "u", "u", "u", "u", "y", "th", "y",  // U+00F0
    "a", "a", "a", "a", "a", "a", "c", "c", "c", "c", "c", "c", "c", "c", "d", "d",  // U+0100
    "d", "d", "e", "e", "e", "e", "e", "e", "e", "e", "e", "e", "g", "g", "g", "g",  // U+0110
    "g", "g", "g", "g", "h", "h", "h", "h", "i", "i", "i", "i", "i", "i", "i", "i",  // U+0120
    "i", "i", "ij", "ij", "j", "j", "k", "k", "q", "l", "l", "l", "l", "l", "l", "l",  // U+0130
    "l", "l", "l", "n", "n", "n", "n", "n", "n", "n", "n", "n", "o", "o", "o", "o",  // U+0140
    "o", "o", "oe", "oe", "r", "r", "r", "r", "r", "r", "s", "s", "s", "s", "s", "s",  // U+0150
    "s", "s", "t", "t", "t", "t", "t", "t", "u", "u", "u", "u", "u", "u", "u", "u",  // U+0160
    "u", "u", "u", "u", "w", "w", "y", "y", "y", "z", "z", "z", "z", "z", "z", "s",  // U+0170
};
// clang-format on

// Punctuation that everyone has, in the order of the Unicode collation.
constexpr std::string_view kPunctuation = " _-,;:!?.'\"()[]{}@*/\\&#%`^+<=>|~$";

// Where things stand to each other; 0 is the end of a name.
constexpr std::uint32_t kControls = 1;
constexpr std::uint32_t kCommonSigns = 0x100;
constexpr std::uint32_t kOtherSigns = 0x200;
constexpr std::uint32_t kNumbers = 0x200000;
constexpr std::uint32_t kLetters = 0x300000;
constexpr std::uint32_t kBadBytes = 0x500000;

bool isDigit(char32_t c) noexcept { return c >= '0' && c <= '9'; }
bool isCombiningMark(char32_t c) noexcept { return c >= 0x300 && c <= 0x36F; }
// Latin-1's signs, and the blocks of general punctuation, symbols and the punctuation of East Asia.
bool isSign(char32_t c) noexcept {
  return (c >= 0x80 && c < kFirstAccented) || c == 0xD7 || c == 0xF7 || (c >= 0x2000 && c <= 0x2BFF) ||
         (c >= 0x3000 && c <= 0x303F);
}

std::uint32_t rankOf(char32_t c) noexcept {
  if (c >= 'A' && c <= 'Z') return kLetters + (c - 'A' + 'a');
  if (c >= 'a' && c <= 'z') return kLetters + c;
  if (c < 0x80) {
    const std::size_t place = kPunctuation.find(static_cast<char>(c));
    return place == std::string_view::npos ? kControls + c : kCommonSigns + static_cast<std::uint32_t>(place);
  }
  return (isSign(c) ? kOtherSigns : kLetters) + c;
}

// What names are compared by, piece by piece.
struct Piece {
  std::uint32_t rank = 0;
  std::string_view number{};  // the digits of a number, without leading zeros
};

// Takes a name apart from its beginning on.
class Pieces {
 public:
  explicit Pieces(std::string_view text) noexcept : text_(text) {}

  Piece next() noexcept {
    if (!spelled_.empty()) return letter();
    while (!text_.empty()) {
      if (isDigit(static_cast<unsigned char>(text_.front()))) return {kNumbers, takeNumber()};
      const auto first = firstUtf8Character(text_);
      if (!first) return {kBadBytes + static_cast<unsigned char>(take(1).front())};
      take(first->bytes);
      if (isCombiningMark(first->character)) continue;
      if (first->character >= kFirstAccented && first->character < kFirstAccented + kPlainLetters.size()) {
        spelled_ = kPlainLetters[first->character - kFirstAccented];
        if (!spelled_.empty()) return letter();
      }
      return {rankOf(first->character)};
    }
    return {};
  }

 private:
  std::string_view take(std::size_t count) noexcept {
    const std::string_view taken = text_.substr(0, count);
    text_.remove_prefix(count);
    return taken;
  }
  std::string_view takeNumber() noexcept {
    while (!text_.empty() && text_.front() == '0') text_.remove_prefix(1);
    std::size_t count = 0;
    while (count < text_.size() && isDigit(static_cast<unsigned char>(text_[count]))) ++count;
    return take(count);
  }
  Piece letter() noexcept {
    const Piece piece{rankOf(static_cast<unsigned char>(spelled_.front()))};
    spelled_.remove_prefix(1);
    return piece;
  }

  std::string_view text_;
  std::string_view spelled_;  // what is left of a letter that stands for several
};

// Below 0, 0 or above 0.
int compare(std::string_view a, std::string_view b) noexcept {
  Pieces left(a);
  Pieces right(b);
  for (;;) {
    const Piece m = left.next();
    const Piece n = right.next();
    if (m.rank != n.rank) return m.rank < n.rank ? -1 : 1;
    if (m.rank == 0) return 0;
    if (m.number.size() != n.number.size()) return m.number.size() < n.number.size() ? -1 : 1;
    if (const int order = m.number.compare(n.number); order != 0) return order;
  }
}

}  // namespace

bool isNaturallyBefore(std::string_view a, std::string_view b) noexcept {
  const int order = compare(a, b);
  return order != 0 ? order < 0 : a < b;
}

}  // namespace morv
