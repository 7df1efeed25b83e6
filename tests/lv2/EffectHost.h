#pragma once

#include <lilv/lilv.h>
#include <lv2/urid/urid.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tests/lv2/Lv2World.h"

namespace morv::lv2 {

// An LV2 host for tests of the effects: one instance and its ports. Behind the audio lie guard words.
class EffectHost {
 public:
  struct Spectrum {
    std::uint32_t frame = 0;  // within its cycle
    float sampleRateHz = 0;
    int fftSize = 0;
    float fullScale = 0;
    std::vector<float> magnitudes;
  };

  EffectHost(const Lv2World& world, double sampleRateHz, bool givesMap = true);
  ~EffectHost();
  EffectHost(const EffectHost&) = delete;
  EffectHost& operator=(const EffectHost&) = delete;

  bool isInstantiated() const { return instance_ != nullptr; }
  LilvInstance* instance() const { return instance_; }
  void activate() { lilv_instance_activate(instance_); }
  void deactivate() { lilv_instance_deactivate(instance_); }

  float& port(const std::string& symbol) { return controls_.at(symbol); }
  // Symbols of the control inputs that stand for the effect's own controls.
  const std::vector<std::string>& parameterSymbols() const { return parameters_; }
  std::uint32_t indexOf(const std::string& symbol) const;

  // A position for the next cycle, with a tempo as a float.
  void position(std::uint32_t frame, float beatsPerMinute, float speed = 1.0F);
  // One cycle; its output is appended to `left` and `right`.
  void run(std::span<const float> inLeft, std::span<const float> inRight);
  // All of it, in cycles of `cycle` frames, the last one shorter.
  void runAll(std::span<const float> inLeft, std::span<const float> inRight, std::uint32_t cycle);
  // The pieces of `run`.
  void prepareCycle(std::span<const float> inLeft, std::span<const float> inRight);
  void runBare(std::uint32_t frames) { lilv_instance_run(instance_, frames); }
  void finishCycle(std::uint32_t frames);

  // Whether outputs lie where the inputs lie.
  bool runsInPlace = false;
  // Bytes that the plug-in may use for atoms from now on.
  std::uint32_t notifyBytes = 32768;
  std::vector<float> left;
  std::vector<float> right;
  std::vector<Spectrum> spectra;
  // Samples so far that were not finite, and the greatest magnitude of the others.
  std::uint64_t badSamples = 0;
  float peak = 0;
  bool guardsAreWhole = true;

 private:
  void connect();
  void readSpectra();

  const Lv2World& world_;
  LilvInstance* instance_ = nullptr;
  LV2_URID_Map map_{};
  std::map<std::string, float> controls_;
  std::vector<std::string> parameters_;
  std::vector<std::uint64_t> control_;
  std::vector<std::uint64_t> notify_;
  std::vector<float> inLeft_, inRight_, outLeft_, outRight_;
};

}  // namespace morv::lv2
