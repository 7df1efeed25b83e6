#include "effects/ZRSpectrumAnalyzer.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>
#include <numbers>
#include <vector>

#include "effects/HeldSettings.h"

namespace morv {
namespace {

constexpr float kThreshold = 0.01F;
// Far above any signal, and its squares and sums stay finite numbers.
constexpr float kLoudest = 1e12F;
constexpr int kLowBandEnd = 5;

std::size_t sizeOf(int count) noexcept { return static_cast<std::size_t>(count); }

void copyFrames(const float* in, float* out, int frames) noexcept MORV_NONBLOCKING {
  if (in != out) std::copy_n(in, frames, out);
}

}  // namespace

struct ZRSpectrumAnalyzer::Transform {
  struct Free {
    void operator()(kiss_fftr_state* state) const noexcept { kiss_fftr_free(state); }
  };

  // A power of two from 4 up, for which the transform needs no memory of its own while it runs.
  explicit Transform(int size)
      : plan(kiss_fftr_alloc(size, 0, nullptr, nullptr)), in(sizeOf(size)), bins(sizeOf(size / 2 + 1)) {
    if (plan == nullptr) throw std::bad_alloc();
  }

  std::unique_ptr<kiss_fftr_state, Free> plan;
  std::vector<float> in;
  std::vector<kiss_fft_cpx> bins;
};

ZRSpectrumAnalyzer::ZRSpectrumAnalyzer(float sampleRateHz, int fftSizeSamples, int sampleSizeBytes)
    : ZRDSPEffect(sampleRateHz), sampleSize(std::clamp(sampleSizeBytes, 0, static_cast<int>(sizeof(float)))) {
  identifier = "spectrum";
  name = "Spectrum";
  setupFFT(fftSizeSamples);
}

ZRSpectrumAnalyzer::~ZRSpectrumAnalyzer() = default;

void ZRSpectrumAnalyzer::setupFFT(int fftSizeSamples) {
  fftSize = std::max(fftSizeSamples, kLeastSize);
  log2Size = static_cast<int>(std::bit_width(static_cast<unsigned>(fftSize))) - 1;
  halfSize = fftSize / 2;
  fillPosition = 0;
  scale = 1.0F / (4.0F * static_cast<float>(fftSize));
  for (ZeroedFloats* buffer : {&inputBuffer, &windowedBuffer, &outputBuffer, &window}) {
    *buffer = ZeroedFloats(sizeOf(fftSize));
  }
  realPart = ZeroedFloats(sizeOf(halfSize));
  imaginaryPart = ZeroedFloats(sizeOf(halfSize));
  transform_ = std::make_unique<Transform>(1 << log2Size);
  // Hann's window, scaled so that its squares sum to its length.
  const double height = std::sqrt(2.0 / 3.0);
  for (int n = 0; n < fftSize; ++n) {
    window[sizeOf(n)] = static_cast<float>(height * (1.0 - std::cos(2.0 * std::numbers::pi * n / fftSize)));
  }
}

void ZRSpectrumAnalyzer::setDataCallback(DataCallback callback, void* data) noexcept {
  dataCallback = callback;
  userData = data;
}

void ZRSpectrumAnalyzer::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                                    float /*tempo*/) noexcept {
  processBuffer(inL, frames);
  copyFrames(inL, outL, frames);
  copyFrames(inR, outR, frames);
}

void ZRSpectrumAnalyzer::processBuffer(const void* samples, int frames) noexcept {
  const int room = fftSize - fillPosition;
  const int taken = std::clamp(frames, 0, room);
  if (taken > 0) {
    std::memcpy(inputBuffer.data() + fillPosition, samples, sizeOf(taken) * sizeOf(sampleSize));
  }
  if (room > frames) {
    fillPosition += taken;
    return;
  }
  fillPosition = 0;
  process();
}

void ZRSpectrumAnalyzer::process() noexcept {
  windowInput();
  transformWindowed();
  scanBins();
  if (dataCallback != nullptr) dataCallback(outputBuffer.data(), halfSize / 2, userData);
}

void ZRSpectrumAnalyzer::windowInput() noexcept {
  const float* in = inputBuffer.data();
  const float* shape = window.data();
  float* out = windowedBuffer.data();
  for (int n = 0; n < fftSize; ++n) out[n] = shape[n] * heldSetting(in[n], -kLoudest, kLoudest);
}

// The windowed samples in pairs, the first ones of them transformed in their place to twice the sums
//   X[k] = sum of x[n] e^(-2 pi i k n / N),
// with X[N / 2], which has no imaginary part, where X[0] has none. Then their magnitudes, without the ends,
// and the pairs back over the windowed samples.
void ZRSpectrumAnalyzer::transformWindowed() noexcept {
  float* re = realPart.data();
  float* im = imaginaryPart.data();
  float* windowed = windowedBuffer.data();
  float* magnitudes = outputBuffer.data();
  for (int k = 0; k < halfSize; ++k) {
    const float* pair = windowed + std::ptrdiff_t{2} * k;
    re[k] = pair[0];
    im[k] = pair[1];
  }
  const int size = 1 << log2Size;
  const kiss_fft_cpx* bins = transform_->bins.data();
  std::copy_n(windowed, size, transform_->in.data());
  kiss_fftr(transform_->plan.get(), transform_->in.data(), transform_->bins.data());
  for (int k = 0; k < size / 2; ++k) {
    re[k] = 2.0F * bins[k].r;
    im[k] = 2.0F * bins[k].i;
  }
  im[0] = 2.0F * bins[size / 2].r;
  for (int k = 0; k < halfSize; ++k) magnitudes[k] = std::sqrt(re[k] * re[k] + im[k] * im[k]);
  magnitudes[0] = 0.0F;
  magnitudes[halfSize - 1] = 0.0F;
  for (int k = 0; k < halfSize; ++k) {
    float* pair = windowed + std::ptrdiff_t{2} * k;
    pair[0] = re[k];
    pair[1] = im[k];
  }
}

void ZRSpectrumAnalyzer::scanBins() noexcept {
  const float* magnitudes = outputBuffer.data();
  float greatest = 0;
  weightedSum = 0;
  peakBin = 0;
  binsAboveThreshold = 0;
  bands = {};
  for (int k = 0; k < halfSize; ++k) {
    const float magnitude = magnitudes[k];
    weightedSum += magnitude * static_cast<float>(k);
    if (magnitude >= greatest) {
      greatest = magnitude;
      peakBin = k;
    }
    if (magnitude > kThreshold) ++binsAboveThreshold;
    bands[k <= kLowBandEnd ? 0U : (k <= halfSize / 2 ? 1U : 2U)] += magnitude;
  }
  peakFrequency = binsAboveThreshold != 0
                      ? static_cast<float>(peakBin) * sampleRate / static_cast<float>(halfSize)
                      : 0.0F;
  energy = 0;
  for (int n = 0; n < fftSize; ++n) energy += windowedBuffer[sizeOf(n)] * windowedBuffer[sizeOf(n)];
}

}  // namespace morv
