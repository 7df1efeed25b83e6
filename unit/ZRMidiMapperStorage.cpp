// Whose services the mapper works with, and the file that its table is kept in.

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <utility>

#include "platform/PropertyListFile.h"
#include "platform/SettingsSuite.h"
#include "unit/ZRMidiMapper.h"

namespace morv {
namespace {

constexpr std::int64_t kMappedToNothing = -1;
constexpr const char* kFolder = "MIDIMappings";
constexpr const char* kFileName = "default.midimap";

}  // namespace

ZRMidiMapper::Loan ZRMidiMapper::lendServices(const MidiMapperServices& services) {
  const std::scoped_lock lock(mutex_);
  Storage before = storage_;
  lent_.push_back({nextLoan_, services});
  try {
    takeUpServices();
  } catch (...) {
    lent_.pop_back();
    storage_ = std::move(before);
    throw;
  }
  return nextLoan_++;
}

void ZRMidiMapper::takeBackServices(Loan loan) {
  const std::scoped_lock lock(mutex_);
  std::erase_if(lent_, [loan](const Lent& each) { return each.loan == loan; });
  takeUpServices();
}

// The table goes with its folder: in the same folder it stays as it is, another one brings its own, and
// without a folder a new one begins.
void ZRMidiMapper::takeUpServices() {
  const Directories& wanted = services().directories;
  const Directories& present = storage_.directories;
  if (wanted.data != present.data || wanted.configuration != present.configuration) {
    _initStorage();
    _loadMappingOrCreateDefaultIfNecesarry();
  }
  readChannel(0);
}

const MidiMapperServices& ZRMidiMapper::services() const {
  return lent_.empty() ? own_ : lent_.back().services;
}

// Without settings the channel stays.
void ZRMidiMapper::readChannel(int offset) {
  // Held inside what counts as a channel, or as one of nobody.
  constexpr std::int64_t kNobody = 18;
  const SettingsStore* settings = services().standardSettings;
  if (settings == nullptr) return;
  const auto stored = std::clamp<std::int64_t>(settings->integerForKey("midiChannel"), -1, kNobody);
  midiCHannel_ = static_cast<int>(stored) + offset;
}

void ZRMidiMapper::log(const std::string& line) const {
  if (services().log) services().log(line);
}

void ZRMidiMapper::_initStorage() {
  Directories& directories = storage_.directories;
  directories = services().directories;
  storage_.basePath.clear();
  if (!directories.data.empty()) {
    storage_.basePath = directories.data + "/" + kFolder;
    std::error_code error;
    std::filesystem::create_directories(storage_.basePath, error);
    if (error) log("ERROR: " + error.message());
  }
  if (directories.configuration.empty()) {
    storage_.defaults = std::make_shared<SettingsStore>();
  } else {
    storage_.defaults = std::make_shared<SettingsSuite>(directories.configuration, groupIdentifier_);
  }
}

std::string ZRMidiMapper::filePath() const { return storage_.basePath + "/" + kFileName; }

void ZRMidiMapper::setAddressShift(AddressShift shift) {
  const std::scoped_lock lock(mutex_);
  shift_ = shift;
  _loadMappingOrCreateDefaultIfNecesarry();
}

void ZRMidiMapper::reloadMapping() {
  const std::scoped_lock lock(mutex_);
  if (auto table = loadMapping()) storage_.mapping = std::move(table);
}

std::int64_t ZRMidiMapper::addressFromFile(std::int64_t address) const {
  if (address < shift_.from) return address;
  if (address > std::numeric_limits<std::int64_t>::max() - shift_.by) return kMappedToNothing;
  return address + shift_.by;
}

std::int64_t ZRMidiMapper::addressForFile(std::int64_t address) const {
  if (address < shift_.from) return address;
  return address - shift_.by >= shift_.from ? address - shift_.by : kMappedToNothing;
}

std::optional<ZRMidiMapper::Mapping> ZRMidiMapper::loadMapping() const {
  if (storage_.basePath.empty()) return std::nullopt;
  const auto file = readPropertyListFile(filePath());
  if (!file || file.value().dictionary() == nullptr) return std::nullopt;
  Mapping table;
  for (const auto& [key, value] : file.value().dictionary()->entries()) {
    int controller = 0;
    const char* end = key.data() + key.size();
    const auto parsed = std::from_chars(key.data(), end, controller);
    const auto address = value.integer();
    // An entry that is none is left out; the others hold.
    if (parsed.ec != std::errc() || parsed.ptr != end || !address || *address < kMappedToNothing) continue;
    table[controller] = addressFromFile(*address);
  }
  return table;
}

void ZRMidiMapper::_loadMappingOrCreateDefaultIfNecesarry() {
  storage_.mapping = loadMapping();
  if (!storage_.mapping) storage_.mapping = _makeDefaultMapping();
}

// One key behind each parameter's address. They drive nothing, and make the search by address find nothing.
std::optional<ZRMidiMapper::Mapping> ZRMidiMapper::_makeDefaultMapping() const {
  const auto tree = parameterTree();
  if (tree == nullptr) return std::nullopt;
  Mapping table;
  for (const AUParameter* each : tree->allParameters()) {
    table[static_cast<int>(each->address()) + 1] = kMappedToNothing;
  }
  return table;
}

void ZRMidiMapper::_persistMapping() const {
  if (storage_.basePath.empty() || !storage_.mapping) return;
  PropertyListDictionary table;
  for (const auto& [controller, address] : *storage_.mapping) {
    table.set(std::to_string(controller), addressForFile(address));
  }
  if (!writePropertyListFile(filePath(), table).ok()) log("error unable to write mapping file");
}

}  // namespace morv
