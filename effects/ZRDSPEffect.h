#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "render/RecoveryCounter.h"
#include "render/ZRDSPEntity.h"

namespace morv {

class EffectMemory;

// Base of all effects: an entity that processes stereo blocks. An effect tests `bypass` first and leaves its
// outputs alone while it is on. Construction and `prepare`: off the render thread; the rest: render thread.
//
// An effect whose memory holds what is no finite number would give it out for ever. Behind each block its
// output is looked at, and now and then what its output does not show. If it made what is no number out of
// numbers, it forgets all that it remembers and lets its input through as it would with an empty memory,
// until that is done: up to 40 ms of sound and one block. In place the block in which it is found is silent,
// and what comes out counts as its own. A healthy effect is only looked at.
class MORV_EXPORT ZRDSPEffect : public ZRDSPEntity {
 public:
  explicit ZRDSPEffect(float sampleRateHz);
  ~ZRDSPEffect() override;

  // Stores rate in Hz and block size in frames; nothing of a forgetting is left to do behind it.
  virtual void prepare(float sampleRateHz, int blockSizeFrames);
  // Overwrites `frames` samples of the outputs, which may be the inputs. `tempo` in beats per minute. Here it
  // runs `_runEffect` and recovers from state that is no number.
  virtual void runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                         float tempo) noexcept MORV_NONBLOCKING;
  // The form with a side chain does nothing here.
  virtual void runEffect(const float* inL, const float* inR, const float* sidechain, float* outL, float* outR,
                         int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Clears running state. Here it ends what is under way of forgetting, which each effect leaves to it.
  virtual void reset() = 0;
  virtual void setGateWithNote(int gate, int note, int velocity) noexcept MORV_NONBLOCKING;
  virtual void runSequencer() noexcept MORV_NONBLOCKING;
  virtual void resetTimeline(int mode) noexcept MORV_NONBLOCKING;
  // Frames by which what passes it unchanged comes out late, in the next block with the present settings.
  virtual int latencyFrames() const noexcept MORV_NONBLOCKING;

  // How often its state was found to be no number; each time is told the diagnostic ring, but for more than a
  // few in a second. What is found again before a look found it healthy counts as the same. Any thread.
  std::uint32_t recoveryCount() const noexcept MORV_NONBLOCKING { return recoveries_.total(); }

  // Reseeds whatever the effect draws at random. Not while rendering.
  virtual void setRandomSeed(std::uint64_t seed);

  ZRDSPParameter bypass;
  ZRDSPParameter mix;
  ZRDSPParameter inputVolume;
  ZRDSPParameter outputVolume;
  int routing = 0;  // 0: wet crossfades with dry; 1: wet is added to dry

  // At a subclass's disposal; nothing here reads them.
  int spareInt = 0;
  std::array<ZRDSPParameter, 6> spareParameters;
  std::array<std::function<void()>, 2> spareFunctions;
  std::array<int, 7> spareInts{};

 protected:
  // The effect itself; see the subclass.
  virtual void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                          float tempo) noexcept MORV_NONBLOCKING;
  // Whether it leaves its outputs alone at present: while `bypass` is on.
  virtual bool _isIdle() const noexcept MORV_NONBLOCKING;
  // What it is called in diagnostics, with static lifetime.
  virtual const char* _diagnosticName() const noexcept MORV_NONBLOCKING;
  // Whether the phases, followers and filters are finite that last from block to block. Cheap.
  virtual bool _holdsNumbers() const noexcept MORV_NONBLOCKING;
  // Walks the memory through all lines and empties filters; phases and followers that are numbers stay, the
  // others go to their start or target. Settings and random draws go on.
  virtual void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING;
  // What of its input comes through while the memory is empty, as a factor.
  virtual float _dryGain() const noexcept MORV_NONBLOCKING;
  // Frames that it runs in a second, where `sampleRate` is a multiple of it. Behind `prepare`.
  void setHostRate(float hz) noexcept MORV_NONBLOCKING { hostRate_ = hz; }

 private:
  bool spoiltNumbers(const float* in, const float* out, int frames) const noexcept MORV_NONBLOCKING;
  void beginForgetting() noexcept MORV_NONBLOCKING;
  void tell() noexcept MORV_NONBLOCKING;
  void forgetSlice(int frames) noexcept MORV_NONBLOCKING;
  void endForgetting() noexcept MORV_NONBLOCKING;
  void letThrough(const float* in, float* out, int frames) const noexcept MORV_NONBLOCKING;

  RecoveryCounter recoveries_;
  float hostRate_;  // Hz
  int framesUnwatched_ = 0;
  std::size_t forgotten_ = 0;  // floats of the memory that are emptied
  bool isForgetting_ = false;
  bool isAiling_ = false;  // forgot, and was not found healthy since
  bool isUntold_ = false;  // the ring had no room for it
};

}  // namespace morv
