#pragma once

#include <array>
#include <bitset>
#include <memory>
#include <string>

#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"
#include "platform/ZeroedFloats.h"
#include "render/ZRDSPParameter.h"

namespace morv {

// Limits of the matrix, fixed at build time.
inline constexpr int kMaxModRows = 475;        // rows, sources and destinations alike
inline constexpr int kNumBuiltInSources = 11;  // the first registered source gets this index
inline constexpr int kNumGlobalSourceBuffers = 24;
inline constexpr int kSharedMatrixBlockSize = 4096;  // frames

// What a row does to its source sample x.
enum class ZRDSPModMatrixTransform : std::int32_t {
  plain = 0,         // x
  toBipolar = 1,     // 2x - 1
  toUnipolar = 2,    // 0.5x + 0.5
  square = 3,        // x^2
  fourthPower = 4,   // x^4
  midi = 5,          // x / 127
  undefined = 6,     // no operation; rows do not use it
  midiSquare = 7,    // (x / 127)^2 with the sign of x
  eightySquare = 8,  // (x / 80)^2, in the per-voice pass only
  squareAgain = 9,   // x^2
};

struct modMatrixDestination {
  std::string name;
  int index = 0;
};

struct modMatrixSource {
  std::string name;
  int index = 0;
  bool isGlobal = false;
  bool isPublic = false;
};

// One routing. Names, indices and the depth record are set when the row is added; the relaxed members are
// edited by the user or by the voice while the audio runs.
struct modMatrixRow {
  std::string identifier;  // key of the row in saved state
  std::string displayIdentifier;
  modMatrixDestination destination;  // filled for rows that were added with a source name
  int source = 0;
  int destinationIndex = 0;         // address of the modulated parameter
  Relaxed<float> amount{0.0F};      // fixed scaling
  float firstAmount = 0;            // that of construction
  ZRDSPParameter* depth = nullptr;  // the user's amount; owned by the first voice, may be none
  Relaxed<ZRDSPModMatrixTransform> transform{ZRDSPModMatrixTransform::plain};
  Relaxed<bool> active{false};
  bool isGlobal = false;           // runs in the global pass
  Relaxed<int> modSource{0};       // second source that scales the row; 0 for none
  Relaxed<float> modAmount{0.0F};  // scaling of the second source
};

// The row array that all voices of one instrument share, and the buffers of sources that stand above all
// voices. Rows are added during construction only; after that any thread may read.
class ModMatrixCore {
 public:
  ModMatrixCore();

  std::array<std::unique_ptr<modMatrixRow>, kMaxModRows> rows;
  int usedRows = 0;                 // slots from here on are empty
  std::bitset<kMaxModRows> routed;  // destinations that some row feeds
  std::bitset<kMaxModRows> taken;   // sources that some row takes first

  // Destinations that no module reads; their rows are left out. Set while the rows are made.
  std::bitset<kMaxModRows> unread;

  // The rows as they stand now: which have an effect, in order, and the destinations of both kinds.
  struct Present {
    std::array<const modMatrixRow*, kMaxModRows> live{};  // active, with a depth
    int liveCount = 0;
    std::bitset<kMaxModRows> liveDestinations;
    std::array<int, kMaxModRows> idleDestinations{};  // of active rows at depth zero alone
    int idleCount = 0;
    bool hasSecondSources = false;
  };
  // Looks through all rows. Render thread, like what it leaves in `present`.
  void look() noexcept MORV_NONBLOCKING;
  Present present;

  // Buffer of a global source; none beyond the table. `number` is the source index without its sign.
  float* globalSourceBuffer(int number) noexcept MORV_NONBLOCKING;

 private:
  ZeroedFloats globalSources_;
};

}  // namespace morv
