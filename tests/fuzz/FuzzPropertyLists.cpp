// Property lists: refused with a reason, or read; what can be written is the same when it is read again.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/PropertyList.h"
#include "tests/fuzz/FuzzedUnit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto read = morv::readPropertyList({reinterpret_cast<const char*>(bytes), size});
  if (!read.ok()) {
    if (read.reason().empty()) morv::failFuzzing("refused without a reason");
    return 0;
  }
  const auto written = morv::writePropertyList(read.value());
  if (!written.ok()) return 0;
  const auto again = morv::readPropertyList(written.value());
  if (!again.ok()) morv::failFuzzing("what was written is refused: " + again.reason());
  const auto rewritten = morv::writePropertyList(again.value());
  if (!rewritten.ok() || rewritten.value() != written.value())
    morv::failFuzzing("a round trip changes the list");
  return 0;
}
