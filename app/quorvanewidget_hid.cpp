// The client's way to HID devices. Operations can block, so no command runs on the main thread.
#include "VXLibrary/src/vxgeneraldevice.h"
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "link/websocketserver.h"
#include "platform/signalstack.h"

#include <QDebug>
#include <QJsonArray>
#include <QThreadPool>
#include <QtConcurrent>

#include <algorithm>
#include <functional>

namespace
{
int vendorIdIn(const QJsonObject &deviceInfo)
{
    return deviceInfo[QLatin1StringView("VID")].toInt(0);
}

int productIdIn(const QJsonObject &deviceInfo)
{
    return deviceInfo[QLatin1StringView("PID")].toInt(0);
}

void open(VXGeneralDevice &device, const QJsonObject &deviceInfo)
{
    device.openDevice(deviceInfo[QLatin1StringView("enableReadThread")].toBool(true),
                      vendorIdIn(deviceInfo), productIdIn(deviceInfo),
                      deviceInfo[QLatin1StringView("SerialNumber")].toString(),
                      deviceInfo[QLatin1StringView("usagePage")].toInt(-1),
                      deviceInfo[QLatin1StringView("usage")].toInt(-1),
                      static_cast<uchar>(deviceInfo[QLatin1StringView("reportID")].toInt(0)));
}

void connectToLink(const VXGeneralDevice &device, const WebSocketServer &link)
{
    using DeviceEvent = void (WebSocketServer::*)(const QJsonObject &);
    QObject::connect(&device, &VXGeneralDevice::sigUnableToOpenDevice, &link,
                     &WebSocketServer::unableToOpenDevice, Qt::QueuedConnection);
    QObject::connect(&device, &VXGeneralDevice::sigDeviceOpened, &link,
                     DeviceEvent(&WebSocketServer::deviceDidConnect), Qt::QueuedConnection);
    QObject::connect(&device, &VXGeneralDevice::sigDeviceClosed, &link,
                     DeviceEvent(&WebSocketServer::deviceDidDisconnect), Qt::QueuedConnection);
    QObject::connect(&device, &VXGeneralDevice::sigWriteResult, &link,
                     &WebSocketServer::hidWriteResult);
}

QByteArray bytesOf(const QJsonArray &numbers)
{
    QByteArray bytes(numbers.size(), Qt::Uninitialized);
    // The elements' own type: a value made of each would take several times as long.
    std::transform(numbers.begin(), numbers.end(), bytes.begin(),
                   [](QJsonValueConstRef number) { return static_cast<char>(number.toInt(0)); });
    return bytes;
}
} // namespace

void QuorvaneWidget::connectHidCommands()
{
    // The futures are dropped: what comes of a command is told by the device's signals.
    const auto runOnPool = [this](auto body) {
        return [this, body](const auto &...arguments) {
            const auto guarded = [body](QuorvaneWidget *self, const auto &...values) {
                SignalStack::provide();
                std::invoke(body, self, values...);
            };
            (void)QtConcurrent::run(QThreadPool::globalInstance(), guarded, this, arguments...);
        };
    };
    WebSocketServer *link = webSocketServer.data();
    connect(link, &WebSocketServer::sigOpenHidDevice, this,
            runOnPool(&QuorvaneWidget::openHidDevice));
    connect(link, &WebSocketServer::sigCloseHidDevice, this,
            runOnPool(&QuorvaneWidget::closeHidDevice));
    connect(link, &WebSocketServer::sigWriteDataToHidDevice, this,
            runOnPool(&QuorvaneWidget::writeDataToHidDevice));
    connect(link, &WebSocketServer::sigGetInputReportFromHidDevice, this,
            runOnPool(&QuorvaneWidget::getInputReportFromHidDevice));
}

void QuorvaneWidget::openHidDevice(const QJsonObject &deviceInfo)
{
    qInfo() << "onOpenHidDevice() :" << deviceInfo;
    {
        const QMutexLocker locker(&hidDevicesMutex);
        if (findHidDevice(deviceInfo) >= 0) {
            qInfo() << "onOpenHidDevice() : The device has been opened.";
            return;
        }
        auto *device = new VXGeneralDevice;
        open(*device, deviceInfo);
        // Only now: what the open itself raises is not for the client.
        if (webSocketServer)
            connectToLink(*device, *webSocketServer);
        hidDevices.append({vendorIdIn(deviceInfo), productIdIn(deviceInfo), device});
        hidThreads.give(device);
    }
    qInfo() << "onOpenHidDevice() : end";
}

void QuorvaneWidget::closeHidDevice(const QJsonObject &deviceInfo)
{
    const HandlerTrace trace("onCloseHidDevice", deviceInfo);
    const QMutexLocker locker(&hidDevicesMutex);
    const qsizetype place = findHidDevice(deviceInfo);
    if (place >= 0)
        hidDevices.takeAt(place).device->deleteLater();
}

void QuorvaneWidget::writeDataToHidDevice(const QJsonObject &deviceInfo,
                                          const QJsonArray &dataArray)
{
    const QMutexLocker locker(&hidDevicesMutex);
    const qsizetype place = findHidDevice(deviceInfo);
    if (place >= 0)
        hidDevices.at(place).device->writeData(bytesOf(dataArray), VXHidOutput, false);
}

void QuorvaneWidget::getInputReportFromHidDevice(const QJsonObject &deviceInfo)
{
    const QMutexLocker locker(&hidDevicesMutex);
    const qsizetype place = findHidDevice(deviceInfo);
    if (place < 0)
        return;
    QJsonArray data;
    const qint32 result = hidDevices.at(place).device->getInputReport(data);
    if (webSocketServer) {
        QMetaObject::invokeMethod(webSocketServer.data(), "receivedFromGetInputReport",
                                  Qt::QueuedConnection, Q_ARG(QJsonObject, deviceInfo),
                                  Q_ARG(QJsonArray, data), Q_ARG(qint32, result));
    }
}

qsizetype QuorvaneWidget::findHidDevice(const QJsonObject &deviceInfo) const
{
    const auto found =
        std::find_if(hidDevices.begin(), hidDevices.end(), [&](const HidEntry &entry) {
            return entry.device && entry.vendorId == vendorIdIn(deviceInfo) &&
                   entry.productId == productIdIn(deviceInfo);
        });
    return found == hidDevices.end() ? -1 : found - hidDevices.begin();
}

void QuorvaneWidget::dropHidDevices()
{
    // Commands that are still under way use this object.
    QThreadPool::globalInstance()->waitForDone();
    const QMutexLocker locker(&hidDevicesMutex);
    while (!hidDevices.isEmpty()) {
        if (const auto device = hidDevices.takeFirst().device)
            device->deleteLater();
    }
}
