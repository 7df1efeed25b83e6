#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/ZRVAAmp.h"

namespace morv {
namespace {

constexpr int kFrames = 64;
constexpr float kRounding = 2e-6F;  // a few float steps at values up to four

using Signal = std::vector<float>;

class ZRVAAmpTest : public ::testing::Test {
 protected:
  ZRVAAmpTest() { matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore()); }

  void fill(const ZRDSPParameter& p, float first, float slope) {
    float* destination = matrix.destinationBuffer(p.address);
    for (int i = 0; i < kFrames; ++i) destination[i] = first + slope * static_cast<float>(i);
  }
  static Signal ramp(float first, float slope) {
    Signal x(kFrames);
    for (int i = 0; i < kFrames; ++i) x[static_cast<std::size_t>(i)] = first + slope * static_cast<float>(i);
    return x;
  }

  ZRDSPModMatrix matrix{kFrames};
  int counter = 0;
  ZRVAAmp amp{44100.0F, &counter};
};

TEST_F(ZRVAAmpTest, HasItsSixParametersInOrder) {
  struct Row {
    const ZRDSPParameter& p;
    const char* identifier;
    const char* name;
    float low, high, initial;
    ZRDSPParameterUnit unit;
  };
  const std::vector<Row> rows = {
      {amp.volume, "volume", "Volume", 0, 100, 100, ZRDSPParameterUnit::percent},
      {amp.volumeR, "volumeR", "VolumeR", 0, 100, 100, ZRDSPParameterUnit::percent},
      {amp.max, "max", "Max Volume", 0, 1, 1, ZRDSPParameterUnit::generic},
      {amp.pan, "pan", "Pan", -1, 1, 0, ZRDSPParameterUnit::generic},
      {amp.input, "input", "Input", -1, 1, 0, ZRDSPParameterUnit::sampleFrames},
      {amp.input2, "input2", "Input", -1, 1, 0, ZRDSPParameterUnit::sampleFrames},
  };
  EXPECT_EQ(counter, 6);
  EXPECT_EQ(amp.numberOfParameters(), 6);
  int address = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.identifier);
    EXPECT_EQ(row.p.identifier, row.identifier);
    EXPECT_EQ(row.p.name, row.name);
    EXPECT_EQ(row.p.minValue, row.low);
    EXPECT_EQ(row.p.maxValue, row.high);
    EXPECT_EQ(row.p.value, row.initial);
    EXPECT_EQ(row.p.unit, row.unit);
    EXPECT_EQ(row.p.address, address++);
  }
  EXPECT_FALSE(amp.stereoVolume);
  EXPECT_FALSE(amp.bypassPan);
  EXPECT_EQ(amp.modMatrix, nullptr);
  EXPECT_EQ(amp.smoothedMax, 0.0F);
}

TEST_F(ZRVAAmpTest, RegistersOneSourceThatTheUserIsNotOffered) {
  const int offered = matrix.getNumPublicSources();
  const int registered = matrix.getNumRegisteredSources();

  amp.setModMatrix(&matrix);

  EXPECT_EQ(amp.modMatrix, &matrix);
  EXPECT_EQ(amp.outputSource, 11);
  EXPECT_EQ(matrix.getNumRegisteredSources(), registered + 1);
  EXPECT_EQ(matrix.getNumPublicSources(), offered);
}

TEST_F(ZRVAAmpTest, FollowsItsMaximumOncePerBlockWithTheConstructorsRate) {
  // 205.5 ms at 44100 / 256 steps per second.
  const double c = std::exp(std::log(0.001) / (205.5 * 44100.0 / 256.0 * 0.001));
  EXPECT_NEAR(amp.maxSmoothing, static_cast<float>(c), 1e-7F);
  amp.sampleRate = 96000.0F;
  amp.max = 0.5F;
  Signal in = ramp(0, 0);
  Signal out = ramp(0, 0);

  amp.runAmp(in.data(), nullptr, out.data(), nullptr, kFrames, 120.0F);
  EXPECT_NEAR(amp.smoothedMax, static_cast<float>(0.5 - c * 0.5), kRounding);
  amp.runAmp(in.data(), nullptr, out.data(), nullptr, kFrames, 120.0F);

  EXPECT_NEAR(amp.smoothedMax, static_cast<float>(0.5 - c * c * 0.5), kRounding);
}

