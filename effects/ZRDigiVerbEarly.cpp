// The early reflections of the digital reverb.

#include <algorithm>
#include <array>

#include "effects/ZRDigiVerb.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

struct Reflection {
  float distance;  // samples behind the one before, at a fifth of full size
  float gain;
};
constexpr std::array<Reflection, 18> kReflections = {{{190, 0.841F},
                                                      {759, 0.504F},
                                                      {44, 0.49F},
                                                      {190, 0.379F},
                                                      {9, 0.38F},
                                                      {123, 0.346F},
                                                      {706, 0.289F},
                                                      {119, 0.272F},
                                                      {384, 0.192F},
                                                      {66, 0.193F},
                                                      {35, 0.217F},
                                                      {75, 0.181F},
                                                      {419, 0.18F},
                                                      {4, 0.181F},
                                                      {79, 0.176F},
                                                      {66, 0.142F},
                                                      {53, 0.167F},
                                                      {194, 0.134F}}};

}  // namespace

void ZRDigiVerb::doEarlyReflections(const Modulation& m, const float* x, float* L, float* R,
                                    int frames) noexcept {
  const auto length = static_cast<int>(earlyBuffer.size());
  for (int i = 0; i < frames; ++i) {
    const float scale = m.size[static_cast<std::size_t>(i)];
    const auto most = static_cast<float>(kReflections.size());
    const int count = truncatedInt(std::min(1.0F + 17.0F * scale, most));
    earlyBuffer[static_cast<std::size_t>(earlyIndex)] = x[i];
    int read = earlyIndex;
    float sum = 0;
    for (int k = 0; k < count; ++k) {
      const Reflection& tap = kReflections[static_cast<std::size_t>(k)];
      read = (read - truncatedInt(tap.distance * 5.0F * scale)) % length;
      if (read < 0) read += length;
      sum += tap.gain * earlyBuffer[static_cast<std::size_t>(read)];
    }
    earlyIndex = earlyIndex + 1 < length ? earlyIndex + 1 : 0;
    L[i] = sum;
    R[i] = sum;
  }
}

}  // namespace morv
