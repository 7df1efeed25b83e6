// "morv effect" as it is used.

#include <gmock/gmock.h>
#include <sndfile.h>

#include <cmath>

#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr int kFloats = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

class EffectProgram : public ProgramFixture {
 protected:
  // A sound file of some channels, each with its own constant.
  std::string soundFile(int channels, std::size_t frames, int format = kFloats, int rateHz = 48000,
                        float level = 0.25F) const {
    const std::string path = folder_.path("in.sound");
    SF_INFO info{};
    info.samplerate = rateHz;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr);
    std::vector<float> samples(frames * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = level * static_cast<float>(1 + i % static_cast<std::size_t>(channels));
    }
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(frames));
    sf_close(file);
    return path;
  }
  ProgramResult runEffect(const std::string& effect, const std::string& in,
                          const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = {"effect", "run", effect, "--in", in, "--out", out_};
    words.insert(words.end(), more.begin(), more.end());
    return runMorv(words);
  }
};

TEST_F(EffectProgram, ListsTheEffectsAndTheirControls) {
  const ProgramResult list = runMorv({"effect", "list"});
  EXPECT_EQ(list.exitCode, 0);
  EXPECT_THAT(list.output, HasSubstr("name\ttitle\tdescription\nbasicchorus\tChorus\t"));
  EXPECT_THAT(list.output, HasSubstr("\necoverb\t"));
  EXPECT_THAT(list.output, HasSubstr("\nbasicdelay\t"));
  EXPECT_THAT(runMorv({"effect", "list", "--json"}).output, HasSubstr("{\"name\": \"basicchorus\""));

  const ProgramResult controls = runMorv({"effect", "parameters", "basicdelay"});
  EXPECT_EQ(controls.exitCode, 0);
  EXPECT_THAT(controls.output, HasSubstr("\nechoTime\tTime\t0\t500\t250\t24\t\n"));
  EXPECT_THAT(controls.output, HasSubstr("\nechoMix\tEcho Mix\t0\t100\t50\t3\tDRY|WET\n"));
  EXPECT_THAT(runMorv({"effect", "parameters", "basicdelay", "--json"}).output,
              HasSubstr("\"valueStrings\": [\"DRY\", \"WET\"]"));
}

TEST_F(EffectProgram, LeavesTheInputWhereTheEffectIsBypassed) {
  EXPECT_EQ(runEffect("ecoverb", soundFile(2, 1000), {"--set", "reverbBypass=1"}).exitCode, 0);

  const std::vector<float> out = sound();
  ASSERT_EQ(out.size(), 2000U);
  EXPECT_EQ(rate_, 48000);
  for (std::size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], i % 2 == 0 ? 0.25F : 0.5F);
}

TEST_F(EffectProgram, FeedsAMonoFileToBothSides) {
  EXPECT_EQ(runEffect("basicdelay", soundFile(1, 700, SF_FORMAT_FLAC | SF_FORMAT_PCM_16)).exitCode, 0);

  const std::vector<float> out = sound();
  ASSERT_EQ(out.size(), 1400U);
  EXPECT_THAT(out, Each(0.25F));
}

// The echo, once switched on, mixes half of the dry sound with what has come back, which is nothing yet.
TEST_F(EffectProgram, SetsControlsAheadOfTheBlockThatBeginsThereOrLater) {
  EXPECT_EQ(runEffect("basicdelay", soundFile(2, 1024),
                      {"--block", "128", "--at", "300:echoBypass=0", "--set", "echoMix=0"})
                .exitCode,
            0);
  std::vector<float> out = sound();
  EXPECT_EQ(out[2 * 383], 0.25F);
  EXPECT_EQ(runEffect("basicdelay", soundFile(2, 1024),
                      {"--block", "128", "--at", "300:echoBypass=0", "--set", "echoMix=100"})
                .exitCode,
            0);
  out = sound();
  EXPECT_EQ(out[2 * 383], 0.25F);
  EXPECT_EQ(out[2 * 384], 0.0F);
}

TEST_F(EffectProgram, RepeatsItselfForOneSeed) {
  const std::string in = soundFile(2, 20000);
  const std::vector<std::string> noise = {"--set",      "chorusBypass=0", "--set",
                                          "modShape=1", "--set",          "chorusModAmount=100"};
  const auto withSeed = [&](const std::string& seed) {
    std::vector<std::string> words = noise;
    words.insert(words.end(), {"--seed", seed});
    EXPECT_EQ(runEffect("basicchorus", in, words).exitCode, 0);
    return sound();
  };
  const std::vector<float> one = withSeed("1");
  EXPECT_EQ(withSeed("1"), one);
}

