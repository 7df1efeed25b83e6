#include "voice/ZRVAAmp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "modulation/ZRDSPModMatrix.h"
#include "render/BlockLimits.h"
#include "voice/Smoothing.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr double kMaxSmoothingMs = 205.5;
constexpr float kMaxSmoothingFrames = 256.0F;  // the block that the time above counts on

using Unit = ZRDSPParameterUnit;
constexpr std::array<ParameterRow, 6> kRows = {{
    {"volume", "Volume", 0, 100, 100, Unit::percent},
    {"volumeR", "VolumeR", 0, 100, 100, Unit::percent},
    {"max", "Max Volume", 0, 1, 1},
    {"pan", "Pan", -1, 1, 0},
    {"input", "Input", -1, 1, 0, Unit::sampleFrames},
    {"input2", "Input", -1, 1, 0, Unit::sampleFrames},
}};
static_assert(std::ranges::all_of(kRows, [](const ParameterRow& row) {
  return row.minValue <= row.defaultValue && row.defaultValue <= row.maxValue;
}));

void multiply(float* samples, const float* gains, int frames) noexcept {
  for (int i = 0; i < frames; ++i) samples[i] *= gains[i];
}

void addScaled(const float* samples, float gain, float* out, int frames) noexcept {
  for (int i = 0; i < frames; ++i) out[i] += samples[i] * gain;
}

}  // namespace

ZRVAAmp::ZRVAAmp(float sampleRateHz, int* addressCounter)
    : ZRDSPEntity(sampleRateHz, *addressCounter),
      maxSmoothing(smoothingCoefficient(kMaxSmoothingMs, sampleRateHz / kMaxSmoothingFrames)),
      firstSmoothing_(maxSmoothing),
      gains_(kMaxBlockFrames) {
  const std::array<ZRDSPParameter*, kRows.size()> records = {&volume, &volumeR, &max, &pan, &input, &input2};
  for (std::size_t i = 0; i < kRows.size(); ++i) initParameter(kRows[i], (*addressCounter)++, records[i]);
  isModSource = true;
}

void ZRVAAmp::setModMatrix(ZRDSPModMatrix* matrix) {
  modMatrix = matrix;
  outputSource = matrix->registerSource(this, false, false, "");
  modSourceIndex = outputSource;
}

void ZRVAAmp::runAmp(int frames, float tempo) noexcept {
  if (modMatrix == nullptr) return;
  runAmp(modMatrix->destinationBuffer(input.address, frames), nullptr, modMatrix->sourceBuffer(outputSource),
         nullptr, frames, tempo);
}

void ZRVAAmp::runAmp(float* out1, float* out2, int frames, float tempo) noexcept {
  if (modMatrix == nullptr) return;
  runAmp(modMatrix->destinationBuffer(input.address, frames),
         modMatrix->destinationBuffer(input2.address, frames), out1, out2, frames, tempo);
}

// Multiplies the inputs, one behind the other, by `max` and its modulation.
void ZRVAAmp::applyMax(float* in1, float* in2, int frames) noexcept {
  float* gains = gains_.data();
  const float gain = max.normalizedValue();
  const float* modulation = modMatrix != nullptr ? modMatrix->readDestination(max.address) : nullptr;
  if (modulation != nullptr) {
    for (int i = 0; i < frames; ++i) gains[i] = gain + modulation[i];
  } else {
    std::fill_n(gains, frames, gain);
  }
  smoothedMax = maxSmoothing * (smoothedMax - gain) + gain;
  multiply(in1, gains, frames);
  if (in2 != nullptr) multiply(in2, gains, frames);
}

// The destination of `volume` with the setting added into it; without a matrix the setting alone.
const float* ZRVAAmp::volumeGains(int frames) noexcept {
  const float gain = volume.normalizedValue();
  if (modMatrix == nullptr) {
    std::fill_n(gains_.data(), frames, gain);
    return gains_.data();
  }
  float* destination = modMatrix->destinationBuffer(volume.address, frames);
  for (int i = 0; i < frames; ++i) destination[i] += gain;
  return destination;
}

