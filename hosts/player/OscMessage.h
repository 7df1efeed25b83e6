#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace morv::player {

// One message of Open Sound Control 1.0: an address and arguments of the types i, f and s. A plain value.
class OscMessage {
 public:
  using Argument = std::variant<std::int32_t, float, std::string>;

  explicit OscMessage(std::string address, std::vector<Argument> arguments = {})
      : address_(std::move(address)), arguments_(std::move(arguments)) {}

  // Reads a packet that holds one message. None if it is cut, holds more than the message, has an argument of
  // another type or padding that is not zero, is a bundle, or has no address.
  static std::optional<OscMessage> decode(std::span<const std::uint8_t> packet);
  // The packet. Texts end at their first zero.
  std::vector<std::uint8_t> encode() const;

  const std::string& address() const noexcept { return address_; }
  const std::vector<Argument>& arguments() const noexcept { return arguments_; }
  // Types of the arguments in order: "ssi".
  std::string types() const;
  // An argument of that type; 0 or empty if there is none at the place, or one of another type.
  std::int32_t integerAt(std::size_t place) const;
  std::string textAt(std::size_t place) const;

  bool operator==(const OscMessage&) const = default;

 private:
  std::string address_;
  std::vector<Argument> arguments_;
};

}  // namespace morv::player
