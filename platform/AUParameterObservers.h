#pragma once

#include <cstdint>
#include <functional>

#include "platform/AURenderEvent.h"
#include "platform/Export.h"
#include "platform/ObserverList.h"

namespace morv {

// Who observes, and who sets: a setter that gives its own token does not hear of its own change. 0 for
// nobody.
using AUParameterObserverToken = std::uint64_t;

// A change of a value, or the beginning and end of a gesture that changes it: hosts record one from touch to
// release.
enum class AUParameterAutomationEventType : std::uint32_t { value = 0, touch = 1, release = 2 };

struct AUParameterAutomationEvent {
  AUParameterAddress address = 0;
  AUValue value = 0;
  AUParameterAutomationEventType eventType = AUParameterAutomationEventType::value;
};

// The observers of a tree's parameters. They are called on the thread that sets a value, behind the engine,
// in the order in which they came, with no lock held; so they may set values and come and go meanwhile.
// Observers do not throw.
//
// Any thread but the render thread once there is an observer; without one, `tell` is free of locks.
class MORV_EXPORT AUParameterObservers {
 public:
  using ParameterObserver = std::function<void(AUParameterAddress address, AUValue value)>;
  using AutomationObserver = std::function<void(const AUParameterAutomationEvent& event)>;

  AUParameterObserverToken add(ParameterObserver observer);
  AUParameterObserverToken add(AutomationObserver observer);
  // Returns when every call of the observer on other threads has ended; ObserverList.h says what that asks of
  // the caller. A token that is gone is no error.
  void remove(AUParameterObserverToken token);
  // Tells all but the originator.
  void tell(const AUParameterAutomationEvent& event, AUParameterObserverToken originator) const;

 private:
  ObserverList<AutomationObserver> observers_;
};

}  // namespace morv
