#include "hosts/player/SilencedErrors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace morv::player {

SilencedErrors::SilencedErrors() : stream_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  std::fflush(stderr);
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (stream_.isOpen() && nowhere.isOpen()) ::dup2(nowhere.number(), STDERR_FILENO);
}

SilencedErrors::~SilencedErrors() {
  std::fflush(stderr);
  if (stream_.isOpen()) ::dup2(stream_.number(), STDERR_FILENO);
}

}  // namespace morv::player
