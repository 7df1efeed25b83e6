// Rows that a voice adds by name: single routings, and those from sources that stand above all voices.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::PlainVoice;

class ZRDSPVoiceRoutingTest : public ::testing::Test {
 protected:
  const modMatrixRow& row(int i) { return *voice.modMatrix->getRowAtIndex(i); }

  testing::FreshRows rows;
  PlainVoice voice;
};

void expectDepth(const ZRDSPParameter& p, const std::string& identifier, const std::string& name,
                 int address) {
  EXPECT_EQ(p.identifier, identifier);
  EXPECT_EQ(p.name, name);
  EXPECT_EQ(p.address, address);
  EXPECT_EQ(p.minValue, -1.0F);
  EXPECT_EQ(p.maxValue, 1.0F);
  EXPECT_EQ(p.value, 0.0F);
  EXPECT_EQ(p.unit, ZRDSPParameterUnit::generic);
  EXPECT_TRUE(p.valueStrings.empty());
}

TEST_F(ZRDSPVoiceRoutingTest, ARoutingMakesARowWithARegisteredDepth) {
  voice.makeModRouting("Source One", 12, "ignored", "The Goal", 77, "ignored too", 300, 5, 4);

  const modMatrixRow& r = row(0);
  EXPECT_EQ(voice.modMatrix->rowCount, 1);
  EXPECT_EQ(r.source, 12);
  EXPECT_EQ(r.destinationIndex, 77);
  EXPECT_EQ(r.amount, 5.0F);
  EXPECT_EQ(r.transform, ZRDSPModMatrixTransform::fourthPower);
  EXPECT_EQ(r.identifier, "");
  EXPECT_EQ(r.destination.name, "");
  EXPECT_FALSE(r.isGlobal);
  ASSERT_NE(r.depth, nullptr);
  expectDepth(*r.depth, "12 > 77", "Source One > The Goal", 300);
  EXPECT_EQ(r.depth->flags, kDefaultParameterFlags);
  EXPECT_EQ(voice.parameterForAddress(300), r.depth);
  EXPECT_EQ(voice.numberOfParameters(), 2);
}

TEST_F(ZRDSPVoiceRoutingTest, ANamedRoutingHasFlagsNamesAndAPass) {
  voice.makeModRouting("Source One", -12, "", "The Goal", 77, "", 0x50000U, 301, -3, 2, true);

  const modMatrixRow& r = row(0);
  ASSERT_NE(r.depth, nullptr);
  expectDepth(*r.depth, "-12 > 77", "Source One > The Goal", 301);
  EXPECT_EQ(r.depth->flags, 0x50000U);
  EXPECT_EQ(voice.parameterForAddress(301), r.depth);
  EXPECT_EQ(r.identifier, "-12 > 77");
  EXPECT_EQ(r.source, -12);
  EXPECT_EQ(r.destinationIndex, 77);
  EXPECT_EQ(r.destination.name, "The Goal");
  EXPECT_EQ(r.destination.index, 77);
  EXPECT_EQ(r.amount, -3.0F);
  EXPECT_EQ(r.transform, ZRDSPModMatrixTransform::toUnipolar);
  EXPECT_TRUE(r.isGlobal);
  EXPECT_EQ(voice.modMatrix->getRowWithIdentifier("-12 > 77"), &r);
}

struct Destination : ZRDSPEntity {
  Destination() : ZRDSPEntity(44100.0F) {
    initParameter("level", "Level", 20, 0, 2.75F, {}, ZRDSPParameterUnit::generic, 0, &level);
    initParameter("filterCutoff", "Cutoff", 21, 20, 20000, {}, ZRDSPParameterUnit::hertz, 100, &cutoff);
    cutoff.flags = kExponentialDisplayFlags;
  }
  ZRDSPParameter level, cutoff;
};

struct Source : ZRDSPEntity {
  Source(const std::string& sourceName, int number, std::vector<int> outputs, bool isBipolar)
      : ZRDSPEntity(44100.0F) {
    name = sourceName;
    modSourceIndex = number;
    numModOutputs = static_cast<int>(outputs.size());
    modOutputSources = std::move(outputs);
    isBipolarModSource = isBipolar;
  }
};

