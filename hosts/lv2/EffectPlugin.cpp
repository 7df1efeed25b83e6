// What the host's loader finds: the descriptors of the effects. No exception leaves them.

#include <lv2/core/lv2.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "hosts/lv2/EffectInstance.h"
#include "hosts/lv2/EffectUris.h"
#include "hosts/lv2/HostFeatures.h"

namespace morv::lv2 {
namespace {

EffectInstance& instanceOf(LV2_Handle handle) { return *static_cast<EffectInstance*>(handle); }

LV2_Handle instantiate(const LV2_Descriptor* descriptor, double sampleRateHz, const char*,
                       const LV2_Feature* const* features) {
  const HostFeatures host(features);
  const std::string uri = descriptor->URI;
  const EffectFacts* facts = factsOfEffect(uri.substr(std::string(kEffectUriStart).size()));
  if (facts == nullptr) return nullptr;
  if (facts->needsAtoms() && host.map == nullptr) {
    host.log("the host gives no urid:map");
    return nullptr;
  }
  try {
    return new EffectInstance(*facts, sampleRateHz, host);
  } catch (const std::exception& error) {
    host.log(error.what());
    return nullptr;
  }
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) {
  instanceOf(handle).connectPort(port, data);
}

void activate(LV2_Handle handle) {
  try {
    instanceOf(handle).activate();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "morv: %s\n", error.what());
  }
}

void run(LV2_Handle handle, std::uint32_t frames) { instanceOf(handle).run(frames); }

void cleanup(LV2_Handle handle) { delete static_cast<EffectInstance*>(handle); }

const void* extensionData(const char*) { return nullptr; }

// The descriptors point into the names.
struct Descriptors {
  Descriptors() {
    for (const EffectFacts& facts : effectFacts()) uris.push_back(kEffectUriStart + std::string(facts.kind));
    for (const std::string& uri : uris) {
      all.push_back({uri.c_str(), instantiate, connectPort, activate, run, nullptr, cleanup, extensionData});
    }
  }
  std::vector<std::string> uris;
  std::vector<LV2_Descriptor> all;
};

}  // namespace
}  // namespace morv::lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  static const morv::lv2::Descriptors descriptors;
  return index < descriptors.all.size() ? &descriptors.all[index] : nullptr;
}
