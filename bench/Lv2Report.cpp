// What the LV2 plug-in costs inside a host: how long a host takes to find and make it, how long its cycles of
// 64 frames take at 48 kHz, and how far that hangs on what it plays. Beside each figure of time stands a loop
// of constant work, measured in the same run, so that the machine's own noise can be told apart.

#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Arguments.h"
#include "bench/OwnHome.h"
#include "platform/Random.h"
#include "tests/lv2/Lv2Host.h"

namespace morv::lv2 {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFrames = 64;
constexpr double kPeriodMicroseconds = kFrames / 48000.0 * 1e6;

struct Figures {
  double median;
  double p999;
  double greatest;
  double mean;
};

Figures figuresOf(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  double sum = 0;
  for (const double time : times) sum += time;
  return {times[times.size() / 2], times[times.size() * 999 / 1000], times.back(),
          sum / static_cast<double>(times.size())};
}

double microsecondsOf(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void setAll(Lv2Host& host, const std::vector<std::pair<std::string, float>>& values) {
  for (const auto& [symbol, value] : values) host.port(symbol) = value;
}

// Eight notes struck each second, the effects on, filter and pitch moved by envelope and LFO, drive on.
const std::vector<std::pair<std::string, float>> kBusy = {{"midiMode", 0},
                                                          {"oscSubLevel", 0.5F},
                                                          {"outputDistortion", 0.5F},
                                                          {"lfoAmount", 0.5F},
                                                          {"oscLFOModAmount", 0.2F},
                                                          {"filterEnvModAmount", 0.5F},
                                                          {"env1Release", 0.5F},
                                                          {"filterLFOModAmount", 0.4F},
                                                          {"vachorus_chorusBypass", 0},
                                                          {"basicdelay_echoBypass", 0},
                                                          {"ecoverb_reverbBypass", 0}};

void strike(Lv2Host& host) {
  for (const std::uint8_t note : {36, 43, 48, 52, 55, 60, 64, 67}) {
    host.noteOff(0, note);
    host.noteOn(0, note);
  }
}

std::vector<double> timesOf(Lv2Host& host, int cycles, const std::function<void(int)>& before) {
  std::vector<double> times;
  times.reserve(static_cast<std::size_t>(cycles));
  for (int i = 0; i < cycles; ++i) {
    before(i);
    host.layOutEvents();
    times.push_back(microsecondsOf([&] { host.runBare(kFrames); }));
    host.work();
  }
  return times;
}

void print(const char* name, const Figures& figures) {
  std::printf("%-42s median %7.2f  p99.9 %7.2f  greatest %8.2f us  %6.1f ns/frame\n", name, figures.median,
              figures.p999, figures.greatest, figures.median * 1000.0 / kFrames);
}

void reportScan() {
  std::vector<double> found;
  std::vector<double> made;
  for (int i = 0; i < 20; ++i) {
    std::unique_ptr<Lv2World> world;
    found.push_back(microsecondsOf([&] { world = std::make_unique<Lv2World>(); }));
    std::unique_ptr<Lv2Host> host;
    made.push_back(microsecondsOf([&] { host = std::make_unique<Lv2Host>(*world); }));
  }
  std::printf("T03 host's scan and instance, 20 times: median %.1f ms + %.1f ms (aim together 100)\n",
              figuresOf(found).median / 1000, figuresOf(made).median / 1000);
}

double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Resident memory of the process in MB.
double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// Pages that the system had to supply to this thread while it worked.
long pageFaults() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_minflt;
}

// What instances cost that stand beside a first one which has played.
void reportInstances(int count) {
  const Lv2World world;
  std::vector<std::unique_ptr<Lv2Host>> hosts;
  std::vector<double> faults;
  const auto play = [&faults](Lv2Host& host) {
    setAll(host, kBusy);
    host.activate();
    strike(host);
    long inCycles = 0;
    for (int i = 0; i < 750 * 10; ++i) {
      host.layOutEvents();
      const long before = pageFaults();
      host.runBare(kFrames);
      inCycles += pageFaults() - before;
      host.work();
    }
    faults.push_back(static_cast<double>(inCycles));
  };
  hosts.push_back(std::make_unique<Lv2Host>(world));
  play(*hosts.front());
  std::vector<double> times;
  std::vector<double> cpuTimes;
  const double before = residentMegabytes();
  for (int i = 0; i < count; ++i) {
    const double cpu = threadSeconds();
    times.push_back(microsecondsOf([&] { hosts.push_back(std::make_unique<Lv2Host>(world)); }));
    cpuTimes.push_back((threadSeconds() - cpu) * 1e6);
  }
  const double made = residentMegabytes();
  for (int i = 1; i <= count; ++i) play(*hosts[static_cast<std::size_t>(i)]);
  const double played = residentMegabytes();
  std::printf("    further instances beside it: median %.1f ms, of CPU %.1f, least %.1f (aim 5)\n",
              figuresOf(times).median / 1000, figuresOf(cpuTimes).median / 1000,
              *std::min_element(cpuTimes.begin(), cpuTimes.end()) / 1000);
  std::printf("    resident for each of them %.2f MB, %.2f once it has played (aim 10)\n",
              (made - before) / count, (played - before) / count);
  std::printf("    pages that came only in a cycle: median %.0f in ten seconds of each\n",
              figuresOf(faults).median);
}

void reportBusyCycles(const Lv2World& world, int cycles) {
  Lv2Host host(world);
  setAll(host, kBusy);
  host.activate();
  volatile double sink = 0;
  std::vector<double> loop;
  const auto times = timesOf(host, cycles, [&](int i) {
    if (i % 750 == 0) strike(host);
    loop.push_back(microsecondsOf([&] {
      double x = 1.0;
      for (int k = 0; k < 4000; ++k) x = x * 1.0000001 + 1e-9;
      sink = x;
    }));
  });
  const Figures figures = figuresOf(times);
  print("T08 eight voices, all effects", figures);
  print("    constant work in the same run", figuresOf(loop));
  std::printf("    greatest is %.1f times the median (aim 3) and %.0f %% of the period (aim 25)\n",
              figures.greatest / figures.median, 100.0 * figures.greatest / kPeriodMicroseconds);
}

// CPU time of whole seconds of sound, so that the cycles that strike count with their share.
void reportSeconds(const char* name, Lv2Host& host, int cycles, bool isStruck) {
  constexpr int kCyclesOfASecond = 750;
  std::vector<double> perFrame;
  for (int second = 0; second < std::max(cycles / kCyclesOfASecond, 1); ++second) {
    if (isStruck) strike(host);
    const double start = threadSeconds();
    for (int i = 0; i < kCyclesOfASecond; ++i) {
      host.layOutEvents();
      host.runBare(kFrames);
    }
    perFrame.push_back((threadSeconds() - start) * 1e9 / (kCyclesOfASecond * kFrames));
    host.work();
  }
  const Figures figures = figuresOf(perFrame);
  std::printf("%-42s median %6.1f  mean %6.1f  least %6.1f ns/frame of CPU, by the second\n", name,
              figures.median, figures.mean, *std::min_element(perFrame.begin(), perFrame.end()));
}

// The scene by which the instrument's speed is told.
void reportScene(const Lv2World& world, int cycles, int idleCycles) {
  Lv2Host host(world);
  setAll(host, kBusy);
  host.activate();
  reportSeconds("Chord struck each second, all effects", host, cycles, true);
  for (const std::uint8_t note : {36, 43, 48, 52, 55, 60, 64, 67}) host.noteOff(0, note);
  timesOf(host, 750 * 60, [](int) {});
  reportSeconds("Idle, a minute behind it", host, idleCycles, false);
}

// Eight voices let go with the longest release: what they hold falls through all magnitudes down to the
// smallest.
Figures dearestSecondOfDyingVoices(const Lv2World& world) {
  Lv2Host host(world);
  setAll(host, kBusy);
  setAll(host, {{"env1Release", 1}, {"env2Release", 1}});
  host.activate();
  strike(host);
  timesOf(host, 100, [](int) {});
  for (const std::uint8_t note : {36, 43, 48, 52, 55, 60, 64, 67}) host.noteOff(0, note);
  Figures dearest{};
  for (int second = 0; second < 60; ++second) {
    const Figures figures = figuresOf(timesOf(host, 750, [](int) {}));
    if (second == 0 || figures.median > dearest.median) dearest = figures;
  }
  return dearest;
}

void reportSignals(const Lv2World& world, int cycles) {
  struct Case {
    const char* name;
    std::function<void(Lv2Host&)> prepare;
  };
  const float wild = std::numeric_limits<float>::quiet_NaN();
  const std::vector<Case> cases = {{"plain", [](Lv2Host&) {}},
                                   {"levels at 0",
                                    [](Lv2Host& host) {
                                      setAll(host, {{"oscMainLevel", 0}, {"oscSubLevel", 0}});
                                    }},
                                   {"noise",
                                    [](Lv2Host& host) {
                                      setAll(host, {{"oscNoiseLevel", 1}, {"oscMainLevel", 0}});
                                    }},
                                   {"ports without numbers",
                                    [wild](Lv2Host& host) {
                                      setAll(host, {{"filterCutoff", wild}, {"volume", wild}});
                                    }},
                                   {"extremes", [](Lv2Host& host) {
                                      setAll(host, {{"filterResonance", 1},
                                                    {"filterCutoff", 20000},
                                                    {"outputDistortion", 1},
                                                    {"lfoFreq", 10},
                                                    {"ecoverb_reverbDecay", 1}});
                                    }}};
  std::vector<double> means;
  for (const Case& each : cases) {
    Lv2Host host(world);
    setAll(host, kBusy);
    each.prepare(host);
    host.activate();
    const Figures figures = figuresOf(timesOf(host, cycles, [&](int i) {
      if (i % 750 == 0) strike(host);
    }));
    print((std::string("T09 ") + each.name).c_str(), figures);
    means.push_back(figures.median);
  }
  const Figures dying = dearestSecondOfDyingVoices(world);
  print("T09 dying away, dearest second of sixty", dying);
  means.push_back(dying.median);
  Lv2Host tail(world);
  setAll(tail, kBusy);
  tail.activate();
  strike(tail);
  timesOf(tail, 100, [](int) {});
  for (const std::uint8_t note : {36, 43, 48, 52, 55, 60, 64, 67}) tail.noteOff(0, note);
  timesOf(tail, 750 * 20, [](int) {});
  print("T09 tail, twenty seconds on", figuresOf(timesOf(tail, cycles, [](int) {})));
  std::printf("    costliest over cheapest of the sounding ones: %.2f (aim 1.2, at most 1.5)\n",
              *std::max_element(means.begin(), means.end()) / *std::min_element(means.begin(), means.end()));
}

void reportIdle(const Lv2World& world, int cycles) {
  Lv2Host host(world);
  host.activate();
  const Figures fresh = figuresOf(timesOf(host, cycles, [](int) {}));
  print("T10 idle, nothing ever played", fresh);
  setAll(host, kBusy);
  strike(host);
  timesOf(host, 750, [](int) {});
  for (const std::uint8_t note : {36, 43, 48, 52, 55, 60, 64, 67}) host.noteOff(0, note);
  timesOf(host, 750 * 60, [](int) {});
  const Figures ended = figuresOf(timesOf(host, cycles, [](int) {}));
  print("T10 idle, a minute behind the last note", ended);
  std::printf("    %.2f %% of one core (aim 1)\n", 100.0 * ended.mean / kPeriodMicroseconds);
}

void reportAutomation(const Lv2World& world) {
  Lv2Host host(world);
  setAll(host, kBusy);
  host.activate();
  strike(host);
  const auto run16 = [&](bool isMoving) {
    Random random(1);
    std::vector<double> times;
    for (int i = 0; i < 20000; ++i) {
      if (isMoving) {
        for (const std::string& symbol : host.parameterSymbols()) {
          if (symbol.find("ypass") == std::string::npos && symbol != "voiceMode" && symbol != "arpEnabled" &&
              symbol != "midiMode") {
            host.port(symbol) = static_cast<float>(random.unit31());
          }
        }
      }
      host.layOutEvents();
      times.push_back(microsecondsOf([&] { host.runBare(16); }));
      host.work();
    }
    return figuresOf(times).median;
  };
  const double quiet = run16(false);
  const double moving = run16(true);
  std::printf("T20 all ports moved in cycles of 16: %.2f us against %.2f us, %.2f times (aim 2)\n", moving,
              quiet, moving / quiet);
}

}  // namespace
}  // namespace morv::lv2

// lv2_report [CYCLES [scene|idle|instances]]: cycles of each measurement, 100000 if not given; all of them,
// the scene alone, mostly its end, or what further instances cost.
int main(int argc, char** argv) {
  morv::Arguments arguments(argc, argv, "lv2_report [CYCLES [scene|idle|instances]], 1 to 10000000 cycles");
  const int cycles = arguments.wholeNumber(100000, 1, 10000000);
  const std::string_view part = arguments.word("scene", "idle", "instances");
  arguments.end();
  const bool isAll = part.empty();
  const morv::OwnHome home;
  if (isAll) morv::lv2::reportScan();
  if (isAll || part == "instances") morv::lv2::reportInstances(20);
  if (part == "instances") return 0;
  const morv::lv2::Lv2World world;
  morv::lv2::reportScene(world, part == "idle" ? 750 : cycles, cycles);
  if (!isAll) return 0;
  const int fewer = std::max(cycles / 5, 1);
  morv::lv2::reportBusyCycles(world, cycles);
  morv::lv2::reportSignals(world, fewer);
  morv::lv2::reportIdle(world, fewer);
  morv::lv2::reportAutomation(world);
  return 0;
}
