#include "tests/lv2/EffectHost.h"

#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/parameters/parameters.h>
#include <lv2/time/time.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "hosts/lv2/EffectUris.h"

namespace morv::lv2 {
namespace {

constexpr float kGuard = 12345.678F;
constexpr std::size_t kGuardFrames = 64;
constexpr std::size_t kAtomWords = 65536 / 8;
const std::vector<std::string> kFixedControls = {"enabled", "latency"};

template <typename Atom>
const Atom& as(const LV2_Atom* atom) {
  return *reinterpret_cast<const Atom*>(atom);
}

}  // namespace

EffectHost::EffectHost(const Lv2World& world, double sampleRateHz, bool givesMap)
    : world_(world), control_(kAtomWords), notify_(kAtomWords) {
  map_ = {nullptr, [](LV2_URID_Map_Handle, const char* uri) { return uridOf(uri); }};
  const LV2_Feature mapFeature{LV2_URID__map, &map_};
  const LV2_Feature* const features[] = {givesMap ? &mapFeature : nullptr, nullptr};
  instance_ = lilv_plugin_instantiate(world.plugin(), sampleRateHz, features);
  if (instance_ == nullptr) return;
  const std::uint32_t count = lilv_plugin_get_num_ports(world.plugin());
  std::vector<float> defaults(count);
  lilv_plugin_get_port_ranges_float(world.plugin(), nullptr, nullptr, defaults.data());
  LilvNode* controlClass = lilv_new_uri(world.lilv(), LV2_CORE__ControlPort);
  for (std::uint32_t i = 0; i < count; ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(world.plugin(), i);
    if (!lilv_port_is_a(world.plugin(), port, controlClass)) continue;
    const std::string symbol = lilv_node_as_string(lilv_port_get_symbol(world.plugin(), port));
    const auto [entry, isNew] = controls_.emplace(symbol, defaults[i]);
    lilv_instance_connect_port(instance_, i, &entry->second);
    const bool isFixed =
        std::find(kFixedControls.begin(), kFixedControls.end(), symbol) != kFixedControls.end();
    if (!isFixed) parameters_.push_back(symbol);
  }
  lilv_node_free(controlClass);
  auto* sequence = reinterpret_cast<LV2_Atom_Sequence*>(control_.data());
  sequence->atom = {sizeof(LV2_Atom_Sequence_Body), uridOf(LV2_ATOM__Sequence)};
}

EffectHost::~EffectHost() {
  if (instance_ != nullptr) lilv_instance_free(instance_);
}

std::uint32_t EffectHost::indexOf(const std::string& symbol) const {
  return lilv_port_get_index(world_.plugin(), world_.port(symbol));
}

void EffectHost::connect() {
  const auto join = [this](const char* symbol, void* data) {
    if (world_.port(symbol) != nullptr) lilv_instance_connect_port(instance_, indexOf(symbol), data);
  };
  join("in_left", inLeft_.data());
  join("in_right", inRight_.data());
  join("out_left", runsInPlace ? inLeft_.data() : outLeft_.data());
  join("out_right", runsInPlace ? inRight_.data() : outRight_.data());
  join("control", control_.data());
  join("notify", notify_.data());
}

void EffectHost::position(std::uint32_t frame, float beatsPerMinute, float speed) {
  std::array<std::uint64_t, 64> words{};
  LV2_Atom_Forge forge;
  lv2_atom_forge_init(&forge, &map_);
  lv2_atom_forge_set_buffer(&forge, reinterpret_cast<std::uint8_t*>(words.data()), sizeof(words));
  LV2_Atom_Forge_Frame object;
  lv2_atom_forge_frame_time(&forge, frame);
  lv2_atom_forge_object(&forge, &object, 0, uridOf(LV2_TIME__Position));
  lv2_atom_forge_key(&forge, uridOf(LV2_TIME__speed));
  lv2_atom_forge_float(&forge, speed);
  lv2_atom_forge_key(&forge, uridOf(LV2_TIME__beatsPerMinute));
  lv2_atom_forge_float(&forge, beatsPerMinute);
  lv2_atom_forge_pop(&forge, &object);
  auto* sequence = reinterpret_cast<LV2_Atom_Sequence*>(control_.data());
  std::memcpy(reinterpret_cast<std::uint8_t*>(control_.data()) + sizeof(LV2_Atom) + sequence->atom.size,
              words.data(), forge.offset);
  sequence->atom.size += lv2_atom_pad_size(forge.offset);
}

void EffectHost::prepareCycle(std::span<const float> inLeft, std::span<const float> inRight) {
  const std::size_t frames = inLeft.size();
  for (std::vector<float>* buffer : {&inLeft_, &inRight_, &outLeft_, &outRight_}) {
    buffer->assign(frames + kGuardFrames, kGuard);
  }
  std::copy(inLeft.begin(), inLeft.end(), inLeft_.begin());
  std::copy(inRight.begin(), inRight.end(), inRight_.begin());
  *reinterpret_cast<LV2_Atom*>(notify_.data()) = {notifyBytes, 0};
  connect();
}

void EffectHost::finishCycle(std::uint32_t frames) {
  reinterpret_cast<LV2_Atom_Sequence*>(control_.data())->atom.size = sizeof(LV2_Atom_Sequence_Body);
  readSpectra();
  const std::vector<float>* outs[] = {runsInPlace ? &inLeft_ : &outLeft_,
                                      runsInPlace ? &inRight_ : &outRight_};
  for (const std::vector<float>* out : outs) {
    for (std::uint32_t i = 0; i < frames; ++i) {
      const float sample = (*out)[i];
      if (!std::isfinite(sample)) {
        ++badSamples;
      } else {
        peak = std::max(peak, std::abs(sample));
      }
    }
    guardsAreWhole = guardsAreWhole && std::all_of(out->begin() + frames, out->end(),
                                                   [](float sample) { return sample == kGuard; });
  }
  left.insert(left.end(), outs[0]->begin(), outs[0]->begin() + frames);
  right.insert(right.end(), outs[1]->begin(), outs[1]->begin() + frames);
}

void EffectHost::run(std::span<const float> inLeft, std::span<const float> inRight) {
  const auto frames = static_cast<std::uint32_t>(inLeft.size());
  prepareCycle(inLeft, inRight);
  runBare(frames);
  finishCycle(frames);
}

void EffectHost::runAll(std::span<const float> inLeft, std::span<const float> inRight, std::uint32_t cycle) {
  for (std::size_t done = 0; done < inLeft.size(); done += cycle) {
    const std::size_t count = std::min<std::size_t>(cycle, inLeft.size() - done);
    run(inLeft.subspan(done, count), inRight.subspan(done, count));
  }
}

void EffectHost::readSpectra() {
  const auto* sequence = reinterpret_cast<const LV2_Atom_Sequence*>(notify_.data());
  if (sequence->atom.type != uridOf(LV2_ATOM__Sequence)) return;
  LV2_ATOM_SEQUENCE_FOREACH(sequence, event) {
    const auto& object = as<LV2_Atom_Object>(&event->body);
    if (object.body.otype != uridOf(kSpectrumUri)) continue;
    const LV2_Atom* rate = nullptr;
    const LV2_Atom* size = nullptr;
    const LV2_Atom* fullScale = nullptr;
    const LV2_Atom* magnitudes = nullptr;
    lv2_atom_object_get(&object, uridOf(LV2_PARAMETERS__sampleRate), &rate, uridOf(kFftSizeUri), &size,
                        uridOf(kFullScaleUri), &fullScale, uridOf(kMagnitudesUri), &magnitudes, 0);
    if (rate == nullptr || size == nullptr || fullScale == nullptr || magnitudes == nullptr) continue;
    const auto& vector = as<LV2_Atom_Vector>(magnitudes);
    if (vector.atom.type != uridOf(LV2_ATOM__Vector) || vector.body.child_type != uridOf(LV2_ATOM__Float))
      continue;
    const auto* values = reinterpret_cast<const float*>(&vector.body + 1);
    const std::size_t count = (vector.atom.size - sizeof(LV2_Atom_Vector_Body)) / vector.body.child_size;
    spectra.push_back({static_cast<std::uint32_t>(event->time.frames), as<LV2_Atom_Float>(rate).body,
                       as<LV2_Atom_Int>(size).body, as<LV2_Atom_Float>(fullScale).body,
                       std::vector<float>(values, values + count)});
  }
}

}  // namespace morv::lv2
