#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "effects/ZRDSPEffect.h"
#include "platform/Export.h"
#include "platform/NonBlocking.h"

namespace morv {

// One knob of an effect, whether a parameter record stands behind it or a plain member.
class MORV_EXPORT EffectControl {
 public:
  struct Range {
    float least = 0;
    float greatest = 0;
  };
  using Member = std::variant<float*, int*, bool*>;

  // Both outlive the control.
  EffectControl(ZRDSPEffect& effect, const ZRDSPParameter& parameter);
  EffectControl(std::string identifier, Member member, std::optional<Range> range);

  const std::string& identifier() const noexcept { return identifier_; }
  // What people read; the identifier for a member.
  const std::string& name() const noexcept { return name_; }
  // None for a member that is not bounded.
  const std::optional<Range>& range() const noexcept { return range_; }
  ZRDSPParameterUnit unit() const noexcept { return unit_; }
  const std::vector<std::string>& valueStrings() const noexcept { return valueStrings_; }
  // Takes whole numbers, or 0 and 1, alone.
  bool isWhole() const noexcept;
  bool isSwitch() const noexcept;

  // Any thread for a parameter, the effect's thread for a member.
  float value() const noexcept;
  void set(float value) noexcept MORV_NONBLOCKING;

 private:
  std::string identifier_;
  std::string name_;
  std::optional<Range> range_;
  ZRDSPParameterUnit unit_ = ZRDSPParameterUnit::generic;
  std::vector<std::string> valueStrings_;
  ZRDSPEffect* effect_ = nullptr;  // of a parameter
  const ZRDSPParameter* parameter_ = nullptr;
  std::optional<Member> member_;
};

// A kind of effect that can be made by its name.
struct EffectKind {
  std::string_view name;   // short, for commands and files
  std::string_view title;  // what people read
  std::string_view description;
};

// All kinds, in the order in which people are shown them.
MORV_EXPORT std::span<const EffectKind> effectKinds();
// An effect of a kind, constructed at a rate in Hz and not yet prepared; none for a name that is none.
// Effects are made one at a time, since they draw on the process's address counter. Not for the render
// thread.
MORV_EXPORT std::unique_ptr<ZRDSPEffect> makeEffect(std::string_view kind, double sampleRateHz);
// Its controls, in their order. They go before the effect.
MORV_EXPORT std::vector<EffectControl> controlsOf(std::string_view kind, ZRDSPEffect& effect);

}  // namespace morv
