// One opening of a render endpoint: what the platform gave for it, and the queue before it.
#pragma once

#include "engines/playbackqueue.h"
#include "platform/coreaudio.h"

#include <QString>

#include <array>
#include <atomic>
#include <memory>

/// What a stream takes over from its player when it is opened.
struct RenderStreamOptions
{
    QString deviceID;
    QString deviceName;               ///< for log lines
    int deviceType = 0;               ///< for log lines
    int maximumAudioDataLength = 0;   ///< queue limit in bytes, used if the duration is 0
    int maximumAudioDataDuration = 0; ///< queue limit in ms
    std::shared_ptr<const std::atomic<float>> volume;
};

/// Owned by the player and by its play thread together: a thread that is stuck in the platform
/// beyond the bounded wait of a close keeps what it still touches and gives it back at its end.
class RenderStream
{
public:
    explicit RenderStream(RenderStreamOptions options);
    ~RenderStream();
    Q_DISABLE_COPY_MOVE(RenderStream)

    /// Opens and starts the endpoint. On failure the step is logged, all that was acquired is
    /// given back and the result is false.
    [[nodiscard]] bool open();

    /// The play thread: fills the endpoint at each of its events until `quit` or until a call
    /// fails, which leaves the stream open and deaf.
    void run();

    /// Queues a block; dropped while the stream is not open or its thread does not run. Any
    /// thread.
    void play(const QByteArray &frame, int sampleRate, int channels);
    void clearQueue() { queue.clear(); }

    /// Asks the play thread to end and stops the endpoint.
    void quit();
    void stop();
    /// Gives everything back, in one fixed order. Not while the play thread runs.
    void release();

private:
    enum Event : std::size_t
    {
        AudioEvent,
        StartEvent,
        StopEvent,
        QuitEvent,
        EventCount
    };

    void createEvents();
    [[nodiscard]] bool openEndpoint();
    [[nodiscard]] bool initializeClient();
    [[nodiscard]] bool startClient();
    [[nodiscard]] int queueLimit() const;
    [[nodiscard]] bool serveEndpoint(int limit);

    [[nodiscard]] bool isOpen() const { return opened.load(std::memory_order_relaxed); }

    const RenderStreamOptions options;
    IMMDeviceEnumerator *deviceEnumerator = nullptr;
    IMMDevice *device = nullptr;
    IAudioClient *audioClient = nullptr;
    WAVEFORMATEX *waveFormat = nullptr;
    IAudioRenderClient *renderClient = nullptr;
    std::array<HANDLE, EventCount> events{}; ///< the wait array, in this order
    std::atomic<bool> opened{false};
    PlaybackQueue queue;
};
