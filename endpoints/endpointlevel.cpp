#include "endpoints/endpointlevel.h"

#include <cmath>

float scalarOf(IAudioEndpointVolume &volume)
{
    float scalar = 0.0f;
    return SUCCEEDED(volume.GetMasterVolumeLevelScalar(&scalar)) ? scalar : 0.0f;
}

int percentOf(IAudioEndpointVolume &volume)
{
    return static_cast<int>(std::round(scalarOf(volume) * 100.0f));
}

bool muteOf(IAudioEndpointVolume &volume)
{
    BOOL muted = FALSE;
    return SUCCEEDED(volume.GetMute(&muted)) && muted != FALSE;
}
