#include "platform/AUParameterObservers.h"

#include <utility>

namespace morv {

AUParameterObserverToken AUParameterObservers::add(ParameterObserver observer) {
  return add(AutomationObserver([observer = std::move(observer)](const AUParameterAutomationEvent& event) {
    observer(event.address, event.value);
  }));
}

AUParameterObserverToken AUParameterObservers::add(AutomationObserver observer) {
  return observers_.add(std::move(observer));
}

void AUParameterObservers::remove(AUParameterObserverToken token) { observers_.remove(token); }

void AUParameterObservers::tell(const AUParameterAutomationEvent& event,
                                AUParameterObserverToken originator) const {
  observers_.forEach([&](AUParameterObserverToken token, const AutomationObserver& observer) {
    if (token != originator) observer(event);
  });
}

}  // namespace morv
