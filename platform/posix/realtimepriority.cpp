#include "platform/posix/realtimepriority.h"

#include <sched.h>

namespace posix
{

void lowerToFedPriority() noexcept
{
    // The system's own calls: libc remembers what it was told, and others may have changed it.
    const int policy = sched_getscheduler(0);
    sched_param parameters{};
    if (policy < 0 || sched_getparam(0, &parameters) < 0 ||
        parameters.sched_priority <= fedPriority)
        return;
    parameters.sched_priority = fedPriority;
    // With another policy or another flag, lowering would need rights.
    sched_setscheduler(0, policy, &parameters);
}

} // namespace posix
