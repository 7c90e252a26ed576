// One run of the microphone: the capture thread and what it holds of the platform.
#pragma once

#include "platform/coreaudio.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>

#include <array>
#include <atomic>
#include <memory>

class WASAPIMicrophoneCapturer;

/// What a run takes over from its capturer when it starts.
struct CaptureStreamOptions
{
    QString deviceID;
    int channels = 2; ///< until the endpoint tells its own
    /// Packets kept in a round; 0 for no limit.
    std::shared_ptr<const std::atomic<int>> maximumPacketCount;
};

/// Owned by the capturer and by the capture thread together: a thread that is stuck in the
/// platform beyond the bounded wait of a stop ends harmlessly later.
class CaptureStream
{
public:
    CaptureStream(CaptureStreamOptions options, WASAPIMicrophoneCapturer *receiver);
    ~CaptureStream();
    Q_DISABLE_COPY_MOVE(CaptureStream)

    /// The capture thread: opens the endpoint and hands each packet to the receiver by a queued
    /// call, until `quit` or until a call fails.
    void run();

    /// Asks the thread to end.
    void quit();
    /// Once this returns, the receiver gets no packet.
    void detachReceiver();
    /// Not while the thread runs.
    void closeEvents();

private:
    enum Event : std::size_t
    {
        AudioEvent,
        QuitEvent,
        EventCount
    };

    [[nodiscard]] bool isCapturing() const { return capturing.load(std::memory_order_relaxed); }
    /// Whether a step of the set-up succeeded and capturing is still wanted; logs if not.
    template <typename... Details>
    [[nodiscard]] bool passed(HRESULT code, const char *words, const Details &...details) const;

    [[nodiscard]] bool openEndpoint();
    [[nodiscard]] bool initializeLowLatency();
    [[nodiscard]] bool startClient();
    void release();

    /// Packets until the end; true when `quit` ended it or was seen to be asked for.
    [[nodiscard]] bool captureUntilQuit();
    [[nodiscard]] bool readPackets(QList<QByteArray> &packets);
    void deliver(QList<QByteArray> &packets);

    const CaptureStreamOptions options;
    std::atomic<bool> capturing{true};
    std::array<HANDLE, EventCount> events{}; ///< the wait array, in this order

    QMutex receiverMutex; ///< the thread only tries it
    WASAPIMicrophoneCapturer *receiver;

    // The thread's own.
    int channels;
    int sampleRate = 48000;
    IMMDeviceEnumerator *deviceEnumerator = nullptr;
    IMMDevice *device = nullptr;
    IAudioClient *audioClient = nullptr;
    IAudioClient3 *audioClient3 = nullptr;
    IAudioCaptureClient *captureClient = nullptr;
    WAVEFORMATEX *waveFormat = nullptr;
};
