#include "platform/pipewire/idleclock.h"

#include <algorithm>

namespace
{
constexpr timespec interval{0, 40'000'000};
constexpr timespec silentInterval{0, 500'000'000};
constexpr int ticksToSilence = 50;
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
    silentTicks = 0;
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
    const bool wasSilent = silentTicks >= ticksToSilence;
    silentTicks = path.takeSounded() ? 0 : std::min(silentTicks + 1, ticksToSilence);
    path.idle();
    if (wasSilent != (silentTicks >= ticksToSilence))
        arm();
}

void IdleClock::arm()
{
    const timespec &usual = silentTicks >= ticksToSilence ? silentInterval : interval;
    timespec first = isRunning && !isStreaming ? usual : timespec{};
    timespec next = first;
    pw_loop_update_timer(loop, timer, &first, &next, false);
}
