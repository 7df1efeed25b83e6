#pragma once

#include <string>

#include "hosts/cli/MidiFile.h"

namespace morv::cli {

// Eight seconds of music, at 120 beats per minute on the first channel, by which presets of one kind are
// heard and measured alike: a walking line for a bass, a melody for a lead, held chords for a pad, and so on.
// `prefix` is a preset category's ("BS", "LD", "PD", "RT", "AT", "INIT"); all others get struck chords.
MidiFile standardPhrase(const std::string& prefix);

}  // namespace morv::cli
