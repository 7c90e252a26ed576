// Devices that come and go, told in the log. Audio endpoints are watched elsewhere.
#include "app/devicepath.h"
#include "app/quorvanewidget.h"
#include "platform/devicenotification.h"

#include <QDebug>

#include <array>

namespace
{
constexpr std::array watchedClasses{
    deviceclass::usbDevice,      deviceclass::disk,           deviceclass::hid,
    deviceclass::networkAdapter, deviceclass::serialPort,     deviceclass::ports,
    deviceclass::parallelPort,   deviceclass::parallelDevice,
};
constexpr int driveLetters = 26;

/// The words of one direction.
struct ChangeWords
{
    const char *storage;
    const char *disc;
    const char *port;
    const char *device;
    QLatin1StringView massStorage;
};
constexpr ChangeWords arrivalWords{"接入存储设备---盘符: <%1>", "接入 CD 设备", "接入串行设备:",
                                   "Access device:", QLatin1StringView("Access device: ")};
constexpr ChangeWords removalWords{"移除存储设备---盘符: <%1>", "移除 CD 设备", "移除串行设备:",
                                   "Remove device:", QLatin1StringView("Remove device: ")};

const ChangeWords &wordsOf(bool arrived)
{
    return arrived ? arrivalWords : removalWords;
}

QChar driveLetter(DWORD unitMask)
{
    int index = 0;
    while (index < driveLetters && !(unitMask >> index & 1))
        ++index;
    return QChar(u'A' + index);
}

void logVolume(const DEV_BROADCAST_VOLUME &volume, const ChangeWords &words)
{
    if (volume.dbcv_flags == 0)
        qInfo() << QString::fromUtf8(words.storage).arg(driveLetter(volume.dbcv_unitmask));
    else if (volume.dbcv_flags == DBTF_MEDIA)
        qInfo() << words.disc;
}
} // namespace

void QuorvaneWidget::registerDeviceUnplugNotification()
{
    const auto logFailure = [] {
        const DWORD error = GetLastError(); // before the log can change it
        qCritical() << "注册失败：" << error;
    };
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    for (const GUID &interfaceClass : watchedClasses) {
        filter.dbcc_classguid = interfaceClass;
        if (!RegisterDeviceNotificationW(nativeWindow(), &filter, DEVICE_NOTIFY_WINDOW_HANDLE))
            logFailure();
    }
    // Its messages are asked for and looked at by nobody.
    if (!WTSRegisterSessionNotification(nativeWindow(), NOTIFY_FOR_THIS_SESSION))
        logFailure();
}

bool QuorvaneWidget::nativeEvent(const QByteArray &eventType, void *message, qintptr *result)
{
    Q_UNUSED(result)
    // Other window systems than the desktop's own hand over messages of another shape.
    if (eventType != "windows_generic_MSG")
        return false;
    const MSG &windowMessage = *static_cast<const MSG *>(message);
    if (windowMessage.message != WM_DEVICECHANGE)
        return false;
    const auto *broadcast = reinterpret_cast<const void *>(windowMessage.lParam);
    if (windowMessage.wParam == DBT_DEVICEARRIVAL)
        onDeviceChange(broadcast, true);
    else if (windowMessage.wParam == DBT_DEVICEREMOVECOMPLETE)
        onDeviceChange(broadcast, false);
    return false;
}

void QuorvaneWidget::onDeviceChange(const void *broadcast, bool arrived)
{
    if (!broadcast)
        return;
    const ChangeWords &words = wordsOf(arrived);
    switch (static_cast<const DEV_BROADCAST_HDR *>(broadcast)->dbch_devicetype) {
    case DBT_DEVTYP_VOLUME:
        logVolume(*static_cast<const DEV_BROADCAST_VOLUME *>(broadcast), words);
        break;
    case DBT_DEVTYP_PORT: {
        const auto *port = static_cast<const DEV_BROADCAST_PORT_W *>(broadcast);
        qInfo() << words.port << QString::fromWCharArray(port->dbcp_name);
        break;
    }
    case DBT_DEVTYP_DEVICEINTERFACE: {
        const auto *device = static_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(broadcast);
        onDeviceInterfaceChange(QString::fromWCharArray(device->dbcc_name), arrived);
        break;
    }
    default:
        break;
    }
}

void QuorvaneWidget::onDeviceInterfaceChange(const QString &name, bool arrived)
{
    if (name.isEmpty())
        return;
    const ChangeWords &words = wordsOf(arrived);
    if (isMassStorage(name)) {
        qInfo() << massStorageText(name, words.massStorage);
        return;
    }
    const DevicePath path(name);
    if (arrived && path.isUsbDevice()) {
        lastUsbVid = path.vid;
        lastUsbPid = path.pid;
        lastUsbSerial = path.serialNumber;
        return;
    }
    const bool isTold = arrived ? isOfLastUsbDevice(path) : path.isOfUsbClass();
    if (isTold)
        qInfo() << words.device << path.description.join(u' ');
}

bool QuorvaneWidget::isOfLastUsbDevice(const DevicePath &path) const
{
    return path.isHid() && path.vid == lastUsbVid && path.pid == lastUsbPid;
}
