// DeviceAudioSession: what the settings tell of an application's own endpoint.
#include "sessions/deviceaudiosession.h"

void DeviceAudioSession::updateDefaultEndpointState(AudioSession *)
{
    // Nobody moves applications yet: a session keeps the defaults.
}
