#include "platform/posix/lasterror.h"

namespace
{
thread_local DWORD lastErrorOfThread = ERROR_SUCCESS;
}

DWORD posix::lastError()
{
    return lastErrorOfThread;
}

void posix::setLastError(DWORD error)
{
    lastErrorOfThread = error;
}
