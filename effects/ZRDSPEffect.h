#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "render/ZRDSPEntity.h"

namespace morv {

// Base of all effects: an entity that processes stereo blocks. An effect tests `bypass` first and leaves its
// outputs alone while it is on. Construction and `prepare`: off the render thread; the rest: render thread.
class MORV_EXPORT ZRDSPEffect : public ZRDSPEntity {
 public:
  explicit ZRDSPEffect(float sampleRateHz);
  ~ZRDSPEffect() override;

  // Stores rate in Hz and block size in frames.
  virtual void prepare(float sampleRateHz, int blockSizeFrames);
  // Overwrites `frames` samples of the outputs, which may be the inputs. `tempo` in beats per minute.
  virtual void runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                         float tempo) noexcept MORV_NONBLOCKING = 0;
  // The form with a side chain does nothing here.
  virtual void runEffect(const float* inL, const float* inR, const float* sidechain, float* outL, float* outR,
                         int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Clears running state.
  virtual void reset() = 0;
  virtual void setGateWithNote(int gate, int note, int velocity) noexcept MORV_NONBLOCKING;
  virtual void runSequencer() noexcept MORV_NONBLOCKING;
  virtual void resetTimeline(int mode) noexcept MORV_NONBLOCKING;
  // Frames by which what passes it unchanged comes out late, in the next block with the present settings.
  virtual int latencyFrames() const noexcept MORV_NONBLOCKING;

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
};

}  // namespace morv
