#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/SettingsStore.h"
#include "unit/ZQ3Unit.h"

namespace morv {

// Ends the run with a message; the fuzzer keeps the input that led here.
[[noreturn]] inline void failFuzzing(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

// A unit without files, of which one serves all inputs of a run, since making it takes longer than playing
// it. Each input begins with the state of a fresh unit and without notes.
class FuzzedUnit {
 public:
  static constexpr std::uint32_t kMostFrames = 512;

  FuzzedUnit() {
    std::string error;
    unit_.midiOutputEventBlock = [](AUEventSampleTime, std::uint8_t, std::size_t, const std::uint8_t*) {
      return 0;
    };
    unit_.setMaximumFramesToRender(kMostFrames);
    if (!unit_.allocateRenderResources(&error)) failFuzzing(error);
  }

  void beginInput() {
    constexpr std::uint8_t kAllSoundOff = 120;
    constexpr std::uint8_t kResetControllers = 121;
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      send(channel, kAllSoundOff);
      send(channel, kResetControllers);
    }
    unit_.setFullState(&fresh_);
  }

  // Renders a block with the events, whose memory the caller keeps; each sample must be a number.
  void render(std::uint32_t frames, const AURenderEvent* events) {
    AudioBufferList list;
    list.mNumberBuffers = 2;
    for (std::size_t side = 0; side < 2; ++side) {
      list.mBuffers[side] = {1, static_cast<std::uint32_t>(frames * sizeof(float)), out_[side].data()};
    }
    AudioUnitRenderActionFlags flags = 0;
    DiagnosticRing::shared().drain(nullptr);  // so that there is room for what this block has to report
    block_(&flags, &time_, frames, 0, &list, events, nullptr);
    time_.mSampleTime += frames;
    queue_.runDue(time_.mSampleTime / kRateHz);
    for (const auto& side : out_) {
      for (std::uint32_t i = 0; i < frames; ++i) {
        if (!std::isfinite(side[i])) failFuzzing("a sample is no number");
      }
    }
    if (unit_.recoveryCount() > 0) {
      DiagnosticRing::Line line;
      while (DiagnosticRing::shared().take(&line)) std::fputs(DiagnosticRing::text(line).c_str(), stderr);
      failFuzzing("state was no number");
    }
  }

  void expectValuesInRange() {
    for (const AUParameter* each : unit_.parameterTree()->allParameters()) {
      if (each->value() >= each->minValue() && each->value() <= each->maxValue()) continue;
      failFuzzing(each->keyPath() + " left its range");
    }
  }

  ZQ3Unit& unit() { return unit_; }
  double now() const { return time_.mSampleTime; }

 private:
  static constexpr double kRateHz = 44100;

  void send(std::uint8_t channel, std::uint8_t controller) {
    AURenderEvent event{};
    const auto status = static_cast<std::uint8_t>(0xB0 | channel);
    event.MIDI = {nullptr,
                  static_cast<AUEventSampleTime>(time_.mSampleTime),
                  AURenderEventMIDI,
                  3,
                  0,
                  {status, controller, 0}};
    render(1, &event);
  }

  SettingsStore standard_;
  SettingsStore shared_;
  MainQueue queue_;
  NotificationCenter notifications_;
  ZQ3Unit unit_{AudioUnitServices{.standardSettings = &standard_,
                                  .sharedSettings = &shared_,
                                  .mainQueue = &queue_,
                                  .notifications = &notifications_,
                                  .log = [](const std::string&) {}}};
  const PropertyListDictionary fresh_ = unit_.fullState();
  AUInternalRenderBlock block_ = unit_.internalRenderBlock();
  AudioTimeStamp time_;
  std::array<std::array<float, kMostFrames>, 2> out_{};
};

// Takes an input apart; what lies behind its end is 0.
class FuzzedBytes {
 public:
  FuzzedBytes(const std::uint8_t* bytes, std::size_t size) : next_(bytes), end_(bytes + size) {}

  bool isEmpty() const { return next_ == end_; }
  std::uint8_t byte() { return next_ == end_ ? std::uint8_t{0} : *next_++; }
  std::uint64_t number(int bytes) {
    std::uint64_t all = 0;
    for (; bytes > 0; --bytes) all = all << 8U | byte();
    return all;
  }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

}  // namespace morv
