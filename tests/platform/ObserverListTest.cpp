#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/AUParameterTree.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/ObserverList.h"
#include "platform/SettingsStore.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Long enough for a removal that does not wait to be over.
constexpr std::chrono::milliseconds kPatience{100};

using List = ObserverList<std::function<void(int)>>;

void tell(const List& list, int value) {
  list.forEach([value](List::Token, const auto& observer) { observer(value); });
}

TEST(ObserverList, TellsInTheOrderOfComing) {
  List list;
  std::vector<int> seen;
  EXPECT_TRUE(list.isEmpty());
  list.add([&](int value) { seen.push_back(value); });
  const auto second = list.add([&](int value) { seen.push_back(10 * value); });

  tell(list, 3);
  list.forOne(second, [](List::Token, const auto& observer) { observer(4); });
  list.forOne(99, [](List::Token, const auto& observer) { observer(5); });

  EXPECT_THAT(seen, ElementsAre(3, 30, 40));
  EXPECT_FALSE(list.isEmpty());
  list.clear();
  EXPECT_TRUE(list.isEmpty());
}

TEST(ObserverList, OneThatIsRemovedByAnotherIsNotCalledInTheSameRound) {
  List list;
  std::vector<int> seen;
  List::Token second = 0;
  list.add([&](int value) {
    list.remove(second);
    seen.push_back(value);
  });
  second = list.add([&](int value) { seen.push_back(10 * value); });

  tell(list, 1);

  EXPECT_THAT(seen, ElementsAre(1));
}

TEST(ObserverList, OneThatComesInACallHearsOfTheNextRoundOnly) {
  List list;
  std::vector<int> seen;
  List::Token first = 0;
  first = list.add([&](int) {
    list.remove(first);
    list.add([&](int value) { seen.push_back(value); });
  });

  tell(list, 1);
  EXPECT_THAT(seen, IsEmpty());
  tell(list, 2);

  EXPECT_THAT(seen, ElementsAre(2));
}

TEST(ObserverList, OneThatThrowsCanStillBeRemoved) {
  List list;
  const auto token = list.add([](int) { throw std::runtime_error("against the rule"); });

  EXPECT_THROW(tell(list, 1), std::runtime_error);
  std::thread([&] { list.remove(token); }).join();

  EXPECT_TRUE(list.isEmpty());
}

// A call that stays where it is until it is let go.
struct HeldCall {
  std::promise<void> entered;
  std::promise<void> letGo;
  std::atomic<bool> isOver{false};
  void operator()() {
    entered.set_value();
    letGo.get_future().wait();
    isOver = true;
  }
};

// Holds a call of an observer that `tell` makes, and removes the observer meanwhile.
void expectRemovalToWait(HeldCall& held, const std::function<void()>& tell,
                         const std::function<void()>& remove) {
  std::thread teller(tell);
  held.entered.get_future().wait();
  std::future<bool> wasOver = std::async(std::launch::async, [&] {
    remove();
    return held.isOver.load();
  });

  EXPECT_EQ(wasOver.wait_for(kPatience), std::future_status::timeout);
  held.letGo.set_value();

  EXPECT_TRUE(wasOver.get());
  teller.join();
}

TEST(ObserverList, ARemovalWaitsForACallOnAnotherThread) {
  List list;
  HeldCall held;
  const auto token = list.add([&](int) { held(); });

  expectRemovalToWait(
      held, [&] { tell(list, 1); }, [&] { list.remove(token); });
}

TEST(ObserverList, TheSettingsWaitForAnObserverThatTheyRemove) {
  SettingsStore store;
  HeldCall held;
  const auto token = store.addObserver([&](const std::string&) { held(); });

  expectRemovalToWait(
      held, [&] { store.setBool("a", true); }, [&] { store.removeObserver(token); });
}

TEST(ObserverList, TheNotificationsWaitForAnObserverThatTheyRemove) {
  NotificationCenter center;
  HeldCall held;
  const auto token = center.addObserver("changed", [&] { held(); });

  expectRemovalToWait(
      held, [&] { center.post("changed"); }, [&] { center.removeObserver(token); });
}

