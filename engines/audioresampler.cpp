#include "engines/audioresampler.h"

#include <QDebug>

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace
{

/// The plane table that the library allocates for packed output; frees both parts.
class OutputPlanes
{
public:
    OutputPlanes() = default;
    ~OutputPlanes()
    {
        if (table)
            av_freep(&table[0]);
        av_freep(&table);
    }
    Q_DISABLE_COPY_MOVE(OutputPlanes)

    /// Negative on failure.
    [[nodiscard]] int allocate(int channels, int samples, AVSampleFormat format)
    {
        int lineSize = 0;
        return av_samples_alloc_array_and_samples(&table, &lineSize, channels, samples, format, 0);
    }
    [[nodiscard]] uint8_t **planes() { return table; }

private:
    uint8_t **table = nullptr;
};

} // namespace

AudioResampler::AudioResampler()
{
    av_channel_layout_default(&inChannelLayout, 2);
    av_channel_layout_default(&outChannelLayout, 2);
}

AudioResampler::~AudioResampler()
{
    cleanup();
}

bool AudioResampler::initialize(int inRate, AVSampleFormat inFormat, int inCount, int outRate,
                                AVSampleFormat outFormat, int outCount)
{
    cleanup();

    const QMutexLocker locker(&mutex);
    inSampleRate = inRate;
    inSampleFormat = inFormat;
    inChannels = inCount;
    outSampleRate = outRate;
    outSampleFormat = outFormat;
    outChannels = outCount;
    av_channel_layout_default(&inChannelLayout, inChannels);
    av_channel_layout_default(&outChannelLayout, outChannels);

    swrContext = swr_alloc();
    if (!swrContext) {
        qCritical() << "Failed to allocate SwrContext!";
        return false;
    }
    av_opt_set_chlayout(swrContext, "in_chlayout", &inChannelLayout, 0);
    av_opt_set_int(swrContext, "in_sample_rate", inSampleRate, 0);
    av_opt_set_sample_fmt(swrContext, "in_sample_fmt", inSampleFormat, 0);
    av_opt_set_chlayout(swrContext, "out_chlayout", &outChannelLayout, 0);
    av_opt_set_int(swrContext, "out_sample_rate", outSampleRate, 0);
    av_opt_set_sample_fmt(swrContext, "out_sample_fmt", outSampleFormat, 0);

    const int code = swr_init(swrContext);
    if (code < 0) {
        qCritical() << "Failed to initialize SwrContext!" << code;
        cleanup(); // takes the lock that this call holds: the thread stays here for good
        return false;
    }
    return true;
}

QByteArray AudioResampler::resample(const QByteArray &input, int &outSamples)
{
    const QMutexLocker locker(&mutex);
    outSamples = 0;
    if (!swrContext || input.isEmpty())
        return {};

    const qsizetype frameBytes = qsizetype(av_get_bytes_per_sample(inSampleFormat)) * inChannels;
    const int inFrames = static_cast<int>(input.size() / frameBytes);
    // What the converter still holds from earlier blocks comes out too.
    const int64_t outCapacity = av_rescale_rnd(swr_get_delay(swrContext, inSampleRate) + inFrames,
                                               outSampleRate, inSampleRate, AV_ROUND_UP);

    OutputPlanes output;
    if (output.allocate(outChannels, static_cast<int>(outCapacity), outSampleFormat) < 0) {
        qCritical() << "Failed to allocate output samples!";
        return {};
    }
    const auto *inputPlane = reinterpret_cast<const uint8_t *>(input.constData());
    outSamples = swr_convert(swrContext, output.planes(), static_cast<int>(outCapacity),
                             &inputPlane, inFrames);
    if (outSamples < 0) {
        qCritical() << "Error while converting!";
        return {};
    }
    return {reinterpret_cast<const char *>(output.planes()[0]),
            qsizetype(outSamples) * outChannels * av_get_bytes_per_sample(outSampleFormat)};
}

void AudioResampler::cleanup()
{
    const QMutexLocker locker(&mutex);
    swr_free(&swrContext);
    av_channel_layout_uninit(&inChannelLayout);
    av_channel_layout_uninit(&outChannelLayout);
}
