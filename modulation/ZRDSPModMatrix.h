#pragma once

#include <array>
#include <bitset>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "modulation/ModMatrixCore.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"
#include "render/ZRDSPEntity.h"

namespace morv {

struct RowKernels;

// Names of the built-in sources 0 to 7; sources 8 (the gate as a smoothed level), 9 and 10 have no name.
inline constexpr std::array<std::string_view, 8> ZRDSPModMatrixSourceNames = {
    "None", "NOTE", "Velocity", "Mod Wheel", "Pitch Wheel", "Pressure", "Slide", "Release"};

// Indices of the built-in sources.
enum ModSource : int {
  kSourceNone = 0,
  kSourceNote = 1,        // Hz, with glide
  kSourceVelocity = 2,    // 0 to 127, smoothed
  kSourceModWheel = 3,    // 0 to 127
  kSourcePitchWheel = 4,  // Hz to add to the note
  kSourcePressure = 5,    // 0 to 127, smoothed
  kSourceSlide = 6,       // 0 to 127, smoothed
  kSourceRelease = 7,     // nobody writes it
  kSourceGate = 8,        // 0 to 1, smoothed
};

// Per-sample routing for one voice: source buffers, destination buffers by parameter address, and the row
// array that all voices share. A voice fills its sources, calls `runMatrix` once per block, and its modules
// read their destinations. What a module writes to its source behind that call reaches its destinations one
// block later.
//
// Construction, sources and rows: the constructing thread, before rendering. `runMatrix` and the buffers:
// render thread. A row's depth, second source and its amount: any thread.
class ZRDSPModMatrix {
 public:
  // Buffers hold kMaxBlockFrames frames, or `blockSize` if that is more.
  explicit ZRDSPModMatrix(int blockSize);
  ZRDSPModMatrix(const ZRDSPModMatrix&) = delete;
  ZRDSPModMatrix& operator=(const ZRDSPModMatrix&) = delete;

  // Replaces the shared matrix by a new one with an empty row array. The old one lives on with the voices
  // that took its core.
  static std::shared_ptr<ZRDSPModMatrix> initSingleton();
  // The shared matrix, created if there is none.
  static std::shared_ptr<ZRDSPModMatrix> sharedMatrix();

  const std::shared_ptr<ModMatrixCore>& getMatrixCore() const { return matrixCore; }
  void setMatrixCore(std::shared_ptr<ModMatrixCore> core) { matrixCore = std::move(core); }

  // Gives the entity a source buffer and returns its index: 11 and up, or the negative of that for a global
  // source, whose buffer stands in the shared core. An empty name takes the entity's.
  int registerSource(ZRDSPEntity* entity, bool isGlobal, bool isPublic, const std::string& name);

  std::vector<const modMatrixSource*> getPublicSources() const;
  std::vector<std::string> getPublicSourceNames() const;
  int getNumPublicSources() const;
  // Built-in sources included.
  int getNumRegisteredSources() const { return static_cast<int>(sources.size()); }
  // An unknown index gives an empty name.
  std::string getNameForSource(int index) const;

  // Adds the next row, or takes over the row that an earlier voice created in this place; so all voices add
  // their rows in one order. Returns the row. No check against the limit of rows.
  modMatrixRow* addRow(const std::string& identifier, const std::string& sourceName, int source,
                       const std::string& destinationName, int destination, ZRDSPParameter* depth,
                       float amount, int transform, bool isGlobal);
  modMatrixRow* addRow(const std::string& identifier, int source, int destination, ZRDSPParameter* depth,
                       float amount, int transform, bool isGlobal);
  modMatrixRow* addRow(int source, int destination, ZRDSPParameter* depth, float amount, int transform);

  modMatrixRow* getRowAtIndex(int index) const;
  // Throws std::out_of_range for an unknown identifier. The empty identifier gives the last row added with
  // it.
  modMatrixRow* getRowWithIdentifier(const std::string& identifier) const;
  std::vector<modMatrixRow*> getRowsWithDestination(const std::string& destinationName) const;
  // Rows whose depth is not zero.
  std::vector<modMatrixRow*> getActiveRows() const;
  // Sets every row's depth, second source and second amount to zero.
  void resetActiveRows();

  // Clears the destinations and adds every row into its own. `frames` up to the buffers' capacity. A row adds
  // nothing when its transform has no operation in its pass, or when one of its buffers does not exist.
  void runMatrix(int frames) noexcept MORV_NONBLOCKING;
  // The same with the rows as the core saw them last: for the further voices of a block.
  void runMatrixAsPresent(int frames) noexcept MORV_NONBLOCKING;

