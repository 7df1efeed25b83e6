#pragma once

#include <lv2/urid/urid.h>

namespace morv::lv2 {

// The host's numbers for the names that the plug-in handles.
struct Urids {
  explicit Urids(const LV2_URID_Map& map);

  LV2_URID atomString;
  LV2_URID atomObject;
  LV2_URID atomBlank;
  LV2_URID atomInt;
  LV2_URID atomLong;
  LV2_URID atomFloat;
  LV2_URID atomDouble;
  LV2_URID atomBool;
  LV2_URID atomUrid;
  LV2_URID atomFrameTime;
  LV2_URID atomSequence;
  LV2_URID midiEvent;
  LV2_URID timePosition;
  LV2_URID timeBeatsPerMinute;
  LV2_URID patchBody;
  LV2_URID patchGet;
  LV2_URID patchPut;
  LV2_URID patchSet;
  LV2_URID patchSubject;
  LV2_URID patchProperty;
  LV2_URID patchValue;
  LV2_URID stateChanged;
  LV2_URID plugin;
  LV2_URID state;   // key of the saved state
  LV2_URID preset;  // the current preset's name
};

}  // namespace morv::lv2
