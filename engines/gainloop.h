// The one arithmetic step that every sample on its way to an endpoint goes through.
#pragma once

#include <cstddef>

/// Scales 16-bit samples: each result is float(sample) x volume, truncated toward zero.
/// `volume` lies in 0.0 .. 1.0. Source and target must not overlap; neither needs an alignment,
/// because the source is a queue that is cut at any byte.
void applyGain(const char *source, unsigned char *target, std::size_t samples, float volume);
