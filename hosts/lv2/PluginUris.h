#pragma once

namespace morv::lv2 {

// The names under which hosts and saved sessions know the plug-in and what is its own. They stay for ever.
inline constexpr const char* kPluginUri = "https://morv.org/lv2/morv";
inline constexpr const char* kNamespace = "https://morv.org/lv2/morv#";  // of port groups and parameters
inline constexpr const char* kPresetBankUri = "https://morv.org/lv2/morv#factoryBank";
inline constexpr const char* kPresetUriStart = "https://morv.org/lv2/morv/presets#";
// Key of the saved state, a property list as an atom:String (see PluginState.h).
inline constexpr const char* kStateUri = "https://morv.org/lv2/morv#state";
// Name of the current preset, an atom:String that may be set and asked for by patch messages.
inline constexpr const char* kPresetUri = "https://morv.org/lv2/morv#preset";

}  // namespace morv::lv2
