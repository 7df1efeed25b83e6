#include "effects/BBDLine.h"

#include <algorithm>
#include <cstddef>

#include "effects/DelayRead.h"
#include "platform/DiagnosticRing.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

constexpr double kNoiseLevel = 3.1622776601683795e-4;  // 10^(-70/20)

// Even and odd distortion of a charge as it enters the first bucket.
float saturateFirstBucket(float d) noexcept MORV_NONBLOCKING {
  if (d > 1.0F) return 1.0F;
  if (d < -1.0F) return -1.0F;
  return 1.125F * d - 0.125F * (d * d) - d * d * d / 18.0F;
}

float saturateLastBucket(float e) noexcept MORV_NONBLOCKING {
  if (e > 1.0F) return 2.0F / 3.0F;
  if (e < -1.0F) return -2.0F / 3.0F;
  return e - e * e * e / 3.0F;
}

void silence(iird* filter) noexcept MORV_NONBLOCKING {
  std::fill(filter->state.begin(), filter->state.end(), 0.0);
}

}  // namespace

void initBBDLine(bbd* out, int stages, float maxDelaySeconds, float sampleRateHz) {
  *out = bbd{};
  out->size = std::max(truncatedInt(maxDelaySeconds * sampleRateHz), 0);
  out->stages = std::max(stages, 0);
  out->maxDelay = maxDelaySeconds;
  out->sampleRate = sampleRateHz;
  out->delayBuffer = ZeroedFloats(static_cast<std::size_t>(out->size));
  out->stageBuffer = ZeroedFloats(static_cast<std::size_t>(out->stages));
  initIIRD(&out->inputFilter, 2, BBD_AA_COEFF.data());
  initIIRD(&out->outputFilter, 2, BBD_AA_COEFF.data());
  initIIRD(&out->compressor, 1, BBD_COMP_COEFF.data());
  initIIRD(&out->expander, 1, BBD_COMP_COEFF.data());
}

void resetBBDLine(bbd* line) noexcept MORV_NONBLOCKING {
  std::fill_n(line->delayBuffer.data(), line->delayBuffer.size(), 0.0F);
  std::fill_n(line->stageBuffer.data(), line->stageBuffer.size(), 0.0F);
  silence(&line->inputFilter);
  silence(&line->outputFilter);
  silence(&line->compressor);
  silence(&line->expander);
  line->writeIndex = 0;
  line->feedbackOut = 0;
  line->clockPhase = 0;
}

void reseedBBDLine(bbd* line, std::uint64_t seed) noexcept MORV_NONBLOCKING { line->random.reseed(seed); }

float runBBDLine(bbd* line, float in, float delaySeconds, float blend, float feedback, float forward,
                 float sampleRateHz) noexcept MORV_NONBLOCKING {
  float* buffer = line->delayBuffer.data();
  const int size = line->size;
  const int write = line->writeIndex;

  const float a = runIIRD(&line->inputFilter, in);
  const auto noise = static_cast<float>((2.0 * line->random.unitDouble() - 1.0) * kNoiseLevel);

  const auto end = static_cast<float>(size);
  float p = static_cast<float>(write) - delaySeconds * sampleRateHz;
  if (p < 0.0F) p += end;
  if (!(p >= 0.0F && p <= end)) {  // not a number included
    DiagnosticRing::shared().post("***** NO\n");
    p = 0.0F;
  }

  const float y = saturateFirstBucket(readBetween(buffer, size, p));
  const float e = runIIRD(&line->outputFilter, y);
  const float s = saturateLastBucket(e);
  line->feedbackOut = feedback * s;
  const float out = forward * s + blend * in;

  buffer[write] = feedback * out + noise + a;
  line->writeIndex = write + 1 < size - 1 ? write + 1 : 0;
  line->clockPhase += 1.0 / static_cast<double>(sampleRateHz);
  return out;
}

}  // namespace morv
