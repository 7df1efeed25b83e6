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

[[noreturn]] void become(const std::vector<std::string>& words, std::FILE* output, std::FILE* errors,
                         std::optional<unsigned long> fileLimit) {
  dup2(fileno(output), STDOUT_FILENO);
  dup2(fileno(errors), STDERR_FILENO);
  if (fileLimit) {
    const rlimit limit{*fileLimit, *fileLimit};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);
  }
  std::vector<std::string> all = {MORV_PROGRAM};
  all.insert(all.end(), words.begin(), words.end());
  std::vector<char*> arguments;
  for (auto& word : all) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(MORV_PROGRAM, arguments.data());
  _exit(127);
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

ProgramResult runMorv(const std::vector<std::string>& words) { return run(words, std::nullopt); }

ProgramResult runMorvWithFileLimit(const std::vector<std::string>& words, unsigned long limitBytes) {
  return run(words, limitBytes);
}

}  // namespace morv
