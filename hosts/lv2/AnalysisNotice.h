#pragma once

#include <lv2/urid/urid.h>

#include <cstdint>

#include "effects/ZRSpectrumAnalyzer.h"
#include "hosts/lv2/AtomOutput.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Writes what an analyser has measured as an atom:Object of the type spectrum#Spectrum:
//
//   param:sampleRate     atom:Float   Hz
//   spectrum#fftSize     atom:Int     frames that were looked at
//   spectrum#fullScale   atom:Float   magnitude of a sine of full scale in the middle of a bin
//   spectrum#magnitudes  atom:Vector of atom:Float, fftSize / 2: linear, bin k at k sampleRate / fftSize Hz;
//                        the first and the last one are 0
//
// Construction: off the render thread. `write`: render thread.
class AnalysisNotice {
 public:
  explicit AnalysisNotice(const LV2_URID_Map& map);

  // False if there was no room.
  bool write(std::uint32_t frame, const ZRSpectrumAnalyzer& analyser,
             AtomOutput* output) const noexcept MORV_NONBLOCKING;

 private:
  bool writeMagnitudes(LV2_Atom_Forge& forge,
                       const ZRSpectrumAnalyzer& analyser) const noexcept MORV_NONBLOCKING;

  LV2_URID spectrum_;
  LV2_URID sampleRate_;
  LV2_URID fftSize_;
  LV2_URID fullScale_;
  LV2_URID magnitudes_;
  LV2_URID atomFloat_;
  LV2_URID atomVector_;
};

}  // namespace morv::lv2