  // Sample buffers of this voice. A source that does not exist gives none; every destination address below
  // 475 has a buffer, others give none. Asking for a destination to write into makes the next block look
  // whether it needs clearing; who only reads takes `readDestination`.
  float* sourceBuffer(int source) noexcept MORV_NONBLOCKING {
    if (source < 0) return matrixCore != nullptr ? matrixCore->globalSourceBuffer(-source) : nullptr;
    if (source >= kMaxModRows) return nullptr;
    heldSources_[static_cast<std::size_t>(source)].frames = 0;
    return sourceBuffers[static_cast<std::size_t>(source)];
  }
  // Makes the first `frames` samples of an existing source one value. While nobody asks for the buffer, the
  // matrix knows that it holds still, and its rows cost no more than one sample.
  void holdSource(int source, float value, int frames) noexcept MORV_NONBLOCKING;
  bool isSourceHeld(int source, int frames) const noexcept MORV_NONBLOCKING {
    return source >= 0 && source < kMaxModRows &&
           heldSources_[static_cast<std::size_t>(source)].frames >= frames;
  }
  // A source's buffer for reading alone.
  const float* readSource(int source) const noexcept MORV_NONBLOCKING;
  // Whether some row may take this source.
  bool isRead(int source) const noexcept MORV_NONBLOCKING {
    return matrixCore != nullptr && source >= 0 && source < kMaxModRows &&
           (matrixCore->taken.test(static_cast<std::size_t>(source)) || matrixCore->present.hasSecondSources);
  }
  float* destinationBuffer(int address) noexcept MORV_NONBLOCKING {
    return destinationBuffer(address, static_cast<int>(stride_));
  }
  float* destinationBuffer(int address, int framesWritten) noexcept MORV_NONBLOCKING {
    if (address < 0 || address >= kMaxModRows) return nullptr;
    int& written = writtenFrames_[static_cast<std::size_t>(address)];
    if (framesWritten > written) written = framesWritten;
    heldDestinations_[static_cast<std::size_t>(address)].frames = 0;
    return bufferAt(address);
  }
  // Makes the first `frames` samples of a destination one value, and knows it.
  void holdDestination(int address, float value, int frames) noexcept MORV_NONBLOCKING;
  const float* readDestination(int address) const noexcept MORV_NONBLOCKING {
    if (address < 0 || address >= kMaxModRows) return nullptr;
    return destinationStorage_.data() + address * stride_;
  }
  // Whether a destination is known to hold nothing but zeros. False also where that is merely not known.
  bool isClear(int address) const noexcept MORV_NONBLOCKING {
    return address < 0 || address >= kMaxModRows || writtenFrames_[static_cast<std::size_t>(address)] == 0;
  }
  // Whether a destination is known to hold one value over so many frames. False also where that is merely not
  // known.
  bool isHeld(int address, int frames) const noexcept MORV_NONBLOCKING {
    return address >= 0 && address < kMaxModRows &&
           heldDestinations_[static_cast<std::size_t>(address)].frames >= frames;
  }
  // The same, with the value; one that is clear holds zeros.
  bool isHeld(int address, int frames, float& value) const noexcept MORV_NONBLOCKING {
    if (isClear(address)) {
      value = 0.0F;
      return true;
    }
    value = heldDestinations_[static_cast<std::size_t>(address)].value;
    return isHeld(address, frames);
  }
  // Empties every source, and every destination below `addresses`, whose first `frames` samples are not all
  // finite, forgets what was known to hold still, and gives a row whose amounts are no numbers the one that
  // it began with and no second one. Returns whether it found anything.
  bool mendState(int addresses, int frames) noexcept MORV_NONBLOCKING;
  // Whether any row feeds this destination. One that none feeds reads as zero unless its own module writes
  // it.
  bool isRouted(int address) const noexcept MORV_NONBLOCKING;

  bool enabled = true;  // rows are computed only while set
  int rowCount = 0;     // rows that this matrix walked through addRow
  int registeredSourceCount = 0;
  int blockSize = 0;  // frames

 private:
  void setBlockSize(int newBlockSize);
  void _createMatrixCore();
  void _initBuffers();
  // One value over the first frames of a buffer; none if not known.
  struct Held {
    float value = 0;
    int frames = 0;
  };
  void clearDestinations(int frames) noexcept MORV_NONBLOCKING;
  bool runHeldRow(const modMatrixRow& row, float gain, int frames) noexcept MORV_NONBLOCKING;
  void writeSum(std::size_t destination, int frames) noexcept MORV_NONBLOCKING;
  void runGlobalMatrix(int frames) noexcept MORV_NONBLOCKING;
  void runRow(const modMatrixRow& row, const float* source, bool isGlobalPass,
              int frames) noexcept MORV_NONBLOCKING;
  float* bufferAt(int address) noexcept MORV_NONBLOCKING {
    return destinationStorage_.data() + address * stride_;
  }

  static std::shared_ptr<ZRDSPModMatrix> _instance;

  std::array<float*, kMaxModRows> sourceBuffers{};
  std::vector<ZeroedFloats> sourceStorage_;
  ZeroedFloats destinationStorage_;
  std::ptrdiff_t stride_ = 0;  // floats from one destination to the next
  std::vector<std::unique_ptr<modMatrixSource>> sources;
  std::map<int, std::string> sourceNames;
  std::map<std::string, modMatrixRow*> rowsByIdentifier;
  std::shared_ptr<ModMatrixCore> matrixCore;
  std::array<int, kMaxModRows>
      writtenFrames_{};  // of each destination, how many frames may be other than zero
  std::array<Held, kMaxModRows> heldSources_{};
  std::array<Held, kMaxModRows> heldDestinations_{};
  std::bitset<kMaxModRows> fresh_;   // destinations that this block cleared and nobody has written yet
  std::bitset<kMaxModRows> summed_;  // those whose rows so far held still: `sums_` stands for the buffer
  std::array<float, kMaxModRows> sums_{};
  const RowKernels& kernels_;
  ZeroedFloats scratchA_;
  ZeroedFloats scratchB_;
};

}  // namespace morv
