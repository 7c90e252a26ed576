// The play thread: what it writes to the endpoint at each period, and how it ends.
#include "tests/unit/engines/playerfixture.h"
#include "tests/unit/engines/swresamplefaults.h"

#include <QPointer>
#include <QSemaphore>

using namespace playerfixture;

namespace
{

const QString trimWords = QStringLiteral("Info: 等待发送的数据长度大于限制长度： ");
const QString endWords = QStringLiteral(R"(Info: WASAPIAudioPlayer play audio - end 6 "Headset")");

bool waitForLine(const LogCapture &log, const QString &line)
{
    return QTest::qWaitFor([&] { return log.lines().contains(line); });
}

} // namespace

class TestRenderLoop : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { player.reset(); }

    void silenceWhileEmpty();
    void fullBufferReleasesNothing();
    void playsWhatIsQueued();
    void queuedCallPlays();
    void limits_data();
    void limits();
    void longQueueIsTrimmed();
    void driverBlockIsCut();
    void noLimitNeverTrims();
    void trimIgnoresFrameBorders();
    void lessThanAFrameIsKept();
    void gain_data();
    void gain();
    void gainChangesBetweenPeriods();
    void clearedQueue();
    void droppedBeforeTheFirstOpen();
    void droppedWhileClosed();
    void droppedBeforeThreadIsReady();
    void emptyBlock();
    void queueDoesNotOutliveClose();
    void startAndStopEvents();
    void failedWaitCountsAsPeriod();
    void eachCallFails_data();
    void eachCallFails();
    void endpointVanishes();
    void otherRateIsResampled();
    void otherChannelsAreResampled();
    void resamplerKeepsFirstParameters();
    void reopenMakesNewResampler();
    void matchingBlockBypassesResampler();
    void noResampler();
    void destroyedWhileItsWorkerIsSlow();

private:
    /// Opens `player` on `endpoint` with these mix format values.
    void openWith(WORD channels, DWORD rate, int duration = longestQueueMs);

    QString endpoint;
    QSharedPointer<WASAPIAudioPlayer> player;
    simulated::RenderStream stream;
};

void TestRenderLoop::init()
{
    simulated::reset();
    swresamplefaults::reset();
    endpoint = simulated::addEndpoint({.name = "Headset", .bufferFrames = 6000});
    player = makePlayer();
    stream = openPlaying(*player, endpoint);
    QVERIFY(stream);
}

void TestRenderLoop::openWith(WORD channels, DWORD rate, int duration)
{
    player->setMaximumAudioDataDuration(duration);
    simulated::setMixFormat(endpoint, channels, rate);
    stream = openPlaying(*player, endpoint);
    QVERIFY(stream);
}

void TestRenderLoop::silenceWhileEmpty()
{
    for (int period = 0; period < 3; ++period) {
        stream.turn(480);
        const auto buffer = stream.releasedBuffers().value(period);
        QCOMPARE(buffer.frames, period == 0 ? 6000u : 480u);
        QCOMPARE(buffer.flags, DWORD(AUDCLNT_BUFFERFLAGS_SILENT));
    }
}

void TestRenderLoop::fullBufferReleasesNothing()
{
    stream.turn(0);
    QCOMPARE(stream.padding(), 6000u);
    simulated::clearCalls();
    player->play(pattern(400), 48000, 2);
    stream.turn(0);
    QCOMPARE(simulated::countCalls("IAudioRenderClient::ReleaseBuffer 0 0"), 1);
    QCOMPARE(simulated::countCalls("IAudioRenderClient::GetBuffer"), 0);
    stream.turn(480);
    QCOMPARE(soundOf(stream), pattern(400));
}

