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
  // An object of a type: `write` puts its properties into the forge and says whether there was room.
  template <typename Write>
  bool object(std::uint32_t frame, LV2_URID type, Write&& write) noexcept MORV_NONBLOCKING;
  void end() noexcept MORV_NONBLOCKING;

 private:
  template <typename Write>
  bool event(std::uint32_t frame, Write&& write) noexcept MORV_NONBLOCKING;

  const Urids urids_;
  LV2_Atom_Forge forge_{};
  LV2_Atom_Forge_Frame sequence_{};
  bool isOpen_ = false;
};

// An event that does not fit leaves no half of itself: the sequence ends where it would have begun.
template <typename Write>
bool AtomOutput::event(std::uint32_t frame, Write&& write) noexcept {
  if (!isOpen_) return false;
  const std::uint32_t offset = forge_.offset;
  auto* sequence = reinterpret_cast<LV2_Atom*>(forge_.buf);
  const std::uint32_t size = sequence->size;
  LV2_Atom_Forge_Frame* const stack = forge_.stack;
  if (lv2_atom_forge_frame_time(&forge_, frame) != 0 && write()) return true;
  forge_.stack = stack;
  forge_.offset = offset;
  sequence->size = size;
  return false;
}

template <typename Write>
bool AtomOutput::object(std::uint32_t frame, LV2_URID type, Write&& write) noexcept {
  return event(frame, [&] {
    LV2_Atom_Forge_Frame object;
    if (lv2_atom_forge_object(&forge_, &object, 0, type) == 0 || !write(forge_)) return false;
    lv2_atom_forge_pop(&forge_, &object);
    return true;
  });
}

}  // namespace morv::lv2
