// How long the plug-in's cycles of 64 frames take over half an hour of dense playing with automation: median,
// 99.9th percentile and the longest, beside the same figures of a loop of constant work that runs between the
// cycles, so that what the machine itself adds can be told apart. Each is read off the wall's clock and off
// that of the thread's own computing, which stands still while other programs have the core.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "bench/Arguments.h"
#include "bench/OwnHome.h"
#include "platform/Random.h"
#include "tests/lv2/Lv2Host.h"

namespace morv::lv2 {
namespace {

constexpr std::uint32_t kFrames = 64;
constexpr double kRateHz = 48000;
constexpr double kPeriodMicroseconds = kFrames / kRateHz * 1e6;

double microseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

struct Times {
  std::vector<float> wall;
  std::vector<float> computing;

  template <typename Work>
  void measure(Work&& work) {
    const double beginWall = microseconds(CLOCK_MONOTONIC);
    const double begin = microseconds(CLOCK_THREAD_CPUTIME_ID);
    work();
    computing.push_back(static_cast<float>(microseconds(CLOCK_THREAD_CPUTIME_ID) - begin));
    wall.push_back(static_cast<float>(microseconds(CLOCK_MONOTONIC) - beginWall));
  }
};

void print(const char* name, std::vector<float>& times) {
  const auto at = static_cast<long>(std::max_element(times.begin(), times.end()) - times.begin());
  std::sort(times.begin(), times.end());
  const double median = times[times.size() / 2];
  const double p999 = times[times.size() * 999 / 1000];
  const double longest = times.back();
  std::printf("%-28s median %7.2f  p99.9 %7.2f (%.1f times)  longest %8.2f us (%.1f times, cycle %ld)\n",
              name, median, p999, p999 / median, longest, longest / median, at);
}

class Playing {
 public:
  explicit Playing(const Lv2World& world) : host_(world, kRateHz) {
    constexpr std::array<std::pair<const char*, float>, 10> kBusy = {{{"oscSubLevel", 0.5F},
                                                                      {"outputDistortion", 0.5F},
                                                                      {"lfoAmount", 0.5F},
                                                                      {"oscLFOModAmount", 0.2F},
                                                                      {"filterEnvModAmount", 0.5F},
                                                                      {"filterLFOModAmount", 0.4F},
                                                                      {"vachorus_chorusBypass", 0},
                                                                      {"basicdelay_echoBypass", 0},
                                                                      {"ecoverb_reverbBypass", 0},
                                                                      {"midiMode", 0}}};
    for (const auto& [symbol, value] : kBusy) host_.port(symbol) = value;
    host_.activate();
  }

  // One cycle: chords ten times a second, two ports moved in each.
  void cycle(long number, Times* times) {
    constexpr long kCyclesOfAChord = 75;
    constexpr std::array<const char*, 6> kMoved = {"oscPulseWidth",     "filterResonance", "outputDistortion",
                                                   "ecoverb_reverbMix", "lfoFreq",         "volume"};
    if (number % kCyclesOfAChord == 0) strike();
    host_.port("filterCutoff") = static_cast<float>(200 + 5000 * random_.unit31());
    host_.port(kMoved[static_cast<std::size_t>(number) % kMoved.size()]) =
        static_cast<float>(random_.unit31());
    host_.layOutEvents();
    times->measure([this] { host_.runBare(kFrames); });
    host_.work();
  }

 private:
  void strike() {
    for (auto& note : chord_) {
      host_.noteOff(0, note);
      note = static_cast<std::uint8_t>(36 + random_.nextBits() % 48);
      host_.noteOn(0, note);
    }
  }

  Random random_{1};
  Lv2Host host_;
  std::array<std::uint8_t, 8> chord_{};
};

void constantWork() {
  constexpr int kSteps = 4000;
  volatile double start = 1.0;
  double x = start;
  for (int i = 0; i < kSteps; ++i) x = x * 1.0000001 + 1e-9;
  start = x;
}

// One run; each plays the same.
void play(const Lv2World& world, long cycles, Times* times, Times* loop) {
  Playing playing(world);
  constexpr long kWarmUp = 750;
  Times unused;
  for (long i = 0; i < kWarmUp; ++i) playing.cycle(i, &unused);
  // So that no growth of theirs empties the caches.
  for (Times* each : {times, loop}) {
    for (std::vector<float>* list : {&each->computing, &each->wall}) {
      list->assign(static_cast<std::size_t>(cycles), 0.0F);
      list->clear();
    }
  }
  for (long i = 0; i < cycles; ++i) {
    playing.cycle(i, times);
    loop->measure(constantWork);
  }
}

void takeLesser(std::vector<float>& times, const std::vector<float>& others) {
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = std::min(times[i], others[i]);
}

void report(double minutes, int runs) {
  const Lv2World world;
  const long cycles = std::lround(minutes * 60 * kRateHz / kFrames);
  Times times;
  Times loop;
  play(world, cycles, &times, &loop);
  std::vector<float> least = times.computing;
  std::vector<float> leastLoop = loop.computing;
  for (int run = 1; run < runs; ++run) {
    Times again;
    Times loopAgain;
    play(world, cycles, &again, &loopAgain);
    takeLesser(least, again.computing);
    takeLesser(leastLoop, loopAgain.computing);
  }
  std::printf("%ld cycles of %u frames, %.0f us each at %.0f Hz\n", cycles, kFrames, kPeriodMicroseconds,
              kRateHz);
  print("plug-in, computing", times.computing);
  print("constant work, computing", loop.computing);
  print("plug-in, wall", times.wall);
  print("constant work, wall", loop.wall);
  if (runs < 2) return;
  std::printf("each cycle by the quickest of %d runs that play the same:\n", runs);
  print("plug-in, computing", least);
  print("constant work, computing", leastLoop);
}

}  // namespace
}  // namespace morv::lv2

// block_times [MINUTES [RUNS]]: minutes of sound, 30 if not given, so many times (1); what the machine does
// to one run it does not do to the same cycle of the others.
int main(int argc, char** argv) {
  morv::Arguments arguments(argc, argv, "block_times [MINUTES [RUNS]], 0.01 to 1440 and 1 to 100");
  const double minutes = arguments.number(30, 0.01, 1440);
  const int runs = arguments.wholeNumber(1, 1, 100);
  arguments.end();
  const morv::OwnHome home;
  morv::lv2::report(minutes, runs);
  return 0;
}
