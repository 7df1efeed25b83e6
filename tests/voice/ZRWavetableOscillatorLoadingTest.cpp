// Wave and bank files, written here into a folder of the test's own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/voice/HarmonicTesting.h"
#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::at;
using testing::Signal;

namespace fs = std::filesystem;

constexpr float kRounding = 2e-6F;

class WavetableLoading : public ::testing::Test {
 protected:
  WavetableLoading() : folder(fs::temp_directory_path() / ("morv_waves_" + std::to_string(::getpid()))) {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  ~WavetableLoading() override { fs::remove_all(folder); }

  std::string write(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    const fs::path path = folder / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path.string();
  }
  static std::vector<std::uint8_t> waveFile(const std::vector<std::int16_t>& cycle) {
    std::vector<std::uint8_t> bytes(44, 0xAB);
    for (const std::int16_t s : cycle) {
      const auto bits = static_cast<std::uint16_t>(s);
      bytes.push_back(static_cast<std::uint8_t>(bits & 0xFFU));
      bytes.push_back(static_cast<std::uint8_t>(bits >> 8U));
    }
    return bytes;
  }
  static std::vector<std::int16_t> sine(int harmonic, int length = 600) {
    std::vector<std::int16_t> cycle(at(length));
    for (int n = 0; n < length; ++n)
      cycle[at(n)] =
          static_cast<std::int16_t>(30000 * std::sin(2.0 * std::numbers::pi * harmonic * n / length));
    return cycle;
  }
  std::string bankFile(int header, int frames) {
    std::vector<std::uint8_t> bytes(at(header), 0x55);
    Signal samples(at(frames) * 2048);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i) / 16.0F;
    const auto* raw = reinterpret_cast<const std::uint8_t*>(samples.data());
    bytes.insert(bytes.end(), raw, raw + samples.size() * 4);
    return write("bank", bytes);
  }

  // What a cycle becomes before it is normalised.
  static Signal stretched(const std::vector<std::int16_t>& cycle) {
    Signal table(1024);
    for (int n = 0; n < 1024; ++n) {
      const double position = n * 600.0 / 1024.0;
      const auto i = static_cast<std::size_t>(position);
      const double a = cycle[i];
      const double b = cycle[std::min<std::size_t>(i + 1, 599)];
      table[at(n)] = static_cast<float>((a + (position - static_cast<double>(i)) * (b - a)) / 65535.0);
    }
    return table;
  }

  fs::path folder;
  int counter = 0;
  ZRWavetableOscillator osc{44100.0F, 64, ZROscillatorMode::blend, &counter};
};

TEST_F(WavetableLoading, AWaveFileIsStretchedAndNormalisedOverAllItsCopies) {
  const std::vector<std::int16_t> cycle = sine(3);
  float* table = osc.tableForWriting(7);

  ASSERT_TRUE(osc._loadWavetableFromDisk(write("a.wav", waveFile(cycle)), table));

  const Signal expected = stretched(cycle);
  float peak = 0;
  for (int n = 0; n < 13 * 1024; ++n) peak = std::max(peak, table[n]);
  EXPECT_EQ(peak, 1.0F);
  const float scale = table[100] / expected[100];
  for (int n = 0; n < 1024; ++n) ASSERT_NEAR(table[n], scale * expected[at(n)], kRounding) << n;
  EXPECT_EQ(osc.tableCount, 1);
}

TEST_F(WavetableLoading, CopiesOfAWaveFileLoseTheirUpperHarmonics) {
  float* table = osc.tableForWriting(0);
  ASSERT_TRUE(osc._loadWavetableFromDisk(write("a.wav", waveFile(sine(30))), table));

  // Copies 1 to 5 keep harmonic 30 (they end at 160, 111, 76, 53, 36), copy 6 ends at 25.
  for (int copy = 1; copy < 13; ++copy) {
    const double level = std::abs(testing::harmonicsOf(table + copy * 1024, 1024)[30]);
    EXPECT_NEAR(level, copy <= 5 ? 1.0 : 0.0, 0.01) << copy;
  }
}

TEST_F(WavetableLoading, WithoutATableTheNextFreeWaveIsTaken) {
  const std::string path = write("a.wav", waveFile(sine(1)));

  EXPECT_TRUE(osc._loadWavetableFromDisk(path));
  EXPECT_TRUE(osc._loadWavetableFromDisk(path));

  EXPECT_EQ(osc.tableCount, 2);
  EXPECT_EQ(osc.table(0)[200], osc.table(1)[200]);
  EXPECT_NE(osc.table(1)[200], 0.0F);
  EXPECT_EQ(osc.table(2)[200], 0.0F);
}

