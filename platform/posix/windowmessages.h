// Window messages where no window system sends any: they go straight to the widget.
#pragma once

#include "platform/devicenotification.h"

#include <QString>

#include <vector>

class QWidget;

namespace posix
{

/// The widget of a window, null if there is none.
[[nodiscard]] QWidget *widgetOf(HANDLE window);

/// Hands the message to the nativeEvent of its window's widget, and gives back what that answers;
/// false without such a widget. Main thread.
bool sendWindowMessage(MSG message, qintptr *result);
/// Sends WM_DEVICECHANGE with a broadcast.
bool sendDeviceChange(HWND window, WPARAM event, std::vector<BYTE> broadcast);

[[nodiscard]] std::vector<BYTE> volumeBroadcast(DWORD unitMask, WORD flags);
[[nodiscard]] std::vector<BYTE> portBroadcast(const QString &name);
[[nodiscard]] std::vector<BYTE> interfaceBroadcast(const GUID &interfaceClass, const QString &path);

} // namespace posix
