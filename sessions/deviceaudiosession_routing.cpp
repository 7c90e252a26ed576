// DeviceAudioSession: what the settings tell of an application's own endpoint.
#include "sessions/audiosession.h"
#include "sessions/deviceaudiosession.h"
#include "sessions/registeredendpoint.h"

// A session of the application at another endpoint shows none.
void DeviceAudioSession::updateDefaultEndpointState(AudioSession *session)
{
    const auto registered =
        registeredEndpoint(session->getSessionProcessName(), session->getSessionProcessFileName());
    if (!registered)
        return;
    const QString &own = registered->endpointID;
    const bool isHere = session->getSessionIdentifier().startsWith(own);
    session->setInDefaultEndpoint(registered->isDefault);
    session->setAudioEndpointID(isHere ? own : QString());
}
