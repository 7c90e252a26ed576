// The capturer's life: starts, stops, restarts, its end, and the ways back from failures.
#include "tests/unit/engines/capturetest.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTimer>

using namespace playerfixture;

class TestMicrophoneCapture : public CaptureTest
{
    Q_OBJECT

private slots:
    void startWhileCapturing();
    void stopIdle();
    void stopOnEndpoint();
    void restart();
    void otherCallFails_data();
    void otherCallFails();
    void eventsThatCannotBeClosed();
    void stopWithErrorTriesAgain();
    void threadThatIsNotToldEndsWithItsTimeOut();
    void stuckThreadEndsLater();
    void heldUpWorkerKeepsTheCapturer();
    void destroyedWhileCapturing();
    void emitsNothing();
};

void TestMicrophoneCapture::startWhileCapturing()
{
    QVERIFY(start());
    simulated::clearCalls();
    capturer->startCapture();
    QCOMPARE(ownCalls(), QStringList());
    QCOMPARE(simulated::captureStreams(microphone).size(), 1);
}

void TestMicrophoneCapture::stopIdle()
{
    const LogCapture log;
    simulated::clearCalls();
    capturer->stopCapture();
    QCOMPARE(log.lines(), QStringList({R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : begin)",
                                       R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : end)"}));
    QCOMPARE(simulated::calls(), QStringList());
}

void TestMicrophoneCapture::stopOnEndpoint()
{
    const auto stream = start();
    QVERIFY(stream);
    capturer->stopOnEndpoint("{0.0.1.00000000}.{another}");
    QVERIFY(stream.isOpen());
    capturer->stopOnEndpoint(microphone);
    QVERIFY(!stream.isOpen());
    QCOMPARE(capturer->deviceID(), microphone);
}

void TestMicrophoneCapture::restart()
{
    const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
    QVERIFY(start());
    QCOMPARE(capturer->restartCapture(other, "Other", 2), 0);
    QCOMPARE(capturer->deviceID(), other);
    QVERIFY(simulated::waitForCaptureStream(other));
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
}

void TestMicrophoneCapture::otherCallFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("captures"); // all the same

    QTest::newRow("CoInitializeEx") << "CoInitializeEx" << true;
    QTest::newRow("CoTaskMemAlloc") << "CoTaskMemAlloc" << true;
    QTest::newRow("WaitForMultipleObjects") << "WaitForMultipleObjects" << true;
    QTest::newRow("real-time scheduling") << "requestRealtimeScheduling" << true;
    QTest::newRow("Stop") << "IAudioClient::Stop" << true;
    QTest::newRow("audio event") << "CreateEventW auto" << false;
    QTest::newRow("quit event") << "CreateEventW manual" << true;
}

