#include "platform/pipewire/idleclock.h"

namespace
{
constexpr timespec interval{0, 40'000'000};
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
    static_cast<IdleClock *>(data)->path.idle();
}

void IdleClock::arm()
{
    timespec first = isRunning && !isStreaming ? interval : timespec{};
    timespec next = first;
    pw_loop_update_timer(loop, timer, &first, &next, false);
}
