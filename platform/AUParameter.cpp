#include "platform/AUParameter.h"

#include <utility>

#include "platform/AUParameterGroup.h"

namespace morv {

AUParameter::AUParameter(Description description) : description_(std::move(description)) {}

void AUParameter::setValue(AUValue newValue) {
  value_ = newValue;
  if (group_ != nullptr && group_->implementorValueObserver()) {
    group_->implementorValueObserver()(*this, newValue);
  }
}

AUValue AUParameter::value() const {
  if (group_ != nullptr && group_->implementorValueProvider()) {
    return group_->implementorValueProvider()(*this);
  }
  return value_;
}

}  // namespace morv
