#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/AUAudioUnit.h"

namespace morv {
namespace {

class PlainUnit : public AUAudioUnit {
 public:
  AUInternalRenderBlock internalRenderBlock() override { return {nullptr, this}; }
  const AUAudioUnitBusArray* outputBusses() const override { return &busses_; }
  AUParameterTree* parameterTree() const override { return nullptr; }

  AUAudioUnitBus bus{AVAudioFormat{44100.0, 2}};

 private:
  AUAudioUnitBusArray busses_{AUAudioUnitBusType::output, {&bus}};
};

TEST(AUAudioUnit, AllocatesForBlocksOfOneTo4096Frames) {
  PlainUnit unit;

  for (const std::uint32_t frames : {1U, 64U, 4096U}) {
    unit.setMaximumFramesToRender(frames);
    EXPECT_TRUE(unit.allocateRenderResources(nullptr)) << frames;
  }
}

TEST(AUAudioUnit, RefusesOtherBlocksWithAReason) {
  PlainUnit unit;

  for (const std::uint32_t frames : {0U, 4097U}) {
    std::string error;
    unit.setMaximumFramesToRender(frames);
    EXPECT_FALSE(unit.allocateRenderResources(&error));
    EXPECT_THAT(error, testing::HasSubstr(std::to_string(frames)));
    EXPECT_FALSE(unit.allocateRenderResources(nullptr));
  }
}

TEST(AUAudioUnit, RefusesAnUnusableSampleRate) {
  PlainUnit unit;

  for (const double rate :
       {0.0, -44100.0, 1e-30, 999.0, 768001.0, 1e9, 1e39, std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN()}) {
    std::string error;
    unit.bus.format.sampleRate = rate;
    EXPECT_FALSE(unit.allocateRenderResources(&error)) << rate;
    EXPECT_THAT(error, testing::HasSubstr("sample rate"));
  }
}

TEST(AUAudioUnit, TakesFormatsThatTheBusCanHoldWhileNotAllocated) {
  PlainUnit unit;
  unit.bus.maximumChannelCount = 2;

  EXPECT_TRUE(unit.shouldChangeToFormatForBus({96000.0, 2}, unit.bus));
  EXPECT_TRUE(unit.shouldChangeToFormatForBus({8000.0, 1}, unit.bus));
  EXPECT_FALSE(unit.shouldChangeToFormatForBus({96000.0, 3}, unit.bus));
  EXPECT_FALSE(unit.shouldChangeToFormatForBus({96000.0, 0}, unit.bus));
  EXPECT_FALSE(unit.shouldChangeToFormatForBus({0.0, 2}, unit.bus));
  unit.setRenderResourcesAllocated(true);
  EXPECT_FALSE(unit.shouldChangeToFormatForBus({96000.0, 2}, unit.bus));
}

TEST(AUAudioUnit, DeallocationEndsRendering) {
  PlainUnit unit;
  unit.setRenderResourcesAllocated(true);

  unit.deallocateRenderResources();

  EXPECT_FALSE(unit.renderResourcesAllocated());
}

}  // namespace
}  // namespace morv
