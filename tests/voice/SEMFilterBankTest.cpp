// The bank that filters up to eight voices side by side, held to the exact filter.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <tuple>

#include "tests/voice/FilterTesting.h"
#include "tests/voice/VoiceTesting.h"
#include "voice/ZRSEMFilter.h"

namespace morv {
namespace {

using testing::at;
using testing::errorDb;
using testing::FedMatrix;
using testing::Signal;

constexpr double kWantedDb = -100.0;

std::vector<const VoiceKernels*> allKernels() {
  std::vector<const VoiceKernels*> list = {&baselineVoiceKernels()};
  if (avx2VoiceKernels() != nullptr) list.push_back(avx2VoiceKernels());
  return list;
}

using Case = std::tuple<const VoiceKernels*, float, float>;

// An exact filter and one in the bank with the same settings and modulation.
class SEMFilterBankTest : public ::testing::TestWithParam<Case> {
 protected:
  SEMFilterBankTest() : exact(44100.0F, &counter), banked(44100.0F, &counterAgain) {
    exact.setModMatrix(&fed.matrix);
    banked.setModMatrix(&fed.matrix);
    for (ZRSEMFilter* f : {&exact, &banked}) {
      f->filterCutoff = 3000.0F;
      f->filterMode = std::get<1>(GetParam());
      f->filterResonance = std::get<2>(GetParam());
    }
  }

  void run(const Signal& in, int blockFrames) {
    const int total = static_cast<int>(in.size());
    expected.resize(in.size());
    actual.resize(in.size());
    Signal other(at(blockFrames));
    for (int n = 0; n < total; n += blockFrames) {
      const int frames = std::min(blockFrames, total - n);
      if (modulate) modulate(n, frames);
      fed.run(frames);
      exact.runFilter(in.data() + n, nullptr, expected.data() + n, other.data(), frames);
      const SEMFilterLane lane = banked.laneFor(in.data() + n, actual.data() + n, frames);
      std::get<0>(GetParam())->semFilterBank(&lane, 1, frames);
    }
  }

