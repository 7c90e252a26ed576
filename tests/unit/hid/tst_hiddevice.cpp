// Finding, opening, asking and closing a HID device.
#include "VXLibrary/src/vxgeneraldevice.h"
#include "hidbench.h"
#include "tests/support/logcapture.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace
{
constexpr int anything = -1;

QJsonObject info(int vid, int pid, const QString &serial, int usagePage, int usage, int reportID)
{
    return {
        {"VID", vid},     {"PID", pid},          {"SerialNumber", serial}, {"usagePage", usagePage},
        {"usage", usage}, {"reportID", reportID}};
}

/// Opens the scripted device as it is by default.
bool openDefault(VXGeneralDevice &device, bool enableReadThread = false, uchar reportID = 0)
{
    return device.openDevice(enableReadThread, 0x1234, 0x5678, {}, anything, anything, reportID);
}

const QString failedWrite = QStringLiteral("Hid write error: hid_write: (0x0000001F)");

/// A line of one text, which stands in quotes.
QString quoted(const QString &escaped)
{
    return "Info: \"" + escaped + '"';
}
} // namespace

class TestHidDevice : public QObject
{
    Q_OBJECT

private slots:
    void signalsStandInOrder();
    void firstMatchIsOpened_data();
    void firstMatchIsOpened();
    void openIsTold();
    void unknownDeviceIsTold();
    void failedOpenIsTold();
    void onlyTheFirstMatchIsTried();
    void openDeviceStaysAsItIs();
    void missingStrings();
    void stringsAreEscapedInTheLog();
    void readThreadIsOptional();
    void dataComesWithTheIdentity();
    void readsFollowTheReportID();
    void writesComeWithTheIdentity();
    void featureReportComesWithTheIdentity();
    void closedDeviceIsSilent();
    void closeEndsEverything();
    void identityOutlivesTheClose();
    void deviceOpensAgain();
    void deadReadThreadIsKeptUntilTheClose();
    void threadsWithoutADevice();
    void inputReport_data();
    void inputReport();
    void failedInputReport();
    void inputReportOfAClosedDevice();
    void closeWhileAReadHoldsOn();
    void closeWhileAReadHoldsOnWithoutAnEventLoop();
    void unpluggedWhileOpen();
    void destructionCloses();
    void aThousandOpensAndClosesLeaveNothing();
    void devicesOfSeveralThreads();
    void readsHaveAHandleOfTheirOwn();
    void deviceThatOpensOnceIsReadAllTheSame();
    void readLeavesAWritesText();
    void queryLeavesAWritesText();
    void failuresBesideReads();
};

void TestHidDevice::signalsStandInOrder()
{
    QStringList found;
    const QMetaObject &meta = VXGeneralDevice::staticMetaObject;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        QCOMPARE(meta.method(index).methodType(), QMetaMethod::Signal);
        found.append(QString::fromLatin1(meta.method(index).methodSignature()));
    }
    QCOMPARE(found, QStringList({"sigUnableToOpenDevice(QJsonObject,QString)",
                                 "sigDeviceOpened(QJsonObject)", "sigDeviceClosed(QJsonObject)",
                                 "sigReadData(QJsonObject,QByteArray)",
                                 "sigReadError(QJsonObject,int,QString)",
                                 "sigWriteResult(QJsonObject,int,QString)",
                                 "sigGetFeatureReport(QJsonObject,int,QString,QJsonArray)"}));
}

