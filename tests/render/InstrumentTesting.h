#pragma once

// A bank of voices that write down what the instrument asks of them, and helpers that speak of notes.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "render/ZRDSPInstrument.h"
#include "tests/platform/TakenDiagnostics.h"

namespace morv {

using Calls = std::vector<std::string>;

// printf into a string.
template <typename... Arguments>
std::string text(const char* format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  char line[160];
  std::snprintf(line, sizeof line, format, arguments...);
#pragma GCC diagnostic pop
  return line;
}

// What one bank of voices saw, in order: "voice: call".
struct VoiceLog {
  Calls calls;
  int depth = 0;       // of nested voice operations; only the outermost is written down
  int voicesMade = 0;  // numbers the voices of a bank
  static VoiceLog& shared() {
    static VoiceLog log;
    return log;
  }
};

// A voice with the behaviour of its base class that notes each operation called on it; "gateAt" is the form
// with a whole time, "gateAtTime" that with a fractional one. It adds its own levels to the mix. The "tone"
// parameter stands at address 1.
class RecordingVoice : public ZRDSPVoice {
 public:
  RecordingVoice(float sampleRateHz, int blockSizeFrames, int firstParameterAddress)
      : ZRDSPVoice(sampleRateHz, blockSizeFrames, firstParameterAddress),
        number(VoiceLog::shared().voicesMade++) {
    initParameter("tone", "Tone", addressCounter++, 0, 10, {}, ZRDSPParameterUnit::generic, 5, &tone);
  }

  void reset() override {}
  void resetTimeline(int mode) noexcept override { log("resetTimeline %i", mode); }
  void prepare(float sampleRateHz, int blockSizeFrames) override {
    ZRDSPVoice::prepare(sampleRateHz, blockSizeFrames);
    log("prepare %g %i", static_cast<double>(sampleRateHz), blockSizeFrames);
  }
  using ZRDSPVoice::setGateWithNoteAndPitchbend;
  using ZRDSPVoice::setGateWithNoteAndSampleTime;
  void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity, int time) noexcept override {
    const Nesting nesting;
    log("gateAt %i %i %i %i", newGate, newNote, newVelocity, time);
    ZRDSPVoice::setGateWithNoteAndSampleTime(newGate, newNote, newVelocity, time);
  }
  void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity,
                                    double time) noexcept override {
    const Nesting nesting;
    log("gateAtTime %i %i %i %.9g", newGate, newNote, newVelocity, time);
    ZRDSPVoice::setGateWithNoteAndSampleTime(newGate, newNote, newVelocity, time);
  }
  void setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity, float bend,
                                   int newSampleTime) noexcept override {
    const Nesting nesting;
    log("gate %i %i %i bend %g channel %i", newGate, newNote, newVelocity, static_cast<double>(bend),
        newSampleTime);
    ZRDSPVoice::setGateWithNoteAndPitchbend(newGate, newNote, newVelocity, bend, newSampleTime);
  }
  void setNote(int newNote) noexcept override {
    const Nesting nesting;
    log("note %i", newNote);
    ZRDSPVoice::setNote(newNote);
  }
  void setPitchbend(float bend) noexcept override {
    const Nesting nesting;
    log("bend %g", static_cast<double>(bend));
    ZRDSPVoice::setPitchbend(bend);
  }
  void addPitchbend(float amount, int scale) noexcept override {
    const Nesting nesting;
    log("addBend %g %i", static_cast<double>(amount), scale);
    ZRDSPVoice::addPitchbend(amount, scale);
  }
  void setPressure(float newPressure) noexcept override {
    const Nesting nesting;
    log("pressure %g", static_cast<double>(newPressure));
    ZRDSPVoice::setPressure(newPressure);
  }
  void setMIDICC(int controller, int value) noexcept override {
    const Nesting nesting;
    log("cc %i %i", controller, value);
    ZRDSPVoice::setMIDICC(controller, value);
  }
  void setGate(int newGate) noexcept override {
    const Nesting nesting;
    log("setGate %i", newGate);
    gate = newGate;
  }
  void runGenerator(float* left, float* right, int frames, float tempo) noexcept override {
    const Nesting nesting;
    log("run %i at %g", frames, static_cast<double>(tempo));
    seenDetune.push_back(detuneOffset);
    seenPosition.push_back(timelinePosition);
    seenTransport.push_back(transportState);
    for (int i = 0; i < frames; ++i) {
      left[i] += levelLeft;
      right[i] += levelRight;
    }
  }

  int number;
  float levelLeft = 0;
  float levelRight = 0;
  ZRDSPParameter tone;
  std::vector<float> seenDetune;  // at each block
  std::vector<double> seenPosition;
  std::vector<int> seenTransport;

 private:
  struct Nesting {
    Nesting() { ++VoiceLog::shared().depth; }
    ~Nesting() { --VoiceLog::shared().depth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
  };
  template <typename... Arguments>
  void log(const char* format, Arguments... arguments) {
    VoiceLog& shared = VoiceLog::shared();
    if (shared.depth <= 1) shared.calls.push_back(text("%i: ", number) + text(format, arguments...));
  }
};