void TestRenderLoop::playsWhatIsQueued()
{
    player->play(pattern(1920), 48000, 2);
    stream.turn(0);
    const auto buffer = stream.releasedBuffers().value(0);
    QCOMPARE(buffer.frames, 480u);
    QCOMPARE(buffer.flags, DWORD(0));
    QCOMPARE(buffer.data, pattern(1920));

    // More than is free goes in parts, in order.
    stream.clearReleasedBuffers();
    stream.turn(0); // the rest of the buffer, silent
    stream.clearReleasedBuffers();
    player->play(pattern(4000), 48000, 2);
    for (int period = 0; period < 10; ++period)
        stream.turn(100);
    QCOMPARE(soundOf(stream), pattern(4000));
    QCOMPARE(stream.releasedBuffers().value(0).frames, 100u);
}

void TestRenderLoop::queuedCallPlays()
{
    QMetaObject::invokeMethod(player.get(), "play", Qt::QueuedConnection,
                              Q_ARG(QByteArray, pattern(1920)), Q_ARG(int, 48000), Q_ARG(int, 2));
    QVERIFY(QTest::qWaitFor([this] {
        stream.turn(480);
        return !soundOf(stream).isEmpty();
    }));
    QCOMPARE(soundOf(stream), pattern(1920));
}

void TestRenderLoop::limits_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("duration");
    QTest::addColumn<int>("limit");

    QTest::newRow("48000 Hz") << 2 << 48000 << 60 << 11520;
    QTest::newRow("44100 Hz") << 2 << 44100 << 60 << 10584;
    QTest::newRow("six channels") << 6 << 48000 << 60 << 34560;
    QTest::newRow("mono 8000 Hz, 1 ms") << 1 << 8000 << 1 << 16;
    QTest::newRow("a part of a byte is cut off") << 1 << 11025 << 7 << 154;
    // In double precision these would be one byte less and one more.
    QTest::newRow("single precision, 71 ms") << 2 << 48000 << 71 << 13632;
    QTest::newRow("single precision, 83 ms") << 2 << 48000 << 83 << 15935;
    QTest::newRow("no duration") << 2 << 48000 << 0 << 0;
}

void TestRenderLoop::limits()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(int, duration);
    QFETCH(int, limit);
    const LogCapture log;
    openWith(static_cast<WORD>(channels), static_cast<DWORD>(rate), duration);
    QVERIFY(log.lines().contains(
        QString("Info: MaximumAudioDataLength: %1 %2").arg(limit).arg(duration)));

    // The limit itself passes; one byte more does not.
    if (limit == 0)
        return;
    player->play(pattern(limit), rate, channels);
    stream.turn(0);
    QCOMPARE(log.lines().filter(trimWords), QStringList());
    player->clearPlayBuffer();
    player->play(pattern(limit + 1), rate, channels);
    stream.turn(6000);
    QCOMPARE(log.lines().filter(trimWords),
             QStringList(trimWords + QString("%1 %2").arg(limit + 1).arg(limit)));
}

void TestRenderLoop::longQueueIsTrimmed()
{
    const LogCapture log;
    player->play(pattern(20000), 48000, 2);
    stream.turn(0);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(20000).mid(8480));
    QCOMPARE(log.lines().filter(trimWords), QStringList(trimWords + "20000 11520"));
}

void TestRenderLoop::driverBlockIsCut()
{
    // 100 ms at once: the newest 60 ms stay.
    player->play(pattern(19200), 48000, 2);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(19200).right(11520));
}

void TestRenderLoop::noLimitNeverTrims()
{
    openWith(2, 48000, 0);
    const LogCapture log;
    const QByteArray sound = pattern(200000);
    player->play(sound, 48000, 2);
    for (int period = 0; period < 20 && soundOf(stream).size() < sound.size(); ++period) {
        bool answered = false;
        stream.turn(6000, &answered);
        QVERIFY(answered);
    }
    QCOMPARE(soundOf(stream), sound);
    QCOMPARE(log.lines().filter(trimWords), QStringList());
}

void TestRenderLoop::trimIgnoresFrameBorders()
{
    const QByteArray sound = pattern(11523);
    player->play(sound, 48000, 2);
    stream.turn(0);
    QCOMPARE(soundOf(stream), sound.mid(3));
}