void TestHidDevice::firstMatchIsOpened_data()
{
    QTest::addColumn<int>("vid");
    QTest::addColumn<int>("pid");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("usagePage");
    QTest::addColumn<int>("usage");
    QTest::addColumn<QString>("path");
    QTest::newRow("first in the list") << 1 << 2 << "" << anything << anything << "a";
    QTest::newRow("usage page") << 1 << 2 << "" << 0xFF01 << anything << "b";
    QTest::newRow("usage") << 1 << 2 << "" << anything << 6 << "b";
    QTest::newRow("usage page and usage") << 1 << 2 << "" << 0xFF00 << 6 << "";
    QTest::newRow("serial number") << 1 << 2 << "S2" << anything << anything << "c";
    QTest::newRow("serial number's case") << 1 << 2 << "s2" << anything << anything << "";
    QTest::newRow("beginning of a serial number") << 1 << 2 << "S" << anything << anything << "";
    QTest::newRow("product") << 1 << 3 << "" << anything << anything << "d";
    QTest::newRow("vendor") << 9 << 2 << "" << anything << anything << "";
    QTest::newRow("usage page 0") << 1 << 2 << "" << 0 << anything << "";
    // hidapi takes 0 for any, the match does not.
    QTest::newRow("vendor 0") << 0 << 2 << "" << anything << anything << "";
    QTest::newRow("product 0") << 1 << 0 << "" << anything << anything << "";
    QTest::newRow("vendor beyond 16 bits") << 0x10001 << 2 << "" << anything << anything << "";
}

void TestHidDevice::firstMatchIsOpened()
{
    QFETCH(const int, vid);
    QFETCH(const int, pid);
    QFETCH(const QString, serial);
    QFETCH(const int, usagePage);
    QFETCH(const int, usage);
    QFETCH(const QString, path);
    simulated::reset();
    const auto add = [](const char *name, ushort product, const QString &serialNumber, ushort page,
                        ushort use) {
        simulated::addHidDevice({.path = name,
                                 .vendorId = 1,
                                 .productId = product,
                                 .serialNumber = serialNumber,
                                 .usagePage = page,
                                 .usage = use});
    };
    add("a", 2, "S1", 0xFF00, 5);
    add("b", 2, "S1", 0xFF01, 6);
    add("c", 2, "S2", 0xFF00, 5);
    add("d", 3, "S1", 0xFF00, 5);

    VXGeneralDevice device;
    QCOMPARE(device.openDevice(false, vid, pid, serial, usagePage, usage, 0), !path.isEmpty());
    QCOMPARE(simulated::countCalls("hid_open_path"), path.isEmpty() ? 0 : 1);
    if (!path.isEmpty())
        QCOMPARE(simulated::openHidHandles(path.toLatin1()), 1);
}

void TestHidDevice::openIsTold()
{
    plugIn();
    LogCapture log;
    VXGeneralDevice device;
    QSignalSpy opened(&device, &VXGeneralDevice::sigDeviceOpened);
    QVERIFY(device.openDevice(false, 0x1234, 0x5678, {}, 0xFF00, anything, 7));
    // The device's own serial number, the usages as they were asked for.
    const QJsonObject identity = info(0x1234, 0x5678, "SN1", 0xFF00, anything, 7);
    QCOMPARE(opened.size(), 1);
    QCOMPARE(opened.at(0).at(0).toJsonObject(), identity);
    QCOMPARE(device.deviceInfo(), identity);
    QCOMPARE(device.vendorID(), 0x1234);
    QCOMPARE(device.productID(), 0x5678);
    QCOMPARE(log.lines(),
             QStringList({"Info: openDevice(): handle = 0x0",
                          "Info: openDevice(): Find device, path = /dev/hid0",
                          quoted("hid_get_manufacturer_string(handle, wstr, MAX_STR) return 0; "
                                 "Manufacturer String: Maker;"),
                          quoted("hid_get_product_string(handle, wstr, MAX_STR) return 0; "
                                 "Product String: Product;"),
                          quoted("hid_get_serial_number_string(handle, wstr, MAX_STR) return 0; "
                                 "Serial Number String: (83) SN1;"),
                          quoted("hid_get_indexed_string(handle, wstr, MAX_STR) return 0; "
                                 "Indexed String: String 1;"),
                          "Info: Try to start write thread."}));
    QCOMPARE(callsOf({"hid_init", "hid_enumerate", "hid_open_path", "hid_free_enumeration",
                      "hid_get_manufacturer_string", "hid_exit"}),
             QStringList({"hid_init", "hid_enumerate", "hid_open_path", "hid_free_enumeration",
                          "hid_get_manufacturer_string"}));
}

