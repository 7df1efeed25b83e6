#include "render/ZRDSPInstrumentKernel.h"

#include <cmath>

#include "render/FiniteCheck.h"

namespace morv {
namespace {

constexpr int kHighestNoteOn = 120;
constexpr int kHighestNoteOff = 127;
constexpr int kModWheel = 1;
constexpr int kExpression = 11;
constexpr int kSustainPedal = 64;
constexpr int kPedalThreshold = 63;
constexpr int kAllNotesOff = 123;
constexpr int kInvalidBend = 255;

}  // namespace

ZRDSPInstrumentKernel::~ZRDSPInstrumentKernel() = default;

void ZRDSPInstrumentKernel::setBuffers(const AudioBufferList* in, AudioBufferList* out) noexcept {
  inBufferList = in;
  outBufferList = out;
}

// What is no number stops here: in the memory of filters and delays it would stay for good.
void ZRDSPInstrumentKernel::setParameter(std::uint64_t address, float value, int /*unused*/) noexcept {
  if (!std::isfinite(value)) return;
  instrument->setParameterValueForAddress(static_cast<std::int32_t>(address), value);
}

float ZRDSPInstrumentKernel::getParameter(std::uint64_t address, int /*unused*/) const noexcept {
  return instrument->parameterValueForAddress(static_cast<std::int32_t>(address));
}

void ZRDSPInstrumentKernel::setGate(int gate) noexcept { instrument->setGate(gate); }

void ZRDSPInstrumentKernel::startRamp(std::uint64_t address, float value,
                                      std::uint32_t /*duration*/) noexcept {
  setParameter(address, value, 0);
}

void ZRDSPInstrumentKernel::processWithEvents(const AudioTimeStamp* blockTimestamp, std::uint32_t frameCount,
                                              const AURenderEvent* events) noexcept {
  instrument->beginBlock();
  DSPKernel::processWithEvents(blockTimestamp, frameCount, events);
  instrument->endBlock();
}

void ZRDSPInstrumentKernel::process(std::uint32_t frameCount, std::uint32_t /*bufferOffset*/) noexcept {
  auto* left = static_cast<float*>(outBufferList->mBuffers[0].mData);
  auto* right =
      outBufferList->mNumberBuffers == 1 ? left : static_cast<float*>(outBufferList->mBuffers[1].mData);
  const float target = muted ? 1.0F : 0.0F;
  if (!areNumbers(muteState, muteCoefficient)) [[unlikely]] {
    mendNumber(muteState, target);
    mendNumber(muteCoefficient, 0.0F);
    instrument->noteRecovery();
  }
  instrument->runInstrument(left, right, static_cast<int>(frameCount), tempo, timestamp->mSampleTime);

  muteState = std::fma(muteCoefficient, muteState - target, target);
  const double gain = 1.0 - static_cast<double>(muteState);
  if (gain == 1.0) return;  // every sample would keep its value
  for (std::uint32_t channel = 0; channel < outBufferList->mNumberBuffers; ++channel) {
    auto* samples = static_cast<float*>(outBufferList->mBuffers[channel].mData);
    for (std::uint32_t i = 0; i < frameCount; ++i) {
      samples[i] = static_cast<float>(static_cast<double>(samples[i]) * gain);
    }
  }
}

void ZRDSPInstrumentKernel::handleController(int channel, int controller, int value) noexcept {
  switch (controller) {
    case kAllNotesOff:
      instrument->setAllNotesOff();
      break;
    case kSustainPedal:
      instrument->setSustain(value > kPedalThreshold ? 1 : 0);
      break;
    case kExpression:
      instrument->setMIDICC(channel, kModWheel, value);
      break;
    default:
      instrument->setMIDICC(channel, controller, value);
      break;
  }
}

// Note-on reaches up to 120 and note-off from 1 to 127, so note 0 ends by a note-on of velocity 0 or by all
// notes off. Expression moves what the modulation wheel moves. Both MIDI modes share this table.
void ZRDSPInstrumentKernel::handleMIDIEvent(const AUMIDIEvent& event) noexcept {
  if (midiMonitorBlock) midiMonitorBlock(event.eventSampleTime, 0, event.length, event.data.data());
  const int type = event.data[0] & 0xF0;
  const int channel = event.data[0] & 0x0F;
  const int first = event.data[1];
  const int second = event.data[2];
  switch (type) {
    case 0x80:
      if (event.length == 3 && first >= 1 && first <= kHighestNoteOff) {
        instrument->setGateWithNote(channel, 0, first, second);
      }
      break;
    case 0x90:
      if (first > kHighestNoteOn) break;
      lastNote = first;
      if (second != 0) {
        instrument->setGateWithNote(channel, 1, first, second);
        if (voiceTriggeredCallback) voiceTriggeredCallback(first, channel, owner);
      } else {
        instrument->setGateWithNote(channel, 0, first, 0);
      }
      break;
    case 0xA0:
      instrument->setPolyAftertouch(first, second);
      break;
    case 0xB0:
      handleController(channel, first, second);
      break;
    case 0xC0:
      if (programChangeCallback) programChangeCallback(first, owner);
      break;
    case 0xD0:
      instrument->setChannelPressure(channel, first);
      break;
    case 0xE0:
      if (second != kInvalidBend) instrument->setPitchbend(channel, (first & 127) | ((second & 127) << 7));
      break;
    default:
      break;
  }
}

}  // namespace morv
