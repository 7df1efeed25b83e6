#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/AUAudioUnitBus.h"
#include "platform/AUAudioUnitBusArray.h"
#include "platform/AUInternalRenderBlock.h"
#include "platform/AUParameterTree.h"
#include "platform/AVAudioFormat.h"
#include "platform/Export.h"
#include "platform/Relaxed.h"

namespace morv {

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

  AUAudioUnit();
  virtual ~AUAudioUnit();
  AUAudioUnit(const AUAudioUnit&) = delete;
  AUAudioUnit& operator=(const AUAudioUnit&) = delete;

  // Makes the unit ready to render. Here: checks that every output bus has a usable sample rate and that the
  // greatest block has 1 to kGreatestBlockFrames frames. False with a reason in `error`, if there is one.
  virtual bool allocateRenderResources(std::string* error);
  // Ends rendering.
  virtual void deallocateRenderResources();
  // Frames of the greatest block; takes effect at the next allocation.
  virtual void setMaximumFramesToRender(std::uint32_t frames) { maximumFramesToRender_ = frames; }
  // Whether a bus can take a format, between allocations. Here: a usable rate, and no more channels than the
  // bus has at most.
  virtual bool shouldChangeToFormatForBus(const AVAudioFormat& format, const AUAudioUnitBus& bus) const;

  virtual AUInternalRenderBlock internalRenderBlock() = 0;
  virtual const AUAudioUnitBusArray* outputBusses() const = 0;
  virtual AUParameterTree* parameterTree() const = 0;

  std::uint32_t maximumFramesToRender() const noexcept { return maximumFramesToRender_; }
  // Any thread.
  bool renderResourcesAllocated() const noexcept { return renderResourcesAllocated_; }
  void setRenderResourcesAllocated(bool allocated) noexcept { renderResourcesAllocated_ = allocated; }

  MusicalContextBlock musicalContextBlock;  // set while not rendering

 private:
  std::uint32_t maximumFramesToRender_ = 512;
  Relaxed<bool> renderResourcesAllocated_{false};
};

}  // namespace morv
