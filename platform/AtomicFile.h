#pragma once

#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Result.h"

namespace morv {

// Replaces the whole content of a file, or makes the file. Whoever reads it, at whatever moment and even
// after the process was killed or the machine lost its power, finds all of the old content or all of the new.
//
// The bytes go into a new file beside the old one, to the disk, and then take its name. A file that was there
// keeps its permissions, a new one gets those that the process's mask allows; a symbolic link stays one and
// its target is replaced. On failure the old file stands and nothing new lies beside it; only if the folder
// cannot be flushed at the very end, the new one stands already and may still be lost with the power. The
// folder has to be there.
//
// Any thread but the render thread; of several writers at once one is the last and wins.
MORV_EXPORT Outcome writeFileAtomically(const std::string& path, std::string_view bytes);

// Whether a file of this name (without folders) is one that `writeFileAtomically` has under way, or that a
// killed process left. Listings leave it out.
MORV_EXPORT bool isTemporaryFileName(std::string_view name);
// Removes such files of a folder that are older than an hour.
MORV_EXPORT void removeStaleTemporaryFiles(const std::string& folder);

// Makes a folder with all folders above it; one that is there is fine.
MORV_EXPORT Outcome makeFolder(const std::string& path);
// Removes a file; one that is not there is a failure with ENOENT.
MORV_EXPORT Outcome removeFile(const std::string& path);

}  // namespace morv
