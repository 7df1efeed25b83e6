#pragma once

namespace morv {

// Every block buffer of the engine holds this many frames from construction, whatever block size it is told,
// so any block of a host fits.
inline constexpr int kMaxBlockFrames = 4096;

}  // namespace morv
