#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/AUParameter.h"
#include "platform/AUParameterGroup.h"
#include "platform/Export.h"

namespace morv {

// All parameters of a unit, in groups. The structure never changes after creation, so any thread may walk it.
class MORV_EXPORT AUParameterTree {
 public:
  using Children = std::vector<std::shared_ptr<AUParameterGroup>>;

  static std::shared_ptr<AUParameterTree> createTreeWithChildren(Children groups);
  AUParameterTree(const AUParameterTree&) = delete;
  AUParameterTree& operator=(const AUParameterTree&) = delete;

  const Children& children() const noexcept { return groups_; }
  // Every parameter, group after group, in the order in which the groups hold them.
  const std::vector<AUParameter*>& allParameters() const noexcept { return all_; }
  // Calls the observer behind each value that is set, with its kind or without; AUParameterObservers.h says
  // on which thread.
  AUParameterObserverToken tokenByAddingParameterObserver(AUParameterObservers::ParameterObserver observer);
  AUParameterObserverToken tokenByAddingParameterAutomationObserver(
      AUParameterObservers::AutomationObserver observer);
  // Waits for its calls on other threads.
  void removeParameterObserver(AUParameterObserverToken token);
  // The first parameter with that address, none when there is none.
  AUParameter* parameterWithAddress(AUParameterAddress address) const noexcept;
  // The parameter at "group.identifier"; the first dot parts the two. None when there is none.
  AUParameter* parameterForKeyPath(const std::string& keyPath) const;

 private:
  explicit AUParameterTree(Children groups);

  const Children groups_;
  const std::shared_ptr<AUParameterObservers> observers_ = std::make_shared<AUParameterObservers>();
  std::vector<AUParameter*> all_;
  std::vector<AUParameter*> byAddress_;  // ascending; equal addresses in tree order
};

}  // namespace morv
