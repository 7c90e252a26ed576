// How somebody who reads a device file of the virtual sound card is freed from its waiting.
#pragma once

#include "platform/coreaudio.h"

/// From now on no read of this open file waits for sound, nor does the one that waits now: each
/// gives what is there, if only 0 bytes. For a reader that is to end. From any thread; a handle
/// that is no open file is left alone. Does nothing where the driver itself bounds its reads.
void endReadWaits(HANDLE file);
