// Speakers that are opened and closed for ever, and threads that do not end in time.
#include "engines/wasapiaudioplayer.h"
#include "speakerbench.h"
#include "streams/tavoriinputdevice.h"

#include <QSemaphore>
#include <QTest>

namespace
{

/// Lets what was left to the event loop end.
void settle()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class TestSpeakerLifetime : public QObject
{
    Q_OBJECT

private slots:
    void aThousandOpensAndClosesLeaveNothing();
    void aThousandCaptureLinesLeaveNothing();
    void aCloseWaitsForTheThread();
    void aCloseEndsTheReadThatWaits();
    void aSpeakersPlayersEndWithIt();
    void aThreadStuckInItsReadIsLeftToItsOwnEnd();
    void aThreadStuckInItsReadOutlivesItsSpeaker();
    void aThreadStuckInItsReadDoesNotDisturbTheNext();
};

void TestSpeakerLifetime::aThousandOpensAndClosesLeaveNothing()
{
    SpeakerBench bench;
    // Reads that fail at once spare the wait for the read in progress.
    simulated::failAlways("ReadFile", ERROR_ACCESS_DENIED);
    const auto threadsBefore = simulated::threadCount();
    const auto objectsBefore = simulated::liveObjects();
    for (int i = 0; i < 1000; ++i) {
        QVERIFY(bench.open());
        bench.device->closeDevice();
        settle();
        bench.log.clear();
    }
    QTRY_VERIFY(simulated::threadCount() <= threadsBefore);
    QCOMPARE(simulated::liveObjects(), objectsBefore);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
}

void TestSpeakerLifetime::aThousandCaptureLinesLeaveNothing()
{
    SpeakerBench bench;
    const QString suffix = "tavori.Stream.Wave";
    const std::wstring path = SpeakerBench::pathOf(suffix).toStdWString();
    const auto threadsBefore = simulated::threadCount();
    const auto objectsBefore = simulated::liveObjects();
    for (int i = 0; i < 1000; ++i) {
        tavoriInputDevice line;
        QVERIFY(line.openDevice(path.c_str(), tavoriStream));
    }
    settle();
    QTRY_VERIFY(simulated::threadCount() <= threadsBefore);
    QCOMPARE(simulated::liveObjects(), objectsBefore);
    QCOMPARE(simulated::writesTo(suffix).size(), 2000);
}

void TestSpeakerLifetime::aCloseWaitsForTheThread()
{
    SpeakerBench bench;
    // The driver's read gives up before the wait does, so that the thread's last words precede the
    // return; a starved machine may need more than one try.
    bool inTime = false;
    for (int attempt = 0; attempt < 20 && !inTime; ++attempt) {
        QVERIFY(bench.open());
        QVERIFY(bench.nextReadBegins());
        bench.log.clear();
        bench.device->closeDevice();
        inTime = bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end");
    }
    QVERIFY(inTime);
    // The file was still open for that read.
    QCOMPARE(bench.log.linesOf("Critical"), QStringList());
}

// A driver that has no sound for ever: only the close can end its read.
void TestSpeakerLifetime::aCloseEndsTheReadThatWaits()
{
    // If its thread ends within its wait; a starved machine may need more than one try.
    bool endedInTime = false;
    for (int attempt = 0; attempt < 20 && !endedInTime; ++attempt) {
        QSemaphore inRead;
        QSemaphore leaveRead;
        SpeakerBench bench;
        simulated::onCall("ReadFile", [&] {
            inRead.release();
            leaveRead.acquire();
        });
        simulated::onCall("endReadWaits", [&] { leaveRead.release(1000); });
        QVERIFY(bench.open());
        QVERIFY(inRead.tryAcquire(1, 10000));
        bench.device->closeDevice();
        const QString end = "Info: tavoriGetSpeakerDataThread::run 6 - end";
        endedInTime = bench.log.lines().contains(end) &&
                      !bench.log.lines().contains("Critical: Can't read data from driver!");
        leaveRead.release(1000);
        QTRY_VERIFY(bench.log.lines().contains(end));
    }
    QVERIFY(endedInTime);
}

void TestSpeakerLifetime::aSpeakersPlayersEndWithIt()
{
    // If its thread ends within its wait; a starved machine may need more than one try.
    bool endedWithIt = false;
    for (int attempt = 0; attempt < 20 && !endedWithIt; ++attempt) {
        SpeakerBench bench;
        QVERIFY(bench.open());
        const QWeakPointer<WASAPIAudioPlayer> player = bench.device->audioOutput();
        bench.device.reset();
        endedWithIt = player.isNull();
    }
    QVERIFY(endedWithIt);
}

void TestSpeakerLifetime::aThreadStuckInItsReadIsLeftToItsOwnEnd()
{
    QSemaphore inRead;
    QSemaphore leaveRead;
    SpeakerBench bench;
    simulated::onCall("ReadFile", [&] {
        inRead.release();
        leaveRead.acquire();
    });
    const auto threadsBefore = simulated::threadCount();
    QVERIFY(bench.open());
    QVERIFY(inRead.tryAcquire(1, 10000));

    bench.device->closeDevice(); // returns, with the close told and the handle closed
    QCOMPARE(simulated::writesTo(bench.suffix).constLast(), QByteArray("\x06\x01"));
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
    settle(); // would abort if the thread were deleted while it runs
    QVERIFY(!bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));

    leaveRead.release(); // the closed handle's read fails, and the thread ends
    QTRY_VERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
    QVERIFY(bench.log.lines().contains("Critical: Can't read data from driver!"));
    QTRY_VERIFY(simulated::threadCount() <= threadsBefore); // the recorder's with it
    QCOMPARE(simulated::countCalls("ReadFile"), 1);
}

void TestSpeakerLifetime::aThreadStuckInItsReadOutlivesItsSpeaker()
{
    QSemaphore inRead;
    QSemaphore leaveRead;
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.initAudioOutput());
    simulated::onCall("ReadFile", [&] {
        inRead.release();
        leaveRead.acquire();
    });
    QVERIFY(inRead.tryAcquire(1, 10000));
    const QWeakPointer<WASAPIAudioPlayer> player = bench.device->audioOutput();
    bench.device.reset();
    QVERIFY(player); // the thread may still feed it

    leaveRead.release();
    QTRY_VERIFY(!player);
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSpeakerLifetime::aThreadStuckInItsReadDoesNotDisturbTheNext()
{
    QSemaphore inRead;
    QSemaphore leaveRead;
    std::atomic<bool> hold{true};
    SpeakerBench bench;
    simulated::onCall("ReadFile", [&] {
        if (!hold.exchange(false))
            return;
        inRead.release();
        leaveRead.acquire();
    });
    QVERIFY(bench.open());
    QVERIFY(inRead.tryAcquire(1, 10000));
    QVERIFY(bench.open()); // with the old thread still in its read
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    leaveRead.release();
    QTRY_VERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
    QVERIFY(bench.deliver(tone(1)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(1));
}

QTEST_GUILESS_MAIN(TestSpeakerLifetime)
#include "tst_speakerlifetime.moc"
