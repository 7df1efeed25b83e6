#include "platform/PropertyListFile.h"

#include "platform/AtomicFile.h"
#include "platform/FileBytes.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"

namespace morv {

Result<PropertyListValue> readPropertyListFile(const std::string& path) {
  const Result<std::string> bytes = readWholeFile(path, kMaxPropertyListBytes);
  if (!bytes) return bytes.failure();
  Result<PropertyListValue> value = readPropertyList(bytes.value());
  if (!value) return Failure{path + ": " + value.reason()};
  return value;
}

Outcome writePropertyListFile(const std::string& path, const PropertyListValue& value) {
  const Result<std::string> text = writePropertyList(value);
  if (!text) return Failure{"cannot write " + path + ": " + text.reason()};
  return writeFileAtomically(path, text.value());
}

}  // namespace morv
