#include "hosts/player/RenderGate.h"

#include <chrono>
#include <thread>

namespace morv::player {

void RenderGate::close() noexcept {
  constexpr std::chrono::microseconds kPartOfACycle{200};
  isOpen_.store(false);
  while (isInside_.load()) std::this_thread::sleep_for(kPartOfACycle);
}

}  // namespace morv::player
