// How data becomes reports, and the write thread.
#include "VXLibrary/src/vxgeneralwritethread.h"
#include "hidbench.h"
#include "tests/support/logcapture.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <thread>

Q_DECLARE_METATYPE(VXGeneralHidReport)

namespace
{
/// A report as the device gets it: the ID, the data, zeros up to the length.
QByteArray report(int id, const QByteArray &data, int length)
{
    return char(id) + data.leftJustified(length, '\0');
}

QString error(const char *function, int code)
{
    return QStringLiteral("%1: (0x%2)")
        .arg(QLatin1StringView(function),
             QStringLiteral("%1").arg(code, 8, 16, QChar('0')).toUpper());
}

/// A thread whose queue can be filled.
class QueuedThread : public VXGeneralWriteThread
{
public:
    QueuedThread() : VXGeneralWriteThread(8, 8, 1, openHandle()) {}
    void add(const QByteArray &data, VXGeneralHidReport hidReport = VXHidOutput,
             bool getReportAfterSendReport = false)
    {
        enqueue({data, getReportAfterSendReport, hidReport});
    }
};

constexpr auto outputWords = "Hid write error: %1";
constexpr auto featureWords = "Send hid feature report return an error:: %1";
constexpr auto readBackWords = "Get hid feature report return an error:: %1";
} // namespace

class TestHidWrites : public QObject
{
    Q_OBJECT

private slots:
    void dataIsCutIntoReports_data();
    void dataIsCutIntoReports();
    void shorterFormsAreOutputReports();
    void anyOtherKindIsAnOutputReport();
    void unknownLengths_data();
    void unknownLengths();
    void emptyDataIsDropped();
    void failures_data();
    void failures();
    void pendingCountsAsSent_data();
    void pendingCountsAsSent();
    void unpluggedWhileWriting();
    void featureIsReadBack();
    void featureIsReadBackAfterAFailure();
    void emptyReadBackIsNoFailure();
    void failedReadBackIsTold();
    void outputIsNotReadBack();
    void missingDevice();
    void writersTakeTurns();
    void stopBeforeItsTurn();
    void stopWhileItSleeps();
    void stopWaitsForASend();
    void queueIsServedInOrder();
    void queueWakesTheThread();
    void queuedFailureIsTold();
    void clearedQueueIsNotSent();
    void stoppedThreadSendsNothing();
};

void TestHidWrites::dataIsCutIntoReports_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("reportID");
    QTest::addColumn<bool>("isFeature");
    for (const bool isFeature : {false, true}) {
        const auto row = [&](const char *name) -> QTestData & {
            return QTest::newRow(
                qPrintable(QString(name) + (isFeature ? ", feature" : ", output")));
        };
        row("exactly one report") << 64 << 64 << 0 << isFeature;
        row("one byte more") << 65 << 64 << 0 << isFeature;
        row("shorter") << 3 << 64 << 0 << isFeature;
        row("one byte") << 1 << 8 << 5 << isFeature;
        row("two reports") << 128 << 64 << 255 << isFeature;
        row("70 bytes") << 70 << 64 << 2 << isFeature;
        row("reports of one byte") << 5 << 1 << 1 << isFeature;
    }
}

void TestHidWrites::dataIsCutIntoReports()
{
    QFETCH(const int, size);
    QFETCH(const int, length);
    QFETCH(const int, reportID);
    QFETCH(const bool, isFeature);
    plugIn();
    // The other kind's length must not matter.
    VXGeneralWriteThread thread(isFeature ? length : 11, isFeature ? 11 : length, uchar(reportID),
                                openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    const QByteArray data = counted(size);

    QCOMPARE(thread.writeData(data, isFeature ? VXHidFeature : VXHidOutput, false), size);
    QList<QByteArray> expected;
    for (int place = 0; place < size; place += length)
        expected.append(report(reportID, data.mid(place, length), length));
    QCOMPARE(isFeature ? simulated::hidFeatureWrites(hidPath) : simulated::hidWrites(hidPath),
             expected);
    QVERIFY((isFeature ? simulated::hidWrites(hidPath) : simulated::hidFeatureWrites(hidPath))
                .isEmpty());
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.at(0), QVariantList({size, "Success"}));
}

void TestHidWrites::shorterFormsAreOutputReports()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 1, openHandle());
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    QCOMPARE(thread.writeData("ab"), 2);
    QCOMPARE(simulated::hidWrites(hidPath), QList<QByteArray>({report(1, "ab", 8)}));
    QCOMPARE(thread.writeData("cd", VXHidFeature), 2);
    QCOMPARE(simulated::hidFeatureWrites(hidPath), QList<QByteArray>({report(1, "cd", 8)}));
    QCOMPARE(features.size(), 0);
}

