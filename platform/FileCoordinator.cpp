#include "platform/FileCoordinator.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/AtomicFile.h"

namespace morv {
namespace {

// FNV-1a: the same in every process, which std::hash need not be.
std::uint64_t hashOf(const std::string& text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

Failure ofCoordination(Failure failure) {
  failure.isOfCoordination = true;
  return failure;
}

}  // namespace

FileCoordinator::FileCoordinator(std::string lockFolder, std::chrono::milliseconds patience)
    : lockFolder_(std::move(lockFolder)), patience_(patience) {}

Outcome FileCoordinator::coordinateReading(const std::string& path, const Work& work) const {
  return coordinate(path, FileLock::Mode::shared, work);
}

Outcome FileCoordinator::coordinateWriting(const std::string& path, const Work& work) const {
  return coordinate(path, FileLock::Mode::exclusive, work);
}

Outcome FileCoordinator::coordinate(const std::string& path, FileLock::Mode mode, const Work& work) const {
  if (Outcome made = makeFolder(lockFolder_); !made) {
    return ofCoordination(made.failure());
  }
  const Result<FileLock> lock = FileLock::acquire(lockOf(path), mode, patience_);
  if (!lock) return ofCoordination(lock.failure());
  return work();
}

std::string FileCoordinator::lockOf(const std::string& path) const {
  constexpr std::array<char, 17> kDigits{"0123456789abcdef"};
  std::error_code error;
  const auto target = std::filesystem::weakly_canonical(path, error);
  std::uint64_t hash = hashOf(error ? path : target.string());
  std::string name;
  for (int i = 0; i < 16; ++i, hash >>= 4U) name += kDigits[hash & 0xFU];
  return lockFolder_ + "/" + name + ".lock";
}

}  // namespace morv
