// Events, waits and the last error.
#include "platform/vocabulary/kernel.h"

#include "platform/posix/events.h"
#include "platform/posix/lasterror.h"
#include "platform/simulated/census.h"
#include "platform/simulated/record.h"

#include <unistd.h>

using simulated::failsWithError;
using simulated::handleName;

HANDLE CreateEventW(SECURITY_ATTRIBUTES *, BOOL manualReset, BOOL initialState, LPCWSTR)
{
    const QString name = QStringLiteral("event%1").arg(simulated::nextEventNumber());
    if (failsWithError(
            QStringLiteral("CreateEventW %1 %2")
                .arg(manualReset ? QStringLiteral("manual") : QStringLiteral("auto"), name)))
        return nullptr;
    const HANDLE event = posix::createEvent(manualReset != FALSE, initialState != FALSE);
    if (event)
        simulated::enterCensus(event, name);
    return event;
}

BOOL SetEvent(HANDLE event)
{
    if (failsWithError(QStringLiteral("SetEvent ") + handleName(event)))
        return FALSE;
    return posix::setEvent(event) ? TRUE : FALSE;
}

BOOL ResetEvent(HANDLE event)
{
    if (failsWithError(QStringLiteral("ResetEvent ") + handleName(event)))
        return FALSE;
    return posix::resetEvent(event) ? TRUE : FALSE;
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds)
{
    QString call = QStringLiteral("WaitForMultipleObjects");
    for (DWORD index = 0; handles && index < count; ++index)
        call += u' ' + handleName(handles[index]);
    if (failsWithError(call))
        return WAIT_FAILED;
    if (waitAll) {
        posix::setLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return posix::waitForMultiple(count, handles, milliseconds);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    if (failsWithError(QStringLiteral("WaitForSingleObject ") + handleName(handle)))
        return WAIT_FAILED;
    return posix::waitForMultiple(1, &handle, milliseconds);
}

BOOL CloseHandle(HANDLE object)
{
    if (failsWithError(QStringLiteral("CloseHandle ") + handleName(object)))
        return FALSE;
    if (!posix::closeHandle(object))
        return FALSE;
    simulated::leaveCensus(object);
    return TRUE;
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
