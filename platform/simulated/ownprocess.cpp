// The own process and thread.
#include "platform/coreaudio.h"
#include "platform/posix/lasterror.h"
#include "platform/simulated/system.h"

#include <QDir>

#include <unistd.h>

qsizetype simulated::threadCount()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

DWORD GetLastError()
{
    return posix::lastError();
}

void SetLastError(DWORD error)
{
    posix::setLastError(error);
}

DWORD GetCurrentProcessId()
{
    return static_cast<DWORD>(::getpid());
}
