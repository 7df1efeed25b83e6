#include "tests/lv2/Lv2Host.h"

#include <lv2/atom/util.h>
#include <lv2/midi/midi.h>
#include <lv2/patch/patch.h>
#include <lv2/time/time.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "hosts/lv2/PluginUris.h"

namespace morv::lv2 {
namespace {

constexpr float kGuard = 12345.678F;
constexpr std::size_t kGuardFrames = 64;
constexpr std::size_t kControlWords = 65536 / 8 * 4;
constexpr std::size_t kNotifyWords = 16384 / 8;

struct StoredProperty {
  std::uint32_t key = 0;
  std::string value;
  std::uint32_t type = 0;
};

LV2_State_Status storeProperty(LV2_State_Handle handle, std::uint32_t key, const void* value,
                               std::size_t size, std::uint32_t type, std::uint32_t) {
  *static_cast<StoredProperty*>(handle) = {key, std::string(static_cast<const char*>(value), size), type};
  return LV2_STATE_SUCCESS;
}

const void* retrieveProperty(LV2_State_Handle handle, std::uint32_t key, std::size_t* size,
                             std::uint32_t* type, std::uint32_t* flags) {
  const auto& stored = *static_cast<const StoredProperty*>(handle);
  if (stored.key != key) return nullptr;
  *size = stored.value.size();
  *type = stored.type;
  *flags = LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE;
  return stored.value.data();
}

int logLine(LV2_Log_Handle handle, LV2_URID, const char* format, va_list arguments) {
  std::array<char, 1024> line{};
  std::vsnprintf(line.data(), line.size(), format, arguments);
  static_cast<std::vector<std::string>*>(handle)->emplace_back(line.data());
  return 0;
}

int logFormatted(LV2_Log_Handle handle, LV2_URID type, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int count = logLine(handle, type, format, arguments);
  va_end(arguments);
  return count;
}

}  // namespace

Lv2Host::Lv2Host(const Lv2World& world, double sampleRateHz, Offer offer)
    : world_(world), offer_(offer), control_(kControlWords), notify_(kNotifyWords) {
  map_ = {nullptr, [](LV2_URID_Map_Handle, const char* uri) { return uridOf(uri); }};
  unmap_ = {nullptr, [](LV2_URID_Unmap_Handle, LV2_URID urid) { return uriOfUrid(urid); }};
  schedule_ = {this, [](LV2_Worker_Schedule_Handle handle, std::uint32_t, const void*) {
                 ++static_cast<Lv2Host*>(handle)->workRequests_;
                 return LV2_WORKER_SUCCESS;
               }};
  log_ = {&logged, logFormatted, logLine};
  lv2_atom_forge_init(&forge_, &map_);
  const LV2_Feature mapFeature{LV2_URID__map, &map_};
  const LV2_Feature unmapFeature{LV2_URID__unmap, &unmap_};
  const LV2_Feature scheduleFeature{LV2_WORKER__schedule, &schedule_};
  const LV2_Feature logFeature{LV2_LOG__log, &log_};
  std::vector<const LV2_Feature*> features = {&mapFeature, &unmapFeature};
  if (offer.worker) features.push_back(&scheduleFeature);
  if (offer.log) features.push_back(&logFeature);
  features.push_back(nullptr);
  instance_ = lilv_plugin_instantiate(world.plugin(), sampleRateHz, features.data());
  if (instance_ == nullptr) return;
  reserve(64);
  connect();
}

Lv2Host::~Lv2Host() {
  if (instance_ == nullptr) return;
  if (isActive_) lilv_instance_deactivate(instance_);
  lilv_instance_free(instance_);
}

void Lv2Host::activate() {
  lilv_instance_activate(instance_);
  isActive_ = true;
}

void Lv2Host::deactivate() {
  lilv_instance_deactivate(instance_);
  isActive_ = false;
}

void Lv2Host::connect() {
  const std::uint32_t count = lilv_plugin_get_num_ports(world_.plugin());
  std::vector<float> defaults(count);
  lilv_plugin_get_port_ranges_float(world_.plugin(), nullptr, nullptr, defaults.data());
  for (std::uint32_t i = 0; i < count; ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(world_.plugin(), i);
    const std::string symbol = lilv_node_as_string(lilv_port_get_symbol(world_.plugin(), port));
    if (symbol == "control") {
      lilv_instance_connect_port(instance_, i, offer_.control ? control_.data() : nullptr);
    } else if (symbol == "notify") {
      lilv_instance_connect_port(instance_, i, offer_.notify ? notify_.data() : nullptr);
    } else if (symbol == "out_left") {
      lilv_instance_connect_port(instance_, i, bufferLeft_.data());
    } else if (symbol == "out_right") {
      lilv_instance_connect_port(instance_, i, bufferRight_.data());
    } else {
      const auto [entry, isNew] = controls_.emplace(symbol, defaults[i]);
      lilv_instance_connect_port(instance_, i, &entry->second);
    }
  }
}

std::vector<std::string> Lv2Host::parameterSymbols() const {
  std::vector<std::string> symbols;
  for (const auto& [symbol, value] : controls_) {
    if (symbol != "freewheel") symbols.push_back(symbol);
  }
  return symbols;
}

void Lv2Host::reserve(std::uint32_t frames) {
  if (bufferLeft_.size() == frames + kGuardFrames) return;
  bufferLeft_.assign(frames + kGuardFrames, kGuard);
  bufferRight_.assign(frames + kGuardFrames, kGuard);
  connect();
}

bool Lv2Host::guardsAreWhole() const {
  const auto isGuard = [](float sample) { return sample == kGuard; };
  return std::all_of(bufferLeft_.end() - kGuardFrames, bufferLeft_.end(), isGuard) &&
         std::all_of(bufferRight_.end() - kGuardFrames, bufferRight_.end(), isGuard);
}

void Lv2Host::midi(std::uint32_t frame, std::span<const std::uint8_t> bytes) {
  Event event{frame, std::vector<std::uint8_t>(sizeof(LV2_Atom) + bytes.size())};
  const LV2_Atom head{static_cast<std::uint32_t>(bytes.size()), uridOf(LV2_MIDI__MidiEvent)};
  std::memcpy(event.atom.data(), &head, sizeof(head));
  std::copy(bytes.begin(), bytes.end(), event.atom.begin() + sizeof(head));
  events_.push_back(std::move(event));
}

template <typename Write>
void Lv2Host::addObject(std::uint32_t frame, const std::string& type, Write&& write) {
  std::array<std::uint64_t, 256> words{};
  lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(words.data()), sizeof(words));
  LV2_Atom_Forge_Frame object;
  lv2_atom_forge_object(&forge_, &object, 0, uridOf(type));
  write();
  lv2_atom_forge_pop(&forge_, &object);
  const auto* begin = reinterpret_cast<const std::uint8_t*>(words.data());
  events_.push_back({frame, std::vector<std::uint8_t>(begin, begin + forge_.offset)});
}

