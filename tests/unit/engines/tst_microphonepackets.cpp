// What the capture thread does with packets, and with calls that fail between them.
#include "tests/support/threadqueue.h"
#include "tests/unit/engines/capturetest.h"

using namespace playerfixture;

namespace
{

const QString needStopLine =
    QStringLiteral("Info: Capture microphone - on quit - need to call stopCapture!!!");

/// Counts the queued calls that one object gets, whichever thread it lives on.
class CountingApplication : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;
    bool notify(QObject *receiver, QEvent *event) override
    {
        if (event->type() == QEvent::MetaCall && receiver == watched.load())
            ++calls;
        return QCoreApplication::notify(receiver, event);
    }

    static inline std::atomic<QObject *> watched{nullptr};
    static inline std::atomic<int> calls{0};
};

} // namespace

class TestMicrophonePackets : public CaptureTest
{
    Q_OBJECT

private slots:
    void packetsInOrder();
    void formatGoesWithPacket();
    void silentPacketIsDropped();
    void packetCountIsLimited();
    void packetsLeftAtStopAreDropped();
    void packetsBeforeAFailureAreDropped();
    void timeOutWaitsAgain();
    void loopCallFails_data();
    void loopCallFails();
    void endpointVanishes();
};

void TestMicrophonePackets::packetsInOrder()
{
    const LogCapture log;
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    const QByteArray sound = pattern(1920);
    awaitQueueOf(*capturer); // which begins with a call of its own
    CountingApplication::calls = 0;
    CountingApplication::watched = capturer.get();
    stream.queuePacket(sound.left(960));
    stream.pushPacket(sound.mid(960));
    QCOMPARE(listener.hear(1920), sound);
    CountingApplication::watched = nullptr;
    QCOMPARE(CountingApplication::calls.load(), 2);
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一："),
             QStringList("Info: 每次从麦克风读取到的数据包大于一： 2"));

    listener.stream.clearReleasedBuffers();
    stream.pushPacket(sound);
    QCOMPARE(listener.hear(1920), sound);
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一：").size(), 1);
}

void TestMicrophonePackets::formatGoesWithPacket()
{
    // 10 ms of a mono microphone at 96000 Hz reach a player at 48000 Hz stereo as about 10 ms.
    simulated::setMixFormat(microphone, 1, 96000);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    for (int packet = 0; packet < 10; ++packet)
        stream.pushPacket(pattern(1920));
    const qsizetype heard = listener.hear(18000).size();
    QVERIFY2(heard > 18000 && heard <= 19200, qPrintable(QString::number(heard)));
}

void TestMicrophonePackets::silentPacketIsDropped()
{
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    stream.queuePacket(pattern(960).left(480));
    stream.queuePacket(pattern(960), AUDCLNT_BUFFERFLAGS_SILENT);
    stream.pushPacket(pattern(960).mid(480));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophonePackets::packetCountIsLimited()
{
    const LogCapture log;
    capturer->setMaximumPacketCount(2);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    const QByteArray sound = pattern(1600);
    for (int packet = 0; packet < 3; ++packet)
        stream.queuePacket(sound.mid(packet * 400, 400));
    stream.pushPacket(sound.mid(1200));
    QCOMPARE(listener.hear(800), sound.mid(800));
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一：").value(0).right(2), " 2");
}

void TestMicrophonePackets::packetsLeftAtStopAreDropped()
{
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    Hold hold("IAudioCaptureClient::ReleaseBuffer");
    stream.queuePacket(pattern(400));
    stream.pushPacket(pattern(400));
    QVERIFY(hold.waitUntilHeld());
    hold.endWithStop();
    capturer->stopCapture();
    QCOMPARE(simulated::countCalls("IAudioCaptureClient::GetBuffer"), 1);

    // Only what comes after it is heard.
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophonePackets::packetsBeforeAFailureAreDropped()
{
    const LogCapture log;
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    simulated::onCall("IAudioCaptureClient::ReleaseBuffer",
                      [] { simulated::failNext("IAudioCaptureClient::GetBuffer", refused); });
    stream.queuePacket(pattern(400));
    stream.pushPacket(pattern(400));
    QVERIFY(waitForLine(log, endLine));
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophonePackets::timeOutWaitsAgain()
{
    QVERIFY(start());
    QVERIFY(simulated::waitForCalls("IAudioCaptureClient::GetNextPacketSize", 2));
    QCOMPARE(simulated::countCalls("IAudioCaptureClient::GetBuffer"), 0);
}

void TestMicrophonePackets::loopCallFails_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<bool>("afterPacket");

    QTest::newRow("GetNextPacketSize") << "GetNextPacketSize" << false;
    QTest::newRow("GetBuffer") << "GetBuffer" << false;
    QTest::newRow("ReleaseBuffer") << "ReleaseBuffer" << false;
    QTest::newRow("GetNextPacketSize after a packet") << "GetNextPacketSize" << true;
}

void TestMicrophonePackets::loopCallFails()
{
    QFETCH(QString, method);
    QFETCH(bool, afterPacket);
    const LogCapture log;
    auto stream = start();
    QVERIFY(stream);
    const QString call = "IAudioCaptureClient::" + method;
    if (afterPacket)
        simulated::onCall("IAudioCaptureClient::ReleaseBuffer",
                          [&] { simulated::failNext(call, refused); });
    else
        simulated::failNext(call, refused);
    simulated::clearCalls();
    stream.pushPacket(pattern(960));
    QVERIFY(waitForLine(log, endLine));
    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: Capture microphone - Fail to " + method + R"(: "-7776fff8")"));
    QVERIFY(log.lines().contains(needStopLine));
    QVERIFY(threadCalls().contains("IAudioClient::Stop"));
    QCOMPARE(simulated::liveObjects(), 2); // the two events

    capturer->startCapture();
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
    QVERIFY(start());
}

void TestMicrophonePackets::endpointVanishes()
{
    const LogCapture log;
    auto stream = start();
    simulated::removeEndpoint(microphone);
    stream.signalEvent();
    QVERIFY(waitForLine(log, endLine));
    QCOMPARE(
        log.linesOf("Critical"),
        QStringList(R"(Critical: Capture microphone - Fail to GetNextPacketSize: "-7776fffc")"));
    capturer->stopOnEndpoint(microphone);
    QCOMPARE(simulated::leakReport(), QString());
}

int main(int argc, char **argv)
{
    CountingApplication application(argc, argv);
    TestMicrophonePackets test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_microphonepackets.moc"
