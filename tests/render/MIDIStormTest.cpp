// Random MIDI and parameters, good and bad, through the whole instrument.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "render/ZQ3DSPKernel.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class MIDIStorm : public ::testing::TestWithParam<unsigned> {
 protected:
  MIDIStorm() : random(GetParam()) {
    kernel.init(2, 44100.0, 1024, 8);
    kernel.prepare(44100.0, 1024);
    out.mNumberBuffers = 2;
    out.mBuffers[0].mData = left.data();
    out.mBuffers[1].mData = right.data();
    kernel.setBuffers(nullptr, &out);
  }
  int below(unsigned limit) { return static_cast<int>(random() % limit); }

  AURenderEvent anyMIDI() {
    AURenderEvent event{};
    event.MIDI = {nullptr, below(5000), AURenderEventMIDI, static_cast<std::uint16_t>(below(5)), 0, {}};
    // Mostly notes of a few pitches; the rest is anything at all, bytes above 127 among it.
    if (below(10) < 7) {
      event.MIDI.length = 3;
      event.MIDI.data = {static_cast<std::uint8_t>((below(2) != 0 ? 0x90 : 0x80) + below(16)),
                         static_cast<std::uint8_t>(below(128)), static_cast<std::uint8_t>(below(128))};
    } else {
      for (std::uint8_t& byte : event.MIDI.data) byte = static_cast<std::uint8_t>(below(256));
    }
    return event;
  }
  // A parameter somewhere in its range.
  AURenderEvent anyParameter() {
    const std::vector<ZRDSPParameter*> all = kernel.instrument->parameters();
    const ZRDSPParameter& p = *all[static_cast<std::size_t>(below(static_cast<unsigned>(all.size())))];
    const float place = static_cast<float>(below(1001)) / 1000.0F;
    AURenderEvent event{};
    event.parameter = {nullptr,
                       below(5000),
                       AURenderEventParameter,
                       0,
                       static_cast<std::uint64_t>(p.address),
                       p.minValue + place * (p.maxValue - p.minValue)};
    return event;
  }

  std::mt19937 random;
  ZQ3DSPKernel kernel;
  std::vector<float> left = std::vector<float>(kMaxBlockFrames);
  std::vector<float> right = std::vector<float>(kMaxBlockFrames);
  AudioBufferList out;
};

TEST_P(MIDIStorm, LeavesEverySampleFiniteAndTheNoteStateWhole) {
  double position = 0;
  for (int block = 0; block < 400; ++block) {
    std::vector<AURenderEvent> events;
    for (int i = below(12); i > 0; --i) events.push_back(below(5) == 0 ? anyParameter() : anyMIDI());
    for (std::size_t i = 1; i < events.size(); ++i) events[i - 1].head.next = &events[i];
    const auto frames = static_cast<std::uint32_t>(block % 50 == 0 ? below(kMaxBlockFrames + 1) : below(300));
    const AudioTimeStamp stamp{position};

    kernel.processWithEvents(&stamp, frames, events.empty() ? nullptr : events.data());

    position += frames;
    for (std::size_t i = 0; i < frames; ++i) {
      ASSERT_TRUE(std::isfinite(left[i]) && std::isfinite(right[i]))
          << "seed " << GetParam() << " block " << block;
    }
    ASSERT_GE(kernel.instrument->voiceIndex, 0);
    ASSERT_LE(kernel.instrument->numActiveVoices(), 128);
    DiagnosticRing::shared().drain(nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MIDIStorm, ::testing::Values(1U, 2U, 3U, 4U));

}  // namespace
}  // namespace morv
