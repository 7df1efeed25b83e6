#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kUsage = 2;
constexpr int kBadInput = 3;
constexpr int kOutputFailed = 4;

class MorvProgramInput : public ProgramFixture {
 protected:
  ProgramResult renderFile(const std::string& path) const {
    return runMorv({"render", "--midi", path, "--out", out_});
  }
  // Nothing but a message, a code and an untouched folder.
  void expectRefused(const ProgramResult& run, int code, const std::string& message) const {
    EXPECT_EQ(run.exitCode, code) << run.errors;
    EXPECT_THAT(run.errors, StartsWith("morv: "));
    EXPECT_THAT(run.errors, HasSubstr(message));
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(leftOnlyInputs());
  }
};

TEST_F(MorvProgramInput, RefusesFilesThatAreNoMidi) {
  expectRefused(renderFile(folder_.path("none.mid")), kBadInput, "none.mid: cannot be opened: No such file");
  expectRefused(renderFile(folder_.path("")), kBadInput, "Is a directory");
  expectRefused(renderFile(folder_.write("empty.mid", Bytes{})), kBadInput, "empty.mid: is empty");
  expectRefused(renderFile(folder_.write("text.mid", std::string("hello"))), kBadInput,
                "text.mid: is not a Standard MIDI File");
}

TEST_F(MorvProgramInput, RefusesATruncatedFile) {
  Bytes cut = piece();
  cut.resize(cut.size() - 3);

  expectRefused(renderFile(folder_.write("cut.mid", cut)), kBadInput, "cut.mid: track 1 ends at byte ");
}

TEST_F(MorvProgramInput, RefusesATrackThatLiesAboutItsLength) {
  const Bytes content = {0, 0x90, 60, 1, 0, 0xFF, 0x2F, 0};
  const Bytes liar = headerChunk(0, 1, 96) + chunk("MTrk", 4000, content);

  expectRefused(renderFile(folder_.write("liar.mid", liar)), kBadInput,
                "liar.mid: track 1 ends at byte 30 but claims 4000");
}

TEST_F(MorvProgramInput, RefusesFormatTwo) {
  const Bytes two = headerChunk(2, 1, 96) + trackChunk({0, 0x90, 60, 1});

  expectRefused(renderFile(folder_.write("two.mid", two)), kBadInput, "two.mid: is of format 2");
}

TEST_F(MorvProgramInput, RefusesAPieceThatNoFileHolds) {
  // A rest of 2^28 - 1 ticks at one tick per quarter note: four years.
  const Bytes endless = singleTrack({0xFF, 0xFF, 0xFF, 0x7F, 0x90, 60, 1}, 1);
  const std::string path = folder_.write("endless.mid", endless);

  expectRefused(renderFile(path), kBadInput, "--seconds gives a length");
  expectRefused(render({"--seconds", "1e9"}), kUsage, "more than");
  EXPECT_EQ(runMorv({"render", "--midi", path, "--out", out_, "--seconds", "0.1"}).exitCode, 0);
}

TEST_F(MorvProgramInput, BlamesATailThatNoFileHoldsOnTheCommandLine) {
  expectRefused(render({"--tail", "1e9"}), kUsage, "option '--tail': a render of 1000000001 s is more than");
  expectRefused(render({"--tail", "1e300"}), kUsage, "option '--tail': ");
}

TEST_F(MorvProgramInput, RefusesWrongUsage) {
  expectRefused(render({"--rate", "7999"}), kUsage, "out of range (8000 to 192000)");
  expectRefused(render({"--rate", "192001"}), kUsage, "out of range (8000 to 192000)");
  expectRefused(render({"--block", "0"}), kUsage, "out of range (1 to 4096)");
  expectRefused(render({"--block", "4097"}), kUsage, "out of range (1 to 4096)");
  expectRefused(render({"--tempo", "fast"}), kUsage, "'fast' is no number");
  expectRefused(render({"--set", "volume=loud"}), kUsage, "'loud' is no number");
  expectRefused(render({"--nonsense"}), kUsage, "unknown option '--nonsense'");
  expectRefused(render({"--rate"}), kUsage, "'--rate' needs a value");
  expectRefused(render({"stray"}), kUsage, "unexpected argument 'stray'");
  expectRefused(runMorv({"render", "--out", out_}), kUsage, "'--midi' is missing");
}

TEST_F(MorvProgramInput, RefusesAnUnknownParameterWithTheNearestNames) {
  expectRefused(render({"--set", "filterCutof=100"}), kUsage,
                "unknown parameter 'filterCutof'; the nearest are filterCutoff");
  expectRefused(render({"--set", "nogroup.volume=1"}), kUsage, "unknown parameter 'nogroup.volume'");
}

TEST_F(MorvProgramInput, RefusesBadAutomationWithItsLine) {
  const auto with = [this](const std::string& text) {
    return render({"--automation", folder_.write("knobs.csv", text)});
  };

  expectRefused(with("seconds,identifier,value\n0,volume,1\n0,volum,1\n"), kBadInput,
                "knobs.csv:3: unknown parameter 'volum'; the nearest are volume");
  expectRefused(with("0,volume\n"), kBadInput, "knobs.csv:1: expected seconds,identifier,value");
  expectRefused(with("0,volume,1\nx,volume,1\n"), kBadInput, "knobs.csv:2: 'x' is no time in seconds");
  expectRefused(with("0,volume,loud\n"), kBadInput, "knobs.csv:1: 'loud' is no value");
  expectRefused(render({"--automation", folder_.path("none.csv")}), kBadInput, "none.csv: cannot be opened");
}

