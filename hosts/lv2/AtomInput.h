#pragma once

#include <lv2/atom/atom.h>

#include <optional>

#include "hosts/lv2/Urids.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// What the atoms that a host sends mean. Any thread.

// The number in an atom of any type that holds one; none for another type, for an atom that is too short, and
// for what is no number.
std::optional<float> numberOf(const Urids& urids, const LV2_Atom& atom) noexcept MORV_NONBLOCKING;
// The beats per minute that a time:Position tells; none for another object and for a position without them.
std::optional<float> tempoOf(const Urids& urids, const LV2_Atom_Object& object) noexcept MORV_NONBLOCKING;

}  // namespace morv::lv2
