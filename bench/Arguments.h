#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace morv {

// A program's arguments, in the order in which they are asked for. Whatever is wrong with them ends the
// program with 2 and a line on the standard error stream.
class Arguments {
 public:
  // `usage` tells how the program is called, in one line.
  Arguments(int argc, char** argv, const char* usage) : argc_(argc), argv_(argv), usage_(usage) {}

  // A number within both bounds, `usual` where it is not given.
  double number(double usual, double least, double greatest) {
    if (next_ >= argc_) return usual;
    const char* text = argv_[next_++];
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(value >= least && value <= greatest)) refuse(text);
    return value;
  }
  // The same of whole numbers.
  int wholeNumber(int usual, int least, int greatest) {
    const double value = number(usual, least, greatest);
    const int whole = static_cast<int>(value);
    if (static_cast<double>(whole) != value) refuse(argv_[next_ - 1]);
    return whole;
  }
  std::uint64_t seed(std::uint64_t usual) {
    if (next_ >= argc_) return usual;
    const char* text = argv_[next_++];
    char* end = nullptr;
    errno = 0;
    const std::uint64_t value = std::strtoull(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || errno != 0) refuse(text);
    return value;
  }
  // One of some words, empty where it is not given.
  template <typename... Words>
  std::string_view word(Words... words) {
    if (next_ >= argc_) return {};
    const std::string_view text = argv_[next_++];
    if (!((text == words) || ...)) refuse(argv_[next_ - 1]);
    return text;
  }
  // Behind the last one.
  void end() const {
    if (next_ < argc_) refuse(argv_[next_]);
  }

 private:
  [[noreturn]] void refuse(const char* text) const {
    std::fprintf(stderr, "not understood: \"%s\"\nusage: %s\n", text, usage_);
    std::exit(2);
  }

  const int argc_;
  char** const argv_;
  const char* const usage_;
  int next_ = 1;
};

}  // namespace morv
