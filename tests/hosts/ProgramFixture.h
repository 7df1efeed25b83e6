#pragma once

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/hosts/MidiBytes.h"
#include "tests/hosts/Program.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv {

// A folder with a short piece, and the render command over it.
class ProgramFixture : public testing::Test {
 protected:
  // "morv render" from the piece to out.wav, with further words.
  ProgramResult render(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = {"render", "--midi", midi_, "--out", out_};
    words.insert(words.end(), more.begin(), more.end());
    return runMorv(words);
  }
  // Samples of out.wav, interleaved.
  std::vector<float> sound() const {
    SF_INFO info{};
    SNDFILE* file = sf_open(out_.c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr);
    if (file == nullptr) return {};
    std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    rate_ = info.samplerate;
    return samples;
  }
  std::size_t frames() const { return sound().size() / 2; }
  bool leftOnlyInputs() const {
    for (const auto& name : folder_.names()) {
      if (name.find("wav") != std::string::npos) return false;
    }
    return true;
  }

  // A note of half a second on channel 1, at 1000 ticks per second.
  static Bytes piece() { return singleTrack({0, 0x90, 60, 100, 0x83, 0x74, 0x80, 60, 64}, 500); }

  const TemporaryFolder folder_;
  const std::string midi_ = folder_.write("piece.mid", piece());
  const std::string out_ = folder_.path("out.wav");
  mutable int rate_ = 0;
};

}  // namespace morv
