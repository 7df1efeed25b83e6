#include "effects/Comb.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "effects/Interpolation.h"
#include "render/SafeCast.h"

namespace morv {

void initComb(comb* out, int size) {
  const int length = std::max(size, 0);
  *out = comb{};
  out->buffer = ZeroedFloats(static_cast<std::size_t>(length) + 2);
  out->size = length;
}

float runComb(comb* filter, int /*unused*/, float in, float delaySeconds, float feedback,
              float sampleRateHz) noexcept MORV_NONBLOCKING {
  float* line = filter->buffer.data();
  const int size = filter->size;
  const int write = filter->writeIndex;

  std::int64_t read = static_cast<std::int64_t>(write) - truncatedInt(delaySeconds * sampleRateHz);
  if (read < 0) read += size;
  read = std::clamp<std::int64_t>(read, 0, static_cast<std::int64_t>(size) + 1);
  const float d = line[read];

  line[write] = in + feedback * d;
  filter->writeIndex = write > size ? 0 : write + 1;
  return d;
}

float runLPFBComb(comb* filter, int interpolation, float in, float delaySeconds, float feedback, float damp,
                  float sampleRateHz) noexcept MORV_NONBLOCKING {
  float* line = filter->buffer.data();
  const int size = filter->size;
  const int write = filter->writeIndex;
  const auto end = static_cast<float>(size);

  float p = static_cast<float>(write) - delaySeconds * sampleRateHz;
  if (p < 0.0F) {
    p += end;
    if (p >= end) p = 0.0F;  // a fraction too small to be told from the size
  }
  if (!(p > 0.0F)) p = 0.0F;  // beyond the line, or not a number
  p = std::min(p, end);

  const int i = std::min(truncatedInt(p), size);  // a float may hold a long size rounded up
  const float f = p - static_cast<float>(i);
  const float here = line[i];
  const float next = line[i + 1 >= size ? 0 : i + 1];
  float d = here;
  if (interpolation == kCombLinear) {
    d = interpolate_linear(here, next, f);
  } else if (interpolation == kCombCosine) {
    d = interpolate_linear(here, next, (1.0F - std::cos(std::numbers::pi_v<float> * f)) / 2.0F);
  }

  filter->filterState = damp * d + (1.0F - damp) * filter->filterState;
  filter->lastOutput = d;
  const float w = 0.95F * in + feedback * filter->filterState;
  line[write] = w;
  filter->writeIndex = write < size ? write + 1 : 0;
  return 0.7F * d + w;
}

}  // namespace morv
