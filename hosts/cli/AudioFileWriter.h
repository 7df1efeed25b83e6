#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hosts/cli/PendingFile.h"
#include "platform/Result.h"

namespace morv::cli {

enum class SampleFormat : std::uint8_t { f32, s16, s24 };

// Writes a stereo WAV file. Whole numbers clip at full scale. Nothing stands at the target before `finish`,
// and nothing is left anywhere without it.
class AudioFileWriter {
 public:
  // Frames that a WAV file of that format can hold: its sizes are 32-bit byte counts.
  static std::uint64_t maximumFrames(SampleFormat format) noexcept;

  // Begins the file; the reason names it. `sampleRateHz` is above 0.
  static Result<AudioFileWriter> create(const std::string& path, int sampleRateHz, SampleFormat format);

  // Appends frames; fails if the disk is full, for one.
  Outcome write(const float* left, const float* right, std::size_t frames);
  // Completes the file and puts it in its place.
  Outcome finish();

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  AudioFileWriter(std::unique_ptr<PendingFile> pending, SNDFILE* file);
  Failure failure() const;

  // The stream goes before the file that it writes to.
  std::unique_ptr<PendingFile> pending_;
  std::unique_ptr<SNDFILE, Close> file_;
  std::vector<float> interleaved_;
};

}  // namespace morv::cli
