#include "effects/ZRDSPEffect.h"

namespace morv {

ZRDSPEffect::ZRDSPEffect(float sampleRateHz) : ZRDSPEntity(sampleRateHz) {}

ZRDSPEffect::~ZRDSPEffect() = default;

void ZRDSPEffect::prepare(float sampleRateHz, int blockSizeFrames) {
  sampleRate = sampleRateHz;
  blockSize = blockSizeFrames;
}

void ZRDSPEffect::runEffect(const float* /*inL*/, const float* /*inR*/, const float* /*sidechain*/,
                            float* /*outL*/, float* /*outR*/, int /*frames*/, float /*tempo*/) noexcept {}

void ZRDSPEffect::setGateWithNote(int /*gate*/, int /*note*/, int /*velocity*/) noexcept {}

void ZRDSPEffect::runSequencer() noexcept {}

void ZRDSPEffect::resetTimeline(int /*mode*/) noexcept {}

int ZRDSPEffect::latencyFrames() const noexcept { return 0; }

void ZRDSPEffect::setRandomSeed(std::uint64_t /*seed*/) {}

}  // namespace morv
