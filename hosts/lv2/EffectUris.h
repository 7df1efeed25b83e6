#pragma once

namespace morv::lv2 {

// The names under which hosts and saved sessions know the effects and what is their own. They stay for ever.
inline constexpr const char* kEffectUriStart = "https://morv.org/lv2/effects/";  // then the kind
// What the analyser publishes: an atom:Object of this type with the properties below and
// http://lv2plug.in/ns/ext/parameters#sampleRate (see AnalysisNotice.h).
inline constexpr const char* kSpectrumUri = "https://morv.org/lv2/effects/spectrum#Spectrum";
inline constexpr const char* kFftSizeUri = "https://morv.org/lv2/effects/spectrum#fftSize";
inline constexpr const char* kFullScaleUri = "https://morv.org/lv2/effects/spectrum#fullScale";
inline constexpr const char* kMagnitudesUri = "https://morv.org/lv2/effects/spectrum#magnitudes";

}  // namespace morv::lv2
