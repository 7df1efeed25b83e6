#include "effects/DelayBlocks.h"

#include <algorithm>
#include <cmath>

#include "effects/EffectKernels.h"

namespace morv {
namespace {

// Lines of a second or more do not stay in the cache from one lap to the next, so where the next stretch will
// be written is asked for ahead.
void askForWriting(const float* next, int frames) noexcept {
  constexpr int kFloatsOfCacheLine = 16;
  for (int k = 0; k < frames; k += kFloatsOfCacheLine) __builtin_prefetch(next + k, 1);
}

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
    effectKernels().read({buffer + i, static_cast<float>(i), position, delaySamples, lap}, out + k, run);
    k += run;
    position += static_cast<float>(run);
    if (position >= static_cast<float>(size)) position = 0;
  }
}

// Whether the stretch is one piece of the line, and then that piece. One that comes round the line's end on
// its way is not readable that far.
bool isStraight(const float* buffer, int size, float position, float delaySamples, int frames,
                StraightRead* read) noexcept {
  const auto end = static_cast<float>(size);
  const auto steps = static_cast<float>(frames - 1);
  const float raw = position - delaySamples;
  const float lap = raw < 0.0F ? end : 0.0F;
  const float p = raw + lap;
  if (!(p >= 0.0F && p < end) || position + steps >= end) return false;
  const int i = static_cast<int>(p);
  if (readableFrom(i, size) < frames) return false;
  *read = {buffer + i, static_cast<float>(i), position, delaySamples, lap};
  return true;
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

// What brings reads into the line whose delays lie within two bounds, if all of them lie in one piece of it,
// and their right-hand neighbours too: 0 or its length. Otherwise something below 0.
float lapOfPiece(float position, float leastDelay, float greatestDelay, int size, int frames) noexcept {
  const auto span = static_cast<float>(frames);
  const auto end = static_cast<float>(size);
  const float first = position - greatestDelay;
  const float last = position + span - leastDelay;
  if (!(position + span < end)) return -1.0F;
  if (first >= 0.0F && last < end - 2.0F) return 0.0F;
  return last < 0.0F && first + end >= 0.0F && last + end < end - 2.0F ? end : -1.0F;
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

// Whether the next `frames` samples enter the line in one piece of it.
bool entersStraight(int size, float position, int frames) noexcept {
  return size - writtenElement(position, size) >= frames;
}

// Steps the line over what has been written to it.
template <typename Line>
void stepBehindEntry(Line* line, int frames) noexcept {
  const int element = writtenElement(line->position, line->size) + frames;
  askForWriting(line->buffer.data() + element, std::min(frames, line->size - element));
  line->position = static_cast<float>(element < line->size ? element : 0);
  line->writeIndex = writeIndexAfter(line->writeIndex, line->size, frames);
}

void stepAP(ap* a, const float* entering, int frames) noexcept {
  a->position = writeAlong(a->buffer.data(), a->size, a->position, entering, frames);
  a->writeIndex = writeIndexAfter(a->writeIndex, a->size, frames);
}

// What the line gave becomes the all-pass's output, and what enters the line goes there.
void mixAllPass(ap* a, const float* in, float* delayed, float g, float* out, int frames) noexcept {
  if (entersStraight(a->size, a->position, frames)) {
    float* entry = a->buffer.data() + writtenElement(a->position, a->size);
    effectKernels().mixAllPass(delayed, g, in, out, entry, frames);
    stepBehindEntry(a, frames);
    return;
  }
  effectKernels().mixAllPass(delayed, g, in, out, delayed, frames);
  stepAP(a, delayed, frames);
}

}  // namespace

void readUniComb(const uniComb& uc, float delaySamples, float* out, int frames) noexcept {
  const float position = std::trunc(uc.position);
  StraightRead read;
  if (isStraight(uc.buffer.data(), uc.size, position, delaySamples, frames, &read)) {
    effectKernels().read(read, out, frames);
  } else {
    readFloat(uc.buffer.data(), uc.size, position, delaySamples, out, frames);
  }
}

void readUniComb(const uniComb& uc, const float* delaysSamples, float* out, int frames) noexcept {
  if (frames < 1) return;
  const float* buffer = uc.buffer.data();
  const int size = uc.size;
  const auto end = static_cast<float>(size);
  float position = std::trunc(uc.position);
  float least = 0;
  float greatest = 0;
  if (effectKernels().range(delaysSamples, frames, &least, &greatest)) {
    const float lap = lapOfPiece(position, least, greatest, size, frames);
    if (lap >= 0.0F) {
      effectKernels().readMoving(buffer, position, lap, delaysSamples, out, frames);
      return;
    }
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

void addBehindWriteIndex(const uniComb& uc, int writeIndex, int delaySamples, float gain, float* x,
                         int frames) noexcept {
  const int element = wrapped(writeIndex - delaySamples, uc.size);
  const bool isStraightOn = element >= 0 && uc.size - element >= frames && uc.size - 1 - writeIndex >= frames;
  float read[kDelayBlock];
  if (!isStraightOn) readBehindWriteIndex(uc, writeIndex, delaySamples, read, frames);
  const float* back = isStraightOn ? uc.buffer.data() + element : read;
  effectKernels().mix(1.0F, x, gain, back, x, frames);
}

void writeUniComb(uniComb* uc, const float* in, int frames) noexcept { writeUniComb(uc, 1.0F, in, frames); }

void writeUniComb(uniComb* uc, float gain, const float* in, int frames) noexcept {
  if (entersStraight(uc->size, uc->position, frames)) {
    effectKernels().scale(gain, in, uc->buffer.data() + writtenElement(uc->position, uc->size), frames);
    stepBehindEntry(uc, frames);
    return;
  }
  float scaled[kDelayBlock];
  effectKernels().scale(gain, in, scaled, frames);
  uc->position = writeAlong(uc->buffer.data(), uc->size, uc->position, scaled, frames);
  uc->writeIndex = writeIndexAfter(uc->writeIndex, uc->size, frames);
}

void runAPBlock(ap* a, const float* in, float delaySeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept {
  float* buffer = a->buffer.data();
  const double delaySamples = static_cast<double>(delaySeconds) * static_cast<double>(sampleRateHz);
  const double p = wrapped(static_cast<double>(a->position) - delaySamples, a->size);
  if (p >= 0.0 && p < static_cast<double>(a->size)) {
    const int i = static_cast<int>(p);
    if (entersStraight(a->size, a->position, frames) && readableFrom(i, a->size) >= frames) {
      float* entry = buffer + writtenElement(a->position, a->size);
      const auto fraction = static_cast<float>(p - static_cast<double>(i));
      effectKernels().allPass(buffer + i, fraction, g, in, out, entry, frames);
      stepBehindEntry(a, frames);
      return;
    }
  }
  float delayed[kDelayBlock];
  readDouble(buffer, a->size, static_cast<double>(a->position), delaySamples, delayed, frames);
  mixAllPass(a, in, delayed, g, out, frames);
}

void runAPBlock(ap* a, const float* in, const float* delaysSeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept {
  if (frames < 1) return;
  float delayed[kDelayBlock];
  const float* buffer = a->buffer.data();
  const int size = a->size;
  const auto rate = static_cast<double>(sampleRateHz);
  float position = a->position;
  float least = 0;
  float greatest = 0;
  const bool areNumbers = effectKernels().range(delaysSeconds, frames, &least, &greatest);
  // A sample to either side, for the bounds are rounded to floats.
  const float lap = areNumbers ? lapOfPiece(position, least * sampleRateHz - 1.0F,
                                            greatest * sampleRateHz + 1.0F, size, frames)
                               : -1.0F;
  if (lap >= 0.0F) {
    effectKernels().readMovingDouble(buffer, static_cast<double>(position), static_cast<double>(lap),
                                     delaysSeconds, rate, delayed, frames);
  } else {
    for (int k = 0; k < frames; ++k) {
      const double p = static_cast<double>(position) - static_cast<double>(delaysSeconds[k]) * rate;
      delayed[k] = readBetween(buffer, size, wrapped(p, size));
      position = nextPosition(position, size, 1.0F);
    }
  }
  mixAllPass(a, in, delayed, g, out, frames);
}

void addAPTaps(const APTap* taps, int count, float* out, int frames) noexcept {
  if (frames == 1) {
    for (int j = 0; j < count; ++j) {
      out[0] += taps[j].gain * allpassGetSampleWithDelay(taps[j].line, taps[j].delaySamples);
    }
    return;
  }
  StraightRead reads[kMostTaps];
  float gains[kMostTaps];
  int straight = 0;
  for (int j = 0; j < count; ++j) {
    const ap& a = *taps[j].line;
    // The line stands `frames` steps on; the first frame's tap is read from the position behind it.
    int first = static_cast<int>(a.position) - (frames - 1);
    if (first < 0) first += a.size;
    const auto position = static_cast<float>(first);
    if (isStraight(a.buffer.data(), a.size, position, taps[j].delaySamples, frames, &reads[straight])) {
      gains[straight++] = taps[j].gain;
      continue;
    }
    float tapped[kDelayBlock];
    readFloat(a.buffer.data(), a.size, position, taps[j].delaySamples, tapped, frames);
    for (int k = 0; k < frames; ++k) out[k] += taps[j].gain * tapped[k];
  }
  effectKernels().addReads(reads, gains, straight, out, frames);
}

void addAPTap(const ap& a, float delaySamples, float gain, float* out, int frames) noexcept {
  const APTap tap = {&a, delaySamples, gain};
  addAPTaps(&tap, 1, out, frames);
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
