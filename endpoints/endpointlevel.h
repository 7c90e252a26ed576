// Reading the level of an endpoint.
#pragma once

#include "platform/coreaudio.h"

/// Master volume from 0.0 to 1.0; 0.0 if the platform does not tell.
[[nodiscard]] float scalarOf(IAudioEndpointVolume &volume);

/// Master volume as a whole percentage; 0 if the platform does not tell.
[[nodiscard]] int percentOf(IAudioEndpointVolume &volume);

/// False if the platform does not tell.
[[nodiscard]] bool muteOf(IAudioEndpointVolume &volume);
