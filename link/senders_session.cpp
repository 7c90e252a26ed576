// Senders of the audio session events.
#include "link/sendevent.h"

void WebSocketServer::didReceiveAudioSessionInfos(const QJsonObject &audioSessionInfos)
{
    send<eventRow("didReceiveAudioSessionInfos")>(audioSessionInfos);
}

void WebSocketServer::didReceiveDeviceAudioSessionInfos(const QString &deviceID,
                                                        const QJsonArray &deviceAudioSessionInfos)
{
    send<eventRow("didReceiveDeviceAudioSessionInfos")>(deviceID, deviceAudioSessionInfos);
}

void WebSocketServer::audioSessionInfoChanged(const QString &deviceID,
                                              const QJsonObject &audioSessionInfo)
{
    send<eventRow("audioSessionInfoChanged")>(deviceID, audioSessionInfo);
}

void WebSocketServer::audioSessionDisplayNameChanged(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, int sessionProcessId,
    const QString &sessionProcessName, const QString &sessionDisplayName)
{
    send<eventRow("audioSessionDisplayNameChanged")>(deviceID, audioEndpointID, sessionIdentifier,
                                                     sessionInstanceIdentifier, sessionProcessId,
                                                     sessionProcessName, sessionDisplayName);
}

void WebSocketServer::audioSessionIconPathChanged(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, int sessionProcessId,
    const QString &sessionProcessName, const QString &sessionIconPath)
{
    send<eventRow("audioSessionIconPathChanged")>(deviceID, audioEndpointID, sessionIdentifier,
                                                  sessionInstanceIdentifier, sessionProcessId,
                                                  sessionProcessName, sessionIconPath);
}

void WebSocketServer::audioSessionGroupingParamChanged(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, int sessionProcessId,
    const QString &sessionProcessName, const QString &oldGroupingParam,
    const QString &newGroupingParam)
{
    send<eventRow("audioSessionGroupingParamChanged")>(
        deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier, sessionProcessId,
        sessionProcessName, oldGroupingParam, newGroupingParam);
}

void WebSocketServer::audioSessionStateActive(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &sessionProcessName, const QString &sessionProcessFileIcon)
{
    send<eventRow("audioSessionStateActive")>(
        deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier,
        sessionGroupingParam, sessionProcessId, sessionProcessName, sessionProcessFileIcon);
}

void WebSocketServer::audioSessionStateInactive(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &sessionProcessName, const QString &sessionProcessFileIcon)
{
    send<eventRow("audioSessionStateInactive")>(
        deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier,
        sessionGroupingParam, sessionProcessId, sessionProcessName, sessionProcessFileIcon);
}

void WebSocketServer::audioSessionStateExpired(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &sessionProcessName, const QString &sessionProcessFileIcon)
{
    send<eventRow("audioSessionStateExpired")>(
        deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier,
        sessionGroupingParam, sessionProcessId, sessionProcessName, sessionProcessFileIcon);
}

void WebSocketServer::audioSessionDisconnected(
    const QString &deviceID, const QString &audioEndpointID, const QString &sessionIdentifier,
    const QString &sessionInstanceIdentifier, const QString &sessionGroupingParam,
    int sessionProcessId, const QString &sessionProcessName, const QString &disconnectReason)
{
    send<eventRow("audioSessionDisconnected")>(
        deviceID, audioEndpointID, sessionIdentifier, sessionInstanceIdentifier,
        sessionGroupingParam, sessionProcessId, sessionProcessName, disconnectReason);
}

void WebSocketServer::finishSetAppDefaultAudioEndpoint(const QString &appName,
                                                       const QString &audioEndpointID, bool success)
{
    send<eventRow("finishSetAppDefaultAudioEndpoint")>(appName, audioEndpointID, success);
}
