// The HID layer: hidapi, and what the program asks of it beyond hidapi's own calls.
#pragma once

#include <hidapi/hidapi.h>

// The program exports these queries beside hidapi's functions. Each gives the length in bytes of
// the device's longest report of its kind, as the system's HID capabilities tell it, less the byte
// of the report ID; below 1 if the device has no such report or does not tell. Any thread.
extern "C" {
int HID_API_EXPORT HID_API_CALL hid_get_input_report_lenght(hid_device *device);
int HID_API_EXPORT HID_API_CALL hid_get_feature_report_lenght(hid_device *device);
int HID_API_EXPORT HID_API_CALL hid_get_output_report_lenght(hid_device *device);
}

/// Whether the device numbers its reports, so that hidapi's reads begin with a report ID.
/// False if the device does not tell. Any thread.
[[nodiscard]] bool hidUsesReportIds(hid_device *device);
