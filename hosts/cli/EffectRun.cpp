#include "hosts/cli/EffectRun.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/cli/AudioFileWriter.h"
#include "hosts/cli/InputFile.h"
#include "hosts/cli/LevelMeter.h"
#include "hosts/cli/NearestNames.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/Terminal.h"
#include "platform/ScopedFlushDenormals.h"

namespace morv::cli {
namespace {

constexpr int kStereo = 2;

// A sound file, read block by block into two channels.
class SoundFile {
 public:
  static Result<SoundFile> open(const std::string& path) {
    SF_INFO info{};
    SoundFile file(sf_open(path.c_str(), SFM_READ, &info));
    if (file.file_ == nullptr) return Failure{path + ": " + sf_strerror(nullptr)};
    if (info.channels < 1 || info.channels > kStereo) {
      return Failure{path + ": it has " + std::to_string(info.channels) +
                     " channels; one or two can be used"};
    }
    if (info.frames < 1) return Failure{path + ": it holds no sound"};
    if (info.samplerate < kLeastEffectRateHz || info.samplerate > kGreatestEffectRateHz) {
      return Failure{path + ": its rate is " + std::to_string(info.samplerate) +
                     " Hz; rates from 1000 to 768000 Hz can be used"};
    }
    file.rateHz_ = info.samplerate;
    file.channels_ = static_cast<std::size_t>(info.channels);
    file.frames_ = static_cast<std::uint64_t>(info.frames);
    return file;
  }

  int rateHz() const { return rateHz_; }
  std::uint64_t frames() const { return frames_; }
  // Frames that were read; fewer than asked for at the file's end alone.
  std::size_t read(float* left, float* right, std::size_t count) {
    interleaved_.resize(count * channels_);
    const sf_count_t taken = sf_readf_float(file_.get(), interleaved_.data(), static_cast<sf_count_t>(count));
    const auto frames = static_cast<std::size_t>(std::max<sf_count_t>(taken, 0));
    for (std::size_t i = 0; i < frames; ++i) {
      left[i] = interleaved_[i * channels_];
      right[i] = interleaved_[i * channels_ + channels_ - 1];
    }
    return frames;
  }

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  explicit SoundFile(SNDFILE* file) : file_(file) {}

  std::unique_ptr<SNDFILE, Close> file_;
  int rateHz_ = 0;
  std::size_t channels_ = 0;
  std::uint64_t frames_ = 0;
  std::vector<float> interleaved_;
};

class EffectRun {
 public:
  EffectRun(const EffectOptions& options, SoundFile input) : options_(options), input_(std::move(input)) {}

  ExitCode run() {
    effect_ = makeEffect(options_.effect, options_.constructRate.value_or(input_.rateHz()));
    controls_ = controlsOf(options_.effect, *effect_);
    for (const auto* sets : {&options_.preSets, &options_.sets, &options_.laterSets}) {
      for (const auto& set : *sets) {
        if (const Outcome known = check(set); !known) return failUsage("effect run", known.reason());
      }
    }
    if (options_.seed) effect_->setRandomSeed(*options_.seed);
    for (const auto& set : options_.preSets) apply(set);
    effect_->prepare(static_cast<float>(options_.prepareRate.value_or(input_.rateHz())),
                     static_cast<int>(options_.blockFrames));
    for (const auto& set : options_.sets) apply(set);
    auto writer = AudioFileWriter::create(options_.outPath, input_.rateHz(), SampleFormat::f32);
    if (!writer) return fail(ExitCode::outputFailed, writer.reason());
    if (const Outcome written = runBlocks(*writer); !written) {
      return fail(written.failure().systemError == kCutShort ? ExitCode::badInput : ExitCode::outputFailed,
                  written.reason());
    }
    if (const Outcome finished = writer->finish(); !finished) {
      return fail(ExitCode::outputFailed, finished.reason());
    }
    std::fprintf(stderr, "%s: %s s, peak %s dBFS, RMS %s dBFS\n", options_.outPath.c_str(),
                 printFixed(static_cast<double>(input_.frames()) / input_.rateHz(), 3).c_str(),
                 printFixed(meter_.peakDb(), 2).c_str(), printFixed(meter_.rmsDb(), 2).c_str());
    if (isSilent(meter_) && !isSilent(inputMeter_)) {
      warn(options_.outPath + " is silent, and " + options_.inPath + " is not; 'morv effect parameters " +
           options_.effect + "' names the controls");
    }
    if (const std::uint32_t count = effect_->recoveryCount(); count > 0) {
      warn(options_.effect + " held state that was no number and put it back, " + std::to_string(count) +
           (count == 1 ? " time" : " times"));
    }
    return ExitCode::ok;
  }

