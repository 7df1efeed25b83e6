#include "hosts/cli/RenderCommand.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <set>
#include <vector>

#include "hosts/cli/AudioFileWriter.h"
#include "hosts/cli/AutomationFile.h"
#include "hosts/cli/InputFile.h"
#include "hosts/cli/LevelMeter.h"
#include "hosts/cli/MidiFile.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/ParameterNames.h"
#include "hosts/cli/PresetChoice.h"
#include "hosts/cli/RenderOptions.h"
#include "hosts/cli/Score.h"
#include "hosts/cli/ScorePlayer.h"
#include "hosts/cli/Terminal.h"

namespace morv::cli {
namespace {

// One run of the command, step by step; each step answers `ok` or has said what is wrong.
class RenderRun {
 public:
  RenderRun(RenderOptions options, std::string resources)
      : options_(std::move(options)), resources_(std::move(resources)), offline_(resources_) {}

  ExitCode run() {
    if (const auto code = readInputs(); code != ExitCode::ok) return code;
    if (const auto code = prepareUnit(); code != ExitCode::ok) return code;
    if (const auto code = findLength(); code != ExitCode::ok) return code;
    return renderToFile();
  }

 private:
  ExitCode readInputs() {
    auto midi = MidiFile::read(options_.midiPath);
    if (!midi) return fail(ExitCode::badInput, midi.reason());
    score_.emplace(*midi, options_.sampleRateHz);
    if (options_.automationPath) {
      auto automation = AutomationFile::read(*options_.automationPath);
      if (!automation) return fail(ExitCode::badInput, automation.reason());
      automation_ = automation->rows();
    }
    for (const std::string& input : {options_.midiPath, options_.automationPath.value_or("")}) {
      if (isSameFile(input, options_.outPath)) return failReadAndWritten();
    }
    return ExitCode::ok;
  }

  ExitCode failReadAndWritten() const {
    return failUsage("render", "'" + options_.outPath + "' is both read and written");
  }

  ExitCode prepareUnit() {
    for (const auto& set : options_.sets) {
      const auto parameter = findParameter(*unit_.parameterTree(), set.identifier);
      if (!parameter) return failUsage("render", "option '--set': " + parameter.reason());
      sets_.push_back({0, *parameter, set.value});
      remarkRange(**parameter, set.value);
    }
    for (const auto& row : automation_) {
      const auto parameter = findParameter(*unit_.parameterTree(), row.identifier);
      if (!parameter) {
        return fail(ExitCode::badInput,
                    *options_.automationPath + ":" + std::to_string(row.line) + ": " + parameter.reason());
      }
      score_->addMove(row.seconds, *parameter, row.value);
      remarkRange(**parameter, row.value);
    }
    const auto ready = offline_.allocate(options_.sampleRateHz, options_.blockFrames);
    if (!ready) return fail(ExitCode::failure, ready.reason());
    if (options_.seed) unit_.setRandomSeed(*options_.seed);
    offline_.runQueue(0);  // the unit takes the settings that it wrote at its start
    for (const auto& setting : options_.settings) applySetting(setting, unit_);
    offline_.runQueue(0);
    offline_.runQueue(0);  // once more for a setting that the unit corrects
    if (options_.preset) {
      ExitCode code{};
      const auto loaded = loadPresetFor(offline_, *options_.preset, resources_, &code);
      if (!loaded) return failPreset("render", "option '--preset': ", code, loaded.reason());
      if (isSameFile(loaded->file, options_.outPath)) return failReadAndWritten();
    }
    for (const auto& set : sets_) set.parameter->setValue(set.value);
    return ExitCode::ok;
  }

  // Values go through as they are; a slip of the pen deserves a word, but one is enough.
  void remarkRange(const AUParameter& parameter, float value) {
    const std::string remark = rangeRemark(parameter, value);
    if (!remark.empty() && remarked_.insert(&parameter).second) warn(remark);
  }

