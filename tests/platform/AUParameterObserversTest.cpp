#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/AUParameterObservers.h"
#include "platform/AUParameterTree.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Type = AUParameterAutomationEventType;

class ParameterObservers : public testing::Test {
 protected:
  ParameterObservers() {
    std::vector<std::unique_ptr<AUParameter>> children;
    children.push_back(
        std::make_unique<AUParameter>(AUParameter::Description{"volume", "Volume", 7, 0, 1, 0, 0, {}}));
    children.push_back(
        std::make_unique<AUParameter>(AUParameter::Description{"pan", "Pan", 8, -1, 1, 0, 0, {}}));
    tree_ = AUParameterTree::createTreeWithChildren(
        {std::make_shared<AUParameterGroup>("morv", "MORV", std::move(children))});
    volume_ = tree_->parameterWithAddress(7);
  }
  AUParameterObserverToken observe() {
    return tree_->tokenByAddingParameterObserver(
        [this](AUParameterAddress address, AUValue value) { seen_.emplace_back(address, value); });
  }

  std::shared_ptr<AUParameterTree> tree_;
  AUParameter* volume_ = nullptr;
  std::vector<std::pair<AUParameterAddress, AUValue>> seen_;
};

TEST_F(ParameterObservers, HearOfEveryValueBehindTheEngine) {
  std::vector<int> order;
  tree_->children().front()->setImplementorValueObserver(
      [&](const AUParameter&, AUValue) { order.push_back(1); });
  tree_->tokenByAddingParameterObserver([&](AUParameterAddress, AUValue) { order.push_back(2); });
  observe();

  volume_->setValue(0.5F);
  tree_->parameterWithAddress(8)->setValue(-1.0F);

  EXPECT_THAT(order, ElementsAre(1, 2, 1, 2));
  EXPECT_THAT(seen_, ElementsAre(Pair(7U, 0.5F), Pair(8U, -1.0F)));
}

TEST_F(ParameterObservers, AnOriginatorDoesNotHearOfItsOwnChange) {
  const auto mine = observe();
  std::vector<AUValue> others;
  tree_->tokenByAddingParameterObserver([&](AUParameterAddress, AUValue value) { others.push_back(value); });

  volume_->setValue(0.25F, mine);
  volume_->setValue(0.75F);

  EXPECT_THAT(seen_, ElementsAre(Pair(7U, 0.75F)));
  EXPECT_THAT(others, ElementsAre(0.25F, 0.75F));
}

TEST_F(ParameterObservers, AutomationObserversHearOfTouchAndRelease) {
  std::vector<std::pair<Type, AUValue>> events;
  tree_->tokenByAddingParameterAutomationObserver(
      [&](const AUParameterAutomationEvent& event) { events.emplace_back(event.eventType, event.value); });

  volume_->setValue(0.1F, 0, Type::touch);
  volume_->setValue(0.2F);
  volume_->setValue(0.3F, 0, Type::release);

  EXPECT_THAT(events,
              ElementsAre(Pair(Type::touch, 0.1F), Pair(Type::value, 0.2F), Pair(Type::release, 0.3F)));
  EXPECT_EQ(volume_->value(), 0.3F);
}

TEST_F(ParameterObservers, ARemovedObserverHearsNothingMore) {
  const auto token = observe();
  tree_->removeParameterObserver(token);
  tree_->removeParameterObserver(token);
  tree_->removeParameterObserver(999);

  volume_->setValue(0.5F);

  EXPECT_THAT(seen_, IsEmpty());
}

TEST_F(ParameterObservers, MayRemoveThemselvesAndSetValuesInsideACall) {
  AUParameterObserverToken token = 0;
  int calls = 0;
  token = tree_->tokenByAddingParameterObserver([&](AUParameterAddress, AUValue) {
    ++calls;
    tree_->removeParameterObserver(token);
    volume_->setValue(0.9F);
  });

  volume_->setValue(0.5F);

  EXPECT_EQ(calls, 1);
  EXPECT_EQ(volume_->value(), 0.9F);
}

