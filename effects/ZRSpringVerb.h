#pragma once

#include <array>
#include <memory>

#include "effects/AllPass.h"
#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {

// Spring reverb: a chain of a hundred all-passes, whose dispersion makes the chirp of a spring (Abel et al.
// 2006), with a saturating line behind it that carries what comes out back to the chain's start. A block is
// heard as it stands in the tank before the tank runs, so the spring trails by one block, and what a longer
// block left behind waits for the next one that is as long.
//
// Construction, `prepare` and `reset`: off the render thread; setting a parameter: any thread; the rest:
// render thread.
class ZRSpringVerb : public ZRDSPEffect {
 public:
  static constexpr int kTanks = 3;
  static constexpr int kRunningTanks = 1;  // the others stand ready
  static constexpr int kAllpasses = 100;

  explicit ZRSpringVerb(float sampleRateHz);
  ~ZRSpringVerb() override;

  // Stores rate in Hz and block size in frames, then resets.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // At most kMaxBlockFrames frames; the outputs may be the inputs. Leaves the outputs alone while `bypass` is
  // on, `mix` is 0 or `program` is not the spring; the tank then rests. An input that is no number counts as
  // 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Makes filters, lines and tanks anew for the rate. Allocates.
  void reset() override;

  // Bands of the spring that no tank uses: they do nothing.
  void doLF(float* samples, int frames) noexcept MORV_NONBLOCKING;
  void doHF(float* samples, int frames) noexcept MORV_NONBLOCKING;

  // Besides the base's `mix`, in percent.
  ZRDSPParameter program;  // truncated: 0 is the spring
  ZRDSPParameter decay;    // percent
  ZRDSPParameter level;    // of the tank, percent

  struct Tank {
    // Of one channel each, ready for the bands.
    std::unique_ptr<ZRBiquadFilter> lowpass;
    std::unique_ptr<ZRBiquadFilter> lowAllpass;
    std::unique_ptr<ZRBiquadFilter> highAllpass;
    uniComb line;         // one second
    ZeroedFloats buffer;  // kMaxBlockFrames: what the tank gave last
  };
  std::array<Tank, kTanks> tanks;
  std::unique_ptr<ZRBiquadFilter> allpassFilter;  // likewise
  std::array<ap, kAllpasses> allpasses;           // 1024 samples each

 protected:
  bool _isIdle() const noexcept MORV_NONBLOCKING override;
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;

 private:
  void _runTank(int number, float gain, int frames) noexcept MORV_NONBLOCKING;

  ZeroedFloats mono_;
  ZeroedFloats wet_;
};

}  // namespace morv
