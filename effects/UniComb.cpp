#include "effects/UniComb.h"

#include <algorithm>

namespace morv {

void initUniComb(uniComb* out, int size) {
  *out = uniComb{};
  out->size = std::max(size, 3);
  out->buffer = ZeroedFloats(static_cast<std::size_t>(out->size));
}

void deleteUniComb(uniComb* uc) noexcept { *uc = uniComb{}; }

void resetUniComb(uniComb* uc) noexcept {
  std::fill_n(uc->buffer.data(), uc->size, 0.0F);
  uc->writeIndex = 0;
  uc->position = 0;
  uc->state = 0;
}

}  // namespace morv
