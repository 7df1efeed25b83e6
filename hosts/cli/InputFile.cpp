#include "hosts/cli/InputFile.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace morv::cli {

Result<std::vector<std::uint8_t>> readInputFile(const std::string& path) {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
  if (!file) return Failure{path + ": cannot be opened: " + std::strerror(errno)};
  std::vector<std::uint8_t> bytes;
  std::array<std::uint8_t, 65536> piece{};
  for (;;) {
    errno = 0;
    const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get());
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    if (bytes.size() > kMaxInputBytes) return Failure{path + ": is larger than 64 MiB"};
    if (count == piece.size()) continue;
    if (std::ferror(file.get()) != 0) return Failure{path + ": cannot be read: " + std::strerror(errno)};
    return bytes;
  }
}

bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  return !one.empty() && !other.empty() && std::filesystem::equivalent(one, other, error);
}

}  // namespace morv::cli
