#include "platform/linux/devicechange.h"

#include <QStringList>
#include <QUuid>

namespace
{

QString textOf(const GUID &id)
{
    const auto &tail = id.Data4;
    return QUuid(id.Data1, id.Data2, id.Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5],
                 tail[6], tail[7])
        .toString();
}

/// Neither of the characters that divide a path.
QString asPathPiece(QString text)
{
    return text.replace(u'#', u'_').replace(u'&', u'_');
}

/// Four digits, as "046D" for "46d" and for "0000046D".
QString idDigits(const QString &number)
{
    return number.rightJustified(4, u'0').right(4).toUpper();
}

DeviceInterface makeInterface(const GUID &interfaceClass, const char *bus, const QString &hardware,
                              const QString &serial, const DeviceChange &device)
{
    // A device without a serial number is told apart by its place.
    const QString instance = asPathPiece(serial.isEmpty() ? device.sysName : serial);
    return {interfaceClass,
            QStringLiteral("\\\\?\\%1#%2#%3#%4")
                .arg(QLatin1StringView(bus), hardware, instance, textOf(interfaceClass))};
}

QString vendorAndProduct(const QString &vendor, const QString &product)
{
    return QStringLiteral("VID_%1&PID_%2").arg(idDigits(vendor), idDigits(product));
}

// PRODUCT is "46d/c52b/1211": vendor, product, version.
DeviceInterface usbInterface(const DeviceChange &device)
{
    const QStringList ids = device.property("PRODUCT").split(u'/');
    return makeInterface(deviceclass::usbDevice, "USB",
                         vendorAndProduct(ids.value(0), ids.value(1)),
                         device.property("ID_SERIAL_SHORT"), device);
}

// HID_ID is "0003:0000046D:0000C52B": bus, vendor, product.
DeviceInterface hidInterface(const DeviceChange &device)
{
    const QStringList ids = device.property("HID_ID").split(u':');
    return makeInterface(deviceclass::hid, "HID", vendorAndProduct(ids.value(1), ids.value(2)),
                         device.property("HID_UNIQ"), device);
}

DeviceInterface diskInterface(const DeviceChange &device)
{
    const bool isUsb = device.property("ID_BUS") == QLatin1StringView("usb");
    const QString hardware = QStringLiteral("Disk&Ven_%1&Prod_%2&Rev_%3")
                                 .arg(asPathPiece(device.property("ID_VENDOR")),
                                      asPathPiece(device.property("ID_MODEL")),
                                      asPathPiece(device.property("ID_REVISION")));
    return makeInterface(deviceclass::disk, isUsb ? "USBSTOR" : "SCSI", hardware,
                         device.property("ID_SERIAL_SHORT"), device);
}

bool isVirtual(const DeviceChange &device)
{
    return device.sysPath.contains(QLatin1StringView("/devices/virtual/"));
}

bool isDisc(const DeviceChange &device)
{
    return device.property("ID_CDROM") == QLatin1StringView("1");
}

} // namespace

std::optional<DeviceInterface> interfaceOf(const DeviceChange &device)
{
    const QString type = device.property("DEVTYPE");
    if (device.subsystem == QLatin1StringView("usb") && type == QLatin1StringView("usb_device"))
        return usbInterface(device);
    if (device.subsystem == QLatin1StringView("hid"))
        return hidInterface(device);
    if (device.subsystem == QLatin1StringView("block") && type == QLatin1StringView("disk") &&
        !isVirtual(device) && !isDisc(device))
        return diskInterface(device);
    return std::nullopt;
}

QString serialPortOf(const DeviceChange &device)
{
    return device.subsystem == QLatin1StringView("tty") && !isVirtual(device) ? device.sysName
                                                                              : QString();
}

std::optional<WORD> volumeOf(const DeviceChange &device)
{
    if (device.subsystem != QLatin1StringView("block") || isVirtual(device))
        return std::nullopt;
    if (isDisc(device)) {
        const bool hasDisc = device.property("ID_CDROM_MEDIA") == QLatin1StringView("1");
        return hasDisc ? std::optional(DBTF_MEDIA) : std::nullopt;
    }
    const bool hasFiles = device.property("ID_FS_USAGE") == QLatin1StringView("filesystem");
    return hasFiles ? std::optional<WORD>(0) : std::nullopt;
}