TEST_F(ZRVAAmpTest, WithOneOutputWritesTheProductAndDoesNotPan) {
  amp.setModMatrix(&matrix);
  amp.max = 0.25F;
  amp.volume = 50.0F;
  amp.pan = 1.0F;
  fill(amp.max, 0.1F, 0.01F);
  fill(amp.volume, 0.2F, -0.001F);
  Signal in = ramp(1.0F, 0.02F);
  Signal out(kFrames, 9.0F);

  amp.runAmp(in.data(), nullptr, out.data(), nullptr, kFrames, 120.0F);

  for (int i = 0; i < kFrames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const float x = 1.0F + 0.02F * static_cast<float>(i);
    const float g = 0.35F + 0.01F * static_cast<float>(i);
    const float v = 0.7F - 0.001F * static_cast<float>(i);
    ASSERT_NEAR(matrix.destinationBuffer(amp.volume.address)[i], v, kRounding);
    ASSERT_NEAR(in[at], x * g, kRounding);  // the volume is not left in the input
    ASSERT_NEAR(out[at], x * g * v, kRounding);
  }
}

TEST_F(ZRVAAmpTest, PansTheFirstInputWithEqualPowerOntoTheOutputs) {
  amp.setModMatrix(&matrix);
  for (const float pan : {-1.0F, -0.5F, 0.0F, 0.3F, 1.0F}) {
    SCOPED_TRACE(pan);
    amp.pan = pan;
    fill(amp.volume, 0.0F, 0.0F);
    Signal in1 = ramp(1.0F, 0.0F);
    Signal in2 = ramp(100.0F, 0.0F);
    Signal left(kFrames, 2.0F);
    Signal right(kFrames, 3.0F);

    amp.runAmp(in1.data(), in2.data(), left.data(), right.data(), kFrames, 120.0F);

    const double theta = std::numbers::pi / 4 * (static_cast<double>(pan) + 1);
    EXPECT_NEAR(left[5], 2.0F + static_cast<float>(std::cos(theta)), kRounding);
    EXPECT_NEAR(right[5], 3.0F + static_cast<float>(std::sin(theta)), kRounding);
  }
}

// The gains are kept from block to block; a fresh amplifier once took those of the far left for a position
// beyond it.
TEST_F(ZRVAAmpTest, APanModulatedBeyondTheFarLeftOrRightTurnsOn) {
  for (const float direction : {-1.0F, 1.0F}) {
    int addresses = 0;
    ZRVAAmp fresh(44100.0F, &addresses);
    fresh.setModMatrix(&matrix);
    fresh.pan = direction;
    fill(fresh.pan, direction, 0.0F);
    fill(fresh.volume, 0.0F, 0.0F);
    Signal in = ramp(1.0F, 0.0F);
    Signal left = ramp(0.0F, 0.0F);
    Signal right = ramp(0.0F, 0.0F);

    fresh.runAmp(in.data(), nullptr, left.data(), right.data(), kFrames, 120.0F);

    const double theta = std::numbers::pi / 4 * (2 * static_cast<double>(direction) + 1);
    EXPECT_NEAR(left[5], static_cast<float>(std::cos(theta)), kRounding) << direction;
    EXPECT_NEAR(right[5], static_cast<float>(std::sin(theta)), kRounding) << direction;
  }
}

TEST_F(ZRVAAmpTest, APanAtTheFarLeftIsThereFromTheFirstBlock) {
  amp.setModMatrix(&matrix);
  amp.pan = -1.0F;
  fill(amp.volume, 0.0F, 0.0F);
  Signal in = ramp(1.0F, 0.0F);
  Signal left = ramp(0.0F, 0.0F);
  Signal right = ramp(0.0F, 0.0F);

  amp.runAmp(in.data(), in.data(), left.data(), right.data(), kFrames, 120.0F);

  EXPECT_EQ(left[0], 1.0F);
  EXPECT_EQ(right[0], 0.0F);
}

