// What numbers and tempos are read from a host's atoms.

#include <gtest/gtest.h>
#include <lv2/atom/forge.h>
#include <lv2/time/time.h>

#include <array>
#include <cmath>
#include <limits>

#include "hosts/lv2/AtomInput.h"
#include "tests/lv2/Lv2World.h"

namespace morv::lv2 {
namespace {

class AtomInput : public testing::Test {
 protected:
  AtomInput() {
    lv2_atom_forge_init(&forge_, &map_);
    lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(words_.data()), sizeof(words_));
  }
  LV2_Atom& atom() { return *reinterpret_cast<LV2_Atom*>(words_.data()); }
  const LV2_Atom_Object& object() const { return *reinterpret_cast<const LV2_Atom_Object*>(words_.data()); }

  LV2_URID_Map map_{nullptr, [](LV2_URID_Map_Handle, const char* uri) { return uridOf(uri); }};
  const Urids urids_{map_};
  std::array<std::uint64_t, 32> words_{};
  LV2_Atom_Forge forge_{};
};

TEST_F(AtomInput, ReadsAFloat) {
  lv2_atom_forge_float(&forge_, 1.5F);
  EXPECT_EQ(numberOf(urids_, atom()), 1.5F);
}

TEST_F(AtomInput, ReadsADouble) {
  lv2_atom_forge_double(&forge_, -2.25);
  EXPECT_EQ(numberOf(urids_, atom()), -2.25F);
}

TEST_F(AtomInput, ReadsAWholeNumber) {
  lv2_atom_forge_int(&forge_, -7);
  EXPECT_EQ(numberOf(urids_, atom()), -7.0F);
}

TEST_F(AtomInput, ReadsALongWholeNumber) {
  lv2_atom_forge_long(&forge_, 1'000'000);
  EXPECT_EQ(numberOf(urids_, atom()), 1e6F);
}

TEST_F(AtomInput, ReadsASwitch) {
  lv2_atom_forge_bool(&forge_, true);
  EXPECT_EQ(numberOf(urids_, atom()), 1.0F);
}

TEST_F(AtomInput, TakesNoNumberFromATextOrANumberThatIsNone) {
  lv2_atom_forge_string(&forge_, "120", 3);
  EXPECT_FALSE(numberOf(urids_, atom()));
  lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(words_.data()), sizeof(words_));
  lv2_atom_forge_double(&forge_, std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(numberOf(urids_, atom()));
}

TEST_F(AtomInput, TakesNoNumberFromAnAtomThatIsTooShortForIt) {
  lv2_atom_forge_double(&forge_, 3.0);
  atom().size = 4;
  EXPECT_FALSE(numberOf(urids_, atom()));
  atom().size = 8;
  EXPECT_EQ(numberOf(urids_, atom()), 3.0F);
}

TEST_F(AtomInput, ReadsTheTempoOfAPositionAlone) {
  LV2_Atom_Forge_Frame frame;
  for (const char* type : {LV2_TIME__Position, LV2_TIME__Time}) {
    lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(words_.data()), sizeof(words_));
    lv2_atom_forge_object(&forge_, &frame, 0, uridOf(type));
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__speed));
    lv2_atom_forge_float(&forge_, 1.0F);
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__beatsPerMinute));
    lv2_atom_forge_double(&forge_, 93.5);
    lv2_atom_forge_pop(&forge_, &frame);
    const bool isPosition = std::string(type) == LV2_TIME__Position;
    EXPECT_EQ(tempoOf(urids_, object()), isPosition ? std::optional(93.5F) : std::nullopt);
  }
}

TEST_F(AtomInput, FindsNoTempoInAPositionWithoutOne) {
  LV2_Atom_Forge_Frame frame;
  lv2_atom_forge_object(&forge_, &frame, 0, uridOf(LV2_TIME__Position));
  lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__speed));
  lv2_atom_forge_float(&forge_, 0.0F);
  lv2_atom_forge_pop(&forge_, &frame);
  EXPECT_FALSE(tempoOf(urids_, object()));
}

}  // namespace
}  // namespace morv::lv2
