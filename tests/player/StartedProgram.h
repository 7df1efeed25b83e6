#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/FileDescriptor.h"

namespace morv {

// A program that runs beside the test, with its output and messages in a file and an input that brings
// nothing and does not end. Ended with the object, by its own number.
class StartedProgram {
 public:
  using Environment = std::map<std::string, std::string>;

  // The first word is found as a shell finds it. The environment is the test's own with these changes; an
  // empty value takes a variable away.
  StartedProgram(const std::vector<std::string>& words, const Environment& changes, std::string messagesPath);
  ~StartedProgram();
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;

  void signal(int number) const;
  bool isRunning() { return !status(0).has_value(); }
  // Its exit code, or 128 and the number of the signal that killed it; none if it still runs then.
  std::optional<int> status(double withinSeconds);
  std::string messages() const;

 private:
  const std::string messagesPath_;
  FileDescriptor input_;
  pid_t id_ = -1;
  std::optional<int> status_;
};

}  // namespace morv
