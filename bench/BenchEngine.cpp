#include "bench/BenchEngine.h"

#include "platform/DiagnosticRing.h"
#include "platform/ScopedFlushDenormals.h"

namespace morv {

BenchEngine::BenchEngine(int blockFrames) : blockFrames_(blockFrames) {
  kernel.init(2, 48000.0, 1024, 8);
  kernel.prepare(48000.0, blockFrames);
  list_.mNumberBuffers = 2;
  list_.mBuffers[0].mData = left_.data();
  list_.mBuffers[1].mData = right_.data();
  kernel.setBuffers(nullptr, &list_);
  renderBlock();
}

void BenchEngine::setParameter(const char* identifier, float value) {
  kernel.setParameter(static_cast<std::uint64_t>(kernel.instrument->addressForIdentifier(identifier)), value,
                      0);
}

void BenchEngine::modulate() {
  setParameter("filterEnvModAmount", 0.4F);
  setParameter("filterLFOModAmount", 0.3F);
  setParameter("oscLFOModAmount", 0.2F);
}

void BenchEngine::holdChord(int notes) { play(0x90, notes); }

void BenchEngine::releaseChord(int notes) { play(0x80, notes); }

void BenchEngine::play(int status, int notes) {
  std::vector<AURenderEvent> events(static_cast<std::size_t>(notes));
  for (std::size_t i = 0; i < events.size(); ++i) {
    events[i].MIDI = {i + 1 < events.size() ? &events[i + 1] : nullptr,
                      static_cast<std::int64_t>(time_.mSampleTime),
                      AURenderEventMIDI,
                      3,
                      0,
                      {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(48 + 3 * i), 100}};
  }
  render(events.empty() ? nullptr : events.data());
  DiagnosticRing::shared().drain(nullptr);
}

void BenchEngine::renderBlock() { render(nullptr); }

void BenchEngine::render(const AURenderEvent* events) {
  const ScopedFlushDenormals flush;
  kernel.processWithEvents(&time_, static_cast<std::uint32_t>(blockFrames_), events);
  time_.mSampleTime += blockFrames_;
}

}  // namespace morv
