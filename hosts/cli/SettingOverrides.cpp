#include "hosts/cli/SettingOverrides.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "hosts/cli/NearestNames.h"
#include "hosts/cli/Numbers.h"

namespace morv::cli {
namespace {

struct KnownSetting {
  const char* key;
  bool isShared;  // in the suite that unit and view share, else in the standard store
  bool isInteger;
  double least;
  double greatest;
};

constexpr double kGreatestBendRange = 96;  // semitones, the most that MPE asks of a receiver

constexpr std::array kKnownSettings = {
    KnownSetting{"midiNotePriority", true, true, 0, 2},
    KnownSetting{"midiMPEBendRange", true, false, 0, kGreatestBendRange},
    KnownSetting{"midiMode", false, true, 0, 1},
    KnownSetting{"midiChannel", false, true, -1, 15},
};

const KnownSetting* findSetting(const std::string& key) {
  const auto found = std::find_if(kKnownSettings.begin(), kKnownSettings.end(),
                                  [&key](const KnownSetting& each) { return each.key == key; });
  return found == kKnownSettings.end() ? nullptr : &*found;
}

}  // namespace

Result<SettingOverride> parseSettingOverride(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) return Failure{"'" + text + "' is not of the form KEY=VALUE"};
  const std::string key = text.substr(0, equals);
  const KnownSetting* known = findSetting(key);
  if (known == nullptr) {
    std::vector<std::string> keys;
    keys.reserve(kKnownSettings.size());
    for (const auto& each : kKnownSettings) keys.emplace_back(each.key);
    return Failure{"unknown setting '" + key + "'; the nearest are " + joined(nearestNames(key, keys))};
  }
  const std::string valueText = text.substr(equals + 1);
  const auto value = parseReal(valueText);
  if (!value) return Failure{key + ": '" + valueText + "' is no number"};
  if (known->isInteger && *value != std::floor(*value)) {
    return Failure{key + ": '" + valueText + "' is no whole number"};
  }
  if (*value < known->least || *value > known->greatest) {
    return Failure{key + ": " + valueText + " is out of range (" + printReal(known->least) + " to " +
                   printReal(known->greatest) + ")"};
  }
  return SettingOverride{key, *value};
}

void applySetting(const SettingOverride& setting, ZRAudioUnit& unit) {
  const KnownSetting* known = findSetting(setting.key);
  if (known == nullptr) return;
  SettingsStore& store = known->isShared ? unit.defaults() : unit.standardDefaults();
  if (known->isInteger) {
    store.setInteger(setting.key, static_cast<std::int64_t>(setting.value));
  } else {
    store.setDouble(setting.key, setting.value);
  }
}

}  // namespace morv::cli
