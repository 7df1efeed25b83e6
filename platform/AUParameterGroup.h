#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/AUParameter.h"
#include "platform/Export.h"

namespace morv {

// Named list of parameters with the two hooks by which whoever made the parameters keeps them in step with
// what they stand for. Built and hooked up by one thread before others see it; fixed from then on.
class MORV_EXPORT AUParameterGroup {
 public:
  // Called for each value that is set, on the thread that sets it.
  using ValueObserver = std::function<void(const AUParameter& parameter, AUValue value)>;
  // Called for each read, on the reading thread.
  using ValueProvider = std::function<AUValue(const AUParameter& parameter)>;

  AUParameterGroup(std::string identifier, std::string displayName,
                   std::vector<std::unique_ptr<AUParameter>> children);
  AUParameterGroup(const AUParameterGroup&) = delete;
  AUParameterGroup& operator=(const AUParameterGroup&) = delete;

  void setImplementorValueObserver(ValueObserver observer) { valueObserver_ = std::move(observer); }
  void setImplementorValueProvider(ValueProvider provider) { valueProvider_ = std::move(provider); }

  const std::string& identifier() const noexcept { return identifier_; }
  const std::string& displayName() const noexcept { return displayName_; }
  const std::vector<std::unique_ptr<AUParameter>>& children() const noexcept { return children_; }
  const ValueObserver& implementorValueObserver() const noexcept { return valueObserver_; }
  const ValueProvider& implementorValueProvider() const noexcept { return valueProvider_; }
  // The first child of that identifier, none when there is none.
  AUParameter* parameterWithIdentifier(const std::string& identifier) const noexcept;

 private:
  friend class AUParameter;
  friend class AUParameterTree;

  const std::string identifier_;
  const std::string displayName_;
  const std::vector<std::unique_ptr<AUParameter>> children_;
  ValueObserver valueObserver_;
  ValueProvider valueProvider_;
  std::shared_ptr<AUParameterObservers> observers_;  // of the tree; none before it stands in one
};

}  // namespace morv
