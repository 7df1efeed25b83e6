// How a turbo voice is wired when it is new: sources, default rows, settings of its modules, sharing.

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

struct Row {
  int source;
  const ZRDSPParameter* destination;
  const ZRDSPParameter* depth;
  float amount;
  int transform;
};

std::vector<Row> expectedRows(const ZRTurboVoice& voice) {
  return {
      {11, &voice.outputAmp->input, nullptr, 0.75F, 0},
      {13, &voice.lfoAmp->input, nullptr, 1, 2},
      {17, &voice.lfoAmp->volume, nullptr, 1, 0},
      {1, &voice.waveOscillator->oscFreq, nullptr, 1, 0},
      {4, &voice.waveOscillator->oscFreq, nullptr, 1, 0},
      {8, &voice.ampEnvelope->envGate, nullptr, 1, 0},
      {8, &voice.modEnvelope->envGate, nullptr, 1, 0},
      {8, &voice.fadeEnvelope->envGate, nullptr, 1, 0},
      {3, &voice.filter->filterCutoff, &voice.modwheelFilterFreqAmount, 1, 7},
      {3, &voice.filter->filterMode, &voice.modwheelFilterModeAmount, 1, 7},
      {3, &voice.lfo->oscFreq, &voice.modwheelLFOFreqAmount, 10, 7},
      {3, &voice.lfoAmp->volume, &voice.modwheelLFOAmount, 1, 7},
      {3, &voice.outputAmp->max, &voice.modwheelAmpModAmount, 1, 7},
      {19, &voice.waveOscillator->oscCents, &voice.oscLFOModAmount, 100, 0},
      {19, &voice.waveOscillator->oscWave, &voice.oscWaveLFOModAmount, 1, 0},
      {19, &voice.waveOscillator->oscPulsewidth, &voice.oscPulsewidthLFOModAmount, 0.5F, 0},
      {16, &voice.waveOscillator->oscPulsewidth, &voice.oscEnvModAmount, 0.5F, 0},
      {19, &voice.filter->filterCutoff, &voice.filterLFOModAmount, 1, 0},
      {19, &voice.filter->filterMode, &voice.filterModeModAmount, 1, 0},
      {19, &voice.filter->filterResonance, &voice.filterQLFOAmount, 1, 0},
      {16, &voice.filter->filterCutoff, &voice.filterEnvModAmount, 1, 4},
      {16, &voice.filter->filterMode, &voice.filterModeEnvModAmount, 1, 0},
      {1, &voice.filter->filterCutoff, &voice.filterKeyTrackAmount, 0.0001F, 0},
      {15, &voice.outputAmp->volume, nullptr, 1, 3},
      {5, &voice.waveOscillator->oscWave, &voice.oscShapePressModAmount, 1, 5},
      {5, &voice.waveOscillator->oscPulsewidth, &voice.oscPWPressModAmount, 1, 5},
      {5, &voice.oscNoiseLevel, &voice.oscNoisePressModAmount, 1, 5},
      {5, &voice.oscSubLevel, &voice.oscSubPressModAmount, 1, 5},
      {6, &voice.waveOscillator->oscWave, &voice.oscShapeSlideModAmount, 1, 5},
      {6, &voice.waveOscillator->oscPulsewidth, &voice.oscPWSlideModAmount, 1, 5},
      {6, &voice.oscNoiseLevel, &voice.oscNoiseSlideModAmount, 1, 5},
      {6, &voice.oscSubLevel, &voice.oscSubSlideModAmount, 1, 5},
      {5, &voice.filter->filterCutoff, &voice.filterFreqPressModAmount, 1, 7},
      {5, &voice.filter->filterMode, &voice.filterModePressModAmount, 1, 5},
      {6, &voice.filter->filterCutoff, &voice.filterFreqSlideModAmount, 1, 7},
      {6, &voice.filter->filterMode, &voice.filterModeSlideModAmount, 1, 5},
      {5, &voice.outputAmp->max, &voice.ampPressModAmount, 1, 5},
      {6, &voice.outputAmp->max, &voice.ampSlideModAmount, 1, 5},
      {5, &voice.lfo->oscFreq, &voice.lfoFreqPressModAmount, 10, 5},
      {6, &voice.lfo->oscFreq, &voice.lfoFreqSlideModAmount, 10, 5},
      {5, &voice.lfoAmp->volume, &voice.lfoAmountPressModAmount, 1, 5},
      {6, &voice.lfoAmp->volume, &voice.lfoAmountSlideModAmount, 1, 5},
      {6, &voice.outputDistortion, &voice.outputDistortionSlideModAmount, 1, 5},
      {5, &voice.outputDistortion, &voice.outputDistortionPressModAmount, 1, 5},
  };
}

