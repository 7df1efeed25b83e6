// What hangs on the tempo of the song, under hosts that jump, loop, stop and change it.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "hosts/HostBlockCutter.h"
#include "tests/lv2/Lv2StormFixture.h"
#include "tests/lv2/OpenEngine.h"

namespace morv::lv2 {
namespace {

constexpr std::uint32_t kBlock = HostBlockCutter::kBlockFrames;
constexpr float kRate = 48000.0F;

// The arpeggiator as it is told to count: at each block's start, with the tempo of that block in whole beats.
class ArpeggioModel {
 public:
  // Frames since the step began, behind a block.
  float count(double beatsPerMinute, int ticks) {
    const auto step = static_cast<float>(60.0 / std::trunc(beatsPerMinute) / 8.0 * ticks * kRate);
    if (count_ >= step) count_ -= step;
    return count_ += kBlock;
  }

 private:
  float count_ = 0;
};

// The LFO's phase: from -1 to 1 in the time of a division, and then anew from -1.
class LfoModel {
 public:
  float phase(double beatsPerMinute, float bars) {
    const auto bar = static_cast<float>(60.0 / static_cast<double>(static_cast<float>(beatsPerMinute)) * 4.0);
    step_ = 2.0F * (1.0F / (bar * bars)) / kRate;
    for (std::uint32_t i = 0; i < kBlock; ++i) {
      phase_ += step_;
      if (phase_ >= 1.0F) phase_ = -1.0F;
    }
    return phase_;
  }
  float step() const { return step_; }

 private:
  float phase_ = -1.0F;
  float step_ = 0;
};

class Lv2Transport : public Lv2Storm {};

// Every tempo from 1 to 999 comes, at frames of any kind; a stopped song is one whose tempo changes all the
// same.
TEST_F(Lv2Transport, KeepsThePhasesOfAPlainModel) {
  struct Division {
    float setting;
    float bars;
  };
  double worst = 0;
  for (const Division division : {Division{0.0F, 4.0F}, Division{0.3F, 1.0F}, Division{0.5F, 0.25F}}) {
    OpenEngine engine;
    engine.set("morv.midiMode", 0);
    engine.set("morv.arpEnabled", 1);
    engine.set("morv.arpClockDivision", 6);
    engine.set("morv.lfoBPMSync", 1);
    AUParameter* rate = engine.unit().parameterTree()->parameterForKeyPath("morv.lfoFreq");
    rate->setValue(rate->minValue() + division.setting * (rate->maxValue() - rate->minValue()));
    ArpeggioModel arpeggio;
    LfoModel lfo;
    double tempo = 120.0;
    bool hasBegun = false;
    ZRTurboVoice* voice = nullptr;
    std::vector<float> left(1024);
    std::vector<float> right(1024);
    for (int cycle = 0; cycle < measure(1000, 20000); ++cycle) {
      engine.cycle().begin(1024, left.data(), right.data());
      if (!hasBegun) {
        engine.cycle().addTempo(0, tempo);
        for (const std::uint8_t note : {50, 55, 62}) {
          const std::array<std::uint8_t, 3> on = {0x90, note, 100};
          engine.cycle().addMidi(0, on);
        }
        hasBegun = true;
      }
      for (std::uint32_t block = 0; block < 1024; block += kBlock) {
        if (cycle > 0 && draw(50) == 0) {
          tempo = draw(2) == 0 ? 1 + draw(250) * 4.0 : 1.0 + random_.unit31() * 998.0;
          engine.cycle().addTempo(block + draw(kBlock), tempo);
        }
        // All up to the next block is rendered, and that one is not.
        if (block + kBlock < 1024) {
          engine.cycle().renderUpTo(block + kBlock);
        } else {
          engine.cycle().end();
        }
        const float counted = arpeggio.count(tempo, 2);
        const double offArpeggio = std::abs(static_cast<double>(engine.instrument().arpCounter) - counted);
        double offLfo = 0;
        // The voice that has sounded first; before it does, no LFO runs.
        if (voice == nullptr) voice = engine.firstSoundingVoice();
        if (voice != nullptr) {
          const float phase = lfo.phase(tempo, division.bars);
          offLfo = std::abs(static_cast<double>(voice->lfo->phase) - phase);
          offLfo = std::min(offLfo, 2.0 - offLfo) / lfo.step();
        }
        worst = std::max({worst, offArpeggio, offLfo});
        ASSERT_LE(offArpeggio, 1.0) << "cycle " << cycle << " at tempo " << tempo;
        ASSERT_LE(offLfo, 1.0) << "cycle " << cycle << " at tempo " << tempo;
      }
    }
    EXPECT_NE(voice, nullptr);
  }
  tellFigure("T36 greatest distance from the model, frames", worst);
}

// Where the song stands, and whether it moves, changes nothing: only the tempo counts.
TEST_F(Lv2Transport, SoundsTheSameWhereverTheSongStands) {
  const auto played = [&](std::uint32_t pace) {
    Random random(seed_);
    Lv2Host host(world_);
    for (const char* bypass : {"vachorus_chorusBypass", "basicdelay_echoBypass"}) host.port(bypass) = 0;
    host.port("basicdelay_syncTempo") = 1;
    host.port("arpEnabled") = 1;
    host.port("midiMode") = 0;
    host.port("lfoBPMSync") = 1;
    host.port("lfoAmount") = 1;
    host.port("oscLFOModAmount") = 1;
    host.activate();
    for (const std::uint8_t note : {50, 55, 62}) host.noteOn(0, note);
    double tempo = 120.0;
    for (int cycle = 0; cycle < 60; ++cycle) {
      if (cycle % 5 == 0) {
        tempo = 1.0 + random.unit31() * 998.0;
        host.position(0, tempo, 1);
      }
      for (std::uint32_t frame = 0; pace > 0 && frame < 1024; frame += pace) {
        const auto place = static_cast<std::int64_t>(frame * 7919 % 100000);
        host.locate(frame, tempo, static_cast<float>(frame % 3) - 1.0F, place, place / 10000);
      }
      host.run(1024);
    }
    EXPECT_EQ(host.badSamples, 0U);
    EXPECT_GT(host.peak, 0.01F);
    return host.left;
  };
  const std::vector<float> plain = played(0);
  for (const std::uint32_t pace : {1U, 100U, 1000U}) EXPECT_EQ(played(pace), plain) << "each " << pace;
}

TEST_F(Lv2Transport, FollowsATransportThatJumpsAndStops) {
  host_.port("arpEnabled") = 1;
  host_.port("lfoBPMSync") = 1;
  host_.port("lfoAmount") = 1;
  host_.port("oscLFOModAmount") = 1;
  host_.port("basicdelay_echoBypass") = 0;
  host_.port("basicdelay_syncTempo") = 1;
  for (const std::uint8_t note : {50, 55, 62}) host_.noteOn(0, note);
  for (const std::uint32_t pace : {1U, 100U, 1000U}) {
    for (int cycle = 0; cycle < 40; ++cycle) {
      for (std::uint32_t frame = 0; frame < 1024; frame += pace) {
        host_.position(frame, 1.0 + random_.unit31() * 998.0, static_cast<float>(draw(3)) - 1.0F);
      }
      host_.run(1024);
    }
  }
  for (const double tempo : {1.0, 999.0, 0.0, -5.0, 1e30, 1e-30}) {
    host_.position(0, tempo, 0);
    host_.runFor(4800, 480);
  }
  EXPECT_EQ(host_.badSamples, 0U);
  EXPECT_LT(host_.peak, HostBlockCutter::kGreatestSample);
}

}  // namespace
}  // namespace morv::lv2
