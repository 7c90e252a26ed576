// Real-time priority for a benchmark's thread.
#pragma once

#include <sched.h>

#include <cstdio>

/// For the calling thread, as far as the rights allow.
inline void requestRealtime(int priority)
{
    const sched_param parameters{.sched_priority = priority};
    if (sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) != 0)
        std::fputs("no right to real-time priority\n", stderr);
}