void expectRow(const modMatrixRow& row, const Row& expected) {
  EXPECT_EQ(row.source, expected.source);
  EXPECT_EQ(row.destinationIndex, expected.destination->address);
  EXPECT_EQ(row.depth, expected.depth);
  EXPECT_EQ(row.amount, expected.amount);
  EXPECT_EQ(static_cast<int>(row.transform.load()), expected.transform);
  EXPECT_TRUE(row.active);
  EXPECT_FALSE(row.isGlobal);
  EXPECT_EQ(row.modSource, 0);
  EXPECT_EQ(row.identifier, "");
}

class TurboVoiceRowsTest : public ::testing::Test {
 protected:
  std::unique_ptr<ZRTurboVoice> voice = testing::makeTurboVoice();
};

TEST_F(TurboVoiceRowsTest, EveryDefaultRowStandsInItsPlace) {
  const std::vector<Row> rows = expectedRows(*voice);
  ASSERT_EQ(rows.size(), 44U);
  EXPECT_EQ(voice->modMatrix->rowCount, 44);
  EXPECT_EQ(voice->modMatrix->getMatrixCore()->usedRows, 44);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i + 1);
    expectRow(*voice->modMatrix->getRowAtIndex(static_cast<int>(i)), rows[i]);
  }
}

TEST_F(TurboVoiceRowsTest, ModulesRegisterTheirSourcesInOrder) {
  EXPECT_EQ(voice->waveOscillator->outputSourceLeft, 11);
  EXPECT_EQ(voice->waveOscillator->outputSourceRight, 12);
  EXPECT_EQ(voice->lfo->outputSourceLeft, 13);
  EXPECT_EQ(voice->lfo->outputSourceRight, 14);
  EXPECT_EQ(voice->ampEnvelope->modSourceIndex, 15);
  EXPECT_EQ(voice->modEnvelope->modSourceIndex, 16);
  EXPECT_EQ(voice->fadeEnvelope->modSourceIndex, 17);
  EXPECT_EQ(voice->outputAmp->outputSource, 18);
  EXPECT_EQ(voice->lfoAmp->outputSource, 19);
  EXPECT_EQ(voice->modMatrix->registeredSourceCount, 9);
}

TEST_F(TurboVoiceRowsTest, OnlyTheEnvelopesAreOfferedToTheUserBesideTheBuiltInSources) {
  std::set<int> offered;
  for (const modMatrixSource* source : voice->modMatrix->getPublicSources()) offered.insert(source->index);

  EXPECT_EQ(offered, (std::set{0, 1, 2, 3, 4, 5, 6, 7, 15, 16, 17}));
}

TEST_F(TurboVoiceRowsTest, TheRowsThatBlocksAdjustAreTheThirdFourteenthSecondAndFourth) {
  const ZRDSPModMatrix& matrix = *voice->modMatrix;

  EXPECT_EQ(voice->rowFadeToLfo, matrix.getRowAtIndex(2));
  EXPECT_EQ(voice->rowLfoToPitch, matrix.getRowAtIndex(13));
  EXPECT_EQ(voice->rowLfoToAmp, matrix.getRowAtIndex(1));
  EXPECT_EQ(voice->rowNoteToPitch, matrix.getRowAtIndex(3));
}

