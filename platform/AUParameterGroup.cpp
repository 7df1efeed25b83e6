#include "platform/AUParameterGroup.h"

#include <utility>

namespace morv {

AUParameterGroup::AUParameterGroup(std::string identifier, std::string displayName,
                                   std::vector<std::unique_ptr<AUParameter>> children)
    : identifier_(std::move(identifier)),
      displayName_(std::move(displayName)),
      children_(std::move(children)) {
  for (const auto& child : children_) child->group_ = this;
}

AUParameter* AUParameterGroup::parameterWithIdentifier(const std::string& identifier) const noexcept {
  for (const auto& child : children_) {
    if (child->identifier() == identifier) return child.get();
  }
  return nullptr;
}

}  // namespace morv