void TestRenderLoop::lessThanAFrameIsKept()
{
    const QByteArray frame = pattern(4);
    player->play(frame.left(3), 48000, 2);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
    player->play(frame.right(1), 48000, 2);
    stream.turn(480);
    QCOMPARE(stream.releasedBuffers().value(1).frames, 1u);
    QCOMPARE(soundOf(stream), frame);
}

void TestRenderLoop::gain_data()
{
    QTest::addColumn<float>("volume");
    QTest::addColumn<std::vector<qint16>>("expected");

    using Samples = std::vector<qint16>;
    QTest::newRow("full") << 1.0f << Samples{0, 1, -1, 7, -7, 32767, -32768, -32767};
    QTest::newRow("half") << 0.5f << Samples{0, 0, 0, 3, -3, 16383, -16384, -16383};
    QTest::newRow("a third") << 0.333188f << Samples{0, 0, 0, 2, -2, 10917, -10917, -10917};
    QTest::newRow("silence") << 0.0f << Samples{0, 0, 0, 0, 0, 0, 0, 0};
}

void TestRenderLoop::gain()
{
    QFETCH(float, volume);
    QFETCH(std::vector<qint16>, expected);
    player->setVolume(volume);
    player->play(fromSamples({0, 1, -1, 7, -7, 32767, -32768, -32767}), 48000, 2);
    stream.turn(0);
    // A gain of 0 is sound like any other: the buffer is not flagged.
    QCOMPARE(stream.releasedBuffers().value(0).flags, DWORD(0));
    QCOMPARE(toSamples(stream.releasedBuffers().value(0).data), expected);
}

void TestRenderLoop::gainChangesBetweenPeriods()
{
    player->play(fromSamples({100, -100}), 48000, 2);
    stream.turn(0);
    player->setVolume(0.5f);
    player->play(fromSamples({100, -100}), 48000, 2);
    stream.turn(0);
    QCOMPARE(toSamples(soundOf(stream)), std::vector<qint16>({100, -100, 50, -50}));
}

void TestRenderLoop::clearedQueue()
{
    player->play(pattern(1920), 48000, 2);
    player->clearPlayBuffer();
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
    player->play(pattern(1920), 48000, 2);
    stream.turn(480);
    QCOMPARE(soundOf(stream), pattern(1920));
}

void TestRenderLoop::droppedBeforeTheFirstOpen()
{
    player = makePlayer();
    player->play(pattern(1920), 48000, 2);
    stream = openPlaying(*player, endpoint);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
}

void TestRenderLoop::droppedWhileClosed()
{
    player->closeDevice();
    player->play(pattern(1920), 48000, 2);
    player->clearPlayBuffer();
    stream = openPlaying(*player, endpoint);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
}

void TestRenderLoop::droppedBeforeThreadIsReady()
{
    QSemaphore entered;
    QSemaphore leave;
    simulated::onCall("requestRealtimeScheduling paced", [&] {
        entered.release();
        leave.acquire();
    });
    player->openDevice(endpoint, "Headset");
    const bool started = entered.tryAcquire(1, 30000);
    player->play(pattern(1920), 48000, 2);
    player->play(pattern(441 * 2), 44100, 1);
    const QStringList resampling = swresamplefaults::calls();
    simulated::clearCalls();
    leave.release();
    QVERIFY(started);
    QVERIFY(simulated::waitForCall("WaitForMultipleObjects"));
    QCOMPARE(resampling, QStringList());
    stream = simulated::waitForRenderStream(endpoint);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
}

void TestRenderLoop::emptyBlock()
{
    // Of whatever format: it makes no resampler.
    player->play(QByteArray(), 44100, 1);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
    QVERIFY(!swresamplefaults::calls().contains("swr_alloc"));
}

void TestRenderLoop::queueDoesNotOutliveClose()
{
    player->play(pattern(1920), 48000, 2);
    stream = openPlaying(*player, endpoint);
    stream.turn(0);
    QVERIFY(stream.releasedBuffers().value(0).isSilent());
}

