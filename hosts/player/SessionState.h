#pragma once

#include <optional>
#include <string>

#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"

namespace morv::player {

// The unit's state in a session's folder: one property list, "<path>/state.plist". Main thread.

// None if the session has no state yet. Fails if there is one that cannot be read or is none.
Result<std::optional<PropertyListDictionary>> readSessionState(const std::string& path);
// Makes the folder if need be and replaces the file as a whole.
Outcome writeSessionState(const std::string& path, const PropertyListDictionary& state);

}  // namespace morv::player
