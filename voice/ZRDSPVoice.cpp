#include "voice/ZRDSPVoice.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "render/BlockLimits.h"
#include "render/SafeCast.h"
#include "voice/Smoothing.h"

namespace morv {
namespace {

constexpr ParameterRow kPortamentoRow{
    "portamentoTime", "Portamento", 0, 1, 0, ZRDSPParameterUnit::generic, {}, kExponentialDisplayFlags};

constexpr double kFastMs = 25.5;    // pressure, slide
constexpr double kMediumMs = 35.0;  // bend, gate
constexpr double kSlowMs = 65.0;    // velocity
constexpr int kFirstRoutingAddress = 512;
constexpr float kGreatestGlideHz = 1.0e30F;  // times all factors of pitch still a float

const double kSemitone = std::pow(2.0, 1.0 / 12.0);

// Makes a source y = c (y - target) + target, sample by sample, and returns the last y. Once a step leaves y
// where it was, all later steps do too, and the rest is a fill.
float follow(ZRDSPModMatrix& matrix, int source, int frames, float y, float target, float c) noexcept {
  if (frames <= 0) return y;
  float next = c * (y - target) + target;
  if (next == y) {
    matrix.holdSource(source, y, frames);
    return y;
  }
  float* out = matrix.sourceBuffer(source);
  for (int i = 0; i < frames; ++i) {
    if (next == y) {
      std::fill(out + i, out + frames, y);
      return y;
    }
    y = next;
    out[i] = y;
    next = c * (y - target) + target;
  }
  return y;
}

}  // namespace

ZRDSPVoice::ZRDSPVoice(float sampleRateHz, int blockSizeFrames, int firstParameterAddress)
    : ZRDSPEntity(sampleRateHz, firstParameterAddress),
      modMatrix(std::make_unique<ZRDSPModMatrix>(blockSizeFrames)),
      addressCounter(firstParameterAddress),
      inverseSampleRate(1.0F / sampleRateHz),
      fastSmoothing(smoothingCoefficient(kFastMs, sampleRateHz)),
      mediumSmoothing(smoothingCoefficient(kMediumMs, sampleRateHz)),
      slowSmoothing(smoothingCoefficient(kSlowMs, sampleRateHz)) {
  sampleRate = 44100.0F;  // until `prepare` tells the host's rate
  blockSize = blockSizeFrames;
  modMatrix->setMatrixCore(ZRDSPModMatrix::sharedMatrix()->getMatrixCore());
  initParameter(kPortamentoRow, addressCounter++, &portamentoTime);
}

ZRDSPVoice::~ZRDSPVoice() = default;

void ZRDSPVoice::resetTimeline(int /*mode*/) noexcept {}

void ZRDSPVoice::prepare(float sampleRateHz, int blockSizeFrames) {
  sampleRate = sampleRateHz;
  blockSize = blockSizeFrames;
}

void ZRDSPVoice::makeModRouting(const std::string& sourceName, int source, const std::string& /*sourceLabel*/,
                                const std::string& destinationName, int destination,
                                const std::string& /*destinationLabel*/, int address, int amount,
                                int transform) {
  routingDepths_.push_back(std::make_unique<ZRDSPParameter>());
  ZRDSPParameter* depth = routingDepths_.back().get();
  initParameter(std::to_string(source) + " > " + std::to_string(destination),
                sourceName + " > " + destinationName, address, -1, 1, {}, ZRDSPParameterUnit::generic, 0,
                depth);
  modMatrix->addRow(source, destination, depth, static_cast<float>(amount), transform);
}

void ZRDSPVoice::makeModRouting(const std::string& sourceName, int source, const std::string& /*sourceLabel*/,
                                const std::string& destinationName, int destination,
                                const std::string& /*destinationLabel*/, ZRDSPParameterFlags flags,
                                int address, int amount, int transform, bool isGlobal) {
  routingDepths_.push_back(std::make_unique<ZRDSPParameter>());
  ZRDSPParameter* depth = routingDepths_.back().get();
  initParameter(std::to_string(source) + " > " + std::to_string(destination),
                sourceName + " > " + destinationName, address, -1, 1, {}, ZRDSPParameterUnit::generic, 0,
                depth);
  depth->flags = flags;
  modMatrix->addRow(depth->identifier, sourceName, source, destinationName, destination, depth,
                    static_cast<float>(amount), transform, isGlobal);
}

void ZRDSPVoice::addModRoutingsForGlobalSources(const std::vector<ZRDSPEntity*>& entities) {
  static constexpr std::array<const char*, 6> kLetters = {"A", "B", "C", "D", "E", "F"};
  int address = kFirstRoutingAddress;
  const auto route = [&](const std::string& sourceName, int source, const ZRDSPParameter& p, int transform) {
    const float amount = p.identifier == "filterCutoff" ? 1.0F : p.maxValue;
    makeModRouting(sourceName, source, "", p.name, p.address, "", p.flags, address++, truncatedInt(amount),
                   transform, true);
  };
  for (const ZRDSPEntity* entity : entities) {
    if (entity->numModOutputs > 1) {
      for (std::size_t i = 0; i < entity->modOutputSources.size(); ++i) {
        const int source = entity->modOutputSources[i];
        for (const ZRDSPParameter* p : modDestinations) {
          if (entity->isBipolarModSource) {
            route(entity->name + " " + kLetters[std::min(i, kLetters.size() - 1)], source, *p, 0);
          }
          route(entity->name + std::to_string(i), source, *p, 0);
        }
      }
    }
    for (const ZRDSPParameter* p : modDestinations) {
      route(entity->name, entity->modSourceIndex, *p, entity->isBipolarModSource ? 2 : 0);
    }
  }
}

float ZRDSPVoice::frequencyForNote(int midiNote) noexcept {
  return static_cast<float>(220.0 * std::pow(kSemitone, 3.0) * std::pow(0.5, 5.0) *
                            std::pow(kSemitone, static_cast<double>(midiNote)));
}

void ZRDSPVoice::setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity,
                                              double time) noexcept {
  setGateWithNoteAndSampleTime(newGate, newNote, newVelocity, truncatedInt(time));
}

