#include "platform/AUAudioUnit.h"

#include <cmath>

namespace morv {
namespace {

bool isUsableRate(double sampleRateHz) { return std::isfinite(sampleRateHz) && sampleRateHz > 0; }

}  // namespace

AUAudioUnit::AUAudioUnit() = default;
AUAudioUnit::~AUAudioUnit() = default;

bool AUAudioUnit::allocateRenderResources(std::string* error) {
  std::string reason;
  if (maximumFramesToRender_ < 1 || maximumFramesToRender_ > kGreatestBlockFrames) {
    reason = "blocks of " + std::to_string(maximumFramesToRender_) + " frames are out of range (1 to " +
             std::to_string(kGreatestBlockFrames) + ")";
  }
  for (const AUAudioUnitBus* bus : outputBusses()->busses()) {
    if (!isUsableRate(bus->format.sampleRate)) reason = "the output bus has no usable sample rate";
  }
  if (reason.empty()) return true;
  if (error != nullptr) *error = reason;
  return false;
}

void AUAudioUnit::deallocateRenderResources() { renderResourcesAllocated_ = false; }

bool AUAudioUnit::shouldChangeToFormatForBus(const AVAudioFormat& format, const AUAudioUnitBus& bus) const {
  return !renderResourcesAllocated_ && isUsableRate(format.sampleRate) && format.channelCount >= 1 &&
         format.channelCount <= bus.maximumChannelCount;
}

}  // namespace morv
