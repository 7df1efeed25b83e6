// Both builds of the effects' kernels against the formulas sample by sample: the same bits, at every length
// and alignment, but for the low-pass.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <vector>

#include "effects/EffectKernels.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr int kSize = 40000;
constexpr int kFrames = 64;
constexpr float kUntouched = 77.0F;

std::vector<const EffectKernels*> allKernels() {
  std::vector<const EffectKernels*> all = {&baselineEffectKernels()};
  if (avx2EffectKernels() != nullptr) all.push_back(avx2EffectKernels());
  return all;
}

std::vector<float> noise(int frames, std::uint64_t seed) { return stereoNoise(frames, seed, 1.0F).left; }

float between(const std::vector<float>& line, float position, float first) {
  const auto i = static_cast<std::size_t>(first);
  return line[i] + (position - first) * (line[i + 1] - line[i]);
}

// Reads in a line of 40000, with fractions that floats round differently along it.
std::vector<StraightRead> someReads(const std::vector<float>& line) {
  std::vector<StraightRead> reads;
  for (const float position : {2.0F, 4090.0F, 16380.0F, 39000.0F}) {
    for (const float delay : {66.3F, 1190.6F, 3453.0002F, 3800.01F}) {
      const float lap = position < delay ? static_cast<float>(kSize) : 0.0F;
      const float first = std::floor(position - delay + lap);
      reads.push_back({line.data() + static_cast<std::size_t>(first), first, position, delay, lap});
    }
  }
  return reads;
}

TEST(EffectKernels, TheFastOnesAreChosenWhereTheMachineHasThem) {
  const EffectKernels* const fast = avx2EffectKernels();
  EXPECT_EQ(&effectKernels(), fast != nullptr ? fast : &baselineEffectKernels());
}

TEST(EffectKernels, ReadAtTheFractionsThatFloatsWorkOut) {
  const std::vector<float> line = noise(kSize, 1);
  for (const EffectKernels* kernels : allKernels()) {
    for (const StraightRead& read : someReads(line)) {
      for (int frames = 0; frames <= kFrames; ++frames) {
        std::vector<float> out(kFrames + 1, kUntouched);
        kernels->read(read, out.data(), frames);
        for (int k = 0; k < frames; ++k) {
          const float step = static_cast<float>(k);
          const float p = (read.position + step) - read.delaySamples + read.lap;
          ASSERT_EQ(out[static_cast<std::size_t>(k)], between(line, p, read.first + step)) << kernels->name;
        }
        ASSERT_EQ(out[static_cast<std::size_t>(frames)], kUntouched) << kernels->name;
      }
    }
  }
}

TEST(EffectKernels, ReadsAreAddedInTheirOrder) {
  const std::vector<float> line = noise(kSize, 2);
  const std::vector<StraightRead> reads = someReads(line);
  const float gains[] = {0.6F, 0.6F, -0.6F, 1.7F, -0.3F};
  for (const EffectKernels* kernels : allKernels()) {
    for (int frames = 0; frames <= kFrames; ++frames) {
      for (int count = 0; count <= 5; ++count) {
        std::vector<float> out(kFrames + 1, 0.25F);
        kernels->addReads(reads.data(), gains, count, out.data(), frames);
        for (int k = 0; k < frames; ++k) {
          float expected = 0.25F;
          for (int j = 0; j < count; ++j) {
            const StraightRead& read = reads[static_cast<std::size_t>(j)];
            const float step = static_cast<float>(k);
            const float p = (read.position + step) - read.delaySamples + read.lap;
            expected += gains[j] * between(line, p, read.first + step);
          }
          ASSERT_EQ(out[static_cast<std::size_t>(k)], expected) << kernels->name << " " << frames;
        }
        ASSERT_EQ(out[static_cast<std::size_t>(frames)], 0.25F) << kernels->name;
      }
    }
  }
}

