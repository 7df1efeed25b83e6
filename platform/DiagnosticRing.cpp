#include "platform/DiagnosticRing.h"

namespace morv {

// Bounded queue with a sequence number per cell (Vyukov's scheme): a writer claims a cell by moving the head,
// fills it and publishes it by its number; the reader waits for no one, it stops at the first cell not yet
// published.
DiagnosticRing::DiagnosticRing() noexcept {
  for (std::size_t i = 0; i < kCapacity; ++i) cells_[i].sequence.store(i, std::memory_order_relaxed);
}

void DiagnosticRing::push(const Line& line) noexcept {
  std::uint64_t position = head_.load(std::memory_order_relaxed);
  for (;;) {
    Cell& cell = cells_[position % kCapacity];
    const std::uint64_t sequence = cell.sequence.load(std::memory_order_acquire);
    if (sequence == position) {
      if (head_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
        cell.line = line;
        cell.sequence.store(position + 1, std::memory_order_release);
        return;
      }
    } else if (sequence < position) {
      dropped_.fetch_add(1, std::memory_order_relaxed);
      return;
    } else {
      position = head_.load(std::memory_order_relaxed);
    }
  }
}

void DiagnosticRing::post(const char* format) noexcept { push({format, {}, 0, Line::Arguments::integers}); }
void DiagnosticRing::post(const char* format, std::int32_t a) noexcept {
  push({format, {a}, 0, Line::Arguments::integers});
}
void DiagnosticRing::post(const char* format, std::int32_t a, std::int32_t b) noexcept {
  push({format, {a, b}, 0, Line::Arguments::integers});
}
void DiagnosticRing::post(const char* format, std::int32_t a, std::int32_t b, std::int32_t c,
                          std::int32_t d) noexcept {
  push({format, {a, b, c, d}, 0, Line::Arguments::integers});
}
void DiagnosticRing::postReal(const char* format, double a) noexcept {
  push({format, {}, a, Line::Arguments::real});
}
void DiagnosticRing::postIntegerReal(const char* format, std::int32_t a, double b) noexcept {
  push({format, {a}, b, Line::Arguments::integerThenReal});
}

bool DiagnosticRing::take(Line* line) noexcept {
  Cell& cell = cells_[tail_ % kCapacity];
  if (cell.sequence.load(std::memory_order_acquire) != tail_ + 1) return false;
  *line = cell.line;
  cell.sequence.store(tail_ + kCapacity, std::memory_order_release);
  ++tail_;
  return true;
}

void DiagnosticRing::drain(std::FILE* sink) {
  Line line;
  while (take(&line)) {
    if (sink == nullptr) continue;
      // The formats are the engine's own literals; the kind of arguments travels beside them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    switch (line.arguments) {
      case Line::Arguments::integers:
        std::fprintf(sink, line.format, line.integers[0], line.integers[1], line.integers[2],
                     line.integers[3]);
        break;
      case Line::Arguments::integerThenReal:
        std::fprintf(sink, line.format, line.integers[0], line.real);
        break;
      case Line::Arguments::real:
        std::fprintf(sink, line.format, line.real);
        break;
    }
#pragma GCC diagnostic pop
  }
}

namespace {

// Made while the program loads: the first line may come from the render thread.
DiagnosticRing processRing;

}  // namespace

DiagnosticRing& DiagnosticRing::shared() noexcept { return processRing; }

}  // namespace morv