TEST(ObserverList, TheNotificationsWaitForAnObserverThatAQueueRuns) {
  NotificationCenter center;
  MainQueue queue;
  HeldCall held;
  const auto token = center.addObserver("changed", queue, [&] { held(); });
  center.post("changed");

  expectRemovalToWait(
      held, [&] { queue.runDue(0); }, [&] { center.removeObserver(token); });
}

TEST(ObserverList, TheParametersWaitForAnObserverThatTheyRemove) {
  AUParameterObservers observers;
  HeldCall held;
  const auto token = observers.add([&](const AUParameterAutomationEvent&) { held(); });

  expectRemovalToWait(
      held,
      [&] {
        observers.tell({1, 0.5F}, 0);
      },
      [&] { observers.remove(token); });
}

TEST(ObserverList, ARemovalFromInsideDoesNotWaitForItself) {
  List list;
  int calls = 0;
  List::Token token = 0;
  token = list.add([&](int value) {
    ++calls;
    if (value == 0) {
      list.remove(token);
    } else {
      tell(list, value - 1);
    }
  });

  tell(list, 3);
  tell(list, 3);

  EXPECT_EQ(calls, 4);
}

TEST(ObserverList, ARemovalFromInsideWaitsForTheOtherThreads) {
  List list;
  std::promise<void> entered;
  std::promise<void> letGo;
  List::Token token = 0;
  std::atomic<bool> isOver{false};
  bool wasOver = false;
  token = list.add([&](int value) {
    if (value == 1) {
      entered.set_value();
      letGo.get_future().wait();
      isOver = true;
    } else {
      list.remove(token);
      wasOver = isOver;
    }
  });
  std::thread other([&] { tell(list, 1); });
  entered.get_future().wait();
  std::future<void> removal = std::async(std::launch::async, [&] { tell(list, 2); });

  EXPECT_EQ(removal.wait_for(kPatience), std::future_status::timeout);
  letGo.set_value();
  removal.get();
  other.join();

  EXPECT_TRUE(wasOver);
}

TEST(ObserverList, OneThatRemovesItselfOnTwoThreadsAtOnceHoldsUpNeither) {
  List list;
  std::barrier both(2);
  std::atomic<int> calls{0};
  List::Token token = 0;
  token = list.add([&](int) {
    both.arrive_and_wait();
    list.remove(token);
    ++calls;
  });

  std::thread other([&] { tell(list, 1); });
  tell(list, 1);
  other.join();

  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(list.isEmpty());
}

// Calls something at its end, like an observer that owns what takes itself back.
std::shared_ptr<void> atTheEnd(std::function<void()> work) {
  return {nullptr, [work = std::move(work)](void*) { work(); }};
}

TEST(ObserverList, ARemovedObserverIsDestroyedWhenTheRemovalReturns) {
  List list;
  bool isDestroyed = false;
  const auto token = list.add([owned = atTheEnd([&] { isDestroyed = true; })](int) {});

  list.remove(token);

  EXPECT_TRUE(isDestroyed);
}

TEST(ObserverList, AnObserverThatIsAwaitedIsDestroyedWhenTheRemovalReturns) {
  List list;
  std::promise<void> entered;
  std::promise<void> letGo;
  std::atomic<bool> isDestroyed{false};
  const auto token = list.add([&, owned = atTheEnd([&] { isDestroyed = true; })](int) {
    entered.set_value();
    letGo.get_future().wait();
  });
  std::thread teller([&] { tell(list, 1); });
  entered.get_future().wait();

  auto removal = std::async(std::launch::async, [&] {
    list.remove(token);
    return isDestroyed.load();
  });
  EXPECT_FALSE(isDestroyed);
  letGo.set_value();

  EXPECT_TRUE(removal.get());
  teller.join();
}