void TestHidWrites::anyOtherKindIsAnOutputReport()
{
    plugIn();
    VXGeneralWriteThread thread(4, 8, 1, openHandle());
    QCOMPARE(thread.writeData("ab", VXGeneralHidReport(1), true), 2);
    QCOMPARE(thread.writeData("ab", VXGeneralHidReport(3), true), 2);
    QCOMPARE(simulated::hidWrites(hidPath),
             QList<QByteArray>({report(1, "ab", 8), report(1, "ab", 8)}));
}

void TestHidWrites::unknownLengths_data()
{
    QTest::addColumn<int>("queried");
    QTest::addColumn<int>("expected");
    QTest::newRow("asked again") << 10 << 10;
    QTest::newRow("still unknown") << -1 << 64;
    QTest::newRow("none") << 0 << 64;
}

void TestHidWrites::unknownLengths()
{
    QFETCH(const int, queried);
    QFETCH(const int, expected);
    plugIn({.path = hidPath, .featureLength = queried, .outputLength = queried});
    VXGeneralWriteThread thread(0, -1, 0, openHandle());
    thread.writeData("a", VXHidOutput, false);
    thread.writeData("a", VXHidFeature, false);
    QCOMPARE(simulated::hidWrites(hidPath), QList<QByteArray>({report(0, "a", expected)}));
    QCOMPARE(simulated::hidFeatureWrites(hidPath), QList<QByteArray>({report(0, "a", expected)}));
}

void TestHidWrites::emptyDataIsDropped()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    QCOMPARE(thread.writeData({}, VXHidFeature, true), 0);
    QCOMPARE(results.size(), 0);
    QCOMPARE(features.size(), 0);
    QVERIFY(simulated::hidFeatureWrites(hidPath).isEmpty());
}

void TestHidWrites::failures_data()
{
    QTest::addColumn<bool>("isFeature");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("goodReports");
    QTest::addColumn<int>("sent");
    QTest::addColumn<bool>("isLogged");
    for (const bool isFeature : {false, true}) {
        const auto row = [&](const char *name) -> QTestData & {
            return QTest::newRow(
                qPrintable(QString(name) + (isFeature ? ", feature" : ", output")));
        };
        row("first of three") << isFeature << 24 << 0 << 0 << false;
        row("second of three") << isFeature << 24 << 1 << 8 << false;
        row("third of three") << isFeature << 24 << 2 << 16 << false;
        row("tail") << isFeature << 20 << 2 << 16 << true;
        row("tail alone") << isFeature << 3 << 0 << 0 << true;
    }
}

void TestHidWrites::failures()
{
    QFETCH(const bool, isFeature);
    QFETCH(const int, size);
    QFETCH(const int, goodReports);
    QFETCH(const int, sent);
    QFETCH(const bool, isLogged);
    plugIn();
    const char *function = isFeature ? "hid_send_feature_report" : "hid_write";
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    int calls = 0;
    simulated::onCall(function, [&] {
        // The fault is looked up before this runs: it is for the next call.
        if (++calls == goodReports)
            simulated::failNext(function, 31);
    });
    if (goodReports == 0)
        simulated::failNext(function, 31);

    LogCapture log;
    QCOMPARE(thread.writeData(counted(size), isFeature ? VXHidFeature : VXHidOutput, false), sent);
    const QString text = QString(isFeature ? featureWords : outputWords).arg(error(function, 31));
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.at(0), QVariantList({-1, text}));
    // Nothing follows a failure.
    QCOMPARE(calls, goodReports + 1);
    const QStringList lines("Critical: VXGeneralWriteThread::writeData \"" + text + '"');
    QCOMPARE(log.lines(), isLogged ? lines : QStringList());
}

void TestHidWrites::pendingCountsAsSent_data()
{
    QTest::addColumn<bool>("isFeature");
    QTest::newRow("output") << false;
    QTest::newRow("feature") << true;
}

void TestHidWrites::pendingCountsAsSent()
{
    QFETCH(const bool, isFeature);
    plugIn();
    const char *function = isFeature ? "hid_send_feature_report" : "hid_write";
    simulated::failAlways(function, 0x3E5);
    LogCapture log;
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    QCOMPARE(thread.writeData(counted(20), isFeature ? VXHidFeature : VXHidOutput, false), 20);
    QCOMPARE(simulated::countCalls(function), 3);
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.at(0), QVariantList({20, "Success"}));
    QCOMPARE(log.lines(), QStringList());
}

