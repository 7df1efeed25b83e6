#pragma once

// The engine as a host drives it, with a chord held, and places in it where what is no number can be put.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "platform/ScopedFlushDenormals.h"
#include "render/BlockLimits.h"
#include "render/ZQ3DSPKernel.h"
#include "voice/ZRTurboVoice.h"

namespace morv {

inline constexpr double kPoisonRateHz = 48000.0;
inline constexpr int kRecoveryFrames = 4800;  // 100 ms
inline constexpr float kPoisons[] = {std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity()};

class PoisonedEngine {
 public:
  explicit PoisonedEngine(int blockFrames) : blockFrames_(blockFrames) {
    kernel.init(2, kPoisonRateHz, 1024, 8);
    kernel.instrument->setRandomSeed(5);
    kernel.prepare(kPoisonRateHz, blockFrames);
    list_.mNumberBuffers = 2;
    list_.mBuffers[0].mData = left_.data();
    list_.mBuffers[1].mData = right_.data();
    kernel.setBuffers(nullptr, &list_);
    set("filterEnvModAmount", 0.4F);
    set("filterLFOModAmount", 0.3F);
    set("oscLFOModAmount", 0.02F);
    set("oscPulsewidthLFOModAmount", 0.3F);
    set("oscSubLevel", 0.5F);
    set("outputDistortion", 0.3F);
    set("env1Sustain", 0.8F);
    renderBlock();  // envelopes take their settings over in a block
  }

  void set(const char* identifier, float value) {
    kernel.setParameter(static_cast<std::uint64_t>(kernel.instrument->addressForIdentifier(identifier)),
                        value, 0);
  }
  void play(int status, std::initializer_list<int> notes) {
    std::vector<AURenderEvent> events(notes.size());
    std::size_t i = 0;
    for (const int note : notes) {
      AURenderEvent* next = i + 1 < events.size() ? &events[i + 1] : nullptr;
      events[i++].MIDI = {next,
                          static_cast<std::int64_t>(time_.mSampleTime),
                          AURenderEventMIDI,
                          3,
                          0,
                          {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(note), 100}};
    }
    renderBlock(events.data());
  }
  void holdChord() { play(0x90, {48, 52, 55}); }
  void releaseChord() { play(0x80, {48, 52, 55}); }
  void renderBlock(const AURenderEvent* events = nullptr) {
    const ScopedFlushDenormals flush;
    kernel.processWithEvents(&time_, static_cast<std::uint32_t>(blockFrames_), events);
    time_.mSampleTime += blockFrames_;
  }
  // At least so many frames, in whole blocks; both sides behind one another.
  std::vector<float> render(int frames) {
    std::vector<float> out;
    for (int done = 0; done < frames; done += blockFrames_) {
      renderBlock();
      out.insert(out.end(), left_.begin(), left_.begin() + blockFrames_);
      out.insert(out.end(), right_.begin(), right_.begin() + blockFrames_);
    }
    return out;
  }
  // The first voice that is gated.
  ZRTurboVoice& sounding() {
    for (const auto& voice : kernel.instrument->voices) {
      if (voice->gate != 0) return dynamic_cast<ZRTurboVoice&>(*voice);
    }
    return voice(0);
  }
  ZRTurboVoice& voice(std::size_t i) { return dynamic_cast<ZRTurboVoice&>(*kernel.instrument->voices.at(i)); }
  std::uint32_t recoveries() const { return kernel.instrument->recoveryCount(); }

  ZQ3DSPKernel kernel;

 private:
  int blockFrames_;
  AudioTimeStamp time_{};
  AudioBufferList list_{};
  std::array<float, kMaxBlockFrames> left_{};
  std::array<float, kMaxBlockFrames> right_{};
};

inline bool allFinite(const std::vector<float>& samples) {
  return std::all_of(samples.begin(), samples.end(), [](float x) { return std::isfinite(x); });
}

inline double levelDb(const std::vector<float>& samples) {
  double sum = 1e-30;
  for (const float x : samples) sum += static_cast<double>(x) * static_cast<double>(x);
  return 10.0 * std::log10(sum / static_cast<double>(samples.size()));
}

// Level of the difference against the first one.
inline double distanceDb(const std::vector<float>& expected, const std::vector<float>& actual) {
  std::vector<float> difference(expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) difference[i] = expected[i] - actual.at(i);
  return levelDb(difference) - levelDb(expected);
}

}  // namespace morv
