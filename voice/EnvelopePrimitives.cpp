#include "voice/EnvelopePrimitives.h"

#include <cmath>

namespace morv {
namespace {

constexpr float kFloor = 0.00001F;  // -100 dB: where exponential curves end

// Returns the counter as it was and raises it.
float take(int& counter) noexcept { return static_cast<float>(counter++); }

float segment(float n, float a, float duration, float b) noexcept { return a + n * (b - a) / duration; }

}  // namespace

float line(int counter, float a, float durationSamples, float b) noexcept {
  return segment(static_cast<float>(counter), a, durationSamples, b);
}

float expon(int& counter, float a, float durationSamples, float b) noexcept {
  const bool running = take(counter) < durationSamples;
  return running ? a * std::pow(b / a, static_cast<float>(counter) / durationSamples) : b;
}

float adsr(int& counter, int gate, int& state, float peak, float attack, float decay, float sustain,
           float release, float start, float rate) noexcept {
  if (gate != 0 && (state == 0 || state == 4)) {
    state = 1;
    counter = 0;
  } else if (gate == 0 && state != 0 && state != 4) {
    state = 4;
    counter = 0;
  }
  const float a = attack * rate;
  const float d = decay * rate;
  const float r = release * rate;
  float n = static_cast<float>(counter);
  float value = 0;
  switch (state) {
    case 1:
      value = segment(n, start, a, peak);
      if (n >= a) state = 2;
      break;
    case 2:
      value = segment(n - a, peak, d, sustain);
      if (n >= a + d) state = 3;
      break;
    case 3:
      value = sustain;
      counter = 0;
      break;
    case 4:
      value = segment(n, sustain, r, 0.0F);
      if (n >= r) state = 0;
      break;
    default:
      break;
  }
  ++counter;
  return value;
}

float adsr_loop(int gate, int& counter, bool loop, float peak, float attack, float decay, float sustain,
                float release, float rate) noexcept {
  const float n = take(counter);
  if (gate == 0) {
    const float r = release * rate;
    return n < r ? segment(n, sustain, r, 0.0F) : 0.0F;
  }
  const float a = attack * rate;
  const float d = decay * rate;
  if (n < a) return segment(n, 0.0F, a, peak);
  if (n < a + d) return segment(n - a, peak, d, sustain);
  if (loop) counter = 0;
  return 0.0F;
}

float adsr_oneshot(int& counter, float peak, float total, float attack, float decay, float sustain,
                   float release, float rate) noexcept {
  const float n = take(counter);
  const float end = total * rate;
  const float a = attack * rate;
  const float d = decay * rate;
  const float r = release * rate;
  if (n >= end) return 0.0F;
  if (n < a) return segment(n, 0.0F, a, peak);
  if (n < a + d) return segment(n - a, peak, d, sustain);
  if (n < end - r) return sustain;
  return segment(n - (end - r), sustain, r, 0.0F);
}

float ad(int& counter, float peak, float attack, float decay, float start, float rate) noexcept {
  const float n = take(counter);
  const float a = attack * rate;
  const float d = decay * rate;
  if (n < a) return segment(n, start, a, peak);
  if (n < a + d) return peak * std::pow(kFloor / peak, (n - a) / d);
  return kFloor;
}

float gate(int& counter, float /*peak*/, float on, float off, float /*start*/, float rate) noexcept {
  const float n = take(counter);
  if (n < on * rate) return 1.0F;
  if (n < (on + off) * rate) return 0.0F;
  return kFloor;
}

}  // namespace morv
