// The client's four HID commands, over the wire and on the scripted devices.
#include "platform/simulated/simulated.h"
#include "tests/unit/app/controllerfixture.h"

#include <QJsonDocument>
#include <QSemaphore>
#include <QTest>
#include <QThreadPool>

#include <thread>

namespace
{
const QByteArray path = QByteArrayLiteral("/dev/hid0");
constexpr int patience = 30'000;
/// A device that is read is open twice: the read thread has a handle of its own.
constexpr int handles = 2;

/// What a client sends to mean the scripted device, and what it has asked for in addition.
QJsonObject device(const QJsonObject &more = {})
{
    QJsonObject identity{{"VID", 0x1234}, {"PID", 0x5678}};
    for (auto entry = more.begin(); entry != more.end(); ++entry)
        identity.insert(entry.key(), entry.value());
    return identity;
}

/// The identity as the opened device tells it.
QJsonObject openIdentity()
{
    return {{"VID", 0x1234},   {"PID", 0x5678}, {"SerialNumber", "SN1"},
            {"usagePage", -1}, {"usage", -1},   {"reportID", 0}};
}

/// Reads that return at once keep the closing short.
simulated::HidDevice quickDevice()
{
    return {.path = path, .readsReturnAtOnce = true};
}

class HidFixture : public ControllerFixture
{
public:
    explicit HidFixture(const simulated::HidDevice &device = quickDevice())
    {
        simulated::addHidDevice(device);
        start();
    }

    void open(const QJsonObject &deviceInfo = device()) { run("openHidDevice", deviceInfo); }
    void close(const QJsonObject &deviceInfo = device()) { run("closeHidDevice", deviceInfo); }
    void write(const QJsonArray &data, const QJsonObject &deviceInfo = device())
    {
        send("writeDataToHidDevice", {{"device", deviceInfo}, {"data", data}});
    }
    void query(const QJsonObject &deviceInfo = device())
    {
        send("getInputReportFromHidDevice", {{"device", deviceInfo}});
    }
    /// Sends a command; returns when the pool has nothing left to do.
    void run(const QString &command, const QJsonObject &deviceInfo)
    {
        send(command, {{"device", deviceInfo}});
        settle();
        QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
    }
};

/// So many threads for the pool while it lives.
class PoolSize
{
    Q_DISABLE_COPY_MOVE(PoolSize)

public:
    explicit PoolSize(int threads) { QThreadPool::globalInstance()->setMaxThreadCount(threads); }
    ~PoolSize() { QThreadPool::globalInstance()->setMaxThreadCount(usual); }

private:
    const int usual = QThreadPool::globalInstance()->maxThreadCount();
};

/// Moves the pool's next bodies to other threads than its last ones.
void renewPoolThreads()
{
    QThreadPool *pool = QThreadPool::globalInstance();
    QSemaphore holding;
    QSemaphore going;
    for (int thread = 0; thread < pool->maxThreadCount(); ++thread) {
        pool->start([&] {
            holding.release();
            going.acquire();
        });
    }
    holding.acquire(pool->maxThreadCount());
    going.release(pool->maxThreadCount());
    pool->waitForDone();
}
} // namespace

class ControllerHidTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void openIsNotTold();
    void keysReachTheOpen_data();
    void keysReachTheOpen();
    void missingIdsLookForZero();
    void secondOpenFindsTheFirst();
    void opensTakeTurns();
    void failedOpenStaysUntilTheClose();
    void writeIsTold_data();
    void writeIsTold();
    void writeFailureIsTold();
    void unplugWhileWritingIsTold();
    void unknownDevicesAreSilent_data();
    void unknownDevicesAreSilent();
    void inputReportIsTold();
    void inputReportFailureIsTold();
    void closeIsTold();
    void closeOfAFailedOpenIsNotTold();
    void eventsArriveWhateverThreadRan();
    void closeAndOpenOverlap();
    void idleReadHoldsNobodyUp();
    void silentDeviceHoldsUpHidCommandsOnly();
    void readDataIsNotTold();
    void quitClosesDevices();
    void quitWaitsForCommands();
    void quitWaitsForCommandsThatHaveNotBegun();
    void twoClientsRaceOnOneDevice();
    void aThousandOpensAndClosesLeaveNothing();
};

