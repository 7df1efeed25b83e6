#include "voice/ZRTurboVoice.h"

#include "voice/Smoothing.h"
#include "voice/TurboVoiceParameterTable.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr double kPanMs = 20.0;
constexpr float kFullyOpen = 100.0F;
constexpr float kSlowestLfoHz = 0.0001F;
constexpr int kSampleAndHoldShape = 4;
constexpr float kDriveToneHz = 3500.0F;
constexpr float kDriveToneBandwidthHz = 2000.0F;
constexpr float kDriveToneDb = 12.0F;

float squared(float x) noexcept { return x * x; }

}  // namespace

ZRTurboVoice::ZRTurboVoice(float sampleRateHz, int blockSizeFrames, int firstParameterAddress)
    : ZRDSPVoice(sampleRateHz, blockSizeFrames, firstParameterAddress),
      panSmoothing(smoothingCoefficient(kPanMs, sampleRateHz)) {
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    initParameter(parameter.row, addressCounter++, &(this->*parameter.member));
  }
  makeModules(sampleRateHz, blockSizeFrames);
  makeRows();
  leaveOutUnreadRows();
  noteFrequency = 88.0F;
  gate = 0;
}

ZRTurboVoice::~ZRTurboVoice() = default;

void ZRTurboVoice::makeModules(float sampleRateHz, int blockSizeFrames) {
  int* counter = &addressCounter;
  driveTone = std::make_unique<ZRBiquadFilter>(ZRBiquadType::peaking, 1000.0F, 1, 2, sampleRateHz);
  waveOscillator = std::make_unique<ZRWavetableOscillator>(sampleRateHz, blockSizeFrames,
                                                           ZROscillatorMode::voice, counter);
  filter = std::make_unique<ZRSEMFilter>(sampleRateHz, counter);
  lfo = std::make_unique<ZRVAOscillator>(sampleRateHz, blockSizeFrames, counter, true);
  ampEnvelope = std::make_unique<ZRBasicEnvelope>(sampleRateHz, blockSizeFrames, counter);
  modEnvelope = std::make_unique<ZRBasicEnvelope>(sampleRateHz, blockSizeFrames, counter);
  fadeEnvelope = std::make_unique<ZRBasicEnvelope>(sampleRateHz, blockSizeFrames, counter);
  outputAmp = std::make_unique<ZRVAAmp>(sampleRateHz, counter);
  lfoAmp = std::make_unique<ZRVAAmp>(sampleRateHz, counter);
  sequencer = std::make_unique<ZRSequencer>(sampleRateHz, blockSizeFrames);

  lfo->pulseMode = 0;
  lfo->lfoMode = true;
  lfo->leavesUnreadRight = true;
  lfo->level.defaultValue = 1.0F;
  lfo->level = 1.0F;

  // Each registers its sources as it takes the matrix, so this order numbers them.
  ZRDSPModMatrix* matrix = modMatrix.get();
  waveOscillator->setModMatrix(matrix, false, false);
  filter->setModMatrix(matrix);
  lfo->setModMatrix(matrix, false, false);
  ampEnvelope->setModMatrix(matrix);
  modEnvelope->setModMatrix(matrix);
  fadeEnvelope->setModMatrix(matrix);
  outputAmp->setModMatrix(matrix);
  lfoAmp->setModMatrix(matrix);
  outputAmp->volume.defaultValue = 0.0F;
  outputAmp->volume = 0.0F;  // the envelope's row alone opens it
}

