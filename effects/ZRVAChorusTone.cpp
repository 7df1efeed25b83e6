// The bands, the cross-feed and the shelves of the analogue chorus.

#include <algorithm>
#include <cmath>

#include "effects/DelayRead.h"
#include "effects/HeldSettings.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVAChorusStretch.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr float kLowShelfHz = 250.0F;
constexpr float kHighShelfHz = 4500.0F / 2.0F;
// Far outside the shelves' range, and a float holds the signal that they leave.
constexpr float kGreatestShelfDb = 60.0F;
// The low shelf's output goes through the memory that it reads: from twice the level on, just above its
// range, that would feed itself and run away.
constexpr float kGreatestLowShelfDb = 6.0F;
constexpr double kPi = std::numbers::pi;

}  // namespace

// x = gLow low + gHigh high + gMid mid, the bands by one pole at each edge.
void ZRVAChorus::splitBands(Stretch* s) noexcept {
  const float low = heldValue(inGainLow);
  const float mid = heldValue(inGainMid);
  const float high = heldValue(inGainHigh);
  const auto split = [&](tpt* upper, tpt* lower, float x) {
    const float a = runTPT2(upper, kTPTLowpass1, x, sampleRate);
    const float b = runTPT2(lower, kTPTLowpass1, a, sampleRate);
    return b * low + (x - a) * high + (a - b) * mid;
  };
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    s->left[i] = split(&split5kLeft, &split1kLeft, s->left[i]);
    s->right[i] = split(&split5kRight, &split1kRight, s->right[i]);
  }
}

// Each side takes some of the other one, turned round and without its bass. The cutoff of 10 Hz swings with
// the amount; where it would go below 0 Hz, where the filter runs away, it is held there.
void ZRVAChorus::crossFeed(Stretch* s) noexcept {
  const float amount = heldValue(animate);
  const float constant = 0.5F * heldValue(shape);
  Stretch::Samples sineA = s->phaseA[0];
  Stretch::Samples sineB;
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    sineB[i] = sineA[i] + 0.5F * s->spread[i];
  }
  voiceKernels().sinPi(sineA.data(), sineA.data(), s->count);
  voiceKernels().sinPi(sineB.data(), sineB.data(), s->count);
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    setHeldTPTCutoff(&animateLeft, std::max(10.0F + 100.0F * amount * sineA[i], 0.0F), sampleRate);
    setHeldTPTCutoff(&animateRight, std::max(10.0F + 100.0F * amount * sineB[i], 0.0F), sampleRate);
    const float l = s->left[i];
    const float r = s->right[i];
    s->left[i] = l + runTPT2(&animateLeft, kTPTHighpass1, -r, sampleRate) * (constant + amount * sineA[i]);
    s->right[i] = r + runTPT2(&animateRight, kTPTHighpass1, -l, sampleRate) * (constant + amount * sineB[i]);
  }
}

ZRVAChorus::Shelf ZRVAChorus::_lowShelf() const noexcept {
  const auto g = static_cast<double>(heldSetting(lowShelf.value, -kGreatestShelfDb, kGreatestLowShelfDb));
  const double v = std::pow(10.0, g / 20.0);
  const auto frequency = static_cast<double>(heldCutoff(kLowShelfHz, sampleRate));
  const double t = std::tan(kPi * frequency / static_cast<double>(sampleRate));
  const double a = g > 0.0 ? (t - 1.0) / (t + 1.0) : (t - v) / (t + v);
  return {static_cast<float>(a), static_cast<float>((v - 1.0) / 2.0), sampleSeconds(sampleRate)};
}

ZRVAChorus::Shelf ZRVAChorus::_highShelf() const noexcept {
  const auto g = static_cast<double>(heldSetting(highShelf.value, -kGreatestShelfDb, kGreatestShelfDb));
  const double v = std::pow(10.0, g / 20.0);
  const auto frequency = static_cast<double>(heldCutoff(kHighShelfHz, sampleRate));
  const double t = std::tan(kPi * frequency / static_cast<double>(sampleRate));
  // Boost and cut turn at the same frequency: the gain leaves the quotient.
  const double a = g > 0.0 ? (t - 1.0) / (t + 1.0) : v * (t - 1.0) / (v * (t + 1.0));
  return {static_cast<float>(a), static_cast<float>((v - 1.0) / 2.0), sampleSeconds(sampleRate)};
}

// x += (allpass(x) + x) (V - 1) / 2, with an all-pass of one sample's delay.
void ZRVAChorus::doShelf(const Shelf& shelf, float* left, float* right) noexcept {
  float* const sides[] = {left, right};
  for (std::size_t channel = 0; channel < 2; ++channel) {
    const float x = *sides[channel];
    const float y = runAP(&shelves[channel], x, shelf.delaySeconds, shelf.coefficient, sampleRate);
    *sides[channel] = x + (y + x) * shelf.gain;
  }
}

void ZRVAChorus::doLowShelf(const Shelf& shelf, float* left, float* right) noexcept {
  doShelf(shelf, left, right);
}

void ZRVAChorus::doHighShelf(const Shelf& shelf, float* left, float* right) noexcept {
  doShelf(shelf, left, right);
}

}  // namespace morv
