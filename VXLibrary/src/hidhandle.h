// An open HID device.
#pragma once

#include "platform/hid.h"

#include <memory>

/// Shared by the device and its threads: whoever lets go last closes it, so that no read that is
/// still under way loses its device. Null means closed.
using HidHandle = std::shared_ptr<hid_device>;