void TestHidDevice::unknownDeviceIsTold()
{
    simulated::reset();
    LogCapture log;
    VXGeneralDevice device;
    QSignalSpy failed(&device, &VXGeneralDevice::sigUnableToOpenDevice);
    QSignalSpy opened(&device, &VXGeneralDevice::sigDeviceOpened);
    QVERIFY(!device.openDevice(true, 1, 2, "S", 3, 4, 5));
    const QString text = "Unable to open device: device not found";
    QCOMPARE(failed.size(), 1);
    // The identity is what was asked for; the object's own is untouched.
    QCOMPARE(failed.at(0), QVariantList({info(1, 2, "S", 3, 4, 5), text}));
    QCOMPARE(device.deviceInfo(), info(0, 0, "", -1, -1, 0));
    QCOMPARE(opened.size(), 0);
    QCOMPARE(log.linesOf("Critical"), QStringList("Critical: \"" + text + '"'));
    QCOMPARE(callsOf({"hid_init", "hid_enumerate", "hid_open_path", "hid_exit"}),
             QStringList({"hid_init", "hid_enumerate", "hid_exit"}));
    QCOMPARE(simulated::liveObjects(), 0);
}

void TestHidDevice::failedOpenIsTold()
{
    plugIn();
    simulated::failNext("hid_open_path", 5);
    LogCapture log;
    VXGeneralDevice device;
    QSignalSpy failed(&device, &VXGeneralDevice::sigUnableToOpenDevice);
    QVERIFY(!openDefault(device));
    // The library is closed before it is asked, and has forgotten why.
    QCOMPARE(failed.at(0),
             QVariantList({info(0x1234, 0x5678, "", -1, -1, 0), "Unable to open device: Success"}));
    QCOMPARE(log.linesOf("Critical"), QStringList("Critical: \"Unable to open device: Success\""));
    QCOMPARE(callsOf({"hid_open_path", "hid_free_enumeration", "hid_exit"}),
             QStringList({"hid_open_path", "hid_free_enumeration", "hid_exit"}));

    // What the library says of its end is what is reported.
    simulated::failNext("hid_open_path", 5);
    simulated::failNext("hid_exit", 6);
    QVERIFY(!openDefault(device));
    QCOMPARE(failed.at(1).at(1).toString(), "Unable to open device: hid_exit: (0x00000006)");
}

void TestHidDevice::onlyTheFirstMatchIsTried()
{
    plugIn();
    simulated::addHidDevice({.path = "/dev/hid1"});
    simulated::failNext("hid_open_path", 5);
    VXGeneralDevice device;
    QVERIFY(!openDefault(device));
    QCOMPARE(simulated::countCalls("hid_open_path"), 1);
}

void TestHidDevice::openDeviceStaysAsItIs()
{
    plugIn();
    VXGeneralDevice device;
    QVERIFY(openDefault(device));
    QSignalSpy opened(&device, &VXGeneralDevice::sigDeviceOpened);
    QSignalSpy failed(&device, &VXGeneralDevice::sigUnableToOpenDevice);
    simulated::clearCalls();
    LogCapture log;
    QVERIFY(device.openDevice(true, 77, 88, "other", 1, 2, 3));
    QCOMPARE(log.lines().size(), 2);
    QVERIFY(log.lines().at(0).startsWith("Info: openDevice(): handle = 0x"));
    QVERIFY(log.lines().at(0) != "Info: openDevice(): handle = 0x0");
    QCOMPARE(log.lines().at(1), "Info: 当前USB设备已打开！");
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(opened.size() + failed.size(), 0);
    QCOMPARE(device.vendorID(), 0x1234);
}

void TestHidDevice::missingStrings()
{
    plugIn();
    simulated::failNext("hid_get_product_string", 31);
    simulated::failNext("hid_get_serial_number_string", 31);
    LogCapture log;
    VXGeneralDevice device;
    QVERIFY(device.openDevice(false, 0x1234, 0x5678, "SN1", anything, anything, 0));
    QVERIFY(log.lines().contains(quoted("hid_get_product_string(handle, wstr, MAX_STR) "
                                        "return -1; Product String: ;")));
    QVERIFY(log.lines().contains(quoted("hid_get_serial_number_string(handle, wstr, MAX_STR) "
                                        "return -1; Serial Number String: (0) ;")));
    QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), "");
}