void TestMicrophoneCapture::otherCallFails()
{
    QFETCH(QString, call);
    QFETCH(bool, captures);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    simulated::failNext(call, refused);
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    auto stream = simulated::waitForCaptureStream(microphone);
    if (captures) {
        QVERIFY(stream);
        stream.pushPacket(pattern(960));
        QCOMPARE(listener.hear(960), pattern(960));
        listener.stream.clearReleasedBuffers();
    } else {
        QVERIFY(simulated::waitForCall("CoUninitialize"));
    }
    capturer->stopCapture();
    // The next run is a whole one.
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophoneCapture::eventsThatCannotBeClosed()
{
    const LogCapture log;
    Listener listener;
    capturer->setAudioOutput(listener.player);
    simulated::failAlways("CloseHandle", ERROR_INVALID_HANDLE);
    QVERIFY(start());
    capturer->stopCapture();
    QCOMPARE(ownCalls().filter("CloseHandle").size(), 2); // each once
    auto stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
    capturer->stopCapture();
    QCOMPARE(ownCalls().filter("CloseHandle").size(), 2); // since the second start
    QCOMPARE(log.linesOf("Critical"), QStringList());
    capturer.reset();
    listener.player.reset();
    simulated::reset(); // the events are left
}

void TestMicrophoneCapture::stopWithErrorTriesAgain()
{
    constexpr int retryMs = 1500;
    constexpr int timerTolerance = 10; // ms
    LogCapture log;
    QVERIFY(start());
    QElapsedTimer sinceStop;
    sinceStop.start();
    QMetaObject::invokeMethod(capturer.get(), "stopCapture", Qt::QueuedConnection, Q_ARG(long, -5),
                              Q_ARG(QString, "Fail to GetBuffer"));
    awaitQueueOf(*capturer);
    QVERIFY(log.lines().contains("Info: WASAPIMicrophoneCapturer::stopCapture "
                                 R"("Microphone" : begin -5 "Fail to GetBuffer")"));
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
    QVERIFY(QTest::qWaitFor([this] { return !simulated::captureStreams(microphone).isEmpty(); },
                            30000));
    QVERIFY2(sinceStop.elapsed() >= retryMs - timerTolerance,
             qPrintable(QString::number(sinceStop.elapsed())));

    // Once only: the start has stopped the timer, which would run out before a later one does.
    capturer->stopCapture();
    log.clear();
    QTimer later;
    later.setTimerType(Qt::PreciseTimer);
    later.setSingleShot(true);
    QSignalSpy ranOut(&later, &QTimer::timeout);
    later.start(retryMs + timerTolerance);
    QVERIFY(ranOut.wait(30000));
    awaitQueueOf(*capturer);
    QCOMPARE(log.lines(), QStringList());
}

void TestMicrophoneCapture::threadThatIsNotToldEndsWithItsTimeOut()
{
    const auto stream = start();
    QVERIFY(stream);
    simulated::failNext("SetEvent", refused);
    capturer->stopCapture();
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }, 30000));
    QVERIFY(!stream.isOpen());
    QVERIFY(start());
}

void TestMicrophoneCapture::stuckThreadEndsLater()
{
    QSemaphore entered;
    QSemaphore leave;
    std::atomic<bool> stuckOnce{false};
    simulated::onCall("IAudioCaptureClient::GetNextPacketSize", [&] {
        if (!stuckOnce.exchange(true)) {
            entered.release();
            leave.acquire();
        }
    });
    auto first = start();
    first.pushPacket(pattern(960));
    QVERIFY(entered.tryAcquire(1, 5000));

    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto second = start();
    QVERIFY(second);
    second.pushPacket(pattern(400));
    QCOMPARE(listener.hear(400), pattern(400));

    capturer.reset();
    leave.release();
    listener.player.reset();
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }));
    QVERIFY(!first.isOpen());
}

void TestMicrophoneCapture::heldUpWorkerKeepsTheCapturer()
{
    Listener listener;
    capturer->setAudioOutput(listener.player);
    const auto stream = start();
    QVERIFY(stream);
    const QPointer<WASAPIMicrophoneCapturer> guarded(capturer.get());
    HeldThread worker(
        *capturer, [target = capturer.get()] { target->onGetInputData(pattern(960), 48000, 2); });
    capturer.reset();
    QVERIFY(!stream.isOpen());
    QVERIFY(guarded);
    worker.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(!guarded, 30000);
}

void TestMicrophoneCapture::destroyedWhileCapturing()
{
    const LogCapture log;
    auto stream = start();
    stream.pushPacket(pattern(960));
    capturer.reset();
    QVERIFY(!stream.isOpen());
    QCOMPARE(log.lines().first(), R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : begin)");
    QCOMPARE(log.lines().last(), "Info: WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer : end");
}

void TestMicrophoneCapture::emitsNothing()
{
    using C = WASAPIMicrophoneCapturer;
    QSignalSpy failures(capturer.get(), &C::sigFaildToOpenDevice);
    QSignalSpy lines(capturer.get(), &C::sigPrintfLog);
    QSignalSpy data(capturer.get(), qOverload<QByteArray>(&C::sigGetInputData));
    QSignalSpy formatted(capturer.get(), qOverload<QByteArray, int, int>(&C::sigGetInputData));
    auto stream = start();
    stream.pushPacket(pattern(960));
    QVERIFY(stream.waitForRelease());
    simulated::failNext("IAudioCaptureClient::GetNextPacketSize", refused);
    stream.signalEvent();
    capturer->stopCapture();
    QCOMPARE(failures.count() + lines.count() + data.count() + formatted.count(), 0);
}

QTEST_GUILESS_MAIN(TestMicrophoneCapture)
#include "tst_microphonecapture.moc"
