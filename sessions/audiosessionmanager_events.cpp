// AudioSessionManager: the events of all endpoints, but for those of an application that is being
// moved: they would only tell of the move's own stir.
#include "sessions/audiosessionmanager.h"
#include "sessions/deviceaudiosession.h"

#include <QMutexLocker>

void AudioSessionManager::connectDeviceSession(const DeviceAudioSession *device)
{
    using Device = DeviceAudioSession;
    using Manager = AudioSessionManager;
    connect(device, &Device::sigSessionCreated, this, &Manager::tryToUpdateDeviceAudioSessionsInfo);
    connect(device, &Device::sigUpdateDeviceAudioSessionInfos, this,
            &Manager::onUpdateDeviceAudioSessionInfos);
    connect(device, &Device::sigAudioSessionInfoChanged, this, &Manager::onAudioSessionInfoChanged);
    connect(device, &Device::sigDisplayNameChanged, this, &Manager::onDisplayNameChanged);
    connect(device, &Device::sigIconPathChanged, this, &Manager::onIconPathChanged);
    connect(device, &Device::sigGroupingParamChanged, this, &Manager::onGroupingParamChanged);
    connect(device, &Device::sigAudioSessionStateActive, this, &Manager::onAudioSessionStateActive);
    connect(device, &Device::sigAudioSessionStateInactive, this,
            &Manager::onAudioSessionStateInactive);
    connect(device, &Device::sigAudioSessionStateExpired, this,
            &Manager::onAudioSessionStateExpired);
    connect(device, &Device::sigAudioSessionDisconnected, this,
            &Manager::onAudioSessionDisconnected);
}

void AudioSessionManager::enterRouting(const QString &appName, const QString &audioEndpointID)
{
    const QMutexLocker locker(&routingMutex);
    appsInRouting.insert(appName, audioEndpointID);
}

void AudioSessionManager::leaveRouting(const QString &appName)
{
    const QMutexLocker locker(&routingMutex);
    appsInRouting.remove(appName);
}

bool AudioSessionManager::isInRouting(const QString &appName)
{
    const QMutexLocker locker(&routingMutex);
    return !appsInRouting.value(appName).isEmpty();
}

void AudioSessionManager::onUpdateDeviceAudioSessionInfos(const QString &deviceID,
                                                          const QJsonArray &deviceAudioSessionInfo)
{
    emit sigUpdateDeviceAudioSessionInfos(deviceID, deviceAudioSessionInfo);
}

void AudioSessionManager::onAudioSessionInfoChanged(const QString &deviceID,
                                                    const QJsonObject &audioSessionInfo)
{
    if (!isInRouting(audioSessionInfo.value("sessionProcessName").toString()))
        emit sigAudioSessionInfoChanged(deviceID, audioSessionInfo);
}

void AudioSessionManager::onDisplayNameChanged(const QString &deviceID,
                                               const QString &audioEndpointID,
                                               const QString &sessionIdentifier,
                                               const QString &sessionInstanceIdentifier,
                                               int sessionProcessId, const QString &processName,
                                               const QString &newDisplayName)
{
    if (!isInRouting(processName))
        emit sigDisplayNameChanged(deviceID, audioEndpointID, sessionIdentifier,
                                   sessionInstanceIdentifier, sessionProcessId, processName,
                                   newDisplayName);
}

void AudioSessionManager::onIconPathChanged(const QString &deviceID, const QString &audioEndpointID,
                                            const QString &sessionIdentifier,
                                            const QString &sessionInstanceIdentifier,
                                            int sessionProcessId, const QString &processName,
                                            const QString &newIconPath)
{
    if (!isInRouting(processName))
        emit sigIconPathChanged(deviceID, audioEndpointID, sessionIdentifier,
                                sessionInstanceIdentifier, sessionProcessId, processName,
                                newIconPath);
}

void AudioSessionManager::onGroupingParamChanged(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, int sessionProcessId, const QString &processName,
    const QString &oldGroupingParam, const QString &newGroupingParam)
{
    if (!isInRouting(processName))
        emit sigGroupingParamChanged(deviceID, audioEndpointID, sessionIdentifier,
                                     sessionInstanceIdentifier, sessionProcessId, processName,
                                     oldGroupingParam, newGroupingParam);
}

void AudioSessionManager::onAudioSessionStateActive(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &sessionProcessFileIcon)
{
    if (!isInRouting(processName))
        emit sigAudioSessionStateActive(deviceID, audioEndpointID, sessionIdentifier,
                                        sessionInstanceIdentifier, sessionGroupingParam,
                                        sessionProcessId, processName, sessionProcessFileIcon);
}

void AudioSessionManager::onAudioSessionStateInactive(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &sessionProcessFileIcon)
{
    if (!isInRouting(processName))
        emit sigAudioSessionStateInactive(deviceID, audioEndpointID, sessionIdentifier,
                                          sessionInstanceIdentifier, sessionGroupingParam,
                                          sessionProcessId, processName, sessionProcessFileIcon);
}

void AudioSessionManager::onAudioSessionStateExpired(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &sessionProcessFileIcon)
{
    if (!isInRouting(processName))
        emit sigAudioSessionStateExpired(deviceID, audioEndpointID, sessionIdentifier,
                                         sessionInstanceIdentifier, sessionGroupingParam,
                                         sessionProcessId, processName, sessionProcessFileIcon);
}

void AudioSessionManager::onAudioSessionDisconnected(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &processName, const QString &disconnectReason)
{
    if (!isInRouting(processName))
        emit sigAudioSessionDisconnected(deviceID, audioEndpointID, sessionIdentifier,
                                         sessionInstanceIdentifier, sessionGroupingParam,
                                         sessionProcessId, processName, disconnectReason);
}
