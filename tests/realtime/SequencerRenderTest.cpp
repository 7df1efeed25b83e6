// The step sequencer and the arpeggiator on sounding voices, at the edges of what they are given.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"
#include "render/BlockLimits.h"
#include "render/ZRDSPInstrument.h"
#include "tests/realtime/RenderTrap.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;

struct Outcome {
  long badSamples = 0;
  long trappedCalls = 0;
  float peak = 0;
};

class SequencedVoices : public ::testing::Test {
 protected:
  SequencedVoices() {
    ZRDSPModMatrix::initSingleton();
    instrument.initWithNumberOfVoices<ZRTurboVoice>(4, kRate, 1024, 1023);
    instrument.prepare(kRate, 1024);
  }
  Outcome render(int blocks, int frames, float tempo) {
    Outcome outcome;
    const long before = RenderTrap::caught();
    for (int i = 0; i < blocks; ++i) {
      {
        const ScopedFlushDenormals flush;
        const RenderTrap trap;
        instrument.beginBlock();
        instrument.runInstrument(left.data(), right.data(), frames, tempo, 256.0 * i);
        instrument.endBlock();
      }
      DiagnosticRing::shared().drain(nullptr);
      for (int n = 0; n < frames; ++n) {
        const float sample = left[static_cast<std::size_t>(n)];
        if (!std::isfinite(sample)) ++outcome.badSamples;
        outcome.peak = std::max(outcome.peak, std::fabs(sample));
      }
    }
    outcome.trappedCalls = RenderTrap::caught() - before;
    return outcome;
  }

  ZRDSPInstrument instrument{kRate};
  std::vector<float> left = std::vector<float>(kMaxBlockFrames), right = std::vector<float>(kMaxBlockFrames);
};

TEST_F(SequencedVoices, TheSequencerPlaysRandomTablesWithoutAnAllocationLockOrWait) {
  Random random(3);
  const auto below = [&random](int bound) {
    return static_cast<int>(random.nextBits() % static_cast<std::uint32_t>(bound));
  };
  instrument.transportState = 2;
  instrument.seqEnabled = 1.0F;
  instrument.seqGateLength = 100.0F;
  float peak = 0;
  for (int round = 0; round < 40; ++round) {
    for (int step = 0; step < 8; ++step) {
      ASSERT_TRUE(instrument.setSequencerStep(0, step, below(4) != 0, below(128)));
      for (int lane = 1; lane < 4; ++lane)
        ASSERT_TRUE(instrument.setSequencerStep(lane, step, false, below(13)));
    }
    instrument.seqMode = static_cast<float>(below(5));
    instrument.seqClockDivision = static_cast<float>(below(8));
    instrument.seqScale = static_cast<float>(below(18));
    instrument.seqRoot = static_cast<float>(below(12));
    instrument.seqVariationType = static_cast<float>(below(4));
    instrument.seqKeyTranspose = static_cast<float>(below(2));
    instrument.lastNote = below(128);

    const Outcome outcome = render(100, 256, round % 10 == 9 ? 0.0F : static_cast<float>(40 + below(400)));

    EXPECT_EQ(outcome.badSamples, 0) << "round " << round;
    EXPECT_EQ(outcome.trappedCalls, 0) << "round " << round << " last " << RenderTrap::lastCaught();
    peak = std::max(peak, outcome.peak);
  }
  // Sequenced notes carry no velocity; the envelope's own part of the level still sounds.
  EXPECT_GT(peak, 0.001F);
}

TEST_F(SequencedVoices, ArpeggiatedNotesOutsideTheRangeOfMidiStayFinite) {
  instrument.arpEnabled = 1.0F;
  instrument.arpClockDivision = 6.0F;
  instrument.arpRange = 2.0F;
  for (const bool isUnison : {false, true}) {
    instrument.voiceMode = isUnison ? 1.0F : 0.0F;
    for (const int going : {0, 1}) {
      for (const int note : {0, 127}) {
        instrument.arpGoingUp = going;
        instrument.setGateWithNote(0, 1, note, 100);

        const Outcome outcome = render(100, 512, 480.0F);

        EXPECT_EQ(outcome.badSamples, 0) << note;
        EXPECT_EQ(outcome.trappedCalls, 0) << note << " last " << RenderTrap::lastCaught();
        const int played = instrument.voices.front()->note;
        EXPECT_TRUE(played >= -24 && played <= 151) << played;
        instrument.setGateWithNote(0, 0, note, 0);
      }
    }
  }
}

}  // namespace
}  // namespace morv
