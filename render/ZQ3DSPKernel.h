#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/NonBlocking.h"
#include "render/ZRDSPInstrumentKernel.h"

namespace morv {

// Builds the one concrete instrument. Construction and `prepare`: not while rendering.
class ZQ3DSPKernel : public ZRDSPInstrumentKernel {
 public:
  // Creates the instrument: `voices` turbo voices, fewer on old tablets, at `sampleRateHz` and blocks of
  // `maximumFrames`. Once. Several kernels may be initialised at the same time; they take turns.
  // Addresses come from the process's counter; with a first address given they begin there, and the counter
  // stays where it is unless they reach beyond it. Gives the number from which the addresses were drawn.
  // Without enough memory throws std::bad_alloc, and the counter stays where it is.
  std::uint32_t init(int channels, double sampleRateHz, int maximumFrames, int voices,
                     std::optional<std::uint32_t> firstAddress = {});
  // Hands the host's rate and largest block to the instrument. May run many times.
  void prepare(double sampleRateHz, int maximumFrames);
  void reset() noexcept MORV_NONBLOCKING {}

  std::string deviceName() const;
  // The pieces between delimiters; an empty text gives none, and a trailing delimiter adds no empty piece.
  static std::vector<std::string> split(const std::string& text, char delimiter);
  // How many voices a device gets that asks for `voices`.
  static int voicesForDevice(const std::string& device, int voices);
};

}  // namespace morv
