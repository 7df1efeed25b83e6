#include "platform/Directories.h"

#include <dlfcn.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace morv {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> environmentOfProcess(const std::string& name) {
  const char* value = ::secure_getenv(name.c_str());
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<std::string> absolutePath(const Directories::Lookup& environment, const std::string& name) {
  auto value = environment(name);
  return value && value->starts_with('/') ? value : std::nullopt;
}

std::string homeFolder(const Directories::Lookup& environment) {
  if (auto home = absolutePath(environment, "HOME")) return *std::move(home);
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> text{};
  if (::getpwuid_r(::getuid(), &entry, text.data(), text.size(), &found) == 0 && found != nullptr)
    return entry.pw_dir;
  return "/";
}

// What a line `XDG_DOCUMENTS_DIR="$HOME/Papers"` of user-dirs.dirs says.
std::optional<std::string> documentsOfUserDirs(const std::string& path, const std::string& home) {
  constexpr std::string_view kStart = "XDG_DOCUMENTS_DIR=\"";
  constexpr std::string_view kHome = "$HOME";
  std::optional<std::string> folder;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(kStart)) continue;
    std::string value = line.substr(kStart.size(), line.find('"', kStart.size()) - kStart.size());
    if (value.starts_with(kHome)) value.replace(0, kHome.size(), home);
    if (value.starts_with('/')) folder = value;
  }
  return folder;
}

}  // namespace

Directories Directories::ofUser() { return ofUser(environmentOfProcess); }

Directories Directories::ofUser(const Lookup& environment) {
  const std::string home = homeFolder(environment);
  const auto folder = [&](const std::string& name, const std::string& otherwise) {
    return absolutePath(environment, name).value_or(home + otherwise);
  };
  const std::string configuration = folder("XDG_CONFIG_HOME", "/.config");
  auto documents = absolutePath(environment, "XDG_DOCUMENTS_DIR");
  if (!documents) documents = documentsOfUserDirs(configuration + "/user-dirs.dirs", home);
  const auto runtime = absolutePath(environment, "XDG_RUNTIME_DIR");
  Directories directories;
  directories.configuration = configuration + "/morv";
  directories.data = folder("XDG_DATA_HOME", "/.local/share") + "/morv";
  directories.documents = documents.value_or(home + "/Documents") + "/MORV";
  directories.locks = (runtime ? *runtime : folder("XDG_CACHE_HOME", "/.cache")) + "/morv/locks";
  directories.resources = resourcesOfLibrary();
  return directories;
}

Directories Directories::under(const std::string& folder) {
  return {folder + "/configuration", folder + "/data", folder + "/documents", folder + "/locks",
          folder + "/resources"};
}

std::string Directories::resourcesOfLibrary() {
  Dl_info info{};
  // Any function of this library tells where it was loaded from.
  if (::dladdr(reinterpret_cast<const void*>(&documentsOfUserDirs), &info) == 0) return {};
  std::error_code error;
  const fs::path library = fs::canonical(info.dli_fname, error);
  return error ? std::string() : resourcesNear(library.parent_path().string());
}

std::string Directories::resourcesNear(const std::string& libraryFolder) {
  for (const char* place :
       {"resources", "../share/morv", "../../share/morv", "../../../share/morv", "../../../resources"}) {
    std::error_code error;
    const fs::path folder = (fs::path(libraryFolder) / place).lexically_normal();
    if (fs::is_directory(folder, error)) return folder.string();
  }
  return {};
}

}  // namespace morv
