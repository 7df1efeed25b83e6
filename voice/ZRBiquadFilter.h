#pragma once

#include <vector>

#include "platform/NonBlocking.h"
#include "voice/BiquadCascade.h"
#include "voice/ZRBiquadType.h"
#include "voice/ZRDSPFilter.h"

namespace morv {

// A cascade of second-order sections of one type for one or two channels. It takes no modulation.
//
// With one channel the coefficients are those of construction for good, and the delays are single precision.
// With two or more, a change of cutoff, gain, bandwidth or resonance is seen at the next run: the running
// coefficients then go half of the way to their targets at each sample, so that a change makes no click.
// Their delays are double precision, which keeps filters of a few Hz free of rounding drift.
class ZRBiquadFilter : public ZRDSPFilter {
 public:
  // Cutoff in Hz, above 0 and below half the rate. `sections` from 1 up.
  ZRBiquadFilter(ZRBiquadType type, float cutoffHz, int sectionCount, int channelCount, float sampleRateHz);

  // Stores a new rate; a multichannel filter then recomputes in its next run.
  void setSampleRate(float sampleRateHz) noexcept MORV_NONBLOCKING;
  // Does nothing: the delays keep ringing.
  void reset() noexcept MORV_NONBLOCKING override {}
  // One channel: in1 to out1, copied to out2 unless that is null; in2 takes no part. Two: in1 to out1 and in2
  // to out2, the second only where both pointers are given. An output may be its own channel's input.
  void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept MORV_NONBLOCKING override;

  // Whether delays and coefficients are finite, and to put back what is not: both channels' delays to silence
  // together, the coefficients to those of the settings.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState() noexcept MORV_NONBLOCKING;

  // Three stereo filters of one section behind one another, with the same result as one `runFilter` behind
  // the other, in one pass while no coefficient is on its way. Outputs may be inputs.
  static void runThree(ZRBiquadFilter& first, ZRBiquadFilter& second, ZRBiquadFilter& third, const float* in1,
                       const float* in2, float* out1, float* out2, int frames) noexcept MORV_NONBLOCKING;

  // b0, b1, b2, a1, a2 of each section as last computed, for all channels alike.
  const std::vector<double>& coefficients() const noexcept { return coefficients_; }

  int sections;
  int channels;
  float gain = 0;             // dB, of shelves and peak
  float bandwidth = 1000.0F;  // Hz, of the peak
  ZRBiquadType biquadType;
  int multichannel;  // 1 from two channels on, else 0
  double K = 0;      // tan(pi cutoff / rate)
  double Q = 0;      // of the section computed last

 private:
  void _setupBiquad();
  void _updateCoefficients() noexcept MORV_NONBLOCKING;
  void computeSection(int section, double* c) noexcept MORV_NONBLOCKING;
  void computeButterworth(double* c) const noexcept MORV_NONBLOCKING;
  void computeShelf(double* c) const noexcept MORV_NONBLOCKING;
  void computePeak(double* c) const noexcept MORV_NONBLOCKING;
  void computeOnePole(double* c) const noexcept MORV_NONBLOCKING;
  bool isSettledPair() const noexcept MORV_NONBLOCKING {
    return multichannel != 0 && sections == 1 && !ramping_ && !settingsChanged();
  }
  BiquadPair pair() noexcept MORV_NONBLOCKING;
  bool settingsChanged() const noexcept MORV_NONBLOCKING;
  void storeSettings() noexcept MORV_NONBLOCKING;
  bool passesUnchanged(const double* delays) const noexcept MORV_NONBLOCKING;
  static void passUnchanged(double* delays, const float* in, float* out,
                            int frames) noexcept MORV_NONBLOCKING;
  void stepRunningCoefficients() noexcept MORV_NONBLOCKING;

  float lastCutoff_ = 0;
  float lastGain_ = 0;
  float lastBandwidth_ = 0;
  float lastResonance_ = 0;
  std::vector<double> coefficients_;  // targets, kBiquadCoefficients x sections
  std::vector<double> running_;       // on their way there
  bool ramping_ = false;
  std::vector<float> delays_;          // one channel
  std::vector<double> channelDelays_;  // two channels, one behind the other
};

}  // namespace morv