void ZRTurboVoice::makeRows() {
  using Transform = ZRDSPModMatrixTransform;
  const auto row = [this](int source, const ZRDSPParameter& destination, ZRDSPParameter* depth, float amount,
                          Transform transform) {
    return modMatrix->addRow(source, destination.address, depth, amount, static_cast<int>(transform));
  };
  const int lfoOut = lfoAmp->outputSource;
  const int modOut = modEnvelope->modSourceIndex;
  row(waveOscillator->outputSourceLeft, outputAmp->input, nullptr, 0.75F, Transform::plain);
  rowLfoToAmp = row(lfo->outputSourceLeft, lfoAmp->input, nullptr, 1, Transform::toUnipolar);
  rowFadeToLfo = row(fadeEnvelope->modSourceIndex, lfoAmp->volume, nullptr, 1, Transform::plain);
  rowNoteToPitch = row(kSourceNote, waveOscillator->oscFreq, nullptr, 1, Transform::plain);
  row(kSourcePitchWheel, waveOscillator->oscFreq, nullptr, 1, Transform::plain);
  row(kSourceGate, ampEnvelope->envGate, nullptr, 1, Transform::plain);
  row(kSourceGate, modEnvelope->envGate, nullptr, 1, Transform::plain);
  row(kSourceGate, fadeEnvelope->envGate, nullptr, 1, Transform::plain);
  row(kSourceModWheel, filter->filterCutoff, &modwheelFilterFreqAmount, 1, Transform::midiSquare);
  row(kSourceModWheel, filter->filterMode, &modwheelFilterModeAmount, 1, Transform::midiSquare);
  row(kSourceModWheel, lfo->oscFreq, &modwheelLFOFreqAmount, 10, Transform::midiSquare);
  row(kSourceModWheel, lfoAmp->volume, &modwheelLFOAmount, 1, Transform::midiSquare);
  row(kSourceModWheel, outputAmp->max, &modwheelAmpModAmount, 1, Transform::midiSquare);
  rowLfoToPitch = row(lfoOut, waveOscillator->oscCents, &oscLFOModAmount, 100, Transform::plain);
  row(lfoOut, waveOscillator->oscWave, &oscWaveLFOModAmount, 1, Transform::plain);
  row(lfoOut, waveOscillator->oscPulsewidth, &oscPulsewidthLFOModAmount, 0.5F, Transform::plain);
  row(modOut, waveOscillator->oscPulsewidth, &oscEnvModAmount, 0.5F, Transform::plain);
  row(lfoOut, filter->filterCutoff, &filterLFOModAmount, 1, Transform::plain);
  row(lfoOut, filter->filterMode, &filterModeModAmount, 1, Transform::plain);
  row(lfoOut, filter->filterResonance, &filterQLFOAmount, 1, Transform::plain);
  row(modOut, filter->filterCutoff, &filterEnvModAmount, 1, Transform::fourthPower);
  row(modOut, filter->filterMode, &filterModeEnvModAmount, 1, Transform::plain);
  row(kSourceNote, filter->filterCutoff, &filterKeyTrackAmount, 0.0001F, Transform::plain);
  row(ampEnvelope->modSourceIndex, outputAmp->volume, nullptr, 1, Transform::square);
  row(kSourcePressure, waveOscillator->oscWave, &oscShapePressModAmount, 1, Transform::midi);
  row(kSourcePressure, waveOscillator->oscPulsewidth, &oscPWPressModAmount, 1, Transform::midi);
  row(kSourcePressure, oscNoiseLevel, &oscNoisePressModAmount, 1, Transform::midi);
  row(kSourcePressure, oscSubLevel, &oscSubPressModAmount, 1, Transform::midi);
  row(kSourceSlide, waveOscillator->oscWave, &oscShapeSlideModAmount, 1, Transform::midi);
  row(kSourceSlide, waveOscillator->oscPulsewidth, &oscPWSlideModAmount, 1, Transform::midi);
  row(kSourceSlide, oscNoiseLevel, &oscNoiseSlideModAmount, 1, Transform::midi);
  row(kSourceSlide, oscSubLevel, &oscSubSlideModAmount, 1, Transform::midi);
  row(kSourcePressure, filter->filterCutoff, &filterFreqPressModAmount, 1, Transform::midiSquare);
  row(kSourcePressure, filter->filterMode, &filterModePressModAmount, 1, Transform::midi);
  row(kSourceSlide, filter->filterCutoff, &filterFreqSlideModAmount, 1, Transform::midiSquare);
  row(kSourceSlide, filter->filterMode, &filterModeSlideModAmount, 1, Transform::midi);
  row(kSourcePressure, outputAmp->max, &ampPressModAmount, 1, Transform::midi);
  row(kSourceSlide, outputAmp->max, &ampSlideModAmount, 1, Transform::midi);
  row(kSourcePressure, lfo->oscFreq, &lfoFreqPressModAmount, 10, Transform::midi);
  row(kSourceSlide, lfo->oscFreq, &lfoFreqSlideModAmount, 10, Transform::midi);
  row(kSourcePressure, lfoAmp->volume, &lfoAmountPressModAmount, 1, Transform::midi);
  row(kSourceSlide, lfoAmp->volume, &lfoAmountSlideModAmount, 1, Transform::midi);
  row(kSourceSlide, outputDistortion, &outputDistortionSlideModAmount, 1, Transform::midi);
  row(kSourcePressure, outputDistortion, &outputDistortionPressModAmount, 1, Transform::midi);
}

