#include "platform/pipewire/streampath.h"

#include "platform/posix/events.h"

void StreamPath::markLost()
{
    if (!lost.exchange(true))
        signalClient();
}

void StreamPath::stateChanged(pw_stream_state state)
{
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
        markLost();
}

void StreamPath::cancelEvent()
{
    posix::setEventAfter(event.load(), {});
}

void StreamPath::signalClient() noexcept
{
    if (HANDLE handle = event.load())
        posix::setEvent(handle);
}
