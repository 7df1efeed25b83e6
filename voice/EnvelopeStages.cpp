#include "voice/EnvelopeStages.h"

#include <algorithm>
#include <cmath>

#include "render/ZRDSPEntity.h"

namespace morv {
namespace {

// An idle envelope's time stops here, some hours on, where nothing reads it any more.
constexpr int kGreatestTime = 1 << 30;

enum class Kind { adsr, ads };

float attackLine(int t, float start, float a) noexcept {
  const auto from = static_cast<double>(start);
  return static_cast<float>(from + static_cast<double>(t) * (1.0 - from) / static_cast<double>(a));
}

float decayLine(int t, float a, float sustain, float d) noexcept {
  return 1.0F + (static_cast<float>(t) - a) * (sustain - 1.0F) / d;
}

float releaseLine(int t, float from, float r) noexcept { return from - static_cast<float>(t) * from / r; }

// The time in samples that ends a looped decay.
double loopEnd(Kind kind, bool sync, float stagesEnd, float tempo, float rate) noexcept {
  if (!sync) return static_cast<double>(stagesEnd);
  const float beat = timeDivToPeriod(1.0F, kind == Kind::adsr ? 4.0F : 8.0F, tempo);
  return static_cast<double>(std::max(stagesEnd, std::trunc(beat * rate)));
}

void advance(int& time, int samples) noexcept {
  time = time < kGreatestTime - samples ? time + samples : kGreatestTime;
}

// Samples of a stage that ends behind the first whole time at or above `end`; `ends` tells whether that lies
// within the block.
struct Run {
  int samples;
  bool ends;
};

Run runUntil(double end, int time, int frames) noexcept {
  const double remaining = std::ceil(end) - static_cast<double>(time);
  if (!(remaining < static_cast<double>(frames))) return {frames, false};
  return {remaining > 0.0 ? static_cast<int>(remaining) + 1 : 1, true};
}

void decayEnds(Kind kind, bool loop, int& time, int& state) noexcept {
  if (loop) {
    state = 1;
    time = kind == Kind::adsr ? 0 : -1;
  } else {
    state = kind == Kind::adsr ? 3 : 0;
  }
}

template <Kind kKind>
float stageSample(int& time, int& state, const EnvelopeStageSettings& s) noexcept {
  const float a = s.attack * s.rate;
  const float d = s.decay * s.rate;
  const auto t = static_cast<double>(time);
  float value = 0;
  switch (state) {
    case 1:
      value = attackLine(time, s.start, a);
      if constexpr (kKind == Kind::adsr) {
        if (t >= static_cast<double>(a)) state = 2;
      } else {
        if (t > static_cast<double>(a)) state = s.sustain > 0.0F ? 3 : 2;
      }
      break;
    case 2:
      value = decayLine(time, a, s.sustain, d);
      if (t >= static_cast<double>(a + d) && (!s.loop || t >= loopEnd(kKind, s.sync, a + d, s.tempo, s.rate)))
        decayEnds(kKind, s.loop, time, state);
      break;
    case 3:
      value = s.sustain;
      time = 0;
      break;
    case 4: {
      const float from = kKind == Kind::adsr ? s.sustain : s.start;
      const float r = kKind == Kind::adsr ? s.release * s.rate : d;
      value = releaseLine(time, from, r);
      if (t >= static_cast<double>(r)) state = 0;
      break;
    }
    default:
      break;
  }
  advance(time, 1);
  return value * s.scale;
}

template <Kind kKind>
int stageBlock(int& time, int& state, const EnvelopeStageSettings& s, float* out, int frames) noexcept {
  if (frames <= 0) return 0;
  const float a = s.attack * s.rate;
  const float d = s.decay * s.rate;
  const float scale = s.scale;
  const float start = s.start;
  const float sustain = s.sustain;
  const int t = time;
  Run run{frames, false};
  switch (state) {
    case 1: {
      const double end = static_cast<double>(a);
      run = runUntil(kKind == Kind::adsr ? end : std::floor(end) + 1.0, t, frames);
      for (int i = 0; i < run.samples; ++i) out[i] = attackLine(t + i, start, a) * scale;
      if (run.ends) state = kKind == Kind::ads && sustain > 0.0F ? 3 : 2;
      break;
    }
    case 2: {
      const float stagesEnd = a + d;
      const double end =
          s.loop ? loopEnd(kKind, s.sync, stagesEnd, s.tempo, s.rate) : static_cast<double>(stagesEnd);
      run = runUntil(end, t, frames);
      for (int i = 0; i < run.samples; ++i) out[i] = decayLine(t + i, a, sustain, d) * scale;
      if (run.ends) {
        decayEnds(kKind, s.loop, time, state);
        // The last sample raises the time that the loop went back to, or the one that it had.
        advance(time, s.loop ? 1 : run.samples);
        return run.samples;
      }
      break;
    }
    case 3:
      std::fill_n(out, frames, sustain * scale);
      time = 1;
      return frames;
    case 4: {
      const float from = kKind == Kind::adsr ? sustain : start;
      const float r = kKind == Kind::adsr ? s.release * s.rate : d;
      run = runUntil(static_cast<double>(r), t, frames);
      for (int i = 0; i < run.samples; ++i) out[i] = releaseLine(t + i, from, r) * scale;
      if (run.ends) state = 0;
      break;
    }
    default:
      std::fill_n(out, frames, 0.0F * scale);
      break;
  }
  advance(time, run.samples);
  return run.samples;
}

EnvelopeStageSettings withoutSustain(EnvelopeStageSettings settings) noexcept {
  settings.sustain = 0.0F;
  settings.tempo = settings.sync ? 1.0F : 0.0F;
  return settings;
}

}  // namespace

float adsr_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
                 float attack, float decay, float sustain, float release, float tempo) noexcept {
  return stageSample<Kind::adsr>(time, state,
                                 {loop, sync, rate, scale, start, attack, decay, sustain, release, tempo});
}

