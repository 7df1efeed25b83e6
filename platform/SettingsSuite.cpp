#include "platform/SettingsSuite.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"

namespace morv {

SettingsSuite::SettingsSuite(std::string folder, std::string name, MessageHandler messages)
    : folder_(std::move(folder)),
      path_(folder_ + "/" + std::move(name) + ".plist"),
      messages_(std::move(messages)) {
  removeStaleTemporaryFiles(folder_);
  if (const auto read = takeUpFile(); !read) tell(read.reason());
}

SettingsSuite::~SettingsSuite() {
  const std::lock_guard lock(fileMutex_);
  if (!hasChanges()) return;
  if (const auto written = writeChanges(); !written) tell(written.reason());
}

Outcome SettingsSuite::synchronize() {
  std::unique_lock lock(fileMutex_);
  const auto keys = hasChanges() ? writeChanges() : takeUpFile();
  lock.unlock();
  return tellOf(keys);
}

Outcome SettingsSuite::refresh() {
  std::unique_lock lock(fileMutex_);
  const auto keys = takeUpFile();
  lock.unlock();
  return tellOf(keys);
}

Outcome SettingsSuite::update(const std::string& key, const Change& change) {
  std::unique_lock lock(fileMutex_);
  const auto keys = writeUpdate(key, change);
  lock.unlock();
  return tellOf(keys);
}

Outcome SettingsSuite::tellOf(const Result<Keys>& keys) {
  if (!keys) return keys.failure();
  tellObservers(keys.value());
  return Done{};
}

Result<SettingsSuite::Keys> SettingsSuite::takeUpFile() {
  Seen current = lookAtFile();  // before the read: a file that is replaced meanwhile is another one next time
  if (current.signature == seen_.signature) return Keys{};
  const auto values = readFile(false);
  if (!values) return values.failure();
  seen_ = std::move(current);
  return adopt(*values.value().dictionary());
}

void SettingsSuite::put(const std::string& key, const std::optional<Value>& value, Value* values) {
  if (value) {
    values->dictionary()->set(key, *value);
  } else {
    values->dictionary()->remove(key);
  }
}

Result<SettingsSuite::Keys> SettingsSuite::writeChanges() {
  if (const Outcome made = makeFolder(folder_); !made) return made.failure();
  const auto lock = lockFile();
  if (!lock) return lock.failure();
  auto merged = readFile(true);
  if (!merged) return merged.failure();
  const Changes changes = takeChanges();
  for (const auto& [key, value] : changes) put(key, value, &merged.value());
  auto keys = writeMerged(merged.value(), nullptr);
  if (!keys) returnChanges(changes);
  return keys;
}

Result<SettingsSuite::Keys> SettingsSuite::writeUpdate(const std::string& key, const Change& change) {
  if (const Outcome made = makeFolder(folder_); !made) return made.failure();
  const auto lock = lockFile();
  if (!lock) return lock.failure();
  Seen current = lookAtFile();
  auto merged = readFile(true);
  if (!merged) return merged.failure();
  const Changes changes = takeChanges();
  for (const auto& [waitingKey, value] : changes) put(waitingKey, value, &merged.value());
  const Value* found = merged.value().dictionary()->find(key);
  const std::optional<Value> held = found != nullptr ? std::optional(*found) : std::nullopt;
  std::optional<Value> value = held;
  change(value);
  if (changes.empty() && value == held) {
    seen_ = std::move(current);
    return adopt(*merged.value().dictionary());
  }
  put(key, value, &merged.value());
  auto keys = writeMerged(merged.value(), &key);
  if (!keys) returnChanges(changes);
  return keys;
}

Result<SettingsSuite::Keys> SettingsSuite::writeMerged(const Value& merged, const std::string* updatedKey) {
  Result<std::string> text = writePropertyList(merged);
  if (!text) {
    const auto writable = withoutWhatCannotBeWritten(merged, updatedKey);
    if (!writable) return writable.failure();
    text = writePropertyList(writable.value());
  }
  if (!text) return Failure{"cannot write " + path_ + ": " + text.reason()};
  if (const Outcome written = writeFileAtomically(path_, text.value()); !written) return written.failure();
  seen_ = lookAtFile();
  return adopt(*merged.dictionary());
}

Result<SettingsSuite::Value> SettingsSuite::withoutWhatCannotBeWritten(Value values,
                                                                       const std::string* updatedKey) {
  Changes refused;
  Keys messages;
  const auto old = readFile(true);
  if (!old) return old.failure();
  for (const auto& [key, value] : values.dictionary()->entries()) {
    const auto text = writePropertyList(Value::Dictionary{{key, value}});
    if (text) continue;
    const std::string message = "the setting \"" + key + "\" cannot be kept: " + text.reason();
    if (updatedKey != nullptr && key == *updatedKey) return Failure{message};
    messages.push_back(message);
    const Value* kept = old.value().dictionary()->find(key);
    refused.emplace(key, kept != nullptr ? std::optional(*kept) : std::nullopt);
  }
  for (const auto& [key, kept] : refused) put(key, kept, &values);
  for (const std::string& message : messages) tell(message);
  return values;
}

Result<SettingsSuite::Value> SettingsSuite::readFile(bool isLocked) {
  const auto bytes = readWholeFile(path_, kMaxPropertyListBytes);
  if (!bytes) {
    if (bytes.failure().systemError == ENOENT) return Value();
    return bytes.failure();
  }
  if (bytes.value() == parsedText_) return parsedValue_;
  auto value = readPropertyList(bytes.value());
  if (value && value.value().dictionary() != nullptr) {
    parsedText_ = bytes.value();
    parsedValue_ = value.value();
    return value;
  }
  if (isLocked) return setAside(value ? "it is no dictionary" : value.reason());
  const auto lock = lockFile();
  if (!lock) return lock.failure();
  return readFile(true);  // another process may have mended it
}

Result<SettingsSuite::Value> SettingsSuite::setAside(const std::string& reason) {
  std::string aside = path_ + ".damaged";
  std::error_code error;
  for (int i = 2; std::filesystem::exists(aside, error); ++i) aside = path_ + ".damaged-" + std::to_string(i);
  std::filesystem::rename(path_, aside, error);
  if (error) return Failure{"cannot set the damaged file " + path_ + " aside: " + error.message()};
  tell("the settings in " + path_ + " were damaged (" + reason + ") and are now in " + aside);
  markAllChanged();
  return Value();
}

SettingsSuite::Seen SettingsSuite::lookAtFile() const {
  Seen seen{FileDescriptor(::open(path_.c_str(), O_PATH | O_CLOEXEC)), std::nullopt};
  struct stat status {};
  if (!seen.file.isOpen() || ::fstat(seen.file.number(), &status) != 0) return seen;
  seen.signature =
      Signature{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
  return seen;
}

Result<FileLock> SettingsSuite::lockFile() const {
  constexpr std::chrono::milliseconds kPatience{10000};
  return FileLock::acquire(path_ + ".lock", FileLock::Mode::exclusive, kPatience);
}

void SettingsSuite::tell(const std::string& message) const {
  if (messages_) messages_(message);
}

}  // namespace morv
