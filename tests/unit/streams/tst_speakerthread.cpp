// The read loop of a virtual speaker and where its blocks go.
#include "engines/wasapiaudioplayer.h"
#include "speakerbench.h"
#include "streams/tavorigetspeakerdatathread.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

class TestSpeakerThread : public QObject
{
    Q_OBJECT

private slots:
    void everyReadCarriesAClearedRequest();
    void aBlockArrivesAsTheDriverGaveIt();
    void aBlockThatIsNoWholeFrameGoesOut();
    void aReadOfNothingIsSilentInTheLog();
    void aFailedReadIsLoggedEachTimeAndTriedAgain();
    void aReadWithoutSoundIsFollowedByAPause_data();
    void aReadWithoutSoundIsFollowedByAPause();
    void theThreadAsksForRealTimeScheduling();
    void aThreadWithoutAHandleSaysSoAndEnds();
    void aThreadThatWasNeverStartedReadsNothing();
    void theThreadLogsItsBeginAndEnd();

    void blocksFollowTheControlMode_data();
    void blocksFollowTheControlMode();
    void aChangeOfModeIsFollowedWhileRunning();
    void nothingIsPlayedWhileTheControlModeChanges();
    void theModeSetBeforeTheOpenIsHandedOver();
    void aMutedAudioOutputStillReceivesBlocks();
    void playersOfTheThreadLiveUntilItsEnd();
};

void TestSpeakerThread::everyReadCarriesAClearedRequest()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.deliver(QByteArray(19200, '\xee')));
    bench.device->closeDevice();
    const auto requests = simulated::readRequests(bench.suffix);
    QVERIFY(requests.size() >= 2);
    for (const auto &request : requests) {
        QCOMPARE(request.length, 19200u);
        QCOMPARE(request.head, QByteArray("\x06\x00\x01", 3) + QByteArray(13, 0));
        QVERIFY(request.restIsZero);
    }
}

void TestSpeakerThread::aBlockArrivesAsTheDriverGaveIt()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    // From offset 0 on, the place of the request's bytes.
    const QByteArray block = tone(1) + tone(2) + tone(3);
    QVERIFY(bench.deliver(block));
    QCOMPARE(SpeakerBench::hear(stream, block.size()), block);
}

void TestSpeakerThread::aBlockThatIsNoWholeFrameGoesOut()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    QVERIFY(bench.deliver("\x01\x02\x03\x04\x05\x06\x07"));
    QVERIFY(bench.deliver("\x08"));
    QCOMPARE(SpeakerBench::hear(stream, 8), QByteArray("\x01\x02\x03\x04\x05\x06\x07\x08"));
}

void TestSpeakerThread::aReadOfNothingIsSilentInTheLog()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    QVERIFY(bench.nextReadBegins());
    bench.log.clear();
    for (int i = 0; i < 5; ++i)
        QVERIFY(bench.deliver(QByteArray()));
    QCOMPARE(bench.log.take(), QStringList());

    QVERIFY(bench.deliver(tone(4)));
    QCOMPARE(SpeakerBench::hear(stream, tone(4).size()), tone(4));
}

void TestSpeakerThread::aFailedReadIsLoggedEachTimeAndTriedAgain()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    QVERIFY(bench.nextReadBegins());
    bench.log.clear();
    simulated::failNext("ReadFile", ERROR_ACCESS_DENIED, 5);
    QVERIFY(simulated::waitForCalls("ReadFile", simulated::countCalls("ReadFile") + 7));
    QCOMPARE(bench.log.take(), QStringList(5, "Critical: Can't read data from driver!"));

    QVERIFY(bench.deliver(tone(5)));
    QCOMPARE(SpeakerBench::hear(stream, tone(5).size()), tone(5));
}

void TestSpeakerThread::aReadWithoutSoundIsFollowedByAPause_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("failed") << true;
    QTest::newRow("empty") << false;
}

void TestSpeakerThread::aReadWithoutSoundIsFollowedByAPause()
{
    QFETCH(const bool, fails);
    constexpr int reads = 200;
    SpeakerBench bench;
    if (fails)
        simulated::failAlways("ReadFile", ERROR_ACCESS_DENIED);
    for (int block = 0; block < reads; ++block)
        simulated::queueAudio(bench.suffix, {});
    QElapsedTimer timer;
    timer.start();
    QVERIFY(bench.open());
    QVERIFY(simulated::waitForCalls("ReadFile " + bench.suffix, reads, 30000));
    // A millisecond at least between two of them: a dead driver must not cost a processor.
    QVERIFY2(timer.elapsed() >= reads - 1, qPrintable(QString::number(timer.elapsed())));
}