TEST_F(EffectProgram, RefusesWhatItCannotDo) {
  const std::string in = soundFile(2, 100);
  struct Case {
    ProgramResult result;
    int exitCode;
    std::string message;
  };
  for (const Case& each : std::vector<Case>{
           {runEffect("basicdely", in), 2, "there is no effect 'basicdely'; the nearest are: basicdelay"},
           {runEffect("basicdelay", in, {"--set", "echoTme=3"}), 2, "the nearest are: echoTime"},
           {runEffect("basicdelay", in, {"--set", "echoTime"}), 2, "not of the form ID=VALUE"},
           {runEffect("basicdelay", in, {"--at", "echoTime=3"}), 2, "not of the form FRAME:ID=VALUE"},
           {runEffect("basicdelay", in, {"--set", "echoTime=nan"}), 2, "is no number"},
           {runEffect("basicdelay", in, {"--block", "4097"}), 2, "from 1 to 4096"},
           {runEffect("basicdelay", in, {"--tempo", "0"}), 2, "no tempo above 0"},
           {runEffect("basicdelay", in, {"--prepare", "5"}), 2, "no rate from 1000 to 768000"},
           {runEffect("basicdelay", folder_.path("nowhere.wav")), 3, "nowhere.wav: "},
           {runEffect("basicdelay", midi_), 3, "piece.mid: "},
           {runEffect("basicdelay", soundFile(3, 100)), 3, "it has 3 channels"},
           {runEffect("basicdelay", soundFile(2, 0)), 3, "it holds no sound"},
           {runEffect("basicdelay", soundFile(2, 100, kFloats, 999)), 3,
            "in.sound: its rate is 999 Hz; rates from 1000 to 768000 Hz can be used"},
           {runEffect("basicdelay", soundFile(2, 100, kFloats, 768001)), 3, "its rate is 768001 Hz"},
           {runEffect("basicdelay", soundFile(2, 100, kFloats, 100), {"--prepare", "48000"}), 3,
            "its rate is 100 Hz"},
           {runMorv({"effect"}), 2, "list, parameters or run?"},
           {runMorv({"effect", "parameters"}), 2, "which effect?"},
           {runMorv({"effect", "run", "basicdelay"}), 2, "option '--in' is missing"},
           {runMorv({"effect", "burn"}), 2, "unknown command 'burn'"}}) {
    EXPECT_EQ(each.result.exitCode, each.exitCode) << each.message;
    EXPECT_THAT(each.result.errors, HasSubstr(each.message));
    EXPECT_THAT(each.result.output, IsEmpty());
    EXPECT_TRUE(leftOnlyInputs()) << each.message;
  }
  const std::string same = soundFile(2, 100);
  const ProgramResult overItself = runMorv({"effect", "run", "basicdelay", "--in", same, "--out", same});
  EXPECT_EQ(overItself.exitCode, 2);
  EXPECT_THAT(overItself.errors, HasSubstr("is both read and written"));
}

TEST_F(EffectProgram, RunsAtTheRatesAtTheEndsOfTheRange) {
  for (const int rateHz : {1000, 768000}) {
    EXPECT_EQ(runEffect("basicdelay", soundFile(2, 100, kFloats, rateHz)).exitCode, 0) << rateHz;
    EXPECT_EQ(sound().size(), 200U);
    EXPECT_EQ(rate_, rateHz);
  }
}

// Its mix and its dry gain both start at 0.
TEST_F(EffectProgram, RemarksOnASilentOutputOfASoundAndSucceeds) {
  const std::string remark = "is silent, and ";
  const ProgramResult silent = runEffect("digiverb", soundFile(2, 1000));
  EXPECT_EQ(silent.exitCode, 0);
  EXPECT_THAT(sound(), Each(0.0F));
  EXPECT_THAT(silent.errors, HasSubstr("out.wav " + remark));
  EXPECT_THAT(silent.errors, HasSubstr("'morv effect parameters digiverb'"));

  const ProgramResult heard = runEffect("digiverb", soundFile(2, 1000), {"--set", "dryGain=1"});
  EXPECT_EQ(heard.exitCode, 0);
  EXPECT_THAT(heard.errors, Not(HasSubstr(remark)));

  const ProgramResult nothing = runEffect("digiverb", soundFile(2, 1000, kFloats, 48000, 0.0F));
  EXPECT_EQ(nothing.exitCode, 0);
  EXPECT_THAT(sound(), Each(0.0F));
  EXPECT_THAT(nothing.errors, Not(HasSubstr(remark)));
}

TEST_F(EffectProgram, RemarksOnValuesOutsideTheirRangesAndGoesOn) {
  const ProgramResult result = runEffect("basicdelay", soundFile(2, 100), {"--set", "echoTime=900"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.errors, HasSubstr("echoTime: 900 is outside the range (0 to 500)"));
}

}  // namespace
}  // namespace morv
