#include "engines/wasapimicrophonecapturer.h"

#include "platform/threads.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

namespace
{

constexpr int retryIntervalMs = 1500;
constexpr int workerThreadWaitMs = 100;

} // namespace

WASAPIMicrophoneCapturer::WASAPIMicrophoneCapturer()
    : workerThread(std::make_unique<QThread>()), retryTimer(std::make_unique<QTimer>())
{
    moveToThread(workerThread.get());
    workerThread->start(QThread::InheritPriority);
    retryTimer->setInterval(retryIntervalMs);
    retryTimer->setTimerType(Qt::PreciseTimer);
    connect(retryTimer.get(), &QTimer::timeout, this, &WASAPIMicrophoneCapturer::startCapture);
}

WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer()
{
    qInfo() << "WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer"
            << ": begin";
    {
        const QMutexLocker locker(&captureMutex);
        retryTimer.reset();
    }
    stopCapture();
    workerThread->quit();
    if (!workerThread->wait(workerThreadWaitMs))
        retire(workerThread.release());
    qInfo() << "WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer"
            << ": end";
}

int WASAPIMicrophoneCapturer::restartCapture(QString deviceID, QString deviceName, int channelCount)
{
    stopCapture();
    {
        const QMutexLocker locker(&captureMutex);
        currentDeviceID = deviceID;
        currentDeviceName = deviceName;
        channels = channelCount;
    }
    startCapture();
    return 0;
}

void WASAPIMicrophoneCapturer::stopOnEndpoint(const QString &deviceID)
{
    if (deviceID == this->deviceID())
        stopCapture();
}

QString WASAPIMicrophoneCapturer::deviceID() const
{
    const QMutexLocker locker(&captureMutex);
    return currentDeviceID;
}

void WASAPIMicrophoneCapturer::setMaximumPacketCount(int count)
{
    maximumPacketCount = count;
}

void WASAPIMicrophoneCapturer::startCapture()
{
    const QMutexLocker locker(&captureMutex);
    if (retryTimer && retryTimer->isActive())
        QMetaObject::invokeMethod(retryTimer.get(), &QTimer::stop, Qt::QueuedConnection);
    qInfo() << "WASAPIMicrophoneCapturer::startCapture" << currentDeviceName << ": begin";
    if (currentDeviceID.isEmpty())
        qInfo() << "WASAPIMicrophoneCapturer::startCapture"
                << ": Device id is empty";
    qInfo() << "WASAPIMicrophoneCapturer::startCapture" << currentDeviceName << ": end";
}

void WASAPIMicrophoneCapturer::stopCapture()
{
    const QMutexLocker locker(&captureMutex);
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": begin";
    isCapturing = false;
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": end";
}

void WASAPIMicrophoneCapturer::stopCapture(long errCode, QString errString)
{
    const QMutexLocker locker(&captureMutex);
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": begin" << errCode
            << errString;
    isCapturing = false;
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": end";
    QMetaObject::invokeMethod(retryTimer.get(), qOverload<>(&QTimer::start), Qt::QueuedConnection);
}
