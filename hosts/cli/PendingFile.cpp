#include "hosts/cli/PendingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace morv::cli {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU, SIGXFSZ};

// Bytes of the target's name that the temporary one bears: with its own eight it stays a legal name.
constexpr std::size_t kMostOfName = 200;

// What the signal's clean-up removes; empty for nothing.
std::array<char, PATH_MAX + 1> pendingPath{};

extern "C" void removePendingFile(int signal) {
  if (pendingPath[0] != '\0') unlink(pendingPath.data());
  std::signal(signal, SIG_DFL);
  raise(signal);
}

// Signals that the caller had ignored (as nohup does) stay ignored.
void watchSignals() {
  for (const int signal : kEndingSignals) {
    struct sigaction present = {};
    if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler == SIG_IGN) continue;
    struct sigaction action = {};
    action.sa_handler = removePendingFile;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

// Holds all signals back while it lives.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsHeldBack() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_{};
};

void rememberPath(const std::string& path) {
  const SignalsHeldBack held;
  std::memcpy(pendingPath.data(), path.c_str(), path.size() + 1);
}

// Makes the file, which the signals' clean-up knows from its first moment on. Descriptor, or below 0.
int makeRememberedFile(std::string* temporary) {
  watchSignals();
  const SignalsHeldBack held;
  const int descriptor = mkstemp(temporary->data());
  if (descriptor >= 0) rememberPath(*temporary);
  return descriptor;
}

// Temporary files are made readable by their owner alone; a result is as readable as any new file.
void giveUsualMode(int descriptor) {
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(descriptor, static_cast<mode_t>(0666) & ~mask);
}

}  // namespace

PendingFile::PendingFile(std::string target, std::string temporary, int descriptor)
    : target_(std::move(target)), temporary_(std::move(temporary)), descriptor_(descriptor) {}

Result<std::unique_ptr<PendingFile>> PendingFile::create(const std::string& target) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::path place = target;
  if (fs::is_symlink(fs::symlink_status(place, error))) {
    place = fs::weakly_canonical(place, error);
    if (error) return Failure{target + ": cannot be written: " + error.message()};
  }
  const auto status = fs::status(place, error);
  if (status.type() == fs::file_type::none) {
    return Failure{target + ": cannot be written: " + error.message()};
  }
  if (fs::is_directory(status)) return Failure{target + ": is a directory"};
  if (fs::exists(status) && !fs::is_regular_file(status)) return Failure{target + ": is no plain file"};
  // A place in the folder would do to replace it, but who takes a file's write permission away means it.
  if (fs::exists(status) && faccessat(AT_FDCWD, place.c_str(), W_OK, AT_EACCESS) != 0) {
    return Failure{target + ": cannot be written: " + std::strerror(errno)};
  }
  if (place.filename().empty()) return Failure{target + ": names no file"};

  const std::string start = place.filename().string().substr(0, kMostOfName);
  std::string temporary = (place.parent_path() / std::string(".").append(start).append(".XXXXXX")).string();
  if (temporary.size() > PATH_MAX) return Failure{target + ": cannot be written: the name is too long"};
  const int descriptor = makeRememberedFile(&temporary);
  if (descriptor < 0) return Failure{target + ": cannot be written: " + std::strerror(errno)};
  giveUsualMode(descriptor);
  return std::unique_ptr<PendingFile>(new PendingFile(place.string(), temporary, descriptor));
}

PendingFile::~PendingFile() { discard(); }

void PendingFile::discard() noexcept {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  rememberPath({});
  temporary_.clear();
}

Outcome PendingFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return Failure{target_ + ": cannot be written: " + std::strerror(errno)};
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return Done{};
}

Outcome PendingFile::commit() {
  const int descriptor = std::exchange(descriptor_, -1);
  if (close(descriptor) != 0 || rename(temporary_.c_str(), target_.c_str()) != 0) {
    const std::string reason = target_ + ": cannot be written: " + std::strerror(errno);
    discard();
    return Failure{reason};
  }
  rememberPath({});
  temporary_.clear();
  return Done{};
}

}  // namespace morv::cli
