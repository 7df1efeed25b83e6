// What a unit saves and takes back: the platform's state, the second sources of the modulation rows, and the
// pass that drives every value into the engine.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "modulation/ZRDSPModMatrix.h"
#include "platform/DiagnosticRing.h"
#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

constexpr const char* kModMatrixDict = "modMatrixDict";
constexpr const char* kModSourceIndex = "modSourceIndex";
constexpr const char* kModAmount = "modAmount";
constexpr const char* kValue = "value";
constexpr const char* kMidiMode = "midiMode";
constexpr const char* kMidiChannel = "midiChannel";
constexpr char kRoutingMark = '>';  // in the identifiers of routings' depths
constexpr double kReloadSeconds = 1.0;
// A second source's amount has no range of its own; what a file holds must still leave numbers finite.
constexpr float kGreatestAmount = 1000.0F;

std::optional<float> finiteNumber(const PropertyListDictionary& row, const char* key) {
  const PropertyListValue* value = row.find(key);
  const std::optional<double> number = value != nullptr ? value->number() : std::nullopt;
  if (!number || !std::isfinite(static_cast<float>(*number))) return std::nullopt;
  return static_cast<float>(*number);
}

std::optional<int> sourceNumber(const PropertyListDictionary& row) {
  const PropertyListValue* value = row.find(kModSourceIndex);
  const std::optional<double> number = value != nullptr ? value->number() : std::nullopt;
  if (!number || !(*number >= 0.0 && *number < kMaxModRows) || std::floor(*number) != *number)
    return std::nullopt;
  return static_cast<int>(*number);
}

modMatrixRow* rowWithIdentifier(const ZRDSPModMatrix& matrix, const std::string& identifier) {
  try {
    return matrix.getRowWithIdentifier(identifier);
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

PropertyListDictionary ZRAudioUnit::fullState() const {
  PropertyListDictionary state = AUAudioUnit::fullState();
  const ZRDSPModMatrix* matrix = getModMatrix();
  if (matrix == nullptr) {
    state.remove(kModMatrixDict);
    return state;
  }
  // Rows that a newer build has saved stay where they are.
  const PropertyListValue* before = state.find(kModMatrixDict);
  PropertyListDictionary rows =
      before != nullptr && before->dictionary() != nullptr ? *before->dictionary() : PropertyListDictionary();
  for (int i = 0; i < matrix->rowCount; ++i) {
    const modMatrixRow* row = matrix->getRowAtIndex(i);
    if (row->modSource != 0) DiagnosticRing::shared().post("sdfdsf\n");
    PropertyListDictionary saved{{kModSourceIndex, row->modSource.load()},
                                 {kModAmount, row->modAmount.load()}};
    if (row->depth != nullptr) saved.set(kValue, row->depth->value.load());
    rows.set(row->identifier, std::move(saved));
  }
  state.set(kModMatrixDict, std::move(rows));
  return state;
}

std::vector<ZRStateChange::Row> ZRAudioUnit::restoredRows(const PropertyListDictionary& state) const {
  std::vector<ZRStateChange::Row> restored;
  const PropertyListValue* rows = state.find(kModMatrixDict);
  const ZRDSPModMatrix* matrix = getModMatrix();
  if (rows == nullptr || rows->dictionary() == nullptr || matrix == nullptr) return restored;
  for (const auto& [identifier, entry] : rows->dictionary()->entries()) {
    modMatrixRow* row = rowWithIdentifier(*matrix, identifier);
    const PropertyListDictionary* saved = entry.dictionary();
    if (row == nullptr || saved == nullptr) continue;
    ZRStateChange::Row& each = restored.emplace_back();
    each.row = row;
    if (const auto amount = finiteNumber(*saved, kModAmount)) {
      each.amount = std::clamp(*amount, -kGreatestAmount, kGreatestAmount);
    }
    each.source = sourceNumber(*saved);
    if (row->depth != nullptr) each.depth = finiteNumber(*saved, kValue);
  }
  return restored;
}

std::optional<ZRStateChange::MidiSettings> ZRAudioUnit::overridingMidiSettings() const {
  if (!overridesMIDISettingParametersWithPrefs) return std::nullopt;
  // Read as 32-bit integers; what is beyond them is held there.
  const auto stored = [this](const char* key) {
    return static_cast<AUValue>(
        std::clamp<std::int64_t>(standardDefaults().integerForKey(key), INT32_MIN, INT32_MAX));
  };
  return ZRStateChange::MidiSettings{stored(kMidiMode), stored(kMidiChannel)};
}

void ZRAudioUnit::applyRows(const std::vector<ZRStateChange::Row>& rows) noexcept {
  for (const ZRStateChange::Row& each : rows) {
    if (each.amount) each.row->modAmount = *each.amount;
    if (each.source) {
      if (*each.source != 0) DiagnosticRing::shared().post("sdfdsf\n");
      each.row->modSource = *each.source;
    }
    if (!each.depth) continue;
    if (*each.depth != 0.0F) DiagnosticRing::shared().post("asfs\n");
    ZRDSPParameter& depth = *each.row->depth;
    depth = std::max(depth.minValue, std::min(*each.depth, depth.maxValue));
  }
}

// Writes each parameter's value once more, which makes the observers carry it into the engine. Depths of
// routings have just come with their rows.
void ZRAudioUnit::pushParameters(const std::optional<ZRStateChange::MidiSettings>& midi) noexcept {
  if (parameterTree() == nullptr) return;
  for (AUParameter* parameter : parameterTree()->allParameters()) {
    const std::string& identifier = parameter->identifier();
    if (midi && identifier == kMidiMode) {
      parameter->setValue(midi->mode);
    } else if (midi && identifier == kMidiChannel) {
      parameter->setValue(midi->channel);
    } else if (!midi || identifier.find(kRoutingMark) == std::string::npos) {
      parameter->setValue(parameter->value());
    }
  }
}

void ZRAudioUnit::setFullState(const PropertyListDictionary* state) {
  try {
    AUAudioUnit::setFullState(state);
  } catch (const std::exception& refusal) {
    log(std::string("expection: ") + refusal.what());
    performAfter(kReloadSeconds, [this] { reloadParameters(); });
  }
  if (state != nullptr) applyRows(restoredRows(*state));
  pushParameters(overridingMidiSettings());
}

ZRStateChange ZRAudioUnit::prepareFullState(const PropertyListDictionary& state) {
  return {restoredValues(state), restoredRows(state), overridingMidiSettings()};
}

void ZRAudioUnit::applyFullState(const ZRStateChange& change) noexcept {
  for (const auto& [parameter, value] : change.values) parameter->setValue(value);
  applyRows(change.rows);
  pushParameters(change.midi);
}

void ZRAudioUnit::reloadParameters() {
  const PropertyListDictionary state = fullState();
  setFullState(&state);
}

}  // namespace morv
