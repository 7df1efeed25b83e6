#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace morv {

// Where an object has made itself known, and how each of it is taken back: at the latest when this goes, so
// also when the object's constructor fails half way. One thread.
class Registrations {
 public:
  Registrations() { undos_.reserve(kExpected); }
  ~Registrations();
  Registrations(const Registrations&) = delete;
  Registrations& operator=(const Registrations&) = delete;

  // `undo` does not throw.
  void add(std::function<void()> undo) { undos_.push_back(std::move(undo)); }
  // The latest first.
  void undoAll();

 private:
  static constexpr std::size_t kExpected = 16;  // up to here `add` finds its memory ready

  std::vector<std::function<void()>> undos_;
};

}  // namespace morv
