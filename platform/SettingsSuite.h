#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/FileDescriptor.h"
#include "platform/FileLock.h"
#include "platform/Result.h"
#include "platform/SettingsStore.h"

namespace morv {

// Settings that last: one property list of a name ("<folder>/<name>.plist"), shared by all processes and all
// objects of that name.
//
// Setting a value changes memory alone; `synchronize` brings the keys that were set or removed since the last
// time to the file, all at once and whole, and leaves every other key as the file has it, those that this
// program does not know included. Of two who set the same key, the later to synchronise wins. What others
// have written comes in at `synchronize` and `refresh`, for all keys without changes of our own that wait,
// and observers are told of each.
//
// A file that is no property list of a dictionary is renamed to "<name>.plist.damaged" ("-2", "-3" and so on
// behind it if there is one), with a message; what is in memory stands and goes into a new file. At the start
// that is nothing, so defaults hold. A file that cannot be read at all is left alone and nothing is written
// over it.
//
// Any thread but the render thread.
class MORV_EXPORT SettingsSuite final : public SettingsStore {
 public:
  // Gets what went wrong without anyone having asked, for the log; on the thread of the call that found it.
  // It does not use the suite.
  using MessageHandler = std::function<void(const std::string& message)>;

  // Reads the file if there is one. The folder is made at the first write.
  SettingsSuite(std::string folder, std::string name, MessageHandler messages = {});
  // Synchronises.
  ~SettingsSuite() override;

  // Fails with the reason if the file cannot be read, locked or written; the changes then wait for the next
  // time. For a value that no property list can hold the file keeps what it has of that key, with a message;
  // the value stays in memory until others change the file.
  Outcome synchronize() override;
  // Takes up what others have written and writes nothing. Costs one look at the file if nobody has.
  Outcome refresh() override;
  // Changes what the file holds of the key now, or what was set here and still waits, and writes it at once,
  // along with all else that waits. Fails with the reason if the file cannot be read, locked or written, or
  // if no property list can hold the new value. Writes nothing if nothing is different.
  Outcome update(const std::string& key, const Change& change) override;

  const std::string& path() const { return path_; }

 private:
  // Tells one state of the file from another.
  struct Signature {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    std::int64_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const Signature&) const = default;
  };
  // A file that was looked at. It is kept open, so that no new file takes its number as long as it is
  // compared.
  struct Seen {
    FileDescriptor file;
    std::optional<Signature> signature;  // none if there was no file
  };
  using Keys = std::vector<std::string>;
  using Changes = std::map<std::string, std::optional<Value>>;

  Seen lookAtFile() const;
  Result<FileLock> lockFile() const;
  // What the file holds, always a dictionary; an empty one for a missing or damaged file. Sets the latter
  // aside, which takes the lock.
  Result<Value> readFile(bool isLocked);
  Result<Value> setAside(const std::string& reason);
  // Both give the keys that others have changed.
  Result<Keys> takeUpFile();
  Result<Keys> writeChanges();
  Result<Keys> writeUpdate(const std::string& key, const Change& change);
  Result<Keys> writeMerged(const Value& merged, const std::string* updatedKey);
  static void put(const std::string& key, const std::optional<Value>& value, Value* values);
  Outcome tellOf(const Result<Keys>& keys);
  // The same with the file's own values, or none, for the keys whose values are refused. Fails if the updated
  // key is among them. Under the file's lock.
  Result<Value> withoutWhatCannotBeWritten(Value values, const std::string* updatedKey);
  void tell(const std::string& message) const;

  const std::string folder_;
  const std::string path_;
  const MessageHandler messages_;
  std::mutex fileMutex_;  // one at a time reads or writes the file
  Seen seen_;             // the file whose content memory has
  // The text that was parsed last, which need not be parsed again; empty at first, which is no property list.
  std::string parsedText_;
  Value parsedValue_;
};

}  // namespace morv
