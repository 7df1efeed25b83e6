#include "hosts/cli/CommandLine.h"

#include <algorithm>

#include "hosts/cli/NearestNames.h"

namespace morv::cli {
namespace {

Failure unknownOption(const std::string& word, std::span<const OptionSpec> specs) {
  std::vector<std::string> names;
  for (const auto& spec : specs) names.push_back("--" + std::string(spec.name));
  const auto nearest = nearestNames(word, names, 1);
  return {"unknown option '" + word + "'" +
          (nearest.empty() ? std::string{} : "; the nearest is " + nearest.front())};
}

}  // namespace

Result<CommandLine> CommandLine::parse(std::span<const std::string> words,
                                       std::span<const OptionSpec> specs) {
  CommandLine line;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--") {
      const auto rest = words.subspan(i + 1);
      line.operands_.insert(line.operands_.end(), rest.begin(), rest.end());
      break;
    }
    if (word.size() < 2 || word[0] != '-') {
      line.operands_.push_back(word);
      continue;
    }
    const auto equals = word.find('=');
    const std::string option = word.substr(0, equals);
    const auto spec = std::find_if(specs.begin(), specs.end(), [&option](const OptionSpec& each) {
      return option.size() > 2 && option.starts_with("--") && option.substr(2) == each.name;
    });
    if (spec == specs.end()) return unknownOption(option, specs);
    if (!spec->takesValue) {
      if (equals != std::string::npos) return Failure{"option '" + option + "' takes no value"};
      line.given_.push_back({spec->name, {}});
    } else if (equals != std::string::npos) {
      line.given_.push_back({spec->name, word.substr(equals + 1)});
    } else if (i + 1 < words.size()) {
      line.given_.push_back({spec->name, words[++i]});
    } else {
      return Failure{"option '" + option + "' needs a value"};
    }
  }
  return line;
}

bool CommandLine::has(std::string_view name) const { return value(name).has_value(); }

std::optional<std::string> CommandLine::value(std::string_view name) const {
  const auto found =
      std::find_if(given_.rbegin(), given_.rend(), [name](const Given& each) { return each.name == name; });
  if (found == given_.rend()) return std::nullopt;
  return found->value;
}

std::vector<std::string> CommandLine::values(std::string_view name) const {
  std::vector<std::string> list;
  for (const auto& each : given_) {
    if (each.name == name) list.push_back(each.value);
  }
  return list;
}

}  // namespace morv::cli
