// The queue between a feeder and an endpoint, and all that is decided about its bytes.
#pragma once

#include <QByteArray>
#include <QMutex>

#include <memory>

class AudioResampler;

/// Interleaved 16-bit PCM in the endpoint's format. Knows nothing of the platform: a feeder
/// pushes blocks, the endpoint's thread takes what fits. Any thread may call.
class PlaybackQueue
{
public:
    PlaybackQueue();
    ~PlaybackQueue();
    Q_DISABLE_COPY_MOVE(PlaybackQueue)

    /// Empties the queue and lets blocks in; called once the endpoint's thread is ready.
    void begin(int channels, int sampleRate);
    /// Empties the queue and drops all later blocks.
    void end();
    void clear();

    /// Appends a block of `channels` at `sampleRate` Hz, resampled if it differs from the
    /// endpoint. `deviceType` labels a failure's log line.
    void push(QByteArray block, int sampleRate, int channels, int deviceType);

    struct Taken
    {
        unsigned frames;        ///< written to the target; 0 when no whole frame was queued
        qsizetype lengthBefore; ///< bytes queued before the trim
        bool trimmed;
    };
    /// Trims the queue to its newest `limit` bytes (0: no limit), then moves at most `freeFrames`
    /// frames into `target`, scaled by `volume`.
    [[nodiscard]] Taken take(unsigned char *target, unsigned freeFrames, int limit, float volume);

private:
    void makeResampler(int blockRate, int blockChannels, int deviceType);

    QMutex audioDataMutex; ///< guards all of the below
    QByteArray audioData;
    bool isPlaying = false;
    int channels = 2;
    int sampleRate = 48000;
    bool resamplerPending = true; ///< the first block that differs makes the resampler
    std::unique_ptr<AudioResampler> resampler;
};
