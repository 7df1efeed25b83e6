#include "hosts/lv2/PortWatch.h"

#include <cmath>

namespace morv::lv2 {

PortWatch::PortWatch(std::span<const ControlPort> ports)
    : ports_(ports),
      connected_(ports.size()),
      raw_(ports.size()),
      seen_(ports.size()),
      expected_(ports.size()) {
  for (std::size_t i = 0; i < ports.size(); ++i) {
    raw_[i] = seen_[i] = ports[i].defaultValue;
    connected_[i] = &raw_[i];
  }
}

std::optional<float> PortWatch::move(std::size_t port, float raw) noexcept {
  if (std::isnan(raw)) return std::nullopt;
  raw_[port] = raw;
  const float held = ports_[port].held(raw);
  if (held == seen_[port]) return std::nullopt;
  seen_[port] = held;
  const bool wasExpected = expected_[port] == held;
  expected_[port].reset();
  if (wasExpected) return std::nullopt;
  return held;
}

void PortWatch::expect(std::span<const std::pair<std::uint32_t, float>> values) noexcept {
  endExpectation();
  for (const auto& [port, value] : values) {
    const float held = ports_[port].held(value);
    if (held != seen_[port]) expected_[port] = held;
  }
}

void PortWatch::endExpectation() noexcept {
  for (auto& each : expected_) each.reset();
}

}  // namespace morv::lv2
