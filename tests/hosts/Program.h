#pragma once

#include <functional>
#include <string>
#include <vector>

namespace morv {

// What a finished run of the morv program left.
struct ProgramResult {
  int exitCode = -1;  // -1 when a signal ended it
  std::string output;
  std::string errors;
};

// Runs the program that was built beside the tests and waits for it.
ProgramResult runMorv(const std::vector<std::string>& words);
// The same with a limit on the size of the files that it may write, in bytes.
ProgramResult runMorvWithFileLimit(const std::vector<std::string>& words, unsigned long limitBytes);

// The same by a line of the shell, in which $MORV is the program, with its streams and signals as the line
// says.
ProgramResult runShell(const std::string& line);
// Starts the program, sends it the signal as soon as `begun` answers yes, and gives its wait status. It gets
// no signal if it ends before.
int runMorvAndSignal(const std::vector<std::string>& words, int signal, const std::function<bool()>& begun);

}  // namespace morv
