// The pitch of notes as they leave the instrument.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <numbers>
#include <vector>

#include "render/ZQ3DSPKernel.h"

namespace morv {
namespace {

constexpr double kMostCents = 0.1;
constexpr int kBlock = 64;

class Player {
 public:
  explicit Player(double rate) : rate_(rate) {
    kernel_.init(2, 44100.0, 1024, 8);
    kernel_.prepare(rate, kBlock);
    list_.mNumberBuffers = 2;
    kernel_.setBuffers(nullptr, &list_);
    set("filterCutoff", 20000.0F);
    set("env1Sustain", 1.0F);
  }

  void set(const char* identifier, float value) {
    ZRDSPInstrument& instrument = *kernel_.instrument;
    kernel_.setParameter(static_cast<std::uint64_t>(instrument.addressForIdentifier(identifier)), value, 0);
  }

  void send(std::uint8_t status, int note, int velocity) {
    event_.MIDI = {};
    event_.MIDI.eventType = AURenderEventMIDI;
    event_.MIDI.eventSampleTime = static_cast<AUEventSampleTime>(time_.mSampleTime);
    event_.MIDI.length = 3;
    event_.MIDI.data = {status, static_cast<std::uint8_t>(note), static_cast<std::uint8_t>(velocity)};
    pending_ = &event_;
  }

  std::vector<float> render(double seconds) {
    std::vector<float> left(static_cast<std::size_t>(seconds * rate_ / kBlock) * kBlock);
    std::vector<float> right(left.size());
    for (std::size_t n = 0; n < left.size(); n += kBlock) {
      list_.mBuffers[0].mData = left.data() + n;
      list_.mBuffers[1].mData = right.data() + n;
      kernel_.processWithEvents(&time_, kBlock, pending_);
      pending_ = nullptr;
      time_.mSampleTime += kBlock;
    }
    return left;
  }

 private:
  ZQ3DSPKernel kernel_;
  double rate_;
  AudioBufferList list_;
  AudioTimeStamp time_;
  AURenderEvent event_{};
  const AURenderEvent* pending_ = nullptr;
};

// Distance in cents of the partial near `hertz`, by how far its phase has moved between two windows of one
// second that stand one second apart.
double centsOff(const std::vector<float>& x, double hertz, double rate) {
  const int second = static_cast<int>(rate);
  const auto partial = [&](int from) {
    std::complex<double> sum = 0;
    for (int i = 0; i < second; ++i) {
      const double window = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (i + 0.5) / second);
      const double turns = hertz * (from + i) / rate;
      sum += window * static_cast<double>(x[static_cast<std::size_t>(from + i)]) *
             std::polar(1.0, -2.0 * std::numbers::pi * (turns - std::floor(turns)));
    }
    return sum;
  };
  const std::complex<double> first = partial(0);
  const std::complex<double> next = partial(second);
  EXPECT_GT(std::abs(first), 10.0) << "no such partial";
  const double hertzOff = std::arg(next / first) / (2.0 * std::numbers::pi) * rate / second;
  return 1200.0 * std::log2((hertz + hertzOff) / hertz);
}

double frequencyOf(int note) { return 440.0 * std::exp2((note - 69) / 12.0); }

class RenderedPitch : public ::testing::TestWithParam<double> {};

TEST_P(RenderedPitch, OfEveryKeyOfAPianoIsWithinATenthOfACent) {
  const double rate = GetParam();
  double worst = 0;
  for (int note = 21; note <= 108; ++note) {
    Player player(rate);
    player.render(0.01);
    player.send(0x90, note, 100);
    player.render(0.2);
    const std::vector<float> x = player.render(2.1);
    const double cents = centsOff(x, frequencyOf(note), rate);
    EXPECT_LT(std::abs(cents), kMostCents) << note;
    worst = std::max(worst, std::abs(cents));
  }
  RecordProperty("worstCents", std::to_string(worst));
}

INSTANTIATE_TEST_SUITE_P(Rates, RenderedPitch, ::testing::Values(44100.0, 48000.0));

TEST(RenderedPitchOfTheSub, LiesWholeOctavesBelow) {
  for (const auto& [octave, factor] : std::vector<std::pair<float, double>>{{0.0F, 0.25}, {1.0F, 0.5}}) {
    Player player(44100.0);
    player.set("oscMainLevel", 0.0F);
    player.set("oscSubLevel", 1.0F);
    player.set("oscSubOctave", octave);
    player.render(0.01);
    player.send(0x90, 81, 100);
    player.render(0.2);
    EXPECT_LT(std::abs(centsOff(player.render(2.1), 880.0 * factor, 44100.0)), kMostCents);
  }
}

}  // namespace
}  // namespace morv
