#include "unit/ZQ3Unit.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <new>

#include "platform/ScopedFlushDenormals.h"
#include "unit/RenderCallbacks.h"
#include "unit/ZRMidiMapper.h"

namespace morv {
namespace {

constexpr double kInitialSampleRateHz = 44100.0;
constexpr std::uint32_t kChannels = 2;
constexpr int kInitialMaximumFrames = 1024;
constexpr int kVoices = 8;
constexpr double kDefaultMPEBendRange = 48.0;  // semitones

// The one effect parameter, by address, that takes no value but 0.
constexpr AUParameterAddress kAddressHeldAtZero = 896;

constexpr AudioComponentDescription kDescription = {fourCharacterCode("aumu"), fourCharacterCode("morv"),
                                                    fourCharacterCode("MORV")};

constexpr const char* kInitializing = "Initializing Audio Component: MORV";
constexpr const char* kParameterTree = "parameterTree";
constexpr const char* kManufacturer = "manufacturer";
constexpr const char* kDidInitAUPrefs = "didInitAUPrefs";
constexpr const char* kMidiMode = "midiMode";
constexpr const char* kMidiNotePriority = "midiNotePriority";
constexpr const char* kMidiMPEBendRange = "midiMPEBendRange";

}  // namespace

ZQ3Unit::ZQ3Unit(const AudioUnitServices& services, std::optional<std::uint32_t> firstAddress,
                 Stage stage) try
    : ZRAudioUnit(services, kDescription) {
  stage = Stage::engine;
  log(kInitializing);
  const AVAudioFormat format{kInitialSampleRateHz, kChannels};
  firstAddress_ = _kernel.init(static_cast<int>(format.channelCount), format.sampleRate,
                               kInitialMaximumFrames, kVoices, firstAddress);
  _kernel.owner = static_cast<ZRAudioUnit*>(this);
  _kernel.programChangeCallback = programChange;
  _kernel.midiMonitorBlock = midiMonitorBlock();
  _outputBuffer.init(format, kChannels);
  outputBusArray_ = std::make_unique<AUAudioUnitBusArray>(AUAudioUnitBusType::output,
                                                          std::vector<AUAudioUnitBus*>{outputBus()});
  buildParameterTree();
  setMaximumFramesToRender(kInitialMaximumFrames);
  musicalContextBlock = nullptr;
  _initPrefsIfNecesarry();
} catch (const std::exception&) {
  // Goes on to the caller behind this.
  if (services.log) {
    if (stage == Stage::base) services.log(kInitializing);
    services.log("[ERROR] Unable to init Audio Unit Component: MORV");
  }
}

std::unique_ptr<ZQ3Unit> ZQ3Unit::initWithComponentDescription(
    const AudioComponentDescription& /*description*/, std::uint32_t /*options*/,
    const AudioUnitServices& services, std::string* error) {
  try {
    return std::make_unique<ZQ3Unit>(services);
  } catch (const std::exception& failure) {
    if (error != nullptr) *error = failure.what();
    return nullptr;
  }
}

void ZQ3Unit::buildParameterTree() {
  keyValueObservers().willChangeValueForKey(kParameterTree);
  setParameterTree(ZQ3Unit::generateParameterTree());
  keyValueObservers().didChangeValueForKey(kParameterTree);
  handTreeToMapper();
  outputVolumeParameter_ = parameterTree()->parameterForKeyPath("morv.volume");
}

ZQ3Unit::~ZQ3Unit() = default;

void ZQ3Unit::_initPrefsIfNecesarry() {
  SettingsStore& standard = standardDefaults();
  if (standard.boolForKey(kDidInitAUPrefs)) return;
  standard.setBool(kMidiMode, true);
  standard.setBool(kDidInitAUPrefs, true);
  standard.setInteger(kMidiNotePriority, 0);
  synchronize(standard);
  defaults().setDouble(kMidiMPEBendRange, kDefaultMPEBendRange);
  synchronize(defaults());
}

void ZQ3Unit::prefsChanged() {
  // A missing range is 0 until the notice of its default; one that is no finite number counts as missing.
  const auto stored = static_cast<float>(defaults().doubleForKey(kMidiMPEBendRange));
  const float bendRange = std::isfinite(stored) ? stored : 0.0F;
  if (bendRange == 0.0F) {
    defaults().setDouble(kMidiMPEBendRange, kDefaultMPEBendRange);
    synchronize(defaults());
  }
  _kernel.instrument->mpeBendRange = bendRange;
  _kernel.instrument->setNotePriority(static_cast<int>(defaults().integerForKey(kMidiNotePriority)));
}

std::shared_ptr<AUParameterTree> ZQ3Unit::generateParameterTree() {
  ZRDSPInstrument& instrument = *_kernel.instrument;
  const auto kernel = std::make_shared<ZQ3DSPKernel>(_kernel);
  AUParameterTree::Children groups;
  groups.push_back(createGroupWithId(instrument.identifier, instrument.name, instrument.parameters(), 0));
  groups.back()->setImplementorValueObserver([kernel](const AUParameter& parameter, AUValue value) {
    kernel->setParameter(parameter.address(), value, 0);
    if (parameter.identifier() == kMidiMode) kernel->setParameter(parameter.address(), value, 0);
  });
  groups.back()->setImplementorValueProvider(
      [kernel](const AUParameter& parameter) { return kernel->getParameter(parameter.address(), 0); });
  for (const auto& each : instrument.effects) {
    groups.push_back(createGroupWithId(each->identifier, each->name, each->parameters(), 0));
    groups.back()->setImplementorValueObserver(
        [kernel, effect = each.get()](const AUParameter& parameter, AUValue value) {
          const AUValue written = parameter.address() == kAddressHeldAtZero ? 0.0F : value;
          effect->setParameterValueForAddress(static_cast<int>(parameter.address()), written);
        });
  }
  return AUParameterTree::createTreeWithChildren(std::move(groups));
}

ZRDSPModMatrix* ZQ3Unit::getModMatrix() const { return _kernel.instrument->getModMatrix(0); }

void ZQ3Unit::setFullState(const PropertyListDictionary* state) {
  if (state == nullptr) {
    ZRAudioUnit::setFullState(nullptr);
    return;
  }
  PropertyListDictionary own = *state;
  own.set(kManufacturer, kDescription.componentManufacturer);
  ZRAudioUnit::setFullState(&own);
}

void ZQ3Unit::setTempo(float beatsPerMinute) noexcept {
  if (!std::isfinite(beatsPerMinute)) return;
  ZRAudioUnit::setTempo(beatsPerMinute);
  _kernel.tempo = beatsPerMinute;
}

void ZQ3Unit::setGate(int gate) noexcept { _kernel.setGate(gate); }

std::uint32_t ZQ3Unit::firstAddressBehindVoices() const {
  std::int32_t least = std::numeric_limits<std::int32_t>::max();
  for (const ZRDSPParameter* each : _kernel.instrument->ZRDSPEntity::parameters()) {
    least = std::min(least, each->address);
  }
  return static_cast<std::uint32_t>(least);
}

std::uint32_t ZQ3Unit::recoveryCount() const noexcept { return _kernel.instrument->recoveryCount(); }

void ZQ3Unit::setRandomSeed(std::uint64_t seed) { _kernel.instrument->setRandomSeed(seed); }

bool ZQ3Unit::allocateRenderResources(std::string* error) {
  if (!ZRAudioUnit::allocateRenderResources(error)) return false;
  setRenderResourcesAllocated(false);
  try {
    _outputBuffer.allocateRenderResources(maximumFramesToRender());
    _kernel.prepare(outputBus()->format.sampleRate, static_cast<int>(maximumFramesToRender()));
  } catch (const std::bad_alloc&) {
    if (error != nullptr) *error = "not enough memory";
    return false;
  }
  _kernel.reset();
  setRenderResourcesAllocated(true);
  return true;
}

void ZQ3Unit::deallocateRenderResources() {
  _outputBuffer.deallocateRenderResources();
  ZRAudioUnit::deallocateRenderResources();
}

AUInternalRenderBlock ZQ3Unit::internalRenderBlock() {
  return {[](void* unit, AudioUnitRenderActionFlags*, const AudioTimeStamp* timestamp,
             std::uint32_t frameCount, std::int64_t, AudioBufferList* outputData, const AURenderEvent* events,
             const AURenderPullInputBlock*) noexcept -> AUAudioUnitStatus {
            return static_cast<ZQ3Unit*>(unit)->_render(timestamp, frameCount, outputData, events);
          },
          this};
}

AUAudioUnitStatus ZQ3Unit::_render(const AudioTimeStamp* timestamp, std::uint32_t frameCount,
                                   AudioBufferList* outputData, const AURenderEvent* events) noexcept {
  const ScopedFlushDenormals flush;
  if (musicalContextBlock) {
    double hostTempo = 0;
    if (musicalContextBlock(&hostTempo)) setTempo(static_cast<float>(hostTempo));
  }
  if (!renderResourcesAllocated()) return 0;
  _kernel.muted = isMuted();
  _outputBuffer.prepareOutputBufferList(outputData, frameCount, true);
  _kernel.setBuffers(nullptr, outputData);
  _kernel.processWithEvents(timestamp, frameCount, events);
  return 0;
}

}  // namespace morv
