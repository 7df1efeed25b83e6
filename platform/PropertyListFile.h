#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/PropertyListValue.h"
#include "platform/Result.h"

namespace morv {

// The property list of a file, XML or binary. A reason names the file; a file that is not there is a failure
// with ENOENT. Any thread but the render thread.
MORV_EXPORT Result<PropertyListValue> readPropertyListFile(const std::string& path);
// Writes a property list as XML in the place of the file; AtomicFile.h says what that promises.
MORV_EXPORT Outcome writePropertyListFile(const std::string& path, const PropertyListValue& value);

}  // namespace morv
