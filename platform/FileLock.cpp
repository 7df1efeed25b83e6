#include "platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace morv {

Result<FileLock> FileLock::acquire(const std::string& path, Mode mode, std::chrono::milliseconds patience) {
  constexpr std::chrono::milliseconds kLongestPause{20};
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  if (!file.isOpen()) return systemFailure("cannot open the lock " + path);
  const int operation = (mode == Mode::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  const auto end = std::chrono::steady_clock::now() + patience;
  std::chrono::milliseconds pause{1};
  while (::flock(file.number(), operation) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end)
      return systemFailure("cannot have the lock " + path);
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, kLongestPause);
  }
  return FileLock(std::move(file));
}

}  // namespace morv