float ads_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
                float attack, float decay, float sustain, float release, float tempo) noexcept {
  return stageSample<Kind::ads>(time, state,
                                {loop, sync, rate, scale, start, attack, decay, sustain, release, tempo});
}

float ad_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
               float attack, float decay, float release, float /*level*/) noexcept {
  return ads_state(time, state, loop, sync, rate, scale, start, attack, decay, 0.0F, release,
                   static_cast<float>(sync));
}

int adsr_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                     int frames) noexcept {
  return stageBlock<Kind::adsr>(time, state, settings, out, frames);
}

int ads_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                    int frames) noexcept {
  return stageBlock<Kind::ads>(time, state, settings, out, frames);
}

int ad_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                   int frames) noexcept {
  return ads_state_block(time, state, withoutSustain(settings), out, frames);
}

bool adsr_state_hold(int& time, int state, const EnvelopeStageSettings& settings, int frames,
                     float& value) noexcept {
  if (frames <= 0 || (state != 0 && state != 3)) return false;
  stageBlock<Kind::adsr>(time, state, settings, &value, 1);
  if (state == 0) advance(time, frames - 1);
  return true;
}

void initEnvState(EnvelopeState& state) noexcept { state = EnvelopeState{}; }

float adsr_state2(EnvelopeState& record, float tempo, float rate) noexcept {
  const auto stage = record.sustain == 0.0F ? ads_state : adsr_state;
  record.level = stage(record.time, record.state, false, false, rate, record.velocity, record.start,
                       record.attack, record.decay, record.sustain, record.release, tempo);
  return record.level;
}

float timeDivToPeriod(float numerator, float denominator, float tempo) noexcept {
  return ZRDSPEntity::timeDivisionToPeriod(numerator, denominator, tempo);
}

}  // namespace morv