// The envelopes take their gates from the notes, and the output amplifier its input from the filter; what the
// rows bring them nobody reads.
void ZRTurboVoice::leaveOutUnreadRows() {
  for (const ZRDSPParameter* unread :
       {&ampEnvelope->envGate, &modEnvelope->envGate, &fadeEnvelope->envGate, &outputAmp->input}) {
    modMatrix->getMatrixCore()->unread.set(static_cast<std::size_t>(unread->address));
  }
}

void ZRTurboVoice::reset() {}

void ZRTurboVoice::prepare(float sampleRateHz, int blockSizeFrames) {
  wake();
  ZRDSPVoice::prepare(sampleRateHz, blockSizeFrames);
  const std::array<ZRDSPEntity*, 8> modules = {waveOscillator.get(), filter.get(),      lfo.get(),
                                               ampEnvelope.get(),    modEnvelope.get(), fadeEnvelope.get(),
                                               outputAmp.get(),      lfoAmp.get()};
  for (ZRDSPEntity* module : modules) module->sampleRate = sampleRateHz;
}

void ZRTurboVoice::setRandomSeed(std::uint64_t seed) {
  wake();
  lfo->setRandomSeed(Random::derive(seed, 0));
  waveOscillator->setRandomSeed(Random::derive(seed, 1));
}

void ZRTurboVoice::gateEnvelopes(int newGate, int newVelocity) noexcept {
  const auto v = static_cast<float>(newVelocity / 127.0);
  ampEnvelope->setGate(newGate, v);
  modEnvelope->setGate(newGate, v);
  fadeEnvelope->setGate(newGate, 1.0F);
  if (newGate == 0) return;
  isGated_ = asleep_;
  if (lfoKeySync.value == 0.0F) return;
  if (asleep_) {
    lfoRestarts_ = true;
  } else {
    lfo->resetPhase();
  }
}

void ZRTurboVoice::setGateWithNote(int newGate, int newNote, int newVelocity) noexcept {
  ZRDSPVoice::setGateWithNote(newGate, newNote, newVelocity);
  gateEnvelopes(newGate, newVelocity);
}

void ZRTurboVoice::setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity,
                                               float bend) noexcept {
  ZRDSPVoice::setGateWithNoteAndPitchbend(newGate, newNote, newVelocity, bend);
  gateEnvelopes(newGate, newVelocity);
}

void ZRTurboVoice::setGate(int newGate) noexcept {
  gate = newGate;
  if (newGate != 0) isGated_ = asleep_;
  ampEnvelope->setGate(newGate, 1.0F);
  modEnvelope->setGate(newGate, 1.0F);
  fadeEnvelope->setGate(newGate, 1.0F);
}

float ZRTurboVoice::firstDestinationSample(const ZRDSPParameter& parameter) const noexcept {
  return modMatrix->readDestination(parameter.address)[0];
}

// The coefficient is meant per sample and applied per block, so the pan settles slowly.
void ZRTurboVoice::followPan() noexcept {
  smoothedPan = panSmoothing * (smoothedPan - panTarget) + panTarget;
}

