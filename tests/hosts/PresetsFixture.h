#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/PropertyListFile.h"
#include "tests/hosts/ProgramFixture.h"

namespace morv {

// A user and a bank of two presets in a folder of the test's own.
class PresetsFixture : public ProgramFixture {
 protected:
  void SetUp() override {
    for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                 "XDG_RUNTIME_DIR", "XDG_DOCUMENTS_DIR"}) {
      setenv(variable, folder_.path(std::string("user/") + variable).c_str(), 1);
    }
    setenv("MORV_RESOURCES", resources_.c_str(), 1);
    std::filesystem::create_directories(resources_ + "/Factory Presets");
    ASSERT_EQ(exportTo(factoryFile("[FACTORY]_BS_Deep"), {"--set", "filterCutoff=300"}).exitCode, 0);
    ASSERT_EQ(exportTo(factoryFile("[FACTORY]_LD_High"), {"--set", "filterCutoff=9000"}).exitCode, 0);
  }
  static ProgramResult exportTo(const std::string& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {"presets", "export-state", "--out", file};
    words.insert(words.end(), more.begin(), more.end());
    return runMorv(words);
  }
  std::string factoryFile(const std::string& name) const {
    return resources_ + "/Factory Presets/" + name + ".aupreset";
  }
  std::string documentFile(const std::string& name) const {
    return folder_.path("user/XDG_DOCUMENTS_DIR/MORV/" + name + ".aupreset");
  }
  std::string userPreset(const std::string& name, const std::string& cutoff) const {
    const std::string file = folder_.path(name + ".aupreset");
    EXPECT_EQ(exportTo(file, {"--set", "filterCutoff=" + cutoff}).exitCode, 0);
    return file;
  }
  // The user's settings, made by hand.
  void writeSettings(const PropertyListDictionary& settings) const {
    std::filesystem::create_directories(folder_.path("user/XDG_CONFIG_HOME/morv"));
    EXPECT_TRUE(
        writePropertyListFile(folder_.path("user/XDG_CONFIG_HOME/morv/group.org.morv.plist"), settings).ok());
  }
  // What `show` says of the cutoff.
  static std::string cutoffOf(const std::string& preset) {
    const std::string mark = "\nmorv\tfilterCutoff\t";
    const auto shown = runMorv({"presets", "show", preset});
    EXPECT_EQ(shown.exitCode, 0) << shown.errors;
    const auto begin = shown.output.find(mark);
    if (begin == std::string::npos) return {};
    const auto from = begin + mark.size();
    return shown.output.substr(from, shown.output.find('\n', from) - from);
  }
  std::vector<float> soundOf(const std::vector<std::string>& more) const {
    const auto run = render(more);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    return sound();
  }

  const std::string resources_ = folder_.path("resources");
};

}  // namespace morv
