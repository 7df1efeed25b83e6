#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace morv {

// Owners of what the library for property lists hands out. Only its reader and its writer include this.

struct FreeLibplistNode {
  void operator()(void* node) const { plist_free(node); }
};
// A node with everything under it.
using LibplistNode = std::unique_ptr<void, FreeLibplistNode>;

struct FreeLibplistBuffer {
  void operator()(char* buffer) const { std::free(buffer); }  // NOLINT: the library allocates so
};
using LibplistBuffer = std::unique_ptr<char, FreeLibplistBuffer>;

struct LibplistText {
  LibplistBuffer text;
  std::uint32_t size = 0;
};

inline LibplistText libplistXmlOf(plist_t node) {
  char* text = nullptr;
  std::uint32_t size = 0;
  plist_to_xml(node, &text, &size);
  return {LibplistBuffer(text), size};
}

}  // namespace morv
