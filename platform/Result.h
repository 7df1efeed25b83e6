#pragma once

#include <string>
#include <utility>
#include <variant>

#include "platform/Export.h"

namespace morv {

// Why something could not be done, in words for a log or a message; never empty.
struct Failure {
  std::string reason;
  int systemError = 0;            // the system's error number (`errno`); 0 if the system refused nothing
  bool isOfCoordination = false;  // the lock was not to be had, so that the work itself was not begun
};

// The failure of a call of the system that has just set `errno`: "what: why".
MORV_EXPORT Failure systemFailure(const std::string& what);

// What an operation gives, or why it gives nothing. `value`, for which `*` and `->` stand too, may only be
// called on success and `reason` only on failure. Any thread, like any other value.
template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : held_(std::in_place_index<0>, std::move(value)) {}
  Result(Failure failure) : held_(std::in_place_index<1>, std::move(failure)) {}

  bool ok() const noexcept { return held_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }

  const Value& value() const& { return *std::get_if<0>(&held_); }
  Value& value() & { return *std::get_if<0>(&held_); }
  Value&& value() && { return std::move(*std::get_if<0>(&held_)); }
  const Value& operator*() const& { return value(); }
  Value& operator*() & { return value(); }
  const Value* operator->() const { return &value(); }
  Value* operator->() { return &value(); }
  const std::string& reason() const { return std::get_if<1>(&held_)->reason; }
  const Failure& failure() const { return *std::get_if<1>(&held_); }

 private:
  std::variant<Value, Failure> held_;
};

struct Done {};
// Of an operation that has nothing to give but its success.
using Outcome = Result<Done>;

}  // namespace morv
