#pragma once

#include <clocale>

namespace morv {

// Gives the calling thread the C locale for numbers and text until the end of the scope, whatever locale the
// program has set; other threads keep theirs. Any thread but the render thread.
class ScopedCLocale {
 public:
  ScopedCLocale();
  ~ScopedCLocale();
  ScopedCLocale(const ScopedCLocale&) = delete;
  ScopedCLocale& operator=(const ScopedCLocale&) = delete;

 private:
  locale_t before_;
};

}  // namespace morv
