#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Envelope curves as functions of a sample counter that the caller owns. Each call but that of `line` raises
// the counter by one. Times are in seconds and rates in Hz unless a name says samples; levels are linear. One
// thread per counter, no allocation.

// Line from `a` to `b`: its value at `counter`, which stays. Not limited at the ends.
float line(int counter, float a, float durationSamples, float b) noexcept MORV_NONBLOCKING;
// Exponential curve from `a` to `b`, which are of one sign and not 0; its first value is one step on its way.
// `b` from `durationSamples` on.
float expon(int& counter, float a, float durationSamples, float b) noexcept MORV_NONBLOCKING;

// Envelope with a gate of its own, stage by stage as `adsr_state` has them, the attack rising to `peak`. A
// gate that opens in idle (0) or release (4) starts the attack from `start`; one that closes in any other
// state starts the release from `sustain`; both set the counter to 0. Times must be above 0.
float adsr(int& counter, int gate, int& state, float peak, float attack, float decay, float sustain,
           float release, float start, float rate) noexcept MORV_NONBLOCKING;
// Gate on: attack to `peak` and decay to `sustain`, then 0, where `loop` takes the counter back to 0. Gate
// off: a line from `sustain` to 0, then 0. The caller sets the counter to 0 when its gate changes.
float adsr_loop(int gate, int& counter, bool loop, float peak, float attack, float decay, float sustain,
                float release, float rate) noexcept MORV_NONBLOCKING;
// Envelope of a fixed length of `total`: attack, decay, sustain up to `release` before the end, then the
// release; 0 behind it.
float adsr_oneshot(int& counter, float peak, float total, float attack, float decay, float sustain,
                   float release, float rate) noexcept MORV_NONBLOCKING;
// Linear attack from `start` to `peak` (above 0), exponential decay to 0.00001, where it stays.
float ad(int& counter, float peak, float attack, float decay, float start,
         float rate) noexcept MORV_NONBLOCKING;
// 1 for the on time, 0 for the off time, then 0.00001. `peak` and `start` are there for the same call form as
// `ad` and are not read.
float gate(int& counter, float peak, float on, float off, float start, float rate) noexcept MORV_NONBLOCKING;

}  // namespace morv
