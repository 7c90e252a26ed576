#include "platform/posix/lasterror.h"

DWORD posix::lastError()
{
    return GetLastError();
}

void posix::setLastError(DWORD error)
{
    SetLastError(error);
}
