// The matrix against a plain second form over thousands of blocks, in which everything that may change
// between blocks does.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "modulation/RowKernels.h"
#include "modulation/ZRDSPModMatrix.h"
#include "platform/Random.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

constexpr int kRows = 40;
constexpr int kBlocks = 4000;
constexpr int kDestinations = 14;
constexpr int kFirstDestination = 30;
constexpr int kSources = 15;  // 11 built-in and 4 registered
constexpr int kMissingSource = 300;
constexpr int kUsualFrames = 96;  // most blocks are at most this long
constexpr int kCompared = kUsualFrames + 32;
constexpr int kNoTransform = 6;

// Clears eagerly and adds row by row, in the order of the slots.
class PlainMatrix {
 public:
  std::vector<float>& destination(int address) {
    return destinations_[static_cast<std::size_t>(address - kFirstDestination)];
  }

  void run(ZRDSPModMatrix& matrix, bool enabled, int frames) {
    for (int r = 0; r < kRows; ++r) clear(*matrix.getRowAtIndex(r), frames);
    if (!enabled) return;
    for (const bool isGlobal : {true, false}) {
      for (int r = 0; r < kRows; ++r) {
        const modMatrixRow& row = *matrix.getRowAtIndex(r);
        if (row.active && depthOf(row) != 0.0F && row.isGlobal == isGlobal) add(matrix, row, frames);
      }
    }
  }

  int keptCancellations = 0;
  int clearedLeftovers = 0;
  int addedRows = 0;

 private:
  static float depthOf(const modMatrixRow& row) {
    return row.depth != nullptr ? row.depth->value.load() : 1.0F;
  }

  static bool isInside(int address) {
    return address >= kFirstDestination && address < kFirstDestination + kDestinations;
  }

  void clear(const modMatrixRow& row, int frames) {
    if (!row.active || !isInside(row.destinationIndex)) return;
    std::vector<float>& buffer = destination(row.destinationIndex);
    const bool isSilent =
        std::all_of(buffer.begin(), buffer.begin() + frames, [](float x) { return x == 0.0F; });
    if (depthOf(row) == 0.0F) {
      // The order of the additions is the kernel's own.
      if (rowKernels().sum(buffer.data(), frames) == 0.0F) {
        if (!isSilent) ++keptCancellations;
        return;
      }
      ++clearedLeftovers;
    }
    std::fill_n(buffer.begin(), frames, 0.0F);
  }

  static float transformed(int transform, float x) {
    switch (transform) {
      case 1:
        return 2.0F * x - 1.0F;
      case 2:
        return 0.5F * x + 0.5F;
      case 3:
      case 9:
        return x * x;
      case 4:
        return (x * x) * (x * x);
      case 5:
        return x / 127.0F;
      case 7:
        return std::copysign((x / 127.0F) * (x / 127.0F), x);
      case 8:
        return (x / 80.0F) * (x / 80.0F);
      default:
        return x;
    }
  }

  void add(ZRDSPModMatrix& matrix, const modMatrixRow& row, int frames) {
    if (!isInside(row.destinationIndex)) return;
    const int transform = static_cast<int>(row.transform.load());
    if (transform < 0 || transform > 9 || transform == kNoTransform) return;
    if (transform == 8 && row.isGlobal) return;
    const float* source = row.isGlobal ? matrix.getMatrixCore()->globalSourceBuffer(std::abs(row.source))
                                       : matrix.readSource(row.source);
    const int modSource = row.modSource;
    const float* second = modSource != 0 ? matrix.readSource(modSource) : nullptr;
    if (source == nullptr || (modSource != 0 && second == nullptr)) return;
    const bool isMidi = modSource == 1 || modSource == 2 || modSource == 3 || modSource == 5 ||
                        (modSource == 6 && !row.isGlobal);
    const float gain =
        row.depth != nullptr ? row.depth->value / row.depth->maxValue * row.amount : row.amount.load();
    std::vector<float>& out = destination(row.destinationIndex);
    for (int i = 0; i < frames; ++i) {
      float a = transformed(transform, source[i]);
      if (modSource != 0) {
        float b = isMidi ? second[i] / 127.0F : second[i];
        b *= row.modAmount;
        a *= b;
      }
      const float product = a * gain;
      out[static_cast<std::size_t>(i)] += product;
    }
    ++addedRows;
  }

