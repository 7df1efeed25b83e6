#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace morv::cli {

// What one command accepts.
struct OptionSpec {
  std::string_view name;  // without the dashes
  bool takesValue = true;
};

// The words behind a command, sorted into options and the rest: `--name value`, `--name=value`, `--flag`, and
// everything behind `--` is no option.
class CommandLine {
 public:
  static Result<CommandLine> parse(std::span<const std::string> words, std::span<const OptionSpec> specs);

  bool has(std::string_view name) const;
  // The value given last; none when the option was not given.
  std::optional<std::string> value(std::string_view name) const;
  // All values, in their order.
  std::vector<std::string> values(std::string_view name) const;
  // What is no option, in its order.
  const std::vector<std::string>& operands() const noexcept { return operands_; }

 private:
  struct Given {
    std::string_view name;
    std::string value;
  };
  CommandLine() = default;

  std::vector<Given> given_;
  std::vector<std::string> operands_;
};

}  // namespace morv::cli
