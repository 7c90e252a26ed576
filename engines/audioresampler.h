// Conversion of packed PCM between rates, channel counts and sample formats.
#pragma once

#include <QByteArray>
#include <QMutex>
#include <QObject>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

struct SwrContext;

/// Converts a stream block by block and keeps the converter's state between calls, so that it
/// has no gaps at block borders. Any thread may call; calls run one after another.
class AudioResampler : public QObject
{
    Q_OBJECT

public:
    AudioResampler();
    ~AudioResampler() override;

    /// Makes a converter; an old one goes, with the samples that it holds. Rates in Hz. False
    /// when no converter could be allocated. Never returns if the library refuses the
    /// parameters: that path waits for a lock that the call itself holds.
    [[nodiscard]] bool initialize(int inSampleRate, AVSampleFormat inSampleFormat, int inChannels,
                                  int outSampleRate, AVSampleFormat outSampleFormat,
                                  int outChannels);

    /// Converts one block of whole frames; a tail shorter than a frame is ignored. `outSamples`
    /// becomes the count of samples per channel, or the library's negative code on failure, when
    /// the result is empty. Packed output formats only.
    [[nodiscard]] QByteArray resample(const QByteArray &input, int &outSamples);

    /// Frees the converter; the stored rates and formats keep their values.
    void cleanup();

private:
    SwrContext *swrContext = nullptr; ///< null means not initialized
    int inSampleRate = 0;
    AVSampleFormat inSampleFormat = AV_SAMPLE_FMT_NONE;
    int inChannels = 0;
    int outSampleRate = 0;
    AVSampleFormat outSampleFormat = AV_SAMPLE_FMT_NONE;
    int outChannels = 0;
    AVChannelLayout inChannelLayout{};
    AVChannelLayout outChannelLayout{};
    QMutex mutex;
};
