// MIDI as no keyboard sends it.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

#include "hosts/HostCycle.h"
#include "tests/lv2/Lv2StormFixture.h"
#include "tests/lv2/OpenEngine.h"

namespace morv::lv2 {
namespace {

// The plug-in does not show its voices; an engine of the same kind that gets the same messages does.
class Lv2MidiStorm : public Lv2Storm {
 protected:
  void deliver(std::uint32_t frame, std::span<const std::uint8_t> message) {
    host_.midi(frame, message);
    waiting_.push_back({frame, {message.begin(), message.end()}});
  }
  void runBoth(std::uint32_t frames) {
    host_.run(frames);
    runEngine(frames);
  }
  void runEngine(std::uint32_t frames) {
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    engine_.cycle().begin(frames, left.data(), right.data());
    for (const auto& [frame, message] : waiting_) engine_.cycle().addMidi(frame, message);
    engine_.cycle().end();
    waiting_.clear();
    mostVoices_ = std::max(mostVoices_, engine_.soundingVoices());
  }
  void drawBytes(std::vector<std::uint8_t>* message) {
    message->resize(draw(8));
    for (std::uint8_t& byte : *message) byte = draw(256);
    // Whole messages are what reaches the engine: every second one begins as such.
    if (!message->empty() && draw(2) == 0) {
      message->resize(std::min<std::size_t>(message->size(), 3));
      message->front() = static_cast<std::uint8_t>(0x80U | draw(112));
    }
    for (std::size_t at = 1; at < message->size() && draw(4) != 0; ++at) (*message)[at] &= 0x7FU;
    if (message->size() > 1 && draw(8) == 0) {
      const auto place =
          static_cast<std::ptrdiff_t>(1 + draw(static_cast<std::uint32_t>(message->size() - 1)));
      message->insert(message->begin() + place, static_cast<std::uint8_t>(0xF8U + draw(8)));
    }
    if (message->size() > 1 && draw(8) == 0) message->erase(message->begin());
  }

  OpenEngine engine_;
  std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> waiting_;
  std::size_t mostVoices_ = 0;
};

// A hundred million bytes in full: whole messages, cut ones, such that go on without a status, real-time
// bytes inside, system exclusive ones of 64 KiB.
TEST_F(Lv2MidiStorm, SurvivesBytesThatAreNoMidi) {
  const auto bytesWanted = static_cast<std::uint64_t>(measure(2.5e6, 1e8));
  std::vector<std::uint8_t> message;
  std::uint64_t bytes = 0;
  for (std::uint64_t cycle = 0; bytes < bytesWanted; ++cycle) {
    for (int i = 0; i < 100; ++i) {
      drawBytes(&message);
      // Presets bring sounds that play on by themselves.
      if (!message.empty() && (message[0] & 0xF0U) == 0xC0U) continue;
      deliver(static_cast<std::uint32_t>(i), message);
      bytes += message.size();
    }
    if (cycle % 500 == 0) {
      message.assign(65536, draw(128));
      message.front() = 0xF0;
      message.back() = draw(2) == 0 ? 0xF7 : 0x11;
      deliver(100, message);
      bytes += message.size();
    }
    runBoth(256);
  }
  tellFigure("T25 bytes", static_cast<double>(bytes));
  tellFigure("T25 greatest number of voices", static_cast<double>(mostVoices_));
  EXPECT_LE(mostVoices_, 8U);
  EXPECT_EQ(host_.badSamples, 0U);
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 64, 0});
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 120, 0});
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 123, 0});
  }
  host_.runFor(5 * 48000, 512);
  const float left = peakOver(48000);
  tellFigure("T25 level five seconds behind, dBFS", 20.0 * std::log10(std::max(left, 1e-10F)));
  EXPECT_LT(left, 1e-4F);
}

TEST_F(Lv2MidiStorm, HangsNoNoteWhateverItsOrder) {
  for (int round = 0; round < 200; ++round) {
    for (int i = 0; i < 20; ++i) {
      const auto channel = draw(16);
      const auto note = static_cast<std::uint8_t>(40 + draw(6));
      switch (draw(4)) {
        case 0:
          host_.midi(0, {static_cast<std::uint8_t>(0x80U + channel), note, 64});
          break;
        case 1:
        case 2:
          host_.midi(0, {static_cast<std::uint8_t>(0x90U + channel), note, 100});
          break;
        default:
          host_.midi(
              0, {static_cast<std::uint8_t>(0xB0U + channel), 64, static_cast<std::uint8_t>(draw(2) * 127)});
      }
    }
    host_.run(512);
  }
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 123, 0});
    host_.midi(0, {static_cast<std::uint8_t>(0xB0U + channel), 64, 0});
  }
  host_.runFor(4 * 48000, 512);
  const float left = peakOver(48000);
  tellFigure("T26 level behind all notes off, dBFS", 20.0 * std::log10(std::max(left, 1e-10F)));
  EXPECT_LT(left, 1e-4F);
}

// A minute in full.
TEST_F(Lv2MidiStorm, TakesAThousandNotesASecond) {
  const int cycles = static_cast<int>(measure(10.0, 60.0)) * 1000 / 4;
  const long before = RenderTrap::caught();
  for (int cycle = 0; cycle < cycles; ++cycle) {
    for (std::uint32_t i = 0; i < 4; ++i) {
      const std::array<std::uint8_t, 3> note = {0x90, static_cast<std::uint8_t>(24 + draw(80)), 100};
      deliver(i * 48, note);
    }
    runTrapped(192);
    runEngine(192);
  }
  tellFigure("T28 trapped calls", static_cast<double>(RenderTrap::caught() - before));
  tellFigure("T28 greatest number of voices", static_cast<double>(mostVoices_));
  EXPECT_EQ(RenderTrap::caught(), before);
  EXPECT_EQ(mostVoices_, 8U);
  EXPECT_EQ(badSamples_, 0);
}

}  // namespace
}  // namespace morv::lv2
