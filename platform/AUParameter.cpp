#include "platform/AUParameter.h"

#include <utility>

#include "platform/AUParameterGroup.h"

namespace morv {

AUParameter::AUParameter(Description description) : description_(std::move(description)) {}

void AUParameter::setValue(AUValue newValue, AUParameterObserverToken originator,
                           AUParameterAutomationEventType eventType) {
  value_ = newValue;
  if (group_ == nullptr) return;
  if (group_->implementorValueObserver()) group_->implementorValueObserver()(*this, newValue);
  if (group_->observers_ != nullptr) group_->observers_->tell({address(), newValue, eventType}, originator);
}

std::string AUParameter::keyPath() const {
  return group_ != nullptr ? group_->identifier() + "." + identifier() : identifier();
}

AUValue AUParameter::value() const {
  if (group_ != nullptr && group_->implementorValueProvider()) {
    return group_->implementorValueProvider()(*this);
  }
  return value_;
}

}  // namespace morv
