#include "platform/FolderWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/AtomicFile.h"

namespace morv {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kChanges =
    IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

constexpr std::uint32_t kEnds = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

bool isWorthTelling(const inotify_event& event, const char* name) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) return true;
  return (event.mask & kChanges) != 0 && (event.len == 0 || !isTemporaryFileName(name));
}

bool showsNewFolder(const inotify_event& event) {
  const bool isNew = (event.mask & (IN_CREATE | IN_MOVED_TO)) != 0;
  return (event.mask & IN_Q_OVERFLOW) != 0 || (isNew && (event.mask & IN_ISDIR) != 0);
}

}  // namespace

Result<std::unique_ptr<FolderWatch>> FolderWatch::start(const std::string& folder, Listener listener) {
  FileDescriptor events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  FileDescriptor ending(::eventfd(0, EFD_CLOEXEC));
  if (!events.isOpen() || !ending.isOpen()) return systemFailure("cannot watch " + folder);
  // The constructor is private.
  std::unique_ptr<FolderWatch> watch(
      new FolderWatch(folder, std::move(listener), std::move(events), std::move(ending)));
  if (const Outcome watched = watch->watchTree(); !watched) return watched.failure();
  watch->thread_ = std::thread([raw = watch.get()] { raw->run(); });
  return watch;
}

FolderWatch::FolderWatch(std::string folder, Listener listener, FileDescriptor events, FileDescriptor ending)
    : folder_(std::move(folder)),
      listener_(std::move(listener)),
      events_(std::move(events)),
      ending_(std::move(ending)) {}

FolderWatch::~FolderWatch() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  std::array<char, sizeof one> bytes{};
  std::memcpy(bytes.data(), &one, sizeof one);
  [[maybe_unused]] const bool written = ending_.writeAll({bytes.data(), bytes.size()});
  thread_.join();
}

void FolderWatch::run() {
  for (;;) {
    std::array<pollfd, 2> waited{{{events_.number(), POLLIN, 0}, {ending_.number(), POLLIN, 0}}};
    const int ready = ::poll(waited.data(), waited.size(), -1);
    if (ready < 0 && errno != EINTR) return;
    if (ready <= 0) continue;
    if (waited[1].revents != 0) return;
    if (takeEvents()) listener_();
  }
}

bool FolderWatch::takeEvents() {
  alignas(inotify_event) std::array<char, 16384> bytes{};
  bool isWorth = false;
  bool hasNewFolder = false;
  for (;;) {
    const ssize_t got = events_.readSome(bytes.data(), bytes.size());
    if (got <= 0) break;
    for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
      inotify_event event{};
      std::memcpy(&event, bytes.data() + at, offsetof(inotify_event, name));
      const char* name = bytes.data() + at + offsetof(inotify_event, name);
      isWorth = isWorthTelling(event, name) || isWorth;
      if (event.wd == root_ && (event.mask & kEnds) != 0) isOver_ = true;
      hasNewFolder = showsNewFolder(event) || hasNewFolder;
      at += offsetof(inotify_event, name) + event.len;
    }
  }
  // Before the listener looks, so that what comes into a new folder is either seen by it or told later.
  if (hasNewFolder) [[maybe_unused]]
    const Outcome watched = watchTree();
  return isWorth;
}

Outcome FolderWatch::watchTree() {
  const Result<int> root = watchFolder(folder_);
  if (!root) return root.failure();
  if (root_ < 0) root_ = *root;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder_, fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (!entry->is_directory(ignored) || entry->is_symlink(ignored)) continue;
    const Result<int> folder = watchFolder(entry->path().string());
    if (!folder && folder.failure().systemError != ENOENT) return folder.failure();  // it may be gone again
  }
  return Done{};
}

Result<int> FolderWatch::watchFolder(const std::string& folder) const {
  const int number =
      ::inotify_add_watch(events_.number(), folder.c_str(), kChanges | IN_ONLYDIR | IN_EXCL_UNLINK);
  if (number < 0) return systemFailure("cannot watch " + folder);
  return number;
}

}  // namespace morv
