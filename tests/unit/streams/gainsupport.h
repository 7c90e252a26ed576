// The gains of a virtual speaker's players, and what they are compared with.
#pragma once

#include "engines/wasapiaudioplayer.h"
#include "speakerbench.h"
#include "tests/unit/engines/gainpoints.h"

#include <cmath>

inline constexpr double tolerance = 1e-6;
inline const QString streamName = "tavori - Stream (tavori Virtual Audio Device)";

inline constexpr auto at75 = static_cast<float>(gainAt(75));
inline constexpr auto at50 = static_cast<float>(gainAt(50));
inline constexpr auto at25 = static_cast<float>(gainAt(25));

[[nodiscard]] inline bool isNear(float gain, double expected)
{
    return std::abs(gain - expected) < tolerance;
}

[[nodiscard]] inline float audioGain(const SpeakerBench &bench)
{
    return bench.device->audioOutput()->getVolume();
}
[[nodiscard]] inline float personalGain(const SpeakerBench &bench)
{
    return bench.device->personalSynthesizerOutput()->getVolume();
}
[[nodiscard]] inline float streamingGainOf(const SpeakerBench &bench)
{
    return bench.device->streamingSynthesizerOutput()->getVolume();
}

#define COMPARE_GAIN(gain, expected)                                                               \
    QVERIFY2(isNear(gain, expected),                                                               \
             qPrintable(QString("%1 is not %2").arg(double(gain)).arg(double(expected))))
