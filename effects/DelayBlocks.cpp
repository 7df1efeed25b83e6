#include "effects/DelayBlocks.h"

#include <algorithm>
#include <cmath>

namespace morv {
namespace {

// Elements from `first` on that a loop may read together with their right-hand neighbour.
int readableFrom(int first, int size) noexcept { return size - 2 - first; }

// out[k] = the line between its elements at position + k - delay, as floats work it out sample by sample.
// Rounding may lift a position onto the next element; the fraction is then 1 and gives the same.
void readFloat(const float* buffer, int size, float position, float delaySamples, float* out,
               int frames) noexcept {
  for (int k = 0; k < frames;) {
    const float raw = position - delaySamples;
    const float lap = raw < 0.0F ? static_cast<float>(size) : 0.0F;
    const float p = raw + lap;
    const int i = p >= 0.0F && p < static_cast<float>(size) ? static_cast<int>(p) : size;
    const int run = std::min({frames - k, readableFrom(i, size), size - static_cast<int>(position)});
    if (run < 2) {
      out[k++] = readBetween(buffer, size, p > static_cast<float>(size) ? static_cast<float>(size - 2) : p);
      position = nextPosition(position, size, 1.0F);
      continue;
    }
    const float* b = buffer + i;
    for (int j = 0; j < run; ++j) {
      const auto step = static_cast<float>(j);
      const float fraction = ((position + step) - delaySamples + lap) - (static_cast<float>(i) + step);
      out[k + j] = b[j] + fraction * (b[j + 1] - b[j]);
    }
    k += run;
    position += static_cast<float>(run);
    if (position >= static_cast<float>(size)) position = 0;
  }
}

// The same in double, where the fraction stays.
void readDouble(const float* buffer, int size, double position, double delaySamples, float* out,
                int frames) noexcept {
  for (int k = 0; k < frames;) {
    const double p = wrapped(position - delaySamples, size);
    const int i = p >= 0.0 && p < static_cast<double>(size) ? static_cast<int>(p) : size;
    const int run = std::min({frames - k, readableFrom(i, size), size - static_cast<int>(position)});
    if (run < 2) {
      out[k++] = readBetween(buffer, size, p);
      position = position >= static_cast<double>(size - 1) ? 0.0 : position + 1.0;
      continue;
    }
    const float* b = buffer + i;
    const auto fraction = static_cast<float>(p - static_cast<double>(i));
    for (int j = 0; j < run; ++j) out[k + j] = b[j] + fraction * (b[j + 1] - b[j]);
    k += run;
    position += static_cast<double>(run);
    if (position >= static_cast<double>(size)) position = 0.0;
  }
}

// Whether all reads of a stretch lie in one piece of the line, and their right-hand neighbours too.
bool isAwayFromSeam(float position, const float* delaysSamples, int size, int frames) noexcept {
  if (frames < 1) return false;
  float least = delaysSamples[0];
  float greatest = delaysSamples[0];
  bool areNumbers = true;
  for (int k = 0; k < frames; ++k) {
    least = std::min(least, delaysSamples[k]);
    greatest = std::max(greatest, delaysSamples[k]);
    areNumbers &= delaysSamples[k] == delaysSamples[k];
  }
  const auto span = static_cast<float>(frames);
  const auto end = static_cast<float>(size);
  const float first = position - greatest;
  const float last = position + span - least;
  const bool isBehind = first >= 0.0F && last < end - 2.0F;
  const bool isAround = last < 0.0F && first + end >= 0.0F && last + end < end - 2.0F;
  return areNumbers && position + span < end && (isBehind || isAround);
}

// `position` after `frames` steps; also copies `in` to where it passes, if there is one.
float writeAlong(float* buffer, int size, float position, const float* in, int frames) noexcept {
  int element = writtenElement(position, size);
  for (int k = 0; k < frames;) {
    const int run = std::min(frames - k, size - element);
    std::copy_n(in + k, run, buffer + element);
    k += run;
    element += run;
    if (element >= size) element = 0;
  }
  return static_cast<float>(element);
}

int writeIndexAfter(int writeIndex, int size, int frames) noexcept {
  for (int k = 0; k < frames;) {
    const int run = std::min(frames - k, std::max(size - 2 - writeIndex, 0));
    writeIndex += run;
    k += run;
    if (k == frames) break;
    writeIndex = 0;
    ++k;
  }
  return writeIndex;
}

// What the line gave becomes the all-pass's output; what enters it is left in `entering`.
void mixAllPass(const float* in, const float* delayed, float g, float* out, float* entering,
                int frames) noexcept {
  for (int k = 0; k < frames; ++k) {
    const float x = in[k];
    const float y = delayed[k] - g * x;
    entering[k] = x + g * y;
    out[k] = y;
  }
}

void stepAP(ap* a, const float* entering, int frames) noexcept {
  a->position = writeAlong(a->buffer.data(), a->size, a->position, entering, frames);
  a->writeIndex = writeIndexAfter(a->writeIndex, a->size, frames);
}

}  // namespace

void readUniComb(const uniComb& uc, float delaySamples, float* out, int frames) noexcept {
  readFloat(uc.buffer.data(), uc.size, std::trunc(uc.position), delaySamples, out, frames);
}

void readUniComb(const uniComb& uc, const float* delaysSamples, float* out, int frames) noexcept {
  const float* buffer = uc.buffer.data();
  const int size = uc.size;
  const auto end = static_cast<float>(size);
  float position = std::trunc(uc.position);
  if (isAwayFromSeam(position, delaysSamples, size, frames)) {
    const float lap = position < delaysSamples[0] ? end : 0.0F;
    for (int k = 0; k < frames; ++k) {
      const float p = (position + static_cast<float>(k)) - delaysSamples[k] + lap;
      const auto i = static_cast<int>(p);
      const float fraction = p - static_cast<float>(i);
      out[k] = buffer[i] + fraction * (buffer[i + 1] - buffer[i]);
    }
    return;
  }
  for (int k = 0; k < frames; ++k) {
    const float p = wrapped(position - delaysSamples[k], size);
    out[k] = readBetween(buffer, size, p > end ? end - 2.0F : p);
    position = nextPosition(position, size, 1.0F);
  }
}

void readBehindWriteIndex(const uniComb& uc, int writeIndex, int delaySamples, float* out,
                          int frames) noexcept {
  const float* buffer = uc.buffer.data();
  for (int k = 0; k < frames;) {
    int element = wrapped(writeIndex - delaySamples, uc.size);
    if (element < 0) element = ((element % uc.size) + uc.size) % uc.size;
    const int run = std::min({frames - k, uc.size - element, std::max(uc.size - 1 - writeIndex, 1)});
    std::copy_n(buffer + element, run, out + k);
    k += run;
    writeIndex = writeIndexAfter(writeIndex, uc.size, run);
  }
}

void writeUniComb(uniComb* uc, const float* in, int frames) noexcept {
  uc->position = writeAlong(uc->buffer.data(), uc->size, uc->position, in, frames);
  uc->writeIndex = writeIndexAfter(uc->writeIndex, uc->size, frames);
}

void runAPBlock(ap* a, const float* in, float delaySeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept {
  float delayed[kDelayBlock];
  readDouble(a->buffer.data(), a->size, static_cast<double>(a->position),
             static_cast<double>(delaySeconds) * static_cast<double>(sampleRateHz), delayed, frames);
  mixAllPass(in, delayed, g, out, delayed, frames);
  stepAP(a, delayed, frames);
}

void runAPBlock(ap* a, const float* in, const float* delaysSeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept {
  float delayed[kDelayBlock];
  const float* buffer = a->buffer.data();
  const int size = a->size;
  const auto rate = static_cast<double>(sampleRateHz);
  float position = a->position;
  for (int k = 0; k < frames; ++k) {
    const double p = static_cast<double>(position) - static_cast<double>(delaysSeconds[k]) * rate;
    delayed[k] = readBetween(buffer, size, wrapped(p, size));
    position = nextPosition(position, size, 1.0F);
  }
  mixAllPass(in, delayed, g, out, delayed, frames);
  stepAP(a, delayed, frames);
}

void addAPTap(const ap& a, float delaySamples, float gain, float* out, int frames) noexcept {
  if (frames == 1) {
    out[0] += gain * allpassGetSampleWithDelay(&a, delaySamples);
    return;
  }
  float tapped[kDelayBlock];
  // The line stands `frames` steps on; the first frame's tap is read from the position behind it.
  int first = static_cast<int>(a.position) - (frames - 1);
  if (first < 0) first += a.size;
  readFloat(a.buffer.data(), a.size, static_cast<float>(first), delaySamples, tapped, frames);
  for (int k = 0; k < frames; ++k) out[k] += gain * tapped[k];
}

namespace {

// `end` is the element behind the last one taken.
bool isQuietBefore(const float* buffer, int size, float end, int frames) noexcept {
  const int element = writtenElement(end, size);
  const int straight = std::min(element, frames);
  if (!isQuiet(buffer + element - straight, straight)) return false;
  const int around = std::min(frames - straight, size);
  return isQuiet(buffer + size - around, around);
}

template <typename Line>
void skip(Line* line, int frames) noexcept {
  line->position = static_cast<float>((writtenElement(line->position, line->size) + frames) % line->size);
  line->writeIndex = writeIndexAfter(line->writeIndex, line->size, frames);
}

}  // namespace

bool isQuiet(const float* samples, int frames) noexcept {
  int loud = 0;
  for (int i = 0; i < frames; ++i) loud |= static_cast<int>(!(std::fabs(samples[i]) <= kQuietLevel));
  return loud == 0;
}

bool tookQuiet(const uniComb& uc, int frames) noexcept {
  return isQuietBefore(uc.buffer.data(), uc.size, uc.position, frames);
}

bool tookQuiet(const ap& a, int frames) noexcept {
  return isQuietBefore(a.buffer.data(), a.size, a.position, frames);
}

void skipLine(uniComb* uc, int frames) noexcept { skip(uc, frames); }

void skipLine(ap* a, int frames) noexcept { skip(a, frames); }

}  // namespace morv