// Equal power: cosine and sine of a quarter turn from left to right, by the pan of the block's first sample.
ZRVAAmp::PanGains ZRVAAmp::panGains() noexcept {
  const float modulation = modMatrix != nullptr ? modMatrix->readDestination(pan.address)[0] : 0.0F;
  const float position = pan.value + modulation + 1.0F;
  if (position != pannedPosition_) {
    pannedPosition_ = position;
    const double theta = std::numbers::pi / 4.0 * static_cast<double>(position);
    panGains_ = {static_cast<float>(std::cos(theta)), static_cast<float>(std::sin(theta))};
  }
  return panGains_;
}

// While nothing moves the gains, one of each stands for the block.
bool ZRVAAmp::runEvenly(const AmpSettings& settings, float* in, float* out, int frames) noexcept {
  float gain = 0;
  float volumeGain = 0;
  if (!modMatrix->isHeld(max.address, frames, gain) ||
      !modMatrix->isHeld(volume.address, frames, volumeGain)) {
    return false;
  }
  gain += settings.gain;
  volumeGain += settings.volume;
  modMatrix->holdDestination(volume.address, volumeGain, frames);
  if (gain != 1.0F) {
    for (int i = 0; i < frames; ++i) in[i] *= gain;
  }
  for (int i = 0; i < frames; ++i) out[i] = in[i] * volumeGain;
  return true;
}

// The two forms that a voice runs, each in one pass over the block.
bool ZRVAAmp::runInOnePass(float* in1, const float* in2, float* out1, float* out2, int frames) noexcept {
  const bool isMono = in2 == nullptr && out2 == nullptr;
  const bool isDoubled = in1 == in2 && out2 != nullptr && !stereoVolume && !bypassPan;
  if (modMatrix == nullptr || (!isMono && !isDoubled)) return false;
  AmpSettings settings;
  settings.gain = max.normalizedValue();
  settings.volume = volume.normalizedValue();
  smoothedMax = maxSmoothing * (smoothedMax - settings.gain) + settings.gain;
  if (isMono && runEvenly(settings, in1, out1, frames)) return true;
  const float* gains = modMatrix->readDestination(max.address);
  float* volumes = modMatrix->destinationBuffer(volume.address, frames);
  if (isMono) {
    voiceKernels().amplify(settings, gains, volumes, in1, out1, frames);
  } else {
    const PanGains panned = panGains();
    settings.left = panned.left;
    settings.right = panned.right;
    voiceKernels().amplifyTwicePanned(settings, gains, volumes, in1, out1, out2, frames);
  }
  return true;
}

void ZRVAAmp::runAmp(float* in1, float* in2, float* out1, float* out2, int frames, float /*tempo*/) noexcept {
  if (runInOnePass(in1, in2, out1, out2, frames)) return;
  applyMax(in1, in2, frames);
  const float* volumes = volumeGains(frames);
  if (out2 == nullptr) {
    for (int i = 0; i < frames; ++i) out1[i] = in1[i] * volumes[i];
    return;
  }
  multiply(in1, volumes, frames);
  if (in2 != nullptr) {
    const bool ownVolume = stereoVolume && modMatrix != nullptr;
    multiply(in2, ownVolume ? modMatrix->readDestination(volumeR.address) : volumes, frames);
  }
  if (!bypassPan) {
    // Both channels come from the first input: a mono signal is placed between left and right.
    const PanGains panned = panGains();
    addScaled(in1, panned.left, out1, frames);
    addScaled(in1, panned.right, out2, frames);
    return;
  }
  addScaled(in1, 1.0F, out1, frames);
  if (in2 != nullptr) addScaled(in2, 1.0F, out2, frames);
}

}  // namespace morv
