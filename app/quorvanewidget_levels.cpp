// Questions and orders about endpoints: lists, volumes, mutes.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "endpoints/systemsoundmonitor.h"
#include "link/websocketserver.h"

#include <QDebug>

namespace
{
QString failureText(const char *handler, const char *order, const QString &deviceName,
                    const QString &deviceID, const char *quantity, const QString &current)
{
    return QLatin1StringView(handler) + QLatin1StringView("() : Failed to ") +
           QLatin1StringView(order) + QLatin1StringView(", device Name(") + deviceName +
           QLatin1StringView("), device ID(") + deviceID + QLatin1StringView(")") +
           QLatin1StringView(quantity) + current + QLatin1StringView(")");
}
} // namespace

const QuorvaneWidget::VolumeOrder QuorvaneWidget::setVolumeOrder{
    &SystemSoundMonitor::setDeviceVolume, nullptr, "set device volume"};
const QuorvaneWidget::VolumeOrder QuorvaneWidget::increaseVolumeOrder{
    nullptr, &SystemSoundMonitor::increaseDeviceVolume, "increase device volume"};
const QuorvaneWidget::VolumeOrder QuorvaneWidget::decreaseVolumeOrder{
    nullptr, &SystemSoundMonitor::decreaseDeviceVolume, "decrease device volume"};

void QuorvaneWidget::answerDeviceMute(const char *handler, const QString &deviceName,
                                      const QString &deviceID)
{
    const HandlerTrace trace(handler, deviceName, deviceID);
    const bool mute = systemSoundMonitor && systemSoundMonitor->isDeviceMuted(deviceID);
    if (webSocketServer)
        webSocketServer->didReceiveDeviceMute(deviceName, deviceID, mute);
}

void QuorvaneWidget::answerDeviceVolume(const char *handler, const QString &deviceName,
                                        const QString &deviceID)
{
    const HandlerTrace trace(handler, deviceName, deviceID);
    const int volume = systemSoundMonitor ? systemSoundMonitor->getDeviceVolume(deviceID) : 0;
    if (webSocketServer)
        webSocketServer->didReceiveDeviceVolume(deviceName, deviceID, volume);
}

void QuorvaneWidget::orderDeviceMute(const char *handler, const QString &deviceName,
                                     const QString &deviceID, bool isMute)
{
    const HandlerTrace trace(handler, deviceName, deviceID, isMute);
    bool ok = false;
    bool current = false;
    if (systemSoundMonitor) {
        ok = systemSoundMonitor->setDeviceMuted(deviceID, isMute, true);
        current = systemSoundMonitor->isDeviceMuted(deviceID);
    }
    if (!ok) {
        qWarning() << failureText(handler, "set device mute", deviceName, deviceID,
                                  ", device Mute(",
                                  current ? QStringLiteral("true") : QStringLiteral("false"));
        if (webSocketServer)
            webSocketServer->failedToSetDeviceMute(deviceName, deviceID, current);
    }
}

void QuorvaneWidget::orderDeviceVolume(const char *handler, const VolumeOrder &order,
                                       const QString &deviceName, const QString &deviceID,
                                       uint value)
{
    const HandlerTrace trace(handler, deviceName, deviceID, static_cast<int>(value));
    bool ok = false;
    int current = 0;
    if (systemSoundMonitor) {
        ok = order.absolute ? (systemSoundMonitor.data()->*order.absolute)(
                                  deviceID, static_cast<int>(value), true)
                            : (systemSoundMonitor.data()->*order.relative)(deviceID, value, true);
        current = systemSoundMonitor->getDeviceVolume(deviceID);
    }
    if (!ok) {
        qWarning() << failureText(handler, order.verb, deviceName, deviceID, ", device Volume(",
                                  QString::number(current));
        if (webSocketServer)
            webSocketServer->failedToSetDeviceVolume(deviceName, deviceID, current);
    }
}

void QuorvaneWidget::onGetOutputDeviceInfos()
{
    if (!webSocketServer)
        return;
    QJsonObject defaultDevice;
    QJsonArray devices;
    if (systemSoundMonitor) {
        defaultDevice = systemSoundMonitor->getDefaultOutputDeviceInfo();
        devices = systemSoundMonitor->getOutputDeviceInfos();
    }
    webSocketServer->didReceiveOutputDeviceInfos(defaultDevice, devices);
}

void QuorvaneWidget::onGetInputDeviceInfos()
{
    if (!webSocketServer)
        return;
    QJsonObject defaultDevice;
    QJsonArray devices;
    if (systemSoundMonitor) {
        defaultDevice = systemSoundMonitor->getDefaultInputDeviceInfo();
        devices = systemSoundMonitor->getInputDeviceInfos();
    }
    webSocketServer->didReceiveInputDeviceInfos(defaultDevice, devices);
}