 private:
  static constexpr int kCutShort = -1;

  static bool isSilent(const LevelMeter& meter) { return meter.peakDb() == -HUGE_VAL; }
  EffectControl* control(const std::string& identifier) {
    const auto found =
        std::find_if(controls_.begin(), controls_.end(),
                     [&identifier](const EffectControl& each) { return each.identifier() == identifier; });
    return found != controls_.end() ? &*found : nullptr;
  }
  Outcome check(const EffectOptions::Set& set) {
    const EffectControl* found = control(set.identifier);
    if (found == nullptr) {
      std::vector<std::string> names;
      for (const EffectControl& each : controls_) names.push_back(each.identifier());
      return Failure{options_.effect + " has no control '" + set.identifier +
                     "'; the nearest are: " + joined(nearestNames(set.identifier, names))};
    }
    const auto& range = found->range();
    if (range && (set.value < range->least || set.value > range->greatest)) {
      warn(set.identifier + ": " + printReal(set.value) + " is outside the range (" +
           printReal(range->least) + " to " + printReal(range->greatest) + ")");
    }
    return Done{};
  }
  void apply(const EffectOptions::Set& set) { control(set.identifier)->set(set.value); }

  // The output starts as a copy of the input, which a bypassed effect leaves as it is.
  Outcome runBlocks(AudioFileWriter& writer) {
    const std::size_t block = options_.blockFrames;
    std::vector<float> inLeft(block);
    std::vector<float> inRight(block);
    std::vector<float> left(block);
    std::vector<float> right(block);
    const bool isTerminal = isatty(STDERR_FILENO) == 1;
    std::size_t next = 0;
    for (std::uint64_t done = 0; done < input_.frames();) {
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(block, input_.frames() - done));
      if (input_.read(inLeft.data(), inRight.data(), count) != count) {
        return Failure{options_.inPath + ": the file ends too soon", kCutShort};
      }
      for (; next < options_.laterSets.size() && options_.laterSets[next].frame <= done; ++next) {
        apply(options_.laterSets[next]);
      }
      inputMeter_.add(inLeft.data(), count);
      inputMeter_.add(inRight.data(), count);
      left = inLeft;
      right = inRight;
      {
        const ScopedFlushDenormals flush;
        effect_->runEffect(inLeft.data(), inRight.data(), left.data(), right.data(), static_cast<int>(count),
                           static_cast<float>(options_.tempo));
      }
      meter_.add(left.data(), count);
      meter_.add(right.data(), count);
      if (Outcome written = writer.write(left.data(), right.data(), count); !written) return written;
      done += count;
      if (isTerminal) showProgress(done);
    }
    return Done{};
  }

  void showProgress(std::uint64_t done) {
    const auto percent = static_cast<int>(done * 100 / input_.frames());
    if (percent == shownPercent_) return;
    shownPercent_ = percent;
    std::fprintf(stderr, "\rrunning %3d %%%s", percent, percent == 100 ? "\r\033[K" : "");
  }

  const EffectOptions& options_;
  SoundFile input_;
  std::unique_ptr<ZRDSPEffect> effect_;
  std::vector<EffectControl> controls_;
  LevelMeter meter_;  // of the output
  LevelMeter inputMeter_;
  int shownPercent_ = -1;
};

}  // namespace

ExitCode runEffect(const EffectOptions& options) {
  if (isSameFile(options.inPath, options.outPath)) {
    return failUsage("effect run", options.inPath + " is both read and written");
  }
  auto input = SoundFile::open(options.inPath);
  if (!input) return fail(ExitCode::badInput, input.reason());
  return EffectRun(options, std::move(input).value()).run();
}

}  // namespace morv::cli