void TestHidWrites::unpluggedWhileWriting()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    int calls = 0;
    simulated::onCall("hid_write", [&] {
        if (++calls == 3)
            simulated::removeHidDevice(hidPath);
    });
    QCOMPARE(thread.writeData(counted(80)), 16);
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.at(0),
             QVariantList({-1, QString(outputWords).arg(error("hid_write", 0x48F))}));
}

void TestHidWrites::featureIsReadBack()
{
    plugIn();
    simulated::setHidFeatureReport(hidPath, QByteArray("\x04\x0a\x00\xff", 4));
    VXGeneralWriteThread thread(8, 20, 4, openHandle());
    QStringList order;
    connect(&thread, &VXGeneralWriteThread::sigWriteResult, this, [&] { order << "written"; });
    connect(&thread, &VXGeneralWriteThread::sigGetFeatureReport, this, [&] { order << "read"; });
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    QCOMPARE(thread.writeData("ab", VXHidFeature, true), 2);
    QCOMPARE(order, QStringList({"written", "read"}));
    QCOMPARE(features.at(0), QVariantList({4, "Success", QJsonArray({"a", "0", "ff"})}));
    // The question has the feature report's length and the device's ID in front.
    QCOMPARE(simulated::hidQuery(hidPath), report(4, {}, 8));
}

void TestHidWrites::featureIsReadBackAfterAFailure()
{
    plugIn();
    simulated::failNext("hid_send_feature_report", 31);
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    thread.writeData("ab", VXHidFeature, true);
    QCOMPARE(results.at(0).at(0).toInt(), -1);
    QCOMPARE(features.size(), 1);
}

void TestHidWrites::emptyReadBackIsNoFailure()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    thread.writeData("ab", VXHidFeature, true);
    QCOMPARE(features.at(0), QVariantList({0, "Success", QJsonArray()}));
}

void TestHidWrites::failedReadBackIsTold()
{
    plugIn();
    simulated::failNext("hid_get_feature_report", 31);
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    QCOMPARE(thread.writeData("ab", VXHidFeature, true), 2);
    QCOMPARE(results.at(0), QVariantList({2, "Success"}));
    QCOMPARE(features.at(0),
             QVariantList({-1, QString(readBackWords).arg(error("hid_get_feature_report", 31)),
                           QJsonArray()}));
}

void TestHidWrites::outputIsNotReadBack()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    QSignalSpy features(&thread, &VXGeneralWriteThread::sigGetFeatureReport);
    QCOMPARE(thread.writeData("ab", VXHidOutput, true), 2);
    QCOMPARE(features.size(), 0);
    QCOMPARE(simulated::countCalls("hid_get_feature_report"), 0);
}

void TestHidWrites::missingDevice()
{
    plugIn();
    LogCapture log;
    VXGeneralWriteThread thread(8, 8, 0, nullptr);
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    QCOMPARE(thread.writeData("ab"), -1);
    QCOMPARE(results.size(), 0);

    thread.start();
    QVERIFY(thread.wait(patience));
    QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, patience);
    QCOMPARE(results.at(0), QVariantList({0, "Device not open!"}));
    QCOMPARE(log.lines(), QStringList("Critical: VXGeneralWriteThread::run \"Device not open!\""));
    QVERIFY(thread.isStopped());
}

void TestHidWrites::writersTakeTurns()
{
    // Slow enough for both to be under way at once.
    plugIn({.path = hidPath, .writeIntervalUs = 50});
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    constexpr int rounds = 50;
    const auto write = [&](char letter) {
        for (int round = 0; round < rounds; ++round)
            thread.writeData(QByteArray(24, letter));
    };
    std::thread first(write, 'a');
    std::thread second(write, 'b');
    first.join();
    second.join();

    // The three reports of a write stand together.
    const QList<QByteArray> writes = simulated::hidWrites(hidPath);
    QCOMPARE(writes.size(), 2 * 3 * rounds);
    for (qsizetype place = 0; place < writes.size(); place += 3) {
        QCOMPARE(writes.at(place + 1), writes.at(place));
        QCOMPARE(writes.at(place + 2), writes.at(place));
    }
}

void TestHidWrites::stopBeforeItsTurn()
{
    plugIn();
    for (int round = 0; round < 500; ++round) {
        VXGeneralWriteThread thread(8, 8, 0, openHandle());
        thread.start();
        thread.stop();
        QVERIFY(thread.wait(patience));
    }
    QCOMPARE(simulated::openHidHandles(hidPath), 0);

    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    thread.stop();
    thread.start();
    QVERIFY(thread.wait(patience));
    QVERIFY(thread.isStopped());
}