void Lv2Host::position(std::uint32_t frame, double beatsPerMinute, float speed) {
  addObject(frame, LV2_TIME__Position, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__speed));
    lv2_atom_forge_float(&forge_, speed);
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__beatsPerMinute));
    lv2_atom_forge_float(&forge_, static_cast<float>(beatsPerMinute));
  });
}

void Lv2Host::locate(std::uint32_t frame, double beatsPerMinute, float speed, std::int64_t songFrame,
                     std::int64_t bar) {
  addObject(frame, LV2_TIME__Position, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__frame));
    lv2_atom_forge_long(&forge_, songFrame);
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__bar));
    lv2_atom_forge_long(&forge_, bar);
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__speed));
    lv2_atom_forge_float(&forge_, speed);
    lv2_atom_forge_key(&forge_, uridOf(LV2_TIME__beatsPerMinute));
    lv2_atom_forge_double(&forge_, beatsPerMinute);
  });
}

void Lv2Host::patchSet(std::uint32_t frame, const std::string& property, float value) {
  addObject(frame, LV2_PATCH__Set, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__property));
    lv2_atom_forge_urid(&forge_, uridOf(property));
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__value));
    lv2_atom_forge_float(&forge_, value);
  });
}

void Lv2Host::patchSet(std::uint32_t frame, const std::string& property, const std::string& value) {
  addObject(frame, LV2_PATCH__Set, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__property));
    lv2_atom_forge_urid(&forge_, uridOf(property));
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__value));
    lv2_atom_forge_string(&forge_, value.c_str(), static_cast<std::uint32_t>(value.size()));
  });
}

