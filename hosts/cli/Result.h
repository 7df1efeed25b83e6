#pragma once

#include <optional>
#include <string>
#include <utility>

namespace morv::cli {

// Why something could not be read, for the person at the terminal: no program name in front, no full stop.
struct Failure {
  std::string reason;
};

// A whole value or the reason why there is none.
template <typename T>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(Failure failure) : failure_(std::move(failure)) {}

  explicit operator bool() const noexcept { return value_.has_value(); }
  T& operator*() noexcept { return *value_; }
  const T& operator*() const noexcept { return *value_; }
  T* operator->() noexcept { return &*value_; }
  const T* operator->() const noexcept { return &*value_; }
  const std::string& reason() const noexcept { return failure_.reason; }

 private:
  std::optional<T> value_;
  Failure failure_;
};

}  // namespace morv::cli
