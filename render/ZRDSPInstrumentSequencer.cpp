// The step sequencer: eight steps over four lanes, played on all voices at once. It counts samples, not
// beats, and stands idle until the transport plays and `seqEnabled` is on.

#include <algorithm>
#include <limits>

#include "render/ClockDivisions.h"
#include "render/SafeCast.h"
#include "render/ZRDSPInstrument.h"

namespace morv {
namespace {

enum SeqMode : int { kForward = 0, kBackward = 1, kPendulumOnce = 2, kPendulumTwice = 3, kRandom = 4 };
enum SeqVariation : int { kGate = 0, kPitch = 1, kDirection = 2, kShift = 3 };

// The counters move by this at each call; the timing is right for blocks of this length alone.
constexpr int kFramesPerCall = 256;
constexpr int kRestNote = 36;
constexpr int kUntransposedKey = 24;  // the key that leaves the note where it is
constexpr double kGateShare = 0.95;
constexpr float kTwelfths = 12.0F;
constexpr int kLastStep = SequencerLanes::kSteps - 1;

// Holds at the top: under a tempo of 0 no tick ever takes anything off.
int advanced(int counter) noexcept {
  return counter <= std::numeric_limits<int>::max() - kFramesPerCall ? counter + kFramesPerCall
                                                                     : std::numeric_limits<int>::max();
}

// Starts again at 0 behind the top.
int countedOn(int counter) noexcept { return counter < std::numeric_limits<int>::max() ? counter + 1 : 0; }

}  // namespace

int ZRDSPInstrument::quantized(int note) const noexcept {
  return quantizer != nullptr ? quantizer->quantize(note) : note;
}

void ZRDSPInstrument::runSequencer(double sampleTime) noexcept {
  blockSampleTime = sampleTime;
  // The count is the table's own: the quotient of the two lengths may fall just below the whole number and
  // lose a tick when it is cut.
  const int ticksPerStep = ticksOfDivision(seqClockDivision.intValue());
  const double tickSeconds = tickSecondsAt(static_cast<double>(tempo));
  const double stepSeconds = ticksPerStep == 0 ? 0.0 : tickSeconds * ticksPerStep;
  const double tickSamples = tickSeconds * static_cast<double>(sampleRate);
  const double stepSamples = stepSeconds * static_cast<double>(sampleRate);

  const double gateOff = static_cast<double>(seqGateLength.normalizedValue()) * kGateShare *
                         static_cast<double>(seqGateLengthSamples);
  if (static_cast<double>(seqTickCounter) >= gateOff) {
    for (const auto& voice : voices) voice->setGateWithNoteAndSampleTime(0, kRestNote, 0, 0);
  }

  if (!(static_cast<double>(seqTickCounter) < tickSamples)) {
    seqTickCounter = truncatedInt(static_cast<double>(seqTickCounter) - tickSamples);
    const float rate =
        static_cast<float>(sequencerLanes_.step(SequencerLanes::kRetrigger, seqStep).value) / kTwelfths;
    const int period = std::max(truncatedInt((1.0F - rate) * static_cast<float>(ticksPerStep)), 1);
    const int dice = draw12() + 1;
    if (seqTickInStep % period == 0) playSequencerStep(rate, stepSamples, dice);
    if (static_cast<double>(seqStepCounter) >= stepSamples) {
      seqStepCounter = truncatedInt(static_cast<double>(seqStepCounter) - stepSamples);
      if (quantizer != nullptr) {
        quantizer->setRootNote(seqRoot.intValue());
        quantizer->setScale(static_cast<ZRQuantizerScale>(seqScale.intValue()));
      }
      advanceSequencer();
    }
    seqTickInStep = countedOn(seqTickInStep);
  }
  seqTickCounter = advanced(seqTickCounter);
  seqStepCounter = advanced(seqStepCounter);
}

// A note on this tick: `rate` is the step's retrigger rate, 0 to 1; `dice` 1 to 12.
void ZRDSPInstrument::playSequencerStep(float rate, double stepSamples, int dice) noexcept {
  const SequencerStep& step = sequencerLanes_.step(SequencerLanes::kNote, seqStep);
  const auto chance = static_cast<float>(sequencerLanes_.step(SequencerLanes::kChance, seqStep).value);
  bool isGated = step.gate;
  int note = quantized(seqShift + step.value);
  if (seqKeyTranspose.intValue() != 0) note += lastNote - kUntransposedKey;
  if (chance > static_cast<float>(dice)) varySequencerStep(&isGated, &note);
  if (isGated) {
    seqGateLengthSamples = truncatedInt(static_cast<double>(1.0F - rate) * stepSamples * 0.5);
    for (const auto& voice : voices) voice->setGateWithNoteAndSampleTime(1, note, 0, 0);
  }
  const auto pressed = static_cast<float>(sequencerLanes_.step(SequencerLanes::kPressure, seqStep).value);
  for (const auto& voice : voices) voice->setPressure(pressed / kTwelfths * 127.0F);
}

void ZRDSPInstrument::varySequencerStep(bool* gate, int* note) noexcept {
  switch (seqVariationType.intValue()) {
    case kGate:
      seqShift = 0;
      *gate = random_.integer31() % 2 != 0;
      break;
    case kPitch:
      seqShift = 0;
      *note = quantized(*note + draw12());
      break;
    case kDirection:
      seqShift = 0;
      seqMode = (seqMode.intValue() & 1) == 0 ? 1.0F : 0.0F;
      break;
    case kShift:
      seqShift = draw12();
      *note = quantized(seqShift + *note);
      break;
    default:
      break;
  }
}

void ZRDSPInstrument::advanceSequencer() noexcept {
  const int mode = seqMode.intValue();
  switch (mode) {
    case kForward:
      seqStep = (seqStep + 1) % SequencerLanes::kSteps;
      break;
    case kBackward:
      seqStep = seqStep > 0 ? seqStep - 1 : kLastStep;
      break;
    case kPendulumOnce:
    case kPendulumTwice: {
      // At a turn the end step plays again, or the walk goes on beside it.
      const int inward = mode == kPendulumOnce ? 1 : 0;
      seqStep += seqDirection == 0 ? 1 : -1;
      if (seqStep > kLastStep) {
        seqStep = kLastStep - inward;
        seqDirection = 1;
      } else if (seqStep < 0) {
        seqStep = inward;
        seqDirection = 0;
      }
      break;
    }
    case kRandom:
      seqStep = random_.integer31() % SequencerLanes::kSteps;
      break;
    default:
      break;
  }
  if (seqStep == 0) seqCycle = countedOn(seqCycle);
  seqDisplayStep = seqStep;
  seqLastStepTime = blockSampleTime;
}

void ZRDSPInstrument::resetTimeline(int mode) noexcept {
  arpCounter = 0;
  seqStepCounter = 0;
  seqStep = 0;
  seqDisplayStep = 0;
  seqTickInStep = 0;
  seqCycle = 0;
  seqLastStepTime = timelineSampleTime;
  seqTimelineStart = timelineSampleTime;
  for (const auto& voice : voices) voice->resetTimeline(mode);
}

}  // namespace morv
