#include "platform/threads.h"

void requestRealtimeScheduling()
{
    // Qt's time-critical priority already is the one that Windows schedules by.
}