void TestRenderLoop::startAndStopEvents()
{
    // The second and the third of the player's four; nothing in the program signals them.
    const QList<HANDLE> events = simulated::openEvents();
    const HANDLE start = events.at(events.size() - 3);
    const HANDLE stop = events.at(events.size() - 2);
    const LogCapture log;
    SetEvent(start);
    QVERIFY(waitForLine(log, "Info: WASAPIAudioPlayer play audio - Start"));
    ResetEvent(start);
    SetEvent(stop);
    QVERIFY(waitForLine(log, "Info: WASAPIAudioPlayer play audio - Stop"));
    ResetEvent(stop);
    QVERIFY(stream.releasedBuffers().isEmpty());

    player->play(pattern(400), 48000, 2);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(400));
}

void TestRenderLoop::failedWaitCountsAsPeriod()
{
    player->play(pattern(400), 48000, 2);
    simulated::failNext("WaitForMultipleObjects", ERROR_INVALID_HANDLE);
    stream.turn(0);
    QVERIFY(QTest::qWaitFor([this] { return stream.releasedBuffers().size() == 2; }));
    QCOMPARE(soundOf(stream), pattern(400));
}

void TestRenderLoop::eachCallFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("words");
    QTest::addColumn<bool>("bufferFull");

    QTest::newRow("GetBufferSize") << "IAudioClient::GetBufferSize"
                                   << "GetBufferSize" << false;
    QTest::newRow("GetCurrentPadding") << "IAudioClient::GetCurrentPadding"
                                       << "GetCurrentPadding" << false;
    QTest::newRow("GetBuffer") << "IAudioRenderClient::GetBuffer"
                               << "GetBuffer" << false;
    QTest::newRow("ReleaseBuffer") << "IAudioRenderClient::ReleaseBuffer"
                                   << "ReleaseBuffer" << false;
    QTest::newRow("ReleaseBuffer of nothing") << "IAudioRenderClient::ReleaseBuffer 0 0"
                                              << "ReleaseBuffer" << true;
}

void TestRenderLoop::eachCallFails()
{
    QFETCH(QString, call);
    QFETCH(QString, words);
    QFETCH(bool, bufferFull);
    if (bufferFull)
        stream.turn(0);
    const LogCapture log;
    simulated::failNext(call, 0x88890004);
    stream.signalEvent();
    QVERIFY(waitForLine(log, endWords));
    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: WASAPIAudioPlayer play audio - Fail to " + words +
                         R"(: "-7776fffc")"));

    // Open and deaf: nothing restarts the thread, and blocks are lost without a word.
    simulated::clearCalls();
    player->play(pattern(1920), 48000, 2);
    player->play(pattern(441 * 2), 44100, 1);
    stream.signalEvent();
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(swresamplefaults::calls(), QStringList());
    QCOMPARE(player->deviceID(), endpoint);
    player->closeDevice();
    QCOMPARE(ownCalls().mid(0, 3),
             QStringList({"SetEvent event4", "IAudioClient::Stop", "IAudioClient::Stop"}));
    QCOMPARE(simulated::leakReport(), QString());

    stream = openPlaying(*player, endpoint);
    player->play(pattern(400), 48000, 2);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(400));
}

