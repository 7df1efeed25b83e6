#pragma once

#include <lv2/atom/atom.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/HostBlocks.h"
#include "hosts/lv2/AnalysisNotice.h"
#include "hosts/lv2/AtomOutput.h"
#include "hosts/lv2/BypassFade.h"
#include "hosts/lv2/DryLine.h"
#include "hosts/lv2/EffectPorts.h"
#include "hosts/lv2/EffectTexts.h"
#include "hosts/lv2/HostFeatures.h"
#include "hosts/lv2/PortWatch.h"
#include "hosts/lv2/Urids.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// One effect of the catalogue as an LV2 plug-in. It runs in blocks of 64 frames from each cycle's start, so
// cycles of a multiple of that all sound the same. Inputs and outputs may share their memory. Whatever comes
// in, what goes out is finite and held 24 dB above full scale; a sample that is no number goes in as silence.
//
// An effect that is not enabled runs on unheard, so that it is in the midst of the song when it comes back.
// All memory is taken at construction and activation, with the pages of all lines that run: no setting needs
// more while audio runs.
//
// The operations are those of an LV2 descriptor, with its rules for threads.
class EffectInstance {
 public:
  // The host has a map if the effect needs atoms. Throws std::runtime_error for a rate out of range.
  EffectInstance(const EffectFacts& facts, double sampleRateHz, const HostFeatures& host);
  EffectInstance(const EffectInstance&) = delete;
  EffectInstance& operator=(const EffectInstance&) = delete;

  void connectPort(std::uint32_t port, void* data) noexcept;
  // The next cycle sounds as the first one of a fresh instance with the present values would. The tempo told
  // last stays.
  void activate();
  void run(std::uint32_t frames) noexcept MORV_NONBLOCKING;

 private:
  // What an effect with atoms has besides.
  struct Atoms {
    explicit Atoms(LV2_URID_Map& map) : urids(map), output(map, urids), spectrum(map) {}
    Urids urids;
    AtomOutput output;
    AnalysisNotice spectrum;
  };

  void makeEffect();
  void takePorts() noexcept MORV_NONBLOCKING;
  void readControl(std::uint32_t frames) noexcept MORV_NONBLOCKING;
  // Runs all blocks that end at or ahead of the frame; the last one of a cycle is left to `renderUpToEnd`.
  void renderUpTo(std::uint32_t frame, std::uint32_t frames) noexcept MORV_NONBLOCKING;
  void renderUpToEnd(std::uint32_t frames) noexcept MORV_NONBLOCKING;
  void renderBlock(std::uint32_t start, std::uint32_t frames) noexcept MORV_NONBLOCKING;
  void tellSpectrum(std::uint32_t frame) noexcept MORV_NONBLOCKING;

  const EffectFacts& facts_;
  const EffectPlaces places_;
  const double sampleRateHz_;
  const HostFeatures host_;
  std::unique_ptr<ZRDSPEffect> effect_;
  std::vector<EffectControl> controls_;
  std::unique_ptr<const EffectPorts> ports_;
  std::optional<PortWatch> watch_;
  std::optional<Atoms> atoms_;
  BypassFade fade_;
  DryLine dryLeft_;
  DryLine dryRight_;

  const float* inLeft_ = nullptr;
  const float* inRight_ = nullptr;
  float* outLeft_ = nullptr;
  float* outRight_ = nullptr;
  const float* enabled_ = nullptr;
  const LV2_Atom_Sequence* control_ = nullptr;
  LV2_Atom_Sequence* notify_ = nullptr;
  float* latency_ = nullptr;

  float tempo_;             // beats per minute
  std::uint32_t done_ = 0;  // frames of the cycle
  bool hasPlayed_ = false;  // since the effect was made
  bool hasNewSpectrum_ = false;
  std::uint32_t toldRecoveries_ = 0;  // of the effect
};

}  // namespace morv::lv2
