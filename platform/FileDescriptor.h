#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/Export.h"

namespace morv {

// Owns an open file of the system and closes it. One thread at a time, not the render thread.
class MORV_EXPORT FileDescriptor {
 public:
  FileDescriptor() = default;
  // Takes over what `open` and its kin gave; a negative number is no file.
  explicit FileDescriptor(int number) : number_(number) {}
  ~FileDescriptor() { close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      close();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }

  bool isOpen() const noexcept { return number_ >= 0; }
  int number() const noexcept { return number_; }

  // At most `count` bytes, whatever signals come; 0 at the end of the file, negative with `errno` on an
  // error.
  ssize_t readSome(char* bytes, std::size_t count) const;
  // All of the bytes, or false with `errno`.
  bool writeAll(std::string_view bytes) const;
  // False with `errno` if the system only now tells that something went wrong; the file is closed either way.
  bool close();

 private:
  int number_ = -1;
};

}  // namespace morv
