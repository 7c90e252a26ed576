// A window's requests to be told of devices and of its session.
#include "platform/devicenotification.h"

#include "platform/linux/devicewatch.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/windowmessages.h"

namespace
{
bool isInterfaceFilter(const DEV_BROADCAST_DEVICEINTERFACE_W *filter)
{
    return filter && filter->dbcc_size >= sizeof(*filter) &&
           filter->dbcc_devicetype == DBT_DEVTYP_DEVICEINTERFACE;
}

HDEVNOTIFY fails(DWORD error)
{
    posix::setLastError(error);
    return nullptr;
}
} // namespace

HDEVNOTIFY RegisterDeviceNotificationW(HANDLE recipient, LPVOID notificationFilter, DWORD flags)
{
    const auto *filter = static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(notificationFilter);
    if (flags != DEVICE_NOTIFY_WINDOW_HANDLE || !isInterfaceFilter(filter))
        return fails(ERROR_INVALID_PARAMETER);
    QWidget *widget = posix::widgetOf(recipient);
    if (!widget)
        return fails(ERROR_INVALID_HANDLE);
    DeviceWatch *watch = DeviceWatch::of(widget);
    if (!watch)
        return fails(ERROR_CALL_NOT_IMPLEMENTED);
    watch->addClass(filter->dbcc_classguid);
    return watch;
}

// A session that is locked or left is told to nobody here: no window of the program's listens.
BOOL WTSRegisterSessionNotification(HWND window, DWORD)
{
    if (posix::widgetOf(window))
        return TRUE;
    posix::setLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}