TEST_F(MorvProgramInput, RefusesTargetsThatCannotBeWritten) {
  const auto to = [this](const std::string& target) {
    return runMorv({"render", "--midi", midi_, "--out", target});
  };

  expectRefused(to(folder_.path("none/out.wav")), kOutputFailed, "none/out.wav: cannot be written");
  expectRefused(to("/dev/full"), kOutputFailed, "/dev/full: is no plain file");
  std::filesystem::create_directory(folder_.path("sub"));
  expectRefused(to(folder_.path("sub")), kOutputFailed, "sub: is a directory");
}

TEST_F(MorvProgramInput, LeavesNoFileWhenTheDiskIsFull) {
  const auto run = runMorvWithFileLimit({"render", "--midi", midi_, "--out", out_}, 100000);

  EXPECT_EQ(run.exitCode, kOutputFailed) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("out.wav: cannot be written"));
  EXPECT_TRUE(leftOnlyInputs());
}

TEST_F(MorvProgramInput, DoesNotWriteOverItsInput) {
  const auto run = runMorv({"render", "--midi", midi_, "--out", midi_});

  EXPECT_EQ(run.exitCode, kUsage);
  EXPECT_THAT(run.errors, HasSubstr("is both read and written"));
  EXPECT_EQ(TemporaryFolder::read(midi_), piece());
}

TEST_F(MorvProgramInput, KeepsAnOldResultWhenItFails) {
  folder_.write("out.wav", std::string("old"));

  EXPECT_EQ(render({"--set", "nothing=1"}).exitCode, kUsage);

  EXPECT_EQ(TemporaryFolder::read(out_).size(), 3U);
}

TEST_F(MorvProgramInput, TakesTheLastOfAnOptionGivenTwice) {
  ASSERT_EQ(render({"--seconds", "5", "--seconds=0.1", "--rate=8000", "--rate", "16000"}).exitCode, 0);

  EXPECT_EQ(frames(), 1600U);
  EXPECT_EQ(rate_, 16000);
}

TEST_F(MorvProgramInput, RefusesEmptyWordsAndOperands) {
  expectRefused(render({""}), kUsage, "unexpected argument ''");
  expectRefused(render({"--", "--rate"}), kUsage, "unexpected argument '--rate'");
  expectRefused(render({"--rate", ""}), kUsage, "'' is no whole number");
  expectRefused(render({"--rate="}), kUsage, "'' is no whole number");
  expectRefused(render({"--out", ""}), kUsage, "'--out' is missing");
  expectRefused(render({"--set", ""}), kUsage, "'' is not of the form ID=VALUE");
  expectRefused(render({"--set", "volume="}), kUsage, "volume: '' is no number");
  expectRefused(render({"--set", "volume=0,5"}), kUsage, "'0,5' is no number");
  EXPECT_EQ(runMorv({""}).exitCode, kUsage);
}

// A million notes on and off, all in five seconds.
TEST_F(MorvProgramInput, PlaysAMillionEvents) {
  constexpr int kEvents = 1000000;
  Bytes events;
  events.reserve(std::size_t{4} * kEvents);
  for (int i = 0; i < kEvents; ++i) {
    const auto note = static_cast<std::uint8_t>(24 + i / 2 % 80);
    const auto velocity = static_cast<std::uint8_t>(i % 2 == 0 ? 100 : 0);
    const auto delta = static_cast<std::uint8_t>(i % 200 == 0 ? 1 : 0);
    for (const std::uint8_t byte : {delta, std::uint8_t{0x90}, note, velocity}) events.push_back(byte);
  }
  const std::string path = folder_.write("million.mid", singleTrack(events, 500));

  const auto run = runMorv({"render", "--midi", path, "--out", out_, "--tail", "0.1"});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(frames(), (224910U + 63U) / 64U * 64U);  // 5000 ticks of a millisecond, and the tail
}

// Whole programs, since a crash may hide in any step behind the reading.
TEST_F(MorvProgramInput, RendersOrRefusesWhatIsLeftOfADamagedFile) {
  constexpr std::uint64_t kSeed = 20260101;
  constexpr int kDamaged = 150;
  const Bytes whole = TemporaryFolder::read(MORV_DEMO_FOLDER "/demo.mid");
  ASSERT_GT(whole.size(), 1000U);
  Random random(kSeed);
  int played = 0;
  for (int i = 0; i < kDamaged; ++i) {
    Bytes damaged = whole;
    for (int changes = 1 << i % 5; changes > 0; --changes) {
      const auto place = static_cast<std::size_t>(random.unit31() * static_cast<double>(damaged.size() - 1));
      damaged[place] = static_cast<std::uint8_t>(random.unit31() * 255.0);
    }
    const std::string path = folder_.write("damaged.mid", damaged);

    const auto run = runMorv(
        {"render", "--midi", path, "--out", out_, "--rate", "8000", "--block", "4096", "--seconds", "2"});

    if (run.exitCode == 0) {
      ++played;
      for (const float sample : sound()) ASSERT_TRUE(std::isfinite(sample)) << "seed " << kSeed << ", " << i;
      std::filesystem::remove(out_);
    } else {
      expectRefused(run, kBadInput, "damaged.mid: ");
    }
    ASSERT_FALSE(HasFailure()) << "seed " << kSeed << ", file " << i;
  }
  EXPECT_GT(played, 0);
}

}  // namespace
}  // namespace morv
