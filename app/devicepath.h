// What the path of a device interface tells of the device.
#pragma once

#include <QString>
#include <QStringList>

/// A path like "\\?\USB#VID_1234&PID_5678#serial#{guid}", taken apart. What is missing in a short
/// or odd path is empty, or 0.
struct DevicePath
{
    explicit DevicePath(const QString &name);

    /// Both ignore case in the class and nothing else.
    [[nodiscard]] bool isUsbDevice() const;
    [[nodiscard]] bool isHid() const;
    /// Whether the interface is of the class of USB devices, whatever bus the path names.
    [[nodiscard]] bool isOfUsbClass() const;

    QString bus;
    QString serialNumber;
    QString interfaceClass;
    int vid = 0;
    int pid = 0;
    /// "VID: 1234", "PID: 5678", "SerialNumber: …", "GUID: …", as far as they are there.
    QStringList description;
};

/// Whether the path is that of a USB mass storage device, which is taken apart in another way.
[[nodiscard]] bool isMassStorage(const QString &name);
/// Product, vendor and version behind the opening; empty for a path of one part.
[[nodiscard]] QString massStorageText(const QString &name, QLatin1StringView opening);