TEST_F(ZRVAAmpTest, TheVolumeLeftInItsDestinationIsClearedByARowAndPilesUpWithoutOne) {
  ZRDSPParameter depth;
  depth.maxValue = 1;
  for (const bool hasRow : {false, true}) {
    if (hasRow) {
      std::fill_n(matrix.destinationBuffer(amp.volume.address), kFrames, 0.0F);
      matrix.addRow("off", 2, amp.volume.address, &depth, 1.0F, 0, false);
    }
    amp.setModMatrix(&matrix);
    float last = 0;
    for (int block = 1; block <= 3; ++block) {
      Signal in = ramp(1.0F, 0.0F);
      Signal out = ramp(0.0F, 0.0F);
      matrix.runMatrix(kFrames);
      amp.runAmp(in.data(), nullptr, out.data(), nullptr, kFrames, 120.0F);
      last = out[0];
    }
    EXPECT_EQ(last, hasRow ? 1.0F : 3.0F);
  }
}

// Gains that hold still are worked out once; the same values that nobody knows to be still take the long way.
TEST_F(ZRVAAmpTest, GainsThatAreKnownToHoldStillGiveTheSameBits) {
  amp.setModMatrix(&matrix);
  amp.max = 0.7F;
  amp.volume = 30.0F;
  Signal known = ramp(1.0F, 0.03F);
  Signal unknown = known;
  Signal knownOut(kFrames), unknownOut(kFrames);
  matrix.holdDestination(amp.max.address, 0.11F, kFrames);
  matrix.holdDestination(amp.volume.address, 0.13F, kFrames);

  amp.runAmp(known.data(), nullptr, knownOut.data(), nullptr, kFrames, 120.0F);
  float held = 0;
  EXPECT_TRUE(matrix.isHeld(amp.volume.address, kFrames, held));
  EXPECT_EQ(held, 0.13F + 0.3F);
  EXPECT_EQ(matrix.readDestination(amp.volume.address)[kFrames - 1], held);
  fill(amp.max, 0.11F, 0.0F);
  fill(amp.volume, 0.13F, 0.0F);
  amp.runAmp(unknown.data(), nullptr, unknownOut.data(), nullptr, kFrames, 120.0F);

  EXPECT_EQ(known, unknown);
  EXPECT_EQ(knownOut, unknownOut);
  EXPECT_FALSE(matrix.isHeld(amp.volume.address, kFrames, held));
}

TEST_F(ZRVAAmpTest, TheFirstSampleOfThePanModulationCounts) {
  amp.setModMatrix(&matrix);
  amp.pan = 0.25F;
  fill(amp.pan, -0.5F, 0.1F);
  Signal in = ramp(1.0F, 0.0F);
  Signal left(kFrames, 0.0F);
  Signal right(kFrames, 0.0F);

  amp.runAmp(in.data(), nullptr, left.data(), right.data(), kFrames, 120.0F);

  const double theta = std::numbers::pi / 4 * 0.75;
  for (std::size_t i = 0; i < kFrames; ++i) {
    ASSERT_NEAR(left[i], static_cast<float>(std::cos(theta)), kRounding);
    ASSERT_NEAR(right[i], static_cast<float>(std::sin(theta)), kRounding);
  }
}

TEST_F(ZRVAAmpTest, OneBufferAsBothInputsTakesEveryGainTwice) {
  amp.setModMatrix(&matrix);
  amp.max = 0.5F;
  amp.pan = -1.0F;
  fill(amp.max, 0.1F, 0.0F);
  fill(amp.volume, -0.2F, 0.0F);
  Signal in = ramp(2.0F, 0.0F);
  Signal left(kFrames, 0.0F);
  Signal right(kFrames, 0.0F);

  amp.runAmp(in.data(), in.data(), left.data(), right.data(), kFrames, 120.0F);

  const float want = 2.0F * 0.6F * 0.6F * 0.8F * 0.8F;
  EXPECT_NEAR(in[10], want, kRounding);
  EXPECT_NEAR(left[10], want, kRounding);
  EXPECT_NEAR(right[10], 0.0F, kRounding);
}

TEST_F(ZRVAAmpTest, BypassedPanAddsEachInputToItsOwnOutput) {
  amp.setModMatrix(&matrix);
  amp.bypassPan = true;
  amp.pan = 1.0F;
  amp.max = 0.5F;
  amp.volume = 50.0F;
  Signal in1 = ramp(1.0F, 0.0F);
  Signal in2 = ramp(-3.0F, 0.0F);
  Signal left(kFrames, 0.5F);
  Signal right(kFrames, 0.25F);

  amp.runAmp(in1.data(), in2.data(), left.data(), right.data(), kFrames, 120.0F);

  EXPECT_NEAR(left[7], 0.5F + 0.25F, kRounding);
  EXPECT_NEAR(right[7], 0.25F - 0.75F, kRounding);
}

