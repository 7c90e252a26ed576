// Emulated devices through the real hidapi: enumeration, opening, lengths and reports.
#include "VXLibrary/src/vxgeneraldevice.h"
#include "hidbed.h"
#include "platform/hid.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

namespace
{
constexpr int anything = -1;
constexpr int patience = 30'000;

const QByteArray mouse = QByteArray::fromHex(
    "05010902a1010901a1000509190129031500250195037501810295017505810305010930093109381581257f7508"
    "95038106c0c0");
/// Input reports 1 (5 bytes) and 2 (9 bytes), output report 1 (4 bytes), feature report 2 (2).
const QByteArray numbered =
    QByteArray::fromHex("0600ff0901a1018501750895058102950491028502950981029502b102c0");
/// One vendor page, 8 bytes each way.
const QByteArray vendorPage = QByteArray::fromHex("0601ff0907a10175089508810295089102c0");
const QByteArray cutOff = QByteArray::fromHex("0602ff0907a10175089508810297ff");
} // namespace

class TestHidraw : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { bed.reset(); }
    void devicesAreListed();
    void lengths_data();
    void lengths();
    void lengthsOfNoDevice();
    void usagePageChoosesTheInterface();
    void serialNumberChoosesTheDevice();
    void unknownDeviceIsTold();
    void libraryForgetsItsErrorAtTheEnd();
    void reportsAreWritten();
    void reportsAreRead_data();
    void reportsAreRead();
    void inputReportIsAsked();
    void opensAndClosesLeaveNothing();

private:
    std::unique_ptr<HidBed> bed;
};

void TestHidraw::initTestCase()
{
    bed = std::make_unique<HidBed>();
    bed->add({"1111", "0001", "M1", mouse});
    bed->add({"2222", "0002", "N1", numbered});
    // One product with two interfaces of differing usage pages.
    bed->add({"3333", "0003", "T1", numbered});
    bed->add({"3333", "0003", "T2", vendorPage});
    bed->add({"4444", "0004", "C1", cutOff});
}

void TestHidraw::devicesAreListed()
{
    hid_device_info *const list = hid_enumerate(0, 0);
    QStringList found;
    for (const hid_device_info *entry = list; entry; entry = entry->next)
        found.append(QStringLiteral("%1 %2 %3")
                         .arg(entry->path)
                         .arg(entry->vendor_id, 4, 16)
                         .arg(QString::fromWCharArray(entry->serial_number)));
    hid_free_enumeration(list);
    found.removeDuplicates();
    found.sort();
    QCOMPARE(found,
             QStringList({"/dev/hidraw0 1111 M1", "/dev/hidraw1 2222 N1", "/dev/hidraw2 3333 T1",
                          "/dev/hidraw3 3333 T2", "/dev/hidraw4 4444 C1"}));
}

void TestHidraw::lengths_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QList<int>>("expected");
    QTest::addColumn<bool>("usesReportIds");
    QTest::newRow("mouse") << 0 << QList<int>{4, -1, -1} << false;
    QTest::newRow("numbered") << 1 << QList<int>{9, 2, 4} << true;
    QTest::newRow("vendor page") << 3 << QList<int>{8, -1, 8} << false;
    QTest::newRow("cut off") << 4 << QList<int>{-1, -1, -1} << false;
}

void TestHidraw::lengths()
{
    QFETCH(const int, index);
    QFETCH(const QList<int>, expected);
    QFETCH(const bool, usesReportIds);
    hid_device *device = hid_open_path(("/dev/hidraw" + QByteArray::number(index)).constData());
    QVERIFY(device);
    const QList<int> found{hid_get_input_report_lenght(device),
                           hid_get_feature_report_lenght(device),
                           hid_get_output_report_lenght(device)};
    const bool numbers = hidUsesReportIds(device);
    hid_close(device);
    QCOMPARE(found, expected);
    QCOMPARE(numbers, usesReportIds);
}

void TestHidraw::lengthsOfNoDevice()
{
    QVERIFY(hid_get_input_report_lenght(nullptr) < 1);
    QVERIFY(hid_get_feature_report_lenght(nullptr) < 1);
    QVERIFY(hid_get_output_report_lenght(nullptr) < 1);
    QVERIFY(!hidUsesReportIds(nullptr));
}

void TestHidraw::usagePageChoosesTheInterface()
{
    VXGeneralDevice device;
    QVERIFY(device.openDevice(false, 0x3333, 3, {}, 0xFF01, anything, 0));
    device.writeData("a", VXHidOutput, false);
    QCOMPARE(bed->writes(3).last(), '\0' + QByteArray("a").leftJustified(8, '\0'));
    QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), "T2");
    device.closeDevice();

    QVERIFY(device.openDevice(false, 0x3333, 3, {}, 0xFF00, anything, 1));
    QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), "T1");
    device.closeDevice();
    QVERIFY(!device.openDevice(false, 0x3333, 3, {}, 0xFF05, anything, 0));

    // Any page: the first in hidapi's list.
    hid_device_info *const list = hid_enumerate(0x3333, 3);
    const QString first = QString::fromWCharArray(list->serial_number);
    hid_free_enumeration(list);
    QVERIFY(device.openDevice(false, 0x3333, 3, {}, anything, anything, 0));
    QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), first);
}

