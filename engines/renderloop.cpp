// The play thread of a render stream.
#include "engines/renderstream.h"
#include "engines/sharedmode.h"
#include "platform/threads.h"

#include <QDebug>
#include <QThread>

void RenderStream::run()
{
    requestRealtimeScheduling(SoundThread::Paced);
    qInfo() << "WASAPIAudioPlayer play audio - begin" << options.deviceType << options.deviceName;

    const int limit = queueLimit();
    qInfo() << "MaximumAudioDataLength:" << limit << options.maximumAudioDataDuration;
    queue.begin(waveFormat->nChannels, static_cast<int>(waveFormat->nSamplesPerSec));

    while (isOpen()) {
        const DWORD signalled = WaitForMultipleObjects(EventCount, events.data(), FALSE, INFINITE);
        if (signalled == WAIT_OBJECT_0 + StartEvent) {
            qInfo() << "WASAPIAudioPlayer play audio - Start";
        } else if (signalled == WAIT_OBJECT_0 + StopEvent) {
            qInfo() << "WASAPIAudioPlayer play audio - Stop";
        } else if (signalled == WAIT_OBJECT_0 + QuitEvent) {
            qInfo() << "WASAPIAudioPlayer play audio - Quit";
            break;
        } else {
            // A wait that cannot wait counts as the endpoint's event, but must not spin.
            if (signalled == WAIT_FAILED)
                QThread::msleep(1);
            if (!serveEndpoint(limit))
                break;
        }
    }

    queue.end();
    qInfo() << "WASAPIAudioPlayer play audio - end" << options.deviceType << options.deviceName;
}

int RenderStream::queueLimit() const
{
    if (options.maximumAudioDataDuration == 0)
        return options.maximumAudioDataLength;
    // Single precision throughout: 48000 Hz, 2 channels and 60 ms give 11520 bytes.
    const auto bitsPerSecond = static_cast<float>(
        waveFormat->nChannels * waveFormat->wBitsPerSample * waveFormat->nSamplesPerSec);
    const float seconds = static_cast<float>(options.maximumAudioDataDuration) / 1000.0f;
    return static_cast<int>(bitsPerSecond * seconds * 0.125f);
}

/// One period; false when a call failed, which ends the loop.
bool RenderStream::serveEndpoint(int limit)
{
    UINT32 bufferSize = 0;
    HRESULT code = audioClient->GetBufferSize(&bufferSize);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to GetBufferSize:", code);
    UINT32 padding = 0;
    code = audioClient->GetCurrentPadding(&padding);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to GetCurrentPadding:", code);

    UINT32 frames = bufferSize - padding;
    DWORD flags = 0;
    if (frames > 0) {
        BYTE *buffer = nullptr;
        code = renderClient->GetBuffer(frames, &buffer);
        if (FAILED(code))
            return failed("WASAPIAudioPlayer play audio - Fail to GetBuffer:", code);

        const float gain = options.volume->load(std::memory_order_relaxed);
        const PlaybackQueue::Taken taken = queue.take(buffer, frames, limit, gain);
        if (taken.trimmed)
            qInfo() << "等待发送的数据长度大于限制长度：" << taken.lengthBefore << limit;
        if (taken.frames > 0)
            frames = taken.frames;
        else
            flags = AUDCLNT_BUFFERFLAGS_SILENT; // an underrun: silence for the whole free space
    }
    code = renderClient->ReleaseBuffer(frames, flags);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to ReleaseBuffer:", code);
    return true;
}
