#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/ZRDSPOscillator.h"

namespace morv {
namespace {

using Unit = ZRDSPParameterUnit;

std::vector<ZRDSPParameter*> recordsOf(ZRDSPOscillator& o) {
  return {&o.oscFreq,       &o.oscOctave, &o.oscSemitones, &o.oscCents,          &o.oscWave,
          &o.oscPulsewidth, &o.level,     &o.sync,         &o.oscPhaseModulation};
}

TEST(ZRDSPOscillator, HasItsNineParametersInOrder) {
  struct Row {
    const char* identifier;
    const char* name;
    float low, high, initial;
    Unit unit;
    std::vector<std::string> strings;
    ZRDSPParameterFlags flags;
  };
  const std::vector<Row> rows = {
      {"oscFreq", "OSC Frequency", 25, 10000, 110, Unit::hertz, {}, 0x50000U},
      {"oscOctave", "OSC Octave", -3, 3, 0, Unit::octaves, {}, 0xC2000000U},
      {"oscSemitones", "OSC Semitones", -12, 12, 0, Unit::relativeSemitones, {}, 0xC2000000U},
      {"oscCents", "OSC Cents", -100, 100, 0, Unit::cents, {}, 0xC2000000U},
      {"oscWave", "OSC Wave", 0, 4, 0, Unit::indexed, {"Sin", "Saw", "Squ", "Tri", "Noise"}, 0xC2000000U},
      {"oscPulsewidth", "OSC Pulsewidth", 0, 1, 0.5F, Unit::generic, {}, 0xC2000000U},
      {"level", "Level", 0, 1, 0.5F, Unit::generic, {}, 0xC2000000U},
      {"sync", "Sync", 0, 1, 0, Unit::generic, {}, 0xC2000000U},
      {"oscPhaseModulation", "OSC PM", 0, 1, 0, Unit::generic, {}, 0xC2000000U},
  };
  int counter = 17;

  ZRDSPOscillator oscillator(44100.0F, &counter);

  EXPECT_EQ(counter, 26);
  EXPECT_EQ(oscillator.numberOfParameters(), 9);
  EXPECT_TRUE(oscillator.isModSource);
  EXPECT_EQ(oscillator.modMatrix, nullptr);
  EXPECT_EQ(oscillator.sampleRate, 44100.0F);
  const auto records = recordsOf(oscillator);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].identifier);
    const ZRDSPParameter& p = *records[i];
    EXPECT_EQ(p.identifier, rows[i].identifier);
    EXPECT_EQ(p.name, rows[i].name);
    EXPECT_EQ(p.address, 17 + static_cast<int>(i));
    EXPECT_EQ(p.minValue, rows[i].low);
    EXPECT_EQ(p.maxValue, rows[i].high);
    EXPECT_EQ(p.value, rows[i].initial);
    EXPECT_EQ(p.unit, rows[i].unit);
    EXPECT_EQ(p.valueStrings, rows[i].strings);
    EXPECT_EQ(p.flags, rows[i].flags);
    EXPECT_EQ(oscillator.parameterForAddress(p.address), records[i]);
  }
}

class ZRDSPOscillatorInAMatrix : public ::testing::Test {
 protected:
  ZRDSPOscillatorInAMatrix() { matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore()); }
  ZRDSPModMatrix matrix{64};
  int counter = 0;
};

TEST_F(ZRDSPOscillatorInAMatrix, RegistersTwoSourcesThatTheUserIsNotOffered) {
  ZRDSPOscillator oscillator(44100.0F, &counter);
  const int offered = matrix.getNumPublicSources();

  oscillator.setModMatrix(&matrix, false);

  EXPECT_EQ(oscillator.modMatrix, &matrix);
  EXPECT_EQ(oscillator.outputSourceLeft, 11);
  EXPECT_EQ(oscillator.outputSourceRight, 12);
  EXPECT_EQ(oscillator.modSourceIndex, 11);
  EXPECT_EQ(oscillator.numModOutputs, 1);
  EXPECT_EQ(matrix.getNumPublicSources(), offered);
  EXPECT_FALSE(oscillator.isPublicModSource);
}

TEST_F(ZRDSPOscillatorInAMatrix, RegistersPublicSourcesUnderTheEntitysName) {
  ZRDSPOscillator oscillator(44100.0F, &counter);
  oscillator.name = "Wave";
  const int offered = matrix.getNumPublicSources();

  oscillator.setModMatrix(&matrix, false, true);

  EXPECT_EQ(matrix.getNumPublicSources(), offered + 2);
  EXPECT_EQ(matrix.getNameForSource(11), "Wave");
  EXPECT_EQ(matrix.getNameForSource(12), "Wave");
}

TEST_F(ZRDSPOscillatorInAMatrix, AGlobalOscillatorsSourcesBearNegativeIndices) {
  ZRDSPOscillator oscillator(44100.0F, &counter);

  oscillator.setModMatrix(&matrix, true);

  EXPECT_EQ(oscillator.outputSourceLeft, -11);
  EXPECT_EQ(oscillator.outputSourceRight, -12);
  EXPECT_NE(matrix.sourceBuffer(-11), nullptr);
}

class RecordingOscillator : public ZRDSPOscillator {
 public:
  using ZRDSPOscillator::runGenerator;
  using ZRDSPOscillator::ZRDSPOscillator;
  void runGenerator(float* left, float* right, int frames, float tempo) noexcept override {
    lastLeft = left;
    lastRight = right;
    lastFrames = frames;
    lastTempo = tempo;
  }
  float* lastLeft = nullptr;
  float* lastRight = nullptr;
  int lastFrames = 0;
  float lastTempo = 0;
};

TEST_F(ZRDSPOscillatorInAMatrix, RunsIntoItsTwoSourceBuffers) {
  RecordingOscillator oscillator(44100.0F, &counter);
  oscillator.setModMatrix(&matrix, false);

  oscillator.runGenerator(48, 97.0F);

  EXPECT_EQ(oscillator.lastLeft, matrix.sourceBuffer(oscillator.outputSourceLeft));
  EXPECT_EQ(oscillator.lastRight, matrix.sourceBuffer(oscillator.outputSourceRight));
  EXPECT_EQ(oscillator.lastFrames, 48);
  EXPECT_EQ(oscillator.lastTempo, 97.0F);
}

TEST_F(ZRDSPOscillatorInAMatrix, WithoutAMatrixHasNoBuffersToRunInto) {
  RecordingOscillator oscillator(44100.0F, &counter);

  oscillator.runGenerator(48, 97.0F);

  EXPECT_EQ(oscillator.lastFrames, 0);
}

TEST_F(ZRDSPOscillatorInAMatrix, TheBaseLeavesBothBuffersAsTheyAre) {
  ZRDSPOscillator oscillator(44100.0F, &counter);
  std::array<float, 8> left{};
  std::array<float, 8> right{};
  left.fill(0.25F);
  right.fill(-0.5F);

  oscillator.runGenerator(left.data(), right.data(), 8, 120.0F);

  EXPECT_TRUE(std::ranges::all_of(left, [](float x) { return x == 0.25F; }));
  EXPECT_TRUE(std::ranges::all_of(right, [](float x) { return x == -0.5F; }));
}

}  // namespace
}  // namespace morv
