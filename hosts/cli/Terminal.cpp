#include "hosts/cli/Terminal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace morv::cli {

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
