#pragma once

#include <string>
#include <string_view>

namespace morv::cli {

// A text as it stands in a table of lines and tabs: a tab as "\t", the ends of lines as "\n" and "\r".
std::string tableCell(std::string_view text);

}  // namespace morv::cli