void ZRDSPVoice::setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity, int time,
                                              int /*ignored*/) noexcept {
  setGateWithNoteAndSampleTime(newGate, newNote, newVelocity, time);
}

void ZRDSPVoice::setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity,
                                              int /*time*/) noexcept {
  setGateWithNote(newGate, newNote, newVelocity);
}

void ZRDSPVoice::setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity, float bend,
                                             int newSampleTime) noexcept {
  sampleTime = newSampleTime;
  setGateWithNoteAndPitchbend(newGate, newNote, newVelocity, bend);
}

void ZRDSPVoice::setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity, float bend) noexcept {
  if (newGate != 0) {
    noteStarted = true;
    noteFrequency = frequencyForNote(newNote);
    note = newNote;
    velocity = static_cast<float>(newVelocity);
    setPitchbend(bend);
  } else {
    glideStartFrequency = noteFrequency;
    glidePhase = 0;
  }
  gate = newGate;
}

void ZRDSPVoice::setGateWithNote(int newGate, int newNote, int newVelocity) noexcept {
  if (newGate != 0) {
    noteStarted = true;
    pitchbendDelta = 0;
    smoothedPitchbend = 0;
    noteFrequency = frequencyForNote(newNote);
    note = newNote;
    velocity = static_cast<float>(newVelocity);
  } else {
    glideStartFrequency = frequencyForNote(note);
    glidePhase = 0;
  }
  gate = newGate;
}

void ZRDSPVoice::setNote(int newNote) noexcept {
  noteStarted = true;
  glideStartFrequency = noteFrequency;
  noteFrequency = frequencyForNote(newNote);
  note = newNote;
  glidePhase = 0;
}

