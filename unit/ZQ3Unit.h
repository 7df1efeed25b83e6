#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "render/BufferedOutputBus.h"
#include "render/ZQ3DSPKernel.h"
#include "unit/ZRAudioUnit.h"

namespace morv {

// The instrument as a host sees it: one stereo output, a tree of parameters, MIDI in.
//
// Construction, allocation and the settings: main thread. The render block: one render thread, between
// allocation and deallocation. Tempo, mute, gate and parameter values: any thread.
class MORV_EXPORT ZQ3Unit : public ZRAudioUnit {
 public:
  // Builds the engine at 44100 Hz (which the derived constants keep) and the tree, and writes the settings'
  // defaults at the first start. Parameters take their addresses from the process's counter, or from the
  // given one on: those of a unit that this one takes the place of. Throws as the base does, and if there is
  // not enough memory for the engine.
  explicit ZQ3Unit(const AudioUnitServices& services, std::optional<std::uint32_t> firstAddress = {})
      : ZQ3Unit(services, firstAddress, Stage::base) {}
  // The same for hosts that take no exceptions: none, with the reason in `error` if it is given. The unit has
  // the codes of this instrument whatever the description says, and there are no options.
  static std::unique_ptr<ZQ3Unit> initWithComponentDescription(const AudioComponentDescription& description,
                                                               std::uint32_t options,
                                                               const AudioUnitServices& services,
                                                               std::string* error);
  ~ZQ3Unit() override;

  // Takes rate and greatest block from the output bus and `maximumFramesToRender`. False with a reason, and
  // the unit as it was, if they are out of range.
  bool allocateRenderResources(std::string* error) override;
  // Frees the output's own buffers; the engine stays as it is.
  void deallocateRenderResources() override;

  // One call renders one block: takes the host's tempo, carries out the events, all ahead of the first
  // sample, and writes the output. Without render resources it only takes the tempo. Answers 0 always.
  AUInternalRenderBlock internalRenderBlock() override;

  // One group for the instrument ("morv") and one for each effect.
  std::shared_ptr<AUParameterTree> generateParameterTree() override;
  // The first voice's matrix, whose rows count for all voices.
  ZRDSPModMatrix* getModMatrix() const override;
  // A state of another build of the same instrument counts as one of this one.
  void setFullState(const PropertyListDictionary* state) override;
  // Hands bend range and note priority to the instrument. A bend range of 0 is replaced in the settings by
  // 48, which the notice of that change brings here.
  void prefsChanged() override;
  void setTempo(float beatsPerMinute) noexcept MORV_NONBLOCKING override;
  // Gate of the first voice.
  void setGate(int gate) noexcept;
  // Where the process's counter stood when this unit drew the addresses of its parameters.
  std::uint32_t firstAddress() const noexcept { return firstAddress_; }
  // The least address in the tree that depends on it. Those below are the first voice's, which are the same
  // in every unit.
  std::uint32_t firstAddressBehindVoices() const;
  // How often state of the engine that was no finite number has been put back, its effects' among it. Any
  // thread.
  std::uint32_t recoveryCount() const noexcept MORV_NONBLOCKING;
  // Makes all random draws of the engine from here on a function of the seed. Not while rendering.
  void setRandomSeed(std::uint64_t seed);

  std::string componentName() const { return "MORV"; }
  std::string audioUnitName() const { return "MORV"; }
  std::string audioUnitShortName() const { return "MORV"; }
  bool supportsMPE() const noexcept { return true; }
  bool isMusicDeviceOrEffect() const noexcept { return true; }
  int virtualMIDICableCount() const noexcept { return 1; }

  // Its format's sample rate is the host's to set between allocations.
  AUAudioUnitBus* outputBus() noexcept { return &*_outputBuffer.bus; }
  const AUAudioUnitBusArray* outputBusses() const override { return outputBusArray_.get(); }
  // None: an instrument takes no audio.
  const AUAudioUnitBusArray* inputBusses() const noexcept { return nullptr; }
  AUParameter* outputVolumeParameter() const noexcept { return outputVolumeParameter_; }
  // None in this instrument, whose MIDI mode is found by its key path.
  AUParameter* midiModeParameter() const noexcept { return midiModeParameter_; }

 protected:
  void _initPrefsIfNecesarry();
  // Makes the tree anew, inside a notice of the property "parameterTree", and hands it to the mapper.
  void buildParameterTree();
  AUAudioUnitStatus _render(const AudioTimeStamp* timestamp, std::uint32_t frameCount,
                            AudioBufferList* outputData,
                            const AURenderEvent* events) noexcept MORV_NONBLOCKING;

  ZQ3DSPKernel _kernel;
  BufferedOutputBus _outputBuffer;

 private:
  // How far construction has come.
  enum class Stage : std::uint8_t { base, engine };
  ZQ3Unit(const AudioUnitServices& services, std::optional<std::uint32_t> firstAddress, Stage stage);

  std::unique_ptr<AUAudioUnitBusArray> outputBusArray_;
  AUParameter* outputVolumeParameter_ = nullptr;
  AUParameter* midiModeParameter_ = nullptr;
  std::uint32_t firstAddress_ = 0;
};

}  // namespace morv
