#include "platform/FileBytes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

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
