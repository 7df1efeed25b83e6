#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace morv::cli {

// Parameter moves over time from a text file of rows "seconds,identifier,value".
//
// The first line may be the header "seconds,identifier,value". Blank lines, blanks around fields, carriage
// returns and a leading byte-order mark are allowed. Anything else that is no row is refused with its line.
class AutomationFile {
 public:
  struct Row {
    int line = 0;  // from 1
    double seconds = 0;
    std::string identifier;
    float value = 0;
  };

  // Reads a file. The reason begins with "path:line: ", or "path: " when it cannot be read.
  static Result<AutomationFile> read(const std::string& path);
  // Reads text; `name` stands in front of reasons.
  static Result<AutomationFile> parse(std::string_view text, const std::string& name);

  // In time order; rows of one time in the order of their lines.
  const std::vector<Row>& rows() const noexcept { return rows_; }

 private:
  AutomationFile() = default;

  std::vector<Row> rows_;
};

}  // namespace morv::cli
