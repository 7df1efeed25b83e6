#include "hosts/lv2/AtomOutput.h"

#include <cstring>

namespace morv::lv2 {
namespace {

bool writeSet(LV2_Atom_Forge* forge, const Urids& urids, LV2_URID property) noexcept {
  return lv2_atom_forge_key(forge, urids.patchProperty) != 0 && lv2_atom_forge_urid(forge, property) != 0 &&
         lv2_atom_forge_key(forge, urids.patchValue) != 0;
}

}  // namespace

AtomOutput::AtomOutput(LV2_URID_Map& map, const Urids& urids) : urids_(urids) {
  lv2_atom_forge_init(&forge_, &map);
}

void AtomOutput::begin(LV2_Atom_Sequence* port) noexcept {
  isOpen_ = false;
  if (port == nullptr) return;
  lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(port), port->atom.size);
  isOpen_ = lv2_atom_forge_sequence_head(&forge_, &sequence_, 0) != 0;
}

bool AtomOutput::midi(std::uint32_t frame, std::span<const std::uint8_t> message) noexcept {
  const auto length = static_cast<std::uint32_t>(message.size());
  return event(frame, [&] {
    if (lv2_atom_forge_atom(&forge_, length, urids_.midiEvent) == 0) return false;
    return lv2_atom_forge_write(&forge_, message.data(), length) != 0;
  });
}

bool AtomOutput::setString(std::uint32_t frame, LV2_URID property, const char* value) noexcept {
  return event(frame, [&] {
    LV2_Atom_Forge_Frame object;
    const bool isWritten =
        lv2_atom_forge_object(&forge_, &object, 0, urids_.patchSet) != 0 &&
        writeSet(&forge_, urids_, property) &&
        lv2_atom_forge_string(&forge_, value, static_cast<std::uint32_t>(std::strlen(value))) != 0;
    if (isWritten) lv2_atom_forge_pop(&forge_, &object);
    return isWritten;
  });
}

bool AtomOutput::setFloat(std::uint32_t frame, LV2_URID property, float value) noexcept {
  return event(frame, [&] {
    LV2_Atom_Forge_Frame object;
    const bool isWritten = lv2_atom_forge_object(&forge_, &object, 0, urids_.patchSet) != 0 &&
                           writeSet(&forge_, urids_, property) && lv2_atom_forge_float(&forge_, value) != 0;
    if (isWritten) lv2_atom_forge_pop(&forge_, &object);
    return isWritten;
  });
}

bool AtomOutput::stateChanged(std::uint32_t frame) noexcept {
  return event(frame, [&] {
    LV2_Atom_Forge_Frame object;
    if (lv2_atom_forge_object(&forge_, &object, 0, urids_.stateChanged) == 0) return false;
    lv2_atom_forge_pop(&forge_, &object);
    return true;
  });
}

void AtomOutput::end() noexcept {
  if (!isOpen_) return;
  lv2_atom_forge_pop(&forge_, &sequence_);
  isOpen_ = false;
}

}  // namespace morv::lv2
