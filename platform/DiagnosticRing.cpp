#include "platform/DiagnosticRing.h"

namespace morv {

bool DiagnosticRing::push(const Line& line) noexcept {
  if (lines_.push(line)) return true;
  dropped_.fetch_add(1, std::memory_order_relaxed);
  return false;
}

void DiagnosticRing::post(const char* format) noexcept {
  push({format, {}, 0, 0, Line::Arguments::integers, nullptr});
}
void DiagnosticRing::post(const char* format, std::int32_t a) noexcept {
  push({format, {a}, 0, 0, Line::Arguments::integers, nullptr});
}
void DiagnosticRing::post(const char* format, std::int32_t a, std::int32_t b) noexcept {
  push({format, {a, b}, 0, 0, Line::Arguments::integers, nullptr});
}
void DiagnosticRing::post(const char* format, std::int32_t a, std::int32_t b, std::int32_t c,
                          std::int32_t d) noexcept {
  push({format, {a, b, c, d}, 0, 0, Line::Arguments::integers, nullptr});
}
void DiagnosticRing::postReal(const char* format, double a) noexcept {
  push({format, {}, a, 0, Line::Arguments::real, nullptr});
}
void DiagnosticRing::postReals(const char* format, double a, double b) noexcept {
  push({format, {}, a, b, Line::Arguments::twoReals, nullptr});
}
void DiagnosticRing::postIntegerReal(const char* format, std::int32_t a, double b) noexcept {
  push({format, {a}, b, 0, Line::Arguments::integerThenReal, nullptr});
}
bool DiagnosticRing::postIntegersWord(const char* format, std::int32_t a, std::int32_t b,
                                      const char* word) noexcept {
  return push({format, {a, b}, 0, 0, Line::Arguments::twoIntegersThenWord, word});
}

std::string DiagnosticRing::text(const Line& line) {
  std::array<char, 320> buffer{};
  const auto print = [&](auto... arguments) {
  // The formats are the engine's own literals; the kind of arguments travels beside them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(buffer.data(), buffer.size(), line.format, arguments...);
#pragma GCC diagnostic pop
  };
  const auto& integers = line.integers;
  switch (line.arguments) {
    case Line::Arguments::integers:
      print(integers[0], integers[1], integers[2], integers[3]);
      break;
    case Line::Arguments::integerThenReal:
      print(integers[0], line.real);
      break;
    case Line::Arguments::real:
      print(line.real);
      break;
    case Line::Arguments::twoReals:
      print(line.real, line.secondReal);
      break;
    case Line::Arguments::twoIntegersThenWord:
      print(integers[0], integers[1], line.word);
      break;
  }
  return buffer.data();
}

void DiagnosticRing::drain(std::FILE* sink) {
  Line line;
  while (take(&line)) {
    if (sink != nullptr) std::fputs(text(line).c_str(), sink);
  }
}

namespace {

// Made while the program loads: the first line may come from the render thread.
DiagnosticRing processRing;

}  // namespace

DiagnosticRing& DiagnosticRing::shared() noexcept { return processRing; }

}  // namespace morv
