// The capture thread.
#include "engines/capturestream.h"
#include "engines/sharedmode.h"
#include "engines/wasapimicrophonecapturer.h"
#include "platform/threads.h"

#include <QDebug>
#include <QMetaObject>
#include <QThread>

namespace
{

constexpr DWORD waitMs = 1000;

} // namespace

void CaptureStream::run()
{
    requestRealtimeScheduling(SoundThread::Paced);
    qInfo() << "Capture microphone - begin";
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (!openEndpoint() || !startClient()) {
        release();
        CoUninitialize();
        return;
    }
    const bool asked = captureUntilQuit();
    audioClient->Stop();
    release();
    CoUninitialize();
    if (!asked)
        qInfo() << "Capture microphone - on quit - need to call stopCapture!!!";
    qInfo() << "Capture microphone - end";
}

bool CaptureStream::captureUntilQuit()
{
    QList<QByteArray> packets;
    while (isCapturing()) {
        const DWORD signalled = WaitForMultipleObjects(EventCount, events.data(), FALSE, waitMs);
        if (signalled == WAIT_OBJECT_0 + QuitEvent) {
            qInfo() << "Capture microphone - Quit";
            return true;
        }
        // A wait that cannot wait must not spin.
        if (signalled == WAIT_FAILED)
            QThread::msleep(1);
        if (!readPackets(packets))
            return false;

        const int limit = options.maximumPacketCount->load(std::memory_order_relaxed);
        if (limit != 0 && packets.size() > limit)
            packets.remove(0, packets.size() - limit);
        if (packets.size() > 1)
            qInfo() << "每次从麦克风读取到的数据包大于一：" << packets.size();
        deliver(packets);
    }
    return true;
}

/// All packets that are there; false when a call failed.
bool CaptureStream::readPackets(QList<QByteArray> &packets)
{
    UINT32 packetSize = 0;
    HRESULT code = captureClient->GetNextPacketSize(&packetSize);
    if (FAILED(code))
        return failed("Capture microphone - Fail to GetNextPacketSize:", code);
    while (isCapturing() && packetSize != 0) {
        BYTE *data = nullptr;
        UINT32 frames = 0;
        DWORD flags = 0;
        code = captureClient->GetBuffer(&data, &frames, &flags, nullptr, nullptr);
        if (FAILED(code))
            return failed("Capture microphone - Fail to GetBuffer:", code);
        // A silent packet is dropped, not passed on as zeros.
        if (frames != 0 && !(flags & AUDCLNT_BUFFERFLAGS_SILENT))
            packets.append(QByteArray(reinterpret_cast<const char *>(data),
                                      qsizetype(frames) * waveFormat->nBlockAlign));
        code = captureClient->ReleaseBuffer(frames);
        if (FAILED(code))
            return failed("Capture microphone - Fail to ReleaseBuffer:", code);
        code = captureClient->GetNextPacketSize(&packetSize);
        if (FAILED(code))
            return failed("Capture microphone - Fail to GetNextPacketSize:", code);
    }
    return true;
}

void CaptureStream::deliver(QList<QByteArray> &packets)
{
    while (isCapturing() && !packets.isEmpty()) {
        const QByteArray packet = packets.takeFirst();
        // Held only by a stop that has waited in vain: then nobody wants the packet.
        if (!receiverMutex.tryLock())
            return;
        if (WASAPIMicrophoneCapturer *target = receiver) {
            QMetaObject::invokeMethod(
                target,
                [target, packet, rate = sampleRate, count = channels] {
                    target->onGetInputData(packet, rate, count);
                },
                Qt::QueuedConnection);
        }
        receiverMutex.unlock();
    }
}