void TestRenderLoop::endpointVanishes()
{
    player->play(pattern(400), 48000, 2);
    stream.turn(0);
    const LogCapture log;
    simulated::removeEndpoint(endpoint);
    player->play(pattern(400), 48000, 2);
    stream.signalEvent();
    QVERIFY(waitForLine(log, endWords));
    QCOMPARE(log.linesOf("Critical").size(), 1);
    player->play(pattern(400), 48000, 2);
    player->closeDevice();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestRenderLoop::otherRateIsResampled()
{
    openWith(2, 44100);
    QVERIFY(!swresamplefaults::calls().contains("swr_alloc"));
    for (int block = 0; block < 5; ++block)
        player->play(pattern(1920), 48000, 2);
    QCOMPARE(swresamplefaults::calls().filter("swr_alloc").size(), 1);
    QVERIFY(swresamplefaults::calls().contains("av_opt_set_int in_sample_rate 48000 0"));
    QVERIFY(swresamplefaults::calls().contains("av_opt_set_int out_sample_rate 44100 0"));
    QCOMPARE(swresamplefaults::calls().count("swr_convert"), 5);
    stream.turn(0);
    // 50 ms, less what the converter holds back.
    const UINT32 frames = stream.releasedBuffers().value(0).frames;
    QVERIFY2(frames > 2150 && frames <= 2205, qPrintable(QString::number(frames)));
}

void TestRenderLoop::otherChannelsAreResampled()
{
    openWith(6, 48000);
    player->play(fromSamples({1000, 2000, 1000, 2000}), 48000, 2);
    QVERIFY(swresamplefaults::calls().contains("av_opt_set_chlayout out_chlayout 6 0"));
    stream.turn(0);
    QCOMPARE(stream.releasedBuffers().value(0).frames, 2u);
    // Left and right pass; what a stereo stream lacks is silent.
    QCOMPARE(toSamples(soundOf(stream)),
             std::vector<qint16>({1000, 2000, 0, 0, 0, 0, 1000, 2000, 0, 0, 0, 0}));
}

void TestRenderLoop::resamplerKeepsFirstParameters()
{
    player->play(pattern(441 * 2), 44100, 1);
    player->play(pattern(960 * 2), 96000, 1);
    QCOMPARE(swresamplefaults::calls().filter("swr_alloc").size(), 1);
    QCOMPARE(swresamplefaults::calls().filter("in_sample_rate"),
             QStringList("av_opt_set_int in_sample_rate 44100 0"));
    QCOMPARE(swresamplefaults::calls().count("swr_convert"), 2);
}

void TestRenderLoop::reopenMakesNewResampler()
{
    player->play(pattern(441 * 2), 44100, 1);
    stream = openPlaying(*player, endpoint);
    QCOMPARE(swresamplefaults::calls().count("swr_free"), 1);
    player->play(pattern(960 * 2), 96000, 1);
    QCOMPARE(swresamplefaults::calls().filter("in_sample_rate"),
             QStringList({"av_opt_set_int in_sample_rate 44100 0",
                          "av_opt_set_int in_sample_rate 96000 0"}));
}

void TestRenderLoop::matchingBlockBypassesResampler()
{
    player->play(pattern(441 * 2), 44100, 1);
    player->clearPlayBuffer();
    swresamplefaults::reset();
    player->play(pattern(1920), 48000, 2);
    QCOMPARE(swresamplefaults::calls(), QStringList());
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(1920));
}

void TestRenderLoop::noResampler()
{
    const LogCapture log;
    swresamplefaults::failNext("swr_alloc");
    player->play(pattern(800), 44100, 2);
    QCOMPARE(log.linesOf("Critical"), QStringList({
                                          "Critical: Failed to allocate SwrContext!",
                                          "Critical: Failed to initialize resampler! 6",
                                      }));
    // Asked for once; the raw bytes go on all the same.
    player->play(pattern(800), 44100, 2);
    QCOMPARE(swresamplefaults::calls().filter("swr_alloc").size(), 1);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(800) + pattern(800));
}

void TestRenderLoop::destroyedWhileItsWorkerIsSlow()
{
    QSemaphore entered;
    QSemaphore leave;
    swresamplefaults::onCall("swr_convert", [&] {
        entered.release();
        leave.acquire();
    });
    const QPointer<QThread> worker = player->thread();
    QMetaObject::invokeMethod(player.get(), "play", Qt::QueuedConnection,
                              Q_ARG(QByteArray, pattern(800)), Q_ARG(int, 44100), Q_ARG(int, 2));
    QVERIFY(entered.tryAcquire(1, 30000));

    // Neither thread ends within its wait: the play thread stands behind the worker's lock.
    player.reset();
    const bool bothWereLetGo = worker && worker->isRunning() && simulated::liveObjects() > 0;
    leave.release();
    QVERIFY(bothWereLetGo);
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }, 30000));
    QTRY_VERIFY_WITH_TIMEOUT(!worker, 30000);
}

QTEST_GUILESS_MAIN(TestRenderLoop)
#include "tst_renderloop.moc"
