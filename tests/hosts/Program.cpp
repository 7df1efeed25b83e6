#include "tests/hosts/Program.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <optional>

namespace morv {
namespace {

std::string contentOf(std::FILE* file) {
  std::fseek(file, 0, SEEK_END);
  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

[[noreturn]] void become(const std::vector<std::string>& all, std::FILE* output, std::FILE* errors,
                         std::optional<unsigned long> fileLimit) {
  dup2(fileno(output), STDOUT_FILENO);
  dup2(fileno(errors), STDERR_FILENO);
  if (fileLimit) {
    const rlimit limit{*fileLimit, *fileLimit};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);
  }
  std::vector<std::string> words = all;
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(arguments.front(), arguments.data());
  _exit(127);
}

std::vector<std::string> withProgram(const std::vector<std::string>& words) {
  std::vector<std::string> all = {MORV_PROGRAM};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

ProgramResult run(const std::vector<std::string>& words, std::optional<unsigned long> fileLimit) {
  std::FILE* output = std::tmpfile();
  std::FILE* errors = std::tmpfile();
  const pid_t child = fork();
  if (child == 0) become(words, output, errors, fileLimit);
  int status = 0;
  waitpid(child, &status, 0);
  ProgramResult result;
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  result.output = contentOf(output);
  result.errors = contentOf(errors);
  return result;
}

}  // namespace

ProgramResult runMorv(const std::vector<std::string>& words) { return run(withProgram(words), std::nullopt); }

ProgramResult runMorvWithFileLimit(const std::vector<std::string>& words, unsigned long limitBytes) {
  return run(withProgram(words), limitBytes);
}

ProgramResult runShell(const std::string& line) {
  return run({"/bin/sh", "-c", "MORV='" MORV_PROGRAM "'; " + line}, std::nullopt);
}

int runMorvAndSignal(const std::vector<std::string>& words, int signal, const std::function<bool()>& begun) {
  std::FILE* output = std::tmpfile();
  std::FILE* errors = std::tmpfile();
  const pid_t child = fork();
  if (child == 0) {
    std::signal(signal, SIG_DFL);  // whoever runs the tests may ignore it
    become(withProgram(words), output, errors, std::nullopt);
  }
  int status = 0;
  bool ended = false;
  while (!begun() && !ended) ended = waitpid(child, &status, WNOHANG) == child;
  if (!ended) {
    kill(child, signal);
    waitpid(child, &status, 0);
  }
  std::fclose(output);
  std::fclose(errors);
  return status;
}

}  // namespace morv
