// What the wavetable oscillator reads from outside: single cycles, folders of them, banks of frames.

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/FileBytes.h"
#include "voice/FourierTable.h"
#include "voice/ZRWavetableOscillator.h"

namespace morv {
namespace {

constexpr int kCycleSamples = 600;
constexpr std::size_t kWaveHeaderBytes = 44;
constexpr float kCycleScale = 65535.0F;
constexpr int kBankFrameSize = 2048;

}  // namespace

float* ZRWavetableOscillator::tableForWriting(int wave) {
  if (ownWaves_ == nullptr) {
    ownWaves_ = std::make_shared<WavetableSet>(waves_->sampleRate);
    ownWaves_->tableCount = waves_->tableCount;
    const int filled = 5;
    std::copy_n(waves_->wave(0), std::size_t{filled} * WavetableSet::kWaveSamples, ownWaves_->wave(0));
    waves_ = ownWaves_;
  }
  return ownWaves_->wave(wave);
}

void ZRWavetableOscillator::generateWaveInTable(ZROscillatorWave wave, float* table) {
  if (ownWaves_ == nullptr) tableForWriting(0);
  ownWaves_->generateWaveInTable(wave, table, &random_);
  tableCount = ownWaves_->tableCount;
}

void ZRWavetableOscillator::generateWaveInTable(ZROscillatorWave wave, float* table, int harmonics) {
  if (ownWaves_ == nullptr) tableForWriting(0);
  ownWaves_->generateWaveInTable(wave, table, harmonics, &random_);
  tableCount = ownWaves_->tableCount;
}

// The cycle is stretched to the table's length by straight lines between its samples, which stand 1024 / 600
// apart; behind the last one it stays level.
bool ZRWavetableOscillator::_loadWavetableFromDisk(const std::string& path, float* table) {
  const auto bytes = readFileBytes(path, kWaveHeaderBytes, kCycleSamples * sizeof(std::int16_t));
  if (!bytes) return false;
  std::array<float, kCycleSamples> cycle{};
  for (std::size_t i = 0; i < cycle.size(); ++i) {
    const auto bits = static_cast<std::uint16_t>((*bytes)[2 * i] | ((*bytes)[2 * i + 1] << 8));
    cycle[i] = static_cast<float>(std::bit_cast<std::int16_t>(bits)) / kCycleScale;
  }
  constexpr double kSpacing = static_cast<double>(WavetableSet::kTableSize) / kCycleSamples;
  for (int n = 0; n < WavetableSet::kTableSize; ++n) {
    const double position = n / kSpacing;
    const auto i = static_cast<std::size_t>(position);
    const std::size_t next = std::min(i + 1, cycle.size() - 1);
    const auto fraction = static_cast<float>(position - static_cast<double>(i));
    table[n] = cycle[i] + fraction * (cycle[next] - cycle[i]);
  }
  _buildSubtablesForTable(table, WavetableSet::kSubtables, WavetableSet::kTableSize, waves_->sampleRate);
  normalise_table(table, WavetableSet::kWaveSamples, 1.0F);
  ++tableCount;
  if (ownWaves_ != nullptr) ownWaves_->tableCount = tableCount;
  return true;
}

bool ZRWavetableOscillator::_loadWavetableFromDisk(const std::string& path) {
  if (tableCount >= WavetableSet::kMaxWaves) return false;
  return _loadWavetableFromDisk(path, tableForWriting(tableCount));
}

void ZRWavetableOscillator::_loadWavetables(const std::string& folder) {
  int wave = 0;
  for (const std::string& path : filesWithExtension(folder, ".wav")) {
    if (wave >= WavetableSet::kMaxWaves) return;
    _loadWavetableFromDisk(path, tableForWriting(wave++));
  }
}

bool ZRWavetableOscillator::loadWavetableBankFromDisk(const std::string& path, int frames, int headerBytes) {
  bankTableCount = std::max(frames, 0);
  const std::size_t samples = static_cast<std::size_t>(bankTableCount) * kBankFrameSize;
  bank_.assign(samples, 0.0F);
  const auto bytes =
      readFileBytes(path, static_cast<std::size_t>(std::max(headerBytes, 0)), samples * sizeof(float));
  if (!bytes) return false;
  if (!bytes->empty()) std::memcpy(bank_.data(), bytes->data(), bytes->size());
  ++tableCount;
  return true;
}

void ZRWavetableOscillator::_resynthesizeTable(const std::int16_t* in, int inLength, float* out,
                                               int outLength) {
  const int used = std::clamp(inLength, 0, firstState_.size);
  for (int i = 0; i < used; ++i) firstState_.samples[static_cast<std::size_t>(i)] = static_cast<float>(in[i]);
  const double frequency = static_cast<double>(sampleRate) / outLength;
  for (int i = 0; i < outLength; ++i) {
    out[i] = runWTOsc(&firstState_, frequency, 0, 0, 0, static_cast<double>(sampleRate));
  }
}

}  // namespace morv
