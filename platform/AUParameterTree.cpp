#include "platform/AUParameterTree.h"

#include <algorithm>
#include <utility>

namespace morv {

std::shared_ptr<AUParameterTree> AUParameterTree::createTreeWithChildren(Children groups) {
  return std::shared_ptr<AUParameterTree>(new AUParameterTree(std::move(groups)));
}

AUParameterTree::AUParameterTree(Children groups) : groups_(std::move(groups)) {
  for (const auto& group : groups_) {
    group->observers_ = observers_;
    for (const auto& parameter : group->children()) all_.push_back(parameter.get());
  }
  byAddress_ = all_;
  std::stable_sort(byAddress_.begin(), byAddress_.end(),
                   [](const AUParameter* a, const AUParameter* b) { return a->address() < b->address(); });
}

AUParameterObserverToken AUParameterTree::tokenByAddingParameterObserver(
    AUParameterObservers::ParameterObserver observer) {
  return observers_->add(std::move(observer));
}

AUParameterObserverToken AUParameterTree::tokenByAddingParameterAutomationObserver(
    AUParameterObservers::AutomationObserver observer) {
  return observers_->add(std::move(observer));
}

void AUParameterTree::removeParameterObserver(AUParameterObserverToken token) { observers_->remove(token); }

AUParameter* AUParameterTree::parameterWithAddress(AUParameterAddress address) const noexcept {
  const auto found = std::lower_bound(
      byAddress_.begin(), byAddress_.end(), address,
      [](const AUParameter* parameter, AUParameterAddress wanted) { return parameter->address() < wanted; });
  return found != byAddress_.end() && (*found)->address() == address ? *found : nullptr;
}

AUParameter* AUParameterTree::parameterForKeyPath(const std::string& keyPath) const {
  const auto dot = keyPath.find('.');
  if (dot == std::string::npos) return nullptr;
  const std::string groupIdentifier = keyPath.substr(0, dot);
  const std::string identifier = keyPath.substr(dot + 1);
  for (const auto& group : groups_) {
    if (group->identifier() != groupIdentifier) continue;
    if (AUParameter* parameter = group->parameterWithIdentifier(identifier)) return parameter;
  }
  return nullptr;
}

}  // namespace morv
