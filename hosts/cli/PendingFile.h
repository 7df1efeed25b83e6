#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/Result.h"

namespace morv::cli {

// A file in the making: it is written under a name of its own beside its target and takes the target's place
// in one step at the end. Without that step, and when a signal ends the program, it vanishes and the target
// stays as it was. One at a time per process, because the signal's clean-up has one place to look.
class PendingFile {
 public:
  // Begins a file for `target`. A target that is a link leads to the file behind it; one that is there but no
  // plain file, or write-protected, is refused. The reason names the target.
  static Result<std::unique_ptr<PendingFile>> create(const std::string& target);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // Open for reading and writing; stays the property of this object.
  int descriptor() const noexcept { return descriptor_; }
  const std::string& target() const noexcept { return target_; }
  // Appends bytes to what was written through the descriptor. The reason names the target.
  Outcome write(std::string_view bytes);
  // Gives the file its target's name.
  Outcome commit();

 private:
  PendingFile(std::string target, std::string temporary, int descriptor);
  void discard() noexcept;

  std::string target_;
  std::string temporary_;
  int descriptor_;
};

}  // namespace morv::cli