void TestHidDevice::stringsAreEscapedInTheLog()
{
    const QString serial = "a\"b\nc %1";
    plugIn({.path = hidPath, .serialNumber = serial});
    const LogCapture log;
    VXGeneralDevice device;
    QVERIFY(openDefault(device));
    QCOMPARE(log.lines().filter("Serial Number"),
             QStringList(quoted("hid_get_serial_number_string(handle, wstr, MAX_STR) return 0; "
                                "Serial Number String: (97) a\\\"b\\nc %1;")));
    QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), serial);
}

void TestHidDevice::readThreadIsOptional()
{
    plugIn();
    VXGeneralDevice device;
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    LogCapture log;
    QVERIFY(openDefault(device, false));
    simulated::queueHidReport(hidPath, "\x01");
    QVERIFY(!log.lines().contains("Info: Try to start read thread."));
    QVERIFY(log.lines().contains("Info: Try to start write thread."));

    // Started later, it finds what waits.
    device.tryToStartReadThread();
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);

    // There is no second one of either. One that has not begun yet is replaced.
    const auto startsNone = [&] {
        log.clear();
        device.tryToStartReadThread();
        device.tryToStartWriteThread();
        return log.linesOf("Info").filter("Try to start").isEmpty();
    };
    QTRY_VERIFY_WITH_TIMEOUT(startsNone(), patience);
    QVERIFY(startsNone());
}

void TestHidDevice::dataComesWithTheIdentity()
{
    plugIn();
    VXGeneralDevice device;
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    QSignalSpy errors(&device, &VXGeneralDevice::sigReadError);
    QVERIFY(openDefault(device, true));
    simulated::queueHidReport(hidPath, "\x01\x02");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    QCOMPARE(data.at(0), QVariantList({device.deviceInfo(), QByteArray("\x01\x02")}));

    simulated::failNext("hid_read_timeout", 31);
    simulated::queueHidReport(hidPath, "\x03");
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    QCOMPARE(errors.at(0), QVariantList({device.deviceInfo(), -1,
                                         "Hid read error: hid_read_timeout: (0x0000001F)"}));
}

void TestHidDevice::readsFollowTheReportID()
{
    plugIn({.path = hidPath, .usesReportIds = true, .readsReturnAtOnce = true});
    for (const uchar reportID : {0, 3}) {
        VXGeneralDevice device;
        QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
        QVERIFY(openDefault(device, true, reportID));
        simulated::queueHidReport(hidPath, "\x03\x02\x01");
        QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
        QCOMPARE(data.at(0).at(1).toByteArray(),
                 QByteArray(reportID ? "\x02\x01" : "\x03\x02\x01"));
    }
}

void TestHidDevice::writesComeWithTheIdentity()
{
    plugIn({.path = hidPath, .outputLength = 4});
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QVERIFY(openDefault(device, false, 9));
    device.writeData("abcde", VXHidOutput, false);
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.at(0), QVariantList({device.deviceInfo(), 5, "Success"}));
    QCOMPARE(simulated::hidWrites(hidPath), QList<QByteArray>({QByteArray("\x09"
                                                                          "abcd"),
                                                               QByteArray("\x09"
                                                                          "e\0\0\0",
                                                                          5)}));
}

void TestHidDevice::featureReportComesWithTheIdentity()
{
    plugIn({.path = hidPath, .featureLength = 4});
    simulated::setHidFeatureReport(hidPath, "\x01\x02");
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QSignalSpy features(&device, &VXGeneralDevice::sigGetFeatureReport);
    QVERIFY(openDefault(device));
    device.writeData("ab", VXHidFeature, true);
    QCOMPARE(results.at(0), QVariantList({device.deviceInfo(), 2, "Success"}));
    QCOMPARE(features.at(0), QVariantList({device.deviceInfo(), 2, "Success", QJsonArray({"2"})}));
    QCOMPARE(simulated::hidFeatureWrites(hidPath), QList<QByteArray>({QByteArray("\0ab\0\0", 5)}));
}

