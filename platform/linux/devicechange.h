// One device's arrival, change or removal as udev tells it, and what the desktop's messages would
// say of it.
#pragma once

#include "platform/devicenotification.h"

#include <QHash>
#include <QString>

#include <optional>

struct DeviceChange
{
    QString action; ///< "add", "remove", "change" and others
    QString subsystem;
    QString sysPath;
    QString sysName;
    QHash<QString, QString> properties;

    [[nodiscard]] QString property(const char *name) const
    {
        return properties.value(QLatin1StringView(name));
    }
};

/// A device interface as its path names it: "\\?\USB#VID_046D&PID_C52B#serial#{class}".
struct DeviceInterface
{
    GUID interfaceClass;
    QString path;
};

/// USB devices, HID devices and disks have interfaces that anybody asks for; other devices none.
[[nodiscard]] std::optional<DeviceInterface> interfaceOf(const DeviceChange &device);

/// The name of a serial port of the hardware; empty for any other device.
[[nodiscard]] QString serialPortOf(const DeviceChange &device);

/// The broadcast's flags if the device carries a file system or a disc now; nothing if it doesn't.
/// Disks that exist in memory only do not count.
[[nodiscard]] std::optional<WORD> volumeOf(const DeviceChange &device);
