// The rule of a read's first byte, and the read thread.
#include "VXLibrary/src/hidreports.h"
#include "VXLibrary/src/vxgeneralreadthread.h"
#include "hidbench.h"
#include "tests/support/logcapture.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

class TestHidReads : public QObject
{
    Q_OBJECT

private slots:
    void firstByteDecides_data();
    void firstByteDecides();
    void reportIsCutToTheBuffer();
    void timeOutAndErrorPassThrough();
    void bytesBecomeHex_data();
    void bytesBecomeHex();
    void reportsArriveByTheDevicesID_data();
    void reportsArriveByTheDevicesID();
    void lengthDecidesTheBuffer_data();
    void lengthDecidesTheBuffer();
    void missingDeviceIsTold();
    void errorEndsTheThread();
    void unpluggedDeviceEndsTheThread();
    void pendingErrorIsNone();
    void timeOutTellsNothing();
    void stopBeforeItsTurn();
    void stopWhileItReads();
    void readThatHoldsOnIsWaitedFor();
    void handleIsLetGoAtTheEnd();
};

void TestHidReads::firstByteDecides_data()
{
    QTest::addColumn<bool>("usesReportIds");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("bufferId");
    QTest::addColumn<QByteArray>("expected");

    // As hidapi gives them: a numbered report begins with its ID, another with its data.
    for (const int bufferId : {0, 1, 7, 255}) {
        const auto row = [&](const char *name) -> QTestData & {
            return QTest::newRow(
                qPrintable(QStringLiteral("%1, buffer %2").arg(name).arg(bufferId)));
        };
        const bool keepsId = bufferId == 0;
        row("unnumbered") << false << QByteArray("\x05\x06\x07") << bufferId
                          << QByteArray("\x05\x06\x07");
        row("unnumbered zeros") << false << QByteArray(3, '\0') << bufferId << QByteArray(3, '\0');
        row("ID 1") << true << QByteArray("\x01\x06\x07") << bufferId
                    << (keepsId ? QByteArray("\x01\x06\x07") : QByteArray("\x06\x07"));
        row("ID 255") << true << QByteArray("\xff\x06\x07") << bufferId
                      << (keepsId ? QByteArray("\xff\x06\x07") : QByteArray("\x06\x07"));
        row("ID 0") << true << QByteArray("\0\x06\x07", 3) << bufferId << QByteArray("\x06\x07");
        row("ID alone") << true << QByteArray("\x01") << bufferId
                        << (keepsId ? QByteArray("\x01") : QByteArray());
    }
}

void TestHidReads::firstByteDecides()
{
    QFETCH(const bool, usesReportIds);
    QFETCH(const QByteArray, raw);
    QFETCH(const int, bufferId);
    QFETCH(const QByteArray, expected);
    plugIn();
    const HidHandle handle = openHandle();
    simulated::queueHidReport(hidPath, raw);

    std::vector<unsigned char> buffer(8);
    buffer[0] = static_cast<unsigned char>(bufferId);
    const int result = readReport(handle->unguarded(), usesReportIds, buffer, 10);
    QCOMPARE(result, int(expected.size()));
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(buffer.data()), result), expected);
}

void TestHidReads::reportIsCutToTheBuffer()
{
    plugIn();
    const HidHandle handle = openHandle();
    std::vector<unsigned char> buffer(3);
    simulated::queueHidReport(hidPath, "\x01\x02\x03\x04");
    QCOMPARE(readReport(handle->unguarded(), true, buffer, 10), 3);
    QCOMPARE(buffer, std::vector<unsigned char>({1, 2, 3}));

    // Without its ID the same report fits.
    buffer[0] = 1;
    simulated::queueHidReport(hidPath, "\x01\x02\x03\x04");
    QCOMPARE(readReport(handle->unguarded(), true, buffer, 10), 3);
    QCOMPARE(buffer, std::vector<unsigned char>({2, 3, 4}));
}

void TestHidReads::timeOutAndErrorPassThrough()
{
    plugIn();
    const HidHandle handle = openHandle();
    std::vector<unsigned char> buffer(3);
    QCOMPARE(readReport(handle->unguarded(), true, buffer, 1), 0);
    simulated::failNext("hid_read_timeout", 31);
    QCOMPARE(readReport(handle->unguarded(), true, buffer, 1), -1);
}

