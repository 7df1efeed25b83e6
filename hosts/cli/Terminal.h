#pragma once

#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// Takes the place of standard streams that the caller closed, so that no file that is opened later gets their
// number and, with it, messages among its data. Before anything else is opened.
void holdStandardStreams();
// Prints "morv: reason" to the standard error stream and gives the code back.
ExitCode fail(ExitCode code, const std::string& reason);
// The same for a wrong command line, with a pointer to the help of that command ("render", or empty).
ExitCode failUsage(const std::string& command, const std::string& reason);
// Prints "morv: text" to the standard error stream.
void warn(const std::string& text);
// Writes data to the standard output stream; `outputFailed` with a message when that does not take it.
ExitCode print(const std::string& data);

}  // namespace morv::cli
