#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/NonBlocking.h"
#include "render/DSPKernel.h"
#include "render/ZRDSPInstrument.h"

namespace morv {

// Drives one instrument: decodes MIDI, carries out parameter events, renders and mutes. Copies share the
// instrument.
//
// `setParameter`, `getParameter`, `setGate`, `muted`: any thread. The rest: render thread, or before
// rendering.
class ZRDSPInstrumentKernel : public DSPKernel {
 public:
  // Told of every MIDI event before it is decoded: event sample time, cable, length, bytes.
  using MIDIMonitorBlock =
      std::function<int(AUEventSampleTime, std::uint8_t, std::uint16_t, const std::uint8_t*)>;
  // Shapes of the two callbacks; they run on the render thread and must not block.
  using ProgramChangeCallback = std::function<int(int program, void* owner)>;
  using VoiceTriggeredCallback = std::function<void(int note, int channel, void* owner)>;

  ~ZRDSPInstrumentKernel() override;

  // The host's buffers for this block; one or two outputs are written, the input is not read.
  void setBuffers(const AudioBufferList* in, AudioBufferList* out) noexcept MORV_NONBLOCKING;
  // What is no finite number is left aside.
  void setParameter(std::uint64_t address, float value, int unused) noexcept MORV_NONBLOCKING;
  float getParameter(std::uint64_t address, int unused) const noexcept MORV_NONBLOCKING;
  void setGate(int gate) noexcept MORV_NONBLOCKING;

  // Sets the value at once; there are no ramps.
  void startRamp(std::uint64_t address, float value,
                 std::uint32_t duration) noexcept MORV_NONBLOCKING override;
  void process(std::uint32_t frameCount, std::uint32_t bufferOffset) noexcept MORV_NONBLOCKING override;
  void handleMIDIEvent(const AUMIDIEvent& event) noexcept MORV_NONBLOCKING override;

  // One block with its events, bracketed for the requests of other threads.
  void processWithEvents(const AudioTimeStamp* blockTimestamp, std::uint32_t frameCount,
                         const AURenderEvent* events) noexcept MORV_NONBLOCKING;

  const AudioBufferList* inBufferList = nullptr;
  AudioBufferList* outBufferList = nullptr;
  std::shared_ptr<ZRDSPInstrument> instrument;
  Relaxed<float> tempo{120.0F};  // beats per minute
  float sampleRate = 44100.0F;   // Hz
  int channelCount = 0;
  int maxFrames = 0;
  Relaxed<bool> muted{false};
  float muteState = 0;        // 0 open, 1 silent
  float muteCoefficient = 0;  // one-pole coefficient per block; at 0 the gain follows `muted` at once
  int lastNote = 0;           // last note number that passed the note-on filter
  MIDIMonitorBlock midiMonitorBlock;
  void* owner = nullptr;
  ProgramChangeCallback programChangeCallback;
  VoiceTriggeredCallback voiceTriggeredCallback;

 protected:
  ZRDSPInstrumentKernel() = default;
  ZRDSPInstrumentKernel(const ZRDSPInstrumentKernel&) = default;
  ZRDSPInstrumentKernel& operator=(const ZRDSPInstrumentKernel&) = default;

 private:
  void handleController(int channel, int controller, int value) noexcept MORV_NONBLOCKING;
};

}  // namespace morv
