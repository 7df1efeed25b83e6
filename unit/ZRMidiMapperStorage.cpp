// Whose services the mapper works with, and the file that its table is kept in.

#include <algorithm>
#include <charconv>
#include <filesystem>
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
  lent_.push_back({nextLoan_, services});
  takeUpServices();
  return nextLoan_++;
}

void ZRMidiMapper::takeBackServices(Loan loan) {
  const std::scoped_lock lock(mutex_);
  std::erase_if(lent_, [loan](const Lent& each) { return each.loan == loan; });
  if (!lent_.empty()) takeUpServices();
}

// The table stays with its folder, and in the same folder as it is.
void ZRMidiMapper::takeUpServices() {
  const Directories& wanted = services().directories;
  if (wanted.data != directories_.data || wanted.configuration != directories_.configuration) {
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
  directories_ = services().directories;
  basePath_.clear();
  if (!directories_.data.empty()) {
    basePath_ = directories_.data + "/" + kFolder;
    std::error_code error;
    std::filesystem::create_directories(basePath_, error);
    if (error) log("ERROR: " + error.message());
  }
  if (directories_.configuration.empty()) {
    defaults_ = std::make_shared<SettingsStore>();
  } else {
    defaults_ = std::make_shared<SettingsSuite>(directories_.configuration, groupIdentifier_);
  }
}

std::string ZRMidiMapper::filePath() const { return basePath_ + "/" + kFileName; }

std::optional<ZRMidiMapper::Mapping> ZRMidiMapper::loadMapping() const {
  if (basePath_.empty()) return std::nullopt;
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
    table[controller] = *address;
  }
  return table;
}

void ZRMidiMapper::_loadMappingOrCreateDefaultIfNecesarry() {
  mapping_ = loadMapping();
  if (!mapping_) mapping_ = _makeDefaultMapping();
}

// One key behind each parameter's address. They drive nothing, and make the search by address find nothing.
std::optional<ZRMidiMapper::Mapping> ZRMidiMapper::_makeDefaultMapping() const {
  const auto tree = parameterTree_.lock();
  if (tree == nullptr) return std::nullopt;
  Mapping table;
  for (const AUParameter* each : tree->allParameters()) {
    table[static_cast<int>(each->address()) + 1] = kMappedToNothing;
  }
  return table;
}

void ZRMidiMapper::_persistMapping() const {
  if (basePath_.empty() || !mapping_) return;
  PropertyListDictionary table;
  for (const auto& [controller, address] : *mapping_) table.set(std::to_string(controller), address);
  if (!writePropertyListFile(filePath(), table).ok()) log("error unable to write mapping file");
}

}  // namespace morv