struct ExpectedRow {
  const char* name;
  const char* identifier;
  int source, destination;
  float amount;
  int transform;
};

TEST_F(ZRDSPVoiceRoutingTest, GlobalSourcesAreRoutedToEveryDestinationFromAddress512) {
  Destination destination;
  voice.modDestinations = {&destination.level, &destination.cutoff};
  Source plain("Wheel", -11, {-11}, false);
  Source pair("Pair", -12, {-12, -13}, false);
  Source swinging("Swing", -14, {-14, -15}, true);

  voice.addModRoutingsForGlobalSources({&plain, &pair, &swinging});

  const std::vector<ExpectedRow> expected = {
      {"Wheel > Level", "-11 > 20", -11, 20, 2, 0},    {"Wheel > Cutoff", "-11 > 21", -11, 21, 1, 0},
      {"Pair0 > Level", "-12 > 20", -12, 20, 2, 0},    {"Pair0 > Cutoff", "-12 > 21", -12, 21, 1, 0},
      {"Pair1 > Level", "-13 > 20", -13, 20, 2, 0},    {"Pair1 > Cutoff", "-13 > 21", -13, 21, 1, 0},
      {"Pair > Level", "-12 > 20", -12, 20, 2, 0},     {"Pair > Cutoff", "-12 > 21", -12, 21, 1, 0},
      {"Swing A > Level", "-14 > 20", -14, 20, 2, 0},  {"Swing0 > Level", "-14 > 20", -14, 20, 2, 0},
      {"Swing A > Cutoff", "-14 > 21", -14, 21, 1, 0}, {"Swing0 > Cutoff", "-14 > 21", -14, 21, 1, 0},
      {"Swing B > Level", "-15 > 20", -15, 20, 2, 0},  {"Swing1 > Level", "-15 > 20", -15, 20, 2, 0},
      {"Swing B > Cutoff", "-15 > 21", -15, 21, 1, 0}, {"Swing1 > Cutoff", "-15 > 21", -15, 21, 1, 0},
      {"Swing > Level", "-14 > 20", -14, 20, 2, 2},    {"Swing > Cutoff", "-14 > 21", -14, 21, 1, 2},
  };
  ASSERT_EQ(voice.modMatrix->rowCount, static_cast<int>(expected.size()));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const ExpectedRow& e = expected[i];
    SCOPED_TRACE(e.name);
    const modMatrixRow& r = row(static_cast<int>(i));
    expectDepth(*r.depth, e.identifier, e.name, 512 + static_cast<int>(i));
    EXPECT_EQ(r.depth->flags, e.destination == 21 ? kExponentialDisplayFlags : kDefaultParameterFlags);
    EXPECT_EQ(r.identifier, e.identifier);
    EXPECT_EQ(r.source, e.source);
    EXPECT_EQ(r.destinationIndex, e.destination);
    EXPECT_EQ(r.amount, e.amount);
    EXPECT_EQ(static_cast<int>(r.transform.load()), e.transform);
    EXPECT_TRUE(r.isGlobal);
  }
}

TEST_F(ZRDSPVoiceRoutingTest, SixOutputsHaveTheLettersAToF) {
  Destination destination;
  voice.modDestinations = {&destination.level};
  Source six("S", -11, {-11, -12, -13, -14, -15, -16}, true);

  voice.addModRoutingsForGlobalSources({&six});

  ASSERT_EQ(voice.modMatrix->rowCount, 13);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(row(2 * i).depth->name,
              std::string("S ").append(1, static_cast<char>('A' + i)).append(" > Level"));
    EXPECT_EQ(row(2 * i + 1).depth->name, std::string("S").append(std::to_string(i)).append(" > Level"));
  }
}

TEST_F(ZRDSPVoiceRoutingTest, WithoutDestinationsThereAreNoRoutings) {
  Source source("Pair", -12, {-12, -13}, true);

  voice.addModRoutingsForGlobalSources({&source});

  EXPECT_EQ(voice.modMatrix->rowCount, 0);
  EXPECT_EQ(voice.numberOfParameters(), 1);
}

}  // namespace
}  // namespace morv
