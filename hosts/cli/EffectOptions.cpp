#include "hosts/cli/EffectOptions.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Numbers.h"
#include "render/BlockLimits.h"

namespace morv::cli {
namespace {

constexpr std::array kOptions = {OptionSpec{"in"},    OptionSpec{"out"},        OptionSpec{"block"},
                                 OptionSpec{"tempo"}, OptionSpec{"construct"},  OptionSpec{"prepare"},
                                 OptionSpec{"pre"},   OptionSpec{"set"},        OptionSpec{"at"},
                                 OptionSpec{"seed"},  OptionSpec{"help", false}};

Failure notOfForm(const std::string& option, const std::string& text, const std::string& form) {
  return Failure{"option '--" + option + "': '" + text + "' is not of the form " + form};
}

Result<EffectOptions::Set> parseSet(const std::string& option, const std::string& text,
                                    const std::string& form) {
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos) return notOfForm(option, text, form);
  const auto value = parseReal(text.substr(equals + 1));
  if (!value || !std::isfinite(static_cast<float>(*value))) {
    return Failure{"option '--" + option + "': " + text.substr(0, equals) + ": '" + text.substr(equals + 1) +
                   "' is no number"};
  }
  return EffectOptions::Set{text.substr(0, equals), static_cast<float>(*value), 0};
}

Result<EffectOptions::Set> parseLaterSet(const std::string& text) {
  const std::string form = "FRAME:ID=VALUE";
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return notOfForm("at", text, form);
  const auto frame = parseUnsigned(text.substr(0, colon));
  if (!frame) return notOfForm("at", text, form);
  auto set = parseSet("at", text.substr(colon + 1), form);
  if (set) set->frame = *frame;
  return set;
}

Result<std::optional<double>> rateOf(const CommandLine& line, const std::string& option) {
  const auto text = line.value(option);
  if (!text) return std::optional<double>{};
  const auto rate = parseReal(*text);
  if (!rate || *rate < kLeastEffectRateHz || *rate > kGreatestEffectRateHz) {
    return Failure{"option '--" + option + "': '" + *text + "' is no rate from 1000 to 768000"};
  }
  return rate;
}

Result<EffectOptions> withSets(EffectOptions options, const CommandLine& line) {
  for (const auto& [option, sets] : {std::pair{"pre", &options.preSets}, std::pair{"set", &options.sets}}) {
    for (const auto& text : line.values(option)) {
      const auto set = parseSet(option, text, "ID=VALUE");
      if (!set) return set.failure();
      sets->push_back(*set);
    }
  }
  for (const auto& text : line.values("at")) {
    const auto set = parseLaterSet(text);
    if (!set) return set.failure();
    options.laterSets.push_back(*set);
  }
  std::stable_sort(options.laterSets.begin(), options.laterSets.end(),
                   [](const auto& a, const auto& b) { return a.frame < b.frame; });
  return options;
}

}  // namespace

Result<EffectOptions> EffectOptions::parse(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return line.failure();
  EffectOptions options;
  options.help = line->has("help");
  if (options.help) return options;
  if (line->operands().empty()) return Failure{"which effect? 'morv effect list' names them"};
  if (line->operands().size() > 1) return Failure{"unexpected argument '" + line->operands()[1] + "'"};
  options.effect = line->operands().front();
  options.inPath = line->value("in").value_or("");
  if (options.inPath.empty()) return Failure{"option '--in' is missing: which file shall go through it?"};
  options.outPath = line->value("out").value_or("");
  if (options.outPath.empty()) return Failure{"option '--out' is missing: where shall the sound go?"};
  if (const auto text = line->value("block")) {
    const auto block = parseInteger(*text);
    if (!block || *block < 1 || *block > kMaxBlockFrames) {
      return Failure{"option '--block': '" + *text + "' is no number of frames from 1 to 4096"};
    }
    options.blockFrames = static_cast<std::uint32_t>(*block);
  }
  if (const auto text = line->value("tempo")) {
    const auto tempo = parseReal(*text);
    if (!tempo || !(*tempo > 0)) return Failure{"option '--tempo': '" + *text + "' is no tempo above 0"};
    options.tempo = *tempo;
  }
  if (const auto text = line->value("seed")) {
    options.seed = parseUnsigned(*text);
    if (!options.seed) return Failure{"option '--seed': '" + *text + "' is no whole number of 0 or more"};
  }
  const auto construct = rateOf(*line, "construct");
  if (!construct) return construct.failure();
  options.constructRate = *construct;
  const auto prepare = rateOf(*line, "prepare");
  if (!prepare) return prepare.failure();
  options.prepareRate = *prepare;
  return withSets(std::move(options), *line);
}

std::string EffectOptions::helpText() {
  return "Options of 'run':\n"
         "  --in FILE            what to send through: any sound file that libsndfile reads, mono or stereo\n"
         "  --out FILE           where the sound goes\n"
         "  --set ID=VALUE       sets a control; may be given again\n"
         "  --at FRAME:ID=VALUE  sets a control ahead of the first block at or behind a frame; may be given\n"
         "                       again\n"
         "  --pre ID=VALUE       sets a control before the effect is prepared for its rate\n"
         "  --block N            frames in a block, 1 to 4096 (256)\n"
         "  --tempo BPM          what synchronised times go by (120)\n"
         "  --construct RATE     rate for which the effect is made, in Hz (the file's)\n"
         "  --prepare RATE       rate for which it is prepared, in Hz (the file's)\n"
         "  --seed N             seed of everything drawn at random\n";
}

}  // namespace morv::cli
