// Parameters that the resampling library refuses: the call logs and does not come back, and the
// rest of the program goes on without that thread.
#include "engines/audioresampler.h"
#include "tests/support/waitwatch.h"
#include "tests/unit/engines/playerfixture.h"
#include "tests/unit/engines/swresamplefaults.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{

constexpr const char *callChild = "--refused-call";
constexpr const char *playerChild = "--refused-player";

WaitWatch caller;

/// The last thing that the blocking call does before.
void tellAndWatch(QtMsgType, const QMessageLogContext &, const QString &message)
{
    std::fprintf(stderr, "%s\n", qPrintable(message));
    caller.begin();
}

/// In a process of its own, for the thread cannot be ended.
int callThatBlocks()
{
    swresamplefaults::failNext("swr_init", -22);
    qInstallMessageHandler(&tellAndWatch);
    AudioResampler resampler;
    std::atomic<bool> hasReturned{false};
    std::thread thread([&] {
        (void)resampler.initialize(44100, AV_SAMPLE_FMT_S16, 2, 48000, AV_SAMPLE_FMT_S16, 2);
        hasReturned = true;
    });
    const bool isAsleep = caller.waitUntilAsleep();
    std::fprintf(stderr, "asleep %d, returned %d\n", int(isAsleep), int(hasReturned));
    std::_Exit(0); // the thread is still stuck
}

/// A player whose worker thread has gone that way, with its play thread waiting behind it.
int playerThatOutlivesItsWorker()
{
    using namespace playerfixture;
    swresamplefaults::failNext("swr_init", -22);
    const QString endpoint = simulated::addEndpoint({.name = "Headset"});
    auto player = makePlayer();
    auto stream = openPlaying(*player, endpoint);
    QMetaObject::invokeMethod(player.get(), "play", Qt::QueuedConnection,
                              Q_ARG(QByteArray, pattern(800)), Q_ARG(int, 44100), Q_ARG(int, 2));
    while (!swresamplefaults::calls().contains("swr_init"))
        QThread::msleep(1);
    simulated::clearCalls();
    stream.signalEvent();
    const bool waiting = simulated::waitForCall("IAudioRenderClient::GetBuffer");
    player->closeDevice();
    player.reset();
    std::fprintf(stderr, "outlived %d\n", int(waiting));
    std::_Exit(0); // two threads are still stuck
}

} // namespace

class TestResamplerRefusal : public QObject
{
    Q_OBJECT

private slots:
    // A child on Windows would tell a debugger, for want of a console.
    void initTestCase() { qputenv("QT_FORCE_STDERR_LOGGING", "1"); }
    void blocksForGood();
    void playerCanStillBeDestroyed();
};

void TestResamplerRefusal::blocksForGood()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), {callChild});
    QVERIFY(child.waitForFinished());
    const QByteArray said = child.readAll();
    QVERIFY2(said.contains("Failed to initialize SwrContext! -22"), said.constData());
    QVERIFY2(said.contains("asleep 1, returned 0"), said.constData());
}

void TestResamplerRefusal::playerCanStillBeDestroyed()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), {playerChild});
    QVERIFY(child.waitForFinished());
    const QByteArray said = child.readAll();
    QVERIFY2(said.contains("outlived 1"), said.constData());
    QVERIFY2(said.contains("Failed to initialize SwrContext! -22"), said.constData());
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], callChild) == 0)
        return callThatBlocks();
    if (argc > 1 && qstrcmp(argv[1], playerChild) == 0)
        return playerThatOutlivesItsWorker();
    TestResamplerRefusal test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_resamplerrefusal.moc"
