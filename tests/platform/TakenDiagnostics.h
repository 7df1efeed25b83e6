#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/DiagnosticRing.h"

namespace morv {

// Everything that waits in the diagnostic ring, as it would be printed.
inline std::string takeDiagnostics() {
  char* memory = nullptr;
  std::size_t length = 0;
  std::FILE* sink = open_memstream(&memory, &length);
  DiagnosticRing::shared().drain(sink);
  std::fclose(sink);
  std::string lines(memory, length);
  std::free(memory);
  return lines;
}

}  // namespace morv
