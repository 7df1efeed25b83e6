#include "voice/WTOsc.h"

#include <algorithm>
#include <cmath>

namespace morv {

void initWTOsc(WTOscState* state, int size, int tables, int waves, int bytesPerSample) {
  *state = WTOscState{};
  state->size = size;
  state->tables = tables;
  state->samplesPerWave = size * tables;
  state->waves = waves;
  const std::size_t bytes = static_cast<std::size_t>(bytesPerSample) * static_cast<std::size_t>(size) *
                            static_cast<std::size_t>(tables) * static_cast<std::size_t>(waves);
  state->samples = ZeroedFloats((bytes + sizeof(float) - 1) / sizeof(float));
}

float runWTOsc(WTOscState* state, double frequencyHz, float /*a*/, float /*b*/, float /*c*/,
               double sampleRateHz) noexcept {
  const double size = state->size;
  state->frequency = frequencyHz;
  state->tableIndex = static_cast<int>(
      std::max(std::floor(std::log(frequencyHz / (0.9 * sampleRateHz / size)) / std::log(1.44)), 0.0));

  float out = 0.0F;
  const auto first = static_cast<std::size_t>(state->currentWave) * kWTOscWaveStride;
  if (first + static_cast<std::size_t>(state->size) <= state->samples.size()) {
    const auto i = static_cast<std::size_t>(state->phase);
    const std::size_t next = i + 1 < static_cast<std::size_t>(state->size) ? i + 1 : 0;
    const auto fraction = static_cast<float>(state->phase - static_cast<double>(i));
    const float here = state->samples[first + i];
    out = here + fraction * (state->samples[first + next] - here);
  }

  const double step = size * frequencyHz / sampleRateHz;
  const auto advance = [size](double phase, double by) {
    phase = std::fmod(phase + by, size);
    return phase < 0.0 ? phase + size : phase;
  };
  state->phase = advance(state->phase, step);
  state->secondPhase = advance(state->secondPhase, step * 0.5);
  return out;
}

}  // namespace morv
