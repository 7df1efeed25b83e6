#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

using testing::Contains;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Ne;
using testing::StartsWith;

class MorvProgram : public ProgramFixture {};

std::size_t firstSoundingFrame(const std::vector<float>& samples) {
  const auto found =
      std::find_if(samples.begin(), samples.end(), [](float sample) { return sample != 0.0F; });
  return static_cast<std::size_t>(found - samples.begin()) / 2;
}

TEST_F(MorvProgram, PrintsItsVersionAndHelpOnTheStandardOutput) {
  const auto version = runMorv({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_THAT(version.output, MatchesRegex("morv [0-9]+\\.[0-9]+\\.[0-9]+\n"));

  const std::vector<std::vector<std::string>> commands = {
      {"--help"}, {"render", "--help"}, {"parameters", "--help"}};
  for (const auto& words : commands) {
    const auto help = runMorv(words);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.output, StartsWith("Usage: morv "));
    EXPECT_EQ(help.errors, "");
  }
}

TEST_F(MorvProgram, RefusesMissingAndUnknownCommands) {
  EXPECT_EQ(runMorv({}).exitCode, 2);
  const auto unknown = runMorv({"rendr"});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_THAT(unknown.errors, StartsWith("morv: unknown command 'rendr'; the nearest is render\n"));
  EXPECT_EQ(unknown.output, "");
  EXPECT_EQ(runMorv({"--verison"}).exitCode, 2);
}

TEST_F(MorvProgram, ListsTheParametersAsATable) {
  const auto list = runMorv({"parameters"});

  EXPECT_EQ(list.exitCode, 0);
  EXPECT_EQ(list.errors, "");
  EXPECT_THAT(
      list.output,
      StartsWith("group\tidentifier\taddress\tname\tminimum\tmaximum\tdefault\tunit\tflags\tvalueStrings\n"
                 "morv\tportamentoTime\t0\t"));
  EXPECT_THAT(list.output, HasSubstr("\tVoice Mode\t0\t1\t0\t1\t3254779904\tPoly|Unison\n"));
}

TEST_F(MorvProgram, ListsTheParametersAsJson) {
  const auto list = runMorv({"parameters", "--json"});

  EXPECT_EQ(list.exitCode, 0);
  EXPECT_THAT(list.output,
              StartsWith("[\n{\"group\": \"morv\", \"identifier\": \"portamentoTime\", \"address\": 0,"));
  EXPECT_THAT(list.output, EndsWith("}\n]\n"));
  EXPECT_EQ(runMorv({"parameters", "--jsno"}).exitCode, 2);
  EXPECT_EQ(runMorv({"parameters", "volume"}).exitCode, 2);
}

TEST_F(MorvProgram, RendersAPieceToAStereoFloatFile) {
  const auto run = render();

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(run.output, "");
  EXPECT_THAT(run.errors, MatchesRegex(".*out\\.wav: [0-9.]+ s, peak -?[0-9.]+ dBFS, RMS -?[0-9.]+ dBFS, "
                                       "[0-9.]+ times real time\n"));
  EXPECT_THAT(sound(), Contains(Ne(0.0F)));
  EXPECT_EQ(rate_, 44100);
  for (const float sample : sound()) ASSERT_TRUE(std::isfinite(sample));
}

TEST_F(MorvProgram, WritesTheSameBytesForTheSameCommand) {
  const std::vector<std::string> words = {"--seed", "7", "--set", "voiceDetune=1", "--set", "panSpread=1"};

  ASSERT_EQ(render(words).exitCode, 0);
  const auto first = TemporaryFolder::read(out_);
  ASSERT_EQ(render(words).exitCode, 0);

  EXPECT_EQ(TemporaryFolder::read(out_), first);
  EXPECT_FALSE(first.empty());
}

TEST_F(MorvProgram, DrawsOtherwiseForAnotherSeed) {
  ASSERT_EQ(render({"--set", "panSpread=1", "--seed", "1"}).exitCode, 0);
  const auto first = sound();
  ASSERT_EQ(render({"--set", "panSpread=1", "--seed", "2"}).exitCode, 0);

  EXPECT_NE(sound(), first);
}

TEST_F(MorvProgram, LastsForTheLastEventAndTheTailInWholeBlocks) {
  // 0.5 s and 2 s are 110250 samples, 1723 blocks of 64.
  ASSERT_EQ(render().exitCode, 0);
  EXPECT_EQ(frames(), 1723U * 64U);

  ASSERT_EQ(render({"--tail", "0.25", "--rate", "8000", "--block", "1000"}).exitCode, 0);
  EXPECT_EQ(frames(), 6000U);
  EXPECT_EQ(rate_, 8000);

  ASSERT_EQ(render({"--tail=0", "--rate=192000", "--block=4096"}).exitCode, 0);
  EXPECT_EQ(frames(), 24U * 4096U);
}

TEST_F(MorvProgram, LastsAsLongAsToldInWholeBlocks) {
  ASSERT_EQ(render({"--seconds", "0.1", "--block", "4410"}).exitCode, 2);
  ASSERT_EQ(render({"--seconds", "0.1", "--block", "441"}).exitCode, 0);
  EXPECT_EQ(frames(), 4410U);

  ASSERT_EQ(render({"--seconds", "0.1"}).exitCode, 0);
  EXPECT_EQ(frames(), 69U * 64U);
}

TEST_F(MorvProgram, IsExactlySilentWithoutNotes) {
  const std::string quiet = folder_.write("quiet.mid", singleTrack({}));
  const auto run = runMorv({"render", "--midi", quiet, "--out", out_, "--tail", "0.1"});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("peak -inf dBFS, RMS -inf dBFS"));
  EXPECT_THAT(sound(), Each(0.0F));
}

