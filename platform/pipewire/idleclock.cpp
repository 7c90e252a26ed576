#include "platform/pipewire/idleclock.h"

#include <chrono>

using std::chrono::milliseconds;

namespace
{
constexpr milliseconds usualInterval(40);
constexpr milliseconds soundlessInterval(500);

/// Below a second.
constexpr timespec timespecOf(milliseconds time)
{
    return {0, std::chrono::nanoseconds(time).count()};
}
} // namespace

IdleClock::IdleClock(Connection &connection, RenderPath &path)
    : path(path), loop(connection.messageLoop()), timer(pw_loop_add_timer(loop, onTime, this))
{
}

IdleClock::~IdleClock()
{
    pw_loop_destroy_source(loop, timer);
}

void IdleClock::setRunning(bool now)
{
    isRunning = now;
    arm();
}

void IdleClock::stateChanged(pw_stream_state state)
{
    path.stateChanged(state);
    isStreaming = state == PW_STREAM_STATE_STREAMING;
    arm();
}

void IdleClock::onTime(void *data, uint64_t)
{
    static_cast<IdleClock *>(data)->onTick();
}

void IdleClock::onTick()
{
    path.idle(interval);
    if (interval != wantedInterval())
        arm();
}

milliseconds IdleClock::wantedInterval() const
{
    return path.isSoundless() ? soundlessInterval : usualInterval;
}

void IdleClock::arm()
{
    interval = wantedInterval();
    timespec first = isRunning && !isStreaming ? timespecOf(interval) : timespec{};
    timespec next = first;
    pw_loop_update_timer(loop, timer, &first, &next, false);
}
