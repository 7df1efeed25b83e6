#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Export.h"

namespace morv {

class PropertyListValue;

// Values by key. Keys are in UTF-8 and keep the order in which they came: a new key goes to the end, a key
// that is set again keeps its place. Finding takes constant time, removing linear time.
//
// A plain value: any one thread at a time. Copies share their entries until one of them changes, so a copy
// costs the same however much it holds, and may go to another thread.
class MORV_EXPORT PropertyListDictionary {
 public:
  using Entry = std::pair<std::string, PropertyListValue>;

  PropertyListDictionary();
  PropertyListDictionary(std::initializer_list<Entry> entries);
  ~PropertyListDictionary();
  PropertyListDictionary(const PropertyListDictionary& other);
  PropertyListDictionary(PropertyListDictionary&& other) noexcept;
  PropertyListDictionary& operator=(const PropertyListDictionary& other);
  PropertyListDictionary& operator=(PropertyListDictionary&& other) noexcept;

  // `key` lies outside this dictionary: its entries may move. Throws std::bad_alloc for want of memory; the
  // entries are then as they were.
  void set(std::string_view key, PropertyListValue value);
  // False when there was no such key.
  bool remove(std::string_view key);

  // The value of a key, null without one; valid until the dictionary changes.
  const PropertyListValue* find(std::string_view key) const;
  std::size_t size() const noexcept;
  bool empty() const noexcept;
  // All entries in their order.
  const std::vector<Entry>& entries() const noexcept;

  // Whether both hold the same keys with the same values, in whatever order.
  bool operator==(const PropertyListDictionary& other) const;

 private:
  struct Storage;

  // The entries as this dictionary's alone, ready to be changed.
  Storage& own();

  Storage* storage_ = nullptr;  // shared with copies; null while there are no entries
};

}  // namespace morv
