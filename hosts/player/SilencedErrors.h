#pragma once

#include "platform/FileDescriptor.h"

namespace morv::player {

// While one lives, the process's standard error stream leads nowhere: the sound libraries write to it
// whatever they find missing, and have no other way to keep quiet. Main thread; for short times.
class SilencedErrors {
 public:
  SilencedErrors();
  ~SilencedErrors();
  SilencedErrors(const SilencedErrors&) = delete;
  SilencedErrors& operator=(const SilencedErrors&) = delete;

 private:
  FileDescriptor stream_;  // the true one
};

}  // namespace morv::player
