#include <plist/plist.h>

#include <cstdlib>
#include <optional>

#include "platform/BinaryPropertyListScan.h"
#include "platform/LibplistHandles.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"
#include "platform/ScopedCLocale.h"
#include "platform/XmlPropertyListScan.h"

namespace morv {
namespace {

using Converted = std::optional<PropertyListValue>;

Converted convert(plist_t node);

// What stands between the tags when the library writes the node alone. Its plain accessors do not tell a
// negative integer from one above the greatest signed one, and cut dates to 32 bits.
std::string textOf(plist_t node) {
  const LibplistText xml = libplistXmlOf(node);
  if (!xml.text) return {};
  const std::string_view text(xml.text.get(), xml.size);
  const std::size_t element = text.find('<', text.find("<plist") + 1);
  const std::size_t begin = text.find('>', element) + 1;
  return std::string(text.substr(begin, text.find('<', begin) - begin));
}

Converted convertInteger(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  if (std::in_range<std::int64_t>(number)) return PropertyListValue(number);
  if (textOf(node).starts_with('-')) return PropertyListValue(static_cast<std::int64_t>(number));
  return PropertyListValue(number);
}

Converted convertDate(plist_t node) {
  constexpr std::size_t kTextLength = 20;
  std::string text = textOf(node);
  if (text.size() < kTextLength) text.insert(0, kTextLength - text.size(), '0');  // the year comes without
  const auto date = dateOfText(text);
  return date ? Converted(*date) : std::nullopt;
}

Converted convertString(plist_t node) {
  std::uint64_t size = 0;
  const char* text = plist_get_string_ptr(node, &size);
  return PropertyListValue(text != nullptr ? std::string(text, size) : std::string());
}

Converted convertData(plist_t node) {
  std::uint64_t size = 0;
  const char* bytes = plist_get_data_ptr(node, &size);
  return bytes != nullptr ? PropertyListValue::Data(bytes, bytes + size) : PropertyListValue::Data();
}

Converted convertArray(plist_t node) {
  PropertyListValue::Array array;
  plist_array_iter walk = nullptr;
  plist_array_new_iter(node, &walk);
  const LibplistBuffer kept(static_cast<char*>(walk));
  array.reserve(plist_array_get_size(node));
  for (;;) {
    plist_t item = nullptr;
    plist_array_next_item(node, walk, &item);
    if (item == nullptr) return array;
    Converted value = convert(item);
    if (!value) return std::nullopt;
    array.push_back(*std::move(value));
  }
}

Converted convertDictionary(plist_t node) {
  PropertyListValue::Dictionary dictionary;
  plist_dict_iter walk = nullptr;
  plist_dict_new_iter(node, &walk);
  const LibplistBuffer kept(static_cast<char*>(walk));
  for (;;) {
    char* keyText = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, walk, &keyText, &item);
    const LibplistBuffer key(keyText);
    if (item == nullptr || !key) return dictionary;
    Converted value = convert(item);
    if (!value) return std::nullopt;
    dictionary.set(key.get(), *std::move(value));
  }
}

Converted convert(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t truth = 0;
      plist_get_bool_val(node, &truth);
      return PropertyListValue(truth != 0);
    }
    case PLIST_UINT:
      return convertInteger(node);
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return PropertyListValue(number);
    }
    case PLIST_STRING:
      return convertString(node);
    case PLIST_DATE:
      return convertDate(node);
    case PLIST_DATA:
      return convertData(node);
    case PLIST_ARRAY:
      return convertArray(node);
    case PLIST_DICT:
      return convertDictionary(node);
    default:
      return std::nullopt;
  }
}

Result<PropertyListValue> convertRoot(plist_t root) {
  const LibplistNode owned(root);
  Converted value = root != nullptr ? convert(root) : std::nullopt;
  if (!value) return Failure{"the library for property lists cannot read it"};
  return *std::move(value);
}

Result<PropertyListValue> readBinary(std::string_view bytes) {
  BinaryPropertyListScan scan(bytes);
  if (!scan.run()) return Failure{scan.reason()};
  plist_t root = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  return convertRoot(root);
}

Result<PropertyListValue> readXml(std::string_view bytes) {
  XmlPropertyListScan scan{std::string(bytes)};
  if (!scan.run()) return Failure{scan.reason()};
  plist_t root = nullptr;
  plist_from_xml(scan.text().data(), static_cast<std::uint32_t>(scan.text().size()), &root);
  return convertRoot(root);
}

}  // namespace

Result<PropertyListValue> readPropertyList(std::string_view bytes) {
  if (bytes.empty()) return Failure{"the file is empty"};
  if (bytes.size() > kMaxPropertyListBytes)
    return Failure{"longer than " + std::to_string(kMaxPropertyListBytes) + " bytes"};
  const ScopedCLocale locale;
  return BinaryPropertyListScan::hasItsMark(bytes) ? readBinary(bytes) : readXml(bytes);
}

}  // namespace morv
