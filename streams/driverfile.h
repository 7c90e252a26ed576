// The device file of one virtual line, as both kinds of channel open and close it.
#pragma once

#include "common/tavoritypes.h"
#include "platform/coreaudio.h"

/// Opens a device file for this process alone and logs the outcome. INVALID_HANDLE_VALUE on
/// failure.
[[nodiscard]] HANDLE openDriverFile(const wchar_t *path);

/// Tells the driver that the channel is closing, closes the file and marks the handle invalid.
/// An invalid handle is legal and does nothing.
void closeDriverFile(HANDLE &file, tavoriDeviceType type);
