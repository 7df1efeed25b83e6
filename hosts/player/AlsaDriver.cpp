#include "hosts/player/AlsaDriver.h"

#include <RtAudio.h>
#include <RtMidi.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>
#include <thread>
#include <utility>

#include "hosts/player/AlsaDeviceChoice.h"
#include "hosts/player/AlsaDevices.h"
#include "hosts/player/SilencedErrors.h"

namespace morv::player {
namespace {

constexpr unsigned kChannels = 2;
constexpr unsigned kCyclesInDevice = 2;
constexpr unsigned kStandardLatencyFrames = 256;
constexpr int kPriority = 60;  // below the kernel's sound threads
constexpr double kSecondsBetweenTries = 1.0;
constexpr auto kWaitForACycle = std::chrono::milliseconds(1);
constexpr int kMostWaitsForACycle = 200;

double clockSeconds() noexcept {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void ignoreMidiError(RtMidiError::Type /*type*/, const std::string& /*text*/, void* /*data*/) {}

}  // namespace

AlsaDriver::AlsaDriver(PlayerEngine& engine, DriverOptions options)
    : engine_(engine), options_(std::move(options)) {}

AlsaDriver::~AlsaDriver() { AlsaDriver::close(); }

Outcome AlsaDriver::open() {
  if (Outcome opened = openAudio(); !opened.ok()) return opened;
  if (!openMidi()) options_.log("no ALSA sequencer: nothing can be played over MIDI");
  return Done{};
}

Outcome AlsaDriver::openAudio() {
  const auto devices = listAlsaDevices();
  if (!devices) return devices.failure();
  const auto device = chooseAlsaDevice(options_.device, devices.value());
  if (!device) return device.failure();
  const auto rate = chooseAlsaRate(options_.sampleRateHz, device.value());
  if (!rate) return rate.failure();
  sampleRateHz_ = rate.value();
  if (Outcome ready = engine_.prepare(sampleRateHz_); !ready.ok()) return ready;

  unsigned frames = options_.latencyFrames > 0 ? options_.latencyFrames : kStandardLatencyFrames;
  if (Outcome started = startStream(device.value().number, &frames); !started.ok()) {
    return Failure{"ALSA device '" + device.value().name + "': " + started.failure().reason};
  }
  options_.details("ALSA device '" + device.value().name + "', " + std::to_string(rate.value()) + " Hz, " +
                   std::to_string(frames) + " frames in a cycle");
  return Done{};
}

Outcome AlsaDriver::startStream(unsigned device, unsigned* frames) {
  const SilencedErrors silence;
  try {
    auto audio = std::make_unique<RtAudio>(RtAudio::LINUX_ALSA);
    audio->showWarnings(false);
    RtAudio::StreamParameters output;
    output.deviceId = device;
    output.nChannels = kChannels;
    RtAudio::StreamOptions stream;
    stream.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_SCHEDULE_REALTIME;
    stream.numberOfBuffers = kCyclesInDevice;
    stream.priority = kPriority;
    stream.streamName = options_.clientName;
    const auto callback = [](void* out, void*, unsigned count, double, RtAudioStreamStatus status,
                             void* driver) {
      auto* self = static_cast<AlsaDriver*>(driver);
      if (status != 0) ++self->underflows_;
      auto* samples = static_cast<float*>(out);
      self->render(samples, samples + count, count);
      return 0;
    };
    audio->openStream(&output, nullptr, RTAUDIO_FLOAT32, static_cast<unsigned>(sampleRateHz_), frames,
                      callback, this, &stream, [](RtAudioError::Type, const std::string&) {});
    const std::uint64_t before = frames_;
    audio->startStream();
    // The library's own thread writes to the error stream as it begins.
    for (int i = 0; i < kMostWaitsForACycle && frames_ == before; ++i)
      std::this_thread::sleep_for(kWaitForACycle);
    audio_ = std::move(audio);
  } catch (const std::exception& error) {
    return Failure{error.what()};
  }
  return Done{};
}

bool AlsaDriver::openMidi() {
  const SilencedErrors silence;
  try {
    midiIn_ = std::make_unique<RtMidiIn>(RtMidi::LINUX_ALSA, options_.clientName);
    midiIn_->setErrorCallback(ignoreMidiError);
    midiIn_->setCallback([](double, std::vector<unsigned char>* message,
                            void* driver) { static_cast<AlsaDriver*>(driver)->takeMidi(*message); },
                         this);
    midiIn_->openVirtualPort("midi_in");
    midiOut_ = std::make_unique<RtMidiOut>(RtMidi::LINUX_ALSA, options_.clientName);
    midiOut_->setErrorCallback(ignoreMidiError);
    midiOut_->openVirtualPort("midi_out");
  } catch (const std::exception&) {
    midiIn_.reset();
    midiOut_.reset();
    return false;
  }
  return true;
}

void AlsaDriver::turn(double seconds) {
  watchDevice(seconds);
  if (isWaiting_ && seconds >= nextTry_) {
    nextTry_ = seconds + kSecondsBetweenTries;
    if (openAudio().ok()) {
      isWaiting_ = false;
      options_.log("the ALSA device is back");
    }
  }
  sendMidi();
  if (const std::uint32_t underflows = underflows_; underflows != toldUnderflows_) {
    options_.details(std::to_string(underflows - toldUnderflows_) + " cycles came too late");
    toldUnderflows_ = underflows;
  }
}

void AlsaDriver::watchDevice(double seconds) {
  if (audio_ == nullptr) return;
  if (!isWatched_) {
    watch_.begin(seconds, sampleRateHz_, frames_);
    isWatched_ = true;
  }
  if (!watch_.isGone(seconds, frames_)) return;
  closeAudio();
  engine_.allNotesOff();
  options_.log("the ALSA device is gone; waiting for it");
  isWaiting_ = true;
  nextTry_ = seconds + kSecondsBetweenTries;
}

void AlsaDriver::sendMidi() {
  MidiMessage message;
  while (engine_.takeMidiOut(&message)) {
    if (midiOut_ != nullptr) midiOut_->sendMessage(message.bytes.data(), message.length);
  }
}

void AlsaDriver::close() {
  isWaiting_ = false;
  closeAudio();
  const SilencedErrors silence;
  midiIn_.reset();
  midiOut_.reset();
}

void AlsaDriver::closeAudio() {
  if (audio_ == nullptr) return;
  if (!stopStream()) options_.details("the ALSA device does not close");
  isWatched_ = false;
}

bool AlsaDriver::stopStream() {
  const SilencedErrors silence;
  bool isClosed = true;
  try {
    if (audio_->isStreamRunning()) audio_->abortStream();
    audio_->closeStream();
  } catch (const std::exception&) {
    isClosed = false;
  }
  audio_.reset();
  return isClosed;
}

void AlsaDriver::render(float* left, float* right, std::uint32_t frames) noexcept {
  frames_.fetch_add(frames, std::memory_order_relaxed);
  arrivals_.beginCycle(clockSeconds(), frames, sampleRateHz_);
  const bool isReady = engine_.begin(sampleRateHz_, frames, left, right);
  std::uint32_t frame = 0;
  MidiMessage message;
  while (arrivals_.take(&frame, &message)) {
    if (isReady) engine_.addMidi(frame, message.view());
  }
  if (isReady) engine_.end();
}

void AlsaDriver::takeMidi(const std::vector<unsigned char>& message) noexcept {
  MidiMessage taken;
  if (message.empty() || message.size() > taken.bytes.size()) return;
  std::copy(message.begin(), message.end(), taken.bytes.begin());
  taken.length = static_cast<std::uint8_t>(message.size());
  arrivals_.push(clockSeconds(), taken);
}

}  // namespace morv::player
