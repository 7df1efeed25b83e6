#include "render/ZRDSPInstrument.h"

#include <algorithm>

#include "render/InstrumentParameterTable.h"

namespace morv {

ZRDSPInstrument::ZRDSPInstrument(float sampleRateHz)
    : ZRDSPEntity(sampleRateHz), modMatrix(ZRDSPModMatrix::initSingleton()) {}

ZRDSPInstrument::~ZRDSPInstrument() = default;

void ZRDSPInstrument::_beginInit(int numberOfVoices, float sampleRateHz, int blockSizeFrames,
                                 unsigned flags) {
  blockSize = blockSizeFrames;
  if (modMatrix == nullptr) modMatrix = ZRDSPModMatrix::sharedMatrix();
  sampleRate = sampleRateHz;
  numVoices = numberOfVoices;
  defaultsToMPE = (flags & kInstrumentGlideAndMPE) != 0;
  voices.reserve(static_cast<std::size_t>(std::max(numberOfVoices, 0)));
}

void ZRDSPInstrument::_addVoice(std::unique_ptr<ZRDSPVoice> voice) {
  voice->pitchbendRange = defaultsToMPE ? 48.0F : 2.0F;
  if (voiceCallbackContext != nullptr && voiceCallback != nullptr) {
    voice->voiceCallback = voiceCallback;
    voice->voiceCallbackContext = voiceCallbackContext;
  }
  bank_.push_back(voice.get());
  voices.push_back(std::move(voice));
}

void ZRDSPInstrument::_finishInit(unsigned flags) {
  if ((flags & kInstrumentSequencer) != 0) quantizer = std::make_unique<ZRDSPMIDIQuantizer>();
  sustainHeld = false;
  voiceIndex = 0;
  channelNotes.clear();
  heldNotes.clear();
  noteOrder.clear();
  _initGlobalParameters(flags);
  outputDistortion.flags = kExponentialDisplayFlags;
  outputFilter = std::make_unique<ZRBiquadFilter>(ZRBiquadType::peaking, 1000.0F, 1, 2, sampleRate * 8.0F);
  setRandomSeed(1);
}

void ZRDSPInstrument::_initGlobalParameters(unsigned flags) {
  for (const InstrumentParameterRow& global : kInstrumentParameters) {
    ParameterRow row = global.row;
    if (global.member == &ZRDSPInstrument::midiMode) row.defaultValue = defaultsToMPE ? 1.0F : 0.0F;
    if (global.member == &ZRDSPInstrument::voiceNumber) {
      row.maxValue = static_cast<float>(numVoices);
      row.defaultValue = row.maxValue;
    }
    initParameter(row, -1, &(this->*global.member), global.flagBit == 0 || (flags & global.flagBit) != 0);
  }
}

void ZRDSPInstrument::_addEffect(std::unique_ptr<ZRDSPEffect> effect, int routing) {
  effectRouting = static_cast<ZRDSPInstrumentEffectRouting>(routing);
  effect->bypass = 1.0F;
  effects.push_back(std::move(effect));
  if (effectRouting != ZRDSPInstrumentEffectRouting::send) return;
  ZRDSPEffect* added = effects.back().get();
  added->mix = 100.0F;
  auto send = std::make_unique<ZRDSPParameter>();
  initParameter(added->name + "Send", "Send", -1, 0, 1, {}, ZRDSPParameterUnit::generic, 0, send.get());
  sendParameters[added] = std::move(send);
}

std::vector<ZRDSPParameter*> ZRDSPInstrument::parameters() {
  std::vector<ZRDSPParameter*> list;
  if (!voices.empty()) list = voices.front()->parameters();
  const std::vector<ZRDSPParameter*> own = ZRDSPEntity::parameters();
  list.insert(list.end(), own.begin(), own.end());
  return list;
}

int ZRDSPInstrument::addressForIdentifier(const std::string& wanted) {
  const int own = ZRDSPEntity::addressForIdentifier(wanted);
  return own != 0 || voices.empty() ? own : voices.front()->addressForIdentifier(wanted);
}

ZRDSPParameter* ZRDSPInstrument::parameterForAddress(int /*address*/) { return nullptr; }

float ZRDSPInstrument::parameterValueForAddress(int address) noexcept {
  if (const ZRDSPParameter* own = listedParameter(address)) return own->value;
  if (voices.empty()) return 0.0F;
  const ZRDSPParameter* voiceParameter = voices.front()->listedParameter(address);
  return voiceParameter != nullptr ? voiceParameter->value.load() : 0.0F;
}

void ZRDSPInstrument::setParameterValueForAddress(int address, float value) noexcept {
  if (address == voiceMode.address) {
    if (value < voiceMode.maxValue) voiceMode.value = value;
    setAllNotesOff();
  } else if (address == arpEnabled.address && value == 0.0F) {
    _request(NoteStateGuard::kClearNotes | NoteStateGuard::kAllNotesOff);
  } else if (address == voiceNumber.address) {
    value = std::min(value, voiceNumber.maxValue);
  }
  if (listedParameter(address) != nullptr) {
    ZRDSPEntity::setParameterValueForAddress(address, value);
    return;
  }
  for (const auto& voice : voices) voice->setParameterValueForAddress(address, value);
}

void ZRDSPInstrument::clearBuffers() {
  for (const auto& effect : effects) effect->reset();
}

ZRDSPModMatrix* ZRDSPInstrument::getModMatrix(int voice) const {
  return voices.at(static_cast<std::size_t>(voice))->modMatrix.get();
}

void ZRDSPInstrument::setRandomSeed(std::uint64_t seed) {
  random_.reseed(Random::derive(seed, 0));
  std::uint64_t owner = 1;
  for (const auto& voice : voices) voice->setRandomSeed(Random::derive(seed, owner++));
  for (const auto& effect : effects) effect->setRandomSeed(Random::derive(seed, owner++));
}

void ZRDSPInstrument::beginBlock() noexcept {
  noteStateGuard_.beginBlock([this](std::uint32_t bits) { _carryOut(bits); });
}

void ZRDSPInstrument::endBlock() noexcept { noteStateGuard_.endBlock(); }

void ZRDSPInstrument::_request(std::uint32_t bits) noexcept {
  noteStateGuard_.request(bits, [this](std::uint32_t taken) { _carryOut(taken); });
}

void ZRDSPInstrument::_carryOut(std::uint32_t bits) noexcept {
  if ((bits & NoteStateGuard::kClearNotes) != 0) {
    heldNotes.clear();
    channelNotes.clear();
    noteOrder.clear();
  }
  if ((bits & NoteStateGuard::kAllNotesOff) != 0) _allNotesOff();
  const int gates = NoteStateGuard::kGateOff | NoteStateGuard::kGateOn;
  if ((bits & gates) != 0 && !voices.empty()) {
    voices.front()->setGate((bits & NoteStateGuard::kGateOn) != 0 ? 1 : 0);
  }
}

}  // namespace morv
