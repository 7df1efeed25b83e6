// The voice's kernels one by one, for both kinds of machine; the exact filter beside the bank that stands in
// for it.

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

#include "platform/ScopedFlushDenormals.h"
#include "voice/VoiceKernels.h"
#include "voice/ZRSEMFilter.h"

namespace morv {
namespace {

const VoiceKernels& kernelsOf(const benchmark::State& state) {
  const VoiceKernels* fast = avx2VoiceKernels();
  return state.range(0) != 0 && fast != nullptr ? *fast : baselineVoiceKernels();
}

void report(benchmark::State& state, double framesPerIteration) {
  state.counters["per_frame"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * framesPerIteration,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void hyperbolicTangent(benchmark::State& state) {
  const auto frames = static_cast<int>(state.range(1));
  std::vector<float> samples(static_cast<std::size_t>(frames), 0.5F);
  const VoiceKernels& kernels = kernelsOf(state);
  for (auto _ : state) {
    kernels.tanhInPlace(samples.data(), frames);
    benchmark::DoNotOptimize(samples.data());
  }
  report(state, frames);
}

void filterCoefficients(benchmark::State& state) {
  // From 10 Hz to 10 Hz below half the rate.
  constexpr float kTurnsOffset = 10.0F / 44100.0F;
  constexpr float kTurnsScale = 0.5F - 2.0F * kTurnsOffset;
  const auto frames = static_cast<int>(state.range(1));
  const std::vector<float> cutoffs(static_cast<std::size_t>(frames), 0.2F);
  const std::vector<float> resonances(static_cast<std::size_t>(frames), 0.5F);
  std::array<std::vector<float>, 3> out;
  for (auto& values : out) values.resize(static_cast<std::size_t>(frames));
  const VoiceKernels& kernels = kernelsOf(state);
  for (auto _ : state) {
    kernels.semCoefficients(cutoffs.data(), resonances.data(), kTurnsScale, kTurnsOffset, out[0].data(),
                            out[1].data(), out[2].data(), frames);
    benchmark::DoNotOptimize(out[0].data());
  }
  report(state, frames);
}

// Eight filters at once; nanoseconds are those of one frame of all eight.
void filterBank(benchmark::State& state) {
  const auto frames = static_cast<int>(state.range(1));
  int counter = 0;
  std::vector<std::unique_ptr<ZRSEMFilter>> filters;
  std::vector<std::vector<float>> samples;
  std::array<SEMFilterLane, VoiceKernels::kLanes> lanes{};
  for (std::size_t i = 0; i < lanes.size(); ++i) {
    filters.push_back(std::make_unique<ZRSEMFilter>(44100.0F, &counter));
    samples.emplace_back(static_cast<std::size_t>(frames), 0.25F);
    lanes[i] = filters[i]->laneFor(samples[i].data(), samples[i].data(), frames);
  }
  const VoiceKernels& kernels = kernelsOf(state);
  const ScopedFlushDenormals flush;
  for (auto _ : state) {
    kernels.semFilterBank(lanes.data(), VoiceKernels::kLanes, frames);
    benchmark::DoNotOptimize(samples[0].data());
  }
  report(state, frames);
}

// One exact filter, with its second channel.
void exactFilter(benchmark::State& state) {
  const auto frames = static_cast<int>(state.range(0));
  int counter = 0;
  ZRSEMFilter filter(44100.0F, &counter);
  std::vector<float> samples(static_cast<std::size_t>(frames), 0.25F);
  std::vector<float> second(static_cast<std::size_t>(frames));
  const ScopedFlushDenormals flush;
  for (auto _ : state) {
    filter.runFilter(samples.data(), samples.data(), samples.data(), second.data(), frames);
    benchmark::DoNotOptimize(samples.data());
  }
  report(state, frames);
}

BENCHMARK(hyperbolicTangent)->ArgNames({"avx2", "block"})->ArgsProduct({{0, 1}, {64, 512}});
BENCHMARK(filterCoefficients)->ArgNames({"avx2", "block"})->ArgsProduct({{0, 1}, {64, 512}});
BENCHMARK(filterBank)->ArgNames({"avx2", "block"})->ArgsProduct({{0, 1}, {64, 512}});
BENCHMARK(exactFilter)->ArgNames({"block"})->Args({64})->Args({512});

}  // namespace
}  // namespace morv
