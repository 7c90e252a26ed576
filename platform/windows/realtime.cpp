#include "platform/threads.h"

void requestRealtimeScheduling(SoundThread)
{
    // The threads that come here have Qt's time-critical priority, which Windows schedules by; the
    // player's worker has that of its maker.
}
