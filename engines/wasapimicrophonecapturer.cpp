#include "engines/wasapimicrophonecapturer.h"

#include "engines/capturestream.h"
#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

#include <utility>

namespace
{

constexpr int retryIntervalMs = 1500;
constexpr int captureThreadWaitMs = 500;

} // namespace

QSharedPointer<WASAPIMicrophoneCapturer> WASAPIMicrophoneCapturer::create()
{
    return {new WASAPIMicrophoneCapturer, &WASAPIMicrophoneCapturer::end};
}

WASAPIMicrophoneCapturer::WASAPIMicrophoneCapturer()
    : workerThread(std::make_unique<QThread>()),
      maximumPacketCount(std::make_shared<std::atomic<int>>(0)),
      retryTimer(std::make_unique<QTimer>())
{
    moveToThread(workerThread.get());
    SignalStack::provideTo(*workerThread);
    workerThread->start(QThread::InheritPriority);
    retryTimer->setInterval(retryIntervalMs);
    retryTimer->setTimerType(Qt::PreciseTimer);
    connect(retryTimer.get(), &QTimer::timeout, this, &WASAPIMicrophoneCapturer::startCapture);
}

WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer() = default;

void WASAPIMicrophoneCapturer::end(WASAPIMicrophoneCapturer *capturer)
{
    qInfo() << "WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer"
            << ": begin";
    {
        const QMutexLocker locker(&capturer->captureMutex);
        capturer->retryTimer.reset();
    }
    capturer->stopCapture();
    endOnItsThread(capturer, std::move(capturer->workerThread));
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
    maximumPacketCount->store(count, std::memory_order_relaxed);
}

void WASAPIMicrophoneCapturer::startCapture()
{
    const QMutexLocker locker(&captureMutex);
    if (!retryTimer)
        return; // a late time-out that met the end
    if (std::exchange(isRetryArmed, false))
        QMetaObject::invokeMethod(retryTimer.get(), &QTimer::stop, Qt::QueuedConnection);

    qInfo() << "WASAPIMicrophoneCapturer::startCapture" << currentDeviceName << ": begin";
    if (currentDeviceID.isEmpty()) {
        qInfo() << "WASAPIMicrophoneCapturer::startCapture" << currentDeviceName
                << ": Device id is empty";
    } else if (!capture) {
        capture = std::make_shared<CaptureStream>(
            CaptureStreamOptions{.deviceID = currentDeviceID,
                                 .channels = channels,
                                 .maximumPacketCount = maximumPacketCount},
            this);
        // The thread drops its share of the stream at its end, not with the QThread.
        captureThread.reset(
            QThread::create([own = capture]() mutable { std::exchange(own, nullptr)->run(); }));
        SignalStack::provideTo(*captureThread);
        captureThread->start(QThread::TimeCriticalPriority);
        // Packets pass through the worker on their way to the players.
        if (!std::exchange(workerHasPriority, true))
            QMetaObject::invokeMethod(
                this, [] { requestRealtimeScheduling(SoundThread::Fed); }, Qt::QueuedConnection);
    }
    qInfo() << "WASAPIMicrophoneCapturer::startCapture" << currentDeviceName << ": end";
}

void WASAPIMicrophoneCapturer::stopCapture()
{
    const QMutexLocker locker(&captureMutex);
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": begin";
    stopLocked();
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": end";
}

void WASAPIMicrophoneCapturer::stopCapture(long errCode, QString errString)
{
    const QMutexLocker locker(&captureMutex);
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": begin" << errCode
            << errString;
    stopLocked();
    qInfo() << "WASAPIMicrophoneCapturer::stopCapture" << currentDeviceName << ": end";
    if (!retryTimer)
        return;
    isRetryArmed = true;
    QMetaObject::invokeMethod(retryTimer.get(), qOverload<>(&QTimer::start), Qt::QueuedConnection);
}

void WASAPIMicrophoneCapturer::stopLocked()
{
    if (!capture)
        return;
    capture->quit();
    if (waitAndEnd(std::move(captureThread), captureThreadWaitMs))
        capture->closeEvents();
    else
        capture->detachReceiver(); // stuck in the platform: it closes its events at its end
    capture.reset();
}
