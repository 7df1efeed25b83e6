#include "hosts/cli/AutomationFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "hosts/cli/InputFile.h"
#include "hosts/cli/Numbers.h"

namespace morv::cli {
namespace {

constexpr std::size_t kFields = 3;
constexpr std::array<std::string_view, kFields> kHeader = {"seconds", "identifier", "value"};

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    const auto comma = line.find(',');
    fields.push_back(trimmed(line.substr(0, comma)));
    if (comma == std::string_view::npos) return fields;
    line.remove_prefix(comma + 1);
  }
}

std::string quoted(std::string_view text) { return std::string("'").append(text).append("'"); }

Result<AutomationFile::Row> rowOf(const std::vector<std::string_view>& fields) {
  if (fields.size() != kFields) {
    return Failure{"expected seconds,identifier,value but found " + std::to_string(fields.size()) +
                   (fields.size() == 1 ? " field" : " fields")};
  }
  AutomationFile::Row row;
  const auto seconds = parseReal(fields[0]);
  if (!seconds) return Failure{quoted(fields[0]) + " is no time in seconds"};
  if (*seconds < 0) return Failure{"a time of " + std::string(fields[0]) + " seconds lies before the start"};
  row.seconds = *seconds;
  if (fields[1].empty()) return Failure{"the identifier is missing"};
  row.identifier = std::string(fields[1]);
  const auto value = parseReal(fields[2]);
  if (!value || !std::isfinite(static_cast<float>(*value))) {
    return Failure{quoted(fields[2]) + " is no value"};
  }
  row.value = static_cast<float>(*value);
  return row;
}

}  // namespace

Result<AutomationFile> AutomationFile::read(const std::string& path) {
  const auto bytes = readInputFile(path);
  if (!bytes) return bytes.failure();
  const std::string text(bytes->begin(), bytes->end());
  return parse(text, path);
}

Result<AutomationFile> AutomationFile::parse(std::string_view text, const std::string& name) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  AutomationFile file;
  for (int line = 1; !text.empty(); ++line) {
    const auto end = text.find('\n');
    const std::string_view content = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (content.empty()) continue;
    const auto fields = fieldsOf(content);
    if (line == 1 && std::equal(fields.begin(), fields.end(), kHeader.begin(), kHeader.end())) continue;
    auto row = rowOf(fields);
    if (!row) return Failure{name + ":" + std::to_string(line) + ": " + row.reason()};
    row->line = line;
    file.rows_.push_back(std::move(*row));
  }
  std::stable_sort(file.rows_.begin(), file.rows_.end(),
                   [](const Row& a, const Row& b) { return a.seconds < b.seconds; });
  return file;
}

}  // namespace morv::cli
