#include "platform/FileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/FileDescriptor.h"

namespace morv {

std::optional<std::vector<unsigned char>> readFileBytes(const std::string& path, std::size_t offset,
                                                        std::size_t count) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  file.seekg(static_cast<std::streamoff>(offset));
  std::vector<char> bytes(count);
  file.read(bytes.data(), static_cast<std::streamsize>(count));
  if (file.gcount() != static_cast<std::streamsize>(count)) return std::nullopt;
  return std::vector<unsigned char>(bytes.begin(), bytes.end());
}

Result<std::string> readWholeFile(const std::string& path, std::size_t limit) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen()) return systemFailure("cannot open " + path);
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) return systemFailure("cannot look at " + path);
  if (!S_ISREG(status.st_mode)) return Failure{path + " is no regular file"};
  const Failure tooLong{path + " is longer than " + std::to_string(limit) + " bytes"};
  if (static_cast<std::size_t>(status.st_size) > limit) return tooLong;
  std::string bytes(static_cast<std::size_t>(status.st_size) + 1,
                    '\0');  // one more shows whether it has grown
  std::size_t filled = 0;
  for (;;) {
    const auto got = file.readSome(bytes.data() + filled, bytes.size() - filled);
    if (got < 0) return systemFailure("cannot read " + path);
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
    if (filled > limit) return tooLong;
    if (filled == bytes.size()) bytes.resize(2 * filled);
  }
  bytes.resize(filled);
  return bytes;
}

std::vector<std::string> filesWithExtension(const std::string& folder, const std::string& extension) {
  std::vector<std::string> paths;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == extension) paths.push_back(entry->path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace morv