  int counter = 0;
  int counterAgain = 0;
  FedMatrix fed;
  ZRSEMFilter exact;
  ZRSEMFilter banked;
  std::function<void(int, int)> modulate;
  Signal expected, actual;
};

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
  const bool isBaseline = std::get<0>(info.param) == &baselineVoiceKernels();
  return std::string(isBaseline ? "Baseline" : "Avx2") + "Mode" +
         std::to_string(std::lround(10 * std::get<1>(info.param))) + "Resonance" +
         std::to_string(std::lround(10 * std::get<2>(info.param)));
}

INSTANTIATE_TEST_SUITE_P(All, SEMFilterBankTest,
                         ::testing::Combine(::testing::ValuesIn(allKernels()),
                                            ::testing::Values(0.0F, 0.5F, 1.0F, 1.5F, 2.3F),
                                            ::testing::Values(0.0F, 0.3F, 1.0F)),
                         caseName);

TEST_P(SEMFilterBankTest, StandsStillWithin100Decibels) {
  run(testing::makeNoise(44100), 64);

  EXPECT_LT(errorDb(actual, expected), kWantedDb);
}

TEST_P(SEMFilterBankTest, RingsOnWithin100Decibels) {
  Signal click(8192, 0.0F);
  click[0] = 4.0F;

  run(click, 64);

  EXPECT_LT(errorDb(actual, expected), kWantedDb);
}

TEST_P(SEMFilterBankTest, ComesBackFromBeyondTheTangentsBoundWithin100Decibels) {
  Signal bursts = testing::makeNoise(16384);
  for (std::size_t i = 0; i < bursts.size(); ++i) bursts[i] *= i % 2048 < 100 ? 60.0F : 0.5F;

  run(bursts, 64);

  EXPECT_LT(errorDb(actual, expected), kWantedDb);
}

TEST_P(SEMFilterBankTest, FollowsASweepOfCutoffResonanceAndModeWithin100Decibels) {
  modulate = [&](int from, int frames) {
    Signal cutoff(at(frames)), resonance(at(frames)), mode(at(frames));
    for (int i = 0; i < frames; ++i) {
      const double t = (from + i) / 44100.0;
      cutoff[at(i)] = static_cast<float>(0.7 * std::sin(2 * std::numbers::pi * 5 * t));
      resonance[at(i)] = static_cast<float>(0.4 * std::sin(2 * std::numbers::pi * 3 * t));
      mode[at(i)] = static_cast<float>(0.8 * std::sin(2 * std::numbers::pi * 2 * t));
    }
    fed.feed(exact.filterCutoff, cutoff);
    fed.feed(exact.filterResonance, resonance);
    fed.feed(exact.filterMode, mode);
  };

  run(testing::makeNoise(44100, 0.8F), 64);

  EXPECT_LT(errorDb(actual, expected), kWantedDb);
}

TEST_P(SEMFilterBankTest, FollowsEachSettingThatMovesAloneWithin100Decibels) {
  for (int moving = 0; moving < 3; ++moving) {
    ZRDSPParameter* const settings[] = {&exact.filterCutoff, &exact.filterResonance, &exact.filterMode};
    modulate = [&](int from, int frames) {
      Signal values(at(frames), 0.0F);
      for (int i = 0; i < frames; ++i) {
        values[at(i)] = static_cast<float>(0.4 * std::sin(2 * std::numbers::pi * 40 * (from + i) / 44100.0));
      }
      for (int s = 0; s < 3; ++s) {
        fed.feed(*settings[s], s == moving ? values : Signal(at(frames), 0.0F));
      }
    };
    exact.z1 = exact.z2 = banked.z1 = banked.z2 = 0;

    run(testing::makeNoise(11025, 0.8F), 64);

    EXPECT_LT(errorDb(actual, expected), kWantedDb) << moving;
  }
}

TEST_P(SEMFilterBankTest, AnyBlockLengthRunsOnFromTheLast) {
  for (const int blockFrames : {1, 2, 3, 5, 7, 8, 9, 12, 15, 16, 17, 4096}) {
    exact.z1 = exact.z2 = banked.z1 = banked.z2 = 0;
    run(testing::makeNoise(5000), blockFrames);
    EXPECT_LT(errorDb(actual, expected), kWantedDb) << blockFrames;
  }
}

class SEMFilterBankLanes : public ::testing::TestWithParam<const VoiceKernels*> {
 protected:
  static constexpr int kFrames = 64;
  struct Lane {
    Signal in, out, cutoffs, resonances, modes;
    float z1 = 0, z2 = 0;

    SEMFilterLane view() {
      SEMFilterLane lane;
      lane.in = in.data();
      lane.out = out.data();
      lane.cutoff = 0.3F;
      lane.resonance = 0.5F;
      lane.mode = 0.2F;
      lane.cutoffModulation = cutoffs.data();
      lane.resonanceModulation = resonances.data();
      lane.modeModulation = modes.data();
      lane.turnsScale = 0.4995F;
      lane.turnsOffset = 0.00025F;
      lane.z1 = &z1;
      lane.z2 = &z2;
      return lane;
    }
  };

