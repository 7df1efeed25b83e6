#pragma once

namespace morv {

// Settings and folders of the preset store.
inline constexpr const char* kPresets = "presets";
inline constexpr const char* kFavourites = "favs";
inline constexpr const char* kLastPreset = "lastPreset";
inline constexpr const char* kPresetStorageLocation = "presetStorageLocation";
inline constexpr const char* kDidMigrateToCloud = "didMigrateToCloud";
inline constexpr const char* kProgramChangeTarget = "MIDIprogramChangeTarget";
inline constexpr const char* kFactoryFolder = "Factory Presets";  // in the resources
inline constexpr const char* kPackFolder = "Packs";               // there too
inline constexpr const char* kPresetExtension = ".aupreset";
inline constexpr int kCloudLocation = 1;

}  // namespace morv
