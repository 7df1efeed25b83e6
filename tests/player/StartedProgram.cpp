#include "tests/player/StartedProgram.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "tests/player/Polling.h"

namespace morv {
namespace {

constexpr double kSecondsToEnd = 5;

[[noreturn]] void become(std::vector<std::string> words, const StartedProgram::Environment& changes,
                         const std::string& messagesPath, int input) {
  for (const auto& [name, value] : changes) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
  const int messages = open(messagesPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(input, STDIN_FILENO);
  dup2(messages, STDOUT_FILENO);
  dup2(messages, STDERR_FILENO);
  std::signal(SIGINT, SIG_DFL);  // whoever runs the tests may ignore it
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execvp(arguments.front(), arguments.data());
  _exit(127);
}

}  // namespace

StartedProgram::StartedProgram(const std::vector<std::string>& words, const Environment& changes,
                               std::string messagesPath)
    : messagesPath_(std::move(messagesPath)) {
  std::array<int, 2> input{};
  if (pipe2(input.data(), O_CLOEXEC) != 0) return;
  const FileDescriptor end(input[0]);
  input_ = FileDescriptor(input[1]);
  id_ = fork();
  if (id_ == 0) become(words, changes, messagesPath_, input[0]);
}

StartedProgram::~StartedProgram() {
  if (status_) return;
  signal(SIGTERM);
  if (status(kSecondsToEnd)) return;
  signal(SIGKILL);
  status(kSecondsToEnd);
}

void StartedProgram::signal(int number) const {
  if (id_ > 0 && !status_) kill(id_, number);
}

std::optional<int> StartedProgram::status(double withinSeconds) {
  if (status_) return status_;
  holdsWithin(withinSeconds, [this] {
    int status = 0;
    if (waitpid(id_, &status, WNOHANG) != id_) return false;
    constexpr int kSignalCode = 128;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalCode + WTERMSIG(status);
    return true;
  });
  return status_;
}

std::string StartedProgram::messages() const {
  std::ifstream file(messagesPath_);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace morv
