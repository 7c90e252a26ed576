// The gain rules of a speaker: those of every output, and the gaming and chat mix.
#pragma once

#include "engines/outputgain.h"

/// The factor that the gaming and chat mix puts on a volume: 0.0 at a proportion of -100, 1.0 at
/// 0, 2.0 at 100, with no clamp beyond; 1.0 while the mix is off.
[[nodiscard]] double mixFactor(bool enabled, int proportion);