// Difference in Hz between the note and the note moved by so many semitones, rounded up to a whole number.
float ZRDSPVoice::bendInHz(float semitones) const noexcept {
  const double f = noteFrequency;
  return std::ceil(static_cast<float>(f * std::pow(kSemitone, static_cast<double>(semitones)) - f));
}

void ZRDSPVoice::setPitchbend(float bend) noexcept { pitchbendDelta = bendInHz(bend * pitchbendRange); }

void ZRDSPVoice::addPitchbend(float amount, int scale) noexcept {
  addedPitchbend = bendInHz(amount * static_cast<float>(scale));
}

void ZRDSPVoice::setPressure(float newPressure) noexcept { pressure = newPressure; }

void ZRDSPVoice::setMIDICC(int controller, int value) noexcept {
  if (controller == 1) {
    modWheelValue = static_cast<float>(value);
    modMatrix->holdSource(kSourceModWheel, modWheelValue, std::min(blockSize, kMaxBlockFrames));
  } else if (controller == 74) {
    slide = static_cast<float>(value);
  }
}

// The portamento is linear in pitch and takes `portamentoTime` seconds whatever the interval:
// f = start 2^(phase s / 12), with s the interval in semitones. Its last step lies beyond the note by what is
// left of it; if the time is shorter than a sample, up to a pitch that is only just a number, so that all
// that follows the pitch stays one.
void ZRDSPVoice::fillNoteSource(int frames) noexcept {
  const float time = portamentoTime.value;
  if (!(time > 0.0F) || glideStartFrequency == noteFrequency) {
    glidePhase = 0;
    modMatrix->holdSource(kSourceNote, noteFrequency, frames);
    return;
  }
  float* out = modMatrix->sourceBuffer(kSourceNote);
  const double start = glideStartFrequency;
  const double interval = static_cast<float>(
      12.0 * std::log2(static_cast<double>(noteFrequency) / static_cast<double>(glideStartFrequency)));
  const auto frequencyAt = [&](float phase) {
    const auto f = static_cast<float>(start * std::exp2(static_cast<double>(phase) * interval / 12.0));
    return std::isnan(f) ? 220.0F : std::min(f, kGreatestGlideHz);
  };
  const float step = (1000.0F * inverseSampleRate) / (1000.0F * time);
  float phase = glidePhase;
  int i = 0;
  for (; i < frames && phase < 1.0F; ++i) {
    phase += step;
    out[i] = frequencyAt(phase);
  }
  if (i < frames) {
    phase = 1.0F;
    std::fill(out + i, out + frames, frequencyAt(phase));
  }
  glidePhase = phase;
}

void ZRDSPVoice::runGenerator(float* /*left*/, float* /*right*/, int frames, float /*tempo*/) noexcept {
  if (noteStarted) {
    active = true;
    noteStarted = false;
  }
  ZRDSPModMatrix& matrix = *modMatrix;
  smoothedPressure = follow(matrix, kSourcePressure, frames, smoothedPressure, pressure, fastSmoothing);
  smoothedPitchbend = follow(matrix, kSourcePitchWheel, frames, smoothedPitchbend,
                             pitchbendDelta + addedPitchbend, mediumSmoothing);
  smoothedSlide = follow(matrix, kSourceSlide, frames, smoothedSlide, slide, fastSmoothing);
  smoothedGate = follow(matrix, kSourceGate, frames, smoothedGate, static_cast<float>(gate), mediumSmoothing);
  smoothedVelocity = follow(matrix, kSourceVelocity, frames, smoothedVelocity, velocity, slowSmoothing);
  fillNoteSource(frames);
  matrix.holdSource(kSourceModWheel, modWheelValue, frames);
}

void ZRDSPVoice::runGenerators(ZRDSPVoice* const* bank, int count, float* left, float* right, int frames,
                               float tempo) noexcept {
  for (int i = 0; i < count; ++i) bank[i]->runGenerator(left, right, frames, tempo);
}

void ZRDSPVoice::setRandomSeed(std::uint64_t /*seed*/) {}

}  // namespace morv