void Lv2Host::patchGet(std::uint32_t frame, const std::string& property) {
  addObject(frame, LV2_PATCH__Get, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__property));
    lv2_atom_forge_urid(&forge_, uridOf(property));
  });
}

void Lv2Host::patchSetOf(const std::string& subject, const std::string& property, float value) {
  addObject(0, LV2_PATCH__Set, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__subject));
    lv2_atom_forge_urid(&forge_, uridOf(subject));
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__property));
    lv2_atom_forge_urid(&forge_, uridOf(property));
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__value));
    lv2_atom_forge_float(&forge_, value);
  });
}

void Lv2Host::patchGetOf(const std::string& subject, const std::string& property) {
  addObject(0, LV2_PATCH__Get, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__subject));
    lv2_atom_forge_urid(&forge_, uridOf(subject));
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__property));
    lv2_atom_forge_urid(&forge_, uridOf(property));
  });
}

void Lv2Host::patchPut(std::uint32_t frame, const std::vector<std::pair<std::string, float>>& numbers,
                       const std::vector<std::pair<std::string, std::string>>& texts) {
  addObject(frame, LV2_PATCH__Put, [&] {
    lv2_atom_forge_key(&forge_, uridOf(LV2_PATCH__body));
    LV2_Atom_Forge_Frame body;
    lv2_atom_forge_object(&forge_, &body, 0, 0);
    for (const auto& [property, value] : numbers) {
      lv2_atom_forge_key(&forge_, uridOf(property));
      lv2_atom_forge_float(&forge_, value);
    }
    for (const auto& [property, value] : texts) {
      lv2_atom_forge_key(&forge_, uridOf(property));
      lv2_atom_forge_string(&forge_, value.c_str(), static_cast<std::uint32_t>(value.size()));
    }
    lv2_atom_forge_pop(&forge_, &body);
  });
}

void Lv2Host::layOutEvents() {
  std::stable_sort(events_.begin(), events_.end(),
                   [](const Event& a, const Event& b) { return a.frame < b.frame; });
  auto* sequence = reinterpret_cast<LV2_Atom_Sequence*>(control_.data());
  sequence->atom = {sizeof(LV2_Atom_Sequence_Body), uridOf(LV2_ATOM__Sequence)};
  sequence->body = {0, 0};
  auto* bytes = reinterpret_cast<std::uint8_t*>(control_.data());
  for (const Event& event : events_) {
    const std::size_t at = sizeof(LV2_Atom) + sequence->atom.size;
    const std::size_t size = sizeof(std::int64_t) + event.atom.size();
    if (at + size + 8 >= control_.size() * sizeof(std::uint64_t)) throw std::length_error("too many events");
    const std::int64_t frame = event.frame;
    std::memcpy(bytes + at, &frame, sizeof(frame));
    std::memcpy(bytes + at + sizeof(frame), event.atom.data(), event.atom.size());
    sequence->atom.size += lv2_atom_pad_size(static_cast<std::uint32_t>(size));
  }
  events_.clear();
  auto* notify = reinterpret_cast<LV2_Atom*>(notify_.data());
  *notify = {noticeBytes_, 0};
}