TEST(ObserverList, OneThatRemovesItselfIsDestroyedBehindItsCall) {
  List list;
  bool isDestroyed = false;
  bool wasDestroyedInside = true;
  List::Token token = 0;
  token = list.add([&, owned = atTheEnd([&] { isDestroyed = true; })](int) {
    list.remove(token);
    wasDestroyedInside = isDestroyed;
  });

  tell(list, 1);

  EXPECT_FALSE(wasDestroyedInside);
  EXPECT_TRUE(isDestroyed);
}

// What an observer owns may take something else back at its end.
TEST(ObserverEnds, OneOfTheParametersMayRemoveAnother) {
  AUParameterObservers observers;
  int heard = 0;
  const auto inner = observers.add([&](const AUParameterAutomationEvent&) { ++heard; });
  const auto outer = observers.add(
      [owned = atTheEnd([&] { observers.remove(inner); })](const AUParameterAutomationEvent&) {});

  observers.remove(outer);
  observers.tell({1, 0.5F}, 0);

  EXPECT_EQ(heard, 0);
}

TEST(ObserverEnds, OneOfTheSettingsMayRemoveAnother) {
  SettingsStore store;
  int heard = 0;
  const auto inner = store.addObserver([&](const std::string&) { ++heard; });
  const auto outer =
      store.addObserver([owned = atTheEnd([&] { store.removeObserver(inner); })](const std::string&) {});

  store.removeObserver(outer);
  store.setBool("a", true);

  EXPECT_EQ(heard, 0);
}

TEST(ObserverEnds, OneOfTheNotificationsMayRemoveAnother) {
  NotificationCenter center;
  int heard = 0;
  const auto inner = center.addObserver("a", [&] { ++heard; });
  const auto outer = center.addObserver("a", [owned = atTheEnd([&] { center.removeObserver(inner); })] {});

  center.removeObserver(outer);
  center.post("a");

  EXPECT_EQ(heard, 0);
}

TEST(ObserverEnds, OneThatGoesWithTheNotificationsMayRemoveAnother) {
  bool isDestroyed = false;
  {
    NotificationCenter center;
    center.addObserver("a", [owned = atTheEnd([&] {
                               center.removeObserver(7);
                               isDestroyed = true;
                             })] {});
  }

  EXPECT_TRUE(isDestroyed);
}

TEST(ObserverEnds, ATaskThatIsCancelledMayCancelAnother) {
  MainQueue queue;
  bool hasRun = false;
  const auto inner = queue.post([&] { hasRun = true; });
  const auto outer = queue.post([owned = atTheEnd([&] { queue.cancel(inner); })] {});

  EXPECT_TRUE(queue.cancel(outer));
  queue.runDue(0);

  EXPECT_FALSE(hasRun);
}

TEST(ObserverEnds, ARenderHandlerThatIsRemovedMayRemoveAnother) {
  MainQueue queue;
  int heard = 0;
  const auto inner = queue.addRenderHandler([&](std::int32_t) { ++heard; });
  const auto outer =
      queue.addRenderHandler([owned = atTheEnd([&] { queue.removeRenderHandler(inner); })](std::int32_t) {});

  queue.removeRenderHandler(outer);
  queue.postFromRender(inner, 1);
  queue.runDue(0);

  EXPECT_EQ(heard, 0);
}

// A queue of the thread's own that ends with its observer, as each instance of a plug-in has one.
TEST(ObserverEnds, AQueueThatEndsBehindItsObserverIsPostedToNoMore) {
  NotificationCenter center;
  std::atomic<bool> isEnding{false};
  std::atomic<long> posts{0};
  std::thread poster([&] {
    while (!isEnding) {
      center.post("changed");
      ++posts;
    }
  });
  long calls = 0;

  for (int i = 0; i < 2000 || posts < 100; ++i) {
    const auto queue = std::make_unique<MainQueue>();
    const auto token = center.addObserver("changed", *queue, [&calls] { ++calls; });
    queue->runDue(0);
    center.removeObserver(token);
    const auto waiting = queue->post([] {});
    EXPECT_EQ(queue->post([] {}), waiting + 1);
  }
  isEnding = true;
  poster.join();

  EXPECT_GE(posts, 100);
}

}  // namespace
}  // namespace morv