void TestHidWrites::stopWhileItSleeps()
{
    plugIn();
    for (int round = 0; round < 200; ++round) {
        VXGeneralWriteThread thread(8, 8, 0, openHandle());
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(!thread.isStopped(), patience);
        // Whether it sleeps by now or is about to: the wake-up is not lost.
        thread.stop();
        QVERIFY(thread.wait(patience));
    }
}

void TestHidWrites::stopWaitsForASend()
{
    plugIn();
    VXGeneralWriteThread thread(8, 8, 0, openHandle());
    thread.start();
    QSemaphore held;
    simulated::onCall("hid_write", [&] { held.acquire(); });
    std::thread writer([&] { thread.writeData("ab"); });
    QVERIFY(simulated::waitForCall("hid_write", patience));
    std::thread stopper([&] { thread.stop(); });
    held.release();
    writer.join();
    stopper.join();
    QVERIFY(thread.wait(patience));
    QCOMPARE(simulated::hidWrites(hidPath).size(), 1);
}

void TestHidWrites::queueIsServedInOrder()
{
    plugIn();
    simulated::setHidFeatureReport(hidPath, "\x01\x0a");
    QueuedThread thread;
    QStringList order;
    QMutex orderMutex;
    const auto note = [&](const QString &what) {
        const QMutexLocker locker(&orderMutex);
        order.append(what);
    };
    connect(
        &thread, &VXGeneralWriteThread::sigWriteResult, &thread,
        [&](int result, const QString &text) { note(QString::number(result) + ' ' + text); },
        Qt::DirectConnection);
    connect(
        &thread, &VXGeneralWriteThread::sigGetFeatureReport, &thread,
        [&](int result) { note("read back " + QString::number(result)); }, Qt::DirectConnection);
    thread.add(counted(12));
    thread.add("ab", VXHidFeature, true);
    thread.add({});
    thread.add("cd", VXHidFeature, false);
    thread.add("e");
    QVERIFY(simulated::hidWrites(hidPath).isEmpty());
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(simulated::hidWrites(hidPath).size(), 3, patience);
    thread.stop();
    QCOMPARE(order,
             QStringList({"12 Success", "2 Success", "read back 2", "2 Success", "1 Success"}));
    QCOMPARE(simulated::hidWrites(hidPath),
             QList<QByteArray>(
                 {report(1, counted(8), 8), report(1, counted(12).mid(8), 8), report(1, "e", 8)}));
    QCOMPARE(simulated::hidFeatureWrites(hidPath),
             QList<QByteArray>({report(1, "ab", 8), report(1, "cd", 8)}));
}

void TestHidWrites::queueWakesTheThread()
{
    plugIn();
    QueuedThread thread;
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(!thread.isStopped(), patience);
    for (int round = 1; round <= 100; ++round) {
        // Whether it sleeps by now or is about to: it hears of each one.
        thread.add("a");
        QTRY_COMPARE_WITH_TIMEOUT(simulated::hidWrites(hidPath).size(), round, patience);
    }
}

void TestHidWrites::queuedFailureIsTold()
{
    plugIn();
    QueuedThread thread;
    QSignalSpy results(&thread, &VXGeneralWriteThread::sigWriteResult);
    simulated::failNext("hid_write", 31);
    thread.add("a");
    thread.add("b");
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(results.size(), 2, patience);
    QCOMPARE(results.at(0), QVariantList({-1, QString(outputWords).arg(error("hid_write", 31))}));
    QCOMPARE(results.at(1), QVariantList({1, "Success"}));
}

void TestHidWrites::clearedQueueIsNotSent()
{
    plugIn();
    QueuedThread thread;
    thread.add("a");
    thread.add("b");
    thread.clearQueue();
    thread.add("c");
    thread.start();
    QTRY_COMPARE_WITH_TIMEOUT(simulated::hidWrites(hidPath).size(), 1, patience);
    thread.stop();
    QCOMPARE(simulated::hidWrites(hidPath), QList<QByteArray>({report(1, "c", 8)}));
}

void TestHidWrites::stoppedThreadSendsNothing()
{
    plugIn();
    QueuedThread thread;
    thread.add("a");
    thread.stop();
    thread.start();
    QVERIFY(thread.wait(patience));
    QVERIFY(simulated::hidWrites(hidPath).isEmpty());
    // Nor what comes afterwards.
    thread.add("b");
    QVERIFY(simulated::hidWrites(hidPath).isEmpty());
}

QTEST_GUILESS_MAIN(TestHidWrites)
#include "tst_hidwrites.moc"
