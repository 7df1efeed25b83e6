#include "hosts/cli/PresetsFileCommands.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/InputFile.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/ParameterNames.h"
#include "hosts/cli/PendingFile.h"
#include "hosts/cli/PresetChoice.h"
#include "hosts/cli/PresetFile.h"
#include "hosts/cli/PresetsCommand.h"
#include "hosts/cli/RenderOptions.h"
#include "hosts/cli/Terminal.h"
#include "hosts/cli/UserPresets.h"
#include "platform/PropertyList.h"

namespace morv::cli {
namespace {

constexpr std::array kImportOptions = {OptionSpec{"force", false}, OptionSpec{"resources"},
                                       OptionSpec{"help", false}};
constexpr std::array kExportOptions = {OptionSpec{"preset"}, OptionSpec{"set"}, OptionSpec{"out"},
                                       OptionSpec{"resources"}, OptionSpec{"help", false}};

bool isInList(OfflineUnit& offline, const std::string& name) {
  const auto list = offline.unit().factoryPresets();
  return std::any_of(list.begin(), list.end(),
                     [&](const AUAudioUnitPreset& each) { return each.name == name; });
}

// Why a preset cannot bear the name of its file, or nothing.
std::optional<std::string> faultOfName(const std::filesystem::path& file) {
  if (file.extension() != kPresetFileExtension) {
    return std::string("its name does not end in ") + kPresetFileExtension;
  }
  const bool isText = writePropertyList(PropertyListDictionary{{file.stem().string(), true}}).ok();
  return isText ? std::nullopt : std::optional<std::string>("its name is no text in UTF-8");
}

Outcome writeWhole(const std::string& path, std::string_view text) {
  const auto pending = PendingFile::create(path);
  if (!pending) return pending.failure();
  if (Outcome written = (*pending)->write(text); !written) return written;
  return (*pending)->commit();
}

ExitCode importFile(const std::string& file, OfflineUnit& offline, UserPresets& kept, bool mayReplace) {
  const std::filesystem::path path(file);
  if (const auto fault = faultOfName(path)) return fail(ExitCode::badInput, file + ": no preset: " + *fault);
  const std::string name = path.stem().string();
  const auto state = readPreset(file, offline.unit());
  if (!state) return fail(ExitCode::badInput, state.reason());
  if (isInList(offline, name)) {
    return fail(ExitCode::failure, file +
                                       ": a preset that comes with the program has this name, and would "
                                       "win over it");
  }
  if (!mayReplace && kept.holds(name)) {
    return fail(ExitCode::failure, file + ": there is a preset '" + name + "' already; --force replaces it");
  }
  const auto added = kept.add(name, *state);
  if (!added) return fail(ExitCode::outputFailed, added.reason());
  if (ZRAudioUnit::presetIsFactoryPresett({name, 0})) {
    warn(file + ": without the mark [USER] in its name it counts as a factory preset");
  }
  return print(kept.fileOf(name) + "\n");
}

}  // namespace

ExitCode presetsImportCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kImportOptions);
  if (!line) return failUsage("presets", line.reason());
  if (line->has("help")) return print(presetsHelp());
  if (line->operands().empty()) return failUsage("presets", "import: which files?");
  const auto resources = resourcesFolder(line->value("resources"));
  if (!resources) return failUsage("presets", resources.reason());
  OfflineUnit offline(*resources);
  UserPresets kept(offline.unit().groupIdentifier());
  ExitCode code = ExitCode::ok;
  for (const std::string& file : line->operands()) {
    const ExitCode one = importFile(file, offline, kept, line->has("force"));
    if (code == ExitCode::ok) code = one;
  }
  return code;
}

ExitCode presetsExportStateCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kExportOptions);
  if (!line) return failUsage("presets", line.reason());
  if (line->has("help")) return print(presetsHelp());
  if (!line->operands().empty()) {
    return failUsage("presets", "unexpected argument '" + line->operands().front() + "'");
  }
  const auto out = line->value("out");
  if (!out || out->empty()) return failUsage("presets", "option '--out' is missing: which file shall it be?");
  if (const auto fault = faultOfName(*out)) {
    return failUsage("presets", "option '--out': '" + *out + "' is no file for a preset: " + *fault);
  }
  const auto resources = resourcesFolder(line->value("resources"));
  if (!resources) return failUsage("presets", resources.reason());
  OfflineUnit offline(*resources);
  offline.keepMidiModeOfStates();
  if (const auto wanted = line->value("preset")) {
    ExitCode code{};
    const auto loaded = loadPresetFor(offline, *wanted, *resources, &code);
    if (!loaded) return failPreset("presets", "option '--preset': ", code, loaded.reason());
    if (isSameFile(loaded->file, *out)) {
      return failUsage("presets", "'" + *out + "' is both read and written");
    }
  }
  for (const std::string& text : line->values("set")) {
    const auto set = RenderOptions::parseSet(text);
    if (!set) return failUsage("presets", set.reason());
    const auto parameter = findParameter(*offline.unit().parameterTree(), set->identifier);
    if (!parameter) return failUsage("presets", "option '--set': " + parameter.reason());
    if (const auto remark = rangeRemark(**parameter, set->value); !remark.empty()) {
      return failUsage("presets", "option '--set': " + remark);
    }
    (*parameter)->setValue(set->value);
  }
  const auto text = writePropertyList(offline.unit().fullState());
  const Outcome written = text ? writeWhole(*out, *text) : Outcome(text.failure());
  return written ? ExitCode::ok : fail(ExitCode::outputFailed, written.reason());
}

}  // namespace morv::cli
