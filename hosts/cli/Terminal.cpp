#include "hosts/cli/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace morv::cli {

// The stand-in for a closed stream is opened the wrong way round, so that using the stream still fails.
void holdStandardStreams() {
  constexpr std::array kWrongWays = {O_WRONLY, O_RDONLY, O_RDONLY};
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
    // Streams below are open by now, so the lowest free descriptor is this one.
    if (open("/dev/null", kWrongWays.at(static_cast<std::size_t>(stream))) != stream) return;
  }
}

void warn(const std::string& text) { std::fprintf(stderr, "morv: %s\n", text.c_str()); }

ExitCode fail(ExitCode code, const std::string& reason) {
  warn(reason);
  return code;
}

ExitCode failUsage(const std::string& command, const std::string& reason) {
  warn(reason);
  std::fprintf(stderr, "Try 'morv %s%s--help'.\n", command.c_str(), command.empty() ? "" : " ");
  return ExitCode::usage;
}

ExitCode print(const std::string& data) {
  const bool written = std::fwrite(data.data(), 1, data.size(), stdout) == data.size();
  if (!written || std::fflush(stdout) != 0) {
    return fail(ExitCode::outputFailed, std::string("standard output: ") + std::strerror(errno));
  }
  return ExitCode::ok;
}

}  // namespace morv::cli
