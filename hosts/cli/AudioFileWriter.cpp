#include "hosts/cli/AudioFileWriter.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace morv::cli {
namespace {

constexpr int kChannels = 2;
constexpr std::uint64_t kHeaderBytes = 4096;  // far more than any header takes

int subtypeOf(SampleFormat format) {
  switch (format) {
    case SampleFormat::s16:
      return SF_FORMAT_PCM_16;
    case SampleFormat::s24:
      return SF_FORMAT_PCM_24;
    case SampleFormat::f32:
      break;
  }
  return SF_FORMAT_FLOAT;
}

std::uint64_t bytesPerSample(SampleFormat format) {
  switch (format) {
    case SampleFormat::s16:
      return 2;
    case SampleFormat::s24:
      return 3;
    case SampleFormat::f32:
      break;
  }
  return 4;
}

}  // namespace

std::uint64_t AudioFileWriter::maximumFrames(SampleFormat format) noexcept {
  return (UINT32_MAX - kHeaderBytes) / (kChannels * bytesPerSample(format));
}

AudioFileWriter::AudioFileWriter(std::unique_ptr<PendingFile> pending, SNDFILE* file)
    : pending_(std::move(pending)), file_(file) {}

Result<AudioFileWriter> AudioFileWriter::create(const std::string& path, int sampleRateHz,
                                                SampleFormat format) {
  auto pending = PendingFile::create(path);
  if (!pending) return pending.failure();
  SF_INFO info{};
  info.samplerate = sampleRateHz;
  info.channels = kChannels;
  info.format = SF_FORMAT_WAV | subtypeOf(format);
  SNDFILE* file = sf_open_fd((*pending)->descriptor(), SFM_WRITE, &info, SF_FALSE);
  if (file == nullptr) return Failure{path + ": cannot be written: " + sf_strerror(nullptr)};
  // The peak chunk bears the time of writing, and the same render shall give the same bytes.
  sf_command(file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  return AudioFileWriter(std::move(*pending), file);
}

Failure AudioFileWriter::failure() const {
  return {pending_->target() + ": cannot be written: " + sf_strerror(file_.get())};
}

Outcome AudioFileWriter::write(const float* left, const float* right, std::size_t frames) {
  interleaved_.resize(frames * kChannels);
  for (std::size_t i = 0; i < frames; ++i) {
    interleaved_[2 * i] = left[i];
    interleaved_[2 * i + 1] = right[i];
  }
  const auto count = static_cast<sf_count_t>(frames);
  if (sf_writef_float(file_.get(), interleaved_.data(), count) != count) return failure();
  return Done{};
}

Outcome AudioFileWriter::finish() {
  if (sf_close(file_.release()) != 0) {
    return Failure{pending_->target() + ": cannot be written: its end cannot be completed"};
  }
  return pending_->commit();
}

}  // namespace morv::cli
