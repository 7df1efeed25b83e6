#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/Export.h"
#include "platform/FileDescriptor.h"
#include "platform/Result.h"

namespace morv {

// Tells of changes in a folder and all folders below it, whoever makes them: files written, made, moved and
// removed, folders made and removed, the folder itself gone. One call may stand for many changes, and a call
// may come for a change that the listener made itself; files that AtomicFile.h has under way do not count.
// Symbolic links to folders are not followed. Once the folder itself is gone, nothing more is told, even if a
// new one takes its name.
//
// `start` and the destructor: any one thread but the render thread and the watch's own.
class MORV_EXPORT FolderWatch {
 public:
  // Runs on the watch's own thread, one call after another; does not throw.
  using Listener = std::function<void()>;

  // Fails if the folder is not there or the system has no more watches to give. Changes from the return on
  // are told.
  static Result<std::unique_ptr<FolderWatch>> start(const std::string& folder, Listener listener);
  // Whether the folder itself is gone, by removal or under another name, so that nothing more is told. Any
  // thread; true ahead of the call that tells of it.
  bool isOver() const noexcept { return isOver_; }
  // Waits for a call that is under way; none comes afterwards.
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

 private:
  FolderWatch(std::string folder, Listener listener, FileDescriptor events, FileDescriptor ending);
  void run();
  // Reads what has come; whether it is worth telling.
  bool takeEvents();
  // Watches the folder and all below it; those that are watched already stay so.
  Outcome watchTree();
  // Gives the system's number of the watch.
  Result<int> watchFolder(const std::string& folder) const;

  const std::string folder_;
  const Listener listener_;
  const FileDescriptor events_;  // the system's list of changes
  const FileDescriptor ending_;  // becomes readable when the thread has to end
  int root_ = -1;                // the number of the folder itself there
  std::atomic<bool> isOver_{false};
  std::thread thread_;
};

}  // namespace morv
