// Conversion between rates and channel counts, and its failures.
#include "engines/audioresampler.h"
#include "tests/support/logcapture.h"
#include "tests/unit/engines/swresamplefaults.h"

#include <QTest>
#include <QThread>

#include <cmath>
#include <numbers>

extern "C" {
#include <libavutil/mathematics.h>
}

using swresamplefaults::calls;
using swresamplefaults::failNext;

namespace
{

constexpr auto s16 = AV_SAMPLE_FMT_S16;

/// A sine of 440 Hz, interleaved.
QByteArray sine(int frames, int rate, int channels)
{
    QByteArray bytes;
    for (int frame = 0; frame < frames; ++frame) {
        const auto sample =
            static_cast<qint16>(12000 * std::sin(2 * std::numbers::pi * 440 * frame / rate));
        for (int channel = 0; channel < channels; ++channel)
            bytes.append(reinterpret_cast<const char *>(&sample), sizeof sample);
    }
    return bytes;
}

/// The room of the latest conversion, in samples per channel.
int lastRoom()
{
    const QStringList allocations = calls().filter("av_samples_alloc");
    return allocations.isEmpty() ? -1 : allocations.constLast().split(' ').value(2).toInt();
}

QByteArray resampleInBlocks(AudioResampler &resampler, const QByteArray &input, qsizetype blockSize)
{
    QByteArray output;
    for (qsizetype at = 0; at < input.size(); at += blockSize) {
        int samples = -1;
        output += resampler.resample(input.mid(at, blockSize), samples);
    }
    return output;
}

} // namespace

class TestAudioResampler : public QObject
{
    Q_OBJECT

private slots:
    void init() { swresamplefaults::reset(); }

    void notInitialized();
    void optionsInOrder();
    void allocationFails();
    void emptyInputLeavesConverterAlone();
    void tailIsIgnored();
    void sameFormatIsIdentity();
    void monoToStereo();
    void roomIsRoundedUp();
    void heldSamplesHaveRoom();
    void blocksJoinWithoutGap();
    void initializeDropsHeldSamples();
    void cleanupEndsConversion();
    void outputAllocationFails();
    void inputBelowOneFrame();
    void conversionFails();
    void twoThreads();
};

void TestAudioResampler::notInitialized()
{
    AudioResampler resampler;
    int samples = 7;
    QVERIFY(resampler.resample(QByteArray(400, 'x'), samples).isEmpty());
    QCOMPARE(samples, 0);
    QVERIFY(calls().isEmpty());
}

void TestAudioResampler::optionsInOrder()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 1, 48000, AV_SAMPLE_FMT_FLT, 6));
    QCOMPARE(calls(), QStringList({
                          "swr_alloc",
                          "av_opt_set_chlayout in_chlayout 1 0",
                          "av_opt_set_int in_sample_rate 44100 0",
                          "av_opt_set_sample_fmt in_sample_fmt 1 0",
                          "av_opt_set_chlayout out_chlayout 6 0",
                          "av_opt_set_int out_sample_rate 48000 0",
                          "av_opt_set_sample_fmt out_sample_fmt 3 0",
                          "swr_init",
                      }));
}

void TestAudioResampler::allocationFails()
{
    LogCapture log;
    AudioResampler resampler;
    failNext("swr_alloc");
    QVERIFY(!resampler.initialize(44100, s16, 2, 48000, s16, 2));
    QCOMPARE(log.take(), QStringList("Critical: Failed to allocate SwrContext!"));

    int samples = 7;
    QVERIFY(resampler.resample(sine(100, 44100, 2), samples).isEmpty());
    QCOMPARE(samples, 0);

    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    QVERIFY(!resampler.resample(sine(4410, 44100, 2), samples).isEmpty());
}

void TestAudioResampler::emptyInputLeavesConverterAlone()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    swresamplefaults::reset();
    int samples = 7;
    QVERIFY(resampler.resample(QByteArray(), samples).isEmpty());
    QCOMPARE(samples, 0);
    QVERIFY(calls().isEmpty());
}

void TestAudioResampler::tailIsIgnored()
{
    AudioResampler whole;
    AudioResampler tailed;
    QVERIFY(whole.initialize(48000, s16, 2, 48000, s16, 2));
    QVERIFY(tailed.initialize(48000, s16, 2, 48000, s16, 2));
    const QByteArray input = sine(100, 48000, 2);
    int wholeSamples = 0;
    int tailedSamples = 0;
    QCOMPARE(tailed.resample(input + "abc", tailedSamples), whole.resample(input, wholeSamples));
    QCOMPARE(tailedSamples, wholeSamples);
    QCOMPARE(tailedSamples, 100);
}

void TestAudioResampler::sameFormatIsIdentity()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(48000, s16, 2, 48000, s16, 2));
    const QByteArray input = sine(4800, 48000, 2);
    const QByteArray output = resampleInBlocks(resampler, input, 1920);
    QVERIFY(!output.isEmpty());
    QVERIFY(input.startsWith(output));
    // What a converter between equal rates may hold back is far below a period.
    QVERIFY(input.size() - output.size() < 1920);
}

