#pragma once

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

}  // namespace morv
