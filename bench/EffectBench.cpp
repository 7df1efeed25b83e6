// The instrument's effects one by one and in their chain, on a second of music-like noise at 48 kHz.

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpectrumAnalyzer.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "platform/Random.h"
#include "platform/ScopedFlushDenormals.h"

namespace morv {
namespace {

constexpr float kRate = 48000.0F;
constexpr float kTempo = 120.0F;
constexpr int kInputFrames = 48000;

using Chain = std::vector<std::unique_ptr<ZRDSPEffect>>;

template <typename Effect>
void add(Chain* chain) {
  chain->push_back(std::make_unique<Effect>(kRate));
  chain->back()->bypass = 0.0F;
}

std::vector<float> noise(std::uint64_t seed) {
  Random random(seed);
  std::vector<float> samples(kInputFrames);
  for (float& s : samples) s = 0.5F * static_cast<float>(2.0 * random.unitDouble() - 1.0);
  return samples;
}

void run(benchmark::State& state, const Chain& chain) {
  const ScopedFlushDenormals guard;
  const auto frames = static_cast<int>(state.range(0));
  for (const auto& effect : chain) effect->prepare(kRate, frames);
  const std::vector<float> inL = noise(1);
  const std::vector<float> inR = noise(2);
  std::vector<float> left(static_cast<std::size_t>(frames));
  std::vector<float> right(static_cast<std::size_t>(frames));
  int at = 0;
  for (auto _ : state) {
    if (at + frames > kInputFrames) at = 0;
    std::copy_n(inL.data() + at, frames, left.data());
    std::copy_n(inR.data() + at, frames, right.data());
    at += frames;
    for (const auto& effect : chain) {
      effect->runEffect(left.data(), right.data(), left.data(), right.data(), frames, kTempo);
    }
    benchmark::DoNotOptimize(left.data());
    benchmark::DoNotOptimize(right.data());
  }
  state.counters["per_frame"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(frames),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void chorusSine(benchmark::State& state) {
  Chain chain;
  add<ZRBasicChorus>(&chain);
  run(state, chain);
}

void chorusNoise(benchmark::State& state) {
  Chain chain;
  add<ZRBasicChorus>(&chain);
  static_cast<ZRBasicChorus&>(*chain.back()).modShape = 1.0F;
  run(state, chain);
}

void reverb(benchmark::State& state) {
  Chain chain;
  add<ZREcoVerb>(&chain);
  run(state, chain);
}

void echo(benchmark::State& state) {
  Chain chain;
  add<ZRBasicDelay>(&chain);
  run(state, chain);
}

void allThree(benchmark::State& state) {
  Chain chain;
  add<ZRBasicChorus>(&chain);
  add<ZREcoVerb>(&chain);
  add<ZRBasicDelay>(&chain);
  run(state, chain);
}

void tapeEcho(benchmark::State& state) {
  Chain chain;
  add<ZRVADelay>(&chain);
  run(state, chain);
}

void tapeEchoCrusher(benchmark::State& state) {
  Chain chain;
  add<ZRVADelay>(&chain);
  static_cast<ZRVADelay&>(*chain.back()).program = 3.0F;
  run(state, chain);
}

// Prepared ahead of the switch, so that it runs at eight times the rate.
void tapeEchoOversampled(benchmark::State& state) {
  Chain chain;
  add<ZRVADelay>(&chain);
  chain.back()->setParameterValueForAddress(static_cast<ZRVADelay&>(*chain.back()).oversample.address, 1.0F);
  run(state, chain);
}

void spectrum(benchmark::State& state) {
  Chain chain;
  chain.push_back(std::make_unique<ZRSpectrumAnalyzer>(kRate, 2048, static_cast<int>(sizeof(float))));
  run(state, chain);
}

BENCHMARK(chorusSine)->Arg(64)->Arg(512);
BENCHMARK(chorusNoise)->Arg(64)->Arg(512);
BENCHMARK(reverb)->Arg(64)->Arg(512);
BENCHMARK(echo)->Arg(64)->Arg(512);
BENCHMARK(allThree)->Arg(64)->Arg(512);
BENCHMARK(tapeEcho)->Arg(64)->Arg(512);
BENCHMARK(tapeEchoCrusher)->Arg(64)->Arg(512);
BENCHMARK(tapeEchoOversampled)->Arg(64)->Arg(512);
BENCHMARK(spectrum)->Arg(64)->Arg(512);

// The second argument is the mode.
void digiVerb(benchmark::State& state) {
  Chain chain;
  add<ZRDigiVerb>(&chain);
  auto& unit = static_cast<ZRDigiVerb&>(*chain.back());
  unit.mode = static_cast<int>(state.range(1));
  unit.mix = 0.5F;
  unit.dryGain = 1.0F;
  unit.decay = unit.diffusion = unit.modDepth = unit.spread = 0.5F;
  run(state, chain);
}
BENCHMARK(digiVerb)->ArgsProduct({{64, 512}, benchmark::CreateDenseRange(0, ZRDigiVerb::kModes - 1, 1)});

// The second argument is the program, the third the routing; all three stages.
void analogueChorus(benchmark::State& state) {
  Chain chain;
  add<ZRVAChorus>(&chain);
  auto& unit = static_cast<ZRVAChorus&>(*chain.back());
  unit.program = static_cast<float>(state.range(1));
  unit.modRouting = static_cast<float>(state.range(2));
  unit.numStages = 2.0F;
  unit.animate = 1.0F;
  run(state, chain);
}
BENCHMARK(analogueChorus)->ArgsProduct({{64, 512}, benchmark::CreateDenseRange(0, 3, 1), {0, 1}});
// The second argument is the modulation's type.
void digiDelay(benchmark::State& state) {
  Chain chain;
  add<ZRDigiDelay>(&chain);
  auto& unit = static_cast<ZRDigiDelay&>(*chain.back());
  unit.time = 250.0F;
  unit.modType = static_cast<int>(state.range(1));
  unit.modAmount = 0.5F;
  run(state, chain);
}
BENCHMARK(digiDelay)->ArgsProduct({{64, 512}, benchmark::CreateDenseRange(0, ZRDigiDelay::kModTypes - 1, 1)});

void digiPhaser(benchmark::State& state) {
  Chain chain;
  add<ZRDigiPhaser>(&chain);
  static_cast<ZRDigiPhaser&>(*chain.back()).depth = 0.5F;
  run(state, chain);
}
BENCHMARK(digiPhaser)->Arg(64)->Arg(512);

void springVerb(benchmark::State& state) {
  Chain chain;
  add<ZRSpringVerb>(&chain);
  run(state, chain);
}
BENCHMARK(springVerb)->Arg(64)->Arg(512);

}  // namespace
}  // namespace morv