void TestHidraw::serialNumberChoosesTheDevice()
{
    for (const char *serial : {"T1", "T2"}) {
        VXGeneralDevice device;
        QVERIFY(device.openDevice(false, 0x3333, 3, serial, anything, anything, 0));
        QCOMPARE(device.deviceInfo()["SerialNumber"].toString(), serial);
    }
}

void TestHidraw::unknownDeviceIsTold()
{
    VXGeneralDevice device;
    QSignalSpy failed(&device, &VXGeneralDevice::sigUnableToOpenDevice);
    QVERIFY(!device.openDevice(true, 0x1111, 2, {}, anything, anything, 0));
    QCOMPARE(failed.at(0).at(1).toString(), "Unable to open device: device not found");
}

void TestHidraw::libraryForgetsItsErrorAtTheEnd()
{
    // hidapi forgets its reason when it ends: hence the words of an open that fails.
    QVERIFY(!hid_open_path("/dev/hidraw7"));
    QVERIFY(QString::fromWCharArray(hid_error(nullptr)) != "Success");
    hid_exit();
    QCOMPARE(QString::fromWCharArray(hid_error(nullptr)), "Success");
}

void TestHidraw::reportsAreWritten()
{
    VXGeneralDevice device;
    QSignalSpy results(&device, &VXGeneralDevice::sigWriteResult);
    QVERIFY(device.openDevice(false, 0x2222, 2, {}, anything, anything, 1));
    device.writeData("abcdef", VXHidOutput, false);
    QCOMPARE(results.at(0), QVariantList({device.deviceInfo(), 6, "Success"}));
    QCOMPARE(bed->writes(1), QList<QByteArray>({QByteArray("\x01"
                                                           "abcd"),
                                                QByteArray("\x01"
                                                           "ef\0\0",
                                                           5)}));
}

void TestHidraw::reportsAreRead_data()
{
    QTest::addColumn<int>("vendorId");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("reportID");
    QTest::addColumn<QByteArray>("report");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("mouse") << 0x1111 << 0 << 0 << QByteArray("\x01\x02\x03\x04")
                           << QByteArray("\x01\x02\x03\x04");
    QTest::newRow("numbered, in front")
        << 0x2222 << 1 << 0 << QByteArray("\x01\x06\x07\x08\x09\x0b")
        << QByteArray("\x01\x06\x07\x08\x09\x0b");
    QTest::newRow("numbered, without")
        << 0x2222 << 1 << 2 << QByteArray("\x02\x06\x07") << QByteArray("\x06\x07");
}

void TestHidraw::reportsAreRead()
{
    QFETCH(const int, vendorId);
    QFETCH(const int, index);
    QFETCH(const int, reportID);
    QFETCH(const QByteArray, report);
    QFETCH(const QByteArray, expected);
    VXGeneralDevice device;
    QSignalSpy data(&device, &VXGeneralDevice::sigReadData);
    QVERIFY(
        device.openDevice(true, vendorId, vendorId & 0xF, {}, anything, anything, uchar(reportID)));
    bed->sendReport(index, report);
    QTRY_COMPARE_WITH_TIMEOUT(data.size(), 1, patience);
    QCOMPARE(data.at(0).at(1).toByteArray(), expected);
}

void TestHidraw::inputReportIsAsked()
{
    bed->setInputReport(QByteArray("\x02\x0a\x00\xff", 4));
    VXGeneralDevice device;
    QVERIFY(device.openDevice(false, 0x2222, 2, {}, anything, anything, 2));
    QJsonArray data;
    QCOMPARE(device.getInputReport(data), 4);
    QCOMPARE(data, QJsonArray({"a", "0", "ff"}));
}

void TestHidraw::opensAndClosesLeaveNothing()
{
    // The emulation keeps files of its own; a device's is a terminal to it.
    const auto openFiles = [] {
        qsizetype count = 0;
        const QDir folder("/proc/self/fd");
        for (const QFileInfo &file : folder.entryInfoList(QDir::Files | QDir::System))
            count += file.symLinkTarget().startsWith("/dev/pts/") ? 1 : 0;
        return count;
    };
    const qsizetype before = openFiles();
    for (int round = 0; round < 100; ++round) {
        VXGeneralDevice device;
        QVERIFY(device.openDevice(false, 0x1111, 1, {}, anything, anything, 0));
        QVERIFY(openFiles() > before);
    }
    QCOMPARE(openFiles(), before);
}

QTEST_GUILESS_MAIN(TestHidraw)
#include "tst_hidraw.moc"
