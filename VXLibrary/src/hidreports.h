// What the HID device and its threads share: lengths, texts and the rule of reads.
#pragma once

#include "platform/hid.h"

#include <QJsonArray>
#include <QString>

#include <cstddef>
#include <span>

/// Payload bytes of a report whose length the device does not tell.
constexpr int defaultReportLength = 64;

/// The length, or the default if it is below 1.
[[nodiscard]] constexpr int usableReportLength(int length)
{
    return length < 1 ? defaultReportLength : length;
}

/// What the HID layer says of the device's last error; of its own with a null pointer.
[[nodiscard]] QString hidErrorText(hid_device *device);

/// Whether an error text says that the operation goes on and has not failed.
[[nodiscard]] bool isPending(const QString &errorText);

/// Waits at most `milliseconds` for an input report and copies it to `data`, whose first byte
/// decides what of it: if that byte is 0 and the report has an ID, the report with its ID in
/// front; else the report without its ID byte. What does not fit is cut off.
/// Gives the bytes copied, 0 if none came in time, -1 on an error.
[[nodiscard]] int readReport(hid_device *device, bool usesReportIds, std::span<unsigned char> data,
                             int milliseconds);

/// The bytes after the first, the report ID, of a report of `length` bytes: each as hexadecimal
/// text without padding.
[[nodiscard]] QJsonArray payloadAsHex(std::span<const unsigned char> report, int length);
