#include "platform/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/FileDescriptor.h"

namespace morv {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".morv-";
constexpr std::string_view kSuffix = ".tmp";
constexpr mode_t kNewFileMode = 0666;  // the process's mask takes away from it
constexpr mode_t kPermissionBits = 07777;

// A file beside the one to replace, removed unless it has taken that one's name.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& folder) {
    static std::atomic<unsigned> counter{0};
    do {
      path_ = folder / (std::string(kPrefix) + std::to_string(::getpid()) + "-" +
                        std::to_string(counter.fetch_add(1)) + std::string(kSuffix));
      file_ = FileDescriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode));
    } while (!file_.isOpen() && errno == EEXIST);
    exists_ = file_.isOpen();
  }
  ~TemporaryFile() {
    if (exists_) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool isOpen() const { return exists_; }

  bool takePermissionsOf(const fs::path& other) const {
    struct stat status {};
    if (::stat(other.c_str(), &status) != 0) return errno == ENOENT;
    return ::fchmod(file_.number(), status.st_mode & kPermissionBits) == 0;
  }
  bool fill(std::string_view bytes) {
    return file_.writeAll(bytes) && ::fsync(file_.number()) == 0 && file_.close();
  }
  bool takeNameOf(const fs::path& other) {
    if (::rename(path_.c_str(), other.c_str()) != 0) return false;
    exists_ = false;
    return true;
  }

 private:
  fs::path path_;
  FileDescriptor file_;
  bool exists_ = false;
};

// Where the file really lies, behind all symbolic links.
fs::path targetOf(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? fs::path(path) : target;
}

// Some file systems cannot do this for folders, and the content is safe already.
bool flushFolder(const fs::path& folder) {
  const FileDescriptor open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return open.isOpen() && (::fsync(open.number()) == 0 || errno == EINVAL || errno == ENOTSUP);
}

}  // namespace

Outcome writeFileAtomically(const std::string& path, std::string_view bytes) {
  const std::string what = "cannot write " + path;
  const fs::path target = targetOf(path);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  TemporaryFile temporary(folder);
  if (!temporary.isOpen() || !temporary.takePermissionsOf(target) || !temporary.fill(bytes) ||
      !temporary.takeNameOf(target))
    return systemFailure(what);
  if (!flushFolder(folder)) return systemFailure("cannot flush the folder of " + path);
  return Done{};
}

bool isTemporaryFileName(std::string_view name) {
  return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

void removeStaleTemporaryFiles(const std::string& folder) {
  const auto oldest = fs::file_time_type::clock::now() - std::chrono::hours(1);
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!isTemporaryFileName(entry->path().filename().string())) continue;
    std::error_code ignored;
    const auto changed = entry->last_write_time(ignored);
    if (!ignored && changed < oldest) fs::remove(entry->path(), ignored);
  }
}

Outcome makeFolder(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) return Failure{"cannot make the folder " + path + ": " + error.message(), error.value()};
  return Done{};
}

Outcome removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return systemFailure("cannot remove " + path);
  return Done{};
}

}  // namespace morv
