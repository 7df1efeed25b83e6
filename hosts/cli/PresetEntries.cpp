#include "hosts/cli/PresetEntries.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "platform/PropertyListFile.h"
#include "unit/PresetNames.h"

namespace morv::cli {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> entriesOf(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    entries.push_back(it->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

// Files of packs by their presets' names, in the order of the packs.
std::map<std::string, std::vector<std::string>> packFiles(const std::string& resources) {
  std::map<std::string, std::vector<std::string>> files;
  if (resources.empty()) return files;
  for (const fs::path& pack : entriesOf(fs::path(resources) / kPackFolder)) {
    for (const fs::path& file : entriesOf(pack)) {
      std::error_code error;
      if (file.extension() != kPresetExtension || fs::is_directory(file, error)) continue;
      files[file.stem().string()].push_back(file.string());
    }
  }
  return files;
}

// The unit passes over what it cannot read.
void dropUnreadable(std::vector<std::string>* files) {
  std::erase_if(*files, [](const std::string& file) {
    const auto value = readPropertyListFile(file);
    return !value || value.value().dictionary() == nullptr;
  });
}

}  // namespace

std::vector<PresetEntry> presetEntries(OfflineUnit& offline, const UserPresets& kept,
                                       const std::string& resources) {
  using Source = PresetEntry::Source;
  std::vector<PresetEntry> entries;
  std::set<std::string> names = offline.storedNames();
  const std::string folder = resources + "/" + kFactoryFolder + "/";
  entries.reserve(names.size());
  for (const std::string& name : names) {
    entries.push_back({name, Source::factory, folder + name + kPresetExtension});
  }
  for (const std::string& name : kept.names()) {
    if (names.insert(name).second) entries.push_back({name, Source::user, kept.storeFileOf(name)});
  }
  std::set<std::string> listed;
  for (const auto& each : offline.unit().factoryPresets()) listed.insert(each.name);
  for (auto& [name, files] : packFiles(resources)) {
    if (!listed.contains(name)) continue;
    bool isTaken = names.contains(name);
    if (isTaken || files.size() > 1) dropUnreadable(&files);
    std::for_each(files.rbegin(), files.rend(), [&, &key = name](const std::string& file) {
      entries.push_back({key, Source::pack, file, std::exchange(isTaken, true)});
    });
  }
  return entries;
}

}  // namespace morv::cli