TEST_F(WavetableLoading, MissingAndShortFilesChangeNothing) {
  float* table = osc.tableForWriting(0);
  std::fill_n(table, 1024, 0.25F);
  std::vector<std::uint8_t> shortFile = waveFile(sine(1));
  shortFile.pop_back();

  EXPECT_FALSE(osc._loadWavetableFromDisk((folder / "none.wav").string(), table));
  EXPECT_FALSE(osc._loadWavetableFromDisk(write("short.wav", shortFile), table));
  EXPECT_FALSE(osc._loadWavetableFromDisk(write("empty.wav", {}), table));
  EXPECT_FALSE(osc._loadWavetableFromDisk(folder.string(), table));
  EXPECT_FALSE(osc._loadWavetableFromDisk((folder / "none.wav").string()));

  EXPECT_EQ(osc.tableCount, 0);
  EXPECT_EQ(Signal(table, table + 1024), Signal(1024, 0.25F));
}

TEST_F(WavetableLoading, AFolderIsLoadedInTheOrderOfItsNames) {
  write("b.wav", waveFile(sine(2)));
  write("a.wav", waveFile(sine(1)));
  write("c.txt", waveFile(sine(4)));
  write("d.wav", waveFile(sine(3)));

  osc._loadWavetables(folder.string());

  EXPECT_EQ(osc.tableCount, 3);
  for (int wave = 0; wave < 3; ++wave)
    EXPECT_GT(std::abs(testing::harmonicsOf(osc.table(wave), 1024)[at(wave + 1)]), 0.9) << wave;
  EXPECT_EQ(osc.table(3)[100], 0.0F);
}

TEST_F(WavetableLoading, AMissingFolderLoadsNothing) {
  osc._loadWavetables((folder / "none").string());

  EXPECT_EQ(osc.tableCount, 0);
}

// The shared tables of other oscillators stay as they are.
TEST_F(WavetableLoading, AnOscillatorOfTheVoicesModeLoadsIntoASetOfItsOwn) {
  ZRWavetableOscillator voiceOsc(44100.0F, 64, ZROscillatorMode::voice, &counter);
  const auto shared = WavetableSet::sharedVoiceSet(44100.0F);
  const Signal before(shared->wave(0), shared->wave(0) + 5 * 13312);
  const std::string path = write("a.wav", waveFile(sine(5)));

  ASSERT_TRUE(voiceOsc._loadWavetableFromDisk(path, voiceOsc.tableForWriting(0)));

  EXPECT_EQ(Signal(shared->wave(0), shared->wave(0) + 5 * 13312), before);
  EXPECT_GT(std::abs(testing::harmonicsOf(voiceOsc.table(0), 1024)[5]), 0.9);
  for (int wave = 1; wave < 5; ++wave)
    EXPECT_EQ(Signal(voiceOsc.table(wave), voiceOsc.table(wave) + 13312),
              Signal(shared->wave(wave), shared->wave(wave) + 13312));
  EXPECT_EQ(voiceOsc.tableCount, 5);
}

TEST_F(WavetableLoading, ABankIsReadBehindItsHeader) {
  ASSERT_TRUE(osc.loadWavetableBankFromDisk(bankFile(12, 2), 2, 12));

  EXPECT_EQ(osc.bankTableCount, 2);
  EXPECT_EQ(osc.tableCount, 1);
  ZRWavetableOscillator player(44100.0F, 64, ZROscillatorMode::bank, &counter);
  ASSERT_TRUE(player.loadWavetableBankFromDisk(bankFile(12, 2), 2, 12));
  player.morphAmount.value = 1.0F;
  player.phaseOne = 32.0F;
  float sample = 0;
  player.runGenerator(&sample, nullptr, 1, 120.0F);
  EXPECT_EQ(sample, (2048.0F + 32.0F) / 16.0F);
}

TEST_F(WavetableLoading, AMissingOrShortBankIsSilentWithItsNumberOfFrames) {
  for (const std::string& path : {(folder / "none").string(), bankFile(0, 2)}) {
    ZRWavetableOscillator player(44100.0F, 64, ZROscillatorMode::bank, &counter);
    EXPECT_FALSE(player.loadWavetableBankFromDisk(path, 3, 0));
    EXPECT_EQ(player.bankTableCount, 3);
    EXPECT_EQ(player.tableCount, 0);
    Signal x(64, 1.0F);
    player.runGenerator(x.data(), nullptr, 64, 120.0F);
    EXPECT_EQ(x, Signal(64, 0.0F));
  }
}

TEST_F(WavetableLoading, ResynthesisPlaysTheCycleOnceOver) {
  const std::vector<std::int16_t> cycle = sine(2);
  Signal out(1000);

  osc._resynthesizeTable(cycle.data(), 600, out.data(), 1000);

  for (int n = 0; n < 1000; ++n) {
    const double position = n * 0.6;
    const auto i = static_cast<std::size_t>(position + 1e-9);
    const double a = cycle[i];
    const double b = cycle[(i + 1) % 600];
    ASSERT_NEAR(out[at(n)], a + (position - static_cast<double>(i)) * (b - a), 0.05) << n;
  }
}

TEST_F(WavetableLoading, ResynthesisTakesNoMoreThanOneCycleOf600Samples) {
  const std::vector<std::int16_t> tooLong(2000, 100);
  Signal out(600, 0.0F);

  osc._resynthesizeTable(tooLong.data(), 2000, out.data(), 600);

  for (const float x : out) ASSERT_NEAR(x, 100.0F, 1e-3F);
}

}  // namespace
}  // namespace morv