  ExitCode findLength() {
    frames_ = score_->lengthInFrames(options_.seconds, options_.tailSeconds, options_.blockFrames);
    const std::uint64_t greatest = AudioFileWriter::maximumFrames(options_.format);
    if (frames_ <= greatest) return ExitCode::ok;
    const std::string reason = "a render of " + printFixed(secondsOf(frames_), 0) + " s is more than the " +
                               printFixed(secondsOf(greatest), 0) + " s that a WAV file holds";
    if (options_.seconds) return failUsage("render", reason);
    if (score_->lengthInFrames({}, 0, options_.blockFrames) <= greatest) {
      return failUsage("render", "option '--tail': " + reason);
    }
    return fail(ExitCode::badInput, options_.midiPath + ": " + reason + "; --seconds gives a length");
  }

  ExitCode renderToFile() {
    auto writer = AudioFileWriter::create(options_.outPath, options_.sampleRateHz, options_.format);
    if (!writer) return fail(ExitCode::outputFailed, writer.reason());
    const auto start = std::chrono::steady_clock::now();
    const auto written = renderBlocks(*writer);
    if (!written) return fail(ExitCode::outputFailed, written.reason());
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const auto finished = writer->finish();
    if (!finished) return fail(ExitCode::outputFailed, finished.reason());
    report(taken.count());
    return ExitCode::ok;
  }

  Outcome renderBlocks(AudioFileWriter& writer) {
    ScorePlayer player(offline_, *score_, options_.sampleRateHz, options_.blockFrames, options_.tempo);
    if (options_.preset) player.warmUp();
    while (player.position() < frames_) {
      player.playBlock(options_.verbose);
      const std::vector<float>& left = player.left();
      const std::vector<float>& right = player.right();
      meter_.add(left.data(), left.size());
      meter_.add(right.data(), right.size());
      auto written = writer.write(left.data(), right.data(), left.size());
      if (!written) return written;
      showProgress(player.position());
    }
    return Done{};
  }

  void showProgress(std::uint64_t done) {
    if (!isTerminal_) return;
    const auto percent = static_cast<int>(done * 100 / frames_);
    if (percent == shownPercent_) return;
    shownPercent_ = percent;
    std::fprintf(stderr, "\rrendering %3d %%%s", percent, percent == 100 ? "\r\033[K" : "");
  }

  void report(double takenSeconds) {
    if (const std::uint32_t count = offline_.unit().recoveryCount(); count > 0) {
      warn("the instrument held state that was no number and put it back, " + std::to_string(count) +
           (count == 1 ? " time" : " times"));
    }
    if (options_.format != SampleFormat::f32 && meter_.peakDb() > 0) {
      warn(options_.outPath + ": clipped, the sound goes " + printFixed(meter_.peakDb(), 2) +
           " dB beyond what the format holds");
    }
    const double seconds = secondsOf(frames_);
    const std::string speed = takenSeconds > 0 ? printFixed(seconds / takenSeconds, 1) : std::string("many");
    std::fprintf(stderr, "%s: %s s, peak %s dBFS, RMS %s dBFS, %s times real time\n",
                 options_.outPath.c_str(), printFixed(seconds, 3).c_str(),
                 printFixed(meter_.peakDb(), 2).c_str(), printFixed(meter_.rmsDb(), 2).c_str(),
                 speed.c_str());
  }

  double secondsOf(std::uint64_t frames) const { return static_cast<double>(frames) / options_.sampleRateHz; }

  RenderOptions options_;
  std::string resources_;
  OfflineUnit offline_;
  ZQ3Unit& unit_ = offline_.unit();
  std::optional<Score> score_;
  std::vector<AutomationFile::Row> automation_;
  std::vector<Score::Move> sets_;
  std::set<const AUParameter*> remarked_;
  std::uint64_t frames_ = 0;
  LevelMeter meter_;
  const bool isTerminal_ = isatty(STDERR_FILENO) == 1;
  int shownPercent_ = -1;
};

}  // namespace

ExitCode renderCommand(std::span<const std::string> words) {
  auto options = RenderOptions::parse(words);
  if (!options) return failUsage("render", options.reason());
  if (options->help) return print(RenderOptions::helpText());
  auto resources = resourcesFolder(options->resources);
  if (!resources) return failUsage("render", resources.reason());
  return RenderRun(std::move(*options), std::move(*resources)).run();
}

}  // namespace morv::cli
