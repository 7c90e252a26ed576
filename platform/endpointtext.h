// The two texts of an endpoint: its ID and its friendly name.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

/// The endpoint ID string; empty if the endpoint does not tell it.
[[nodiscard]] QString endpointID(IMMDevice *device);

/// PKEY_Device_FriendlyName from the endpoint's property store; empty on any failure.
[[nodiscard]] QString friendlyName(IMMDevice *device);
