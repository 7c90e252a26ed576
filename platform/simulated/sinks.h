// The sinks of the whole platform and the notifications that its own functions raise.
#pragma once

#include "platform/coreaudio.h"
#include "platform/simulated/sinklist.h"

namespace simulated
{

SinkList<IMMNotificationClient> &endpointSinks();
SinkList<IAudioEndpointVolumeCallback> &levelSinks();

/// Announces the endpoint's level as it stands now to its volume sinks.
void announceLevel(const QString &endpointId, REFGUID context);

void resetSinks();

} // namespace simulated
