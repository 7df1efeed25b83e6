#pragma once

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/log/log.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/lv2/Lv2World.h"

namespace morv::lv2 {

// An LV2 host for tests: one instance, its ports, and what the host answers. Events are queued and go with
// the next cycle. Behind the audio lie guard words. What the plug-in has the worker do is done behind each
// cycle, so that a test's course is the same each time.
class Lv2Host {
 public:
  struct Offer {
    bool worker = true;
    bool log = true;
    bool notify = true;  // connects the port
    bool control = true;
  };

  Lv2Host(const Lv2World& world, double sampleRateHz, Offer offer);
  explicit Lv2Host(const Lv2World& world, double sampleRateHz = 48000.0)
      : Lv2Host(world, sampleRateHz, Offer{}) {}
  ~Lv2Host();
  Lv2Host(const Lv2Host&) = delete;
  Lv2Host& operator=(const Lv2Host&) = delete;

  bool isInstantiated() const { return instance_ != nullptr; }
  LilvInstance* instance() const { return instance_; }
  void activate();
  void deactivate();

  float& port(const std::string& symbol) { return controls_.at(symbol); }
  // Symbols of all control inputs that stand for parameters.
  std::vector<std::string> parameterSymbols() const;

  void midi(std::uint32_t frame, std::initializer_list<std::uint8_t> bytes) {
    midi(frame, std::span(bytes.begin(), bytes.size()));
  }
  void midi(std::uint32_t frame, std::span<const std::uint8_t> bytes);
  void noteOn(std::uint32_t frame, std::uint8_t note, std::uint8_t velocity = 100) {
    midi(frame, {0x90, note, velocity});
  }
  void noteOff(std::uint32_t frame, std::uint8_t note) { midi(frame, {0x80, note, 64}); }
  void position(std::uint32_t frame, double beatsPerMinute, float speed);
  // The same with a place in the song.
  void locate(std::uint32_t frame, double beatsPerMinute, float speed, std::int64_t songFrame,
              std::int64_t bar);
  void patchSet(std::uint32_t frame, const std::string& property, float value);
  void patchSet(std::uint32_t frame, const std::string& property, const std::string& value);
  void patchGet(std::uint32_t frame, const std::string& property);
  // The same for a subject.
  void patchSetOf(const std::string& subject, const std::string& property, float value);
  void patchGetOf(const std::string& subject, const std::string& property);
  // All properties in one message, those of text behind those of numbers.
  void patchPut(std::uint32_t frame, const std::vector<std::pair<std::string, float>>& numbers,
                const std::vector<std::pair<std::string, std::string>>& texts = {});
  // Any atom as it stands.
  void atom(std::uint32_t frame, std::vector<std::uint8_t> bytes) {
    events_.push_back({frame, std::move(bytes)});
  }

  // One cycle; its audio is appended to `left` and `right` while `keepsAudio`.
  void run(std::uint32_t frames);
  // Cycles of `cycle` frames up to `frames` in all, the last one shorter.
  void runFor(std::uint64_t frames, std::uint32_t cycle = 64);
  // The plug-in's own part of a cycle alone: no worker, no check, nothing kept. Buffers hold `frames`.
  void runBare(std::uint32_t frames) { lilv_instance_run(instance_, frames); }
  // Makes ready for `runBare`: puts the queued events into the port.
  void layOutEvents();
  void work();
  // One piece of work, if any; any thread, beside `runBare`.
  void workOnce();
  // Forgets what the plug-in wants done.
  void dropWork() { workRequests_ = 0; }
  // Bytes that the plug-in may use for messages from now on.
  void leaveRoomForNotices(std::uint32_t bytes) { noticeBytes_ = bytes; }
  void reserve(std::uint32_t frames);

  // The saved text, by the plug-in's own interface; none if it saved nothing.
  std::optional<std::string> save();
  LV2_State_Status restore(const std::string& text);

  bool guardsAreWhole() const;
  // Messages that the plug-in has given, as "property=value", "StateChanged" or "midi:90 3c 64".
  std::vector<std::string> notices;
  std::vector<std::string> logged;
  std::vector<float> left;
  std::vector<float> right;
  bool keepsAudio = true;
  // Samples so far that were no finite number or a subnormal one, and the greatest magnitude.
  std::uint64_t badSamples = 0;
  float peak = 0;
  const std::vector<float>& lastLeft() const { return bufferLeft_; }
  const std::vector<float>& lastRight() const { return bufferRight_; }

 private:
  struct Event {
    std::uint32_t frame;
    std::vector<std::uint8_t> atom;
  };
  template <typename Write>
  void addObject(std::uint32_t frame, const std::string& type, Write&& write);
  void connect();
  void readNotices();
  const LV2_State_Interface* stateInterface() const;

  const Lv2World& world_;
  const Offer offer_;
  LilvInstance* instance_ = nullptr;
  LV2_URID_Map map_{};
  LV2_URID_Unmap unmap_{};
  LV2_Worker_Schedule schedule_{};
  LV2_Log_Log log_{};
  LV2_Atom_Forge forge_{};
  std::vector<Event> events_;
  std::vector<std::uint64_t> control_;
  std::vector<std::uint64_t> notify_;
  std::vector<float> bufferLeft_;
  std::vector<float> bufferRight_;
  std::map<std::string, float> controls_;
  std::atomic<int> workRequests_{0};
  std::uint32_t noticeBytes_ = 16000;
  bool isActive_ = false;
};

}  // namespace morv::lv2