void TestHidDevice::closedDeviceIsSilent()
{
    plugIn();
    VXGeneralDevice device;
    QSignalSpy closed(&device, &VXGeneralDevice::sigDeviceClosed);
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    LogCapture log;
    device.closeDevice();
    device.writeData("ab", VXHidOutput, false);
    QCOMPARE(closed.size() + results.size(), 0);
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(log.lines(), QStringList());

    // The same after a close.
    QVERIFY(openDefault(device));
    device.closeDevice();
    simulated::clearCalls();
    log.clear();
    device.closeDevice();
    QCOMPARE(closed.size(), 1);
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(log.lines(), QStringList());
}

void TestHidDevice::closeEndsEverything()
{
    plugIn({.path = hidPath, .readsReturnAtOnce = true});
    const qsizetype threads = simulated::threadCount();
    VXGeneralDevice device;
    QSignalSpy closed(&device, &VXGeneralDevice::sigDeviceClosed);
    QVERIFY(openDefault(device, true));
    LogCapture log;
    device.closeDevice();
    QCOMPARE(closed.size(), 1);
    QCOMPARE(closed.at(0).at(0).toJsonObject(), device.deviceInfo());
    QStringList lines = log.lines();
    lines.removeAll("Info: 启动接收数据线程。");
    QCOMPARE(lines,
             QStringList({"Info: Try to stop write thread.", "Info: Try to stop read thread.",
                          "Info: hid_close(): handle = 0x0", "Info: hid_exit(): result = 0"}));
    QCOMPARE(callsOf({"hid_close", "hid_exit"}),
             QStringList({"hid_close", "hid_close", "hid_exit"}));
    QTRY_VERIFY_WITH_TIMEOUT(simulated::threadCount() <= threads, patience);
    QCOMPARE(simulated::liveObjects(), 0);

    // The library's result is logged as it is.
    QVERIFY(openDefault(device, true));
    simulated::failNext("hid_exit", 1);
    device.closeDevice();
    QCOMPARE(log.lines().last(), "Info: hid_exit(): result = -1");
}

void TestHidDevice::identityOutlivesTheClose()
{
    plugIn();
    VXGeneralDevice device;
    QVERIFY(openDefault(device, false, 3));
    const QJsonObject identity = device.deviceInfo();
    device.closeDevice();
    QCOMPARE(device.deviceInfo(), identity);
    QVERIFY(!device.openDevice(false, 9, 9, {}, 1, 1, 1));
    QCOMPARE(device.deviceInfo(), identity);
}

void TestHidDevice::deviceOpensAgain()
{
    plugIn({.path = hidPath, .readsReturnAtOnce = true});
    VXGeneralDevice device;
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    for (int round = 1; round <= 3; ++round) {
        QVERIFY(openDefault(device, true));
        simulated::queueHidReport(hidPath, "\x05");
        QTRY_COMPARE_WITH_TIMEOUT(data.size(), round, patience);
        device.writeData("a", VXHidOutput, false);
        QCOMPARE(simulated::hidWrites(hidPath).size(), round);
        device.closeDevice();
    }
    QCOMPARE(simulated::openHidHandles(hidPath), 0);
}

void TestHidDevice::deadReadThreadIsKeptUntilTheClose()
{
    plugIn();
    simulated::failNext("hid_read_timeout", 31);
    VXGeneralDevice device;
    QSignalSpy errors(&device, &VXGeneralDevice::sigReadError);
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    QVERIFY(openDefault(device, true));
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    LogCapture log;
    device.tryToStartReadThread();
    QCOMPARE(log.lines(), QStringList());

    // Writes go on, and a close and an open bring the reads back.
    device.writeData("a", VXHidOutput, false);
    QCOMPARE(simulated::hidWrites(hidPath).size(), 1);
    device.closeDevice();
    QVERIFY(openDefault(device, true));
    simulated::queueHidReport(hidPath, "\x01");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
}