TEST(EffectKernels, MovingReadsFollowEachFramesDelay) {
  const std::vector<float> line = noise(kSize, 3);
  for (const EffectKernels* kernels : allKernels()) {
    for (const float position : {200.0F, 16384.0F, 39900.0F}) {
      const float lap = position < 700.0F ? static_cast<float>(kSize) : 0.0F;
      for (int frames = 0; frames <= kFrames; ++frames) {
        float delays[kFrames];
        for (int k = 0; k < frames; ++k) delays[k] = 672.0F + 50.0F * std::sin(0.1F * static_cast<float>(k));
        std::vector<float> out(kFrames + 1, kUntouched);
        kernels->readMoving(line.data(), position, lap, delays, out.data(), frames);
        for (int k = 0; k < frames; ++k) {
          const float p = (position + static_cast<float>(k)) - delays[k] + lap;
          ASSERT_EQ(out[static_cast<std::size_t>(k)], between(line, p, std::floor(p))) << kernels->name;
        }
        ASSERT_EQ(out[static_cast<std::size_t>(frames)], kUntouched) << kernels->name;
      }
    }
  }
}

TEST(EffectKernels, MovingReadsInDoubleFollowEachFramesDelay) {
  constexpr double kRate = 44100.0;
  const std::vector<float> line = noise(kSize, 4);
  for (const EffectKernels* kernels : allKernels()) {
    for (const double position : {200.0, 16384.0, 39900.0}) {
      const double lap = position < 700.0 ? kSize : 0.0;
      for (int frames = 0; frames <= kFrames; ++frames) {
        float seconds[kFrames];
        for (int k = 0; k < frames; ++k) {
          seconds[k] = (672.0F + 50.0F * std::sin(0.1F * static_cast<float>(k))) / 44100.0F;
        }
        std::vector<float> out(kFrames + 1, kUntouched);
        kernels->readMovingDouble(line.data(), position, lap, seconds, kRate, out.data(), frames);
        for (int k = 0; k < frames; ++k) {
          const double p = position + k - static_cast<double>(seconds[k]) * kRate + lap;
          const auto i = static_cast<std::size_t>(p);
          const double here = static_cast<double>(line[i]);
          const double next = static_cast<double>(line[i + 1]);
          const double expected = here + (p - std::floor(p)) * (next - here);
          ASSERT_EQ(out[static_cast<std::size_t>(k)], static_cast<float>(expected)) << kernels->name;
        }
        ASSERT_EQ(out[static_cast<std::size_t>(frames)], kUntouched) << kernels->name;
      }
    }
  }
}

TEST(EffectKernels, AnAllPassMayRunInPlaceAndWritesWhatEntersItsLine) {
  constexpr float kFraction = 0.31F;
  constexpr float kGain = -0.5F;
  const std::vector<float> line = noise(200, 5);
  const std::vector<float> in = noise(kFrames + 1, 6);
  for (const EffectKernels* kernels : allKernels()) {
    for (int frames = 0; frames <= kFrames; ++frames) {
      for (const bool isFromOutside : {false, true}) {
        std::vector<float> delayed(kFrames + 1);
        for (std::size_t k = 0; k < delayed.size(); ++k) {
          delayed[k] = line[3 + k] + kFraction * (line[4 + k] - line[3 + k]);
        }
        std::vector<float> out = in;
        std::vector<float> entering(kFrames + 1, kUntouched);
        if (isFromOutside) {
          kernels->mixAllPass(delayed.data(), kGain, out.data(), out.data(), entering.data(), frames);
        } else {
          kernels->allPass(line.data() + 3, kFraction, kGain, out.data(), out.data(), entering.data(),
                           frames);
        }
        for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) {
          const float y = delayed[k] - kGain * in[k];
          ASSERT_EQ(out[k], y) << kernels->name;
          ASSERT_EQ(entering[k], in[k] + kGain * y) << kernels->name;
        }
        ASSERT_EQ(out[static_cast<std::size_t>(frames)], in[static_cast<std::size_t>(frames)]);
        ASSERT_EQ(entering[static_cast<std::size_t>(frames)], kUntouched);
      }
    }
  }
}