void Lv2Host::run(std::uint32_t frames) {
  reserve(frames);
  layOutEvents();
  lilv_instance_run(instance_, frames);
  readNotices();
  for (const std::vector<float>* buffer : {&bufferLeft_, &bufferRight_}) {
    for (std::uint32_t i = 0; i < frames; ++i) {
      const float sample = (*buffer)[i];
      if (!std::isfinite(sample) || std::fpclassify(sample) == FP_SUBNORMAL) ++badSamples;
      peak = std::max(peak, std::abs(sample));
    }
  }
  if (keepsAudio) {
    left.insert(left.end(), bufferLeft_.begin(), bufferLeft_.begin() + frames);
    right.insert(right.end(), bufferRight_.begin(), bufferRight_.begin() + frames);
  }
  work();
}

void Lv2Host::runFor(std::uint64_t frames, std::uint32_t cycle) {
  while (frames > 0) {
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, cycle));
    run(count);
    frames -= count;
  }
}

void Lv2Host::work() {
  const auto* worker = static_cast<const LV2_Worker_Interface*>(
      lilv_instance_get_extension_data(instance_, LV2_WORKER__interface));
  for (; workRequests_ > 0; --workRequests_) {
    worker->work(lilv_instance_get_handle(instance_), nullptr, nullptr, 0, nullptr);
  }
}

void Lv2Host::workOnce() {
  if (workRequests_ <= 0) return;
  --workRequests_;
  const auto* worker = static_cast<const LV2_Worker_Interface*>(
      lilv_instance_get_extension_data(instance_, LV2_WORKER__interface));
  worker->work(lilv_instance_get_handle(instance_), nullptr, nullptr, 0, nullptr);
}

void Lv2Host::readNotices() {
  const auto* sequence = reinterpret_cast<const LV2_Atom_Sequence*>(notify_.data());
  if (!offer_.notify || sequence->atom.type != uridOf(LV2_ATOM__Sequence)) return;
  LV2_ATOM_SEQUENCE_FOREACH(sequence, event) {
    if (event->body.type == uridOf(LV2_MIDI__MidiEvent)) {
      std::string text = "midi:";
      const auto* bytes = static_cast<const std::uint8_t*>(LV2_ATOM_BODY_CONST(&event->body));
      for (std::uint32_t i = 0; i < event->body.size; ++i) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), i == 0 ? "%02x" : " %02x", unsigned{bytes[i]});
        text += digits.data();
      }
      notices.push_back(text);
      continue;
    }
    const auto& object = *reinterpret_cast<const LV2_Atom_Object*>(&event->body);
    if (object.body.otype == uridOf(LV2_STATE__StateChanged)) notices.emplace_back("StateChanged");
    const LV2_Atom* property = nullptr;
    const LV2_Atom* value = nullptr;
    lv2_atom_object_get(&object, uridOf(LV2_PATCH__property), &property, uridOf(LV2_PATCH__value), &value, 0);
    if (property == nullptr || value == nullptr) continue;
    const std::string name = uriOfUrid(reinterpret_cast<const LV2_Atom_URID*>(property)->body);
    const std::string shown = value->type == uridOf(LV2_ATOM__String)
                                  ? static_cast<const char*>(LV2_ATOM_BODY_CONST(value))
                                  : std::to_string(reinterpret_cast<const LV2_Atom_Float*>(value)->body);
    notices.push_back(name.substr(name.find('#') + 1) + "=" + shown);
  }
}

const LV2_State_Interface* Lv2Host::stateInterface() const {
  return static_cast<const LV2_State_Interface*>(
      lilv_instance_get_extension_data(instance_, LV2_STATE__interface));
}

std::optional<std::string> Lv2Host::save() {
  StoredProperty stored;
  stateInterface()->save(lilv_instance_get_handle(instance_), storeProperty, &stored, 0, nullptr);
  if (stored.key != uridOf(kStateUri) || stored.type != uridOf(LV2_ATOM__String)) return std::nullopt;
  return stored.value.substr(0, stored.value.find('\0'));
}

LV2_State_Status Lv2Host::restore(const std::string& text) {
  StoredProperty stored{uridOf(kStateUri), text, uridOf(LV2_ATOM__String)};
  stored.value.push_back('\0');
  return stateInterface()->restore(lilv_instance_get_handle(instance_), retrieveProperty, &stored, 0,
                                   nullptr);
}

}  // namespace morv::lv2
