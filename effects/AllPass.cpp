#include "effects/AllPass.h"

#include <algorithm>

namespace morv {

void initAP(ap* out, int size) {
  *out = ap{};
  out->size = std::max(size, 3);
  out->buffer = ZeroedFloats(static_cast<std::size_t>(out->size));
}

void resetAP(ap* a) noexcept {
  std::fill_n(a->buffer.data(), a->size, 0.0F);
  a->writeIndex = 0;
  a->position = 0;
  a->state = 0;
}

void initAPInterpolator(float* state) noexcept { *state = 0; }

}  // namespace morv
