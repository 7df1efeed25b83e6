#include "voice/WavetableSet.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "voice/FourierTable.h"
#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

constexpr int kHarmonicsUpToHz = 10000;
constexpr int kVoiceHarmonicsUpToHz = 20000;
constexpr double kSubtableTopHz = 20000.0;
// Each copy keeps this much less than the one before, a little over the factor of pitch by which copies are
// chosen.
constexpr float kSubtableRatio = 1.3F / 0.9F;

struct FreeFft {
  void operator()(kiss_fftr_state* state) const noexcept { kiss_fftr_free(state); }
};
using Fft = std::unique_ptr<kiss_fftr_state, FreeFft>;

Fft makeFft(int size, bool isInverse) {
  Fft fft(kiss_fftr_alloc(size, isInverse ? 1 : 0, nullptr, nullptr));
  if (fft == nullptr) throw std::bad_alloc();
  return fft;
}

int harmonicsUpTo(int hz, float sampleRateHz) {
  return static_cast<int>(static_cast<float>(WavetableSet::kTableSize * hz) / sampleRateHz);
}

enum class Harmonics { first, all, odd };

std::vector<float> amplitudes(Harmonics which, int power, int count) {
  std::vector<float> list(static_cast<std::size_t>(std::max(count, 1)), 0.0F);
  for (int k = 1; k <= count; ++k) {
    if ((which == Harmonics::first && k > 1) || (which == Harmonics::odd && k % 2 == 0)) continue;
    const auto order = static_cast<float>(k);
    list[static_cast<std::size_t>(k) - 1] = 1.0F / (power == 2 ? order * order : (power == 1 ? order : 1.0F));
  }
  return list;
}

struct WaveLaw {
  Harmonics harmonics;
  int power;
  float phaseCycles;
  bool isInverted;
};

WaveLaw lawOf(ZROscillatorWave wave) {
  switch (wave) {
    case ZROscillatorWave::saw:
      return {Harmonics::all, 1, -0.25F, false};
    case ZROscillatorWave::square:
      return {Harmonics::odd, 1, -0.25F, false};
    case ZROscillatorWave::triangle:
      return {Harmonics::odd, 2, 0.0F, false};
    case ZROscillatorWave::shiftedSine:
      return {Harmonics::first, 0, -0.25F, false};
    case ZROscillatorWave::invertedSine:
      return {Harmonics::first, 0, 0.0F, true};
    case ZROscillatorWave::invertedSaw:
      return {Harmonics::all, 1, -0.25F, true};
    case ZROscillatorWave::invertedTriangle:
      return {Harmonics::odd, 2, 0.0F, true};
    case ZROscillatorWave::sine:
    case ZROscillatorWave::noise:
      break;
  }
  return {Harmonics::first, 0, 0.0F, false};
}

}  // namespace

void _removePartialsFromWaveform(float* buffer, int size, int firstRemoved) {
  const Fft forward = makeFft(size, false);
  const Fft inverse = makeFft(size, true);
  const int half = size / 2;
  std::vector<kiss_fft_cpx> bins(static_cast<std::size_t>(half) + 1);
  kiss_fftr(forward.get(), buffer, bins.data());
  const kiss_fft_cpx zero{0, 0};
  std::fill(bins.begin() + std::clamp(firstRemoved, 0, half), bins.end(), zero);
  bins.front() = zero;
  bins[static_cast<std::size_t>(half) - 1] = zero;
  bins.back() = zero;
  kiss_fftri(inverse.get(), bins.data(), buffer);
  const float scale = 1.0F / static_cast<float>(size);
  for (int n = 0; n < size; ++n) buffer[n] *= scale;
}

void _buildSubtablesForTable(float* table, int subtables, int size, float sampleRateHz) {
  const int half = size / 2;
  const auto top =
      static_cast<int>(static_cast<double>(half) * kSubtableTopHz / static_cast<double>(sampleRateHz));
  for (int k = 1; k < subtables; ++k) {
    float* copy = table + static_cast<std::ptrdiff_t>(k) * size;
    std::copy_n(table, size, copy);
    const auto kept =
        static_cast<int>(static_cast<float>(top) / std::pow(kSubtableRatio, static_cast<float>(k)));
    _removePartialsFromWaveform(copy, size, kept);
  }
}

WavetableSet::WavetableSet(float sampleRateHz)
    : sampleRate(sampleRateHz), samples_(static_cast<std::size_t>(kMaxWaves + 1) * kWaveSamples) {}

std::shared_ptr<const WavetableSet> WavetableSet::sharedVoiceSet(float sampleRateHz) {
  static std::mutex mutex;
  static std::map<float, std::weak_ptr<const WavetableSet>> sets;
  const std::scoped_lock lock(mutex);
  std::weak_ptr<const WavetableSet>& known = sets[sampleRateHz];
  if (auto set = known.lock()) return set;
  auto set = std::make_shared<WavetableSet>(sampleRateHz);
  set->_generateWavetables();
  known = set;
  return set;
}

void WavetableSet::generateWaveInTable(ZROscillatorWave which, float* table, Random* random) {
  generateWaveInTable(which, table, harmonicsUpTo(kHarmonicsUpToHz, sampleRate), random);
}

void WavetableSet::generateWaveInTable(ZROscillatorWave which, float* table, int harmonics, Random* random) {
  ++tableCount;
  if (which == ZROscillatorWave::noise) {
    for (int n = 0; n < kWaveSamples; ++n) table[n] = gaussianNoise(*random);
    return;
  }
  const WaveLaw law = lawOf(which);
  const std::vector<float> list = amplitudes(law.harmonics, law.power, harmonics);
  fourierTableFloat(harmonics, list.data(), kTableSize, table, 1, law.phaseCycles);
  if (law.isInverted) {
    for (int n = 0; n < kTableSize; ++n) table[n] = -table[n];
  }
  _buildSubtablesForTable(table, kSubtables, kTableSize, sampleRate);
}

// The pulse comes from a saw and a saw backwards read at an offset. The wave that stands in for a sine in the
// sub oscillator is a triangle.
void WavetableSet::_generateWavetables() {
  constexpr float kPhase = 0.25F;
  const int harmonics = harmonicsUpTo(kVoiceHarmonicsUpToHz, sampleRate);
  const auto finish = [this](float* table) {
    _buildSubtablesForTable(table, kSubtables, kTableSize, sampleRate);
  };

  fourierTableFloat(harmonics, amplitudes(Harmonics::all, 1, harmonics).data(), kTableSize, wave(1), 1,
                    kPhase);
  finish(wave(1));
  std::fill_n(wave(2), kWaveSamples, 0.0F);
  std::reverse_copy(wave(1), wave(1) + kTableSize, wave(3));
  finish(wave(3));
  fourierTableFloat(harmonics, amplitudes(Harmonics::odd, 2, harmonics).data(), kTableSize, wave(0), 1, 0.0F);
  finish(wave(0));
  const int squareHarmonics = harmonics - 1;
  fourierTableFloat(squareHarmonics, amplitudes(Harmonics::odd, 1, squareHarmonics).data(), kTableSize,
                    wave(4), 1, kPhase);
  finish(wave(4));
  // The square is made over a table that was counted before, so it does not count again.
  tableCount = 4;
}

}  // namespace morv