TEST_F(ParameterObservers, MayComeAndGoWhileOtherThreadsSetValues) {
  std::atomic<bool> isEnding{false};
  std::atomic<long> heard{0};
  std::thread setter([&] {
    while (!isEnding) volume_->setValue(0.5F);
  });
  for (int i = 0; i < 2000; ++i) {
    const auto token = tree_->tokenByAddingParameterObserver([&](AUParameterAddress, AUValue) { ++heard; });
    volume_->setValue(0.25F);
    tree_->removeParameterObserver(token);
  }
  isEnding = true;
  setter.join();

  EXPECT_GE(heard.load(), 2000);
}

TEST_F(ParameterObservers, AKeyPathLeadsBackToItsParameter) {
  EXPECT_EQ(volume_->keyPath(), "morv.volume");
  EXPECT_EQ(tree_->parameterForKeyPath(volume_->keyPath()), volume_);
  EXPECT_EQ(AUParameter({"alone", "Alone", 1, 0, 1, 0, 0, {}}).keyPath(), "alone");
}

AUParameter withUnit(std::int32_t unit, std::vector<std::string> strings = {}) {
  return AUParameter({"p", "P", 1, 0, 4, unit, 0, std::move(strings)});
}

TEST(ParameterDisplay, ShowsNumbersWithTheirUnits) {
  EXPECT_EQ(withUnit(0).stringFromValue(0.5F), "0.5");
  EXPECT_EQ(withUnit(0).stringFromValue(-0.12345F), "-0.123");
  EXPECT_EQ(withUnit(3).stringFromValue(50.0F), "50 %");
  EXPECT_EQ(withUnit(8).stringFromValue(1234.56F), "1235 Hz");
  EXPECT_EQ(withUnit(8).stringFromValue(12345.6F), "12346 Hz");
  EXPECT_EQ(withUnit(8).stringFromValue(432.19F), "432.2 Hz");
  EXPECT_EQ(withUnit(24).stringFromValue(250.0F), "250 ms");
  EXPECT_EQ(withUnit(10).stringFromValue(-0.0001F), "0 st");
  EXPECT_EQ(withUnit(0).stringFromValue(std::nanf("")), "nan");
}

TEST(ParameterDisplay, ShowsIndexedAndBooleanValuesByTheirNames) {
  EXPECT_EQ(withUnit(1, {"UP", "DWN"}).stringFromValue(0.9F), "DWN");
  EXPECT_EQ(withUnit(1, {"UP", "DWN"}).stringFromValue(3.0F), "3");
  EXPECT_EQ(withUnit(2).stringFromValue(1.0F), "On");
  EXPECT_EQ(withUnit(2).stringFromValue(0.0F), "Off");
  EXPECT_EQ(withUnit(3, {"DRY", "WET"}).stringFromValue(1.0F), "1 %");
}

TEST(ParameterDisplay, ReadsItsOwnTextsAndPlainNumbers) {
  EXPECT_EQ(withUnit(8).valueFromString("432.5 Hz"), 432.5F);
  EXPECT_EQ(withUnit(8).valueFromString("432.5"), 432.5F);
  EXPECT_EQ(withUnit(1, {"UP", "DWN"}).valueFromString("DWN"), 1.0F);
  EXPECT_EQ(withUnit(1, {"UP", "DWN"}).valueFromString("1"), 1.0F);
  EXPECT_EQ(withUnit(2).valueFromString("On"), 1.0F);
  EXPECT_EQ(withUnit(8).valueFromString("432 dB"), std::nullopt);
  EXPECT_EQ(withUnit(8).valueFromString("loud"), std::nullopt);
  for (const char* text : {"", "nan", "inf", "-inf", "infinity", "nan(1)", "nan Hz", "1e99"}) {
    EXPECT_EQ(withUnit(8).valueFromString(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace morv