TEST_F(ZRVAAmpTest, StereoVolumeGivesTheSecondInputTheOtherDestinationAlone) {
  amp.setModMatrix(&matrix);
  amp.bypassPan = true;
  amp.stereoVolume = true;
  fill(amp.volume, -0.5F, 0.0F);
  fill(amp.volumeR, 0.125F, 0.0F);
  Signal in1 = ramp(1.0F, 0.0F);
  Signal in2 = ramp(1.0F, 0.0F);
  Signal left(kFrames, 0.0F);
  Signal right(kFrames, 0.0F);

  amp.runAmp(in1.data(), in2.data(), left.data(), right.data(), kFrames, 120.0F);

  EXPECT_NEAR(left[0], 0.5F, kRounding);
  EXPECT_NEAR(right[0], 0.125F, kRounding);
  EXPECT_EQ(matrix.destinationBuffer(amp.volumeR.address)[0], 0.125F);
}

TEST_F(ZRVAAmpTest, TheShortestFormRunsFromItsInputsDestinationToItsSource) {
  amp.setModMatrix(&matrix);
  amp.max = 0.5F;
  amp.volume = 25.0F;
  fill(amp.input, 1.0F, 0.5F);
  float* source = matrix.sourceBuffer(amp.outputSource);
  std::fill_n(source, kFrames, 7.0F);

  amp.runAmp(kFrames, 120.0F);

  for (int i = 0; i < kFrames; ++i) {
    ASSERT_NEAR(source[i], (1.0F + 0.5F * static_cast<float>(i)) * 0.125F, kRounding);
  }
}

TEST_F(ZRVAAmpTest, TheFormWithOutputsRunsFromBothInputsDestinations) {
  amp.setModMatrix(&matrix);
  amp.bypassPan = true;
  fill(amp.input, 0.5F, 0.0F);
  fill(amp.input2, -0.25F, 0.0F);
  Signal left(kFrames, 1.0F);
  Signal right(kFrames, 1.0F);

  amp.runAmp(left.data(), right.data(), kFrames, 120.0F);

  EXPECT_NEAR(left[0], 1.5F, kRounding);
  EXPECT_NEAR(right[0], 0.75F, kRounding);
}

TEST_F(ZRVAAmpTest, WithoutAMatrixTheSettingsAloneCount) {
  amp.max = 0.5F;
  amp.volume = 50.0F;
  amp.pan = 1.0F;
  amp.stereoVolume = true;
  Signal in1 = ramp(1.0F, 0.0F);
  Signal in2 = ramp(1.0F, 0.0F);
  Signal left(kFrames, 0.0F);
  Signal right(kFrames, 0.0F);

  amp.runAmp(in1.data(), in2.data(), left.data(), right.data(), kFrames, 120.0F);
  amp.runAmp(in1.data(), in2.data(), left.data(), right.data(), kFrames, 120.0F);

  EXPECT_NEAR(right[0], 0.25F + 0.0625F, kRounding);  // the volume does not pile up from block to block
  EXPECT_NEAR(left[0], 0.0F, kRounding);
  EXPECT_NEAR(in2[0], 0.0625F, kRounding);
  amp.runAmp(kFrames, 120.0F);
  amp.runAmp(left.data(), right.data(), kFrames, 120.0F);
  EXPECT_NEAR(right[0], 0.3125F, kRounding);
}

TEST_F(ZRVAAmpTest, BlocksOfAnyLengthGiveTheSameOutput) {
  amp.max = 0.7F;
  amp.pan = -0.2F;
  const auto play = [&](int size) {
    Signal in(4096);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = std::sin(0.01F * static_cast<float>(i));
    Signal left(4096, 0.0F);
    Signal right(4096, 0.0F);
    for (int at = 0; at < 4096; at += size) {
      const int frames = std::min(size, 4096 - at);
      amp.runAmp(in.data() + at, in.data() + at, left.data() + at, right.data() + at, frames, 120.0F);
    }
    left.insert(left.end(), right.begin(), right.end());
    return left;
  };

  const Signal want = play(4096);

  for (const int size : {1, 7, 64}) EXPECT_EQ(play(size), want) << size;
}

}  // namespace
}  // namespace morv
