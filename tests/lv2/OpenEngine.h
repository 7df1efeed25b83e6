#pragma once

#include <algorithm>
#include <cstddef>

#include "hosts/HostCycle.h"
#include "platform/MainQueue.h"
#include "platform/SettingsStore.h"
#include "unit/ZQ3Unit.h"
#include "unit/ZRMidiMapper.h"
#include "voice/ZRTurboVoice.h"

namespace morv::lv2 {

// A unit behind the same cutting into blocks that the plug-in has, with its insides open.
class OpenEngine {
 public:
  explicit OpenEngine(double sampleRateHz = 48000.0) {
    unit_.outputBus()->format.sampleRate = sampleRateHz;
    unit_.setMaximumFramesToRender(HostBlockCutter::kBlockFrames);
    queue_.runDue(0);
    unit_.allocateRenderResources(nullptr);
  }

  ZQ3Unit& unit() { return unit_; }
  HostCycle& cycle() { return cycle_; }
  ZRDSPInstrument& instrument() { return unit_.instrument(); }
  void set(const char* path, float value) {
    unit_.parameterTree()->parameterForKeyPath(path)->setValue(value);
  }
  // None until a voice has been given a note.
  ZRTurboVoice* firstSoundingVoice() {
    for (const auto& each : instrument().voices) {
      if (each->active) return static_cast<ZRTurboVoice*>(each.get());
    }
    return nullptr;
  }
  // Voices that have been given a note and are computed.
  std::size_t soundingVoices() {
    const auto& voices = instrument().voices;
    return static_cast<std::size_t>(
        std::count_if(voices.begin(), voices.end(), [](const auto& each) { return each->active; }));
  }

 private:
  class Unit : public ZQ3Unit {
   public:
    using ZQ3Unit::ZQ3Unit;
    ZRDSPInstrument& instrument() { return *_kernel.instrument; }
  };
  AudioUnitServices services() {
    AudioUnitServices given;
    given.standardSettings = &standard_;
    given.sharedSettings = &shared_;
    given.mainQueue = &queue_;
    given.midiMapper = std::make_shared<ZRMidiMapper>();
    return given;
  }

  SettingsStore standard_;
  SettingsStore shared_;
  MainQueue queue_;
  Unit unit_{services()};
  HostCycle cycle_{unit_};
};

}  // namespace morv::lv2
