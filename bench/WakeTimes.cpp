// What the block of 64 frames costs in which eight sleeping voices wake at once for a chord, and the one in
// which a single one wakes for a note, against the median block of the chord held: the thread's own computing
// time, which stands still while other programs have the core.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "bench/Arguments.h"
#include "bench/BenchEngine.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

constexpr int kFrames = 64;
constexpr int kVoices = 8;
constexpr double kPeriodMicroseconds = kFrames / 48000.0 * 1e6;

double microseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

template <typename Work>
double timeOf(Work&& work) {
  const double begin = microseconds();
  work();
  return microseconds() - begin;
}

double median(std::vector<double>& times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

struct Patch {
  const char* name;
  float cutoff;  // Hz; 0 keeps the patch's own
  float resonance;
  bool isModulated;
};

class Waking {
 public:
  explicit Waking(const Patch& patch) : engine_(kFrames), patch_(patch) {
    engine_.setParameter("midiMode", 0);
    if (patch.cutoff > 0.0F) {
      engine_.setParameter("filterCutoff", patch.cutoff);
      engine_.setParameter("filterResonance", patch.resonance);
    }
    if (!patch.isModulated) return;
    engine_.modulate();
    for (const char* symbol : {"oscNoiseLevel", "oscSubLevel", "outputDistortion"})
      engine_.setParameter(symbol, 0.3F);
  }

  void report(int wakes) {
    std::vector<double> busy;
    std::vector<double> idle;
    std::vector<double> chord;
    std::vector<double> single;
    int asleep = 0;
    // The first notes come to memory that was never touched.
    engine_.holdChord(kVoices);
    engine_.releaseChord(kVoices);
    for (int i = 0; i < wakes; ++i) {
      asleep = std::max(asleep, rest(&idle));
      chord.push_back(timeOf([this] { engine_.holdChord(kVoices); }));
      for (int n = 0; n < 20; ++n) busy.push_back(timeOf([this] { engine_.renderBlock(); }));
      engine_.releaseChord(kVoices);
      rest(&idle);
      single.push_back(timeOf([this] { engine_.holdChord(1); }));
      engine_.releaseChord(1);
    }
    std::printf("%-34s %d asleep  idle %6.2f  busy %6.2f  ", patch_.name, asleep, median(idle), median(busy));
    print("chord", chord);
    print("single", single);
    std::printf("\n");
  }

 private:
  // Renders silence until all voices sleep, or for 4 s; returns how many do.
  int rest(std::vector<double>* times) {
    int asleep = 0;
    for (int n = 0; n < 3000 && asleep < kVoices; ++n) {
      engine_.renderBlock();
      asleep = 0;
      for (const auto& voice : engine_.kernel.instrument->voices)
        asleep += static_cast<int>(static_cast<ZRTurboVoice&>(*voice).isAsleep());
    }
    // Longer than what waking plays again.
    for (int n = 0; n < 80; ++n) times->push_back(timeOf([this] { engine_.renderBlock(); }));
    return asleep;
  }
  static void print(const char* name, std::vector<double>& times) {
    const double middle = median(times);
    std::printf("%s %7.2f longest %7.2f (%4.1f %%)  ", name, middle, times.back(),
                100.0 * times.back() / kPeriodMicroseconds);
  }

  BenchEngine engine_;
  Patch patch_;
};

}  // namespace
}  // namespace morv

// wake_times [WAKES]: of each kind and patch, 200 if not given.
int main(int argc, char** argv) {
  morv::Arguments arguments(argc, argv, "wake_times [WAKES], 1 to 100000");
  const int wakes = arguments.wholeNumber(200, 1, 100000);
  arguments.end();
  std::printf("us in a block of 64 frames at 48 kHz, whose period is %.0f us\n", morv::kPeriodMicroseconds);
  for (const morv::Patch& patch : {morv::Patch{"default patch", 0, 0, false},
                                   {"default patch, all of it at work", 0, 0, true},
                                   {"cutoff 1 kHz, resonance 0.19", 1000, 0.19F, false},
                                   {"the same, all of it at work", 1000, 0.19F, true},
                                   {"cutoff 200 Hz, resonance 0.01", 200, 0.01F, false},
                                   {"cutoff 100 Hz, resonance 0.9", 100, 0.9F, false}}) {
    morv::Waking(patch).report(wakes);
  }
  return 0;
}
