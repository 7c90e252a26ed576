// The vocabulary's global functions, as thin calls of the posix base.
#include "platform/coreaudio.h"
#include "platform/posix/comruntime.h"
#include "platform/posix/events.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/taskmemory.h"

#include <QApplication>

#include <unistd.h>

HRESULT CoInitializeEx(LPVOID, DWORD)
{
    return posix::initializeCom();
}

HRESULT CoInitialize(LPVOID)
{
    return posix::initializeCom();
}

void CoUninitialize()
{
    posix::uninitializeCom();
}

HRESULT CoCreateGuid(GUID *guid)
{
    return posix::createGuid(guid);
}

LPVOID CoTaskMemAlloc(SIZE_T bytes)
{
    return posix::taskMemoryAlloc(bytes);
}

void CoTaskMemFree(LPVOID block)
{
    posix::taskMemoryFree(block);
}

HRESULT PropVariantClear(PROPVARIANT *value)
{
    return posix::propVariantClear(value);
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES *, BOOL manualReset, BOOL initialState, LPCWSTR)
{
    return posix::createEvent(manualReset != FALSE, initialState != FALSE);
}

BOOL SetEvent(HANDLE event)
{
    return posix::setEvent(event);
}

BOOL ResetEvent(HANDLE event)
{
    return posix::resetEvent(event);
}

// Waiting for all of several is not offered: nobody asks for it.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds)
{
    if (waitAll && count > 1) {
        posix::setLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return posix::waitForMultiple(count, handles, milliseconds);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    return posix::waitForMultiple(1, &handle, milliseconds);
}

BOOL CloseHandle(HANDLE object)
{
    return posix::closeHandle(object);
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

BOOL MessageBeep(UINT)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return FALSE;
    QApplication::beep();
    return TRUE;
}
