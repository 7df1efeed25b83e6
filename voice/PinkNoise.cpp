#include "voice/PinkNoise.h"

#include <map>
#include <mutex>
#include <utility>

#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

std::shared_ptr<const PinkNoise> made(std::uint64_t seed, int length) {
  auto noise = std::make_shared<PinkNoise>();
  noise->behind.reseed(seed);
  noise->samples.resize(static_cast<std::size_t>(length));
  float b0 = 0;
  float b1 = 0;
  float b2 = 0;
  for (float& sample : noise->samples) {
    const float w = gaussianNoise(noise->behind);
    b0 = 0.99765F * b0 + 0.099046F * w;
    b1 = 0.963F * b1 + 0.2965164F * w;
    b2 = 0.57F * b2 + 1.0526913F * w;
    sample = b0 + b1 + b2 + 0.1848F * w;
  }
  return noise;
}

}  // namespace

std::shared_ptr<const PinkNoise> PinkNoise::ofSeed(std::uint64_t seed, int length) {
  static std::mutex mutex;
  static std::map<std::pair<std::uint64_t, int>, std::weak_ptr<const PinkNoise>> all;
  const std::lock_guard lock(mutex);
  auto& known = all[{seed, length}];
  auto noise = known.lock();
  if (noise == nullptr) {
    noise = made(seed, length);
    std::erase_if(all, [](const auto& each) { return each.second.expired(); });
    all[{seed, length}] = noise;
  }
  return noise;
}

}  // namespace morv
