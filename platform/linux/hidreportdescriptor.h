// What a HID report descriptor tells about the sizes of a device's reports.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// Lengths of the longest report of each kind in bytes, the report ID not counted; 0 where the
/// device has no report of the kind.
struct HidReportLengths
{
    int input = 0;
    int output = 0;
    int feature = 0;
    bool usesReportIds = false;

    bool operator==(const HidReportLengths &) const = default;
};

/// Nothing if the descriptor is malformed: cut off, with a report ID of 0, with a pop too many, or
/// with reports longer than any system delivers. Items without a bearing on sizes are passed over.
[[nodiscard]] std::optional<HidReportLengths>
parseReportDescriptor(std::span<const std::uint8_t> descriptor);