void TestHidReads::bytesBecomeHex_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QJsonArray>("expected");
    QTest::newRow("all") << 4 << QJsonArray{"a", "0", "ff"};
    QTest::newRow("some") << 2 << QJsonArray{"a"};
    QTest::newRow("the ID alone") << 1 << QJsonArray();
    QTest::newRow("nothing") << 0 << QJsonArray();
    QTest::newRow("an error") << -1 << QJsonArray();
    QTest::newRow("more than there is") << 9 << QJsonArray{"a", "0", "ff"};
}

void TestHidReads::bytesBecomeHex()
{
    QFETCH(const int, length);
    const std::vector<unsigned char> report{1, 0x0A, 0, 0xFF};
    QTEST(payloadAsHex(report, length), "expected");
}

void TestHidReads::reportsArriveByTheDevicesID_data()
{
    QTest::addColumn<int>("reportID");
    QTest::addColumn<bool>("usesReportIds");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("numbered, without") << 3 << true << QByteArray("\x02\x01");
    QTest::newRow("numbered, in front") << 0 << true << QByteArray("\x03\x02\x01");
    QTest::newRow("unnumbered") << 0 << false << QByteArray("\x03\x02\x01");
}

void TestHidReads::reportsArriveByTheDevicesID()
{
    QFETCH(const int, reportID);
    QFETCH(const bool, usesReportIds);
    QFETCH(const QByteArray, expected);
    plugIn({.path = hidPath, .usesReportIds = usesReportIds});
    VXGeneralReadThread thread(64, uchar(reportID), openHandle());
    QSignalSpy data(&thread, &VXGeneralReadThread::sigReadData);
    thread.start();
    simulated::queueHidReport(hidPath, "\x03\x02\x01");
    simulated::queueHidReport(hidPath, "\x03\x02\x01");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 2, patience);
    QCOMPARE(data.at(0).at(0).toByteArray(), expected);
    QCOMPARE(data.at(1).at(0).toByteArray(), expected);
}

void TestHidReads::lengthDecidesTheBuffer_data()
{
    QTest::addColumn<int>("inputLength");
    QTest::addColumn<int>("expected");
    QTest::newRow("told") << 5 << 5;
    QTest::newRow("longer than the default") << 100 << 100;
    QTest::newRow("none") << 0 << 64;
    QTest::newRow("unknown") << -1 << 64;
}

void TestHidReads::lengthDecidesTheBuffer()
{
    QFETCH(const int, inputLength);
    QFETCH(const int, expected);
    plugIn({.path = hidPath, .inputLength = inputLength});
    // What is handed over is not read.
    VXGeneralReadThread thread(17, 0, openHandle());
    QSignalSpy data(&thread, &VXGeneralReadThread::sigReadData);
    thread.start();
    simulated::queueHidReport(hidPath, counted(120));
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    QCOMPARE(data.at(0).at(0).toByteArray(), counted(expected));
}

void TestHidReads::missingDeviceIsTold()
{
    plugIn();
    LogCapture log;
    VXGeneralReadThread thread(64, 0, nullptr);
    QSignalSpy errors(&thread, &VXGeneralReadThread::sigReadError);
    thread.start();
    QVERIFY(thread.wait(patience));
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    QCOMPARE(errors.at(0), QVariantList({0, "Device not open!"}));
    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: VXGeneralReadThread::run \"Device not open!\""));
    QVERIFY(thread.isStopped());
}

void TestHidReads::errorEndsTheThread()
{
    plugIn();
    simulated::failNext("hid_read_timeout", 31);
    LogCapture log;
    VXGeneralReadThread thread(64, 0, openHandle());
    QSignalSpy errors(&thread, &VXGeneralReadThread::sigReadError);
    thread.start();
    QVERIFY(thread.wait(patience));
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    const QString text = "Hid read error: hid_read_timeout: (0x0000001F)";
    QCOMPARE(errors.at(0), QVariantList({-1, text}));
    QCOMPARE(log.lines(), QStringList({"Info: 启动接收数据线程。",
                                       "Critical: VXGeneralReadThread::run \"" + text + '"'}));
    // An end of its own is no stop.
    QVERIFY(!thread.isStopped());
    thread.stop();
    QVERIFY(thread.isStopped());
}