void ControllerHidTest::init()
{
    renewPoolThreads();
}

void ControllerHidTest::openIsNotTold()
{
    HidFixture fixture;
    fixture.log.clear();
    fixture.open();
    QCOMPARE(simulated::openHidHandles(path), handles);
    const QStringList lines = fixture.log.lines();
    QVERIFY(lines.first().startsWith("Info: onOpenHidDevice() : QJsonObject("));
    QVERIFY(lines.contains("Info: openDevice(): handle = 0x0"));
    QVERIFY(lines.contains("Info: onOpenHidDevice() : end"));
    fixture.settle();
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::keysReachTheOpen_data()
{
    QTest::addColumn<QJsonObject>("more");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<bool>("reads");
    QTest::addColumn<int>("reportID");
    QTest::newRow("none") << QJsonObject() << true << true << 0;
    QTest::newRow("serial number") << QJsonObject{{"SerialNumber", "SN1"}} << true << true << 0;
    QTest::newRow("another serial number")
        << QJsonObject{{"SerialNumber", "SN2"}} << false << false << 0;
    QTest::newRow("usage page") << QJsonObject{{"usagePage", 0xFF00}} << true << true << 0;
    QTest::newRow("another usage page") << QJsonObject{{"usagePage", 1}} << false << false << 0;
    QTest::newRow("usage") << QJsonObject{{"usage", 1}} << true << true << 0;
    QTest::newRow("another usage") << QJsonObject{{"usage", 2}} << false << false << 0;
    QTest::newRow("report ID") << QJsonObject{{"reportID", 9}} << true << true << 9;
    QTest::newRow("no read thread")
        << QJsonObject{{"enableReadThread", false}} << true << false << 0;
    QTest::newRow("wrong types") << QJsonObject{{"usagePage", "1"},
                                                {"usage", 2.5},
                                                {"SerialNumber", 7},
                                                {"reportID", "9"},
                                                {"enableReadThread", 0}}
                                 << true << true << 0;
}

void ControllerHidTest::keysReachTheOpen()
{
    QFETCH(const QJsonObject, more);
    QFETCH(const bool, opens);
    QFETCH(const bool, reads);
    QFETCH(const int, reportID);
    HidFixture fixture;
    fixture.open(device(more));
    QCOMPARE(simulated::openHidHandles(path), !opens ? 0 : reads ? handles : 1);
    QCOMPARE(fixture.log.lines().contains("Info: Try to start read thread."), reads);
    if (!opens)
        return;
    fixture.write({1});
    QVERIFY(!fixture.waitForEvent("hidWriteResult").isEmpty());
    QCOMPARE(int(simulated::hidWrites(path).value(0).at(0)), reportID);
}

void ControllerHidTest::missingIdsLookForZero()
{
    HidFixture fixture;
    fixture.open({});
    QVERIFY(!simulated::calls().filter("hid_enumerate 0 0").isEmpty());
    QCOMPARE(simulated::countCalls("hid_open_path"), 0);
    // The same missing IDs mean the same device.
    fixture.open({{"VID", 0}, {"PID", "x"}});
    QVERIFY(fixture.log.lines().contains("Info: onOpenHidDevice() : The device has been opened."));
}

void ControllerHidTest::secondOpenFindsTheFirst()
{
    HidFixture fixture;
    fixture.open(device({{"usagePage", 0xFF00}}));
    fixture.log.clear();
    fixture.open(device({{"usagePage", 1}}));
    QCOMPARE(simulated::countCalls("hid_open_path"), handles);
    QCOMPARE(fixture.log.lines().filter("onOpenHidDevice() : The device has been opened.").size(),
             1);
    QVERIFY(fixture.log.lines().filter("onOpenHidDevice() : end").isEmpty());
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::opensTakeTurns()
{
    const PoolSize size(2);
    HidFixture fixture;
    QSemaphore held;
    simulated::onCall("hid_enumerate", [&] { held.acquire(); });
    fixture.log.clear();
    for (int command = 0; command < 2; ++command)
        fixture.send("openHidDevice", {{"device", device()}});
    fixture.settle();
    // Both are on their way, and the second waits for the whole of the first one's open.
    QTRY_COMPARE_WITH_TIMEOUT(fixture.log.lines().filter("onOpenHidDevice() : QJsonObject").size(),
                              qsizetype(2), patience);
    QVERIFY(simulated::waitForCall("hid_enumerate", patience));
    const auto opening = [&] { return fixture.log.lines().filter("openDevice(): handle").size(); };
    QVERIFY(!QTest::qWaitFor([&] { return opening() > 1; }, 300));
    held.release(1000);
    QVERIFY(fixture.waitForLog("onOpenHidDevice() : The device has been opened."));
    QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
    QCOMPARE(simulated::openHidHandles(path), handles);
}

void ControllerHidTest::failedOpenStaysUntilTheClose()
{
    HidFixture fixture;
    simulated::failNext("hid_open_path", 5);
    fixture.open();
    QCOMPARE(fixture.log.linesOf("Critical"),
             QStringList("Critical: \"Unable to open device: Success\""));
    fixture.open();
    QVERIFY(fixture.log.lines().contains("Info: onOpenHidDevice() : The device has been opened."));
    QCOMPARE(simulated::countCalls("hid_open_path"), 1);
    fixture.query();
    QCOMPARE(fixture.waitForEvent("receivedFromGetInputReport").value("result").toInt(), -1);

    fixture.close();
    fixture.open();
    QCOMPARE(simulated::countCalls("hid_open_path"), 1 + handles);
    QCOMPARE(simulated::openHidHandles(path), handles);
    // None of the two opens was told.
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::writeIsTold_data()
{
    QTest::addColumn<QJsonArray>("data");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("bytes") << QJsonArray{1, 2, 255} << QByteArray("\x01\x02\xff");
    QTest::newRow("above 255") << QJsonArray{256, 257, 0x1FF} << QByteArray("\x00\x01\xff", 3);
    QTest::newRow("negative") << QJsonArray{-1, -256} << QByteArray("\xff\x00", 2);
    QTest::newRow("no numbers") << QJsonArray{"7", 1.5, QJsonValue::Null, 3}
                                << QByteArray("\x00\x00\x00\x03", 4);
}

void ControllerHidTest::writeIsTold()
{
    QFETCH(const QJsonArray, data);
    QFETCH(const QByteArray, bytes);
    HidFixture fixture;
    fixture.open();
    fixture.write(data);
    QCOMPARE(fixture.waitForEvent("hidWriteResult"), QJsonObject({{"device", openIdentity()},
                                                                  {"writeResult", int(data.size())},
                                                                  {"errorString", "Success"}}));
    QCOMPARE(simulated::hidWrites(path), QList<QByteArray>({'\0' + bytes.leftJustified(64, '\0')}));
    QCOMPARE(simulated::countCalls("hid_get_feature_report"), 0);
}

void ControllerHidTest::writeFailureIsTold()
{
    HidFixture fixture;
    fixture.open();
    simulated::failNext("hid_write", 31);
    fixture.write({1});
    QCOMPARE(fixture.waitForEvent("hidWriteResult"),
             QJsonObject({{"device", openIdentity()},
                          {"writeResult", -1},
                          {"errorString", "Hid write error: hid_write: (0x0000001F)"}}));
    // An operation that goes on is no failure.
    simulated::failNext("hid_write", 0x3E5);
    fixture.write({1});
    QCOMPARE(fixture.waitForEvent("hidWriteResult").value("errorString").toString(), "Success");
}

void ControllerHidTest::unplugWhileWritingIsTold()
{
    HidFixture fixture({.path = path});
    fixture.open();
    simulated::onCall("hid_write", [] { simulated::removeHidDevice(path); });
    fixture.write({1});
    QCOMPARE(fixture.waitForEvent("hidWriteResult").value("writeResult").toInt(), -1);
    // The read that was under way ends its thread, and tells only the log.
    QVERIFY(fixture.waitForLog("Hid read error: "));
    fixture.close();
    QCOMPARE(fixture.waitForEvent("deviceDidDisconnect").value("device").toObject(),
             openIdentity());
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::unknownDevicesAreSilent_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("close") << "closeHidDevice";
    QTest::newRow("write") << "writeDataToHidDevice";
    QTest::newRow("query") << "getInputReportFromHidDevice";
}

void ControllerHidTest::unknownDevicesAreSilent()
{
    QFETCH(const QString, command);
    HidFixture fixture;
    fixture.open();
    fixture.log.clear();
    fixture.run(command, {{"VID", 0x1234}, {"PID", 1}});
    fixture.run(command, {{"VID", 1}, {"PID", 0x5678}});
    fixture.settle();
    QCOMPARE(fixture.pendingEvents(), QStringList());
    QVERIFY(simulated::hidWrites(path).isEmpty());
    QCOMPARE(simulated::openHidHandles(path), handles);
    QCOMPARE(fixture.log.lines().size(), command == "closeHidDevice" ? 4 : 0);
}

void ControllerHidTest::inputReportIsTold()
{
    HidFixture fixture;
    simulated::setHidInputReport(path, QByteArray("\x05\x0a\x00\xff", 4));
    fixture.open(device({{"reportID", 5}}));
    // The device comes back as the client has named it.
    const QJsonObject named = device({{"anything", "else"}});
    fixture.query(named);
    QCOMPARE(
        fixture.waitForEvent("receivedFromGetInputReport"),
        QJsonObject({{"device", named}, {"data", QJsonArray({"a", "0", "ff"})}, {"result", 4}}));
    QCOMPARE(simulated::hidQuery(path), '\x05' + QByteArray(64, '\0'));
}

void ControllerHidTest::inputReportFailureIsTold()
{
    HidFixture fixture;
    fixture.open();
    simulated::failNext("hid_get_input_report", 31);
    fixture.query();
    QCOMPARE(fixture.waitForEvent("receivedFromGetInputReport"),
             QJsonObject({{"device", device()}, {"data", QJsonArray()}, {"result", -1}}));
    QVERIFY(fixture.log.linesOf("Critical")
                .contains("Critical: Get hid input report return an error: hid_get_input_report: "
                          "(0x0000001F)"));
}

void ControllerHidTest::closeIsTold()
{
    HidFixture fixture;
    fixture.open();
    fixture.log.clear();
    fixture.send("closeHidDevice", {{"device", device()}});
    QCOMPARE(fixture.waitForEvent("deviceDidDisconnect"),
             QJsonObject({{"device", openIdentity()}}));
    QVERIFY(fixture.log.lines().first().startsWith("Info: onCloseHidDevice() : QJsonObject("));
    QVERIFY(fixture.waitForLog("onCloseHidDevice() : end"));
    QCOMPARE(simulated::openHidHandles(path), 0);
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::closeOfAFailedOpenIsNotTold()
{
    HidFixture fixture;
    simulated::failNext("hid_open_path", 5);
    fixture.open();
    fixture.close();
    // Whatever it had to tell would come before the next device's word.
    fixture.open();
    fixture.write({1});
    QVERIFY(!fixture.waitForEvent("hidWriteResult").isEmpty());
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::eventsArriveWhateverThreadRan()
{
    // Pool threads leave after 30 s without work: an event that waits for that comes too late.
    QThreadPool::globalInstance()->setExpiryTimeout(-1);
    HidFixture fixture;
    for (int round = 0; round < 10; ++round) {
        fixture.open();
        renewPoolThreads();
        for (int write = 0; write < 4; ++write)
            fixture.write({write});
        for (int write = 0; write < 4; ++write)
            QCOMPARE(fixture.waitForEvent("hidWriteResult").value("writeResult").toInt(), 1);
        renewPoolThreads();
        fixture.close();
        QCOMPARE(fixture.waitForEvent("deviceDidDisconnect").value("device").toObject(),
                 openIdentity());
    }
    QThreadPool::globalInstance()->setExpiryTimeout(30000);
}

void ControllerHidTest::closeAndOpenOverlap()
{
    HidFixture fixture({.path = path});
    fixture.open();
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    // The old one is still busy with its read when the new one opens.
    fixture.close();
    fixture.open();
    QCOMPARE(simulated::openHidHandles(path), 2 * handles);
    fixture.write({7});
    QVERIFY(!fixture.waitForEvent("hidWriteResult").isEmpty());
    QVERIFY(!fixture.waitForEvent("deviceDidDisconnect").isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(path), handles, patience);
}

void ControllerHidTest::idleReadHoldsNobodyUp()
{
    HidFixture fixture({.path = path});
    simulated::addHidDevice({.path = "/dev/hid1", .productId = 2, .readsReturnAtOnce = true});
    const QJsonObject other = device({{"PID", 2}});
    fixture.open();
    fixture.open(other);
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    fixture.close();
    // The close takes as long as the read; the other device's word does not wait for it.
    fixture.write({1}, other);
    QVERIFY(!fixture.waitForEvent("hidWriteResult").isEmpty());
    QCOMPARE(simulated::openHidHandles(path), handles);
    QVERIFY(!fixture.waitForEvent("deviceDidDisconnect").isEmpty());
}

void ControllerHidTest::silentDeviceHoldsUpHidCommandsOnly()
{
    HidFixture fixture;
    simulated::addHidDevice({.path = "/dev/hid1", .productId = 2, .readsReturnAtOnce = true});
    fixture.open();
    fixture.open(device({{"PID", 2}}));
    QSemaphore held;
    simulated::onCall("hid_write " + path, [&] { held.acquire(); });
    fixture.write({1});
    QTRY_COMPARE_WITH_TIMEOUT(simulated::countCalls("hid_write"), 1, patience);

    // The main thread answers, and sound commands are carried out; only HID waits.
    fixture.query(device({{"PID", 2}}));
    fixture.send("setDeviceVolume", {{"deviceType", "outputDevice"},
                                     {"deviceName", "Headset"},
                                     {"deviceID", fixture.headset},
                                     {"deviceVolume", 33}});
    fixture.send("getDeviceVolume", {{"deviceName", "Headset"}, {"deviceID", fixture.headset}});
    QCOMPARE(fixture.waitForEvent("didReceiveDeviceVolume").value("deviceVolume").toInt(), 33);
    fixture.settle();
    QCOMPARE(fixture.pendingEvents(), QStringList());

    held.release();
    QVERIFY(!fixture.waitForEvent("hidWriteResult").isEmpty());
    QVERIFY(!fixture.waitForEvent("receivedFromGetInputReport").isEmpty());
}

void ControllerHidTest::readDataIsNotTold()
{
    HidFixture fixture({.path = path});
    fixture.open();
    simulated::queueHidReport(path, "\x01\x02");
    QVERIFY(simulated::waitForCalls("hid_read_timeout", 2, patience));
    simulated::failNext("hid_read_timeout", 31);
    simulated::queueHidReport(path, "\x01\x02");
    QVERIFY(fixture.waitForLog("Hid read error: "));
    fixture.settle();
    QCOMPARE(fixture.pendingEvents(), QStringList());
}

void ControllerHidTest::quitClosesDevices()
{
    HidFixture fixture({.path = path});
    simulated::addHidDevice({.path = "/dev/hid1", .productId = 2, .readsReturnAtOnce = true});
    fixture.open();
    fixture.open(device({{"PID", 2}}));
    fixture.quit();
    QCOMPARE(simulated::openHidHandles(path), 0);
    QCOMPARE(simulated::openHidHandles("/dev/hid1"), 0);
}

void ControllerHidTest::quitWaitsForCommands()
{
    HidFixture fixture;
    for (int round = 0; round < 20; ++round)
        fixture.send(round % 2 ? "closeHidDevice" : "openHidDevice", {{"device", device()}});
    fixture.settle();
    fixture.quit();
    QCOMPARE(simulated::openHidHandles(path), 0);
    QCOMPARE(simulated::countCalls("hid_close"), simulated::countCalls("hid_open_path"));
}

void ControllerHidTest::quitWaitsForCommandsThatHaveNotBegun()
{
    HidFixture fixture;
    QThreadPool *pool = QThreadPool::globalInstance();
    QSemaphore holding;
    QSemaphore going;
    const int threads = pool->maxThreadCount();
    for (int thread = 0; thread < threads; ++thread) {
        pool->start([&] {
            holding.release();
            going.acquire();
        });
    }
    holding.acquire(threads);
    fixture.send("openHidDevice", {{"device", device()}});
    fixture.settle();
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        going.release(threads);
    });
    // The program that they are for must not be gone when their turn comes.
    fixture.quit();
    const qsizetype opened = simulated::countCalls("hid_open_path");
    later.join();
    QVERIFY(pool->waitForDone(patience));
    QCOMPARE(opened, qsizetype(handles));
    QCOMPARE(simulated::openHidHandles(path), 0);
}

void ControllerHidTest::twoClientsRaceOnOneDevice()
{
    HidFixture fixture;
    QWebSocket other;
    other.open(QUrl("ws://127.0.0.1:24925"));
    QVERIFY(QTest::qWaitFor([&] { return other.isValid(); }));
    const auto sendAsOther = [&](const QString &event) {
        const QJsonObject payload{{"device", device()}, {"data", QJsonArray{1, 2, 3}}};
        other.sendTextMessage(
            QJsonDocument(QJsonObject{{"event", event}, {"payload", payload}}).toJson());
    };
    int taken = 0;
    connect(&other, &QWebSocket::textMessageReceived, this,
            [&](const QString &text) { taken += text.contains("\"heartbeat\"") ? 1 : 0; });
    for (int round = 0; round < 100; ++round) {
        fixture.send("openHidDevice", {{"device", device()}});
        sendAsOther("openHidDevice");
        fixture.write({1});
        sendAsOther("writeDataToHidDevice");
        fixture.query();
        sendAsOther("closeHidDevice");
        fixture.send("closeHidDevice", {{"device", device()}});
    }
    // Both have been heard when both heartbeats are answered, to the newest client.
    fixture.send("heartbeat");
    sendAsOther("heartbeat");
    QTRY_COMPARE_WITH_TIMEOUT(taken, 2, patience);
    QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
    other.abort();

    // No order was kept, but at most one is open, and a last close leaves none.
    fixture.send("closeHidDevice", {{"device", device()}});
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(path), 0, patience);
    QCOMPARE(simulated::countCalls("hid_close"), simulated::countCalls("hid_open_path"));
    // Every write arrived whole: that of the one client or that of the other.
    const QByteArray ours = QByteArray("\0\x01", 2).leftJustified(65, '\0');
    const QByteArray theirs = QByteArray("\0\x01\x02\x03", 4).leftJustified(65, '\0');
    const QList<QByteArray> reports = simulated::hidWrites(path);
    QCOMPARE(reports.count(ours) + reports.count(theirs), reports.size());
    QVERIFY(reports.contains(ours) || reports.contains(theirs));
}

void ControllerHidTest::aThousandOpensAndClosesLeaveNothing()
{
    constexpr qsizetype rounds = 1000;
    // One thread keeps the commands in their order: each open comes to a closed device.
    const PoolSize size(1);
    HidFixture fixture;
    fixture.run("closeHidDevice", device()); // the pool has its thread
    const qsizetype live = simulated::liveObjects();
    const qsizetype threads = simulated::threadCount();
    qsizetype told = 0;
    const auto countTold = [&] {
        told += fixture.pendingEvents().filter("deviceDidDisconnect").size();
        fixture.clearEvents();
        fixture.log.clear();
        return told;
    };
    for (int round = 0; round < rounds; ++round) {
        fixture.send("openHidDevice", {{"device", device()}});
        fixture.send("closeHidDevice", {{"device", device()}});
        if (round % 50 == 49) {
            fixture.settle();
            QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
            countTold();
        }
    }
    QTRY_COMPARE_WITH_TIMEOUT(countTold(), rounds, patience);
    QCOMPARE(simulated::countCalls("hid_open_path"), rounds * handles);
    QCOMPARE(simulated::countCalls("hid_close"), rounds * handles);
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(path), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(simulated::liveObjects(), live, patience);
    QTRY_VERIFY_WITH_TIMEOUT(simulated::threadCount() <= threads, patience);
}

QTEST_MAIN(ControllerHidTest)
#include "tst_controller_hid.moc"
