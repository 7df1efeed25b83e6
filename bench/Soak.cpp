// Half a day at the keyboard in a few minutes: the plug-in in a host, with random notes, controllers,
// automation, preset changes, sessions saved and restored. Every quarter of an hour of sound the player lets
// everything go, and then it must be silent. Ends with 1 at the first fault.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Arguments.h"
#include "bench/OwnHome.h"
#include "platform/Random.h"
#include "tests/lv2/Lv2Host.h"

namespace morv::lv2 {
namespace {

constexpr double kRateHz = 48000;
constexpr std::uint32_t kLongestCycle = 1024;
constexpr double kSecondsBetweenRests = 900;
constexpr float kSilence = 1.0e-5F;              // -100 dBFS
constexpr double kGreatestGrowth = 1024 * 1024;  // bytes an hour of sound

double residentBytes() {
  std::ifstream file("/proc/self/statm");
  double all = 0;
  double resident = 0;
  file >> all >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

class Soak {
 public:
  Soak(double hours, std::uint64_t seed) : seconds_(hours * 3600), random_(seed) {
    host_.keepsAudio = false;
    for (const std::string& symbol : host_.parameterSymbols()) {
      const auto [least, greatest] = world_.rangeOf(symbol);
      knobs_.push_back({symbol, least, greatest, host_.port(symbol)});
    }
    host_.activate();
  }

  // Whether nothing went wrong.
  bool run() {
    const auto begin = std::chrono::steady_clock::now();
    double nextRest = kSecondsBetweenRests;
    while (now() < seconds_) {
      play();
      if (!isWell()) return false;
      if (now() < std::min(nextRest, seconds_)) continue;
      nextRest += kSecondsBetweenRests;
      if (!rests() || !isWell()) return false;
      watchMemory();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    const double growth = growthPerHour();
    std::printf("%.1f hours of sound in %.0f s (%.0f times real time), %ld events, %ld rests, all silent\n",
                now() / 3600, took.count(), now() / took.count(), events_, rests_);
    std::printf("samples that are no number: %lu; peak %.1f dBFS; memory %.1f MB at the end, ",
                static_cast<unsigned long>(host_.badSamples), 20 * std::log10(static_cast<double>(peak_)),
                residentBytes() / 1e6);
    std::printf(readings_.size() < 2 ? "too short a time to tell its growth\n" : "%+.1f KB an hour\n",
                growth / 1e3);
    return growth < kGreatestGrowth || fail("memory grows");
  }

 private:
  struct Knob {
    std::string symbol;
    float least;
    float greatest;
    float usual;
  };
  struct Reading {
    double hours;
    double bytes;
  };

  double now() const { return static_cast<double>(frames_) / kRateHz; }
  std::uint8_t draw(std::uint32_t below) { return static_cast<std::uint8_t>(random_.nextBits() % below); }
  bool isWell() const {
    if (host_.badSamples > 0) return fail("a sample is no number");
    return fault_.empty() || fail(fault_.c_str());
  }
  bool fail(const char* what) const {
    std::printf("%s after %.1f s of sound\n", what, now());
    return false;
  }

  void play() {
    const auto cycle = static_cast<std::uint32_t>(1 + random_.nextBits() % kLongestCycle);
    for (int i = draw(3); i > 0; --i) sendEvent(static_cast<std::uint32_t>(random_.nextBits() % cycle));
    if (draw(4) == 0) {
      Knob& knob = knobs_[random_.nextBits() % knobs_.size()];
      host_.port(knob.symbol) = knob.least + (knob.greatest - knob.least) * random_.unit31();
    }
    if (random_.nextBits() % 2000 == 0) host_.midi(0, {0xC0, draw(16)});
    if (random_.nextBits() % 5000 == 0) {
      if (const auto saved = host_.save()) host_.restore(*saved);
    }
    if (random_.nextBits() % 500 == 0) host_.position(0, 20 + draw(255), draw(2));
    runFor(cycle);
  }
  void sendEvent(std::uint32_t frame) {
    const std::uint8_t channel = draw(16);
    const auto status = [&](std::uint8_t kind) { return static_cast<std::uint8_t>(kind | channel); };
    switch (draw(10)) {
      case 0:
        host_.midi(frame, {status(0xB0), draw(120), draw(128)});
        break;
      case 1:
        host_.midi(frame, {status(0xE0), draw(128), draw(128)});
        break;
      case 2:
        host_.midi(frame, {status(0xD0), draw(128)});
        break;
      case 3:
        host_.midi(frame, {status(0xA0), draw(128), draw(128)});
        break;
      case 4:
      case 5:
      case 6:
        host_.midi(frame, {status(0x80), draw(128), draw(128)});
        break;
      default:
        host_.midi(frame, {status(0x90), draw(128), draw(128)});
        break;
    }
    ++events_;
  }
  // All pedals and keys up, one by one, the parameters at their usual values with short releases and dry:
  // what sounds on is stuck.
  bool rests() {
    constexpr std::uint8_t kSustain = 64;
    constexpr std::uint8_t kKeys = 128;
    for (int i = 0; i < 2 * 47; ++i) runFor(kLongestCycle);  // presets that are on their way arrive
    // A port counts when it moves. A move of a mode may end notes by itself, so these stay; only an
    // arpeggiator that runs, which a preset may have begun without the port, is ended.
    if (isArpeggiatorOn()) {
      host_.port("arpEnabled") = 1;
      runFor(64);
    }
    constexpr std::array<std::string_view, 5> kModes{"midiMode", "voiceMode", "voiceNumber", "legato",
                                                     "arpEnabled"};
    for (const bool isBack : {false, true}) {
      for (const Knob& knob : knobs_) {
        if (std::find(kModes.begin(), kModes.end(), knob.symbol) != kModes.end()) continue;
        const float elsewhere = knob.usual == knob.least ? knob.greatest : knob.least;
        host_.port(knob.symbol) = isBack ? knob.usual : elsewhere;
      }
      if (isBack) host_.port("midiChannel") = -1;
      if (isBack) host_.port("arpEnabled") = 0;
      runFor(64);
    }
    for (const char* symbol : {"vachorus_chorusBypass", "basicdelay_echoBypass", "ecoverb_reverbBypass"}) {
      host_.port(symbol) = 1;
    }
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      host_.midi(0, {static_cast<std::uint8_t>(0xB0 | channel), kSustain, 0});
      runFor(64);
      // The lowest key has no note-off but a note-on without velocity.
      host_.midi(0, {static_cast<std::uint8_t>(0x90 | channel), 0, 0});
      for (std::uint8_t key = 1; key < kKeys; ++key) {
        host_.midi(0, {static_cast<std::uint8_t>(0x80 | channel), key, 0});
        if (key % 32 == 0) runFor(64);
      }
      runFor(64);
    }
    for (int i = 0; i < 20 * 47; ++i) runFor(kLongestCycle);
    host_.peak = 0;
    runFor(kLongestCycle);
    ++rests_;
    if (host_.peak < kSilence) return true;
    std::printf("%.1f dBFS: ", 20 * std::log10(static_cast<double>(host_.peak)));
    return fail("a note is stuck");
  }
  bool isArpeggiatorOn() {
    const std::string text = host_.save().value_or("");
    const std::size_t key = text.find("<key>arpEnabled</key>");
    const std::size_t value = text.find("<real>", key);
    return key == std::string::npos || std::strtof(text.c_str() + value + 6, nullptr) != 0.0F;
  }
  void runFor(std::uint32_t frames) {
    host_.run(frames);
    frames_ += frames;
    peak_ = std::max(peak_, host_.peak);
    host_.notices.clear();
    for (const std::string& line : host_.logged) {
      if (line.find("no number") != std::string::npos) fault_ = line;
    }
    host_.logged.clear();
  }
  // From the first hour on; what a process takes at its beginning is none of it.
  void watchMemory() {
    if (now() >= 3600) readings_.push_back({now() / 3600, residentBytes()});
  }
  // The slope of the straight line through the readings.
  double growthPerHour() const {
    if (readings_.size() < 2) return 0;
    double hours = 0;
    double bytes = 0;
    for (const Reading& each : readings_) {
      hours += each.hours / static_cast<double>(readings_.size());
      bytes += each.bytes / static_cast<double>(readings_.size());
    }
    double product = 0;
    double square = 0;
    for (const Reading& each : readings_) {
      product += (each.hours - hours) * (each.bytes - bytes);
      square += (each.hours - hours) * (each.hours - hours);
    }
    return product / square;
  }

  const double seconds_;
  Random random_;
  const Lv2World world_;
  Lv2Host host_{world_, kRateHz};
  std::vector<Knob> knobs_;
  std::vector<Reading> readings_;
  std::uint64_t frames_ = 0;
  float peak_ = 0;
  std::string fault_;  // what the plug-in has last reported of one
  long events_ = 0;
  long rests_ = 0;
};

}  // namespace
}  // namespace morv::lv2

// soak [HOURS [SEED]]: hours of sound, 12 if not given.
int main(int argc, char** argv) {
  morv::Arguments arguments(argc, argv, "soak [HOURS [SEED]], 0.01 to 1000 hours");
  const double hours = arguments.number(12, 0.01, 1000);
  const std::uint64_t seed = arguments.seed(1);
  arguments.end();
  const morv::OwnHome home;
  std::printf("seed %lu\n", static_cast<unsigned long>(seed));
  const bool isWell = morv::lv2::Soak(hours, seed).run();
  return isWell ? 0 : 1;
}