void TestHidReads::unpluggedDeviceEndsTheThread()
{
    plugIn();
    VXGeneralReadThread thread(64, 0, openHandle());
    QSignalSpy errors(&thread, &VXGeneralReadThread::sigReadError);
    thread.start();
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    simulated::removeHidDevice(hidPath);
    QVERIFY(thread.wait(patience));
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    QCOMPARE(errors.at(0).at(0).toInt(), -1);
}

void TestHidReads::pendingErrorIsNone()
{
    plugIn();
    simulated::failNext("hid_read_timeout", 0x3E5, 3);
    LogCapture log;
    VXGeneralReadThread thread(64, 0, openHandle());
    QSignalSpy errors(&thread, &VXGeneralReadThread::sigReadError);
    QSignalSpy data(&thread, &VXGeneralReadThread::sigReadData);
    thread.start();
    simulated::queueHidReport(hidPath, "\x01");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    QVERIFY(simulated::countCalls("hid_read_timeout") >= 4);
    QCOMPARE(errors.size(), 0);
    QCOMPARE(log.linesOf("Critical"), QStringList());
}

void TestHidReads::timeOutTellsNothing()
{
    plugIn();
    VXGeneralReadThread thread(64, 0, openHandle());
    QSignalSpy errors(&thread, &VXGeneralReadThread::sigReadError);
    QSignalSpy data(&thread, &VXGeneralReadThread::sigReadData);
    QElapsedTimer timer;
    timer.start();
    thread.start();
    // The second read begins when the first one's time is over, 1500 ms.
    QVERIFY(simulated::waitForCalls("hid_read_timeout", 2, patience));
    QVERIFY(timer.elapsed() >= 1400);
    simulated::queueHidReport(hidPath, "\x09");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    QCOMPARE(data.at(0).at(0).toByteArray(), QByteArray("\x09"));
    QCOMPARE(errors.size(), 0);
}

void TestHidReads::stopBeforeItsTurn()
{
    plugIn({.path = hidPath, .readsReturnAtOnce = true});
    for (int round = 0; round < 200; ++round) {
        VXGeneralReadThread thread(64, 0, openHandle());
        thread.start();
        thread.stop();
        QVERIFY(thread.isStopped());
    }
    QCOMPARE(simulated::openHidHandles(hidPath), 0);

    // Stopped before its start as well: the device is not read.
    plugIn();
    VXGeneralReadThread thread(64, 0, openHandle());
    thread.stop();
    thread.start();
    QVERIFY(thread.wait(patience));
    QCOMPARE(simulated::countCalls("hid_read_timeout"), 0);
}

void TestHidReads::stopWhileItReads()
{
    plugIn();
    VXGeneralReadThread thread(64, 0, openHandle());
    thread.start();
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    thread.stop();
    QVERIFY(thread.wait(patience));
    QCOMPARE(simulated::countCalls("hid_read_timeout"), 1);
}

void TestHidReads::readThatHoldsOnIsWaitedFor()
{
    plugIn();
    QSemaphore held;
    simulated::onCall("hid_read_timeout", [&] { held.acquire(); });
    auto thread = std::make_unique<VXGeneralReadThread>(64, uchar(0), openHandle());
    thread->start();
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    QElapsedTimer timer;
    timer.start();
    thread->stop();
    // The wait has its bound, and is no shorter than a read.
    QVERIFY(timer.elapsed() >= 1400);
    QVERIFY(thread->isRunning());
    held.release(1000);
    thread.reset();
    QCOMPARE(simulated::openHidHandles(hidPath), 0);
}

void TestHidReads::handleIsLetGoAtTheEnd()
{
    plugIn();
    simulated::failNext("hid_read_timeout", 31);
    HidHandle handle = openHandle();
    VXGeneralReadThread thread(64, 0, handle);
    handle.reset();
    QCOMPARE(simulated::openHidHandles(hidPath), 1);
    thread.start();
    QVERIFY(thread.wait(patience));
    QCOMPARE(simulated::openHidHandles(hidPath), 0);
}

QTEST_GUILESS_MAIN(TestHidReads)
#include "tst_hidreads.moc"