TEST_F(TurboVoiceRowsTest, ModulesAreMadeAndSetForTheirRoles) {
  EXPECT_EQ(voice->driveTone->biquadType, ZRBiquadType::peaking);
  EXPECT_EQ(voice->driveTone->filterCutoff.value, 1000.0F);
  EXPECT_EQ(voice->driveTone->sections, 1);
  EXPECT_EQ(voice->driveTone->channels, 2);
  EXPECT_EQ(voice->waveOscillator->oscillatorMode, ZROscillatorMode::voice);
  EXPECT_EQ(voice->lfo->pulseMode, 0);
  EXPECT_TRUE(voice->lfo->lfoMode);
  EXPECT_EQ(voice->lfo->level.value, 1.0F);
  EXPECT_EQ(voice->outputAmp->volume.value, 0.0F);
  EXPECT_EQ(voice->outputAmp->volume.normalizedValueCache, 0.0F);
  EXPECT_EQ(voice->lfoAmp->volume.value, 100.0F);
  EXPECT_EQ(voice->smoothedPan, 0.0F);
  EXPECT_EQ(voice->noteFrequency, 88.0F);
  EXPECT_EQ(voice->gate, 0);
  ZRDSPModMatrix* matrix = voice->modMatrix.get();
  EXPECT_EQ(voice->filter->modMatrix, matrix);
  EXPECT_EQ(voice->driveTone->modMatrix, nullptr);
  EXPECT_EQ(voice->outputAmp->modMatrix, matrix);
}

TEST_F(TurboVoiceRowsTest, ASecondVoiceTakesTheRowsOverWithTheDepthsOfTheFirst) {
  const ZRTurboVoice second(44100.0F, 64, 0);

  EXPECT_EQ(second.modMatrix->rowCount, 44);
  EXPECT_EQ(second.modMatrix->getMatrixCore()->usedRows, 44);
  EXPECT_EQ(second.rowLfoToPitch, voice->rowLfoToPitch);
  EXPECT_EQ(second.modMatrix->getRowAtIndex(20)->depth, &voice->filterEnvModAmount);
  EXPECT_NE(second.modMatrix->sourceBuffer(11), voice->modMatrix->sourceBuffer(11));
}

// Depths of the first voice move the filter of the second one; its own do not.
TEST_F(TurboVoiceRowsTest, OnlyTheFirstVoicesDepthsCount) {
  ZRTurboVoice second(44100.0F, 64, 0);
  const auto keytrackOf = [&] {
    second.setGateWithNote(1, 69, 100);
    testing::runVoice(second, 64);
    return second.modMatrix->destinationBuffer(second.filter->filterCutoff.address)[63];
  };

  second.filterKeyTrackAmount = 1.0F;
  EXPECT_EQ(keytrackOf(), 0.0F);
  voice->filterKeyTrackAmount = 0.5F;
  EXPECT_NEAR(keytrackOf(), 0.022F, 1e-7F);
}

TEST_F(TurboVoiceRowsTest, WithDepthsAtTheirDefaultsOnlyTheRowsWithoutADepthAct) {
  voice->setMIDICC(1, 127);
  voice->setMIDICC(74, 127);
  voice->setPressure(127);
  voice->setGateWithNote(1, 69, 100);
  testing::runVoice(*voice, 4096);

  std::set<int> fed;
  for (int i : {0, 1, 2, 3, 4, 5, 6, 7, 23}) fed.insert(voice->modMatrix->getRowAtIndex(i)->destinationIndex);
  for (int i = 0; i < 44; ++i) {
    const int address = voice->modMatrix->getRowAtIndex(i)->destinationIndex;
    if (fed.count(address) != 0) continue;
    const float* destination = voice->modMatrix->destinationBuffer(address);
    for (int n = 0; n < 64; ++n) ASSERT_EQ(destination[n], 0.0F) << "row " << i + 1;
  }
}

}  // namespace
}  // namespace morv
