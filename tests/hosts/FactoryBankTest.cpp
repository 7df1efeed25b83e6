#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "hosts/cli/LoudnessMeter.h"
#include "hosts/cli/OctaveSpectrum.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "hosts/cli/ScorePlayer.h"
#include "hosts/cli/StandardPhrase.h"
#include "platform/AUParameterGroup.h"
#include "platform/PropertyListFile.h"

namespace morv::cli {
namespace {

constexpr int kRateHz = 44100;
constexpr std::uint32_t kBlockFrames = 64;
constexpr double kTailSeconds = 12;
constexpr double kSpanLu = 3.0;  // most between the loudest and the softest
constexpr float kFullScale = 1.0F;
constexpr float kSilence = 0.001F;        // -60 dBFS
constexpr double kLeastDistanceDb = 2.5;  // root mean square over ten octaves; the nearest two are 3.1 apart

struct Heard {
  double loudnessLufs = 0;
  float peak = 0;
  float peakOfEnd = 0;  // of the last tenth of a second
  bool isFinite = true;
  OctaveSpectrum::Levels octavesDb{};
};

// The bank that comes with the program, each preset on the standard phrase of its kind.
class FactoryBank : public testing::Test {
 protected:
  static std::vector<AUAudioUnitPreset> presets() {
    return OfflineUnit(MORV_RESOURCES_FOLDER).unit().factoryPresets();
  }
  static Heard hear(const std::string& name, const std::string& prefix) {
    OfflineUnit offline(MORV_RESOURCES_FOLDER);
    EXPECT_TRUE(offline.allocate(kRateHz, kBlockFrames));
    offline.loadPreset(name);
    EXPECT_EQ(offline.unit().currentPreset()->name, name);
    Score score(standardPhrase(prefix), kRateHz);
    const std::uint64_t frames = score.lengthInFrames({}, kTailSeconds, kBlockFrames);
    ScorePlayer player(offline, score, kRateHz, kBlockFrames, {});
    player.warmUp();
    LoudnessMeter loudness(kRateHz);
    OctaveSpectrum spectrum(kRateHz);
    Heard heard;
    while (player.position() < frames) {
      player.playBlock();
      loudness.add(player.left().data(), player.right().data(), kBlockFrames);
      spectrum.add(player.left().data(), player.right().data(), kBlockFrames);
      const bool isEnd = player.position() + kRateHz / 10 > frames;
      for (const auto* channel : {&player.left(), &player.right()}) {
        for (const float sample : *channel) {
          heard.isFinite = heard.isFinite && std::isfinite(sample);
          heard.peak = std::max(heard.peak, std::abs(sample));
          if (isEnd) heard.peakOfEnd = std::max(heard.peakOfEnd, std::abs(sample));
        }
      }
    }
    heard.loudnessLufs = loudness.integratedLufs();
    heard.octavesDb = spectrum.levelsDb();
    return heard;
  }

  const PresetCategories categories_ = PresetCategories::of(MORV_RESOURCES_FOLDER);
};

TEST_F(FactoryBank, HoldsSixteenPresetsNamedByOwnerCategoryAndShortName) {
  std::map<std::string, int> counts;
  const auto list = presets();
  for (const auto& preset : list) {
    const std::string prefix = categories_.prefixFor(preset.name);
    EXPECT_EQ(preset.name, "[FACTORY]_" + prefix + "_" + categories_.shortNameOf(preset.name));
    EXPECT_TRUE(ZRAudioUnit::presetIsFactoryPresett(preset));
    ++counts[prefix];
  }

  EXPECT_EQ(list.size(), 16U);
  EXPECT_EQ(counts.size(), 7U);
  for (const char* prefix : {"PL", "LD", "BS", "PD", "RT", "AT", "INIT"})
    EXPECT_GE(counts[prefix], 2) << prefix;
}

// The file that ships and the table that stands in for it say the same.
TEST_F(FactoryBank, ComesWithTheBuiltInCategories) {
  EXPECT_THAT(categories_.entries(), testing::UnorderedElementsAreArray(PresetCategories::of("").entries()));
}

TEST_F(FactoryBank, SetsEveryParameterWithinItsRange) {
  const OfflineUnit offline{std::string()};
  const AUParameterTree& tree = *offline.unit().parameterTree();
  for (const auto& preset : presets()) {
    const auto file =
        readPropertyListFile(MORV_RESOURCES_FOLDER "/Factory Presets/" + preset.name + ".aupreset");
    ASSERT_TRUE(file.ok()) << preset.name;
    const PropertyListDictionary* groups = file.value().dictionary()->find("parameters")->dictionary();
    for (const AUParameter* each : tree.allParameters()) {
      const PropertyListValue* group = groups->find(each->group()->identifier());
      ASSERT_NE(group, nullptr) << preset.name;
      const PropertyListValue* value = group->dictionary()->find(each->identifier());
      ASSERT_NE(value, nullptr) << preset.name << ": " << each->identifier();
      EXPECT_GE(*value->number(), each->minValue()) << preset.name << ": " << each->identifier();
      EXPECT_LE(*value->number(), each->maxValue()) << preset.name << ": " << each->identifier();
    }
    EXPECT_EQ(groups->size(), tree.children().size()) << preset.name;
  }
}

TEST_F(FactoryBank, IsOfOneLoudnessBelowFullScaleFadesToSilenceAndHasNoTwoSpectraAlike) {
  std::map<std::string, Heard> all;
  for (const auto& preset : presets())
    all[preset.name] = hear(preset.name, categories_.prefixFor(preset.name));
  ASSERT_FALSE(all.empty());

  double loudest = all.begin()->second.loudnessLufs;
  double softest = loudest;
  for (const auto& [name, heard] : all) {
    EXPECT_TRUE(heard.isFinite) << name;
    EXPECT_LT(heard.peak, kFullScale) << name;
    EXPECT_LT(heard.peakOfEnd, kSilence) << name;
    loudest = std::max(loudest, heard.loudnessLufs);
    softest = std::min(softest, heard.loudnessLufs);
    for (const auto& [otherName, other] : all) {
      if (otherName == name) break;
      EXPECT_GT(OctaveSpectrum::distanceDb(heard.octavesDb, other.octavesDb), kLeastDistanceDb)
          << name << " and " << otherName;
    }
  }
  EXPECT_LE(loudest - softest, kSpanLu);
  EXPECT_TRUE(std::isfinite(softest));
}

TEST_F(FactoryBank, SoundsTheSameWhateverWasLoadedBefore) {
  const std::string name = presets().front().name;
  const auto play = [&](const std::vector<std::string>& loaded) {
    OfflineUnit offline(MORV_RESOURCES_FOLDER);
    for (const auto& each : loaded) offline.loadPreset(each);
    std::vector<float> values;
    for (const AUParameter* each : offline.unit().parameterTree()->allParameters())
      values.push_back(each->value());
    return values;
  };
  const auto alone = play({name});

  for (const auto& before : presets()) EXPECT_EQ(play({before.name, name}), alone) << before.name;
}

}  // namespace
}  // namespace morv::cli
