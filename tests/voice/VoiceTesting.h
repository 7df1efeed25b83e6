#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <numbers>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/ZRDSPVoice.h"
#include "voice/ZRTurboVoice.h"

namespace morv::testing {

using Signal = std::vector<float>;

inline constexpr float kRate = 44100.0F;
inline constexpr float kTempo = 120.0F;

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

// A row array of its own for the voices that are made behind this.
struct FreshRows {
  FreshRows() { ZRDSPModMatrix::initSingleton(); }
};

// The voice base made whole with the least that it needs.
class PlainVoice : public ZRDSPVoice {
 public:
  explicit PlainVoice(float rate = kRate, int block = 64, int first = 0) : ZRDSPVoice(rate, block, first) {}
  void reset() override {}
  void setGate(int newGate) noexcept override { gate = newGate; }
  int nextAddress() const { return addressCounter; }

  // Runs one block and returns one source of it.
  Signal source(int which, int frames) {
    runGenerator(nullptr, nullptr, frames, kTempo);
    return present(which, frames);
  }
  Signal present(int which, int frames) {
    const float* p = modMatrix->sourceBuffer(which);
    return {p, p + frames};
  }
};

// A voice whose rows are the first of a row array of its own.
inline std::unique_ptr<ZRTurboVoice> makeTurboVoice(float rate = kRate, int block = 64) {
  ZRDSPModMatrix::initSingleton();
  return std::make_unique<ZRTurboVoice>(rate, block, 0);
}

struct Block {
  explicit Block(int frames) : left(at(frames), 0.0F), right(at(frames), 0.0F) {}
  Signal left, right;
};

inline Block runVoice(ZRDSPVoice& voice, int frames, int blockFrames = 64, float tempo = kTempo) {
  Block out(frames);
  for (int n = 0; n < frames; n += blockFrames)
    voice.runGenerator(out.left.data() + n, out.right.data() + n, std::min(blockFrames, frames - n), tempo);
  return out;
}

inline double power(const Signal& x) {
  double sum = 0;
  for (const float v : x) sum += static_cast<double>(v) * static_cast<double>(v);
  return sum;
}

// Power of the difference against the power of the expected signal.
inline double errorDb(const Signal& actual, const Signal& expected) {
  double error = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const double d = static_cast<double>(actual[i]) - static_cast<double>(expected[i]);
    error += d * d;
  }
  return 10.0 * std::log10((error + 1e-300) / (power(expected) + 1e-300));
}

inline bool sameBits(const Signal& a, const Signal& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// A matrix with one row to each parameter that is fed.
class FedMatrix {
 public:
  FedMatrix() { matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore()); }

  void feed(const ZRDSPParameter& parameter, const Signal& values) {
    int& source = sources_[parameter.address];
    if (source == 0) {
      source = matrix.registerSource(nullptr, false, false, "fed");
      matrix.addRow(source, parameter.address, nullptr, 1.0F, 0);
    }
    std::copy(values.begin(), values.end(), matrix.sourceBuffer(source));
  }
  void feed(const ZRDSPParameter& parameter, float value) { feed(parameter, Signal(4096, value)); }
  void run(int frames) { matrix.runMatrix(frames); }

  ZRDSPModMatrix matrix{64};

 private:
  std::map<int, int> sources_;
};

}  // namespace morv::testing