  std::vector<std::vector<float>> destinations_ =
      std::vector<std::vector<float>>(kDestinations, std::vector<float>(kMaxBlockFrames));
};

class ZRDSPModMatrixRandom : public ::testing::TestWithParam<std::uint64_t> {
 protected:
  struct Voice {
    ZRDSPModMatrix matrix{64};
    PlainMatrix plain;
  };

  ZRDSPModMatrixRandom() {
    for (auto& voice : voices) {
      voice = std::make_unique<Voice>();
      voice->matrix.setMatrixCore(shared->getMatrixCore());
      while (voice->matrix.registeredSourceCount < 4)
        voice->matrix.registerSource(nullptr, false, false, "x");
    }
    for (ZRDSPParameter& depth : depths) {
      depth.minValue = -1;
      depth.maxValue = 1;
    }
    for (int r = 0; r < kRows; ++r) addRow(r);
  }

  bool oneIn(int n) { return below(n) == 0; }
  int below(int n) { return static_cast<int>(random.unitDouble() * n); }
  float small() { return static_cast<float>(below(33) - 16) / 8.0F; }

  void addRow(int r) {
    const bool isGlobal = oneIn(4);
    int source = isGlobal ? below(26) : below(kSources);
    if (isGlobal && oneIn(3)) source = -source;
    if (oneIn(10)) source = kMissingSource;
    // Some destinations have one row, some several.
    int destination = kFirstDestination + std::min(below(kDestinations), below(kDestinations));
    if (oneIn(20)) destination = oneIn(2) ? -1 : kMaxModRows;
    ZRDSPParameter* depth = oneIn(12) ? nullptr : &depths[static_cast<std::size_t>(r)];
    for (auto& voice : voices) {
      voice->matrix.addRow("row", source, destination, depth, 1.0F, 0, isGlobal);
    }
  }

  void changeRow(modMatrixRow& row) {
    switch (below(7)) {
      case 0:
      case 1:
      case 2:
        if (row.depth != nullptr) *row.depth = oneIn(2) ? 0.0F : small();
        break;
      case 3:
        row.active = !oneIn(4);
        break;
      case 4:
        row.modSource = oneIn(2) ? 0 : (oneIn(8) ? kMissingSource : below(kSources + 12) - 12);
        row.modAmount = oneIn(4) ? 0.0F : small();
        break;
      case 5:
        row.transform = static_cast<ZRDSPModMatrixTransform>(oneIn(12) ? 10 + below(3) : below(11) - 1);
        break;
      default:
        row.amount = small();
        break;
    }
  }

  // Often all rows of a destination fall silent together, so that what they left is looked at.
  void changeRows() {
    const ZRDSPModMatrix& matrix = voices[0]->matrix;
    for (int n = below(6); n > 0; --n) changeRow(*matrix.getRowAtIndex(below(kRows)));
    if (!oneIn(3)) return;
    const int destination = kFirstDestination + below(kDestinations);
    const bool restores = oneIn(2);
    for (int r = 0; r < kRows; ++r) {
      const modMatrixRow& row = *matrix.getRowAtIndex(r);
      if (row.destinationIndex == destination && row.depth != nullptr) *row.depth = restores ? small() : 0.0F;
    }
  }

  void fillBuffer(float* buffer, int frames) {
    const float value = small() * 8.0F;
    const int kind = below(4);
    for (int i = 0; i < frames; ++i) {
      if (kind == 0) buffer[i] = 127.0F * static_cast<float>(random.unitDouble());
      if (kind == 1) buffer[i] = value;
      if (kind == 2) buffer[i] = i % 2 == 0 ? value : -value;  // cancels over an even number of frames
      if (kind == 3) buffer[i] = small();
    }
  }

