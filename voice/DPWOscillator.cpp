#include "voice/DPWOscillator.h"

#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

constexpr float kRateHz = 44100.0F;

float advanced(float phase, double increment) noexcept {
  return static_cast<float>(static_cast<double>(phase) + increment);
}

}  // namespace

void initDPWOsc(DPWOscillatorState& state) noexcept {
  state.phase = -1.0F;
  state.secondPhase = 0.0F;
  state.lastSquare = 0.0F;
  state.lastSecond = 0.0F;
  state.sign = 0.0F;
  state.held = 0.0F;
  state.wave = 3;
}

float runOSC(DPWOscillatorState& state, float a, float b, float c) noexcept {
  return runOSC2(state, a + b + c, 1.0F, 1.0F);
}

float runOSC2(DPWOscillatorState& state, float frequencyHz, float width, float offset) noexcept {
  const double increment = static_cast<double>(frequencyHz) / static_cast<double>(kRateHz);

  // Saw: the slope of the squared ramp, scaled back to a height of one.
  const float square = state.phase * state.phase;
  const float slope = square - state.lastSquare;
  state.lastSquare = square;
  float y = slope * kRateHz / (4.0F * frequencyHz);

  switch (state.wave) {
    case 0: {
      const double parabola = static_cast<double>(state.secondPhase * state.secondPhase) - 1.0;
      state.secondPhase = advanced(state.secondPhase, increment);
      y = static_cast<float>(parabola * parabola - 0.5);
      break;
    }
    case 1: {
      float shifted = state.phase + offset;
      if (shifted > 1.0F) shifted -= 2.0F;
      const float shiftedSquare = shifted * shifted;
      const float shiftedSlope = shiftedSquare - state.lastSecond;
      state.lastSecond = shiftedSquare;
      y += -width * shiftedSlope * kRateHz / (4.0F * frequencyHz);
      state.secondPhase = advanced(state.secondPhase, increment);
      break;
    }
    case 2: {
      const float parabola = state.sign * (1.0F - state.secondPhase * state.secondPhase);
      const float parabolaSlope = parabola - state.lastSecond;
      state.lastSecond = parabola;
      y = parabolaSlope * kRateHz / frequencyHz * 0.25F;
      state.secondPhase = advanced(state.secondPhase, increment);
      break;
    }
    case 3:
      state.secondPhase = advanced(state.secondPhase, increment);
      break;
    case 4:
      y = gaussianNoise(state.random);
      state.secondPhase = advanced(state.secondPhase, increment);
      break;
    default:
      break;
  }

  state.phase = advanced(state.phase, increment);
  if (state.phase > 1.0F) {
    state.phase -= 2.0F;
    state.held = gaussianNoise(state.random);
  }
  if (state.secondPhase > 1.0F) {
    state.secondPhase -= 2.0F;
    state.sign = state.sign > 0.0F ? -1.0F : 1.0F;
  }
  return y;
}

}  // namespace morv
