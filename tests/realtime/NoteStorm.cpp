#include "tests/realtime/NoteStorm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <string_view>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"
#include "render/BlockLimits.h"
#include "render/ZQ3DSPKernel.h"
#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kMaxEvents = 48;

class Storm {
 public:
  explicit Storm(std::uint64_t seed) : random_(seed) {
    kernel_.init(2, kRate, 1024, 8);
    kernel_.instrument->setRandomSeed(seed);
    kernel_.prepare(kRate, kMaxBlockFrames);
    parameters_ = kernel_.instrument->parameters();
    for (const auto& effect : kernel_.instrument->effects) {
      for (ZRDSPParameter* p : effect->parameters()) effectParameters_.push_back(p);
    }
    std::copy_if(parameters_.begin(), parameters_.end(), std::back_inserter(arpParameters_),
                 [](const ZRDSPParameter* p) { return p->identifier.starts_with("arp"); });
    list_.mNumberBuffers = 2;
    list_.mBuffers[0].mData = left_.data();
    list_.mBuffers[1].mData = right_.data();
    kernel_.setBuffers(nullptr, &list_);
  }

  void runBlock(StormResult* result) {
    const std::uint32_t frames = 1 + below(below(4) == 0 ? 4096 : 256);
    if (below(4) == 0) turnEffectKnob();
    const std::size_t count = below(kMaxEvents / 2);
    for (std::size_t i = 0; i < count; ++i) {
      draw(&events_[i]);
      events_[i].head.eventSampleTime = static_cast<AUEventSampleTime>(time_.mSampleTime) + below(frames);
      events_[i].head.next = i + 1 < count ? &events_[i + 1] : nullptr;
    }
    if (below(50) == 0) kernel_.tempo = below(10) == 0 ? 0.0F : static_cast<float>(1 + below(999));
    {
      const ScopedFlushDenormals flush;
      const RenderTrap trap;
      kernel_.processWithEvents(&time_, frames, count > 0 ? events_.data() : nullptr);
    }
    time_.mSampleTime += frames;
    DiagnosticRing::Line line;
    while (DiagnosticRing::shared().take(&line)) {
      if (std::string_view(line.format).starts_with("[ARP]")) ++result->arpeggiatedNotes;
    }
    for (std::uint32_t i = 0; i < frames; ++i) {
      if (!std::isfinite(left_[i]) || !std::isfinite(right_[i])) ++result->badSamples;
      result->peak = std::max({result->peak, std::fabs(left_[i]), std::fabs(right_[i])});
    }
    result->mostVoices = std::max(result->mostVoices, kernel_.instrument->numActiveVoices());
    ++result->blocks;
    result->seconds = time_.mSampleTime / kRate;
    result->recoveries = kernel_.instrument->recoveryCount();
  }

 private:
  std::uint32_t below(std::uint32_t bound) { return random_.nextBits() % bound; }

  // As the parameter tree does it: straight into the record.
  void turnEffectKnob() {
    ZRDSPParameter& p = *effectParameters_[below(static_cast<std::uint32_t>(effectParameters_.size()))];
    p = p.minValue + (p.maxValue - p.minValue) * random_.unit31();
  }

  void draw(AURenderEvent* event) {
    if (below(6) == 0) {
      drawParameter(event);
    } else {
      drawMIDI(event);
    }
  }

  void drawParameter(AURenderEvent* event) {
    event->parameter = {};
    event->parameter.eventType = below(2) == 0 ? AURenderEventParameter : AURenderEventParameterRamp;
    if (below(50) == 0) {
      event->parameter.parameterAddress = 100000 + below(1000);
      return;
    }
    const auto& choice = below(4) == 0 ? arpParameters_ : parameters_;
    const ZRDSPParameter& p = *choice[below(static_cast<std::uint32_t>(choice.size()))];
    event->parameter.parameterAddress = static_cast<AUParameterAddress>(p.address);
    event->parameter.value = p.minValue + (p.maxValue - p.minValue) * random_.unit31();
  }

  void drawMIDI(AURenderEvent* event) {
    static constexpr std::array<std::uint8_t, 16> kStatus = {0x80, 0x80, 0x80, 0x90, 0x90, 0x90, 0x90, 0xA0,
                                                             0xB0, 0xB0, 0xB0, 0xC0, 0xD0, 0xE0, 0xE0, 0xF0};
    static constexpr std::array<std::uint8_t, 10> kControllers = {1, 11, 64, 64, 74, 6, 38, 100, 101, 123};
    event->MIDI = {};
    event->MIDI.eventType = AURenderEventMIDI;
    const std::uint8_t status = kStatus[below(kStatus.size())];
    event->MIDI.length = static_cast<std::uint16_t>(below(20) == 0 ? 1 + below(3) : 3);
    event->MIDI.data[0] = static_cast<std::uint8_t>(status | (below(3) == 0 ? below(16) : 0));
    event->MIDI.data[1] = static_cast<std::uint8_t>(below(128));
    event->MIDI.data[2] = static_cast<std::uint8_t>(below(128));
    if (status == 0xB0) {
      // All notes off is rare, so that notes pile up.
      const bool isKnown = below(3) != 0;
      const std::uint8_t controller = kControllers[below(kControllers.size())];
      if (isKnown && (controller != 123 || below(20) == 0)) event->MIDI.data[1] = controller;
    }
    if (below(200) == 0) event->MIDI.data[2] = 255;
  }

  ZQ3DSPKernel kernel_;
  Random random_;
  std::vector<ZRDSPParameter*> parameters_;
  std::vector<ZRDSPParameter*> effectParameters_;
  std::vector<ZRDSPParameter*> arpParameters_;
  std::array<AURenderEvent, kMaxEvents> events_{};
  std::array<float, kMaxBlockFrames> left_{};
  std::array<float, kMaxBlockFrames> right_{};
  AudioBufferList list_;
  AudioTimeStamp time_;
};

}  // namespace

StormResult runNoteStorm(std::uint64_t seed, double seconds) {
  auto storm = std::make_unique<Storm>(seed);
  StormResult result;
  const long before = RenderTrap::caught();
  while (result.seconds < seconds) storm->runBlock(&result);
  result.trappedCalls = RenderTrap::caught() - before;
  result.lastTrapped = RenderTrap::lastCaught();
  return result;
}

}  // namespace morv