void TestSpeakerThread::theThreadAsksForRealTimeScheduling()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    QCOMPARE(simulated::countCalls("requestRealtimeScheduling paced"), 1);
}

void TestSpeakerThread::aThreadWithoutAHandleSaysSoAndEnds()
{
    simulated::reset();
    LogCapture log;
    tavoriGetSpeakerDataThread thread;
    thread.setDevice(INVALID_HANDLE_VALUE, tavoriMedia);
    QSignalSpy notOpen(&thread, &tavoriGetSpeakerDataThread::sigDeviceNotOpen);
    thread.setStopped(false);
    thread.start();
    QVERIFY(thread.wait(10000));
    QTRY_COMPARE(notOpen.count(), 1);
    const QStringList expected{
        "Info: tavoriGetSpeakerDataThread::run 7 - begin",
        "Critical: Device is not open: 7",
        "Info: tavoriGetSpeakerDataThread::run 7 - end",
    };
    QCOMPARE(log.lines(), expected);
    QCOMPARE(simulated::countCalls("ReadFile"), 0);
}

void TestSpeakerThread::aThreadThatWasNeverStartedReadsNothing()
{
    simulated::reset();
    LogCapture log;
    tavoriGetSpeakerDataThread thread;
    QVERIFY(thread.isStopped());
    thread.start(); // its stop flag is still set
    QVERIFY(thread.wait(10000));
    const QStringList expected{
        "Info: tavoriGetSpeakerDataThread::run 0 - begin",
        "Info: tavoriGetSpeakerDataThread::run 0 - end",
    };
    QCOMPARE(log.lines(), expected);
}

void TestSpeakerThread::theThreadLogsItsBeginAndEnd()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    QVERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - begin"));
    QVERIFY(!bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
    bench.device->closeDevice();
    QTRY_VERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
}

void TestSpeakerThread::blocksFollowTheControlMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("addPersonal");
    QTest::addColumn<bool>("personalMute");
    QTest::addColumn<bool>("addStreaming");
    QTest::addColumn<bool>("streamingMute");
    QTest::addColumn<bool>("toAudio");
    QTest::addColumn<bool>("toPersonal");
    QTest::addColumn<bool>("toStreaming");

    const auto row = [](const char *name, int mode, bool addPersonal, bool personalMute,
                        bool addStreaming, bool streamingMute, const char *heardBy) {
        const QByteArray who(heardBy);
        QTest::newRow(name) << mode << addPersonal << personalMute << addStreaming << streamingMute
                            << who.contains('A') << who.contains('P') << who.contains('S');
    };
    row("normal", NormalMode, true, false, true, false, "A");
    row("normal, no synthesizer", NormalMode, false, false, false, false, "A");
    row("streamer, both", StreamerMode, true, false, true, false, "PS");
    row("streamer, personal", StreamerMode, true, false, false, false, "P");
    row("streamer, streaming", StreamerMode, false, false, true, false, "S");
    row("streamer, none", StreamerMode, false, false, false, false, "");
    row("streamer, personal muted", StreamerMode, true, true, true, false, "S");
    row("streamer, streaming muted", StreamerMode, true, false, true, true, "P");
    row("streamer, both muted", StreamerMode, true, true, true, true, "");
    row("unknown mode", 7, true, false, true, false, "");
}

void TestSpeakerThread::blocksFollowTheControlMode()
{
    QFETCH(int, mode);
    QFETCH(bool, addPersonal);
    QFETCH(bool, personalMute);
    QFETCH(bool, addStreaming);
    QFETCH(bool, streamingMute);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto audio = bench.initAudioOutput();
    const auto personal = bench.initPersonalOutput();
    const auto streaming = bench.initStreamingOutput();
    QVERIFY(audio && personal && streaming);

    bench.device->addPersonalSynthesizer(addPersonal);
    bench.device->setPersonalMute(personalMute);
    bench.device->addStreamingSynthesizer(addStreaming);
    bench.device->setStreamingMute(streamingMute);
    bench.device->setControlMode(tavoriSoftwareMode(mode), false);
    QVERIFY(bench.deliver(tone(1)));

    // Another block goes to everybody: what stands before it in an output tells about the first.
    bench.device->setPersonalMute(false);
    bench.device->setStreamingMute(false);
    bench.device->addPersonalSynthesizer(true);
    bench.device->addStreamingSynthesizer(true);
    bench.device->setControlMode(NormalMode, false);
    QVERIFY(bench.deliver(tone(2)));
    bench.device->setControlMode(StreamerMode, false);
    QVERIFY(bench.deliver(tone(2)));

    QFETCH(bool, toAudio);
    QFETCH(bool, toPersonal);
    QFETCH(bool, toStreaming);
    const auto expected = [](bool first) { return first ? tone(1) + tone(2) : tone(2); };
    QCOMPARE(SpeakerBench::hear(audio, expected(toAudio).size()), expected(toAudio));
    QCOMPARE(SpeakerBench::hear(personal, expected(toPersonal).size()), expected(toPersonal));
    QCOMPARE(SpeakerBench::hear(streaming, expected(toStreaming).size()), expected(toStreaming));
}

