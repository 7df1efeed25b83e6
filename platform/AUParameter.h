#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/AUParameterObservers.h"
#include "platform/AURenderEvent.h"
#include "platform/Export.h"
#include "platform/Relaxed.h"

namespace morv {

class AUParameterGroup;

// One parameter as hosts and views see it: a float with an identifier that lasts, a run-time address, a range
// and names. The range is for display: values are not clamped.
//
// Everything but the value is fixed at construction. The value may be read and set from any thread.
class MORV_EXPORT AUParameter {
 public:
  struct Description {
    std::string identifier;
    std::string displayName;
    AUParameterAddress address = 0;
    AUValue minValue = 0;
    AUValue maxValue = 1;
    std::int32_t unit = 0;  // numbers of ZRDSPParameterUnit
    std::uint32_t flags = 0;
    std::vector<std::string> valueStrings;  // one per step of an indexed parameter
  };

  // The value starts at 0.
  explicit AUParameter(Description description);
  AUParameter(const AUParameter&) = delete;
  AUParameter& operator=(const AUParameter&) = delete;

  // Stores the value, tells the group's value observer and then the tree's observers but the originator, on
  // the calling thread. A parameter that stands in no group yet only stores it. Touch and release carry the
  // value too.
  void setValue(AUValue newValue, AUParameterObserverToken originator = 0,
                AUParameterAutomationEventType eventType = AUParameterAutomationEventType::value);
  // What the group's value provider answers; without one, the value last set.
  AUValue value() const;

  // A value as a person reads it, whatever the locale: an indexed one by its string, a boolean as "Off" or
  // "On", others as a number of at most four digits or the whole part, with the unit behind it.
  std::string stringFromValue(AUValue shown) const;
  // The value that such a text means, or a plain number; none for any other text. Not clamped.
  std::optional<AUValue> valueFromString(const std::string& text) const;
  // "group.identifier"; the identifier alone before it is put into a group.
  std::string keyPath() const;

  const std::string& identifier() const noexcept { return description_.identifier; }
  const std::string& displayName() const noexcept { return description_.displayName; }
  AUParameterAddress address() const noexcept { return description_.address; }
  AUValue minValue() const noexcept { return description_.minValue; }
  AUValue maxValue() const noexcept { return description_.maxValue; }
  std::int32_t unit() const noexcept { return description_.unit; }
  std::uint32_t flags() const noexcept { return description_.flags; }
  const std::vector<std::string>& valueStrings() const noexcept { return description_.valueStrings; }
  // The group that holds this parameter, none before it is put into one.
  const AUParameterGroup* group() const noexcept { return group_; }

 private:
  friend class AUParameterGroup;

  const Description description_;
  const AUParameterGroup* group_ = nullptr;
  Relaxed<AUValue> value_{0.0F};
};

}  // namespace morv
