#include "engines/playbackqueue.h"

#include "engines/audioresampler.h"
#include "engines/gainloop.h"

#include <QDebug>

#include <algorithm>

namespace
{

constexpr int bytesPerSample = 2;

} // namespace

PlaybackQueue::PlaybackQueue() = default;
PlaybackQueue::~PlaybackQueue() = default;

void PlaybackQueue::begin(int endpointChannels, int endpointSampleRate)
{
    const QMutexLocker locker(&audioDataMutex);
    channels = endpointChannels;
    sampleRate = endpointSampleRate;
    audioData.clear();
    isPlaying = true;
}

void PlaybackQueue::end()
{
    const QMutexLocker locker(&audioDataMutex);
    isPlaying = false;
    audioData.clear();
}

void PlaybackQueue::clear()
{
    const QMutexLocker locker(&audioDataMutex);
    audioData.clear();
}

void PlaybackQueue::push(QByteArray block, int blockRate, int blockChannels, int deviceType)
{
    const QMutexLocker locker(&audioDataMutex);
    if (!isPlaying)
        return;
    if (blockRate != sampleRate || blockChannels != channels) {
        if (resamplerPending)
            makeResampler(blockRate, blockChannels, deviceType);
        if (resampler) {
            int samples = 0;
            block = resampler->resample(block, samples);
        }
    }
    // Never by sharing the block: the endpoint's thread would pay for the copy later.
    audioData.append(QByteArrayView(block));
}

void PlaybackQueue::makeResampler(int blockRate, int blockChannels, int deviceType)
{
    resamplerPending = false;
    resampler = std::make_unique<AudioResampler>();
    if (!resampler->initialize(blockRate, AV_SAMPLE_FMT_S16, blockChannels, sampleRate,
                               AV_SAMPLE_FMT_S16, channels)) {
        qCritical() << "Failed to initialize resampler!" << deviceType;
        resampler.reset();
    }
}

PlaybackQueue::Taken PlaybackQueue::take(unsigned char *target, unsigned freeFrames, int limit,
                                         float volume)
{
    const QMutexLocker locker(&audioDataMutex);
    Taken taken{.frames = 0, .lengthBefore = audioData.size(), .trimmed = false};
    if (limit > 0 && audioData.size() > limit) {
        taken.trimmed = true;
        audioData.remove(0, audioData.size() - limit); // at any byte, not at a frame's border
    }

    const int blockAlign = bytesPerSample * channels;
    taken.frames =
        static_cast<unsigned>(std::min<qsizetype>(freeFrames, audioData.size() / blockAlign));
    if (taken.frames > 0) {
        applyGain(audioData.constData(), target, std::size_t(taken.frames) * channels, volume);
        audioData.remove(0, qsizetype(taken.frames) * blockAlign);
    }
    return taken;
}
