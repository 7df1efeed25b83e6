#include "platform/CloudContainer.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"

namespace morv {

namespace fs = std::filesystem;

std::optional<std::string> CloudContainer::path() const {
  const std::string chosen = settings_.stringForKey(kFolderKey);
  if (!chosen.starts_with('/')) return std::nullopt;
  std::error_code error;
  const fs::path folder = fs::canonical(chosen, error);
  if (error || !fs::is_directory(folder, error)) return std::nullopt;
  return folder.string();
}

std::optional<PropertyListValue::Data> CloudContainer::identityToken() const {
  const auto folder = path();
  if (!folder) return std::nullopt;
  return PropertyListValue::Data(folder->begin(), folder->end());
}

bool CloudContainer::holds(const std::string& path) const {
  const auto folder = this->path();
  std::error_code error;
  const fs::path item = fs::canonical(path, error);
  if (!folder || error) return false;
  const fs::path inside = item.lexically_relative(*folder);
  return !inside.empty() && *inside.begin() != "..";
}

Result<std::vector<std::string>> CloudContainer::list(const std::string& folder) const {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::string name = entry->path().filename().string();
    if (!isTemporaryFileName(name)) names.push_back(std::move(name));
  }
  if (error) return Failure{"cannot list " + folder + ": " + error.message(), error.value()};
  std::sort(names.begin(), names.end());
  return names;
}

Result<std::string> CloudContainer::read(const std::string& path, std::size_t limit) const {
  Result<std::string> bytes = Failure{"not read"};
  const Outcome outcome = coordinator_.coordinateReading(path, [&]() -> Outcome {
    bytes = readWholeFile(path, limit);
    return Done{};
  });
  if (!outcome) return outcome.failure();
  return bytes;
}

Outcome CloudContainer::write(const std::string& path, std::string_view bytes) const {
  return coordinator_.coordinateWriting(path, [&] { return writeFileAtomically(path, bytes); });
}

Outcome CloudContainer::remove(const std::string& path) const {
  return coordinator_.coordinateWriting(path, [&] { return removeFile(path); });
}

Outcome CloudContainer::makeFolder(const std::string& path) const {
  return coordinator_.coordinateWriting(path, [&] { return morv::makeFolder(path); });
}

Outcome CloudContainer::startWatching(FolderWatch::Listener listener) {
  stopWatching();
  const auto folder = path();
  if (!folder) return Failure{"no cloud folder is present"};
  auto watch = FolderWatch::start(*folder, std::move(listener));
  if (!watch) return watch.failure();
  watch_ = std::move(watch).value();
  watchedFolder_ = *folder;
  return Done{};
}

bool CloudContainer::isWatching() const {
  return watch_ != nullptr && !watch_->isOver() && path() == watchedFolder_;
}

}  // namespace morv
