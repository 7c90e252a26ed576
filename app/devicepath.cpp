#include "app/devicepath.h"

#include <array>

namespace
{
constexpr QLatin1StringView usbBus{R"(\\?\USB)"};
constexpr QLatin1StringView hidBus{R"(\\?\HID)"};
constexpr QLatin1StringView usbClass{"{a5dcbf10-6530-11d2-901f-00c04fb951ed}"};
constexpr QLatin1StringView hidClass{"{4d1e55b2-f16f-11cf-88cb-001111000030}"};
/// VID and PID are the last characters of their pieces.
constexpr int idLength = 4;

/// One piece of a mass storage path: what it is called, and how much of it is its own prefix.
struct StoragePiece
{
    QLatin1StringView label;
    int prefixLength;
};
/// From the second piece on.
constexpr std::array<StoragePiece, 3> storagePieces{{
    {QLatin1StringView("\r\nProduct: "), 4},
    {QLatin1StringView("\r\nVendorID: "), 5},
    {QLatin1StringView("\r\nProductVersion: "), 4},
}};
} // namespace

DevicePath::DevicePath(const QString &name)
{
    const QStringList parts = name.split(u'#');
    bus = parts.value(0);
    serialNumber = parts.value(2);
    interfaceClass = parts.value(3);
    if (parts.size() >= 2) {
        const QStringList pieces = parts[1].split(u'&');
        const QString vendor = pieces[0].right(idLength);
        vid = vendor.toInt(nullptr, 16);
        description.append("VID: " + vendor);
        if (pieces.size() >= 2) {
            const QString product = pieces[1].right(idLength);
            pid = product.toInt(nullptr, 16);
            description.append("PID: " + product);
        }
    }
    if (parts.size() >= 3)
        description.append("SerialNumber: " + serialNumber);
    if (parts.size() >= 4)
        description.append("GUID: " + interfaceClass);
}

bool DevicePath::isUsbDevice() const
{
    return bus == usbBus && isOfUsbClass();
}

bool DevicePath::isHid() const
{
    return bus == hidBus && interfaceClass.contains(hidClass, Qt::CaseInsensitive);
}

bool DevicePath::isOfUsbClass() const
{
    return interfaceClass.contains(usbClass, Qt::CaseInsensitive);
}

bool isMassStorage(const QString &name)
{
    return name.contains(QLatin1StringView("USBSTOR"));
}

QString massStorageText(const QString &name, QLatin1StringView opening)
{
    const QStringList parts = name.split(u'#');
    if (parts.size() < 2)
        return {};
    const QStringList pieces = parts[1].split(u'&');
    QString text = opening;
    for (std::size_t index = 0; index < storagePieces.size(); ++index) {
        const auto place = static_cast<qsizetype>(index) + 1;
        if (place < pieces.size())
            text +=
                storagePieces[index].label + pieces[place].mid(storagePieces[index].prefixLength);
    }
    return text;
}