  void changeSources(Voice& voice, int frames) {
    for (int source = 1; source < kSources; ++source) {
      if (oneIn(3)) {
        fillBuffer(voice.matrix.sourceBuffer(source), frames);
      } else if (oneIn(3)) {
        voice.matrix.holdSource(source, small(), oneIn(4) ? std::max(frames - 1, 0) : frames);
      }
    }
    for (int number = 0; number < kNumGlobalSourceBuffers; ++number) {
      if (oneIn(8)) fillBuffer(shared->getMatrixCore()->globalSourceBuffer(number), frames);
    }
  }

  // What a module does that works in the buffer of its destination: over the block's length, or another.
  void writeOutside(Voice& voice, int frames) {
    for (int n = below(4); n > 0; --n) {
      const int address = kFirstDestination + below(kDestinations);
      std::vector<float>& plain = voice.plain.destination(address);
      const int written = oneIn(3) ? below(kUsualFrames) : frames;
      float* buffer = oneIn(3) ? voice.matrix.destinationBuffer(address)
                               : voice.matrix.destinationBuffer(address, written);
      if (oneIn(2)) {
        fillBuffer(buffer, written);
        std::copy_n(buffer, written, plain.begin());
      } else {
        const float gain = small();
        for (int i = 0; i < written; ++i) buffer[i] += gain;
        for (int i = 0; i < written; ++i) plain[static_cast<std::size_t>(i)] += gain;
      }
    }
  }

  int blockLength() {
    constexpr std::array<int, 10> kLengths = {0, 1, 2, 3, 7, 8, 9, 16, 31, 64};
    if (oneIn(100)) return kMaxBlockFrames - below(2);
    return oneIn(2) ? kLengths[static_cast<std::size_t>(below(10))] : 1 + below(kUsualFrames);
  }

  static ::testing::AssertionResult equal(Voice& voice, int frames) {
    for (int address = kFirstDestination; address < kFirstDestination + kDestinations; ++address) {
      const float* buffer = voice.matrix.readDestination(address);
      const std::vector<float>& plain = voice.plain.destination(address);
      for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
        if (buffer[i] != plain[i])
          return ::testing::AssertionFailure() << "destination " << address << " sample " << i << " is "
                                               << buffer[i] << ", not " << plain[i];
      }
    }
    return ::testing::AssertionSuccess();
  }

  Random random{GetParam()};
  std::shared_ptr<ZRDSPModMatrix> shared = ZRDSPModMatrix::initSingleton();
  std::array<std::unique_ptr<Voice>, 2> voices;
  std::array<ZRDSPParameter, kRows> depths;
};

TEST_P(ZRDSPModMatrixRandom, GivesWhatClearingAtOnceAndAddingRowByRowGives) {
  for (int block = 0; block < kBlocks; ++block) {
    changeRows();
    for (auto& voice : voices) {
      const int frames = blockLength();
      changeSources(*voice, frames);
      const bool enabled = !oneIn(15);
      voice->matrix.enabled = enabled;

      voice->matrix.runMatrix(frames);
      voice->plain.run(voice->matrix, enabled, frames);

      const int compared = frames > kUsualFrames || block % 256 == 0 ? kMaxBlockFrames : kCompared;
      ASSERT_TRUE(equal(*voice, compared)) << "seed " << GetParam() << " block " << block << " of " << frames;
      writeOutside(*voice, frames);
    }
  }

  for (const auto& voice : voices) {
    EXPECT_GT(voice->plain.keptCancellations, 100);
    EXPECT_GT(voice->plain.clearedLeftovers, 1000);
    EXPECT_GT(voice->plain.addedRows, 10000);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ZRDSPModMatrixRandom, ::testing::Values(1, 2, 3, 4, 5));

}  // namespace
}  // namespace morv
