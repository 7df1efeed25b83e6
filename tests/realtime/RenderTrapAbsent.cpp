#include "tests/realtime/RenderTrap.h"

namespace morv {

RenderTrap::RenderTrap() noexcept = default;
RenderTrap::~RenderTrap() = default;
long RenderTrap::caught() noexcept { return 0; }
const char* RenderTrap::lastCaught() noexcept { return ""; }
bool RenderTrap::isArmed() noexcept { return false; }
bool RenderTrap::catchesSystemCalls() noexcept { return false; }

}  // namespace morv
