#pragma once

#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>

#include <cstdint>
#include <span>

#include "hosts/lv2/Urids.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Writes what the plug-in tells its host in one cycle into the port for atoms, as one sequence. What no
// longer fits is left out whole. Frames do not fall. Render thread.
class AtomOutput {
 public:
  AtomOutput(LV2_URID_Map& map, const Urids& urids);

  // The size of the port's atom tells the room. A port that is not connected takes nothing.
  void begin(LV2_Atom_Sequence* port) noexcept MORV_NONBLOCKING;
  // False if there was no room.
  bool midi(std::uint32_t frame, std::span<const std::uint8_t> message) noexcept MORV_NONBLOCKING;
  bool setString(std::uint32_t frame, LV2_URID property, const char* value) noexcept MORV_NONBLOCKING;
  bool setFloat(std::uint32_t frame, LV2_URID property, float value) noexcept MORV_NONBLOCKING;
  // Says that the state is no longer what the host has last saved.
  bool stateChanged(std::uint32_t frame) noexcept MORV_NONBLOCKING;
  void end() noexcept MORV_NONBLOCKING;

 private:
  template <typename Write>
  bool event(std::uint32_t frame, Write&& write) noexcept MORV_NONBLOCKING;

  const Urids urids_;
  LV2_Atom_Forge forge_{};
  LV2_Atom_Forge_Frame sequence_{};
  bool isOpen_ = false;
};

}  // namespace morv::lv2