TEST(EffectKernels, TheLowpassIsTheIntegratorsStepInDouble) {
  // Of sums of products of floats whose terms die away, in parts of the greatest input or state.
  constexpr double kRounding = 1e-6;
  const std::vector<float> in = noise(4000, 7);
  for (const EffectKernels* kernels : allKernels()) {
    for (const float G : {0.0F, 1e-5F, 0.0065F, 0.3F, 0.5F, 0.789F, 0.99F, 1.0F}) {
      float z = 0.75F;
      double plain = 0.75;
      double greatest = 1.0;
      int frames = 0;
      for (int start = 0; start + kFrames <= 4000; start += frames) {
        frames = (frames + 23) % (kFrames + 1);
        std::vector<float> x(in.begin() + start, in.begin() + start + kFrames);
        kernels->lowpass(G, &z, x.data(), x.data(), frames);
        for (int k = 0; k < kFrames; ++k) {
          const auto at = static_cast<std::size_t>(start + k);
          if (k >= frames) {
            ASSERT_EQ(x[static_cast<std::size_t>(k)], in[at]);
            continue;
          }
          const double v = (static_cast<double>(in[at]) - plain) * static_cast<double>(G);
          const double y = v + plain;
          plain = y + v;
          greatest = std::max(greatest, std::abs(plain));
          ASSERT_NEAR(static_cast<double>(x[static_cast<std::size_t>(k)]), y, kRounding * greatest)
              << kernels->name << " " << G << " " << at;
        }
        ASSERT_NEAR(static_cast<double>(z), plain, kRounding * greatest) << kernels->name << " " << G;
      }
    }
  }
}

TEST(EffectKernels, HeldValuesAreNumbersInsideTheBound) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const float in[] = {0.5F, nan, infinity, -infinity, 10.0F, -10.0F, 10.1F, -10.1F, -nan, 1e-42F, 3e38F};
  const float expected[] = {0.5F, 0.0F, 10.0F, -10.0F, 10.0F, -10.0F, 10.0F, -10.0F, 0.0F, 1e-42F, 10.0F};
  constexpr std::size_t kCount = std::size(in);
  for (const EffectKernels* kernels : allKernels()) {
    for (int frames = 0; frames <= kFrames; ++frames) {
      std::vector<float> x(kFrames + 1, kUntouched);
      for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) x[k] = in[k % kCount];
      kernels->hold(x.data(), 10.0F, x.data(), frames);
      for (std::size_t k = 0; k < static_cast<std::size_t>(frames); ++k) {
        ASSERT_EQ(x[k], expected[k % kCount]) << kernels->name << " " << k;
      }
      ASSERT_EQ(x[static_cast<std::size_t>(frames)], kUntouched);
    }
  }
}

TEST(EffectKernels, ScalesAndMixesRoundOnceForEachProductAndSum) {
  const std::vector<float> a = noise(kFrames + 1, 8);
  const std::vector<float> b = noise(kFrames + 1, 9);
  for (const EffectKernels* kernels : allKernels()) {
    for (int frames = 0; frames <= kFrames; ++frames) {
      std::vector<float> scaled = a;
      std::vector<float> mixed = a;
      kernels->scale(0.95F, scaled.data(), scaled.data(), frames);
      kernels->mix(0.3F, mixed.data(), -1.7F, b.data(), mixed.data(), frames);
      for (std::size_t k = 0; k <= static_cast<std::size_t>(kFrames); ++k) {
        const bool isRun = k < static_cast<std::size_t>(frames);
        ASSERT_EQ(scaled[k], isRun ? 0.95F * a[k] : a[k]) << kernels->name;
        const float first = 0.3F * a[k];
        const float second = -1.7F * b[k];
        ASSERT_EQ(mixed[k], isRun ? first + second : a[k]) << kernels->name;
      }
    }
  }
}

TEST(EffectKernels, TheRangeIsThatOfAllValuesAndOneThatIsNoNumberIsTold) {
  for (const EffectKernels* kernels : allKernels()) {
    for (int frames = 1; frames <= kFrames; ++frames) {
      std::vector<float> values = noise(frames, static_cast<std::uint64_t>(frames));
      float least = 0;
      float greatest = 0;
      ASSERT_TRUE(kernels->range(values.data(), frames, &least, &greatest));
      ASSERT_EQ(least, *std::min_element(values.begin(), values.end())) << kernels->name;
      ASSERT_EQ(greatest, *std::max_element(values.begin(), values.end())) << kernels->name;
      for (float& value : values) {
        const float kept = value;
        value = std::numeric_limits<float>::quiet_NaN();
        ASSERT_FALSE(kernels->range(values.data(), frames, &least, &greatest)) << kernels->name;
        value = kept;
      }
    }
  }
}

}  // namespace
}  // namespace morv