TEST_F(MorvProgram, StartsANoteWithTheBlockThatHoldsIt) {
  // 100 ms are sample 4410, in the block of 64 that begins at 4352 and in that of 1000 that begins at 4000.
  // The envelope reaches the amplifier a block later, so the first sound comes with the block behind.
  const std::string late =
      folder_.write("late.mid", singleTrack({100, 0x90, 60, 100, 100, 0x80, 60, 64}, 500));
  const auto firstSoundWithBlock = [&](const std::string& block) {
    EXPECT_EQ(runMorv({"render", "--midi", late, "--out", out_, "--block", block}).exitCode, 0);
    return firstSoundingFrame(sound());
  };

  const std::size_t inSmall = firstSoundWithBlock("64");
  const std::size_t inLarge = firstSoundWithBlock("1000");

  EXPECT_GE(inSmall, 4352U + 64U);
  EXPECT_LT(inSmall, 4352U + 2U * 64U);
  EXPECT_GE(inLarge, 4000U + 1000U);
  EXPECT_LT(inLarge, 4000U + 1000U + 64U);
}

TEST_F(MorvProgram, WritesParametersBeforeTheFirstBlock) {
  ASSERT_EQ(render().exitCode, 0);
  const auto usual = sound();

  ASSERT_EQ(render({"--set", "volume=0"}).exitCode, 0);
  EXPECT_THAT(sound(), Each(0.0F));

  ASSERT_EQ(render({"--set", "volume=0", "--set", "morv.volume=0.75"}).exitCode, 0);
  EXPECT_EQ(sound(), usual);
}

TEST_F(MorvProgram, MovesParametersAheadOfTheBlockThatHoldsTheRow) {
  ASSERT_EQ(render().exitCode, 0);
  const auto usual = sound();
  // 0.1 s is sample 4410, in the block from 4352 to 4415.
  const std::string knobs =
      folder_.write("knobs.csv", std::string("seconds,identifier,value\n0.1,volume,0.1\n"));

  ASSERT_EQ(render({"--automation", knobs}).exitCode, 0);

  const auto moved = sound();
  ASSERT_EQ(moved.size(), usual.size());
  EXPECT_TRUE(std::equal(moved.begin(), moved.begin() + std::ptrdiff_t{2 * 4352}, usual.begin()));
  EXPECT_FALSE(std::equal(moved.begin() + std::ptrdiff_t{2 * 4352}, moved.begin() + std::ptrdiff_t{2 * 4416},
                          usual.begin() + std::ptrdiff_t{2 * 4352}));
}

TEST_F(MorvProgram, WritesParametersAheadOfTheMidiOfTheirSample) {
  // On channel 2 alone nothing sounds once the instrument listens to channel 1 at the note's own sample.
  const std::string other = folder_.write("other.mid", singleTrack({100, 0x91, 60, 100}, 500));
  const std::string knobs = folder_.write("knobs.csv", std::string("0.1,midiMode,0\n0.1,midiChannel,0\n"));

  ASSERT_EQ(runMorv({"render", "--midi", other, "--out", out_, "--automation", knobs}).exitCode, 0);
  EXPECT_THAT(sound(), Each(0.0F));

  ASSERT_EQ(runMorv({"render", "--midi", other, "--out", out_}).exitCode, 0);
  EXPECT_THAT(sound(), Contains(Ne(0.0F)));
}

