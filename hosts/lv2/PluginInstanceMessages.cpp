// What a host says to an instance by atoms, and what the instance answers.

#include <lv2/atom/util.h>

#include <algorithm>
#include <cstring>

#include "hosts/lv2/AtomInput.h"
#include "hosts/lv2/PluginInstance.h"

namespace morv::lv2 {

void PluginInstance::readControl() noexcept {
  LV2_ATOM_SEQUENCE_FOREACH(control_, event) {
    const auto frame = static_cast<std::uint32_t>(std::clamp<std::int64_t>(event->time.frames, 0, INT32_MAX));
    if (event->body.type == urids_.midiEvent) {
      const auto* bytes = static_cast<const std::uint8_t*>(LV2_ATOM_BODY_CONST(&event->body));
      sounding_->cycle.addMidi(frame, {bytes, event->body.size});
    } else if (event->body.type == urids_.atomObject || event->body.type == urids_.atomBlank) {
      if (event->body.size < sizeof(LV2_Atom_Object_Body)) continue;
      readObject(frame, *reinterpret_cast<const LV2_Atom_Object*>(&event->body));
    }
  }
}

void PluginInstance::readObject(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  if (object.body.otype == urids_.timePosition) {
    if (const auto beatsPerMinute = tempoOf(urids_, object)) {
      sounding_->cycle.addTempo(frame, *beatsPerMinute);
      tempo_ = *beatsPerMinute;
    }
    return;
  }
  if (!isSubject(object)) return;
  if (object.body.otype == urids_.patchSet) readSet(frame, object);
  if (object.body.otype == urids_.patchPut) readPut(frame, object);
  if (object.body.otype == urids_.patchGet) readGet(frame, object);
}

// A message without a subject is meant for whom it reaches.
bool PluginInstance::isSubject(const LV2_Atom_Object& message) const noexcept {
  const LV2_Atom* subject = nullptr;
  lv2_atom_object_get(&message, urids_.patchSubject, &subject, 0);
  if (subject == nullptr) return true;
  return subject->type == urids_.atomUrid &&
         reinterpret_cast<const LV2_Atom_URID*>(subject)->body == urids_.plugin;
}

void PluginInstance::readSet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  const LV2_Atom* property = nullptr;
  const LV2_Atom* value = nullptr;
  lv2_atom_object_get(&object, urids_.patchProperty, &property, urids_.patchValue, &value, 0);
  if (property == nullptr || value == nullptr || property->type != urids_.atomUrid) return;
  set(frame, reinterpret_cast<const LV2_Atom_URID*>(property)->body, *value);
}

// One property behind the other, as if each had come in a message of its own. What is cut off is passed over.
void PluginInstance::readPut(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  const LV2_Atom* body = nullptr;
  lv2_atom_object_get(&object, urids_.patchBody, &body, 0);
  if (body == nullptr || body->size < sizeof(LV2_Atom_Object_Body)) return;
  if (body->type != urids_.atomObject && body->type != urids_.atomBlank) return;
  const auto* end = static_cast<const std::uint8_t*>(LV2_ATOM_BODY_CONST(body)) + body->size;
  LV2_ATOM_OBJECT_FOREACH(reinterpret_cast<const LV2_Atom_Object*>(body), property) {
    const auto* value = static_cast<const std::uint8_t*>(LV2_ATOM_BODY_CONST(&property->value));
    if (value > end || property->value.size > static_cast<std::size_t>(end - value)) return;
    set(frame, property->key, property->value);
  }
}

void PluginInstance::set(std::uint32_t frame, LV2_URID property, const LV2_Atom& value) noexcept {
  if (property == urids_.preset) {
    if (value.type != urids_.atomString || value.size > wantedPreset_.size()) return;
    wantedPreset_.fill('\0');
    std::memcpy(wantedPreset_.data(), LV2_ATOM_BODY_CONST(&value), value.size);
    wantedPreset_.back() = '\0';
    requestPreset();
    return;
  }
  const ControlPort* port = portWithProperty(property);
  const auto number = numberOf(urids_, value);
  if (port == nullptr || !number) return;
  sounding_->cycle.renderUpTo(frame);
  changes_.beginChange();
  port->parameter->setValue(port->held(*number));
  changes_.endChange();
  stateHasChanged_ = true;
}

// When the main queue is behind, the wish stays with the render thread, where a later one takes its place.
void PluginInstance::requestPreset() noexcept {
  isPresetWanted_ = !presetRequests_.push(wantedPreset_);
  if (!isPresetWanted_) presetRequestsWaiting_.fetch_add(1);
}

void PluginInstance::readGet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept {
  const LV2_Atom* property = nullptr;
  lv2_atom_object_get(&object, urids_.patchProperty, &property, 0);
  if (property == nullptr) {
    output_.setString(frame, urids_.preset, presetName_.data());
    return;
  }
  if (property->type != urids_.atomUrid) return;
  const LV2_URID asked = reinterpret_cast<const LV2_Atom_URID*>(property)->body;
  if (asked == urids_.preset) {
    output_.setString(frame, asked, presetName_.data());
  } else if (const ControlPort* port = portWithProperty(asked)) {
    output_.setFloat(frame, asked, port->parameter->value());
  }
}

// All of it at the cycle's beginning, so that times do not fall when answers follow.
void PluginInstance::writeNotices() noexcept {
  MidiOut message;
  while (midiOut_.take(&message)) output_.midi(0, {message.bytes.data(), message.length});
  while (presetNames_.take(&presetName_)) isNameTold_ = false;
  if (!isNameTold_) isNameTold_ = output_.setString(0, urids_.preset, presetName_.data());
  if (stateHasChanged_.exchange(false) && !output_.stateChanged(0)) stateHasChanged_ = true;
}

const ControlPort* PluginInstance::portWithProperty(LV2_URID property) const noexcept {
  const auto found =
      std::lower_bound(properties_.begin(), properties_.end(), std::pair(property, std::size_t{0}));
  return found != properties_.end() && found->first == property ? &ports_[found->second] : nullptr;
}

}  // namespace morv::lv2
