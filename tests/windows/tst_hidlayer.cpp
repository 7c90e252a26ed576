// hidapi itself, on a system without the device.
#include "VXLibrary/src/vxgeneraldevice.h"
#include "handles.h"
#include "tests/support/logcapture.h"

#include <QSignalSpy>
#include <QTest>

class TestHidLayer : public QObject
{
    Q_OBJECT

private slots:
    void unknownDeviceIsTold();
    void wrongPath();
    void nothingStaysOpen();
};

void TestHidLayer::unknownDeviceIsTold()
{
    VXGeneralDevice device;
    const QSignalSpy failed(&device, &VXGeneralDevice::sigUnableToOpenDevice);
    // An ID that nobody has been given.
    QVERIFY(!device.openDevice(true, 0xFFFE, 0xFFFE, {}, -1, -1, 0));
    QCOMPARE(failed.size(), 1);
    QCOMPARE(failed[0][1], "Unable to open device: device not found");
}

void TestHidLayer::wrongPath()
{
    QVERIFY(!hid_open_path(R"(\\?\hid#vid_fffe&pid_fffe#gone)"));
    hid_exit();
}

void TestHidLayer::nothingStaysOpen()
{
    const LogCapture silence;
    VXGeneralDevice device;
    QCOMPARE(leftOpen([&] { device.openDevice(true, 0xFFFE, 0xFFFE, {}, -1, -1, 0); }), 0);
}

QTEST_GUILESS_MAIN(TestHidLayer)
#include "tst_hidlayer.moc"
