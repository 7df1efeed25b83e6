#include "unit/ZRMidiMapper.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <sstream>
#include <utility>
#include <vector>

#include "platform/PropertyListFile.h"
#include "render/ZRDSPParameter.h"

namespace morv {
namespace {

constexpr std::int64_t kMappedToNothing = -1;
constexpr const char* kBundleIdentifier = "org.morv.MORV";
constexpr const char* kFolder = "MIDIMappings";
constexpr const char* kFileName = "default.midimap";
constexpr const char* kMappingChanged = "midiMappingChanged";
constexpr double kGreatestData = 127.0;

// "group." and the second and third piece of the bundle's name.
std::string groupOf(std::string bundle) {
  if (const auto at = bundle.find("com."); at != std::string::npos) bundle.replace(at, 4, "group.");
  std::vector<std::string> pieces;
  std::istringstream stream(bundle);
  for (std::string piece; std::getline(stream, piece, '.');) pieces.push_back(piece);
  return pieces.size() > 2 ? "group." + pieces[1] + "." + pieces[2] : std::string();
}

std::int32_t lowHalf(std::int64_t number) { return static_cast<std::int32_t>(number); }

// Held inside what counts as a channel, or as one of nobody.
int channelOf(const SettingsStore& settings) {
  return static_cast<int>(std::clamp<std::int64_t>(settings.integerForKey("midiChannel"), -1, 18));
}

AUValue mappedValue(const AUParameter& parameter, int data) {
  const auto n = static_cast<float>(data / kGreatestData);
  const float least = parameter.minValue();
  const float greatest = parameter.maxValue();
  const float range = greatest - least;
  switch (static_cast<ZRDSPParameterUnit>(parameter.unit())) {
    case ZRDSPParameterUnit::indexed:
      return std::floor(least + (n * greatest - least));
    case ZRDSPParameterUnit::hertz:
      return least + n * n * n * n * range;
    default:
      return least + n * range;
  }
}

}  // namespace

std::shared_ptr<ZRMidiMapper> ZRMidiMapper::sharedObject(const MidiMapperServices& services) {
  static std::mutex mutex;
  static std::weak_ptr<ZRMidiMapper> shared;
  const std::scoped_lock lock(mutex);
  auto mapper = shared.lock();
  if (mapper == nullptr) {
    mapper = std::make_shared<ZRMidiMapper>(services);
    shared = mapper;
  }
  return mapper;
}

ZRMidiMapper::ZRMidiMapper(MidiMapperServices services) : services_(std::move(services)) {
  _initStorage();
  _loadMappingOrCreateDefaultIfNecesarry();
  midiCHannel_ = channelOf(*services_.standardSettings);
}

ZRMidiMapper::~ZRMidiMapper() = default;

void ZRMidiMapper::log(const std::string& line) const {
  if (services_.log) services_.log(line);
}

void ZRMidiMapper::_initStorage() {
  groupIdentifier_ = groupOf(kBundleIdentifier);
  if (services_.directories.data.empty()) return;
  basePath_ = services_.directories.data + "/" + kFolder;
  std::error_code error;
  std::filesystem::create_directories(basePath_, error);
  if (error) log("ERROR: " + error.message());
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

void ZRMidiMapper::setParameterTree(const std::shared_ptr<AUParameterTree>& tree) {
  parameterTree_ = tree;
  _loadMappingOrCreateDefaultIfNecesarry();
}

void ZRMidiMapper::initiateMappingForParameter(std::uint64_t address) {
  currentMappingParameter_ = address;
  isWaitingForMapping_ = true;
}

bool ZRMidiMapper::learn(int controller) {
  if (!mapping_) mapping_.emplace();
  const auto address = static_cast<std::int64_t>(currentMappingParameter_);
  const auto former = std::find_if(mapping_->rbegin(), mapping_->rend(),
                                   [address](const auto& entry) { return entry.second == address; });
  if (former != mapping_->rend()) former->second = kMappedToNothing;
  (*mapping_)[controller] = address;
  isWaitingForMapping_ = false;
  _persistMapping();
  if (services_.notifications != nullptr) services_.notifications->post(kMappingChanged);
  log("[MIDI] received mapping: CC:" + std::to_string(controller) +
      " -> ADDR:" + std::to_string(currentMappingParameter_));
  return true;
}

bool ZRMidiMapper::handleMidiCC(int controller, int withData, int onChannel) {
  midiCHannel_ = channelOf(*services_.standardSettings) - 1;
  if (onChannel != midiCHannel_ && midiCHannel_ >= 0) return false;
  if (isWaitingForMapping_) return learn(controller);
  const auto tree = parameterTree_.lock();
  const std::int64_t address = mappingForControl(controller);
  AUParameter* parameter =
      tree != nullptr ? tree->parameterWithAddress(static_cast<AUParameterAddress>(address)) : nullptr;
  if (parameter == nullptr) return false;
  parameter->setValue(mappedValue(*parameter, withData));
  return true;
}

void ZRMidiMapper::setMapping(int controller, std::uint64_t forParameter) {
  if (!mapping_) mapping_.emplace();
  const auto address = static_cast<std::int64_t>(forParameter);
  std::erase_if(*mapping_,
                [address](const auto& entry) { return lowHalf(entry.second) == lowHalf(address); });
  (*mapping_)[controller] = address;
  _persistMapping();
}

std::int64_t ZRMidiMapper::mappingForControl(int controller) const {
  if (!mapping_) return kMappedToNothing;
  const auto entry = mapping_->find(controller);
  return entry != mapping_->end() ? entry->second : kMappedToNothing;
}

// The first search compares the low halves of what is held, the second whole numbers; what passes only the
// first is found at no key and reads as 0.
int ZRMidiMapper::controlForMapping(std::uint64_t address) const {
  if (!mapping_) return -1;
  const auto wanted = static_cast<std::int64_t>(address);
  const auto holdsLow = [wanted](const auto& entry) { return lowHalf(entry.second) == wanted; };
  if (std::none_of(mapping_->begin(), mapping_->end(), holdsLow)) return -1;
  for (const auto& [controller, held] : *mapping_) {
    if (held >= 0 && held == wanted) return controller;
  }
  return 0;
}

}  // namespace morv
