// DeviceAudioSession: the sessions' events, told with the endpoint's ID.
#include "sessions/audiosession.h"
#include "sessions/deviceaudiosession.h"

void DeviceAudioSession::connectSession(const AudioSession *session)
{
    using Device = DeviceAudioSession;
    connect(session, &AudioSession::sigAudioSessionInfoChanged, this,
            &Device::onAudioSessionInfoChanged);
    connect(session, &AudioSession::sigDisplayNameChanged, this, &Device::onDisplayNameChanged);
    connect(session, &AudioSession::sigIconPathChanged, this, &Device::onIconPathChanged);
    connect(session, &AudioSession::sigGroupingParamChanged, this, &Device::onGroupingParamChanged);
    connect(session, &AudioSession::sigAudioSessionStateActive, this,
            &Device::onAudioSessionStateActive);
    connect(session, &AudioSession::sigAudioSessionStateInactive, this,
            &Device::onAudioSessionStateInactive);
    connect(session, &AudioSession::sigAudioSessionStateExpired, this,
            &Device::onAudioSessionStateExpired);
    connect(session, &AudioSession::sigAudioSessionDisconnected, this,
            &Device::onAudioSessionDisconnected);
}

void DeviceAudioSession::onAudioSessionInfoChanged(const QJsonObject &audioSessionInfo)
{
    emit sigAudioSessionInfoChanged(deviceID, audioSessionInfo);
}

void DeviceAudioSession::onDisplayNameChanged(const QString &audioEndpointID,
                                              const QString &sessionIdentifier,
                                              const QString &sessionInstanceIdentifier,
                                              int sessionProcessId, const QString &processName,
                                              const QString &newDisplayName)
{
    emit sigDisplayNameChanged(deviceID, audioEndpointID, sessionIdentifier,
                               sessionInstanceIdentifier, sessionProcessId, processName,
                               newDisplayName);
}

void DeviceAudioSession::onIconPathChanged(const QString &audioEndpointID,
                                           const QString &sessionIdentifier,
                                           const QString &sessionInstanceIdentifier,
                                           int sessionProcessId, const QString &processName,
                                           const QString &newIconPath)
{
    emit sigIconPathChanged(deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier,
                            sessionProcessId, processName, newIconPath);
}

void DeviceAudioSession::onGroupingParamChanged(const QString &audioEndpointID,
                                                const QString &sessionIdentifier,
                                                const QString &sessionInstanceIdentifier,
                                                int sessionProcessId, const QString &processName,
                                                const QString &oldGroupingParam,
                                                const QString &newGroupingParam)
{
    emit sigGroupingParamChanged(deviceID, audioEndpointID, sessionIdentifier,
                                 sessionInstanceIdentifier, sessionProcessId, processName,
                                 oldGroupingParam, newGroupingParam);
}

void DeviceAudioSession::onAudioSessionStateActive(const QString &audioEndpointID,
                                                   const QString &sessionIdentifier,
                                                   const QString &sessionInstanceIdentifier,
                                                   const QString &sessionGroupingParam,
                                                   int sessionProcessId, const QString &processName,
                                                   const QString &sessionProcessFileIcon)
{
    emit sigAudioSessionStateActive(deviceID, audioEndpointID, sessionIdentifier,
                                    sessionInstanceIdentifier, sessionGroupingParam,
                                    sessionProcessId, processName, sessionProcessFileIcon);
}

void DeviceAudioSession::onAudioSessionStateInactive(
    const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &sessionProcessFileIcon)
{
    emit sigAudioSessionStateInactive(deviceID, audioEndpointID, sessionIdentifier,
                                      sessionInstanceIdentifier, sessionGroupingParam,
                                      sessionProcessId, processName, sessionProcessFileIcon);
}

void DeviceAudioSession::onAudioSessionStateExpired(
    AudioSession *tmpAudioSession, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &sessionProcessFileIcon)
{
    removeSession(tmpAudioSession);
    emit sigAudioSessionStateExpired(deviceID, audioEndpointID, sessionIdentifier,
                                     sessionInstanceIdentifier, sessionGroupingParam,
                                     sessionProcessId, processName, sessionProcessFileIcon);
}

void DeviceAudioSession::onAudioSessionDisconnected(
    AudioSession *tmpAudioSession, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &disconnectReason)
{
    removeSession(tmpAudioSession);
    emit sigAudioSessionDisconnected(deviceID, audioEndpointID, sessionIdentifier,
                                     sessionInstanceIdentifier, sessionGroupingParam,
                                     sessionProcessId, processName, disconnectReason);
}
