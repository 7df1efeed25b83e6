#pragma once

// Plain second forms of the saturating comb and of a follower, in double where nothing hangs on the width.

#include <cmath>
#include <cstddef>
#include <vector>

namespace morv {

// A comb that saturates. Its read position is a float, as the position of a line is, so that both read the
// same fractions.
class PlainLine {
 public:
  explicit PlainLine(double samples) : line_(static_cast<std::size_t>(samples)) {}

  double run(double in, double seconds, double blend, double feedback, double forward, double rateHz) {
    const auto size = static_cast<float>(line_.size());
    float p = static_cast<float>(at_) - static_cast<float>(seconds * rateHz);
    if (p < 0) p += size;
    if (p > size) p = size - 2;
    const auto i = static_cast<std::size_t>(p);
    const double next = i + 1 < line_.size() - 1 ? line_[i + 1] : line_[0];
    const double d = line_[i] + (static_cast<double>(p) - static_cast<double>(i)) * (next - line_[i]);
    const double w = 0.95 * in + feedback * d;
    line_[at_] = w;
    at_ = at_ + 1 < line_.size() ? at_ + 1 : 0;
    return std::tanh(forward * d + blend * w);
  }

 private:
  std::vector<double> line_;
  std::size_t at_ = 0;
};

// A follower that comes within `level` of its target in the time. It steps in single precision: a coefficient
// this near to 1 drifts by its width.
class PlainFollower {
 public:
  PlainFollower(double start, double level, double milliseconds, double rateHz)
      : value_(static_cast<float>(start)),
        c_(static_cast<float>(std::exp(std::log(level) / (milliseconds * rateHz * 0.001)))) {}

  double to(double target) {
    const auto t = static_cast<float>(target);
    value_ = c_ * (value_ - t) + t;
    return static_cast<double>(value_);
  }
  double value() const { return static_cast<double>(value_); }

 private:
  float value_, c_;
};

// A phase that adds up in single precision and drifts as its width does.
class PlainPhase {
 public:
  // The phase in radians before the step.
  double step(double frequencyHz, double rateHz) {
    constexpr float kTurn = 6.28318530717958647692F;
    const float before = phase_;
    phase_ += kTurn * static_cast<float>(frequencyHz) / static_cast<float>(rateHz);
    if (phase_ >= kTurn) phase_ -= kTurn;
    return static_cast<double>(before);
  }

 private:
  float phase_ = 0;
};

}  // namespace morv
