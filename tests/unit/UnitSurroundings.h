#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "platform/MainQueue.h"
#include "platform/SettingsStore.h"
#include "unit/ZQ3Unit.h"
#include "unit/ZRMidiMapper.h"

namespace morv {

// Settings and a main queue of a test's own, and a unit whose engine is in reach.
struct UnitSurroundings {
  SettingsStore standard;
  SettingsStore shared;
  MainQueue queue;
  AudioUnitServices services{.standardSettings = &standard, .sharedSettings = &shared, .mainQueue = &queue};
};

// Writes down the controllers that reach it, and maps nothing.
class HearingMapper : public ZRMidiMapper {
 public:
  explicit HearingMapper(UnitSurroundings& around) : ZRMidiMapper({.standardSettings = &around.standard}) {}
  bool handleMidiCC(int controller, int withData, int onChannel) override {
    heard.emplace_back(controller, withData, onChannel);
    return true;
  }
  std::vector<std::tuple<int, int, int>> heard;
};

class OpenUnit : public ZQ3Unit {
 public:
  explicit OpenUnit(UnitSurroundings& surroundings) : ZQ3Unit(surroundings.services) {}
  explicit OpenUnit(const AudioUnitServices& services, std::optional<std::uint32_t> firstAddress = {})
      : ZQ3Unit(services, firstAddress) {}

  ZQ3DSPKernel& kernel() { return _kernel; }
  ZRDSPInstrument& instrument() { return *_kernel.instrument; }
  BufferedOutputBus& output() { return _outputBuffer; }
  std::shared_ptr<AUParameterTree> tree() const { return sharedParameterTree(); }
};

}  // namespace morv
