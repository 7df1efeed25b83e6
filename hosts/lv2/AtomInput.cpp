#include "hosts/lv2/AtomInput.h"

#include <lv2/atom/util.h>

#include <cmath>

namespace morv::lv2 {
namespace {

// The body of an atom that is known to be of the type Atom.
template <typename Atom>
std::optional<float> bodyOf(const LV2_Atom& atom) noexcept MORV_NONBLOCKING {
  if (atom.size < sizeof(Atom::body)) return std::nullopt;
  return static_cast<float>(reinterpret_cast<const Atom&>(atom).body);
}

}  // namespace

std::optional<float> numberOf(const Urids& urids, const LV2_Atom& atom) noexcept {
  std::optional<float> number;
  if (atom.type == urids.atomFloat) number = bodyOf<LV2_Atom_Float>(atom);
  if (atom.type == urids.atomInt || atom.type == urids.atomBool) number = bodyOf<LV2_Atom_Int>(atom);
  if (atom.type == urids.atomLong) number = bodyOf<LV2_Atom_Long>(atom);
  if (atom.type == urids.atomDouble) number = bodyOf<LV2_Atom_Double>(atom);
  if (number && std::isnan(*number)) return std::nullopt;
  return number;
}

std::optional<float> tempoOf(const Urids& urids, const LV2_Atom_Object& object) noexcept {
  if (object.body.otype != urids.timePosition) return std::nullopt;
  const LV2_Atom* tempo = nullptr;
  lv2_atom_object_get(&object, urids.timeBeatsPerMinute, &tempo, 0);
  if (tempo == nullptr) return std::nullopt;
  return numberOf(urids, *tempo);
}

}  // namespace morv::lv2
