#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/FileDescriptor.h"
#include "platform/Result.h"

namespace morv {

// An advisory lock, held as long as the object lives, on a file that is there for nothing else. It stands
// between processes as well as between threads of one; the system takes it from a process that dies. The file
// stays behind, empty: to remove it would let two holders in.
//
// A thread that asks for a lock that it holds already waits for itself until the time is up. Any thread but
// the render thread; the object itself belongs to one thread at a time.
class MORV_EXPORT FileLock {
 public:
  enum class Mode {
    shared,     // with other shared ones
    exclusive,  // alone
  };

  // Makes the file if it is missing, though not its folder, and waits for the lock, but not for longer than
  // `patience`; a failure has EWOULDBLOCK then.
  static Result<FileLock> acquire(const std::string& path, Mode mode, std::chrono::milliseconds patience);

 private:
  explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace morv
