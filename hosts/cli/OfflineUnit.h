#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "platform/MainQueue.h"
#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"
#include "platform/SettingsStore.h"
#include "unit/ZQ3Unit.h"

namespace morv::cli {

// The folder of presets and other data that commands use: what the option says, else the variable
// MORV_RESOURCES of the environment, else what belongs to the library. Empty if there is none. The reason
// names a folder that was asked for and is not there.
Result<std::string> resourcesFolder(const std::optional<std::string>& option);

// A unit with settings and a clock of its own, both in memory, so that a run depends on its inputs alone.
// One thread.
class OfflineUnit {
 public:
  // Its list holds the presets of the resources (see ZRAudioUnit) and, besides, the given states by name.
  // What the unit logs goes to the standard error stream. It listens to all channels unless a setting says
  // otherwise.
  explicit OfflineUnit(const std::string& resources, const PropertyListDictionary& morePresets = {});

  ZQ3Unit& unit() noexcept { return unit_; }
  const ZQ3Unit& unit() const noexcept { return unit_; }

  // Readies the unit for rendering.
  Outcome allocate(int sampleRateHz, std::uint32_t blockFrames);
  // Runs what is due on the main queue `seconds` into the run, counted from the last `settle`.
  void runQueue(double seconds) { queue_.runDue(start_ + seconds); }
  // Turns the clock on until nothing of a preset's change is left, the mute behind it included.
  void settle();

  // Names of the presets whose states the unit's store holds: those of the factory, the states given above
  // and those loaded below, but none of packs.
  std::set<std::string> storedNames() const;

  // Makes a preset of the unit's list current, and settles.
  void loadPreset(const std::string& name);
  // The same for a state under a name of its own, which the list need not hold.
  void loadState(const std::string& name, const PropertyListDictionary& state);
  // Takes MIDI mode and channel from states from here on, instead of from the settings.
  void keepMidiModeOfStates() { unit_.overridesMIDISettingParametersWithPrefs = false; }

 private:
  SettingsStore standardSettings_;
  SettingsStore sharedSettings_;
  MainQueue queue_;
  ZQ3Unit unit_;
  double start_ = 0;  // of the run, on the queue's clock
};

}  // namespace morv::cli
