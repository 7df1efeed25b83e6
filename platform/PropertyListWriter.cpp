#include <plist/plist.h>

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "platform/LibplistHandles.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"
#include "platform/ScopedCLocale.h"
#include "platform/XmlCharacters.h"
#include "platform/XmlPropertyListScan.h"

namespace morv {
namespace {

// The shortest text that reads back to the same double.
std::string textOfReal(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "+infinity" : "-infinity";
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), end};
}

// Makes the library's nodes of a value. It notes the texts of all numbers and dates in their order, since the
// library's own lose the sign of -0.0, write digits that say nothing, take negative integers for great ones
// or the reverse, and hold dates in 32 bits.
class NodeMaker {
 public:
  // Null with a reason if the value cannot be written.
  LibplistNode make(const PropertyListValue& value, std::size_t depth) {
    if (depth > kMaxPropertyListDepth)
      return fail("nested more than " + std::to_string(kMaxPropertyListDepth) + " levels deep");
    if (++values_ > kMaxPropertyListValues) return fail("too many values");
    using Kind = PropertyListValue::Kind;
    switch (value.kind()) {
      case Kind::boolean:
        return LibplistNode(plist_new_bool(*value.boolean() ? 1 : 0));
      case Kind::integer:
        texts_.push_back(std::to_string(*value.integer()));
        return LibplistNode(plist_new_uint(0));
      case Kind::unsignedInteger:
        texts_.push_back(std::to_string(*value.unsignedInteger()));
        return LibplistNode(plist_new_uint(0));
      case Kind::real:
        texts_.push_back(textOfReal(*value.real()));
        return LibplistNode(plist_new_real(0));
      case Kind::string:
        if (findBadXmlText(*value.string())) return fail("a string that XML cannot hold");
        return LibplistNode(plist_new_string(value.string()->c_str()));
      case Kind::date:
        return makeDate(*value.date());
      case Kind::data:
        return makeData(*value.data());
      case Kind::array:
        return makeArray(*value.array(), depth);
      case Kind::dictionary:
        return makeDictionary(*value.dictionary(), depth);
    }
    return fail("an unknown kind of value");
  }

  const std::vector<std::string>& texts() const { return texts_; }
  const std::string& reason() const { return reason_; }

 private:
  LibplistNode fail(std::string reason) {
    reason_ = std::move(reason);
    return nullptr;
  }

  LibplistNode makeDate(PropertyListDate date) {
    auto text = textOfDate(date);
    if (!text) return fail("a date outside the years 1 to 9999");
    texts_.push_back(*std::move(text));
    return LibplistNode(plist_new_date(0, 0));
  }

  static LibplistNode makeData(const PropertyListValue::Data& data) {
    const std::vector<char> bytes(data.begin(), data.end());
    return LibplistNode(plist_new_data(bytes.empty() ? "" : bytes.data(), bytes.size()));
  }

  LibplistNode makeArray(const PropertyListValue::Array& array, std::size_t depth) {
    LibplistNode node(plist_new_array());
    for (const PropertyListValue& value : array) {
      LibplistNode item = make(value, depth + 1);
      if (!item) return nullptr;
      plist_array_append_item(node.get(), item.release());
    }
    return node;
  }

  LibplistNode makeDictionary(const PropertyListValue::Dictionary& dictionary, std::size_t depth) {
    LibplistNode node(plist_new_dict());
    for (const auto& [key, value] : dictionary.entries()) {
      if (findBadXmlText(key)) return fail("a key that XML cannot hold");
      LibplistNode item = make(value, depth + 1);
      if (!item) return nullptr;
      plist_dict_set_item(node.get(), key.c_str(), item.release());
    }
    return node;
  }

  std::vector<std::string> texts_;
  std::size_t values_ = 0;
  std::string reason_;
};

bool isNotedElement(std::string_view rest) {
  return rest.starts_with("<integer>") || rest.starts_with("<real>") || rest.starts_with("<date>");
}

// The library's XML with the noted texts in the place of its own, and with carriage returns, which only
// strings and keys hold, written so that no reader takes them for line ends. None if the numbers do not match
// up.
std::optional<std::string> withTexts(std::string_view xml, const std::vector<std::string>& texts) {
  std::string result;
  result.reserve(xml.size());
  auto next = texts.begin();
  for (std::size_t at = 0; at < xml.size(); ++at) {
    if (xml[at] == '\r') {
      result += "&#13;";
      continue;
    }
    result += xml[at];
    if (xml[at] != '<' || !isNotedElement(xml.substr(at))) continue;
    const std::size_t content = xml.find('>', at) + 1;
    if (next == texts.end()) return std::nullopt;
    result.append(xml.substr(at + 1, content - at - 1)).append(*next++);
    at = xml.find('<', content) - 1;
  }
  return next == texts.end() ? std::optional(std::move(result)) : std::nullopt;
}

}  // namespace

Result<std::string> writePropertyList(const PropertyListValue& value) {
  const ScopedCLocale locale;
  NodeMaker maker;
  const LibplistNode root = maker.make(value, 1);
  if (!root) return Failure{maker.reason()};
  const LibplistText xml = libplistXmlOf(root.get());
  if (!xml.text) return Failure{"the library for property lists cannot write it"};
  auto text = withTexts({xml.text.get(), xml.size}, maker.texts());
  if (!text) return Failure{"the library for property lists lost a number"};
  if (text->size() > kMaxPropertyListBytes)
    return Failure{"longer than " + std::to_string(kMaxPropertyListBytes) + " bytes"};
  XmlPropertyListScan scan(*text);  // so that nothing is written that reading refuses
  if (!scan.run()) return Failure{"could not be read again: " + scan.reason()};
  return *std::move(text);
}

}  // namespace morv
