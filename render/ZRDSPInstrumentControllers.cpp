// Bend, pressure and controllers on their way to the voices, in ordinary and MPE mode.

#include "platform/DiagnosticRing.h"
#include "render/ZRDSPInstrument.h"

namespace morv {
namespace {

constexpr int kModWheelController = 1;
constexpr int kDataEntry = 6;
constexpr int kSlideController = 74;
constexpr int kParameterNumberLSB = 100;
constexpr int kParameterNumberMSB = 101;

}  // namespace

void ZRDSPInstrument::sendControllerToAll(int controller, int value) noexcept {
  float v = static_cast<float>(value);
  if (controller == kModWheelController) v *= modwheelAmount.value;
  for (const auto& voice : voices) voice->setMIDICC(controller, truncatedInt(v));
}

void ZRDSPInstrument::setMIDICC(int channel, int controller, int value) noexcept {
  if (isOnForeignChannel(channel)) return;
  if (channel <= 0) {
    sendControllerToAll(controller, value);
    return;
  }
  if (controller == kDataEntry) {
    DiagnosticRing::shared().post("Received NRP value: %i\n", value);
  } else if (controller == kParameterNumberLSB) {
    DiagnosticRing::shared().post("Received NRP LSB: %i\n", value);
    nrpnLSB = static_cast<std::uint8_t>(value);
  } else if (controller == kParameterNumberMSB) {
    DiagnosticRing::shared().post("Received NRP MSB: %i\n", value);
    nrpnMSB = static_cast<std::uint8_t>(value);
  }
  if (!isMPE()) {
    sendControllerToAll(controller, value);
    return;
  }
  const float v = static_cast<float>(value) * slideAmount.value;
  if (currentVoiceMode == 0) {
    if (ZRDSPVoice* voice = channelVoices.valueOr(channel, nullptr))
      voice->setMIDICC(controller, truncatedInt(v));
    return;
  }
  if (controller == kSlideController) {
    for (NoteState& held : noteStack) {
      if (held.channel == channel) held.slide = v;
    }
  }
  if (channel != lastChannel) return;
  for (const auto& voice : voices) voice->setMIDICC(controller, truncatedInt(v));
}

// In ordinary mode the range depends on the direction, unless one of the two split ranges is switched off by
// 0. Voices that the pedal holds keep their bend.
void ZRDSPInstrument::bendAllInDefaultMode() noexcept {
  const float up = pitchbendRangeUp.value;
  const float down = pitchbendRangeDown.value;
  const bool isSplit = up != 0.0F && down != 0.0F;
  const float range = isSplit ? (bendValue > 0.0F ? up : down) : pitchbendRange.value.load();
  for (const auto& voice : voices) {
    if (sustainedVoices.contains(voice.get())) continue;
    voice->pitchbendRange = static_cast<float>(truncatedInt(range));
    currentBend = bendValue;
    voice->setPitchbend(currentBend);
  }
}

void ZRDSPInstrument::setPitchbend(int channel, int value) noexcept {
  if (isOnForeignChannel(channel)) return;
  bendValue = static_cast<float>(value) / 16384.0F * 2.0F - 1.0F;
  DiagnosticRing::shared().postIntegerReal("%i %f\n", channel, static_cast<double>(bendValue));
  if (!isMPE()) {
    bendAllInDefaultMode();
    return;
  }
  const bool isMember = channel > 0;
  const int managerRange = truncatedInt(pitchbendRange.value);
  if (currentVoiceMode == 0) {
    if (isMember) {
      if (ZRDSPVoice* voice = channelVoices.valueOr(channel, nullptr)) {
        voice->pitchbendRange = mpeBendRange;
        voice->setPitchbend(bendValue);
      }
      return;
    }
    currentBend = bendValue;
    for (const auto& voice : voices) {
      voice->pitchbendRange = static_cast<float>(managerRange);
      voice->setPitchbend(currentBend);
    }
    return;
  }
  if (isMember) {
    for (NoteState& held : noteStack) {
      if (held.channel == channel) held.pitchbend = bendValue;
    }
    if (channel != lastChannel) return;
    for (const auto& voice : voices) {
      voice->pitchbendRange = mpeBendRange;
      voice->setPitchbend(bendValue);
    }
    return;
  }
  currentBend = bendValue;
  for (const auto& voice : voices) {
    voice->pitchbendRange = mpeBendRange;
    voice->addPitchbend(currentBend, managerRange);
  }
}

void ZRDSPInstrument::setChannelPressure(int channel, int value) noexcept {
  if (isOnForeignChannel(channel)) return;
  const float pressure = static_cast<float>(value) * aftertouchAmount.value;
  if (isMPE() && currentVoiceMode == 0) {
    if (ZRDSPVoice* voice = channelVoices.valueOr(channel, nullptr)) voice->setPressure(pressure);
    return;
  }
  if (isMPE() && channel != lastChannel) return;
  for (const auto& voice : voices) voice->setPressure(pressure);
}

void ZRDSPInstrument::setPolyAftertouch(int note, int value) noexcept {
  const float pressure = static_cast<float>(value) * aftertouchAmount.value;
  DiagnosticRing::shared().postReal("poly pressure:%f\n", static_cast<double>(pressure));
  if (currentVoiceMode == 0) {
    if (note < 0) {
      for (const auto& voice : voices) voice->pressure = pressure;
    } else if (ZRDSPVoice* voice = heldNotes.valueOr(note, nullptr)) {
      voice->setPressure(pressure);
    }
    return;
  }
  if (note != lastNote) return;
  for (const auto& voice : voices) voice->setPressure(pressure);
}

}  // namespace morv