void TestAudioResampler::monoToStereo()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 1, 48000, s16, 2));
    int total = 0;
    for (int block = 0; block < 10; ++block) {
        swresamplefaults::reset();
        int samples = 0;
        const QByteArray output = resampler.resample(sine(441, 44100, 1), samples);
        QVERIFY(samples > 0);
        QCOMPARE(output.size(), qsizetype(samples) * 4);

        // The room asked for is the rounded-up length of the held samples and this block.
        const QString allocation = calls().filter("av_samples_alloc").value(0);
        const int room = allocation.split(' ').value(2).toInt();
        QCOMPARE(allocation, QString("av_samples_alloc_array_and_samples 2 %1 1 0").arg(room));
        QVERIFY(samples <= room);
        if (block == 0)
            QCOMPARE(room, int(av_rescale_rnd(441, 48000, 44100, AV_ROUND_UP)));

        const auto *stereo = reinterpret_cast<const qint16 *>(output.constData());
        for (int i = 0; i < samples; ++i)
            QCOMPARE(stereo[2 * i], stereo[2 * i + 1]);
        total += samples;
    }
    QVERIFY2(total <= 4800 && total > 4700, qPrintable(QString::number(total)));
}

void TestAudioResampler::roomIsRoundedUp()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    int samples = 0;
    (void)resampler.resample(sine(100, 44100, 2), samples);
    QCOMPARE(lastRoom(), 109); // 108.84
}

void TestAudioResampler::heldSamplesHaveRoom()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    int samples = 0;
    (void)resampler.resample(sine(441, 44100, 2), samples);
    // What the converter kept back of 480 counts for the next block.
    const int heldBack = 480 - samples;
    QVERIFY(heldBack > 0);
    (void)resampler.resample(sine(441, 44100, 2), samples);
    QVERIFY2(lastRoom() >= 480 + heldBack, qPrintable(QString::number(lastRoom())));
}

void TestAudioResampler::blocksJoinWithoutGap()
{
    const QByteArray input = sine(44100, 44100, 2);
    AudioResampler atOnce;
    AudioResampler inBlocks;
    QVERIFY(atOnce.initialize(44100, s16, 2, 48000, s16, 2));
    QVERIFY(inBlocks.initialize(44100, s16, 2, 48000, s16, 2));
    int samples = 0;
    const QByteArray expected = atOnce.resample(input, samples);
    const QByteArray joined = resampleInBlocks(inBlocks, input, 441 * 4);
    QVERIFY(joined.size() > 47800 * 4);
    const qsizetype common = std::min(expected.size(), joined.size());
    const auto *left = reinterpret_cast<const qint16 *>(expected.constData());
    const auto *right = reinterpret_cast<const qint16 *>(joined.constData());
    for (qsizetype i = 0; i < common / 2; ++i)
        QVERIFY2(std::abs(left[i] - right[i]) <= 1, qPrintable(QString("sample %1").arg(i)));
}

void TestAudioResampler::initializeDropsHeldSamples()
{
    AudioResampler used;
    AudioResampler fresh;
    QVERIFY(used.initialize(44100, s16, 2, 48000, s16, 2));
    int samples = 0;
    const QByteArray loud = sine(441, 44100, 2);
    (void)used.resample(loud, samples);
    swresamplefaults::reset();
    QVERIFY(used.initialize(44100, s16, 2, 48000, s16, 2));
    QCOMPARE(calls().value(0), "swr_free");
    QVERIFY(fresh.initialize(44100, s16, 2, 48000, s16, 2));
    QCOMPARE(used.resample(loud, samples), fresh.resample(loud, samples));
}

void TestAudioResampler::cleanupEndsConversion()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    resampler.cleanup();
    resampler.cleanup();
    int samples = 7;
    QVERIFY(resampler.resample(sine(441, 44100, 2), samples).isEmpty());
    QCOMPARE(samples, 0);
    QCOMPARE(calls().count("swr_free"), 1);
}

void TestAudioResampler::outputAllocationFails()
{
    LogCapture log;
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    failNext("av_samples_alloc_array_and_samples");
    int samples = 7;
    QVERIFY(resampler.resample(sine(441, 44100, 2), samples).isEmpty());
    QCOMPARE(samples, 0);
    QCOMPARE(log.take(), QStringList("Critical: Failed to allocate output samples!"));
    QVERIFY(!calls().contains("swr_convert"));
    QVERIFY(!resampler.resample(sine(4410, 44100, 2), samples).isEmpty());
}

void TestAudioResampler::inputBelowOneFrame()
{
    // No frame in, none held: no room can be allocated for nothing.
    LogCapture log;
    AudioResampler resampler;
    QVERIFY(resampler.initialize(48000, s16, 2, 48000, s16, 2));
    int samples = 7;
    QVERIFY(resampler.resample("abc", samples).isEmpty());
    QCOMPARE(samples, 0);
    QCOMPARE(log.take(), QStringList("Critical: Failed to allocate output samples!"));
}

void TestAudioResampler::conversionFails()
{
    LogCapture log;
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    failNext("swr_convert", -22);
    int samples = 7;
    QVERIFY(resampler.resample(sine(441, 44100, 2), samples).isEmpty());
    QCOMPARE(samples, -22);
    QCOMPARE(log.take(), QStringList("Critical: Error while converting!"));
}

void TestAudioResampler::twoThreads()
{
    AudioResampler resampler;
    QVERIFY(resampler.initialize(44100, s16, 2, 48000, s16, 2));
    const auto work = [&resampler] {
        for (int i = 0; i < 50; ++i) {
            int samples = 0;
            (void)resampler.resample(sine(441, 44100, 2), samples);
            if (i % 10 == 9)
                (void)resampler.initialize(44100, s16, 2, 48000, s16, 2);
        }
    };
    const std::unique_ptr<QThread> other(QThread::create(work));
    other->start();
    work();
    QVERIFY(other->wait());
    int samples = 0;
    QVERIFY(!resampler.resample(sine(4410, 44100, 2), samples).isEmpty());
}

QTEST_GUILESS_MAIN(TestAudioResampler)
#include "tst_audioresampler.moc"
