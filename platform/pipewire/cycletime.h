// Where in a cycle of the graph a moment lies.
#pragma once

#include <chrono>

/// Time from `now` to the start of the next cycle, on the clock that `cycleStart` is told by: the
/// start of this cycle or still of one before. A whole period when the start is still to come. A
/// cycle that begins late does not end later: the graph keeps its clock. `period` above zero.
[[nodiscard]] constexpr std::chrono::nanoseconds
untilNextCycle(std::chrono::nanoseconds cycleStart, std::chrono::nanoseconds now,
               std::chrono::nanoseconds period) noexcept
{
    const std::chrono::nanoseconds gone = now - cycleStart;
    return gone.count() < 0 ? period : period - gone % period;
}
