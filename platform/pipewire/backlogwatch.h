// How much sound waits between a client and the graph for no good.
#pragma once

#include <algorithm>
#include <cstdint>

/// A block that comes too late is played late, and so is all that follows it: the backlog stays,
/// and with it the delay. What was left over after every single cycle for some time was not
/// needed, and can go.
///
/// A cut is heard, so each makes the next one wait twice as long: a client that needs its backlog
/// from time to time is soon left alone. Times are told in frames of the stream. One thread.
class BacklogWatch
{
public:
    /// `shortestWait` and `longestWait` in frames.
    BacklogWatch(uint64_t shortestWait, uint64_t longestWait)
        : shortestWait(shortestWait), longestWait(longestWait), currentWait(shortestWait)
    {
    }

    /// New sound begins: the first look comes soon again.
    void restart() noexcept
    {
        currentWait = shortestWait;
        forget();
    }

    /// After a cycle of `cycle` frames that left `left` frames over; tells how many of them can go.
    /// Less than half a cycle is never worth a cut.
    [[nodiscard]] uint32_t surplusAfter(uint32_t cycle, uint32_t left) noexcept
    {
        least = std::min(least, left);
        watched += cycle;
        if (watched < currentWait)
            return 0;
        const uint32_t surplus = least;
        forget();
        if (surplus == 0 || surplus < cycle / 2)
            return 0;
        currentWait = std::min(2 * currentWait, longestWait);
        return surplus;
    }

private:
    void forget() noexcept
    {
        least = UINT32_MAX;
        watched = 0;
    }

    uint64_t shortestWait;
    uint64_t longestWait;
    uint64_t currentWait;
    uint64_t watched = 0;
    uint32_t least = UINT32_MAX; ///< left over after a cycle since the last look
};
