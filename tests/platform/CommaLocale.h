#pragma once

#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <string>

namespace morv {

// Gives the whole process a locale that writes numbers with a comma, until the end of the scope. The build
// makes the locale itself, so that the machine need not have it. `isActive` tells whether it is really in
// force.
class CommaLocale {
 public:
  CommaLocale() {
    setenv("LOCPATH", MORV_TEST_LOCALES, 1);
    isActive_ = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr &&
                std::string(std::localeconv()->decimal_point) == "," && std::atof("0.5") == 0.0;
  }
  ~CommaLocale() { std::setlocale(LC_ALL, "C"); }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  bool isActive() const { return isActive_; }

 private:
  bool isActive_ = false;
};

}  // namespace morv
