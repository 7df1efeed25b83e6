#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Straight-line envelope stages over a state and a time that the caller owns. States: 0 idle, 1 attack,
// 2 decay, 3 sustain, 4 release. Times are in seconds and must be above 0, rates in Hz, `tempo` in beats per
// minute. One thread per envelope, no allocation.
//
// Each stage ends behind the sample that reaches its time, so a line may pass its end by a part of one step.

// What one call needs besides state and time.
struct EnvelopeStageSettings {
  bool loop = false;  // decay goes back to the attack
  bool sync = false;  // a loop waits for the beat
  float rate = 0;
  float scale = 1;  // multiplies the result
  float start = 0;  // level at which the attack begins
  float attack = 0;
  float decay = 0;
  float sustain = 0;  // sustain level; in the release the level at which it begins
  float release = 0;
  float tempo = 0;
};

// One sample; `time` counts the samples since the attack or the release began and rises by one. A loop goes
// back to time 0 at the end of its decay, or with sync at the first quarter note behind it; meanwhile the
// decay's line goes on, also below 0. The plain form: the block form is held to it bit for bit.
float adsr_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
                 float attack, float decay, float sustain, float release,
                 float tempo) noexcept MORV_NONBLOCKING;
// The same for an envelope that ends with its decay: an attack goes to the sustain if there is one above 0,
// the decay to idle, the loop's beat is an eighth note, and a release falls from `start` in the decay's time.
float ads_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
                float attack, float decay, float sustain, float release,
                float tempo) noexcept MORV_NONBLOCKING;
// `ads_state` with no sustain. It has no tempo: a synced loop waits as if at one beat per minute. `level` is
// not read.
float ad_state(int& time, int& state, bool loop, bool sync, float rate, float scale, float start,
               float attack, float decay, float release, float level) noexcept MORV_NONBLOCKING;

// Block forms: write the samples of the present stage, up to and with the one on which the state changes, and
// return how many these are: 1 to `frames`, or 0 for no frames.
int adsr_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                     int frames) noexcept MORV_NONBLOCKING;
int ads_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                    int frames) noexcept MORV_NONBLOCKING;
int ad_state_block(int& time, int& state, const EnvelopeStageSettings& settings, float* out,
                   int frames) noexcept MORV_NONBLOCKING;

// Whether `adsr_state_block` would write one value all over the block, and which: in sustain and when idle.
// If so, moves the time on as that would.
bool adsr_state_hold(int& time, int state, const EnvelopeStageSettings& settings, int frames,
                     float& value) noexcept MORV_NONBLOCKING;

// An envelope as one plain record.
struct EnvelopeState {
  float sustain = 1;
  float start = 0;
  float level = 0;
  float velocity = 1;
  float attack = 0.1F;
  float decay = 0.1F;
  float release = 0.1F;
  int time = 0;
  int state = 0;
};

// Sets every field to its initial value.
void initEnvState(EnvelopeState& state) noexcept MORV_NONBLOCKING;
// One sample of the record's envelope, without a loop, kept in its `level` and returned. A sustain of 0 makes
// it end with its decay.
float adsr_state2(EnvelopeState& record, float tempo, float rate) noexcept MORV_NONBLOCKING;

// Length in seconds of numerator/denominator of a four-beat bar.
float timeDivToPeriod(float numerator, float denominator, float tempo) noexcept MORV_NONBLOCKING;

}  // namespace morv
