#pragma once

#include "hosts/cli/EffectOptions.h"
#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// Carries out "morv effect run"; tells on the standard error stream what came of it.
ExitCode runEffect(const EffectOptions& options);

}  // namespace morv::cli