void TestHidDevice::threadsWithoutADevice()
{
    simulated::reset();
    VXGeneralDevice device;
    QSignalSpy errors(&device, &VXGeneralDevice::sigReadError);
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QSignalSpy closed(&device, &VXGeneralDevice::sigDeviceClosed);
    device.tryToStartReadThread();
    device.tryToStartWriteThread();
    QTRY_COMPARE_WITH_TIMEOUT(errors.size() + results.size(), 2, patience);
    QCOMPARE(errors.at(0), QVariantList({device.deviceInfo(), 0, "Device not open!"}));
    QCOMPARE(results.at(0), QVariantList({device.deviceInfo(), 0, "Device not open!"}));
    // They never began: others may take their place.
    device.tryToStartReadThread();
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 2, patience);
    device.closeDevice();
    QCOMPARE(closed.size(), 0);
    QCOMPARE(simulated::calls(), QStringList());
}

void TestHidDevice::inputReport_data()
{
    QTest::addColumn<int>("inputLength");
    QTest::addColumn<QByteArray>("report");
    QTest::addColumn<int>("asked");
    QTest::addColumn<QJsonArray>("expected");
    QTest::newRow("four bytes") << 8 << QByteArray("\x05\x0a\x00\xff", 4) << 8
                                << QJsonArray{"a", "0", "ff"};
    QTest::newRow("the ID alone") << 8 << QByteArray("\x05") << 8 << QJsonArray();
    QTest::newRow("nothing") << 8 << QByteArray() << 8 << QJsonArray();
    QTest::newRow("no length") << 0 << QByteArray("\x05\x0a") << 64 << QJsonArray{"a"};
    QTest::newRow("unknown length") << -1 << QByteArray("\x05\x0a") << 64 << QJsonArray{"a"};
}

void TestHidDevice::inputReport()
{
    QFETCH(const int, inputLength);
    QFETCH(const QByteArray, report);
    QFETCH(const int, asked);
    QFETCH(const QJsonArray, expected);
    plugIn({.path = hidPath, .inputLength = inputLength});
    simulated::setHidInputReport(hidPath, report);
    VXGeneralDevice device;
    QVERIFY(openDefault(device, false, 5));
    QJsonArray data;
    QCOMPARE(device.getInputReport(data), int(report.size()));
    QCOMPARE(data, expected);
    QCOMPARE(simulated::hidQuery(hidPath), '\x05' + QByteArray(asked, '\0'));
    // A length that the open did not learn is asked for again, once.
    QCOMPARE(device.getInputReport(data), int(report.size()));
    QCOMPARE(simulated::countCalls("hid_get_input_report_lenght"), inputLength < 1 ? 2 : 1);
}

void TestHidDevice::failedInputReport()
{
    plugIn();
    VXGeneralDevice device;
    QVERIFY(openDefault(device));
    simulated::failNext("hid_get_input_report", 31);
    LogCapture log;
    QJsonArray data;
    QCOMPARE(device.getInputReport(data), -1);
    QCOMPARE(data, QJsonArray());
    QCOMPARE(log.lines(), QStringList("Critical: Get hid input report return an error: "
                                      "hid_get_input_report: (0x0000001F)"));
}

void TestHidDevice::inputReportOfAClosedDevice()
{
    plugIn();
    VXGeneralDevice device;
    LogCapture log;
    QJsonArray data;
    QCOMPARE(device.getInputReport(data), -1);
    QCOMPARE(log.lines(), QStringList());
    QCOMPARE(simulated::calls(), QStringList());
}

void TestHidDevice::closeWhileAReadHoldsOn()
{
    plugIn();
    const qsizetype threads = simulated::threadCount();
    QSemaphore held;
    simulated::onCall("hid_read_timeout", [&] { held.acquire(); });
    VXGeneralDevice device;
    QSignalSpy closed(&device, &VXGeneralDevice::sigDeviceClosed);
    QVERIFY(openDefault(device, true));
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    device.closeDevice();
    QCOMPARE(closed.size(), 1);
    // The read still has its device, which is closed as soon as the read is over.
    QCOMPARE(simulated::openHidHandles(hidPath), 1);
    held.release(1000);
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(hidPath), 0, patience);
    QTRY_VERIFY_WITH_TIMEOUT(simulated::threadCount() <= threads, patience);
}

