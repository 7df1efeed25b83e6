// The whole engine: nanoseconds per frame for a number of voices, and the time to build it.

#include <benchmark/benchmark.h>

#include "bench/BenchEngine.h"

namespace morv {
namespace {

void perFrame(benchmark::State& state, BenchEngine& engine, int blockFrames) {
  for (auto _ : state) engine.renderBlock();
  state.counters["per_frame"] = benchmark::Counter(static_cast<double>(state.iterations()) * blockFrames,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void plainPatch(benchmark::State& state) {
  const auto blockFrames = static_cast<int>(state.range(1));
  BenchEngine engine(blockFrames);
  engine.holdChord(static_cast<int>(state.range(0)));
  perFrame(state, engine, blockFrames);
}

void modulatedPatch(benchmark::State& state) {
  const auto blockFrames = static_cast<int>(state.range(1));
  BenchEngine engine(blockFrames);
  engine.modulate();
  engine.holdChord(static_cast<int>(state.range(0)));
  perFrame(state, engine, blockFrames);
}

void drivenPatch(benchmark::State& state) {
  const auto blockFrames = static_cast<int>(state.range(1));
  BenchEngine engine(blockFrames);
  engine.modulate();
  engine.setParameter("outputDistortion", 0.5F);
  engine.setParameter("oscSubLevel", 0.5F);
  engine.holdChord(static_cast<int>(state.range(0)));
  perFrame(state, engine, blockFrames);
}

void buildInstrument(benchmark::State& state) {
  for (auto _ : state) {
    ZQ3DSPKernel kernel;
    kernel.init(2, 48000.0, 1024, 8);
    benchmark::DoNotOptimize(kernel.instrument.get());
  }
}

void buildSecondInstrument(benchmark::State& state) {
  ZQ3DSPKernel first;
  first.init(2, 48000.0, 1024, 8);
  buildInstrument(state);
}

BENCHMARK(plainPatch)->ArgNames({"voices", "block"})->ArgsProduct({{0, 1, 8}, {64, 512}});
BENCHMARK(modulatedPatch)->ArgNames({"voices", "block"})->ArgsProduct({{1, 8}, {64, 512}});
BENCHMARK(drivenPatch)->ArgNames({"voices", "block"})->ArgsProduct({{8}, {64, 512}});
BENCHMARK(buildInstrument)->Unit(benchmark::kMillisecond);
BENCHMARK(buildSecondInstrument)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace morv