  // Settings that differ from lane to lane and from sample to sample, also beyond their ends.
  static Lane makeLane(int number) {
    Random random(static_cast<std::uint64_t>(number) + 1);
    Lane lane;
    for (int i = 0; i < kFrames; ++i) {
      lane.in.push_back(2.0F * random.unit31() - 1.0F);
      lane.cutoffs.push_back(1.2F * random.unit31() - 0.4F);
      lane.resonances.push_back(1.2F * random.unit31() - 0.6F);
      lane.modes.push_back(2.5F * random.unit31());
    }
    lane.out.assign(kFrames, 99.0F);
    lane.z1 = 0.3F * random.unit31();
    lane.z2 = 0.3F * random.unit31();
    return lane;
  }
};

INSTANTIATE_TEST_SUITE_P(Machines, SEMFilterBankLanes, ::testing::ValuesIn(allKernels()),
                         [](const auto& test) { return test.index == 0 ? "Baseline" : "Avx2"; });

TEST_P(SEMFilterBankLanes, EachGivesTheSameBitsWhateverTheOthersHold) {
  std::vector<int> lengths = {64};
  for (int frames = 1; frames <= 17; ++frames) lengths.push_back(frames);
  for (const int frames : lengths) {
    for (int count = 1; count <= 8; ++count) {
      std::vector<Lane> bank;
      std::vector<SEMFilterLane> views;
      for (int l = 0; l < count; ++l) bank.push_back(makeLane(l));
      for (Lane& lane : bank) views.push_back(lane.view());
      GetParam()->semFilterBank(views.data(), count, frames);

      for (int l = 0; l < count; ++l) {
        Lane alone = makeLane(l);
        const SEMFilterLane view = alone.view();
        GetParam()->semFilterBank(&view, 1, frames);
        ASSERT_TRUE(testing::sameBits(bank[at(l)].out, alone.out)) << frames << " frames, lane " << l;
        ASSERT_EQ(bank[at(l)].z1, alone.z1);
        ASSERT_EQ(bank[at(l)].z2, alone.z2);
        for (int i = frames; i < kFrames; ++i) ASSERT_EQ(alone.out[at(i)], 99.0F);
      }
    }
  }
}

// An argument beyond the tangent's bound makes the bank do a stretch again, for all of its lanes.
TEST_P(SEMFilterBankLanes, ALaneThatIsDrivenHardLeavesTheOthersTheirBits) {
  for (int loud = 0; loud < 8; ++loud) {
    std::vector<Lane> bank;
    std::vector<SEMFilterLane> views;
    for (int l = 0; l < 8; ++l) bank.push_back(makeLane(l));
    for (float& sample : bank[at(loud)].in) sample *= 3000.0F;
    for (Lane& lane : bank) views.push_back(lane.view());
    GetParam()->semFilterBank(views.data(), 8, kFrames);

    for (int l = 0; l < 8; ++l) {
      if (l == loud) continue;
      Lane alone = makeLane(l);
      const SEMFilterLane view = alone.view();
      GetParam()->semFilterBank(&view, 1, kFrames);
      ASSERT_TRUE(testing::sameBits(bank[at(l)].out, alone.out)) << l << " beside " << loud;
    }
  }
}

// One lane alone moves what the others leave standing.
TEST_P(SEMFilterBankLanes, SettingsThatStandStillGiveTheSameBitsBesideSomeThatMove) {
  const auto still = [](Lane& lane) {
    SEMFilterLane view = lane.view();
    view.cutoffModulation = view.resonanceModulation = view.modeModulation = nullptr;
    return view;
  };
  for (int moving = 0; moving < 8; ++moving) {
    std::vector<Lane> bank;
    std::vector<SEMFilterLane> views;
    for (int l = 0; l < 8; ++l) bank.push_back(makeLane(l));
    for (int l = 0; l < 8; ++l) views.push_back(l == moving ? bank[at(l)].view() : still(bank[at(l)]));
    GetParam()->semFilterBank(views.data(), 8, kFrames);

    for (int l = 0; l < 8; ++l) {
      Lane alone = makeLane(l);
      const SEMFilterLane view = l == moving ? alone.view() : still(alone);
      GetParam()->semFilterBank(&view, 1, kFrames);
      ASSERT_TRUE(testing::sameBits(bank[at(l)].out, alone.out)) << l << " beside " << moving;
    }
  }
}

// The limiters of some lanes leave the others alone, and are those of their own kernels.
TEST_P(SEMFilterBankLanes, LimitersAheadAndBehindAreThoseOfTheirKernels) {
  constexpr float kRounding = 2.5e-7F;  // two steps of a float below one
  constexpr int kCount = 8;
  std::vector<Lane> plain, limited;
  std::vector<SEMFilterLane> plainViews, limitedViews;
  for (int l = 0; l < kCount; ++l) {
    plain.push_back(makeLane(l));
    limited.push_back(makeLane(l));
  }
  const auto gainOf = [](int l) { return l % 2 == 0 ? 0.0F : 3.0F * static_cast<float>(l); };
  for (int l = 0; l < kCount; ++l) {
    if (l % 3 != 0) GetParam()->tanhInPlace(plain[at(l)].in.data(), kFrames);
    plainViews.push_back(plain[at(l)].view());
    limitedViews.push_back(limited[at(l)].view());
    limitedViews.back().limitsInput = l % 3 != 0;
    limitedViews.back().driveGain = gainOf(l);
  }

  GetParam()->semFilterBank(plainViews.data(), kCount, kFrames);
  GetParam()->semFilterBank(limitedViews.data(), kCount, kFrames);

  for (int l = 0; l < kCount; ++l) {
    Signal& expected = plain[at(l)].out;
    if (gainOf(l) > 0.0F) GetParam()->softLimit(expected.data(), gainOf(l), expected.data(), kFrames);
    for (int i = 0; i < kFrames; ++i) {
      // The drive raises what the tangent's last digit leaves.
      const float tolerance = kRounding * std::max(1.0F, 30.0F * gainOf(l));
      ASSERT_NEAR(limited[at(l)].out[at(i)], expected[at(i)], tolerance) << l << ": " << i;
    }
  }
}

TEST_P(SEMFilterBankLanes, AnOutputMayBeItsInput) {
  Lane apart = makeLane(3);
  Lane inPlace = makeLane(3);
  const SEMFilterLane a = apart.view();
  SEMFilterLane b = inPlace.view();
  b.out = inPlace.in.data();

  GetParam()->semFilterBank(&a, 1, 61);
  GetParam()->semFilterBank(&b, 1, 61);

  EXPECT_TRUE(std::equal(apart.out.begin(), apart.out.begin() + 61, inPlace.in.begin()));
}

TEST_P(SEMFilterBankLanes, NoLanesAndNoFramesAreLegal) {
  Lane lane = makeLane(1);
  const float z1 = lane.z1;
  const SEMFilterLane view = lane.view();

  GetParam()->semFilterBank(&view, 0, 16);
  GetParam()->semFilterBank(&view, 1, 0);

  EXPECT_EQ(lane.z1, z1);
  EXPECT_EQ(lane.out, Signal(kFrames, 99.0F));
}

TEST(SEMFilterBankLane, ABlockOfNoFramesReadsNoModulationBeyondItsBuffer) {
  int counter = 0;
  FedMatrix fed;
  ZRSEMFilter filter(44100.0F, &counter);
  filter.setModMatrix(&fed.matrix);

  const SEMFilterLane lane = filter.laneFor(nullptr, nullptr, 0);
  voiceKernels().semFilterBank(&lane, 1, 0);

  EXPECT_EQ(filter.z1, 0.0F);
  EXPECT_EQ(filter.z2, 0.0F);
}

// The bank's distance from the exact filter for one signal at one setting, in blocks of one length.
double errorDbOfStandingSettings(const VoiceKernels* kernels, const Signal& in, float cutoff, float resonance,
                                 std::size_t blockFrames) {
  int counter = 0;
  FedMatrix fed;
  ZRSEMFilter exact(44100.0F, &counter);
  ZRSEMFilter banked(44100.0F, &counter);
  for (ZRSEMFilter* f : {&exact, &banked}) {
    f->setModMatrix(&fed.matrix);
    f->filterCutoff = cutoff;
    f->filterResonance = resonance;
  }
  Signal expected(in.size()), actual(in.size()), other(blockFrames);
  for (std::size_t n = 0; n < in.size(); n += blockFrames) {
    const auto frames = static_cast<int>(std::min(blockFrames, in.size() - n));
    exact.runFilter(in.data() + n, nullptr, expected.data() + n, other.data(), frames);
    const SEMFilterLane lane = banked.laneFor(in.data() + n, actual.data() + n, frames);
    kernels->semFilterBank(&lane, 1, frames);
  }
  return errorDb(actual, expected);
}

// Towards the low end the damping is a small difference of great numbers, and towards the high end the
// tangent is large.
TEST_P(SEMFilterBankLanes, StaysWithin100DecibelsFromTheLowestToTheHighestCutoff) {
  const Signal in = testing::makeNoise(44100);
  for (const float cutoff : {25.0F, 100.0F, 220.0F, 1000.0F, 8000.0F, 20000.0F}) {
    for (const float resonance : {0.0F, 0.5F, 0.9F, 1.0F}) {
      EXPECT_LT(errorDbOfStandingSettings(GetParam(), in, cutoff, resonance, 64), kWantedDb)
          << cutoff << " Hz, resonance " << resonance;
    }
  }
}

// A click at a low cutoff rings for thousands of samples in which an error of the damping adds up, whatever
// the lengths of the blocks. Without what a float misses of the damping it would be 80 dB.
TEST_P(SEMFilterBankLanes, WhatAClickSetsRingingAtTheLowestCutoffsStaysWithin90Decibels) {
  constexpr double kRingingDb = -90.0;
  Signal click(22050, 0.0F);
  click[0] = 0.5F;
  for (const float cutoff : {21.0F, 25.0F, 33.0F}) {
    for (const float resonance : {0.0F, 0.5F, 0.9F, 1.0F}) {
      for (const std::size_t blockFrames : {1U, 8U, 9U, 64U}) {
        EXPECT_LT(errorDbOfStandingSettings(GetParam(), click, cutoff, resonance, blockFrames), kRingingDb)
            << cutoff << " Hz, resonance " << resonance << ", blocks of " << blockFrames;
      }
    }
  }
}

TEST_P(SEMFilterBankLanes, CoefficientsHoldTheirErrorFromEndToEnd) {
  constexpr double kRelative = 6e-7;  // float roundings of the reciprocals on top of the tangent's error
  for (const double rate : {44100.0, 8000.0, 192000.0}) {
    constexpr int kCount = 20001;
    Signal cutoffs(kCount), resonances(kCount), alphas(kCount), alpha0s(kCount), rhos(kCount);
    for (int i = 0; i < kCount; ++i) {
      cutoffs[at(i)] = 0.00001F + 0.99998F * static_cast<float>(i) / (kCount - 1);
      resonances[at(i)] = static_cast<float>(i % 101) / 100.0F;
    }
    GetParam()->semCoefficients(cutoffs.data(), resonances.data(), static_cast<float>(0.5 - 20 / rate),
                                static_cast<float>(10 / rate), alphas.data(), alpha0s.data(), rhos.data(),
                                kCount);
    std::array<double, 3> worst{};
    for (int i = 0; i < kCount; ++i) {
      const double f = static_cast<double>(cutoffs[at(i)]) * (rate / 2 - 20) + 10;
      const double g = std::tan(std::numbers::pi * f / rate);
      const double R = 1.0 / (2.0 * (25.0 * static_cast<double>(resonances[at(i)]) + 0.5));
      const std::array expected = {g, 1.0 / (1.0 + 2 * R * g + g * g), 2 * R + g};
      const std::array got = {alphas[at(i)], alpha0s[at(i)], rhos[at(i)]};
      for (std::size_t k = 0; k < 3; ++k)
        worst[k] = std::max(worst[k], std::abs(static_cast<double>(got[k]) / expected[k] - 1.0));
    }
    for (const double error : worst) EXPECT_LT(error, kRelative) << rate;
  }
}

}  // namespace
}  // namespace morv
