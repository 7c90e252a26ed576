// The queries beside hidapi, answered from the report descriptor that the kernel publishes.
#include "platform/hid.h"

#include "platform/linux/hidreportdescriptor.h"

#include <QFile>
#include <QFileInfo>

namespace
{

constexpr int unknownLength = -1;

std::optional<HidReportLengths> reportLengths(hid_device *device)
{
    const hid_device_info *info = device ? hid_get_device_info(device) : nullptr;
    if (!info || !info->path)
        return std::nullopt;
    const QString node = QFileInfo(QFile::decodeName(info->path)).fileName();
    QFile file(QStringLiteral("/sys/class/hidraw/%1/device/report_descriptor").arg(node));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    return parseReportDescriptor(
        {reinterpret_cast<const std::uint8_t *>(bytes.constData()), std::size_t(bytes.size())});
}

int reportLength(hid_device *device, int HidReportLengths::*kind)
{
    const auto lengths = reportLengths(device);
    // A kind that the device lacks has a capability of 0 bytes, and there is no ID to take off.
    return lengths && (*lengths).*kind > 0 ? (*lengths).*kind : unknownLength;
}

} // namespace

int hid_get_input_report_lenght(hid_device *device)
{
    return reportLength(device, &HidReportLengths::input);
}

int hid_get_feature_report_lenght(hid_device *device)
{
    return reportLength(device, &HidReportLengths::feature);
}

int hid_get_output_report_lenght(hid_device *device)
{
    return reportLength(device, &HidReportLengths::output);
}

bool hidUsesReportIds(hid_device *device)
{
    const auto lengths = reportLengths(device);
    return lengths && lengths->usesReportIds;
}
