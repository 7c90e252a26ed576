// The curve from a volume in percent to the linear gain that a player applies.
#pragma once

#include <cmath>

/// The linear gain, 0.0 to 1.0, of a volume in percent. The curve runs from -60 dB to 0 dB with
/// exponent 0.25, so that equal steps of a slider sound about equally large; 0 and below is
/// silence, 100 and above is full scale.
[[nodiscard]] inline double gainOfPercent(int percent)
{
    constexpr double rangeInDecibels = 60.0;
    constexpr double exponent = 0.25;

    if (percent >= 100)
        return 1.0;
    if (percent <= 0)
        return 0.0;
    const double decibels = std::pow(percent / 100.0, exponent) * rangeInDecibels - rangeInDecibels;
    return std::pow(10.0, decibels / 20.0);
}
