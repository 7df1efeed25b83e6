#include "platform/PropertyListFile.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"

namespace morv {
namespace {

// What was read lately: all instruments of a process read the same presets, and to compare bytes is far
// quicker than to parse them. Any thread.
class LatelyRead {
 public:
  static LatelyRead& shared() {
    static LatelyRead all;
    return all;
  }

  std::optional<PropertyListValue> find(const std::string& path, const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    const auto found = files_.find(path);
    if (found == files_.end() || found->second.bytes != bytes) return std::nullopt;
    return found->second.value;
  }
  void keep(const std::string& path, std::string bytes, const PropertyListValue& value) {
    if (bytes.size() > kMostBytes) return;
    const std::lock_guard lock(mutex_);
    if (const auto old = files_.find(path); old != files_.end()) {
      heldBytes_ -= old->second.bytes.size();
      files_.erase(old);
    }
    if (heldBytes_ + bytes.size() > kMostBytes) {
      files_.clear();
      heldBytes_ = 0;
    }
    heldBytes_ += bytes.size();
    files_.emplace(path, File{std::move(bytes), value});
  }

 private:
  static constexpr std::size_t kMostBytes = std::size_t{512} * 1024;  // some hundred presets

  struct File {
    std::string bytes;
    PropertyListValue value;
  };
  std::mutex mutex_;
  std::map<std::string, File> files_;
  std::size_t heldBytes_ = 0;
};

}  // namespace

Result<PropertyListValue> readPropertyListFile(const std::string& path) {
  Result<std::string> bytes = readWholeFile(path, kMaxPropertyListBytes);
  if (!bytes) return bytes.failure();
  if (auto known = LatelyRead::shared().find(path, bytes.value())) return *std::move(known);
  Result<PropertyListValue> value = readPropertyList(bytes.value());
  if (!value) return Failure{path + ": " + value.reason()};
  LatelyRead::shared().keep(path, std::move(bytes.value()), value.value());
  return value;
}

Outcome writePropertyListFile(const std::string& path, const PropertyListValue& value) {
  const Result<std::string> text = writePropertyList(value);
  if (!text) return Failure{"cannot write " + path + ": " + text.reason()};
  return writeFileAtomically(path, text.value());
}

}  // namespace morv
