#pragma once

#include <gtest/gtest.h>

#include <string>

#include "hosts/lv2/StateEnvelope.h"
#include "platform/PropertyListDictionary.h"
#include "platform/PropertyListValue.h"

namespace morv::lv2 {

// The value that a saved state has for a parameter.
inline double unitValue(const std::string& text, const std::string& group, const std::string& identifier) {
  const auto envelope = StateEnvelope::fromText(text);
  EXPECT_TRUE(envelope.ok());
  return *envelope.value()
              .unit.find("parameters")
              ->dictionary()
              ->find(group)
              ->dictionary()
              ->find(identifier)
              ->number();
}

}  // namespace morv::lv2
