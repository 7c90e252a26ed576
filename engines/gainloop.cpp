#include "engines/gainloop.h"

#include <cstdint>
#include <cstring>

void applyGain(const char *__restrict source, unsigned char *__restrict target, std::size_t samples,
               float volume)
{
    // memcpy of two bytes is how an unaligned load and store is written; it costs nothing.
    for (std::size_t i = 0; i < samples; ++i) {
        std::int16_t sample;
        std::memcpy(&sample, source + i * sizeof sample, sizeof sample);
        const auto scaled = static_cast<std::int16_t>(static_cast<float>(sample) * volume);
        std::memcpy(target + i * sizeof scaled, &scaled, sizeof scaled);
    }
}