// Control work, once per block, also while the voice is silent. Squares give the times their fine control
// near zero: up to 4 s of attack, 6.25 s of decay, 12.25 s and 20.25 s of release.
void ZRTurboVoice::followControls(int frames) noexcept {
  if (blockSize != frames) blockSize = frames;
  followPan();

  // The fade row works only while no other row feeds the LFO amplifier's volume.
  const float fadeIn = lfoFadeIn.value;
  rowFadeToLfo->active = fadeIn != 0.0F && modwheelLFOAmount.value == 0.0F &&
                         lfoAmountPressModAmount.value == 0.0F && lfoAmountSlideModAmount.value == 0.0F;
  lfoAmp->volume = fadeIn == 0.0F ? kFullyOpen : 0.0F;

  ampEnvelope->attack = squared(2.0F * env1Attack.value);
  ampEnvelope->decay = squared(2.5F * env1Decay.value);
  ampEnvelope->sustain = env1Sustain.value;
  ampEnvelope->release = squared(3.5F * env1Release.value);
  ampEnvelope->envVelocity = env1Velocity.value;

  modEnvelope->attack = squared(2.0F * env2Attack.value);
  modEnvelope->decay = squared(2.5F * env2Decay.value);
  modEnvelope->sustain = env2Sustain.value;
  modEnvelope->release = squared(4.5F * env2Release.value);
  modEnvelope->envVelocity = env2Velocity.value;
  modEnvelope->sync = truncatedInt(env2Sync.value) != 0;
  modEnvelope->loop = truncatedInt(env2Loop.value) != 0;

  fadeEnvelope->attack = 0.001F + 5.0F * fadeIn;
  fadeEnvelope->sustain = 1.0F;
  fadeEnvelope->release = ampEnvelope->release;
}

// The LFO's rate by range: slow, a hundred times that, or the pitch of the sub oscillator. With the tempo's
// sync on, the range and the depths of the rows stay as they were.
void ZRTurboVoice::runLfo(int frames, float tempo) noexcept {
  float rate = 0.0F;
  if (lfoBPMSync.intValue() != 0) {
    rate = lfoFreq.normalizedValue();
  } else {
    const int range = lfoRange.intValue();
    if (range == 0) {
      rate = lfoFreq.value;
      rowLfoToPitch->amount = 100.0F;
    } else if (range == 1) {
      rate = 100.0F * lfoFreq.value;
      rowLfoToPitch->amount = 1000.0F;
    } else if (range == 2) {
      const float semitones = -(2.0F - oscSubOctave.value) * 12.0F + oscSubDetune.value;
      rate = waveOscillator->rawFrequency * pitchShift(semitones);
      rowLfoToPitch->amount = 5000.0F;
    }
    if (range >= 0 && range <= 2) rowLfoToAmp->transform = ZRDSPModMatrixTransform::toUnipolar;
    if (lfoShape.intValue() == kSampleAndHoldShape) rowLfoToPitch->amount = 5000.0F;
  }
  if (!(rate > 0.0F)) rate = kSlowestLfoHz;
  lfo->bpmSync = truncatedInt(lfoBPMSync.value) != 0;
  lfo->oscFreq = rate;
  lfo->oscWave = static_cast<float>(truncatedInt(lfoShape.value));
  lfo->runGenerator(frames, tempo);
}

void ZRTurboVoice::runOscillator(int frames, float tempo) noexcept {
  ZRWavetableOscillator& osc = *waveOscillator;
  osc.noteFrequency = noteFrequency;
  osc.oscFreq = detuneOffset;  // the pitch itself comes by the rows of note and bend
  osc.level = oscMainLevel.value;
  osc.noiseLevel = oscNoiseLevel.value + firstDestinationSample(oscNoiseLevel);
  osc.subLevel = oscSubLevel.value + firstDestinationSample(oscSubLevel);
  osc.subOctave = truncatedInt(2.0F - oscSubOctave.value);
  osc.subDetune = oscSubDetune.value;
  osc.subWave = truncatedInt(oscSubWave.value);
  osc.oscPulsewidth = oscPulseWidth.value;
  osc.oscWave = oscWave.value;
  osc.runGenerator(frames, tempo);
}

// Soft exponential limiter, sgn(x)(1 - e^-|x|), behind a gain of up to 21; 0 while there is no drive.
float ZRTurboVoice::driveGain() const noexcept {
  const float drive = outputDistortion.value + firstDestinationSample(outputDistortion);
  return drive > 0.0F ? static_cast<float>(1.0 + static_cast<double>(20.0F * drive)) : 0.0F;
}

// The filter's lane, with the limiter ahead of it and the one behind.
SEMFilterLane ZRTurboVoice::laneFor(float* signal, int frames) noexcept {
  SEMFilterLane lane = filter->laneFor(signal, signal, frames);
  lane.limitsInput = true;
  lane.driveGain = driveGain();
  return lane;
}

