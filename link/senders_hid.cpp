// Senders of the HID events.
#include "link/sendevent.h"

namespace
{
QJsonObject hidIdentity(int vid, int pid, const QString &serialNumber)
{
    return {{QLatin1StringView("VID"), vid},
            {QLatin1StringView("PID"), pid},
            {QLatin1StringView("SerialNumber"), serialNumber}};
}

QJsonArray signedBytes(const QByteArray &data)
{
    QJsonArray numbers;
    for (const char byte : data)
        numbers.append(int(qint8(byte)));
    return numbers;
}
} // namespace

void WebSocketServer::unableToOpenDevice(const QJsonObject &device, const QString &errorString)
{
    send<eventRow("unableToOpenDevice")>(device, errorString);
}

void WebSocketServer::deviceDidConnect(int vid, int pid, const QString &serialNumber)
{
    send<eventRow("deviceDidConnect")>(hidIdentity(vid, pid, serialNumber));
}

void WebSocketServer::deviceDidConnect(const QJsonObject &deviceInfo)
{
    send<eventRow("deviceDidConnect")>(deviceInfo);
}

void WebSocketServer::deviceDidDisconnect(int vid, int pid, const QString &serialNumber)
{
    send<eventRow("deviceDidDisconnect")>(hidIdentity(vid, pid, serialNumber));
}

void WebSocketServer::deviceDidDisconnect(const QJsonObject &deviceInfo)
{
    send<eventRow("deviceDidDisconnect")>(deviceInfo);
}

void WebSocketServer::receivedFromGetInputReport(const QJsonObject &device, const QJsonArray &data,
                                                 int result)
{
    send<eventRow("receivedFromGetInputReport")>(device, data, result);
}

void WebSocketServer::receivedFromGetFeatureReport(const QJsonObject &device,
                                                   const QByteArray &data, int result)
{
    send<eventRow("receivedFromGetFeatureReport")>(device, signedBytes(data), result);
}

void WebSocketServer::hidWriteResult(const QJsonObject &device, int writeResult,
                                     const QString &errorString)
{
    send<eventRow("hidWriteResult")>(device, writeResult, errorString);
}
