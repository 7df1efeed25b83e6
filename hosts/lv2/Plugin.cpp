// What the host's loader finds: the descriptor of the plug-in. No exception leaves it.

#include <lv2/core/lv2.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "hosts/lv2/HostFeatures.h"
#include "hosts/lv2/PluginInstance.h"
#include "hosts/lv2/PluginUris.h"

namespace morv::lv2 {
namespace {

PluginInstance& instanceOf(LV2_Handle handle) { return *static_cast<PluginInstance*>(handle); }

LV2_Handle instantiate(const LV2_Descriptor*, double sampleRateHz, const char*,
                       const LV2_Feature* const* features) {
  const HostFeatures host(features);
  if (host.map == nullptr) {
    host.log("the host gives no urid:map");
    return nullptr;
  }
  try {
    return new PluginInstance(sampleRateHz, host);
  } catch (const std::exception& error) {
    host.log(error.what());
    return nullptr;
  }
}

// Runs what may fail off the render thread, and tells the log instead of the host.
template <typename Operation, typename Answer>
Answer guarded(Answer onFailure, Operation&& operation) {
  try {
    return operation();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "morv: %s\n", error.what());
    return onFailure;
  }
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) {
  instanceOf(handle).connectPort(port, data);
}

void activate(LV2_Handle handle) {
  guarded(0, [&] {
    instanceOf(handle).activate();
    return 0;
  });
}

void run(LV2_Handle handle, std::uint32_t frames) { instanceOf(handle).run(frames); }

void deactivate(LV2_Handle handle) {
  guarded(0, [&] {
    instanceOf(handle).deactivate();
    return 0;
  });
}

void cleanup(LV2_Handle handle) { delete static_cast<PluginInstance*>(handle); }

LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle stateHandle,
                      std::uint32_t, const LV2_Feature* const*) {
  return guarded(LV2_STATE_ERR_UNKNOWN, [&] { return instanceOf(handle).save(store, stateHandle); });
}

LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                         LV2_State_Handle stateHandle, std::uint32_t, const LV2_Feature* const*) {
  return guarded(LV2_STATE_ERR_UNKNOWN, [&] { return instanceOf(handle).restore(retrieve, stateHandle); });
}

LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle,
                       std::uint32_t, const void*) {
  return guarded(LV2_WORKER_ERR_UNKNOWN, [&] {
    instanceOf(handle).work();
    return LV2_WORKER_SUCCESS;
  });
}

// Work answers through its own queues.
LV2_Worker_Status workResponse(LV2_Handle, std::uint32_t, const void*) { return LV2_WORKER_SUCCESS; }

constexpr LV2_State_Interface kStateInterface = {save, restore};
constexpr LV2_Worker_Interface kWorkerInterface = {work, workResponse, nullptr};

const void* extensionData(const char* uri) {
  if (std::string_view(uri) == LV2_STATE__interface) return &kStateInterface;
  if (std::string_view(uri) == LV2_WORKER__interface) return &kWorkerInterface;
  return nullptr;
}

constexpr LV2_Descriptor kDescriptor = {kPluginUri, instantiate, connectPort, activate,
                                        run,        deactivate,  cleanup,     extensionData};

}  // namespace
}  // namespace morv::lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  return index == 0 ? &morv::lv2::kDescriptor : nullptr;
}
