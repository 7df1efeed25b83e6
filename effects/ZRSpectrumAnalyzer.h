#pragma once

#include <array>
#include <memory>

#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Passes its input on and measures the left one: whenever `fftSize` samples have come in, their windowed
// spectrum goes to a callback and its peak to the result fields. Analyses do not overlap, and each starts
// with the block after the one that filled the window; what is left of that one is not looked at. It has no
// parameters.
//
// Construction, `prepare`, `setupFFT` and `setDataCallback`: off the render thread; the rest, and the
// callback: render thread.
class ZRSpectrumAnalyzer : public ZRDSPEffect {
 public:
  // Takes `count` magnitudes, which it may change and which last until it returns. It must not block.
  using DataCallback = void (*)(float* magnitudes, int count, void* userData);

  static constexpr int kLeastSize = 4;

  // `fftSizeSamples` is the window's length, at least kLeastSize; the transform takes the greatest power of
  // two in it. `sampleSizeBytes` is what a sample of processBuffer has, at most a float's.
  ZRSpectrumAnalyzer(float sampleRateHz, int fftSizeSamples, int sampleSizeBytes);
  ~ZRSpectrumAnalyzer() override;

  // Makes buffers, window and transform for a length and starts with an empty window. Allocates; throws
  // std::bad_alloc.
  void setupFFT(int fftSizeSamples);
  // Clears nothing: the window goes on filling.
  void reset() override { ZRDSPEffect::reset(); }
  // No callback is legal.
  void setDataCallback(DataCallback callback, void* data) noexcept;

  // Any number of frames; the outputs may be the inputs. It does not look at `bypass`.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Takes as many samples as the window has room for, and analyses it once it is full.
  void processBuffer(const void* samples, int frames) noexcept MORV_NONBLOCKING;
  // Analyses what the window holds. A sample that is not a number counts as 0, one beyond 1e12 as that.
  void process() noexcept MORV_NONBLOCKING;

  int fftSize = 0;
  int sampleSize = 0;    // bytes
  int log2Size = 0;      // of the transform
  int halfSize = 0;      // bins
  int fillPosition = 0;  // samples in the window so far
  ZeroedFloats inputBuffer, windowedBuffer;
  ZeroedFloats outputBuffer;  // magnitudes of the last analysis: twice the sums over the window
  // The transform's bins; the first one's imaginary part is the bin at half the rate. Bins that the
  // transform does not reach hold the window's samples in pairs.
  ZeroedFloats realPart, imaginaryPart;
  ZeroedFloats window;
  // Nothing reads these three.
  float scale = 0;
  float floorLevel = 1.5849e-13F;
  float half = 0.5F;
  DataCallback dataCallback = nullptr;
  void* userData = nullptr;

  // The last analysis.
  int peakBin = 0;             // of the greatest magnitude; the highest of equals
  int binsAboveThreshold = 0;  // magnitudes above 0.01
  float peakFrequency = 0;     // peak bin x rate / bins, twice the peak's frequency in Hz; 0 below threshold
  float weightedSum = 0;       // of magnitude x bin
  std::array<float, 3> bands{};  // sums over bins 1 to 5, from 6 to half of the bins, and above
  float energy = 0;              // of the bins' parts

 private:
  struct Transform;

  void windowInput() noexcept MORV_NONBLOCKING;
  void transformWindowed() noexcept MORV_NONBLOCKING;
  void scanBins() noexcept MORV_NONBLOCKING;

  std::unique_ptr<Transform> transform_;
};

}  // namespace morv
