// The digital delay against a second form of it, sample by sample, in each modulation at each place.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "effects/ZRDigiDelay.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainLine.h"

namespace morv {
namespace {

constexpr double kPi = std::numbers::pi;
// Delays in single precision differ in their last place, and now and then that is a step of the position's
// own width: a hundredth of a sample on a line of ten seconds.
constexpr double kSameFormDb = -60.0;

struct Settings {
  double timeMs = 60, feedback = 0.6, mix = 0.7, spread = 0.2;
  double amount = 0.8, modRateHz = 3, modFeedback = 0.5;
  int type = 0, position = 1;
  double lowHz = 2500, highHz = 150;
};

using Pair = std::array<double, 2>;

struct PlainPole {
  double z = 0;
  double run(double x, double cutoffHz, double rateHz) {
    const double g = std::tan(kPi * cutoffHz / rateHz);
    const double v = (x - z) * g / (1 + g);
    const double y = v + z;
    z = y + v;
    return y;
  }
};

class PlainDelay {
 public:
  PlainDelay(const Settings& settings, double rateHz) : s_(settings), rate_(rateHz) {
    const std::array base = {0.005, 0.001, 0.001};
    const std::array depth = {0.03, 0.003, 0.002};
    if (s_.type < 3) {
      base_ = base[static_cast<std::size_t>(s_.type)];
      depth_ = depth[static_cast<std::size_t>(s_.type)];
    }
  }

  Pair run(const Pair& in) {
    times_[0].to((s_.timeMs + s_.spread * 50) / 1000);
    times_[1].to((s_.timeMs - s_.spread * 50) / 1000);
    feedback_.to(s_.feedback);
    Pair x = in;
    if (s_.position == 0) x = modulated(x);
    for (std::size_t c = 0; c < 2; ++c) {
      x[c] -= high_[c].run(x[c], s_.highHz, rate_);
      x[c] = low_[c].run(x[c], s_.lowHz, rate_);
      x[c] = echo_[c].run(x[c], times_[c].value(), 0, feedback_.value(), 1, rate_);
    }
    if (s_.position == 1) x = modulated(x);
    return {(1 - s_.mix) * in[0] + s_.mix * x[0], (1 - s_.mix) * in[1] + s_.mix * x[1]};
  }

 private:
  Pair modulated(const Pair& x) {
    const double A = amount_.to(s_.amount);
    const double angle = phase_.step(s_.modRateHz, rate_);
    const Pair swing = {std::sin(angle), std::cos(angle)};
    const double cornerHz = 40 + 5000 * A - 5000 * A * swing[0];
    const double a = std::tan(kPi * cornerHz / rate_ - kPi / 4);  // (t - 1) / (t + 1)
    Pair y = x;
    for (std::size_t c = 0; c < 2; ++c) {
      const double d = base_ + std::abs(depth_ * A * swing[c]);
      switch (s_.type) {
        case 0:
          y[c] = mod_[c].run(x[c], d, 1.0, 0, 0.7, rate_);
          break;
        case 1:
          y[c] = mod_[c].run(x[c], d, 0, 0, 1.0, rate_);
          break;
        case 2:
          y[c] = mod_[c].run(x[c], d, 0.7, s_.modFeedback, 0.7, rate_);
          break;
        case 3:
          y[c] = (1 - A) * x[c] + A * swing[c] * x[c];
          break;
        case 4:
          y[c] = mod_[c].run(x[c] - s_.modFeedback * last_[1 - c], 1 / rate_, a, -a, 1, rate_);
          break;
        case 5:
          y[c] = (1 - A) * x[c] + A * swing[0] * x[c];
          break;
        case 6:
          y[c] = mod_[c].run(x[c], d + times_[c].value() / 2, 1, s_.modFeedback, 1, rate_);
          break;
        default:
          break;
      }
    }
    last_ = y;
    return y;
  }

  Settings s_;
  double rate_;
  double base_ = 0.005;
  double depth_ = 0.03;
  std::array<PlainFollower, 2> times_ = {PlainFollower(0.1, 0.01, 500, rate_),
                                         PlainFollower(0.1, 0.01, 500, rate_)};
  PlainFollower feedback_{0.25, 0.01, 500, rate_};
  PlainFollower amount_{0, 0.01, 250, rate_};
  std::array<PlainLine, 2> echo_ = {PlainLine(10 * rate_), PlainLine(10 * rate_)};
  std::array<PlainLine, 2> mod_ = {PlainLine(5 * rate_), PlainLine(5 * rate_)};
  std::array<PlainPole, 2> low_, high_;
  Pair last_{};
  PlainPhase phase_;
};

void give(const Settings& s, ZRDigiDelay* delay) {
  delay->time = static_cast<float>(s.timeMs);
  delay->feedback = static_cast<float>(s.feedback);
  delay->mix = static_cast<float>(s.mix);
  delay->spread = static_cast<float>(s.spread);
  delay->modAmount = static_cast<float>(s.amount);
  delay->modRate = static_cast<float>(s.modRateHz);
  delay->modFeedback = static_cast<float>(s.modFeedback);
  delay->modType = s.type;
  delay->modPosition = s.position;
  delay->lowpass = static_cast<float>(s.lowHz);
  delay->highpass = static_cast<float>(s.highHz);
}

void expectPlainForm(const Settings& settings, float rateHz) {
  SCOPED_TRACE(testing::Message() << "type " << settings.type << " at " << settings.position << ", " << rateHz
                                  << " Hz");
  ZRDigiDelay delay(rateHz);
  give(settings, &delay);
  const Stereo in = stereoNoise(static_cast<int>(rateHz), 7, 0.8F);

  const Stereo out = runInBlocks(delay, in, 100);

  PlainDelay plain(settings, static_cast<double>(rateHz));
  Stereo expected(in.frames());
  for (std::size_t i = 0; i < in.left.size(); ++i) {
    const Pair y = plain.run({static_cast<double>(in.left[i]), static_cast<double>(in.right[i])});
    expected.left[i] = static_cast<float>(y[0]);
    expected.right[i] = static_cast<float>(y[1]);
  }
  EXPECT_LT(differenceDb(expected, out), kSameFormDb);
}

TEST(ZRDigiDelayForm, IsThePlainDelayInEachModulationBehindIt) {
  for (int type = 0; type < ZRDigiDelay::kModTypes; ++type) {
    Settings s;
    s.type = type;
    expectPlainForm(s, 24000.0F);
  }
}

TEST(ZRDigiDelayForm, IsThePlainDelayInEachModulationBeforeIt) {
  for (int type = 0; type < ZRDigiDelay::kModTypes; ++type) {
    Settings s;
    s.type = type;
    s.position = 0;
    s.modFeedback = -0.7;
    expectPlainForm(s, 24000.0F);
  }
}

TEST(ZRDigiDelayForm, IsThePlainDelayAtAnotherRateWithoutModulation) {
  Settings s;
  s.position = 2;
  s.feedback = -0.9;
  expectPlainForm(s, 44100.0F);
}

}  // namespace
}  // namespace morv
