// States by ear: units of one state sound the same, others do not.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

class UnitStateSound : public testing::Test {
 protected:
  AUParameter& parameter(const std::string& keyPath) {
    return *unit_->parameterTree()->parameterForKeyPath(keyPath);
  }
  // A state with one value and nothing else.
  static PropertyListDictionary stateWith(const std::string& group, const std::string& identifier,
                                          PropertyListValue value) {
    return {{"parameters",
             PropertyListDictionary{{group, PropertyListDictionary{{identifier, std::move(value)}}}}}};
  }

  UnitSurroundings around_;
  std::unique_ptr<OpenUnit> unit_ = std::make_unique<OpenUnit>(around_);
};

// A unit that plays a chord from a fresh engine, block by block.
class Player {
 public:
  explicit Player(OpenUnit& unit) : unit_(unit) {
    unit_.setRandomSeed(3);
    std::string error;
    EXPECT_TRUE(unit_.allocateRenderResources(&error)) << error;
    for (const int note : {50, 57, 62, 65}) unit_.instrument().setGateWithNote(0, 1, note, 100);
  }
  void playBlock() {
    AudioBufferList list;
    list.mNumberBuffers = 2;
    list.mBuffers[0] = {1, kFrames * sizeof(float), left_.data()};
    list.mBuffers[1] = {1, kFrames * sizeof(float), right_.data()};
    AudioUnitRenderActionFlags flags = 0;
    unit_.internalRenderBlock()(&flags, &time_, kFrames, 0, &list, nullptr, nullptr);
    time_.mSampleTime += kFrames;
    sound.insert(sound.end(), left_.begin(), left_.end());
    sound.insert(sound.end(), right_.begin(), right_.end());
  }

  std::vector<float> sound;

 private:
  static constexpr std::uint32_t kFrames = 512;
  OpenUnit& unit_;
  std::vector<float> left_ = std::vector<float>(kFrames);
  std::vector<float> right_ = std::vector<float>(kFrames);
  AudioTimeStamp time_;
};

// One second of it.
std::vector<float> playChord(OpenUnit& unit) {
  Player player(unit);
  for (int i = 0; i < 86; ++i) player.playBlock();
  return player.sound;
}

TEST_F(UnitStateSound, TwoUnitsOfAProcessRenderIndependently) {
  UnitSurroundings elsewhere;
  OpenUnit dark(elsewhere);
  UnitSurroundings apart;
  OpenUnit darkAlone(apart);
  const auto cutoff = stateWith("morv", "filterCutoff", 200.0);
  const auto echo = stateWith("basicdelay", "echoBypass", 0);
  for (OpenUnit* unit : {&dark, &darkAlone}) {
    unit->setFullState(&cutoff);
    unit->setFullState(&echo);
  }

  Player one(*unit_);
  Player two(dark);
  for (int i = 0; i < 86; ++i) {
    one.playBlock();
    two.playBlock();
  }

  EXPECT_EQ(two.sound, playChord(darkAlone));
  UnitSurroundings further;
  OpenUnit brightAlone(further);
  EXPECT_EQ(one.sound, playChord(brightAlone));
  EXPECT_NE(one.sound, two.sound);
}

TEST_F(UnitStateSound, SoundsTheSameWhereItIsLoaded) {
  parameter("morv.filterCutoff").setValue(900.0F);
  parameter("morv.oscSubLevel").setValue(0.5F);
  parameter("morv.filterEnvModAmount").setValue(0.7F);
  parameter("ecoverb.reverbBypass").setValue(0.0F);
  parameter("vachorus.chorusBypass").setValue(0.0F);
  UnitSurroundings elsewhere;
  OpenUnit other(elsewhere);
  UnitSurroundings plain;
  OpenUnit untouched(plain);
  const PropertyListDictionary state = unit_->fullState();

  other.setFullState(&state);
  unit_->setFullState(&state);

  const std::vector<float> mine = playChord(*unit_);
  EXPECT_EQ(mine, playChord(other));
  EXPECT_NE(mine, playChord(untouched));
}

}  // namespace
}  // namespace morv