void TestHidDevice::closeWhileAReadHoldsOnWithoutAnEventLoop()
{
    plugIn();
    const qsizetype threads = simulated::threadCount();
    QSemaphore held;
    simulated::onCall("hid_read_timeout", [&] { held.acquire(); });
    // As a thread of the pool does it, which is over before the read is.
    std::thread([] {
        VXGeneralDevice device;
        openDefault(device, true);
        static_cast<void>(simulated::waitForCall("hid_read_timeout", patience));
    }).join();
    QCOMPARE(simulated::openHidHandles(hidPath), 1);
    held.release(1000);
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(hidPath), 0, patience);
    QTRY_VERIFY_WITH_TIMEOUT(simulated::threadCount() <= threads, patience);
}

void TestHidDevice::unpluggedWhileOpen()
{
    plugIn();
    VXGeneralDevice device;
    QSignalSpy errors(&device, &VXGeneralDevice::sigReadError);
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QSignalSpy closed(&device, &VXGeneralDevice::sigDeviceClosed);
    QVERIFY(openDefault(device, true));
    simulated::removeHidDevice(hidPath);
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    device.writeData("ab", VXHidOutput, false);
    QCOMPARE(results.at(0).at(1).toInt(), -1);
    QJsonArray data;
    QCOMPARE(device.getInputReport(data), -1);
    device.closeDevice();
    QCOMPARE(closed.size(), 1);
    QCOMPARE(simulated::liveObjects(), 0);
}

void TestHidDevice::destructionCloses()
{
    plugIn();
    int closed = 0;
    {
        VXGeneralDevice device;
        connect(&device, &VXGeneralDevice::sigDeviceClosed, this, [&] { ++closed; });
        QVERIFY(openDefault(device));
    }
    QCOMPARE(closed, 1);
    QCOMPARE(simulated::liveObjects(), 0);
}

