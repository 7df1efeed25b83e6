#include "hosts/lv2/Urids.h"

#include <lv2/atom/atom.h>
#include <lv2/midi/midi.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/time/time.h>

#include "hosts/lv2/PluginUris.h"

namespace morv::lv2 {

Urids::Urids(const LV2_URID_Map& map) {
  const auto number = [&map](const char* uri) { return map.map(map.handle, uri); };
  atomString = number(LV2_ATOM__String);
  atomObject = number(LV2_ATOM__Object);
  atomBlank = number(LV2_ATOM__Blank);
  atomInt = number(LV2_ATOM__Int);
  atomLong = number(LV2_ATOM__Long);
  atomFloat = number(LV2_ATOM__Float);
  atomDouble = number(LV2_ATOM__Double);
  atomBool = number(LV2_ATOM__Bool);
  atomUrid = number(LV2_ATOM__URID);
  atomFrameTime = number(LV2_ATOM__frameTime);
  atomSequence = number(LV2_ATOM__Sequence);
  midiEvent = number(LV2_MIDI__MidiEvent);
  timePosition = number(LV2_TIME__Position);
  timeBeatsPerMinute = number(LV2_TIME__beatsPerMinute);
  patchBody = number(LV2_PATCH__body);
  patchGet = number(LV2_PATCH__Get);
  patchPut = number(LV2_PATCH__Put);
  patchSet = number(LV2_PATCH__Set);
  patchSubject = number(LV2_PATCH__subject);
  patchProperty = number(LV2_PATCH__property);
  patchValue = number(LV2_PATCH__value);
  stateChanged = number(LV2_STATE__StateChanged);
  plugin = number(kPluginUri);
  state = number(kStateUri);
  preset = number(kPresetUri);
}

}  // namespace morv::lv2
