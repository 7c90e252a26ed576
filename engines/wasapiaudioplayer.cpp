#include "engines/wasapiaudioplayer.h"

#include "engines/renderstream.h"
#include "platform/coreaudio.h"
#include "platform/queuedcallloop.h"
#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QDebug>
#include <QThread>

#include <utility>

namespace
{

constexpr int playThreadWaitMs = 500;

} // namespace

QSharedPointer<WASAPIAudioPlayer> WASAPIAudioPlayer::create()
{
    return {new WASAPIAudioPlayer, &WASAPIAudioPlayer::end};
}

WASAPIAudioPlayer::WASAPIAudioPlayer()
    : workerThread(std::make_unique<QThread>()), volume(std::make_shared<std::atomic<float>>(1.0f))
{
    moveToThread(workerThread.get());
    workerThread->setEventDispatcher(new QueuedCallLoop); // the thread's
    SignalStack::provideTo(*workerThread);
    workerThread->start(QThread::InheritPriority);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

WASAPIAudioPlayer::~WASAPIAudioPlayer() = default;

void WASAPIAudioPlayer::end(WASAPIAudioPlayer *player)
{
    const int type = player->deviceType;
    qInfo() << "WASAPIAudioPlayer::~WASAPIAudioPlayer" << type << player->deviceName() << ": begin";
    player->closeDevice();
    CoUninitialize();
    const QString closedName = player->deviceName();
    endOnItsThread(player, std::move(player->workerThread));
    qInfo() << "WASAPIAudioPlayer::~WASAPIAudioPlayer" << type << closedName << ": end";
}

void WASAPIAudioPlayer::setMaximumAudioDataDuration(int ms)
{
    maximumAudioDataDuration = ms;
}

void WASAPIAudioPlayer::setDeviceType(int type)
{
    deviceType = type;
}

QString WASAPIAudioPlayer::deviceID() const
{
    const QMutexLocker locker(&deviceMutex);
    return currentDeviceID;
}

QString WASAPIAudioPlayer::deviceName() const
{
    const QMutexLocker locker(&deviceMutex);
    return currentDeviceName;
}

void WASAPIAudioPlayer::openDevice(QString deviceID, QString deviceName)
{
    qInfo() << "WASAPIAudioPlayer::openDevice" << deviceID << deviceName
            << "- With parameters: begin";
    closeDevice();

    const QMutexLocker locker(&deviceMutex);
    currentDeviceID = deviceID;
    currentDeviceName = deviceName;
    if (deviceID.isEmpty()) {
        qInfo() << "WASAPIAudioPlayer::openDevice" << deviceType << deviceName
                << ": Device id is empty";
        return;
    }
    auto opening = std::make_shared<RenderStream>(RenderStreamOptions{
        .deviceID = deviceID,
        .deviceName = deviceName,
        .deviceType = deviceType,
        .maximumAudioDataDuration = maximumAudioDataDuration,
        .volume = volume,
    });
    if (!opening->open())
        return;

    stream.exchange(opening);
    // The thread drops its share of the stream at its end, not with the QThread.
    playThread.reset(
        QThread::create([opening]() mutable { std::exchange(opening, nullptr)->run(); }));
    SignalStack::provideTo(*playThread);
    playThread->start(QThread::TimeCriticalPriority);
    // Blocks pass through the worker on their way to the play thread, which waits for its lock.
    if (!std::exchange(workerHasPriority, true))
        QMetaObject::invokeMethod(
            this, [] { requestRealtimeScheduling(SoundThread::Fed); }, Qt::QueuedConnection);
    qInfo() << "WASAPIAudioPlayer::openDevice" << deviceType << deviceName
            << "- With parameters: end";
}

void WASAPIAudioPlayer::closeDevice()
{
    const QMutexLocker locker(&deviceMutex);
    qInfo() << "WASAPIAudioPlayer::closeDevice" << deviceType << currentDeviceName << ": begin";
    if (const auto closing = stream.exchange(nullptr)) {
        closing->quit();
        const bool ended = waitAndEnd(std::move(playThread), playThreadWaitMs);
        closing->stop();
        // A thread that is stuck in the platform still touches the stream and releases it last.
        if (ended)
            closing->release();
    }
    const QString closedName = std::exchange(currentDeviceName, QString());
    currentDeviceID.clear();
    qInfo() << "WASAPIAudioPlayer::closeDevice" << deviceType << closedName << ": end";
}

void WASAPIAudioPlayer::setVolume(float fVolume)
{
    // Written so that what is not a number becomes silence.
    const float clamped = fVolume > 0.0f ? std::min(fVolume, 1.0f) : 0.0f;
    volume->store(clamped, std::memory_order_relaxed);
}

float WASAPIAudioPlayer::getVolume() const
{
    return volume->load(std::memory_order_relaxed);
}

void WASAPIAudioPlayer::play(QByteArray frame, int sampleRate, int channels)
{
    if (const auto current = stream.load())
        current->play(frame, sampleRate, channels);
}

void WASAPIAudioPlayer::clearPlayBuffer()
{
    if (const auto current = stream.load())
        current->clearQueue();
}
