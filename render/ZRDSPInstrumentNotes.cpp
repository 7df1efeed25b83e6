// The note allocator: how gates reach a fixed bank of voices in Poly and Unison, in ordinary and MPE mode.

#include <algorithm>

#include "platform/DiagnosticRing.h"
#include "render/ZRDSPInstrument.h"

namespace morv {
namespace {

enum NotePriority : int { kLowestNote = 0, kHighestNote = 1 };
constexpr int kSlideController = 74;

}  // namespace

bool ZRDSPInstrument::isOnForeignChannel(int channel) const noexcept {
  const int wanted = midiChannel.intValue();
  return !isMPE() && wanted >= 0 && channel != wanted;
}

// Number of voices that a Poly search walks; held inside the bank whatever value the parameter was given.
int ZRDSPInstrument::poolSize() const noexcept {
  return std::clamp(truncatedInt(voiceNumber.value), 1, numVoices);
}

float ZRDSPInstrument::drawPan() noexcept {
  const double draw = random_.unit31();
  return static_cast<float>(static_cast<double>(panSpread.value) * (0.5 - draw) * 2.0);
}

ZRDSPVoice* ZRDSPInstrument::voiceForNote(int note, int channel) noexcept {
  if (!isMPE() || channel < 1) return heldNotes.valueOr(note, nullptr);
  return channelVoices.valueOr(channel, nullptr);
}

// While the pedal is down a note-off only remembers its voice. This comes ahead of the channel filter, so
// notes on a foreign channel are caught too.
bool ZRDSPInstrument::catchSustainedNoteOff(int channel, int gate, int note) noexcept {
  if (!sustainHeld || gate != 0) return false;
  ZRDSPVoice* voice = voiceForNote(note, channel);
  // A full list keeps what it has: the voice's first entry is enough to release it.
  if (voice != nullptr && sustainedVoices.size() < sustainedVoices.capacity()) sustainedVoices.append(voice);
  return true;
}

void ZRDSPInstrument::setGateWithNote(int channel, int gate, int note, int velocity) noexcept {
  if (catchSustainedNoteOff(channel, gate, note)) return;
  currentVoiceMode = truncatedInt(voiceMode.value);
  if (isOnForeignChannel(channel) || voices.empty()) return;
  if (currentVoiceMode != 0) {
    note = playUnison(channel, gate, note, velocity);
  } else if (gate != 0) {
    const int found = findPolyVoice();
    startPolyNote(*voices[static_cast<std::size_t>(found)], channel, gate, note, velocity);
  } else if (!heldNotes.empty() || !channelNotes.empty() || !channelVoices.empty()) {
    endPolyNote(voiceForNote(note, channel), channel, note);
  }
  finishNoteEvent(channel, gate, note, -1);
}

void ZRDSPInstrument::setGateWithNote(int /*channel*/, int /*gate*/, int /*note*/, int /*velocity*/,
                                      double /*sampleTime*/) noexcept {}

void ZRDSPInstrument::setGateWithNote(int channel, int gate, int note, int velocity, int voice) noexcept {
  if (catchSustainedNoteOff(channel, gate, note)) return;
  currentVoiceMode = truncatedInt(voiceMode.value);
  if (isOnForeignChannel(channel) || voice < 0 || voice >= numVoices) return;
  ZRDSPVoice& chosen = *voices[static_cast<std::size_t>(voice)];
  if (gate != 0) {
    startPolyNote(chosen, channel, gate, note, velocity);
  } else if (!heldNotes.empty() || !channelNotes.empty() || !channelVoices.empty()) {
    endPolyNote(&chosen, channel, note);
  }
  finishNoteEvent(channel, gate, note, voice);
}

// The next voice whose gate is closed, from `voiceIndex` on. With all of them busy the one behind the start
// of the search is stolen. A voice in its release counts as free.
int ZRDSPInstrument::findPolyVoice() noexcept {
  if (voiceIndex >= numVoices) voiceIndex = 0;
  const int pool = poolSize();
  const int limit = voiceNumber.intValue();
  for (int steps = 0; voices[static_cast<std::size_t>(voiceIndex)]->gate != 0;) {
    voiceIndex = (voiceIndex + 1) % pool;
    if (++steps > limit) {
      const ZRDSPVoice* stolen = voices[static_cast<std::size_t>(voiceIndex)].get();
      sustainedVoices.eraseIf([stolen](const ZRDSPVoice* held) { return held == stolen; });
      break;
    }
  }
  return voiceIndex;
}

void ZRDSPInstrument::startPolyNote(ZRDSPVoice& voice, int channel, int gate, int note,
                                    int velocity) noexcept {
  voice.setPressure(0.0F);
  voice.setMIDICC(kSlideController, 0);
  voice.setPitchbend(currentBend);
  voice.baseFrequency = tuning.value;
  voice.panTarget = drawPan();
  if (arpEnabled.intValue() != 0) {
    noteOrder.append(note);
    if (heldNotes.empty()) arpCounter = arpStepSamples;
  } else {
    voice.setGateWithNoteAndPitchbend(gate, note, velocity, currentBend, channel);
  }
  heldNotes.set(note, &voice);
  channelVoices.set(channel, &voice);
  channelNotes.set(channel, note);
  voiceIndex = (voiceIndex + 1) % poolSize();
  lastNote = note;
}

void ZRDSPInstrument::endPolyNote(ZRDSPVoice* voice, int channel, int note) noexcept {
  if (voice == nullptr) return;
  voice->setGateWithNoteAndPitchbend(0, note, 0, 0.0F, channel);
  channelNotes.erase(channel);
  if (arpEnabled.intValue() == 0) {
    heldNotes.erase(note);
  } else if (arpLatch.intValue() == 0) {
    heldNotes.erase(note);
    noteOrder.dropLast();
    lastReleasedNote = note;
  }
}

// All voices play one note. The stack of held notes and the priority decide which; returns it.
int ZRDSPInstrument::playUnison(int channel, int gate, int note, int velocity) noexcept {
  const bool isOn = gate != 0;
  if (isOn) {
    noteOrder.append(note);
    NoteState state;
    state.note = note;
    state.channel = channel;
    state.velocity = static_cast<float>(velocity);
    noteStack.append(state);
  } else if (arpLatch.intValue() == 0) {
    noteOrder.eraseWalking([note](int held) { return held == note; });
    noteStack.eraseWalking([note](const NoteState& held) { return held.note == note; });
  }
  if (!noteStack.empty()) {
    const int priority = notePriority;
    if (priority == kLowestNote || priority == kHighestNote) {
      noteStack.sort([priority](const NoteState& a, const NoteState& b) {
        return priority == kLowestNote ? a.note < b.note : a.note > b.note;
      });
      note = noteStack.front().note;
      lastChannel = noteStack.front().channel;
    } else {
      lastChannel = noteStack.back().channel;
    }
  }
  for (const auto& voice : voices) {
    if (isOn) {
      startUnisonVoice(*voice, channel, gate, note, velocity);
    } else if (voiceIndex == 1 || noteOrder.empty()) {
      endUnisonVoice(*voice, channel, note);
    } else {
      fallBackUnisonVoice(*voice, channel, note, velocity);
    }
  }
  if (rotateUnisonIndex != 0) {
    voiceIndex = (voiceIndex + 1) % numVoices;
  } else {
    voiceIndex += isOn ? 1 : -1;
  }
  return note;
}

void ZRDSPInstrument::startUnisonVoice(ZRDSPVoice& voice, int channel, int gate, int note,
                                       int velocity) noexcept {
  voice.setPressure(0.0F);
  voice.setMIDICC(kSlideController, 0);
  voice.setPitchbend(currentBend);
  voice.panTarget = drawPan();
  if (arpEnabled.intValue() == 0) {
    if (truncatedInt(legato.value) == 0 || voiceIndex < 1) {
      voice.setGateWithNoteAndSampleTime(0, note, 0, 0);
      voice.setGateWithNoteAndPitchbend(gate, note, velocity, 0.0F, channel);
    } else {
      voice.setNote(note);
    }
  } else if (heldNotes.empty()) {
    arpCounter = arpStepSamples;
  }
  heldNotes.set(note, &voice);
  channelNotes.set(channel, note);
  channelVoices.set(channel, &voice);
  lastNote = note;
}

void ZRDSPInstrument::endUnisonVoice(ZRDSPVoice& voice, int channel, int note) noexcept {
  voice.setGateWithNoteAndSampleTime(0, note, 0, 0);
  channelNotes.erase(channel);
  if (arpLatch.intValue() == 0) {
    heldNotes.erase(note);
    lastReleasedNote = note;
  }
}

// Back to the last note of the stack. Behind a sorted stack that is the highest note under lowest-note
// priority and the lowest under highest-note priority. The new attack takes the release velocity of the note
// that went.
void ZRDSPInstrument::fallBackUnisonVoice(ZRDSPVoice& voice, int channel, int note, int velocity) noexcept {
  if (noteStack.empty()) return;
  const NoteState next = noteStack.back();
  lastChannel = next.channel;
  voice.setPressure(0.0F);
  voice.setMIDICC(kSlideController, 0);
  voice.setPitchbend(next.pitchbend);
  if (legato.intValue() != 0) {
    voice.setNote(next.note);
  } else {
    voice.setGateWithNoteAndSampleTime(0, note, 0, 0);
    voice.setGateWithNoteAndSampleTime(1, next.note, velocity, 0);
  }
  voice.setPitchbend(next.pitchbend);
  voice.setPressure(next.pressure);
  voice.setMIDICC(kSlideController, truncatedInt(next.slide));
  heldNotes.erase(note);
  channelNotes.erase(channel);
}

void ZRDSPInstrument::finishNoteEvent(int channel, int gate, int note, int printedVoice) noexcept {
  voiceIndex = std::max(voiceIndex, 0);
  if (heldNotes.empty()) {
    _allNotesOff();
    heldNotes.clear();
  }
  DiagnosticRing::shared().post("voice#: %i channel:%i gate:%i note:%i\n",
                                printedVoice >= 0 ? printedVoice : voiceIndex, channel, gate, note);
}

void ZRDSPInstrument::setAllNotesOff() noexcept { _request(NoteStateGuard::kAllNotesOff); }

void ZRDSPInstrument::setGate(int gate) noexcept {
  _request(gate != 0 ? NoteStateGuard::kGateOn : NoteStateGuard::kGateOff);
}

void ZRDSPInstrument::_allNotesOff() noexcept {
  for (const auto& voice : voices) voice->setGate(0);
  if (currentVoiceMode == 0) {
    heldNotes.clear();
    if (rotateUnisonIndex == 0) voiceIndex = 0;
  } else {
    voiceIndex = 0;
  }
  noteOrder.clear();
  channelNotes.clear();
}

void ZRDSPInstrument::setSustain(int value) noexcept {
  if (sustainHeld && value == 0) {
    sustainHeld = false;
    // The releases below may steal or end voices; walk what was held when the pedal came up.
    const auto released = sustainedVoices;
    for (const ZRDSPVoice* voice : released) setGateWithNote(voice->sampleTime, 0, voice->note, 0);
    sustainedVoices.clear();
  }
  sustainHeld = value != 0;
}

}  // namespace morv
