#include "platform/AUParameterObservers.h"

#include <utility>

namespace morv {

AUParameterObserverToken AUParameterObservers::add(ParameterObserver observer) {
  return add(AutomationObserver([observer = std::move(observer)](const AUParameterAutomationEvent& event) {
    observer(event.address, event.value);
  }));
}

AUParameterObserverToken AUParameterObservers::add(AutomationObserver observer) {
  const std::scoped_lock lock(mutex_);
  auto entries = std::make_shared<Entries>(*entries_);
  entries->push_back({nextToken_, std::move(observer)});
  entries_ = std::move(entries);
  isObserved_ = true;
  return nextToken_++;
}

void AUParameterObservers::remove(AUParameterObserverToken token) {
  const std::scoped_lock lock(mutex_);
  auto entries = std::make_shared<Entries>(*entries_);
  std::erase_if(*entries, [token](const Entry& each) { return each.token == token; });
  isObserved_ = !entries->empty();
  entries_ = std::move(entries);
}

void AUParameterObservers::tell(const AUParameterAutomationEvent& event,
                                AUParameterObserverToken originator) const {
  if (!isObserved_) return;
  std::shared_ptr<const Entries> entries;
  {
    const std::scoped_lock lock(mutex_);
    entries = entries_;
  }
  for (const Entry& each : *entries) {
    if (each.token != originator) each.observer(event);
  }
}

}  // namespace morv
