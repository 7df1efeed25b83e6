#include "voice/OscillatorLaws.h"

#include <cmath>
#include <numbers>

#include "render/ZRDSPEntity.h"

namespace morv {
namespace {

constexpr float kSmallestDraw = 0x1.0p-31F;  // one step of a 31-bit draw
constexpr double kNoiseGain = 0.25;

}  // namespace

float gaussianNoise(float r1, float r2) noexcept {
  const auto radiusDraw = static_cast<double>(r1 > 0.0F ? r1 : kSmallestDraw);
  const double radius = std::sqrt(-2.0 * std::log(radiusDraw));
  const double angle = 2.0 * std::numbers::pi * static_cast<double>(r2);
  return static_cast<float>(radius * std::cos(angle) * kNoiseGain);
}

float gaussianNoise(Random& random) noexcept {
  const float r1 = random.unit31();
  const float r2 = random.unit31();
  return gaussianNoise(r1, r2);
}

// The powers are left out where they are 1, as they mostly are.
float octaveFactor(float octaves, float modulation) noexcept {
  if (octaves == 0.0F && std::fabs(modulation) < 1.0F) return 1.0F;
  return std::pow(2.0F, octaves) * ZRDSPEntity::pitchShift(12.0F * std::trunc(modulation));
}

float semitoneFactor(float semitones, float modulation) noexcept {
  if (semitones == 0.0F && std::fabs(modulation) < 1.0F) return 1.0F;
  return ZRDSPEntity::pitchShift(semitones) * ZRDSPEntity::pitchShift(std::trunc(modulation));
}

float centsFactor(float cents) noexcept {
  return cents == 0.0F ? 1.0F : ZRDSPEntity::pitchShift(cents / 100.0F);
}

}  // namespace morv