constexpr unsigned kTurboFlags = 124;

// An instrument with a bank of recording voices, in Poly and ordinary MIDI mode.
class InstrumentFixture : public ::testing::Test {
 protected:
  InstrumentFixture() { build(4); }

  void build(int voices, unsigned flags = kTurboFlags) {
    VoiceLog::shared() = VoiceLog{};
    instrument = std::make_unique<ZRDSPInstrument>(44100.0F);
    instrument->initWithNumberOfVoices<RecordingVoice>(voices, 44100.0F, 1024, flags);
    instrument->midiMode = 0.0F;
    forget();
  }
  void useMPE() { instrument->midiMode = 1.0F; }
  void useUnison() {
    instrument->voiceMode = 1.0F;
    instrument->currentVoiceMode = 1;
  }
  // Drops what was written down so far.
  static void forget() {
    VoiceLog::shared().calls.clear();
    takeDiagnostics();
  }

  void noteOn(int note, int velocity = 100, int channel = 0) {
    instrument->setGateWithNote(channel, 1, note, velocity);
  }
  void noteOff(int note, int velocity = 0, int channel = 0) {
    instrument->setGateWithNote(channel, 0, note, velocity);
  }

  RecordingVoice& voice(int i) {
    return dynamic_cast<RecordingVoice&>(*instrument->voices.at(static_cast<std::size_t>(i)));
  }
  int numberOf(const ZRDSPVoice* voice) const {
    return voice == nullptr ? -1 : dynamic_cast<const RecordingVoice&>(*voice).number;
  }
  // Which voice a note is kept under, -1 for none.
  int holderOf(int note) const { return numberOf(instrument->heldNotes.valueOr(note, nullptr)); }
  int channelVoice(int channel) const {
    return numberOf(instrument->channelVoices.valueOr(channel, nullptr));
  }
  int channelNote(int channel) const { return instrument->channelNotes.valueOr(channel, -1); }
  std::vector<int> gates() {
    std::vector<int> list;
    for (const auto& v : instrument->voices) list.push_back(v->gate);
    return list;
  }
  std::vector<int> order() const { return {instrument->noteOrder.begin(), instrument->noteOrder.end()}; }
  std::vector<int> stack() const {
    std::vector<int> notes;
    for (const NoteState& state : instrument->noteStack) notes.push_back(state.note);
    return notes;
  }
  std::vector<int> sustained() const {
    std::vector<int> list;
    for (const ZRDSPVoice* v : instrument->sustainedVoices) list.push_back(numberOf(v));
    return list;
  }
  // What one voice was asked since `forget`.
  static Calls callsOf(int number) {
    Calls calls;
    const std::string prefix = text("%i: ", number);
    for (const std::string& call : VoiceLog::shared().calls) {
      if (call.rfind(prefix, 0) == 0) calls.push_back(call.substr(prefix.size()));
    }
    return calls;
  }
  static const Calls& allCalls() { return VoiceLog::shared().calls; }

  std::unique_ptr<ZRDSPInstrument> instrument;
};

// Renders blocks of recording voices at full volume.
class RenderFixture : public InstrumentFixture {
 protected:
  RenderFixture() {
    // Without `prepare` the volume follower is at once where it is sent.
    instrument->volume = 1.0F;
  }
  void render(int frames = 16) {
    left.assign(8192, 99.0F);
    right.assign(8192, 99.0F);
    instrument->runInstrument(left.data(), right.data(), frames, 120.0F, 0.0);
  }
  void setLevels(float leftLevel, float rightLevel) {
    for (std::size_t i = 0; i < instrument->voices.size(); ++i) {
      voice(static_cast<int>(i)).levelLeft = leftLevel;
      voice(static_cast<int>(i)).levelRight = rightLevel;
    }
  }
  std::vector<float> detunes() {
    std::vector<float> list;
    for (std::size_t i = 0; i < instrument->voices.size(); ++i) {
      const auto& seen = voice(static_cast<int>(i)).seenDetune;
      if (!seen.empty()) list.push_back(seen.back());
    }
    return list;
  }
  std::vector<float> left, right;
};

}  // namespace morv
