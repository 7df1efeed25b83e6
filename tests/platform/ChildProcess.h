#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace morv {

// A second process that runs a function of the test and ends with what it returns. Killed with the object if
// it still runs.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& work) {
    if (::pipe(up_) != 0 || ::pipe(down_) != 0) return;
    id_ = ::fork();
    if (id_ != 0) {
      ::close(up_[1]);
      ::close(down_[0]);
      return;
    }
    ::close(up_[0]);
    ::close(down_[1]);
    writeEnd_ = up_[1];
    readEnd_ = down_[0];
    ::_exit(work());
  }
  ~ChildProcess() {
    kill();
    ::close(up_[0]);
    ::close(down_[1]);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // In the child: lets the parent's `waitForSign` return.
  static void giveSign() { [[maybe_unused]] const auto put = ::write(writeEnd_, "x", 1); }
  // In the child: waits until the parent has called `letGo` once more; false if the parent is gone.
  static bool waitForGo() {
    char sign = 0;
    return ::read(readEnd_, &sign, 1) == 1;
  }
  // In the parent.
  void letGo() const { [[maybe_unused]] const auto put = ::write(down_[1], "x", 1); }
  // In the parent: waits for the child's next sign; false if the child ended without.
  bool waitForSign() const {
    char sign = 0;
    return ::read(up_[0], &sign, 1) == 1;
  }
  void kill() {
    if (id_ > 0) ::kill(id_, SIGKILL);
    wait();
  }
  // Waits for the end and gives what the function returned; -1 if it did not come so far.
  int wait() {
    if (id_ <= 0) return -1;
    int status = 0;
    ::waitpid(id_, &status, 0);
    id_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  static inline int writeEnd_ = -1;
  static inline int readEnd_ = -1;
  int up_[2] = {-1, -1};
  int down_[2] = {-1, -1};
  pid_t id_ = -1;
};

}  // namespace morv
