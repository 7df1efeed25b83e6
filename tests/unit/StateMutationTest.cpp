// States, presets and mapping files that are cut, flipped and mixed up: refused, or loaded within ranges.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

constexpr std::uint32_t kFrames = 256;

// One second, or what the environment asks for.
double secondsOfTest() {
  const char* wanted = std::getenv("MORV_FUZZ_SECONDS");
  return wanted != nullptr ? std::atof(wanted) : 1.0;
}
std::uint64_t seedOfTest() {
  const char* wanted = std::getenv("MORV_FUZZ_SEED");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : 12;
}

class Mutator {
 public:
  explicit Mutator(std::uint64_t seed) : random_(seed) {}

  std::uint32_t below(std::size_t bound) { return random_.nextBits() % static_cast<std::uint32_t>(bound); }

  // A text with one to six wounds.
  std::string wounded(std::string text) {
    for (std::uint32_t wounds = 1 + below(6); wounds > 0 && !text.empty(); --wounds) wound(&text);
    return text;
  }

 private:
  void wound(std::string* text) {
    static const std::vector<std::string> kWords = {"<real>nan</real>",
                                                    "<real>1e308</real>",
                                                    "<real>-infinity</real>",
                                                    "<integer>-9223372036854775808</integer>",
                                                    "<dict/>",
                                                    "<array/>",
                                                    "<string></string>",
                                                    "</dict>",
                                                    "<key></key>",
                                                    "<true/>",
                                                    "&amp;",
                                                    "]]>",
                                                    "\xff\xfe",
                                                    "<real>1e39</real>",
                                                    "<data>!!!</data>",
                                                    "<integer>474</integer>"};
    const std::size_t at = below(text->size());
    switch (below(6)) {
      case 0:
        (*text)[at] = static_cast<char>(random_.nextBits());
        break;
      case 1:
        (*text)[at] = static_cast<char>(static_cast<unsigned char>((*text)[at]) ^ (1U << below(8)));
        break;
      case 2:
        text->resize(at);
        break;
      case 3:
        text->insert(at, kWords[below(kWords.size())]);
        break;
      case 4:
        replaceValue(text, at, kWords[below(kWords.size())]);
        break;
      default:
        text->insert(at, text->substr(below(text->size()), below(200)));
        break;
    }
  }
  // The next value of a dictionary becomes another one.
  static void replaceValue(std::string* text, std::size_t at, const std::string& word) {
    const std::size_t begin = text->find("</key>", at);
    if (begin == std::string::npos) return;
    const std::size_t value = begin + 6;
    const std::size_t end = text->find("<key>", value);
    if (end != std::string::npos && end - value < 80) text->replace(value, end - value, word);
  }

  Random random_;
};

class StateMutation : public testing::Test {
 protected:
  StateMutation() {
    around_.addFactoryPreset("[FACTORY]_PL_One", 0.5);
    around_.services.midiMapper = std::make_shared<ZRMidiMapper>(MidiMapperServices{
        .standardSettings = &around_.standard, .directories = around_.services.directories});
    unit_ = std::make_unique<PresetUnit>(around_.services);
    std::string error;
    EXPECT_TRUE(unit_->allocateRenderResources(&error)) << error;
    for (const int note : {50, 57, 62}) unit_->instrument().setGateWithNote(0, 1, note, 100);
  }
  std::vector<float> values() {
    std::vector<float> all;
    for (const AUParameter* each : unit_->parameterTree()->allParameters()) all.push_back(each->value());
    return all;
  }
  void expectValuesInRange(const std::string& text) {
    for (const AUParameter* each : unit_->parameterTree()->allParameters()) {
      if (each->value() >= each->minValue() && each->value() <= each->maxValue()) continue;
      ADD_FAILURE() << each->keyPath() << " = " << each->value() << " from\n" << text;
    }
  }
  bool soundsFinite() {
    std::vector<float> left(kFrames);
    std::vector<float> right(kFrames);
    AudioBufferList list;
    list.mNumberBuffers = 2;
    list.mBuffers[0] = {1, kFrames * sizeof(float), left.data()};
    list.mBuffers[1] = {1, kFrames * sizeof(float), right.data()};
    AudioUnitRenderActionFlags flags = 0;
    unit_->internalRenderBlock()(&flags, &time_, kFrames, 0, &list, nullptr, nullptr);
    time_.mSampleTime += kFrames;
    const auto finite = [](float v) { return std::isfinite(v); };
    return std::all_of(left.begin(), left.end(), finite) && std::all_of(right.begin(), right.end(), finite);
  }

