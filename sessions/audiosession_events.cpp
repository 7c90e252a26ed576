// AudioSession: its events, told with the session's identity.
#include "sessions/audiosession.h"

namespace
{

/// The text of a GUID that nobody has set.
constexpr QLatin1StringView noGrouping("0-0-0-00000000");

} // namespace

AudioSession::Identity AudioSession::currentIdentity()
{
    Identity identity{getSessionIdentifier(), getSessionInstanceIdentifier(), getSessionProcessId(),
                      getSessionProcessName()};
    if (identity.identifier.isEmpty())
        identity.identifier = sessionIdentifier;
    if (identity.instanceIdentifier.isEmpty())
        identity.instanceIdentifier = sessionInstanceIdentifier;
    if (identity.processId == 0)
        identity.processId = sessionProcessId;
    return identity;
}

QString AudioSession::currentGroupingParam()
{
    const QString grouping = getSessionGroupingParam();
    return grouping == noGrouping ? sessionGroupingParam : grouping;
}

void AudioSession::onDisplayNameChanged(const QString &newDisplayName)
{
    const Identity identity = currentIdentity();
    emit sigDisplayNameChanged(audioEndpointID, identity.identifier, identity.instanceIdentifier,
                               identity.processId, identity.processName, newDisplayName);
}

void AudioSession::onIconPathChanged(const QString &newIconPath)
{
    const Identity identity = currentIdentity();
    emit sigIconPathChanged(audioEndpointID, identity.identifier, identity.instanceIdentifier,
                            identity.processId, identity.processName, newIconPath);
}

void AudioSession::onGroupingParamChanged(const QString &newGroupingParam)
{
    const Identity identity = currentIdentity();
    emit sigGroupingParamChanged(audioEndpointID, identity.identifier, identity.instanceIdentifier,
                                 identity.processId, identity.processName, sessionGroupingParam,
                                 newGroupingParam);
    sessionGroupingParam = newGroupingParam;
}

void AudioSession::onAudioSessionStateActive()
{
    const Identity identity = currentIdentity();
    emit sigAudioSessionStateActive(audioEndpointID, identity.identifier,
                                    identity.instanceIdentifier, currentGroupingParam(),
                                    identity.processId, identity.processName, iconData);
}

void AudioSession::onAudioSessionStateInactive()
{
    const Identity identity = currentIdentity();
    emit sigAudioSessionStateInactive(audioEndpointID, identity.identifier,
                                      identity.instanceIdentifier, currentGroupingParam(),
                                      identity.processId, identity.processName, QString());
}

void AudioSession::onAudioSessionStateExpired()
{
    const Identity identity = currentIdentity();
    emit sigAudioSessionStateExpired(this, audioEndpointID, identity.identifier,
                                     identity.instanceIdentifier, currentGroupingParam(),
                                     identity.processId, identity.processName, QString());
}

void AudioSession::onAudioSessionDisconnected(const QString &disconnectReason)
{
    const Identity identity = currentIdentity();
    emit sigAudioSessionDisconnected(this, audioEndpointID, identity.identifier,
                                     identity.instanceIdentifier, currentGroupingParam(),
                                     identity.processId, identity.processName, disconnectReason);
}
