// Asking for device and session messages. Tests send the messages themselves.
#include "platform/devicenotification.h"

#include "platform/simulated/record.h"

using simulated::failsWithError;

HDEVNOTIFY RegisterDeviceNotificationW(HANDLE recipient, LPVOID notificationFilter, DWORD flags)
{
    const auto *filter = static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(notificationFilter);
    const bool fails = failsWithError(QStringLiteral("RegisterDeviceNotificationW %1 %2 %3 %4")
                                          .arg(simulated::nameOf(filter->dbcc_classguid))
                                          .arg(filter->dbcc_size)
                                          .arg(filter->dbcc_devicetype)
                                          .arg(flags));
    return fails ? nullptr : recipient;
}

BOOL WTSRegisterSessionNotification(HWND, DWORD flags)
{
    return failsWithError(QStringLiteral("WTSRegisterSessionNotification %1").arg(flags)) ? FALSE
                                                                                          : TRUE;
}
