#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

using testing::HasSubstr;

constexpr int kOutputFailed = 4;

// Closed streams, full devices, signals, other countries.
class MorvProgramSurroundings : public ProgramFixture {
 protected:
  std::string renderLine() const { return "\"$MORV\" render --midi '" + midi_ + "' --out '" + out_ + "' "; }
  Bytes bytesOf(const ProgramResult& run) const {
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    return TemporaryFolder::read(out_);
  }
};

TEST_F(MorvProgramSurroundings, TellsThatTheStandardOutputIsClosed) {
  const auto run = runShell("\"$MORV\" parameters >&-");

  EXPECT_EQ(run.exitCode, kOutputFailed);
  EXPECT_THAT(run.errors, HasSubstr("morv: standard output: "));
}

TEST_F(MorvProgramSurroundings, TellsThatTheStandardOutputIsFull) {
  const auto run = runShell("\"$MORV\" parameters >/dev/full");

  EXPECT_EQ(run.exitCode, kOutputFailed);
  EXPECT_EQ(run.errors, "morv: standard output: No space left on device\n");
}

// With the error stream closed the next file to be opened used to get its number, and the diagnostics landed
// in the middle of the sound.
TEST_F(MorvProgramSurroundings, KeepsItsMessagesOutOfTheSoundWhenStreamsAreClosed) {
  const Bytes usual = bytesOf(render());

  for (const std::string closed : {"2>&-", ">&- 2>&-", "<&- >&- 2>&-", "<&-", ">&-"}) {
    EXPECT_EQ(bytesOf(runShell(renderLine() + "--verbose " + closed)), usual) << closed;
  }
}

TEST_F(MorvProgramSurroundings, ReadsAndPrintsNumbersAlikeInEveryCountry) {
  const auto usual = render({"--set", "volume=0.5"});
  const Bytes bytes = bytesOf(usual);

  const auto other =
      runShell("LC_ALL=de_DE.UTF-8 LC_NUMERIC=de_DE.UTF-8 " + renderLine() + "--set volume=0.5");

  EXPECT_EQ(bytesOf(other), bytes);
  EXPECT_THAT(other.errors, HasSubstr("out.wav: 2.500 s, peak -"));
}

TEST_F(MorvProgramSurroundings, LeavesNoFileWhenASignalEndsItInTheMiddle) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto hasBegun = [this] { return !leftOnlyInputs(); };

    const int status = runMorvAndSignal(
        {"render", "--midi", midi_, "--out", out_, "--rate", "192000", "--seconds", "600"}, signal, hasBegun);

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_TRUE(leftOnlyInputs());
  }
}

TEST_F(MorvProgramSurroundings, ShowsTheShellTheUsualCodeOfASignal) {
  const auto run = runShell("(ulimit -f 100; " + renderLine() + "); echo $?");

  EXPECT_EQ(run.output, std::to_string(128 + SIGXFSZ) + "\n");
  EXPECT_TRUE(leftOnlyInputs());
}

}  // namespace
}  // namespace morv
