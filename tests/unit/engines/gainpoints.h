// What the curve from percent to gain must give, to six places.
#pragma once

#include <array>
#include <climits>

struct GainPoint
{
    int percent;
    double gain;
};

inline constexpr std::array<GainPoint, 13> gainPoints{{
    {INT_MAX, 1.0},
    {101, 1.0},
    {100, 1.0},
    {99, 0.982815},
    {90, 0.835625},
    {75, 0.619177},
    {50, 0.333188},
    {25, 0.132227},
    {10, 0.048643},
    {1, 0.008886},
    {0, 0.0},
    {-1, 0.0},
    {INT_MIN, 0.0},
}};

/// The gain of a percent that the table has; anything else does not compile.
consteval double gainAt(int percent)
{
    for (const GainPoint &point : gainPoints) {
        if (point.percent == percent)
            return point.gain;
    }
    throw "no such point";
}
