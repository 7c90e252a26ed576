#include "platform/posix/windowmessages.h"

#include <QWidget>

#include <cstring>

namespace
{

/// Qt's own door for a window system's messages is open to widgets only.
class Door : public QWidget
{
public:
    using QWidget::nativeEvent;
};

template <typename Broadcast>
std::vector<BYTE> bytesOf(const Broadcast &broadcast)
{
    const auto *begin = reinterpret_cast<const BYTE *>(&broadcast);
    return {begin, begin + sizeof(broadcast)};
}

/// Puts the text, and its terminator, where the structure's last member begins.
std::vector<BYTE> withText(std::vector<BYTE> bytes, std::size_t offset, const QString &text)
{
    const std::wstring wide = text.toStdWString();
    const std::size_t length = (wide.size() + 1) * sizeof(wchar_t);
    bytes.resize(std::max(bytes.size(), offset + length));
    std::memcpy(bytes.data() + offset, wide.c_str(), length);
    const auto size = static_cast<DWORD>(bytes.size());
    std::memcpy(bytes.data(), &size, sizeof(size));
    return bytes;
}

} // namespace

namespace posix
{

QWidget *widgetOf(HANDLE window)
{
    return QWidget::find(reinterpret_cast<WId>(window));
}

bool sendWindowMessage(MSG message, qintptr *result)
{
    QWidget *widget = widgetOf(message.hwnd);
    if (!widget)
        return false;
    constexpr auto nativeEvent = &Door::nativeEvent;
    return (widget->*nativeEvent)("windows_generic_MSG", &message, result);
}

bool sendDeviceChange(HWND window, WPARAM event, std::vector<BYTE> broadcast)
{
    MSG message{};
    message.hwnd = window;
    message.message = WM_DEVICECHANGE;
    message.wParam = event;
    message.lParam = reinterpret_cast<LPARAM>(broadcast.data());
    qintptr result = 0;
    return sendWindowMessage(message, &result);
}

std::vector<BYTE> volumeBroadcast(DWORD unitMask, WORD flags)
{
    DEV_BROADCAST_VOLUME volume{};
    volume.dbcv_size = sizeof(volume);
    volume.dbcv_devicetype = DBT_DEVTYP_VOLUME;
    volume.dbcv_unitmask = unitMask;
    volume.dbcv_flags = flags;
    return bytesOf(volume);
}

std::vector<BYTE> portBroadcast(const QString &name)
{
    DEV_BROADCAST_PORT_W port{};
    port.dbcp_devicetype = DBT_DEVTYP_PORT;
    return withText(bytesOf(port), offsetof(DEV_BROADCAST_PORT_W, dbcp_name), name);
}

std::vector<BYTE> interfaceBroadcast(const GUID &interfaceClass, const QString &path)
{
    DEV_BROADCAST_DEVICEINTERFACE_W device{};
    device.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    device.dbcc_classguid = interfaceClass;
    return withText(bytesOf(device), offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name), path);
}

} // namespace posix
