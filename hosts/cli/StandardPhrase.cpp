#include "hosts/cli/StandardPhrase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace morv::cli {
namespace {

constexpr int kTicksPerBeat = 480;
constexpr std::uint8_t kNoteOn = 0x90;
constexpr std::uint8_t kNoteOff = 0x80;
constexpr std::uint8_t kVelocity = 100;

struct Note {
  double beat;
  double length;  // beats
  std::uint8_t number;
  std::uint8_t velocity = kVelocity;
};

constexpr std::array kBass = {
    Note{0, 0.7, 33, 112},   Note{0.75, 0.2, 33, 80}, Note{1, 0.45, 45},     Note{1.5, 0.45, 33},
    Note{2, 0.45, 36},       Note{2.5, 0.45, 40},     Note{3, 0.9, 43},      Note{4, 0.7, 29, 112},
    Note{4.75, 0.2, 29, 80}, Note{5, 0.45, 41},       Note{5.5, 0.45, 29},   Note{6, 0.45, 36},
    Note{6.5, 0.45, 41},     Note{7, 0.9, 43},        Note{8, 0.7, 33, 112}, Note{8.75, 0.2, 33, 80},
    Note{9, 0.45, 45},       Note{9.5, 0.45, 40},     Note{10, 1.9, 38},     Note{12, 0.45, 40},
    Note{12.5, 0.45, 28},    Note{13, 0.9, 31},       Note{14, 1.9, 33, 112}};

// Most notes reach into the next, so that a patch with legato or glide shows it.
constexpr std::array kLead = {
    Note{0, 1.1, 69},       Note{1, 0.6, 72},   Note{1.5, 0.6, 74},  Note{2, 1.9, 76, 112},
    Note{4, 1.1, 74},       Note{5, 0.6, 72},   Note{5.5, 0.6, 71},  Note{6, 1.9, 67},
    Note{8, 0.3, 69},       Note{8.5, 0.3, 72}, Note{9, 0.3, 76},    Note{9.5, 0.6, 79},
    Note{10, 2.9, 81, 118}, Note{13, 0.6, 79},  Note{13.5, 0.6, 76}, Note{14, 1.9, 74}};

constexpr std::array kChords = {
    Note{0, 1.8, 57},      Note{0, 1.8, 60},      Note{0, 1.8, 64},       Note{0, 1.8, 67},
    Note{2, 0.4, 57, 80},  Note{2, 0.4, 60, 80},  Note{2, 0.4, 64, 80},   Note{3, 0.9, 55},
    Note{3, 0.9, 60},      Note{3, 0.9, 64},      Note{4, 1.8, 53},       Note{4, 1.8, 60},
    Note{4, 1.8, 64},      Note{4, 1.8, 69},      Note{6, 0.4, 53, 80},   Note{6, 0.4, 60, 80},
    Note{6, 0.4, 69, 80},  Note{7, 0.9, 55},      Note{7, 0.9, 62},       Note{7, 0.9, 71},
    Note{8, 3.6, 48, 112}, Note{8, 3.6, 55},      Note{8, 3.6, 64},       Note{8, 3.6, 72},
    Note{12, 0.4, 52, 80}, Note{12, 0.4, 59, 80}, Note{12, 0.4, 67, 80},  Note{13, 0.4, 52, 80},
    Note{13, 0.4, 60, 80}, Note{13, 0.4, 69, 80}, Note{14, 1.9, 45, 112}, Note{14, 1.9, 57},
    Note{14, 1.9, 60},     Note{14, 1.9, 64}};

constexpr std::array kPad = {Note{0, 7.8, 45, 90}, Note{0, 7.8, 57, 90}, Note{0, 7.8, 60, 90},
                             Note{0, 7.8, 64, 90}, Note{0, 7.8, 71, 90}, Note{8, 7.8, 41, 90},
                             Note{8, 7.8, 57, 90}, Note{8, 7.8, 60, 90}, Note{8, 7.8, 64, 90},
                             Note{8, 7.8, 69, 90}};

constexpr std::array kRhythm = {Note{0, 3.9, 45},  Note{0, 3.9, 52},  Note{0, 3.9, 57},  Note{0, 3.9, 60},
                                Note{4, 3.9, 41},  Note{4, 3.9, 48},  Note{4, 3.9, 57},  Note{4, 3.9, 60},
                                Note{8, 3.9, 48},  Note{8, 3.9, 55},  Note{8, 3.9, 60},  Note{8, 3.9, 64},
                                Note{12, 3.9, 43}, Note{12, 3.9, 50}, Note{12, 3.9, 59}, Note{12, 3.9, 62}};

constexpr std::array kAtmosphere = {Note{0, 15.5, 38, 90}, Note{0, 15.5, 45, 90}, Note{2, 7, 62, 80},
                                    Note{4, 8, 69, 80},    Note{8, 7.5, 65, 80},  Note{10, 5.5, 76, 70}};

constexpr std::array kTemplate = {Note{0, 0.9, 48}, Note{1, 0.9, 52},  Note{2, 0.9, 55},  Note{3, 0.9, 60},
                                  Note{4, 1.9, 64}, Note{6, 1.9, 67},  Note{8, 3.8, 48},  Note{8, 3.8, 55},
                                  Note{8, 3.8, 64}, Note{12, 3.8, 53}, Note{12, 3.8, 57}, Note{12, 3.8, 60}};

std::span<const Note> notesFor(const std::string& prefix) {
  if (prefix == "BS") return kBass;
  if (prefix == "LD") return kLead;
  if (prefix == "PD") return kPad;
  if (prefix == "RT") return kRhythm;
  if (prefix == "AT") return kAtmosphere;
  if (prefix == "INIT") return kTemplate;
  return kChords;
}

struct Message {
  int tick;
  std::array<std::uint8_t, 3> data;
};

using Bytes = std::vector<std::uint8_t>;

void append(Bytes* bytes, std::uint32_t value, int count) {
  for (int i = count - 1; i >= 0; --i) bytes->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// All steps here are below 2^14 ticks.
void appendStep(Bytes* bytes, int ticks) {
  if (ticks >= 128) bytes->push_back(static_cast<std::uint8_t>(0x80 | (ticks >> 7)));
  bytes->push_back(static_cast<std::uint8_t>(ticks & 0x7F));
}

std::vector<Message> messagesOf(std::span<const Note> notes) {
  std::vector<Message> messages;
  const auto tickAt = [](double beat) { return static_cast<int>(beat * kTicksPerBeat); };
  for (const Note& note : notes) {
    messages.push_back({tickAt(note.beat), {kNoteOn, note.number, note.velocity}});
    messages.push_back({tickAt(note.beat + note.length), {kNoteOff, note.number, 64}});
  }
  std::stable_sort(messages.begin(), messages.end(),
                   [](const Message& a, const Message& b) { return a.tick < b.tick; });
  return messages;
}

}  // namespace

MidiFile standardPhrase(const std::string& prefix) {
  Bytes track;
  int tick = 0;
  for (const Message& message : messagesOf(notesFor(prefix))) {
    appendStep(&track, message.tick - tick);
    tick = message.tick;
    track.insert(track.end(), message.data.begin(), message.data.end());
  }
  const std::array<std::uint8_t, 4> end = {0x00, 0xFF, 0x2F, 0x00};
  track.insert(track.end(), end.begin(), end.end());
  Bytes file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1};
  append(&file, kTicksPerBeat, 2);
  const std::array<std::uint8_t, 4> kind = {'M', 'T', 'r', 'k'};
  file.insert(file.end(), kind.begin(), kind.end());
  append(&file, static_cast<std::uint32_t>(track.size()), 4);
  file.insert(file.end(), track.begin(), track.end());
  auto midi = MidiFile::parse(file);
  if (!midi) throw std::logic_error(midi.reason());
  return std::move(*midi);
}

}  // namespace morv::cli
