#pragma once

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace morv {

// A folder of a test's own, gone with the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "morv-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
    std::ofstream file(path_ / name, std::ios::binary);
    for (const std::uint8_t byte : bytes) file.put(static_cast<char>(byte));
    return path(name);
  }
  std::string write(const std::string& name, const std::string& text) const {
    return write(name, std::vector<std::uint8_t>(text.begin(), text.end()));
  }
  static std::vector<std::uint8_t> read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  // Names of all that lies in the folder, hidden files too.
  std::vector<std::string> names() const {
    std::vector<std::string> list;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      list.push_back(entry.path().filename());
    return list;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace morv
