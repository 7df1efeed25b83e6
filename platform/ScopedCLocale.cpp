#include "platform/ScopedCLocale.h"

namespace morv {
namespace {

locale_t cLocale() {
  static const locale_t kept = newlocale(LC_ALL_MASK, "C", nullptr);  // for the life of the process
  return kept;
}

}  // namespace

ScopedCLocale::ScopedCLocale() : before_(uselocale(cLocale())) {}

ScopedCLocale::~ScopedCLocale() { uselocale(before_); }

}  // namespace morv
