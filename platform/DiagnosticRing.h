#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/Export.h"
#include "platform/LockFreeRing.h"
#include "platform/NonBlocking.h"

namespace morv {

// Carries the engine's one-line diagnostics from wherever they are born, the render thread above all, to
// whoever prints them. Many writers, one reader, fixed size, no lock; when it is full a line is dropped and
// counted.
class MORV_EXPORT DiagnosticRing {
 public:
  struct Line {
    // printf form with static lifetime: up to four %i, or %i and %f, or one or two %f, or two %i and %s, as
    // `arguments` says.
    const char* format = nullptr;
    std::array<std::int32_t, 4> integers{};
    double real = 0;
    double secondReal = 0;
    enum class Arguments : std::uint8_t {
      integers,
      integerThenReal,
      real,
      twoReals,
      twoIntegersThenWord
    } arguments = Arguments::integers;
    const char* word = nullptr;  // with static lifetime
  };

  static constexpr std::size_t kCapacity = 1024;

  // Any thread. `format` must outlive the ring (a literal).
  void post(const char* format) noexcept MORV_NONBLOCKING;
  void post(const char* format, std::int32_t a) noexcept MORV_NONBLOCKING;
  void post(const char* format, std::int32_t a, std::int32_t b) noexcept MORV_NONBLOCKING;
  void post(const char* format, std::int32_t a, std::int32_t b, std::int32_t c,
            std::int32_t d) noexcept MORV_NONBLOCKING;
  void postReal(const char* format, double a) noexcept MORV_NONBLOCKING;
  void postReals(const char* format, double a, double b) noexcept MORV_NONBLOCKING;
  void postIntegerReal(const char* format, std::int32_t a, double b) noexcept MORV_NONBLOCKING;
  // `word` must outlive the ring too. Whether there was room for the line.
  bool postIntegersWord(const char* format, std::int32_t a, std::int32_t b,
                        const char* word) noexcept MORV_NONBLOCKING;

  // Takes the oldest line. False when there is none. One thread (the main queue's).
  bool take(Line* line) noexcept { return lines_.take(line); }
  // What a line says, line end included; cut to some hundred characters.
  static std::string text(const Line& line);
  // Prints all waiting lines to `sink`, or drops them when it is null. The main queue's thread.
  void drain(std::FILE* sink);
  // Lines lost because nobody drained in time.
  std::uint64_t dropped() const noexcept { return dropped_.load(std::memory_order_relaxed); }

  // Whether half of its room or more is taken, so that it is time to drain it. Any thread.
  bool isHalfFull() const noexcept MORV_NONBLOCKING { return lines_.isHalfFull(); }

  // The process's ring, the engine's stand-in for its standard output.
  static DiagnosticRing& shared() noexcept MORV_NONBLOCKING;

 private:
  bool push(const Line& line) noexcept MORV_NONBLOCKING;

  LockFreeRing<Line, kCapacity> lines_;
  std::atomic<std::uint64_t> dropped_{0};
};

}  // namespace morv
