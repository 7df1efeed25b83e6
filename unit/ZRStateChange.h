#pragma once

#include <optional>
#include <vector>

#include "platform/AUAudioUnit.h"

namespace morv {

struct modMatrixRow;

// A state on its way into a unit, read and checked: what is left is to store its numbers. Points into the
// unit that made it and goes before it.
struct ZRStateChange {
  // What a state says of one row of the matrix; whatever it does not say stays.
  struct Row {
    modMatrixRow* row = nullptr;
    std::optional<float> amount;  // of the second source
    std::optional<int> source;
    std::optional<float> depth;  // to be held within its range
  };
  // The user's MIDI mode and channel, where they win over the state's.
  struct MidiSettings {
    AUValue mode = 0;
    AUValue channel = 0;
  };

  std::vector<AUAudioUnit::RestoredValue> values;
  std::vector<Row> rows;
  std::optional<MidiSettings> midi;
};

}  // namespace morv
