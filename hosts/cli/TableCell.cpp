#include "hosts/cli/TableCell.h"

namespace morv::cli {

std::string tableCell(std::string_view text) {
  std::string cell;
  for (const char letter : text) {
    if (letter == '\t') {
      cell += "\\t";
    } else if (letter == '\n') {
      cell += "\\n";
    } else if (letter == '\r') {
      cell += "\\r";
    } else {
      cell += letter;
    }
  }
  return cell;
}

}  // namespace morv::cli
