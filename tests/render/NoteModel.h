#pragma once

// A second, plain form of the note allocator, on maps and vectors that grow. It tells what each voice is
// asked, in the words of RecordingVoice, so that long random play can be held against the instrument.

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {

struct ModelVoice {
  int gate = 0;
  int note = 0;
  int channel = 0;
  float range = 48;
  float pan = 0;
};

struct ModelHeld {
  int note, channel;
  float velocity, bend, pressure, slide;
};

class NoteModel {
 public:
  NoteModel(int voiceCount, std::uint64_t seed)
      : voices(static_cast<std::size_t>(voiceCount)), random_(Random::derive(seed, 0)) {}

  // Parameters.
  bool mpe = false, arp = false, latch = false, legato = false;
  int mode = 0;  // as the parameter has it
  int midiChannel = -1, voiceNumber = 0, priority = 0, wheelRange = 3;
  float panSpread = 0, wheelAmount = 1, slideAmount = 0, pressureAmount = 0, mpeRange = 48;

  // State.
  std::vector<ModelVoice> voices;
  std::map<int, int> held, channelNote, channelVoice;  // the first and the last give a voice's number
  std::vector<int> sustained, order;
  std::vector<ModelHeld> stack;
  bool pedal = false;
  int modeNow = 0, index = 0, lastNote = 0, lastChannel = 0, lastReleased = 0;
  float bendValue = 0, bendNow = 0, arpCounter = 0, arpStep = 0;
  Calls calls;
  std::string lines;

  void noteEvent(int channel, int on, int note, int velocity) {
    if (pedal && on == 0) {
      const int v = voiceFor(note, channel);
      if (v >= 0) sustained.push_back(v);
      return;
    }
    modeNow = mode;
    if (foreign(channel)) return;
    if (modeNow == 0 && on != 0) {
      polyOn(search(), channel, on, note, velocity);
    } else if (modeNow == 0) {
      if (!(held.empty() && channelNote.empty() && channelVoice.empty())) {
        const int v = voiceFor(note, channel);
        if (v >= 0) polyOff(v, channel, note);
      }
    } else {
      note = unison(channel, on, note, velocity);
    }
    finish(-1, channel, on, note);
  }

  void namedEvent(int channel, int on, int note, int velocity, int v) {
    if (pedal && on == 0) {
      const int found = voiceFor(note, channel);
      if (found >= 0) sustained.push_back(found);
      return;
    }
    modeNow = mode;
    if (foreign(channel)) return;
    if (on != 0) {
      polyOn(v, channel, on, note, velocity);
    } else if (!(held.empty() && channelNote.empty() && channelVoice.empty())) {
      polyOff(v, channel, note);
    }
    finish(v, channel, on, note);
  }

  void allNotesOff() {
    for (std::size_t v = 0; v < voices.size(); ++v) {
      say(v, "setGate 0");
      voices[v].gate = 0;
    }
    if (modeNow == 0) held.clear();
    index = 0;
    order.clear();
    channelNote.clear();
  }

  void sustain(int value) {
    if (pedal && value == 0) {
      pedal = false;
      const std::vector<int> list = sustained;
      for (const int v : list) noteEvent(at(v).channel, 0, at(v).note, 0);
      sustained.clear();
    }
    pedal = value != 0;
  }

  void controller(int channel, int number, int value) {
    if (foreign(channel)) return;
    if (channel > 0) {
      if (number == 6) lines += text("Received NRP value: %i\n", value);
      if (number == 100) lines += text("Received NRP LSB: %i\n", value);
      if (number == 101) lines += text("Received NRP MSB: %i\n", value);
    }
    if (channel == 0 || !mpe) {
      const float scaled = number == 1 ? static_cast<float>(value) * wheelAmount : static_cast<float>(value);
      for (std::size_t v = 0; v < voices.size(); ++v)
        say(v, text("cc %i %i", number, static_cast<int>(scaled)));
      return;
    }
    const float scaled = static_cast<float>(value) * slideAmount;
    const std::string call = text("cc %i %i", number, static_cast<int>(scaled));
    if (modeNow == 0) {
      if (channelVoice.count(channel) != 0) say(static_cast<std::size_t>(channelVoice[channel]), call);
      return;
    }
    for (ModelHeld& h : stack) {
      if (number == 74 && h.channel == channel) h.slide = scaled;
    }
    for (std::size_t v = 0; channel == lastChannel && v < voices.size(); ++v) say(v, call);
  }

  void bend(int channel, int value) {
    if (foreign(channel)) return;
    bendValue = static_cast<float>(value) / 16384.0F * 2.0F - 1.0F;
    lines += text("%i %f\n", channel, static_cast<double>(bendValue));
    for (std::size_t v = 0; v < voices.size(); ++v) bendVoice(v, channel);
    if (mpe && modeNow != 0 && channel > 0) {
      for (ModelHeld& h : stack) {
        if (h.channel == channel) h.bend = bendValue;
      }
    }
  }

  void channelPressure(int channel, int value) {
    if (foreign(channel)) return;
    const std::string call = pressureCall(static_cast<float>(value) * pressureAmount);
    for (std::size_t v = 0; v < voices.size(); ++v) {
      const bool isIts = channelVoice.count(channel) != 0 && channelVoice[channel] == static_cast<int>(v);
      if (!mpe || (modeNow == 0 && isIts) || (modeNow != 0 && channel == lastChannel)) say(v, call);
    }
  }

  void polyPressure(int note, int value) {
    const float amount = static_cast<float>(value) * pressureAmount;
    lines += text("poly pressure:%f\n", static_cast<double>(amount));
    for (std::size_t v = 0; v < voices.size(); ++v) {
      const bool holds = held.count(note) != 0 && held[note] == static_cast<int>(v);
      if ((modeNow == 0 && holds) || (modeNow != 0 && note == lastNote)) say(v, pressureCall(amount));
    }
  }

 private:
  ModelVoice& at(int v) { return voices[static_cast<std::size_t>(v)]; }
  void say(std::size_t v, const std::string& what) {
    calls.push_back(text("%i: ", static_cast<int>(v)) + what);
  }
  void say(int v, const std::string& what) { say(static_cast<std::size_t>(v), what); }
  static std::string bendCall(float amount) { return text("bend %g", static_cast<double>(amount)); }
  static std::string pressureCall(float amount) { return text("pressure %g", static_cast<double>(amount)); }
  bool foreign(int channel) const { return !mpe && midiChannel >= 0 && channel != midiChannel; }
  int voiceFor(int note, int channel) {
    const std::map<int, int>& map = !mpe || channel < 1 ? held : channelVoice;
    const auto found = map.find(!mpe || channel < 1 ? note : channel);
    return found == map.end() ? -1 : found->second;
  }
  float drawPan() {
    return static_cast<float>(static_cast<double>(panSpread) * (0.5 - static_cast<double>(random_.unit31())) *
                              2.0);
  }

  int search() {
    if (index >= static_cast<int>(voices.size())) index = 0;
    int count = 0;
    while (at(index).gate != 0) {
      index = (index + 1) % voiceNumber;
      count += 1;
      if (count > voiceNumber) {
        sustained.erase(std::remove(sustained.begin(), sustained.end(), index), sustained.end());
        break;
      }
    }
    return index;
  }

  void greet(int v) {
    say(v, "pressure 0");
    say(v, "cc 74 0");
    say(v, bendCall(bendNow));
    at(v).pan = drawPan();
  }

  void gateWithBend(int v, int on, int note, int velocity, float amount, int channel) {
    say(v,
        text("gate %i %i %i bend %g channel %i", on, note, velocity, static_cast<double>(amount), channel));
    at(v).gate = on;
    at(v).channel = channel;
    if (on != 0) at(v).note = note;
  }

  void gateAt(int v, int on, int note, int velocity) {
    say(v, text("gateAt %i %i %i 0", on, note, velocity));
    at(v).gate = on;
    if (on != 0) at(v).note = note;
  }

  void changeNote(int v, int note) {
    say(v, text("note %i", note));
    at(v).note = note;
  }

  void polyOn(int v, int channel, int on, int note, int velocity) {
    greet(v);
    if (arp) {
      order.push_back(note);
      if (held.empty()) arpCounter = arpStep;
    } else {
      gateWithBend(v, on, note, velocity, bendNow, channel);
    }
    held[note] = v;
    channelVoice[channel] = v;
    channelNote[channel] = note;
    index = (index + 1) % voiceNumber;
    lastNote = note;
  }

  void polyOff(int v, int channel, int note) {
    gateWithBend(v, 0, note, 0, 0, channel);
    channelNote.erase(channel);
    if (!arp || !latch) held.erase(note);
    if (arp && !latch) {
      if (!order.empty()) order.pop_back();
      lastReleased = note;
    }
  }

  int unison(int channel, int on, int note, int velocity) {
    if (on != 0) {
      order.push_back(note);
      stack.push_back({note, channel, static_cast<float>(velocity), 0, 0, 0});
    } else if (!latch) {
      for (std::size_t i = 0; i < order.size(); ++i) {
        if (order[i] == note) order.erase(order.begin() + static_cast<std::ptrdiff_t>(i));
      }
      for (std::size_t i = 0; i < stack.size(); ++i) {
        if (stack[i].note == note) stack.erase(stack.begin() + static_cast<std::ptrdiff_t>(i));
      }
    }
    if (!stack.empty() && priority == 2) lastChannel = stack.back().channel;
    if (!stack.empty() && priority != 2) {
      std::stable_sort(stack.begin(), stack.end(), [this](const ModelHeld& a, const ModelHeld& b) {
        return priority == 0 ? a.note < b.note : b.note < a.note;
      });
      note = stack.front().note;
      lastChannel = stack.front().channel;
    }
    for (int v = 0; v < static_cast<int>(voices.size()); ++v) unisonVoice(v, channel, on, note, velocity);
    index += on != 0 ? 1 : -1;
    return note;
  }

  void unisonVoice(int v, int channel, int on, int note, int velocity) {
    if (on != 0) {
      greet(v);
      if (arp) {
        if (held.empty()) arpCounter = arpStep;
      } else if (!legato || index < 1) {
        gateAt(v, 0, note, 0);
        gateWithBend(v, on, note, velocity, 0, channel);
      } else {
        changeNote(v, note);
      }
      held[note] = v;
      channelNote[channel] = note;
      channelVoice[channel] = v;
      lastNote = note;
      return;
    }
    if (index == 1 || order.empty()) {
      gateAt(v, 0, note, 0);
      channelNote.erase(channel);
      if (!latch) {
        held.erase(note);
        lastReleased = note;
      }
      return;
    }
    if (stack.empty()) return;
    const ModelHeld next = stack.back();
    lastChannel = next.channel;
    say(v, "pressure 0");
    say(v, "cc 74 0");
    say(v, bendCall(next.bend));
    if (legato) {
      changeNote(v, next.note);
    } else {
      gateAt(v, 0, note, 0);
      gateAt(v, 1, next.note, velocity);
    }
    say(v, bendCall(next.bend));
    say(v, pressureCall(next.pressure));
    say(v, text("cc 74 %i", static_cast<int>(next.slide)));
    held.erase(note);
    channelNote.erase(channel);
  }

  // `namedVoice` is the voice that the caller named, -1 for none.
  void finish(int namedVoice, int channel, int on, int note) {
    if (index < 0) index = 0;
    if (held.empty()) {
      allNotesOff();
      held.clear();
    }
    lines += text("voice#: %i channel:%i gate:%i note:%i\n", namedVoice >= 0 ? namedVoice : index, channel,
                  on, note);
  }

  void bendVoice(std::size_t v, int channel) {
    ModelVoice& voice = voices[v];
    if (!mpe) {
      if (std::count(sustained.begin(), sustained.end(), static_cast<int>(v)) != 0) return;
      voice.range = bendValue > 0 ? 2.0F : 12.0F;
    } else if (modeNow == 0 && channel > 0) {
      if (channelVoice.count(channel) == 0 || channelVoice[channel] != static_cast<int>(v)) return;
      voice.range = mpeRange;
      say(v, bendCall(bendValue));
      return;
    } else if (modeNow == 0) {
      voice.range = static_cast<float>(wheelRange);
    } else if (channel > 0) {
      if (channel != lastChannel) return;
      voice.range = mpeRange;
      say(v, bendCall(bendValue));
      return;
    } else {
      voice.range = mpeRange;
      bendNow = bendValue;
      say(v, text("addBend %g %i", static_cast<double>(bendNow), wheelRange));
      return;
    }
    bendNow = bendValue;
    say(v, bendCall(bendNow));
  }

  Random random_;
};

}  // namespace morv
