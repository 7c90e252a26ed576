// The queries beside hidapi, answered by the HID capabilities of the device.
#include "platform/hid.h"

#include "platform/windows/sdk.h"

#include <QString>

#include <algorithm>
#include <optional>
#include <vector>

// MinGW's headers do not say themselves that these are C.
// clang-format off
extern "C" {
#include <hidsdi.h>
#include <hidpi.h>
}
// clang-format on

namespace
{

/// The parsed report descriptor of a device, as the system holds it.
class PreparsedData
{
public:
    explicit PreparsedData(hid_device *device)
    {
        const hid_device_info *info = device ? hid_get_device_info(device) : nullptr;
        if (!info || !info->path)
            return;
        const std::wstring path = QString::fromUtf8(info->path).toStdWString();
        // No access is asked for: another owner of the device does not matter.
        const HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return;
        if (!HidD_GetPreparsedData(file, &data))
            data = nullptr;
        CloseHandle(file);
    }
    ~PreparsedData()
    {
        if (data)
            HidD_FreePreparsedData(data);
    }
    PreparsedData(const PreparsedData &) = delete;
    PreparsedData &operator=(const PreparsedData &) = delete;

    [[nodiscard]] std::optional<HIDP_CAPS> capabilities() const
    {
        HIDP_CAPS caps{};
        if (!data || HidP_GetCaps(data, &caps) != HIDP_STATUS_SUCCESS)
            return std::nullopt;
        return caps;
    }

    /// Whether any of the input fields that `query` lists stands in a numbered report.
    template <typename Field>
    [[nodiscard]] bool hasReportId(USHORT count,
                                   NTSTATUS(NTAPI *query)(HIDP_REPORT_TYPE, Field *, USHORT *,
                                                          PHIDP_PREPARSED_DATA)) const
    {
        std::vector<Field> fields(count);
        if (!data || query(HidP_Input, fields.data(), &count, data) != HIDP_STATUS_SUCCESS)
            return false;
        fields.resize(count);
        return std::any_of(fields.begin(), fields.end(),
                           [](const Field &field) { return field.ReportID != 0; });
    }

private:
    PHIDP_PREPARSED_DATA data = nullptr;
};

int reportLength(hid_device *device, USHORT HIDP_CAPS::*kind)
{
    const auto caps = PreparsedData(device).capabilities();
    return caps ? int((*caps).*kind) - 1 : -1;
}

} // namespace

int hid_get_input_report_lenght(hid_device *device)
{
    return reportLength(device, &HIDP_CAPS::InputReportByteLength);
}

int hid_get_feature_report_lenght(hid_device *device)
{
    return reportLength(device, &HIDP_CAPS::FeatureReportByteLength);
}

int hid_get_output_report_lenght(hid_device *device)
{
    return reportLength(device, &HIDP_CAPS::OutputReportByteLength);
}

bool hidUsesReportIds(hid_device *device)
{
    const PreparsedData data(device);
    const auto caps = data.capabilities();
    if (!caps)
        return false;
    return data.hasReportId<HIDP_BUTTON_CAPS>(caps->NumberInputButtonCaps, HidP_GetButtonCaps) ||
           data.hasReportId<HIDP_VALUE_CAPS>(caps->NumberInputValueCaps, HidP_GetValueCaps);
}
