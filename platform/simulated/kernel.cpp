// Events and waits.
#include "platform/coreaudio.h"
#include "platform/posix/events.h"
#include "platform/posix/lasterror.h"
#include "platform/simulated/census.h"
#include "platform/simulated/record.h"

using simulated::failsWithError;
using simulated::handleName;

HANDLE CreateEventW(SECURITY_ATTRIBUTES *, BOOL manualReset, BOOL initialState, LPCWSTR)
{
    const int number = simulated::nextEventNumber();
    const QString kind = manualReset ? QStringLiteral("manual") : QStringLiteral("auto");
    if (failsWithError(
            QStringLiteral("CreateEventW %1 %2").arg(kind, simulated::eventName(number))))
        return nullptr;
    const HANDLE event = posix::createEvent(manualReset != FALSE, initialState != FALSE);
    if (event)
        simulated::enterEvent(event, number);
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
    // Once it is closed, the system may give the same handle to the next who asks.
    simulated::leaveCensus(object);
    return posix::closeHandle(object) ? TRUE : FALSE;
}