// A bell at 3.5 kHz behind the drive.
void ZRTurboVoice::runDriveTone(float* signal, int frames) noexcept {
  if (!(driveGain() > 0.0F)) return;
  driveTone->filterCutoff = kDriveToneHz;
  driveTone->gain = kDriveToneDb * outputDistortionTone.value;
  driveTone->bandwidth = kDriveToneBandwidthHz;
  driveTone->runFilter(signal, nullptr, signal, nullptr, frames);
}

// All voices of a block have one row array, and only the fade row changes on their way.
void ZRTurboVoice::runRows(int frames, SeenRows* rows) noexcept {
  const SeenRows now{modMatrix->getMatrixCore().get(), rowFadeToLfo->active};
  if (now.core == rows->core && now.fadeIsActive == rows->fadeIsActive) {
    modMatrix->runMatrixAsPresent(frames);
  } else {
    modMatrix->runMatrix(frames);
  }
  *rows = now;
}

// Everything ahead of the filter. Returns whether the voice sounds at all.
bool ZRTurboVoice::runSources(int frames, float tempo, SeenRows* rows) noexcept {
  if (asleep_) {
    sleepOn(frames);
    return false;
  }
  ZRDSPVoice::runGenerator(nullptr, nullptr, frames, tempo);
  followControls(frames);
  if (!waveOscillator->holdsPhases()) [[unlikely]]
    mendState(frames);
  if (!active || frames == 0) return false;
  runToFilter(frames, tempo, rows, true);
  return true;
}

// From the LFO to the filter's settings; returns the buffer with what is to be filtered. Envelopes that are
// left out stand as their last block left them.
float* ZRTurboVoice::runToFilter(int frames, float tempo, SeenRows* rows, bool withEnvelopes) noexcept {
  runLfo(frames, tempo);
  runRows(frames, rows);
  if (withEnvelopes) fadeEnvelope->runGenerator(frames, tempo);
  lfoAmp->runAmp(frames, tempo);
  runOscillator(frames, tempo);
  float* signal = modMatrix->sourceBuffer(waveOscillator->outputSourceLeft);
  if (withEnvelopes) modEnvelope->runGenerator(frames, tempo);
  filter->filterCutoff = filterCutoff.value;
  filter->filterResonance = filterResonance.value;
  filter->filterMode = filterMode.value;
  return signal;
}

// Everything behind the filter.
void ZRTurboVoice::runOutput(float* left, float* right, int frames, float tempo) noexcept {
  float* signal = modMatrix->sourceBuffer(waveOscillator->outputSourceLeft);
  ampEnvelope->runGenerator(frames, tempo);
  runDriveTone(signal, frames);
  // One buffer goes in as both inputs, so the amplifier's gain acts on it twice.
  outputAmp->pan = smoothedPan;
  outputAmp->runAmp(signal, signal, left, right, frames, tempo);
  watchForSleep(frames, tempo);
}

void ZRTurboVoice::runGenerator(float* left, float* right, int frames, float tempo) noexcept {
  ZRDSPVoice* self = this;
  runGenerators(&self, 1, left, right, frames, tempo);
}

void ZRTurboVoice::runGenerators(ZRDSPVoice* const* bank, int count, float* left, float* right, int frames,
                                 float tempo) noexcept {
  std::array<ZRTurboVoice*, VoiceKernels::kLanes> sounding{};
  std::array<SEMFilterLane, VoiceKernels::kLanes> lanes{};
  wakeStirred(bank, count, frames, tempo);
  SeenRows rows;
  for (int next = 0; next < count;) {
    int lane = 0;
    for (; next < count && lane < VoiceKernels::kLanes; ++next) {
      auto* voice = static_cast<ZRTurboVoice*>(bank[next]);
      if (!voice->runSources(frames, tempo, &rows)) continue;
      const auto at = static_cast<std::size_t>(lane++);
      float* signal = voice->modMatrix->sourceBuffer(voice->waveOscillator->outputSourceLeft);
      sounding[at] = voice;
      lanes[at] = voice->laneFor(signal, frames);
    }
    if (lane == 0) continue;
    voiceKernels().semFilterBank(lanes.data(), lane, frames);
    for (int i = 0; i < lane; ++i)
      sounding[static_cast<std::size_t>(i)]->runOutput(left, right, frames, tempo);
  }
}

}  // namespace morv
