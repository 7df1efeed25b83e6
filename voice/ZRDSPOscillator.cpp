#include "voice/ZRDSPOscillator.h"

#include <algorithm>
#include <array>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/Uniform.h"

namespace morv {
namespace {

constexpr std::array<const char*, 5> kWaveNames = {"Sin", "Saw", "Squ", "Tri", "Noise"};

using Unit = ZRDSPParameterUnit;
constexpr std::array<ParameterRow, 9> kRows = {{
    {"oscFreq", "OSC Frequency", 25, 10000, 110, Unit::hertz, {}, kExponentialDisplayFlags},
    {"oscOctave", "OSC Octave", -3, 3, 0, Unit::octaves},
    {"oscSemitones", "OSC Semitones", -12, 12, 0, Unit::relativeSemitones},
    {"oscCents", "OSC Cents", -100, 100, 0, Unit::cents},
    {"oscWave", "OSC Wave", 0, 4, 0, Unit::indexed, kWaveNames},
    {"oscPulsewidth", "OSC Pulsewidth", 0, 1, 0.5F},
    {"level", "Level", 0, 1, 0.5F},
    {"sync", "Sync", 0, 1, 0},
    {"oscPhaseModulation", "OSC PM", 0, 1, 0},
}};
static_assert(std::ranges::all_of(kRows, [](const ParameterRow& row) {
  return row.minValue <= row.defaultValue && row.defaultValue <= row.maxValue;
}));

}  // namespace

ZRDSPOscillator::ZRDSPOscillator(float sampleRateHz, int* addressCounter)
    : ZRDSPEntity(sampleRateHz, *addressCounter) {
  const std::array<ZRDSPParameter*, kRows.size()> records = {&oscFreq,  &oscOctave, &oscSemitones,
                                                             &oscCents, &oscWave,   &oscPulsewidth,
                                                             &level,    &sync,      &oscPhaseModulation};
  for (std::size_t i = 0; i < kRows.size(); ++i) initParameter(kRows[i], (*addressCounter)++, records[i]);
  isModSource = true;
}

void ZRDSPOscillator::setModMatrix(ZRDSPModMatrix* matrix, bool isGlobal) {
  setModMatrix(matrix, isGlobal, false);
}

void ZRDSPOscillator::setModMatrix(ZRDSPModMatrix* matrix, bool isGlobal, bool isPublic) {
  modMatrix = matrix;
  outputSourceLeft = matrix->registerSource(this, isGlobal, isPublic, "");
  outputSourceRight = matrix->registerSource(this, isGlobal, isPublic, "");
  modSourceIndex = outputSourceLeft;
  numModOutputs = 1;
  modOutputSources = {outputSourceLeft};
  isPublicModSource = isPublic;
}

void ZRDSPOscillator::runGenerator(float* /*left*/, float* /*right*/, int /*frames*/,
                                   float /*tempo*/) noexcept {}

void ZRDSPOscillator::runGenerator(int frames, float tempo) noexcept {
  if (modMatrix == nullptr) return;
  float* left = modMatrix->sourceBuffer(outputSourceLeft);
  float* right = modMatrix->sourceBuffer(outputSourceRight);
  if (left == nullptr || right == nullptr) return;
  runGenerator(left, right, frames, tempo);
}

const float* ZRDSPOscillator::destinationOf(const ZRDSPParameter& parameter) const noexcept {
  return modMatrix != nullptr ? modMatrix->readDestination(parameter.address) : nullptr;
}

bool ZRDSPOscillator::holdsStill(const ZRDSPParameter& parameter, int frames) const noexcept {
  return modMatrix == nullptr || modMatrix->isClear(parameter.address) ||
         modMatrix->isHeld(parameter.address, frames) ||
         isUniform(modMatrix->readDestination(parameter.address), frames);
}

float ZRDSPOscillator::firstDestinationSampleOf(const ZRDSPParameter& parameter) const noexcept {
  const float* destination = destinationOf(parameter);
  return destination != nullptr ? destination[0] : 0.0F;
}

}  // namespace morv