void TestHidDevice::aThousandOpensAndClosesLeaveNothing()
{
    plugIn({.path = hidPath, .readsReturnAtOnce = true});
    const qsizetype threads = simulated::threadCount();
    LogCapture log;
    for (int round = 0; round < 1000; ++round) {
        VXGeneralDevice device;
        QVERIFY(openDefault(device, true));
        device.closeDevice();
        simulated::clearCalls();
    }
    QCOMPARE(simulated::openHidHandles(hidPath), 0);
    QCOMPARE(simulated::liveObjects(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(simulated::threadCount() <= threads, patience);
}

void TestHidDevice::devicesOfSeveralThreads()
{
    simulated::reset();
    for (const char *path : {"a", "b", "c"})
        simulated::addHidDevice({.path = path, .serialNumber = path, .readsReturnAtOnce = true});
    const auto work = [](const char *serial) {
        for (int round = 0; round < 50; ++round) {
            VXGeneralDevice device;
            device.openDevice(true, 0x1234, 0x5678, serial, anything, anything, 0);
            device.writeData("abc", VXHidOutput, false);
            device.closeDevice();
        }
    };
    std::thread first(work, "a");
    std::thread second(work, "b");
    std::thread third(work, "c");
    first.join();
    second.join();
    third.join();
    for (const char *path : {"a", "b", "c"})
        QCOMPARE(simulated::hidWrites(path).size(), 50);
    QCOMPARE(simulated::liveObjects(), 0);
}

void TestHidDevice::readsHaveAHandleOfTheirOwn()
{
    plugIn();
    VXGeneralDevice device;
    QSignalSpy errors(&device, &VXGeneralDevice::sigReadError);
    QVERIFY(openDefault(device, true));
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    QCOMPARE(simulated::openHidHandles(hidPath), 2);
    QCOMPARE(callsOf({"hid_open_path", "hid_exit"}),
             QStringList({"hid_open_path", "hid_open_path"}));

    // It ends with the reads.
    simulated::failNext("hid_read_timeout", 31);
    simulated::queueHidReport(hidPath, "\x01");
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, patience);
    QTRY_COMPARE_WITH_TIMEOUT(simulated::openHidHandles(hidPath), 1, patience);
}

void TestHidDevice::deviceThatOpensOnceIsReadAllTheSame()
{
    plugIn();
    // The first open has been decided by the time that it is seen.
    simulated::onCall("hid_open_path", [] { simulated::failNext("hid_open_path", 5); });
    const LogCapture log;
    VXGeneralDevice device;
    QSignalSpy opened(&device, &VXGeneralDevice::sigDeviceOpened);
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    QVERIFY(openDefault(device, true));
    QCOMPARE(opened.size(), 1);
    QCOMPARE(simulated::countCalls("hid_open_path"), 2);
    QCOMPARE(simulated::openHidHandles(hidPath), 1);
    simulated::queueHidReport(hidPath, "\x01");
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    device.writeData("a", VXHidOutput, false);
    QCOMPARE(simulated::hidWrites(hidPath).size(), 1);
    device.closeDevice();
    QCOMPARE(simulated::openHidHandles(hidPath), 0);
    QCOMPARE(log.linesOf("Critical"), QStringList());
}

void TestHidDevice::readLeavesAWritesText()
{
    plugIn();
    simulated::failNext("hid_write", 31);
    bool readOn = false;
    // Two reads begin between the write and the question what it failed of.
    simulated::onCall("hid_error", [&] {
        const qsizetype reads = simulated::countCalls("hid_read_timeout");
        simulated::queueHidReport(hidPath, "\x01");
        simulated::queueHidReport(hidPath, "\x02");
        readOn = simulated::waitForCalls("hid_read_timeout", reads + 2, patience);
    });
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QVERIFY(openDefault(device, true));
    QVERIFY(simulated::waitForCall("hid_read_timeout", patience));
    device.writeData("a", VXHidOutput, false);
    QVERIFY(readOn);
    QCOMPARE(results.at(0).at(2).toString(), failedWrite);
}

void TestHidDevice::queryLeavesAWritesText()
{
    plugIn();
    simulated::setHidInputReport(hidPath, "\x01");
    simulated::failNext("hid_write", 31);
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QVERIFY(openDefault(device));
    std::future<int> query;
    simulated::onCall("hid_error", [&] {
        query = std::async(std::launch::async, [&] {
            QJsonArray data;
            return device.getInputReport(data);
        });
        query.wait_for(std::chrono::milliseconds(300));
    });
    device.writeData("a", VXHidOutput, false);
    QCOMPARE(results.at(0).at(2).toString(), failedWrite);
    QCOMPARE(query.get(), 1);
}

void TestHidDevice::failuresBesideReads()
{
    constexpr int rounds = 3000;
    plugIn({.path = hidPath, .readsReturnAtOnce = true});
    simulated::failAlways("hid_write", 31);
    simulated::failAlways("hid_get_input_report", 32);
    for (int report = 0; report < 10 * rounds; ++report)
        simulated::queueHidReport(hidPath, "\x01");
    LogCapture log;
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    QVERIFY(openDefault(device, true));
    std::thread asking([&] {
        for (int round = 0; round < rounds; ++round) {
            QJsonArray nothing;
            device.getInputReport(nothing);
        }
    });
    for (int round = 0; round < rounds; ++round)
        device.writeData(QByteArray(64, 'a'), VXHidOutput, false);
    asking.join();
    QTRY_VERIFY_WITH_TIMEOUT(!data.isEmpty(), patience);

    QCOMPARE(results.size(), rounds);
    for (const QVariantList &result : std::as_const(results))
        QCOMPARE(result.at(2).toString(), failedWrite);
    const QStringList asked = log.linesOf("Critical").filter("Get hid input report");
    QCOMPARE(asked.size(), rounds);
    QCOMPARE(asked.count("Critical: Get hid input report return an error: "
                         "hid_get_input_report: (0x00000020)"),
             rounds);
}

QTEST_GUILESS_MAIN(TestHidDevice)
#include "tst_hiddevice.moc"
