#include "hosts/cli/PresetsRenderCommand.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include "hosts/cli/AudioFileWriter.h"
#include "hosts/cli/CommandLine.h"
#include "hosts/cli/InputFile.h"
#include "hosts/cli/Json.h"
#include "hosts/cli/LevelMeter.h"
#include "hosts/cli/LoudnessMeter.h"
#include "hosts/cli/MidiFile.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/OctaveSpectrum.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "hosts/cli/PresetEntries.h"
#include "hosts/cli/PresetsCommand.h"
#include "hosts/cli/ScorePlayer.h"
#include "hosts/cli/StandardPhrase.h"
#include "hosts/cli/TableCell.h"
#include "hosts/cli/Terminal.h"
#include "hosts/cli/UserPresets.h"
#include "platform/AtomicFile.h"

namespace morv::cli {
namespace {

constexpr std::array kOptions = {
    OptionSpec{"out"},         OptionSpec{"midi"},        OptionSpec{"rate"},      OptionSpec{"tail"},
    OptionSpec{"user", false}, OptionSpec{"json", false}, OptionSpec{"resources"}, OptionSpec{"help", false}};

constexpr std::uint32_t kBlockFrames = 64;
constexpr double kStandardTailSeconds = 4;
constexpr double kGreatestTailSeconds = 3600;
constexpr int kStandardRateHz = 44100;
constexpr int kLeastRateHz = 8000;
constexpr int kGreatestRateHz = 192000;

struct Options {
  std::string folder;
  std::string resources;
  std::string midiPath;  // empty without a piece
  std::optional<MidiFile> midi;
  int rateHz = kStandardRateHz;
  double tailSeconds = kStandardTailSeconds;
  bool takesUsers = false;
};

struct Row {
  std::string name;
  std::string file;
  double peakDb = 0;
  double loudnessLufs = 0;
  double seconds = 0;
  OctaveSpectrum::Levels octavesDb{};
};

// One path for each preset, all different: a name that is taken gets "-2" behind it, then "-3" and so on.
std::vector<std::string> outputFiles(const std::string& folder, const std::vector<std::string>& presetNames) {
  std::vector<std::string> files;
  std::set<std::string> taken;
  for (std::string name : presetNames) {
    std::replace(name.begin(), name.end(), '/', '-');
    std::string unique = name;
    for (int count = 2; !taken.insert(unique).second; ++count) {
      unique = name;
      unique.append("-").append(std::to_string(count));
    }
    files.push_back(folder);
    files.back().append("/").append(unique).append(".wav");
  }
  return files;
}

// Renders one preset through a unit of its own, so that no preset hears another's tail.
Result<Row> renderPreset(const std::string& name, const std::string& file, const Options& options,
                         const PropertyListDictionary& kept, const PresetCategories& categories) {
  OfflineUnit offline(options.resources, kept);
  if (const auto ready = offline.allocate(options.rateHz, kBlockFrames); !ready) return ready.failure();
  offline.loadPreset(name);
  Score score(options.midi ? *options.midi : standardPhrase(categories.prefixFor(name)), options.rateHz);
  const std::uint64_t frames = score.lengthInFrames({}, options.tailSeconds, kBlockFrames);
  Row row{name, file};
  if (frames > AudioFileWriter::maximumFrames(SampleFormat::f32)) {
    return Failure{row.file + ": is too long for a WAV file"};
  }
  auto writer = AudioFileWriter::create(row.file, options.rateHz, SampleFormat::f32);
  if (!writer) return writer.failure();
  ScorePlayer player(offline, score, options.rateHz, kBlockFrames, {});
  player.warmUp();
  LevelMeter level;
  LoudnessMeter loudness(options.rateHz);
  OctaveSpectrum spectrum(options.rateHz);
  while (player.position() < frames) {
    player.playBlock();
    const float* left = player.left().data();
    const float* right = player.right().data();
    level.add(left, kBlockFrames);
    level.add(right, kBlockFrames);
    loudness.add(left, right, kBlockFrames);
    spectrum.add(left, right, kBlockFrames);
    if (const auto written = writer->write(left, right, kBlockFrames); !written) return written.failure();
  }
  if (const auto finished = writer->finish(); !finished) return finished.failure();
  row.peakDb = level.peakDb();
  row.loudnessLufs = loudness.integratedLufs();
  row.seconds = static_cast<double>(frames) / options.rateHz;
  row.octavesDb = spectrum.levelsDb();
  return row;
}

std::string asTable(const std::vector<Row>& rows) {
  std::string table = "name\tpeakDb\tloudnessLufs\tseconds\tfile\n";
  for (const Row& row : rows) {
    table += tableCell(row.name) + '\t' + printFixed(row.peakDb, 2) + '\t' + printFixed(row.loudnessLufs, 2) +
             '\t' + printFixed(row.seconds, 3) + '\t' + tableCell(row.file) + '\n';
  }
  return table;
}

std::string asJson(const std::vector<Row>& rows) {
  std::string json = "[";
  const char* separator = "\n";
  for (const Row& row : rows) {
    std::string octaves;
    for (const double level : row.octavesDb) octaves += (octaves.empty() ? "" : ", ") + jsonNumber(level, 2);
    json += separator + ("{\"name\": " + jsonQuoted(row.name)) +
            ", \"peakDb\": " + jsonNumber(row.peakDb, 3) +
            ", \"loudnessLufs\": " + jsonNumber(row.loudnessLufs, 3) +
            ", \"seconds\": " + jsonNumber(row.seconds, 3) + ", \"file\": " + jsonQuoted(row.file) +
            ", \"octavesDb\": [" + octaves + "]}";
    separator = ",\n";
  }
  return json + "\n]\n";
}

Result<Options> optionsOf(const CommandLine& line) {
  Options options;
  options.folder = line.value("out").value_or("");
  if (options.folder.empty())
    return Failure{"option '--out' is missing: which folder shall the sound go to?"};
  if (const auto text = line.value("rate")) {
    const auto rate = parseInteger(*text);
    if (!rate || *rate < kLeastRateHz || *rate > kGreatestRateHz) {
      return Failure{"option '--rate': '" + *text + "' is no whole number from 8000 to 192000"};
    }
    options.rateHz = static_cast<int>(*rate);
  }
  if (const auto text = line.value("tail")) {
    const auto tail = parseReal(*text);
    if (!tail || *tail < 0 || *tail > kGreatestTailSeconds) {
      return Failure{"option '--tail': '" + *text + "' is no number from 0 to 3600"};
    }
    options.tailSeconds = *tail;
  }
  const auto resources = resourcesFolder(line.value("resources"));
  if (!resources) return resources.failure();
  options.resources = *resources;
  options.takesUsers = line.has("user");
  return options;
}

// What the user keeps beside the factory's, as far as it is sound; `code` tells of what is not.
PropertyListDictionary soundUserPresets(const OfflineUnit& lister, const UserPresets& users, ExitCode* code) {
  PropertyListDictionary kept;
  const std::set<std::string> factory = lister.storedNames();
  for (const std::string& name : users.names()) {
    if (factory.contains(name)) continue;
    if (auto state = users.stateOf(name, lister.unit())) {
      kept.set(name, *state);
    } else {
      *code = fail(ExitCode::badInput, state.reason());
    }
  }
  return kept;
}

// The first output that is an input too, or nothing.
std::optional<std::string> outputThatIsRead(const std::vector<std::string>& outputs, const Options& options,
                                            const std::vector<PresetEntry>& presets) {
  for (const std::string& output : outputs) {
    std::error_code error;
    if (!std::filesystem::exists(output, error)) continue;
    const bool isRead = isSameFile(output, options.midiPath) ||
                        std::any_of(presets.begin(), presets.end(),
                                    [&](const PresetEntry& each) { return isSameFile(output, each.file); });
    if (isRead) return output;
  }
  return std::nullopt;
}

// What fails for one preset is told and does not hinder the others; the first failure gives the code.
ExitCode renderAll(const Options& options, bool printsJson) {
  ExitCode code = ExitCode::ok;
  OfflineUnit lister(options.resources);
  const UserPresets users(lister.unit().groupIdentifier());
  PropertyListDictionary kept;
  if (options.takesUsers) kept = soundUserPresets(lister, users, &code);
  std::vector<std::string> names;
  for (const auto& each : OfflineUnit(options.resources, kept).unit().factoryPresets()) {
    names.push_back(each.name);
  }
  const std::vector<std::string> files = outputFiles(options.folder, names);
  if (const auto read = outputThatIsRead(files, options, presetEntries(lister, users, options.resources))) {
    return failUsage("presets", "'" + *read + "' is both read and written");
  }
  if (const Outcome made = makeFolder(options.folder); !made) {
    return fail(ExitCode::outputFailed, made.reason());
  }
  const PresetCategories categories = PresetCategories::of(options.resources);
  std::vector<Row> rows;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (const auto row = renderPreset(names[i], files[i], options, kept, categories)) {
      rows.push_back(*row);
    } else {
      warn(row.reason());
      if (code == ExitCode::ok) code = ExitCode::outputFailed;
    }
  }
  const ExitCode printed = print(printsJson ? asJson(rows) : asTable(rows));
  return code == ExitCode::ok ? printed : code;
}

}  // namespace

ExitCode presetsRenderAllCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return failUsage("presets", line.reason());
  if (line->has("help")) return print(presetsHelp());
  if (!line->operands().empty()) {
    return failUsage("presets", "unexpected argument '" + line->operands().front() + "'");
  }
  auto options = optionsOf(*line);
  if (!options) return failUsage("presets", options.reason());
  if (const auto path = line->value("midi")) {
    auto midi = MidiFile::read(*path);
    if (!midi) return fail(ExitCode::badInput, midi.reason());
    options->midi = std::move(*midi);
    options->midiPath = *path;
  }
  return renderAll(*options, line->has("json"));
}

}  // namespace morv::cli