TEST_F(MorvProgram, IgnoresRowsBehindTheEnd) {
  const std::string knobs = folder_.write("knobs.csv", std::string("1000,volume,0\n"));

  ASSERT_EQ(render({"--automation", knobs}).exitCode, 0);

  EXPECT_EQ(frames(), 1723U * 64U);
}

TEST_F(MorvProgram, WritesWholeNumberFormats) {
  ASSERT_EQ(render({"--format", "s16"}).exitCode, 0);
  const auto size16 = TemporaryFolder::read(out_).size();
  ASSERT_EQ(render({"--format", "s24"}).exitCode, 0);
  const auto size24 = TemporaryFolder::read(out_).size();

  EXPECT_EQ(size16 / 1000, 1723U * 64U * 4U / 1000);
  EXPECT_EQ(size24 / 1000, 1723U * 64U * 6U / 1000);
}

TEST_F(MorvProgram, TellsOfSoundThatAWholeNumberFormatCuts) {
  const std::vector<std::string> loud = {"--set", "volume=100", "--format"};
  const auto with = [&](const std::string& format) {
    auto words = loud;
    words.push_back(format);
    return render(words);
  };

  EXPECT_THAT(with("s16").errors, HasSubstr("out.wav: clipped, the sound goes "));
  for (const float sample : sound()) ASSERT_LE(std::abs(sample), 1.0F);
  EXPECT_THAT(with("f32").errors, testing::Not(HasSubstr("clipped")));
  EXPECT_THAT(render({"--format", "s24"}).errors, testing::Not(HasSubstr("clipped")));
}

TEST_F(MorvProgram, RemarksOnAValueOutsideItsRangeOnceAndGoesOn) {
  const auto run = render({"--set", "volume=2", "--set", "volume=3"});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.errors, StartsWith("morv: volume=2 lies outside 0 to 1\n"));
  EXPECT_THAT(run.errors, testing::Not(HasSubstr("volume=3")));
}

TEST_F(MorvProgram, TakesSettingsForTheRun) {
  EXPECT_EQ(render({"--setting", "midiNotePriority=2", "--setting=midiMPEBendRange=12"}).exitCode, 0);

  const auto unknown = render({"--setting", "midiNotePrio=2"});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_THAT(unknown.errors, HasSubstr("unknown setting 'midiNotePrio'; the nearest are midiNotePriority"));
}

TEST_F(MorvProgram, BendsAMemberChannelByTheRangeOfTheSetting) {
  // A note on channel 2 under full bend: the range decides the pitch.
  const std::string bent =
      folder_.write("bent.mid", singleTrack({0, 0x91, 60, 100, 0, 0xE1, 127, 127, 100, 0x81, 60, 0}, 500));
  const auto soundWith = [&](const std::string& setting) {
    EXPECT_EQ(runMorv({"render", "--midi", bent, "--out", out_, "--setting", setting}).exitCode, 0);
    return sound();
  };

  EXPECT_NE(soundWith("midiMPEBendRange=2"), soundWith("midiMPEBendRange=24"));
  EXPECT_EQ(soundWith("midiMPEBendRange=48"), soundWith("midiNotePriority=0"));
}

TEST_F(MorvProgram, ShowsTheFilesTempoToTheInstrumentUnlessToldAnother) {
  // An LFO in step with the tempo swings the cutoff. The file is at 60 beats per minute.
  const Bytes slow = {0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40, 0, 0x90, 60, 100, 0x87, 0x68, 0x80, 60, 64};
  const std::string path = folder_.write("slow.mid", singleTrack(slow, 1000));
  const auto soundAt = [&](const std::vector<std::string>& more) {
    std::vector<std::string> words = {
        "render", "--midi",   path, "--out", out_, "--set", "lfoBPMSync=1", "--set", "filterLFOModAmount=1",
        "--set",  "lfoFreq=5"};
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(runMorv(words).exitCode, 0);
    return sound();
  };

  const auto own = soundAt({});
  const auto same = soundAt({"--tempo", "60"});
  const auto other = soundAt({"--tempo", "180"});

  EXPECT_EQ(own, same);
  EXPECT_NE(own, other);
  EXPECT_EQ(own.size(), other.size());
}

TEST_F(MorvProgram, PrintsTheEnginesDiagnosticsOnlyIfAsked) {
  const auto quiet = render();
  const auto verbose = render({"--verbose"});

  EXPECT_EQ(std::count(quiet.errors.begin(), quiet.errors.end(), '\n'), 1);
  EXPECT_GT(std::count(verbose.errors.begin(), verbose.errors.end(), '\n'), 1);
}

}  // namespace
}  // namespace morv
