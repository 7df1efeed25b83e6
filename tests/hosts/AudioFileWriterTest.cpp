#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>
#include <vector>

#include "hosts/cli/AudioFileWriter.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::cli {
namespace {

struct Sound {
  SF_INFO info{};
  std::vector<float> samples;  // interleaved
};

Sound load(const std::string& path) {
  Sound sound;
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &sound.info);
  EXPECT_NE(file, nullptr);
  if (file == nullptr) return sound;
  sound.samples.resize(static_cast<std::size_t>(sound.info.frames * sound.info.channels));
  sf_readf_float(file, sound.samples.data(), sound.info.frames);
  sf_close(file);
  return sound;
}

void writeSound(const std::string& path, int rate, SampleFormat format, const std::vector<float>& left,
                const std::vector<float>& right) {
  auto writer = AudioFileWriter::create(path, rate, format);
  ASSERT_TRUE(writer) << writer.reason();
  ASSERT_TRUE(writer->write(left.data(), right.data(), left.size()));
  ASSERT_TRUE(writer->finish());
}

TEST(AudioFileWriter, WritesFloatsAsTheyAre) {
  const TemporaryFolder folder;

  writeSound(folder.path("a.wav"), 44100, SampleFormat::f32, {0.1F, 1.5F, 1e-20F}, {-0.1F, -1.5F, 0.0F});

  const Sound sound = load(folder.path("a.wav"));
  EXPECT_EQ(sound.info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
  EXPECT_EQ(sound.info.samplerate, 44100);
  EXPECT_EQ(sound.info.channels, 2);
  EXPECT_THAT(sound.samples, testing::ElementsAre(0.1F, -0.1F, 1.5F, -1.5F, 1e-20F, 0.0F));
}

TEST(AudioFileWriter, ClipsWholeNumbersAtFullScale) {
  const TemporaryFolder folder;
  constexpr float kStep16 = 1.0F / 32768.0F;

  writeSound(folder.path("a.wav"), 96000, SampleFormat::s16, {0.5F, 2.0F}, {-0.5F, -2.0F});

  const Sound sound = load(folder.path("a.wav"));
  EXPECT_EQ(sound.info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  EXPECT_NEAR(sound.samples[0], 0.5F, kStep16);
  EXPECT_NEAR(sound.samples[1], -0.5F, kStep16);
  EXPECT_NEAR(sound.samples[2], 1.0F, kStep16);
  EXPECT_EQ(sound.samples[3], -1.0F);
}

TEST(AudioFileWriter, WritesTwentyFourBits) {
  const TemporaryFolder folder;
  constexpr float kStep24 = 1.0F / 8388608.0F;

  writeSound(folder.path("a.wav"), 192000, SampleFormat::s24, {0.123456F}, {-0.75F});

  const Sound sound = load(folder.path("a.wav"));
  EXPECT_EQ(sound.info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  EXPECT_EQ(sound.info.samplerate, 192000);
  EXPECT_NEAR(sound.samples[0], 0.123456F, kStep24);
  EXPECT_NEAR(sound.samples[1], -0.75F, kStep24);
}

TEST(AudioFileWriter, MakesTheSameBytesOfTheSameSound) {
  const TemporaryFolder folder;
  const std::vector<float> ramp = {0.0F, 0.25F, 0.5F};

  for (const char* name : {"a.wav", "b.wav"}) {
    writeSound(folder.path(name), 44100, SampleFormat::f32, ramp, ramp);
  }

  EXPECT_EQ(TemporaryFolder::read(folder.path("a.wav")), TemporaryFolder::read(folder.path("b.wav")));
  const auto bytes = TemporaryFolder::read(folder.path("a.wav"));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()).find("PEAK"), std::string::npos);
}

TEST(AudioFileWriter, MayWriteNoFrame) {
  const TemporaryFolder folder;

  writeSound(folder.path("a.wav"), 44100, SampleFormat::f32, {}, {});

  EXPECT_EQ(load(folder.path("a.wav")).info.frames, 0);
}

TEST(AudioFileWriter, LeavesNothingBehindUnfinished) {
  const TemporaryFolder folder;
  {
    auto writer = AudioFileWriter::create(folder.path("a.wav"), 44100, SampleFormat::f32);
    ASSERT_TRUE(writer) << writer.reason();
    const float sample = 0.5F;
    ASSERT_TRUE(writer->write(&sample, &sample, 1));
  }

  EXPECT_THAT(folder.names(), testing::IsEmpty());
}

TEST(AudioFileWriter, KnowsHowMuchAFileHolds) {
  // Sizes are counted in 32 bits; a stereo frame takes 8, 6 or 4 bytes.
  EXPECT_LT(AudioFileWriter::maximumFrames(SampleFormat::f32), (std::uint64_t{1} << 32U) / 8);
  EXPECT_GT(AudioFileWriter::maximumFrames(SampleFormat::f32), (std::uint64_t{1} << 32U) / 8 - 1000);
  EXPECT_LT(AudioFileWriter::maximumFrames(SampleFormat::s24), (std::uint64_t{1} << 32U) / 6);
  EXPECT_LT(AudioFileWriter::maximumFrames(SampleFormat::s16), (std::uint64_t{1} << 32U) / 4);
}

}  // namespace
}  // namespace morv::cli