  PresetSurroundings around_;
  std::unique_ptr<PresetUnit> unit_;
  AudioTimeStamp time_;
};

TEST_F(StateMutation, NeverLeavesTheRangesAndRefusalsLeaveTheSound) {
  const std::uint64_t seed = seedOfTest();
  Mutator mutator(seed);
  const std::string whole = writePropertyList(unit_->fullState()).value();
  long loaded = 0;
  long refused = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(secondsOfTest());
  while (std::chrono::steady_clock::now() < end && !HasFailure()) {
    const std::string text = mutator.wounded(whole);
    const std::vector<float> before = values();
    const auto read = readPropertyList(text);
    if (!read || read.value().dictionary() == nullptr) {
      ASSERT_TRUE(read.ok() || !read.reason().empty());
      EXPECT_EQ(values(), before) << "seed " << seed;
      ++refused;
      continue;
    }
    unit_->setFullState(read.value().dictionary());
    expectValuesInRange(text);
    ASSERT_TRUE(soundsFinite()) << "seed " << seed << "\n" << text;
    around_.wait(0.01);
    ++loaded;
  }

  EXPECT_GT(loaded, 10);
  EXPECT_GT(refused, 10);
}

TEST_F(StateMutation, PresetFilesAreRefusedOrLoadWithinRanges) {
  std::filesystem::create_directories(around_.folder.path("cloud/Documents/Presets"));
  around_.suite.setString("cloudFolder", around_.folder.path("cloud"));
  ASSERT_TRUE(unit_->setStorageLocation(1));
  around_.background.waitUntilIdle();
  Mutator mutator(seedOfTest());
  const std::string whole = writePropertyList(unit_->fullState()).value();
  const std::string path = around_.folder.path("cloud/Documents/Presets/[USER]_Wounded.aupreset");
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(secondsOfTest());
  long rounds = 0;
  while (std::chrono::steady_clock::now() < end && !HasFailure()) {
    const std::string text = mutator.wounded(whole);
    std::ofstream(path, std::ios::binary) << text;
    unit_->setCurrentPreset(AUAudioUnitPreset{"[USER]_Wounded", 0});
    expectValuesInRange(text);
    ASSERT_TRUE(soundsFinite()) << text;
    ++rounds;
  }

  EXPECT_GT(rounds, 10);
}

TEST_F(StateMutation, MappingFilesAreRefusedOrHoldControllersAndAddresses) {
  Mutator mutator(seedOfTest());
  const std::string whole =
      writePropertyList(PropertyListDictionary{{"1", 856}, {"7", 857}, {"74", 20}, {"110", -1}}).value();
  const std::string path = around_.services.directories.data + "/MIDIMappings/default.midimap";
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(secondsOfTest());
  long rounds = 0;
  ZRMidiMapper& mapper = *around_.services.midiMapper;
  while (std::chrono::steady_clock::now() < end && !HasFailure()) {
    std::ofstream(path, std::ios::binary) << mutator.wounded(whole);
    ZRMidiMapper loaded({.standardSettings = &around_.standard, .directories = around_.services.directories});
    if (const auto table = loaded.mapping()) {
      for (const auto& [controller, address] : *table) {
        EXPECT_GE(address, -1);
        loaded.handleMidiCC(controller, 64, 1);
      }
    }
    mapper.handleMidiCC(74, 64, 1);
    ++rounds;
  }

  EXPECT_GT(rounds, 100);
  EXPECT_TRUE(soundsFinite());
}

}  // namespace
}  // namespace morv
