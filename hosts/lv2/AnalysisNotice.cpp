#include "hosts/lv2/AnalysisNotice.h"

#include <lv2/parameters/parameters.h>

#include <cmath>

#include "hosts/lv2/EffectUris.h"

namespace morv::lv2 {

AnalysisNotice::AnalysisNotice(const LV2_URID_Map& map) {
  const auto number = [&map](const char* uri) { return map.map(map.handle, uri); };
  spectrum_ = number(kSpectrumUri);
  sampleRate_ = number(LV2_PARAMETERS__sampleRate);
  fftSize_ = number(kFftSizeUri);
  fullScale_ = number(kFullScaleUri);
  magnitudes_ = number(kMagnitudesUri);
  atomFloat_ = number(LV2_ATOM__Float);
  atomVector_ = number(LV2_ATOM__Vector);
}

// The forge's own call for a vector does not tell when its elements have no room.
bool AnalysisNotice::writeMagnitudes(LV2_Atom_Forge& forge,
                                     const ZRSpectrumAnalyzer& analyser) const noexcept {
  const std::uint32_t bytes =
      static_cast<std::uint32_t>(analyser.halfSize) * static_cast<std::uint32_t>(sizeof(float));
  const LV2_Atom_Vector head = {
      {static_cast<std::uint32_t>(sizeof(LV2_Atom_Vector_Body)) + bytes, atomVector_},
      {static_cast<std::uint32_t>(sizeof(float)), atomFloat_}};
  return lv2_atom_forge_raw(&forge, &head, sizeof(head)) != 0 &&
         lv2_atom_forge_write(&forge, analyser.outputBuffer.data(), bytes) != 0;
}

bool AnalysisNotice::write(std::uint32_t frame, const ZRSpectrumAnalyzer& analyser,
                           AtomOutput* output) const noexcept {
  return output->object(frame, spectrum_, [&](LV2_Atom_Forge& forge) {
    // A sine of full scale gives half of what the window lets through, and the magnitudes are twice the sums.
    const float fullScale = std::sqrt(2.0F / 3.0F) * static_cast<float>(analyser.fftSize);
    return lv2_atom_forge_key(&forge, sampleRate_) != 0 &&
           lv2_atom_forge_float(&forge, analyser.sampleRate) != 0 &&
           lv2_atom_forge_key(&forge, fftSize_) != 0 && lv2_atom_forge_int(&forge, analyser.fftSize) != 0 &&
           lv2_atom_forge_key(&forge, fullScale_) != 0 && lv2_atom_forge_float(&forge, fullScale) != 0 &&
           lv2_atom_forge_key(&forge, magnitudes_) != 0 && writeMagnitudes(forge, analyser);
  });
}

}  // namespace morv::lv2
