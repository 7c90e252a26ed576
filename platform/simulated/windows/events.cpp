// Events and waits are the system's own here; what is simulated is only the record around them.
#include "platform/posix/events.h"

#include "platform/simulated/windows/systemfunction.h"

using simulated::systemFunction;

namespace posix
{

bool closeForeignHandle(HANDLE handle)
{
    // For the system it is the own process too, and good to close. Who closes it here has no file.
    if (handle == INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    static auto *const close = systemFunction<decltype(CloseHandle)>("CloseHandle");
    return close(handle) != FALSE;
}

HANDLE createEvent(bool manualReset, bool initiallySet)
{
    return CreateEventExW(nullptr, nullptr,
                          (manualReset ? CREATE_EVENT_MANUAL_RESET : 0) |
                              (initiallySet ? CREATE_EVENT_INITIAL_SET : 0),
                          EVENT_ALL_ACCESS);
}

bool setEvent(HANDLE event)
{
    static auto *const set = systemFunction<decltype(SetEvent)>("SetEvent");
    return set(event) != FALSE;
}

bool resetEvent(HANDLE event)
{
    static auto *const reset = systemFunction<decltype(ResetEvent)>("ResetEvent");
    return reset(event) != FALSE;
}

DWORD waitForMultiple(DWORD count, const HANDLE *handles, DWORD milliseconds)
{
    return WaitForMultipleObjectsEx(count, handles, FALSE, milliseconds, FALSE);
}

} // namespace posix
