#include "hosts/player/OscMessage.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace morv::player {
namespace {

constexpr std::size_t kWord = 4;  // everything begins and ends at multiples of this
constexpr unsigned kBitsOfByte = 8;
constexpr char kTypesStart = ',';

// Reads from the front of a packet; what does not fit reads as none.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool isAtEnd() const { return bytes_.empty(); }

  std::optional<std::uint32_t> word() {
    if (bytes_.size() < kWord) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < kWord; ++i) value = value << kBitsOfByte | bytes_[i];
    bytes_ = bytes_.subspan(kWord);
    return value;
  }

  std::optional<std::string> text() {
    const auto end = std::find(bytes_.begin(), bytes_.end(), 0);
    if (end == bytes_.end()) return std::nullopt;
    const auto length = static_cast<std::size_t>(end - bytes_.begin());
    const std::size_t padded = (length / kWord + 1) * kWord;
    if (padded > bytes_.size()) return std::nullopt;
    if (std::any_of(end, bytes_.begin() + static_cast<std::ptrdiff_t>(padded),
                    [](std::uint8_t byte) { return byte != 0; })) {
      return std::nullopt;
    }
    std::string text(bytes_.begin(), end);
    bytes_ = bytes_.subspan(padded);
    return text;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// Adds the next argument; false if there is none of this type.
bool readArgument(Reader& reader, char type, std::vector<OscMessage::Argument>& arguments) {
  if (type == 's') {
    const auto text = reader.text();
    if (text) arguments.emplace_back(std::in_place_type<std::string>, *text);
    return text.has_value();
  }
  if (type != 'i' && type != 'f') return false;
  const auto word = reader.word();
  if (word && type == 'i') arguments.emplace_back(static_cast<std::int32_t>(*word));
  if (word && type == 'f') arguments.emplace_back(std::bit_cast<float>(*word));
  return word.has_value();
}

void putWord(std::vector<std::uint8_t>& packet, std::uint32_t value) {
  for (unsigned byte = kWord; byte-- > 0;) {
    packet.push_back(static_cast<std::uint8_t>(value >> (byte * kBitsOfByte)));
  }
}

void putText(std::vector<std::uint8_t>& packet, std::string_view text) {
  text = text.substr(0, text.find('\0'));
  packet.insert(packet.end(), text.begin(), text.end());
  packet.insert(packet.end(), kWord - text.size() % kWord, 0);
}

}  // namespace

std::optional<OscMessage> OscMessage::decode(std::span<const std::uint8_t> packet) {
  Reader reader(packet);
  auto address = reader.text();
  if (!address || !address->starts_with('/')) return std::nullopt;
  OscMessage message(*std::move(address));
  if (reader.isAtEnd()) return message;  // old senders leave an empty list of types out
  const auto types = reader.text();
  if (!types || !types->starts_with(kTypesStart)) return std::nullopt;
  for (const char type : types->substr(1)) {
    if (!readArgument(reader, type, message.arguments_)) return std::nullopt;
  }
  if (!reader.isAtEnd()) return std::nullopt;
  return message;
}

std::vector<std::uint8_t> OscMessage::encode() const {
  std::vector<std::uint8_t> packet;
  putText(packet, address_);
  putText(packet, kTypesStart + types());
  for (const Argument& each : arguments_) {
    if (const auto* integer = std::get_if<std::int32_t>(&each)) {
      putWord(packet, static_cast<std::uint32_t>(*integer));
    } else if (const auto* real = std::get_if<float>(&each)) {
      putWord(packet, std::bit_cast<std::uint32_t>(*real));
    } else {
      putText(packet, std::get<std::string>(each));
    }
  }
  return packet;
}

std::string OscMessage::types() const {
  constexpr std::string_view kTypes = "ifs";  // in the order of the variant
  std::string types;
  for (const Argument& each : arguments_) types += kTypes[each.index()];
  return types;
}

std::int32_t OscMessage::integerAt(std::size_t place) const {
  const auto* integer = place < arguments_.size() ? std::get_if<std::int32_t>(&arguments_[place]) : nullptr;
  return integer != nullptr ? *integer : 0;
}

std::string OscMessage::textAt(std::size_t place) const {
  const auto* text = place < arguments_.size() ? std::get_if<std::string>(&arguments_[place]) : nullptr;
  return text != nullptr ? *text : std::string();
}

}  // namespace morv::player
