#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/lv2/ControlPort.h"
#include "hosts/lv2/EffectTexts.h"

namespace morv::lv2 {

// Where the ports of an effect lie: the audio, what every effect has, what some have, and one for each
// control.
struct EffectPlaces {
  static constexpr std::uint32_t kInLeft = 0;
  static constexpr std::uint32_t kInRight = 1;
  static constexpr std::uint32_t kOutLeft = 2;
  static constexpr std::uint32_t kOutRight = 3;
  static constexpr std::uint32_t kEnabled = 4;

  explicit EffectPlaces(const EffectFacts& facts) noexcept;

  std::optional<std::uint32_t> control;  // atoms in
  std::optional<std::uint32_t> notify;   // atoms out
  std::optional<std::uint32_t> latency;
  std::uint32_t firstParameter = 0;
};

// The controls of one effect as ports. Does not move; fixed from construction on, so any thread may read it.
class EffectPorts {
 public:
  // `controls` are those of a fresh effect of the kind: their values are the ports' defaults, but for
  // those that the texts give a start of their own. Throws
  // std::logic_error if one has no texts or no bounds.
  EffectPorts(const EffectFacts& facts, std::span<const EffectControl> controls);
  EffectPorts(const EffectPorts&) = delete;
  EffectPorts& operator=(const EffectPorts&) = delete;

  // In the order of the controls.
  std::span<const ControlPort> ports() const noexcept { return ports_; }

 private:
  std::vector<std::unique_ptr<AUParameter>> parameters_;  // for their descriptions; their values mean nothing
  std::vector<ControlPort> ports_;
};

}  // namespace morv::lv2
