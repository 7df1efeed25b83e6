#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/AUAudioUnitBus.h"
#include "platform/AUAudioUnitBusArray.h"
#include "platform/AUInternalRenderBlock.h"
#include "platform/AUParameter.h"
#include "platform/AUParameterTree.h"
#include "platform/AURenderEvent.h"
#include "platform/AVAudioFormat.h"
#include "platform/Export.h"
#include "platform/KeyValueObservers.h"
#include "platform/PropertyListValue.h"

namespace morv {

// Four characters as the number by which hosts and states know a component.
constexpr std::uint32_t fourCharacterCode(const char (&code)[5]) noexcept {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8U | static_cast<unsigned char>(code[i]);
  return number;
}

struct AudioComponentDescription {
  std::uint32_t componentType = 0;
  std::uint32_t componentSubType = 0;
  std::uint32_t componentManufacturer = 0;
};

// What a host asks of any unit. Life: construct, set the output bus's format and the greatest block, allocate
// render resources, render, deallocate; allocation and deallocation may alternate.
//
// Main thread, except where an operation says otherwise; nothing of it may run beside the render block but
// what is marked so.
class MORV_EXPORT AUAudioUnit {
 public:
  static constexpr std::uint32_t kGreatestBlockFrames = 4096;

  // Asks the host for the tempo, in beats per minute. False when the host has none to give: the tempo then
  // stays as it was. Runs on the render thread.
  using MusicalContextBlock = std::function<bool(double* tempo)>;

  // Takes MIDI that the unit sends to the host. Any thread that the unit sends on.
  using MIDIOutputEventBlock = std::function<int(AUEventSampleTime eventSampleTime, std::uint8_t cable,
                                                 std::size_t length, const std::uint8_t* bytes)>;
  // Sample time of an event that is to happen at once.
  static constexpr AUEventSampleTime kEventSampleTimeImmediate = AUEventSampleTime{-4294967296};
  // Version of the form of state that this build writes.
  static constexpr std::int64_t kStateVersion = 1;

  AUAudioUnit();
  explicit AUAudioUnit(const AudioComponentDescription& description);
  virtual ~AUAudioUnit();
  AUAudioUnit(const AUAudioUnit&) = delete;
  AUAudioUnit& operator=(const AUAudioUnit&) = delete;

  // Makes the unit ready to render. Here: checks that every output bus has a usable sample rate, 1 to 768
  // kHz, and that the greatest block has 1 to kGreatestBlockFrames frames. False with a reason in `error`, if
  // there is one.
  virtual bool allocateRenderResources(std::string* error);
  // Ends rendering.
  virtual void deallocateRenderResources();
  // Frames of the greatest block; takes effect at the next allocation.
  virtual void setMaximumFramesToRender(std::uint32_t frames) { maximumFramesToRender_ = frames; }
  // Whether a bus can take a format, between allocations. Here: a usable rate, and no more channels than the
  // bus has at most.
  virtual bool shouldChangeToFormatForBus(const AVAudioFormat& format, const AUAudioUnitBus& bus) const;

  // All that makes the sound of the unit, as a property list:
  //
  //   "version"                          integer, kStateVersion
  //   "type", "subtype", "manufacturer"  integers, the codes of the component
  //   "parameters"                       dictionary: group identifier to a dictionary of parameter identifier
  //                                      to real
  //
  // and whatever else the state that was loaded last held, so that saving with an older build loses nothing
  // that a newer one has written: foreign keys at the top, foreign groups, foreign parameters.
  virtual PropertyListDictionary fullState() const;
  // The form of state that goes into a document: the same.
  PropertyListDictionary fullStateForDocument() const { return fullState(); }
  // Takes over the values of a state. What a state lacks, of a newer or older build, stays as it is; what
  // this build does not know is kept for the next `fullState`. Numbers of any kind are values; one outside
  // its parameter's range is held inside it, one that is no finite number counts as missing. Codes and
  // version are not compared. Null is a state without anything. Throws std::invalid_argument, with nothing
  // changed, if "parameters" or a group in it is no dictionary. May run beside the render block.
  virtual void setFullState(const PropertyListDictionary* state);
  // The values that `setFullState` would set, in its order, and nothing set yet; what this build does not
  // know is kept at once. Throws as it does.
  struct RestoredValue {
    AUParameter* parameter;
    AUValue value;
  };
  std::vector<RestoredValue> restoredValues(const PropertyListDictionary& state);

  const AudioComponentDescription& componentDescription() const noexcept { return componentDescription_; }
  virtual AUInternalRenderBlock internalRenderBlock() = 0;
  virtual const AUAudioUnitBusArray* outputBusses() const = 0;
  virtual AUParameterTree* parameterTree() const = 0;
  // Of this unit's properties: "parameterTree".
  KeyValueObservers& keyValueObservers() noexcept { return keyValueObservers_; }

  std::uint32_t maximumFramesToRender() const noexcept { return maximumFramesToRender_; }
  // Any thread.
  bool renderResourcesAllocated() const noexcept {
    return renderResourcesAllocated_.load(std::memory_order_acquire);
  }
  void setRenderResourcesAllocated(bool allocated) noexcept {
    renderResourcesAllocated_.store(allocated, std::memory_order_release);
  }

  MusicalContextBlock musicalContextBlock;    // set while not rendering
  MIDIOutputEventBlock midiOutputEventBlock;  // set while nothing is sent; may be none

 private:
  void keepForeignParts(const PropertyListDictionary& state);

  const AudioComponentDescription componentDescription_{};
  mutable std::mutex foreignMutex_;           // states may be read and loaded on different threads
  PropertyListDictionary foreign_;            // entries of the last state that are not this class's
  PropertyListDictionary foreignParameters_;  // by group, as in a state
  KeyValueObservers keyValueObservers_;
  std::uint32_t maximumFramesToRender_ = 512;
  std::atomic<bool> renderResourcesAllocated_{false};  // publishes what was allocated
};

}  // namespace morv
