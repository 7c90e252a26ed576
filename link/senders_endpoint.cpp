// Senders of the endpoint events.
#include "link/sendevent.h"

void WebSocketServer::didReceiveOutputDeviceInfos(const QJsonObject &defaultDevice,
                                                  const QJsonArray &outputDevice)
{
    send<eventRow("didReceiveOutputDeviceInfos")>(defaultDevice, outputDevice);
}

void WebSocketServer::didReceiveInputDeviceInfos(const QJsonObject &defaultDevice,
                                                 const QJsonArray &inputDevice)
{
    send<eventRow("didReceiveInputDeviceInfos")>(defaultDevice, inputDevice);
}

void WebSocketServer::defaultDeviceChanged(const QString &deviceType, const QString &deviceName,
                                           const QString &deviceID)
{
    send<eventRow("defaultDeviceChanged")>(deviceType, deviceName, deviceID);
}

void WebSocketServer::deviceAdded(const QString &deviceName, const QString &deviceID)
{
    send<eventRow("deviceAdded")>(deviceName, deviceID);
}

void WebSocketServer::deviceActive(const QString &deviceName, const QString &deviceID)
{
    send<eventRow("deviceActive")>(deviceName, deviceID);
}

void WebSocketServer::deviceRemoved(const QString &deviceID)
{
    send<eventRow("deviceRemoved")>(deviceID);
}

void WebSocketServer::deviceDisabled(const QString &deviceID)
{
    send<eventRow("deviceDisabled")>(deviceID);
}

void WebSocketServer::deviceNotPresent(const QString &deviceID)
{
    send<eventRow("deviceNotPresent")>(deviceID);
}

void WebSocketServer::deviceUnplugged(const QString &deviceID)
{
    send<eventRow("deviceUnplugged")>(deviceID);
}

void WebSocketServer::deviceControlChanged(const QString &deviceName, const QString &deviceID,
                                           bool deviceMute, int deviceVolume)
{
    send<eventRow("deviceControlChanged")>(deviceName, deviceID, deviceMute, deviceVolume);
}

void WebSocketServer::didReceiveDeviceMute(const QString &deviceName, const QString &deviceID,
                                           bool deviceMute)
{
    send<eventRow("didReceiveDeviceMute")>(deviceName, deviceID, deviceMute);
}

void WebSocketServer::didReceiveDeviceVolume(const QString &deviceName, const QString &deviceID,
                                             int deviceVolume)
{
    send<eventRow("didReceiveDeviceVolume")>(deviceName, deviceID, deviceVolume);
}

void WebSocketServer::failedToSetDeviceMute(const QString &deviceName, const QString &deviceID,
                                            bool deviceMute)
{
    send<eventRow("failedToSetDeviceMute")>(deviceName, deviceID, deviceMute);
}

void WebSocketServer::failedToSetDeviceVolume(const QString &deviceName, const QString &deviceID,
                                              int deviceVolume)
{
    send<eventRow("failedToSetDeviceVolume")>(deviceName, deviceID, deviceVolume);
}

void WebSocketServer::finishAddOutputDevice(const QString &outputDeviceName)
{
    send<eventRow("finishAddOutputDevice")>(outputDeviceName);
}

void WebSocketServer::cannotAddOutputDevice(const QString &outputDeviceName)
{
    send<eventRow("cannotAddOutputDevice")>(outputDeviceName);
}

void WebSocketServer::finishRemoveOutputDevice(const QString &outputDeviceName)
{
    send<eventRow("finishRemoveOutputDevice")>(outputDeviceName);
}

void WebSocketServer::cannotRemoveOutputDevice(const QString &outputDeviceName)
{
    send<eventRow("cannotRemoveOutputDevice")>(outputDeviceName);
}
