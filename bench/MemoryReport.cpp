// Resident memory of the engine: fresh, after a minute of play, and per instance beyond the first.

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "bench/BenchEngine.h"

namespace {

// Resident bytes of this process.
long residentBytes() {
  long total = 0;
  long resident = 0;
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr) return 0;
  const int read = std::fscanf(file, "%ld %ld", &total, &resident);
  std::fclose(file);
  return read == 2 ? resident * sysconf(_SC_PAGESIZE) : 0;
}

std::unique_ptr<morv::BenchEngine> playedEngine() {
  constexpr int kBlock = 64;
  constexpr int kBlocksOfAMinute = 60 * 48000 / kBlock;
  auto engine = std::make_unique<morv::BenchEngine>(kBlock);
  engine->modulate();
  engine->holdChord(8);
  for (int i = 0; i < kBlocksOfAMinute; ++i) engine->renderBlock();
  return engine;
}

double megabytes(long bytes) { return static_cast<double>(bytes) / 1e6; }

}  // namespace

int main() {
  const long before = residentBytes();
  const auto fresh = std::make_unique<morv::BenchEngine>(64);
  const long built = residentBytes();
  const auto first = playedEngine();
  const long played = residentBytes();
  const auto second = playedEngine();
  const long further = residentBytes();
  std::printf("engine, fresh            %6.2f MB\n", megabytes(built - before));
  std::printf("second engine, played    %6.2f MB\n", megabytes(played - built));
  std::printf("third engine, played     %6.2f MB\n", megabytes(further - played));
  return 0;
}
