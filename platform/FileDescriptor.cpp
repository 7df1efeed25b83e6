#include "platform/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace morv {

ssize_t FileDescriptor::readSome(char* bytes, std::size_t count) const {
  ssize_t got = 0;
  do {
    got = ::read(number_, bytes, count);
  } while (got < 0 && errno == EINTR);
  return got;
}

bool FileDescriptor::writeAll(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t put = ::write(number_, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

bool FileDescriptor::close() {
  if (number_ < 0) return true;
  const int closed = ::close(std::exchange(number_, -1));
  return closed == 0 || errno == EINTR;
}

}  // namespace morv
