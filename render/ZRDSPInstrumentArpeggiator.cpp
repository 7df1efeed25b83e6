// The arpeggiator: while it is on, the note path only keeps which notes are held and which voice each got,
// and this plays them in turn.

#include <algorithm>
#include <cmath>

#include "platform/DiagnosticRing.h"
#include "render/ClockDivisions.h"
#include "render/SafeCast.h"
#include "render/ZRDSPInstrument.h"

namespace morv {
namespace {

enum ArpMode : int { kUp = 0, kDown = 1, kUpDown = 2, kRandom = 3, kSequence = 4 };

constexpr int kArpVelocity = 127;  // the played velocity is dropped
constexpr double kGateShare = 0.95;
// Keeps the length of a pattern inside an int whatever value the parameter was given.
constexpr int kMostOctaves = 1024;

void postOutOfRange() noexcept { DiagnosticRing::shared().post("\nout of range\n"); }

}  // namespace

void ZRDSPInstrument::_arpLatch() noexcept {}

void ZRDSPInstrument::arpUnlatch() noexcept { setAllNotesOff(); }

void ZRDSPInstrument::doArp(int frames, int wholeTempo) noexcept {
  const int ticks = ticksOfDivision(arpClockDivision.intValue());
  const double stepSeconds = ticks == 0 ? 0.0 : tickSecondsAt(static_cast<double>(wholeTempo)) * ticks;
  const auto stepSamples = static_cast<float>(stepSeconds * static_cast<double>(sampleRate));
  const auto gateOffSamples = static_cast<float>(static_cast<double>(arpGateLength.normalizedValue()) *
                                                 kGateShare * static_cast<double>(stepSamples));
  arpStepSamples = stepSamples;
  const int octaves = std::clamp(arpRange.intValue(), 0, kMostOctaves - 1) + 1;
  const HeldNotes held = heldNotes;

  if (arpCounter < stepSamples) {
    if (arpCounter >= gateOffSamples) restVoices(held);
  } else {
    arpCounter -= stepSamples;
    // A count that came from a step without end starts the step it was meant to start, and then anew.
    if (!std::isfinite(arpCounter)) arpCounter = 0.0F;
    countArpStep(octaves);
    if (!heldNotes.empty()) {
      orderArpNotes(held);
      playArpNote(held);
    }
  }
  arpCounter += static_cast<float>(frames);
}

bool ZRDSPInstrument::isArpIndexInRange() const noexcept {
  return arpIndex >= 0 && arpIndex < static_cast<int>(arpNotes.size());
}

// Sent again in every block until the step ends.
void ZRDSPInstrument::restVoices(const HeldNotes& held) noexcept {
  const std::size_t position = isArpIndexInRange() ? static_cast<std::size_t>(arpIndex) : 0;
  const int note = arpNotes.empty() ? 0 : arpNotes[position];
  if (currentVoiceMode != 0) {
    for (const auto& voice : voices) voice->setGateWithNoteAndSampleTime(0, note, 0, 0);
  } else if (!held.empty()) {
    if (ZRDSPVoice* voice = held.valueOr(note, nullptr)) {
      voice->setGateWithNoteAndSampleTime(0, note, 0, 0);
    } else {
      postOutOfRange();
    }
  }
}

// With `arpGoingUp` clear, as in every mode but up and down, the octave runs 1, 0, -1, ... and comes back to
// 0 at the negative of `octaves`: the remainder has the sign of the dividend.
void ZRDSPInstrument::countArpStep(int octaves) noexcept {
  if (arpNotes.empty()) return;
  const int size = static_cast<int>(arpNotes.size());
  arpIndex = (arpIndex + 1) % size;
  arpCycle = (arpCycle + 1) % (size * octaves);
  if (arpIndex == 0) arpOctave = (arpOctave + (arpGoingUp != 0 ? 1 : -1)) % octaves;
}

void ZRDSPInstrument::orderArpNotes(const HeldNotes& held) noexcept {
  const int mode = arpMode.intValue();
  const auto takeKeys = [&](bool isAscending) {
    arpNotes.clear();
    held.forEach([this](int note, ZRDSPVoice* /*voice*/) { arpNotes.append(note); });
    if (!isAscending) std::reverse(arpNotes.begin(), arpNotes.end());
  };
  switch (mode) {
    case kUp:
      takeKeys(true);
      break;
    case kDown:
      takeKeys(false);
      break;
    case kUpDown:
      if (arpCycle != 0) break;
      takeKeys(arpGoingUp == 0);
      arpGoingUp = arpGoingUp == 0 ? 1 : 0;
      break;
    case kRandom:
      takeKeys(true);
      arpIndex = random_.integer31() % held.size();
      break;
    case kSequence:
      arpNotes = noteOrder;
      break;
    default:
      break;
  }
}

// The voice is found by the held note; what sounds is that note moved by the octave, which may leave the
// range of MIDI notes.
void ZRDSPInstrument::playArpNote(const HeldNotes& held) noexcept {
  if (arpNotes.empty()) {
    postOutOfRange();
    return;
  }
  const int note = arpNotes[isArpIndexInRange() ? static_cast<std::size_t>(arpIndex) : 0];
  const int sounding = note + kSemitonesPerOctave * arpOctave;
  if (currentVoiceMode != 0) {
    for (const auto& voice : voices) {
      voice->panTarget = drawPan();
      voice->setGateWithNoteAndSampleTime(1, sounding, kArpVelocity, 0);
    }
    return;
  }
  ZRDSPVoice* voice = held.valueOr(note, nullptr);
  if (voice == nullptr) {
    postOutOfRange();
    return;
  }
  voice->panTarget = drawPan();
  voice->setGateWithNoteAndSampleTime(1, sounding, kArpVelocity, static_cast<double>(arpStepSamples));
  DiagnosticRing::shared().postIntegersWord("[ARP] %i tick note: %i - Direction: %s\n", arpIndex, note,
                                            arpGoingUp != 0 ? "Up" : "Down");
}

}  // namespace morv
