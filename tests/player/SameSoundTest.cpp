// One and the same piece through the plug-in in another program's host, through the player, and through the
// command line: it is the same signal, bit for bit.

#include <gmock/gmock.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/hosts/MidiBytes.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {
namespace {

constexpr std::uint32_t kRate = 48000;
constexpr std::uint32_t kFramesPerTick = 25;  // 960 ticks per quarter note at 120 beats per minute
constexpr std::uint32_t kFirstTick = 7680;    // four seconds on, when every follower of a setting has settled
constexpr std::uint32_t kSoundFrames = 3 * kRate;

struct Event {
  std::uint32_t tick;
  std::vector<std::uint8_t> message;
};

// Notes that are stolen, tied and held, wheel, bend and pressure, at frames all over a cycle.
std::vector<Event> piece() {
  std::vector<Event> events;
  const std::array<std::uint8_t, 10> notes = {48, 55, 60, 64, 67, 71, 74, 79, 83, 86};
  for (std::uint32_t i = 0; i < notes.size(); ++i) {
    events.push_back({kFirstTick + i * 133, {0x90, notes[i], static_cast<std::uint8_t>(40 + 8 * i)}});
    events.push_back({kFirstTick + i * 133 + 71, {0xB0, 1, static_cast<std::uint8_t>(12 * i)}});
    events.push_back({kFirstTick + i * 133 + 97, {0xE0, 17, static_cast<std::uint8_t>(64 + i)}});
    events.push_back({kFirstTick + i * 133 + 101, {0xD0, static_cast<std::uint8_t>(10 * i)}});
    events.push_back({kFirstTick + 1500 + i * 211, {0x80, notes[i], 64}});
  }
  std::stable_sort(events.begin(), events.end(),
                   [](const Event& a, const Event& b) { return a.tick < b.tick; });
  return events;
}

Bytes midiFileOf(const std::vector<Event>& events) {
  Bytes track;
  std::uint32_t tick = 0;
  for (const Event& event : events) {
    const std::uint32_t delta = event.tick - tick;
    tick = event.tick;
    if (delta >= 128) track.push_back(static_cast<std::uint8_t>(0x80U | delta >> 7U));
    track.push_back(static_cast<std::uint8_t>(delta & 0x7FU));
    track.insert(track.end(), event.message.begin(), event.message.end());
  }
  return singleTrack(track, 960);
}

// Sends a piece from one cycle on and keeps what comes back from then on.
class Performer {
 public:
  explicit Performer(std::vector<Event> events)
      : events_(std::move(events)), left_(kSoundFrames), right_(kSoundFrames) {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
    holdsWithin(20, [this] {
      client_ = jack_client_open("performer", JackNoStartServer, nullptr);
      return client_ != nullptr;
    });
    if (client_ == nullptr) return;
    midi_ = jack_port_register(client_, "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    in_ = {jack_port_register(client_, "left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0),
           jack_port_register(client_, "right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0)};
    jack_set_process_callback(
        client_,
        [](jack_nframes_t frames, void* self) { return static_cast<Performer*>(self)->process(frames); },
        this);
    jack_activate(client_);
  }
  ~Performer() {
    if (client_ != nullptr) jack_client_close(client_);
  }
  Performer(const Performer&) = delete;
  Performer& operator=(const Performer&) = delete;

  bool isOpen() const { return client_ != nullptr; }
  bool connect(const std::string& from, const std::string& to) {
    return holdsWithin(20, [&] {
      const int error = jack_connect(client_, from.c_str(), to.c_str());
      return error == 0 || error == EEXIST;
    });
  }
  // Performs without regard to time, so that no cycle is missed on a busy machine. False if it did not end.
  bool perform() {
    if (jack_set_freewheel(client_, 1) != 0) return false;
    const bool hasEnded = holdsWithin(60, [this] { return hasEnded_.load(); });
    jack_set_freewheel(client_, 0);
    return hasEnded;
  }
  const std::vector<float>& left() const { return left_; }
  const std::vector<float>& right() const { return right_; }

 private:
  static constexpr std::uint32_t kWaitFrames = 4 * kRate;

  int process(jack_nframes_t frames) noexcept {
    void* out = jack_port_get_buffer(midi_, frames);
    jack_midi_clear_buffer(out);
    waited_ += frames;
    if (waited_ <= kWaitFrames || hasEnded_) return 0;
    for (; next_ < events_.size(); ++next_) {
      const std::uint32_t at = (events_[next_].tick - kFirstTick) * kFramesPerTick;
      if (at >= position_ + frames) break;
      jack_midi_event_write(out, at - position_, events_[next_].message.data(),
                            events_[next_].message.size());
    }
    const std::uint32_t kept = std::min<std::uint32_t>(frames, kSoundFrames - position_);
    std::copy_n(static_cast<const float*>(jack_port_get_buffer(in_[0], frames)), kept,
                left_.begin() + position_);
    std::copy_n(static_cast<const float*>(jack_port_get_buffer(in_[1], frames)), kept,
                right_.begin() + position_);
    position_ += kept;
    if (position_ == kSoundFrames) hasEnded_ = true;
    return 0;
  }

  const std::vector<Event> events_;
  jack_client_t* client_ = nullptr;
  jack_port_t* midi_ = nullptr;
  std::array<jack_port_t*, 2> in_{};
  std::vector<float> left_;
  std::vector<float> right_;
  std::uint32_t waited_ = 0;
  std::uint32_t position_ = 0;
  std::size_t next_ = 0;
  std::atomic<bool> hasEnded_{false};
};

class SameSound : public PlayerFixture {
 protected:
  // What the command line makes of the piece, both channels from the first event on.
  std::array<std::vector<float>, 2> rendered(const std::vector<Event>& events) {
    const std::string midi = folder_.write("piece.mid", midiFileOf(events));
    const std::string wave = folder_.path("piece.wav");
    auto program =
        start({"render", "--midi", midi, "--out", wave, "--rate", std::to_string(kRate), "--seconds", "8"});
    EXPECT_EQ(program->status(60), 0) << program->messages();
    SF_INFO info{};
    SNDFILE* file = sf_open(wave.c_str(), SFM_READ, &info);
    std::array<std::vector<float>, 2> channels;
    if (file == nullptr) return channels;
    std::vector<float> samples(static_cast<std::size_t>(info.frames) * 2);
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    for (std::size_t i = kFirstTick * kFramesPerTick * 2; i + 1 < samples.size(); i += 2) {
      channels[0].push_back(samples[i]);
      channels[1].push_back(samples[i + 1]);
    }
    return channels;
  }
  // The way from the performer and back takes whole cycles, so both are laid side by side from their first
  // sound on.
  static void expectSame(const std::vector<float>& heard, const std::vector<float>& expected) {
    const auto isSound = [](float sample) { return sample != 0.0F; };
    const auto from = std::find_if(heard.begin(), heard.end(), isSound);
    const auto expectedFrom = std::find_if(expected.begin(), expected.end(), isSound);
    ASSERT_NE(from, heard.end());
    ASSERT_NE(expectedFrom, expected.end());
    const auto compared = std::min(heard.end() - from, expected.end() - expectedFrom);
    ASSERT_GT(compared, 2 * static_cast<std::ptrdiff_t>(kRate));
    for (std::ptrdiff_t i = 0; i < compared; ++i) {
      ASSERT_EQ(from[i], expectedFrom[i]) << "frame " << i << " of " << compared;
    }
  }
  void perform(Performer& performer, const std::string& client, const std::string& midiPort) {
    ASSERT_TRUE(performer.connect("performer:midi", client + ":" + midiPort));
    ASSERT_TRUE(performer.connect(client + ":out_left", "performer:left"));
    ASSERT_TRUE(performer.connect(client + ":out_right", "performer:right"));
    ASSERT_TRUE(performer.perform());
    const auto expected = rendered(piece());
    expectSame(performer.left(), expected[0]);
    expectSame(performer.right(), expected[1]);
  }
};

#ifdef MORV_LV2_PATH  // what a sanitizer has built cannot be loaded by others
TEST_F(SameSound, OfThePlugInInAnotherProgramsHostAndOfTheCommandLine) {
  const auto server = startServer(true);
  Performer performer(piece());
  ASSERT_TRUE(performer.isOpen()) << server->messages();
  const StartedProgram host({"jalv", "-n", "host", "https://morv.org/lv2/morv"},
                            {{"LV2_PATH", MORV_LV2_PATH},
                             {"HOME", folder_.path("home")},
                             {"XDG_CONFIG_HOME", folder_.path("config")},
                             {"XDG_DATA_HOME", folder_.path("data")}},
                            folder_.path("host"));
  perform(performer, "host", "control");
  if (HasFailure()) std::fprintf(stderr, "%s\n%s\n", host.messages().c_str(), server->messages().c_str());
}
#endif

TEST_F(SameSound, OfThePlayerAndOfTheCommandLine) {
  const auto server = startServer(true);
  Performer performer(piece());
  ASSERT_TRUE(performer.isOpen()) << server->messages();
  const auto player = start({"play", "--no-connect", "--client-name", "player"});
  perform(performer, "player", "midi_in");
  if (HasFailure()) std::fprintf(stderr, "%s\n", player->messages().c_str());
}

}  // namespace
}  // namespace morv
