#include "VXLibrary/src/hidreports.h"

#include <algorithm>
#include <vector>

namespace
{
/// ERROR_IO_PENDING, as the HID layer formats codes in its error texts.
constexpr QLatin1StringView pendingMark("0x000003E5");
} // namespace

QString hidErrorText(hid_device *device)
{
    const wchar_t *text = hid_error(device);
    return text ? QString::fromWCharArray(text) : QString();
}

bool isPending(const QString &errorText)
{
    return errorText.contains(pendingMark);
}

int readReport(hid_device *device, bool usesReportIds, std::span<unsigned char> data,
               int milliseconds)
{
    // Room for the ID, whether or not it is handed on.
    std::vector<unsigned char> raw(data.size() + 1);
    const int got = hid_read_timeout(device, raw.data(), raw.size(), milliseconds);
    if (got <= 0)
        return got;

    // hidapi has dropped the zero ID of an unnumbered report already.
    const bool keepsId = raw[0] != 0 && data[0] == 0;
    const int skipped = usesReportIds && !keepsId ? 1 : 0;
    const int copied = std::min(got - skipped, int(data.size()));
    std::copy_n(raw.begin() + skipped, copied, data.begin());
    return copied;
}

QJsonArray payloadAsHex(std::span<const unsigned char> report, int length)
{
    QJsonArray bytes;
    const auto end = std::min(report.size(), std::size_t(std::max(length, 0)));
    for (std::size_t place = 1; place < end; ++place)
        bytes.append(QString::number(report[place], 16));
    return bytes;
}