void TestSpeakerThread::aChangeOfModeIsFollowedWhileRunning()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto audio = bench.initAudioOutput();
    const auto personal = bench.initPersonalOutput();
    QVERIFY(audio && personal);
    QVERIFY(bench.deliver(tone(1)));
    bench.device->setControlMode(StreamerMode, false);
    QVERIFY(bench.deliver(tone(2)));
    bench.device->setControlMode(NormalMode, false);
    QVERIFY(bench.deliver(tone(3)));
    QCOMPARE(SpeakerBench::hear(audio, 64), tone(1) + tone(3));
    QCOMPARE(SpeakerBench::hear(personal, 32), tone(2));
}

void TestSpeakerThread::nothingIsPlayedWhileTheControlModeChanges()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto audio = bench.initAudioOutput();
    const auto personal = bench.initPersonalOutput();
    QVERIFY(audio && personal);
    bench.device->setControlMode(NormalMode, true);
    QVERIFY(bench.deliver(tone(1)));
    bench.device->setControlMode(StreamerMode, true);
    QVERIFY(bench.deliver(tone(1)));
    bench.device->finishControlMode();
    QVERIFY(bench.deliver(tone(2)));
    bench.device->setControlMode(NormalMode, false);
    QVERIFY(bench.deliver(tone(3)));
    QCOMPARE(SpeakerBench::hear(personal, 32), tone(2));
    QCOMPARE(SpeakerBench::hear(audio, 32), tone(3));
}

void TestSpeakerThread::theModeSetBeforeTheOpenIsHandedOver()
{
    SpeakerBench bench;
    bench.device->setControlMode(StreamerMode, true);
    bench.device->addStreamingSynthesizer(true);
    QVERIFY(bench.open());
    const auto audio = bench.initAudioOutput();
    const auto personal = bench.initPersonalOutput();
    const auto streaming = bench.initStreamingOutput();
    QVERIFY(audio && personal && streaming);
    QVERIFY(bench.deliver(tone(1)));
    bench.device->finishControlMode();
    QVERIFY(bench.deliver(tone(2)));
    QCOMPARE(SpeakerBench::hear(personal, 32), tone(2));
    QCOMPARE(SpeakerBench::hear(streaming, 32), tone(2));

    // Finished for the device as well: the next open withholds nothing.
    QVERIFY(bench.open());
    QVERIFY(bench.deliver(tone(3)));
    QCOMPARE(SpeakerBench::hear(streaming, 32), tone(3));
    bench.device->setControlMode(NormalMode, false);
    QVERIFY(bench.deliver(tone(4)));
    QCOMPARE(SpeakerBench::hear(audio, 32), tone(4));
}

void TestSpeakerThread::aMutedAudioOutputStillReceivesBlocks()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    bench.device->setOutputLevel(bench.ownID, true, 100);
    QVERIFY(bench.deliver(tone(1)));
    // Played as samples of no height, which is not the silence of an empty queue.
    QCOMPARE(SpeakerBench::hear(stream, 32), QByteArray(32, 0));
}

void TestSpeakerThread::playersOfTheThreadLiveUntilItsEnd()
{
    simulated::reset();
    QWeakPointer<WASAPIAudioPlayer> watched;
    tavoriGetSpeakerDataThread thread;
    {
        auto player = WASAPIAudioPlayer::create();
        watched = player;
        thread.setAudioOutput(player);
        thread.setAudioOutput({});
    }
    QVERIFY(watched); // a block may still be on its way to it
    thread.releaseOutputs();
    QVERIFY(!watched);
}

QTEST_GUILESS_MAIN(TestSpeakerThread)
#include "tst_speakerthread.moc"
