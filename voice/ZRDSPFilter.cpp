#include "voice/ZRDSPFilter.h"

#include <array>

namespace morv {
namespace {

enum Row : std::size_t { kCutoff, kMode, kResonance, kNumRows };

constexpr std::array<ParameterRow, kNumRows> kRows = {{
    {"filterCutoff", "Cutoff", 25, 20000, 220, ZRDSPParameterUnit::hertz, {}, kExponentialDisplayFlags},
    {"filterMode", "Mode", 0, 1, 0},
    {"filterResonance", "Q", 0, 1, 0},
}};

}  // namespace

ZRDSPFilter::ZRDSPFilter(float sampleRateHz) : ZRDSPEntity(sampleRateHz) { initParameters(-1, -1, -1); }

ZRDSPFilter::ZRDSPFilter(float sampleRateHz, int* addressCounter)
    : ZRDSPEntity(sampleRateHz, *addressCounter) {
  const int first = *addressCounter;
  *addressCounter += static_cast<int>(kNumRows);
  initParameters(first, first + 1, first + 2);
}

void ZRDSPFilter::initParameters(int cutoffAddress, int modeAddress, int resonanceAddress) {
  initParameter(kRows[kCutoff], cutoffAddress, &filterCutoff, false);
  initParameter(kRows[kMode], modeAddress, &filterMode, false);
  initParameter(kRows[kResonance], resonanceAddress, &filterResonance, false);
}

float ZRDSPFilter::scaledCutoff() const noexcept {
  const float n = filterCutoff.normalizedValue();
  if (n > 1.0F) return 1.0F;
  if (n <= 0.0F) return 0.001F;
  return static_cast<float>(static_cast<double>(n) * 0.95);
}

const float* ZRDSPFilter::modulationOf(const ZRDSPParameter& parameter) const noexcept {
  if (modMatrix == nullptr || modMatrix->isClear(parameter.address)) return nullptr;
  return modMatrix->readDestination(parameter.address);
}

}  // namespace morv
