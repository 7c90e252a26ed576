// Emulated devices that come and go, through udev to the messages that a window gets.
#include "devicebed.h"
#include "platform/devicenotification.h"
#include "platform/vocabulary/kernel.h"

#include <QTest>
#include <QWidget>

namespace
{
constexpr int patience = 30'000;

const QByteArray usbDevice = "/devices/pci0000:00/usb1/1-1";
const QByteArray hidDevice = usbDevice + "/1-1:1.0/0003:1234:5678.0001";
const QByteArray serialPort = usbDevice + "/1-1:1.1/ttyUSB0/tty/ttyUSB0";
const QByteArray disk = usbDevice + "/1-1:1.2/host6/target6:0:0/6:0:0:0/block/sdq";
const QByteArray partition = disk + "/sdq1";
const QByteArray fixedPartition = "/devices/pci0000:00/ata1/host0/block/sdp/sdp1";
const QByteArray drive = "/devices/pci0000:00/ata2/host1/block/sr7";

/// A window that writes down the messages that it gets.
class Window : public QWidget
{
public:
    [[nodiscard]] HWND handle() const { return reinterpret_cast<HWND>(winId()); }

    bool nativeEvent(const QByteArray &eventType, void *message, qintptr *) override
    {
        const auto &change = *static_cast<const MSG *>(message);
        if (eventType == "windows_generic_MSG" && change.hwnd == handle() &&
            change.message == WM_DEVICECHANGE)
            messages.append(textOf(change));
        return false;
    }

    QStringList messages;

private:
    static QString textOf(const MSG &change)
    {
        const QString sign = change.wParam == DBT_DEVICEARRIVAL          ? "+"
                             : change.wParam == DBT_DEVICEREMOVECOMPLETE ? "-"
                                                                         : "?";
        const auto *header = reinterpret_cast<const DEV_BROADCAST_HDR *>(change.lParam);
        if (header->dbch_devicetype == DBT_DEVTYP_VOLUME) {
            const auto *volume = reinterpret_cast<const DEV_BROADCAST_VOLUME *>(header);
            return QStringLiteral("%1volume %2 flags %3")
                .arg(sign, QString::number(volume->dbcv_unitmask, 16))
                .arg(volume->dbcv_flags);
        }
        if (header->dbch_devicetype == DBT_DEVTYP_PORT)
            return sign + "port " +
                   QString::fromWCharArray(
                       reinterpret_cast<const DEV_BROADCAST_PORT_W *>(header)->dbcp_name);
        const auto *device = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W *>(header);
        return sign + QString::fromWCharArray(device->dbcc_name);
    }
};

bool listenFor(const Window &window, const GUID &interfaceClass)
{
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = interfaceClass;
    return RegisterDeviceNotificationW(window.handle(), &filter, DEVICE_NOTIFY_WINDOW_HANDLE) !=
           nullptr;
}
} // namespace

class TestHotplug : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        bed = std::make_unique<DeviceBed>();
        bed->add("P: " + usbDevice +
                 "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: PRODUCT=1234/5678/100\n"
                 "E: ID_SERIAL_SHORT=SERIAL9\n\n");
        bed->add("P: " + usbDevice + "/1-1:1.0\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n\n");
        bed->add("P: " + hidDevice +
                 "\nE: SUBSYSTEM=hid\nE: HID_ID=0003:00001234:00005678\nE: HID_UNIQ=U1\n\n");
        bed->add("P: " + serialPort + "\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/ttyUSB0\n\n");
        bed->add("P: /devices/virtual/tty/ttyV0\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/ttyV0\n\n");
        bed->add("P: " + disk +
                 "\nE: SUBSYSTEM=block\nE: DEVTYPE=disk\nE: DEVNAME=/dev/sdq\nE: ID_BUS=usb\n"
                 "E: ID_VENDOR=Maker\nE: ID_MODEL=Stick\nE: ID_REVISION=1.27\n\n");
        bed->add("P: " + partition +
                 "\nE: SUBSYSTEM=block\nE: DEVTYPE=partition\nE: DEVNAME=/dev/sdq1\n\n");
        bed->add("P: " + fixedPartition +
                 "\nE: SUBSYSTEM=block\nE: DEVTYPE=partition\nE: DEVNAME=/dev/sdp1\n"
                 "E: ID_FS_USAGE=filesystem\n\n");
        bed->add("P: " + drive +
                 "\nE: SUBSYSTEM=block\nE: DEVTYPE=disk\nE: DEVNAME=/dev/sr7\nE: ID_CDROM=1\n\n");
        window = std::make_unique<Window>();
        for (const GUID &each : {deviceclass::usbDevice, deviceclass::disk, deviceclass::hid})
            QVERIFY(listenFor(*window, each));
    }
    void cleanupTestCase()
    {
        window.reset();
        bed.reset();
    }
    void init() { window->messages.clear(); }

    void comeAndGo_data()
    {
        QTest::addColumn<QByteArray>("device");
        QTest::addColumn<QString>("name");
        QTest::newRow("USB") << usbDevice
                             << R"(\\?\USB#VID_1234&PID_5678#SERIAL9#)"
                                "{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
        QTest::newRow("HID")
            << hidDevice
            << R"(\\?\HID#VID_1234&PID_5678#U1#{4d1e55b2-f16f-11cf-88cb-001111000030})";
        QTest::newRow("mass storage") << disk
                                      << R"(\\?\USBSTOR#Disk&Ven_Maker&Prod_Stick&Rev_1.27#sdq#)"
                                         "{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";
        QTest::newRow("serial port") << serialPort << "port ttyUSB0";
    }
    void comeAndGo()
    {
        QFETCH(const QByteArray, device);
        QFETCH(const QString, name);
        tell(device, "add");
        QTRY_COMPARE_WITH_TIMEOUT(window->messages, QStringList("+" + name), patience);
        tell(device, "remove");
        QTRY_COMPARE_WITH_TIMEOUT(window->messages, QStringList({"+" + name, "-" + name}),
                                  patience);
    }

    void whatIsNoNewsIsNotTold()
    {
        tell(usbDevice, "bind");
        tell(usbDevice, "change");
        tell(usbDevice + "/1-1:1.0", "add");
        tell("/devices/virtual/tty/ttyV0", "add");
        tell(drive, "add");
        assertNothingMore({});
    }

    void storageHasALetterFromItsFilesOn()
    {
        // D is the volume's that has been there from the start.
        tell(partition, "add");
        property(partition, "ID_FS_USAGE", "filesystem");
        tell(partition, "change");
        tell(partition, "change");
        tell(fixedPartition, "remove");
        tell(fixedPartition, "add");
        property(partition, "ID_FS_USAGE", "other");
        tell(partition, "change");
        tell(partition, "remove");
        assertNothingMore(
            {"+volume 10 flags 0", "-volume 8 flags 0", "+volume 8 flags 0", "-volume 10 flags 0"});
    }

    void discsComeAndGoInTheirDrive()
    {
        tell(drive, "change");
        property(drive, "ID_CDROM_MEDIA", "1");
        tell(drive, "change");
        property(drive, "ID_CDROM_MEDIA", "0");
        tell(drive, "change");
        property(drive, "ID_CDROM_MEDIA", "1");
        tell(drive, "change");
        tell(drive, "remove");
        assertNothingMore({"+volume 10 flags 1", "-volume 10 flags 1", "+volume 10 flags 1",
                           "-volume 10 flags 1"});
    }

    void aWindowHearsOfItsClassesOnly()
    {
        Window other;
        QVERIFY(listenFor(other, deviceclass::hid));
        tell(usbDevice, "add");
        tell(hidDevice, "add");
        tell(serialPort, "add");
        QTRY_COMPARE_WITH_TIMEOUT(other.messages.size(), 2, patience);
        QVERIFY(other.messages.at(0).startsWith(R"(+\\?\HID#)"));
        QCOMPARE(other.messages.at(1), "+port ttyUSB0");
        QTRY_COMPARE_WITH_TIMEOUT(window->messages.size(), 3, patience);
    }

    void aWindowThatIsGoneHearsNothing()
    {
        auto other = std::make_unique<Window>();
        QVERIFY(listenFor(*other, deviceclass::hid));
        tell(hidDevice, "add");
        other.reset();
        assertNothingMore(
            {R"(+\\?\HID#VID_1234&PID_5678#U1#{4d1e55b2-f16f-11cf-88cb-001111000030})"});
    }

    void oddRequestsAreRefused()
    {
        DEV_BROADCAST_DEVICEINTERFACE_W filter{};
        filter.dbcc_size = sizeof(filter);
        filter.dbcc_devicetype = DBT_DEVTYP_HANDLE;
        QVERIFY(!RegisterDeviceNotificationW(window->handle(), &filter, 0));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
        QVERIFY(!RegisterDeviceNotificationW(window->handle(), &filter, 4));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        QVERIFY(!RegisterDeviceNotificationW(nullptr, &filter, 0));
        QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
        QVERIFY(!WTSRegisterSessionNotification(nullptr, NOTIFY_FOR_THIS_SESSION));
        QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
        QVERIFY(WTSRegisterSessionNotification(window->handle(), NOTIFY_FOR_THIS_SESSION));
    }

private:
    void tell(const QByteArray &device, const char *action)
    {
        bed->tell(("/sys" + device).constData(), action);
    }
    void property(const QByteArray &device, const char *name, const char *value)
    {
        bed->setProperty(("/sys" + device).constData(), name, value);
    }
    /// A port that is told last shows that all before it has been told.
    void assertNothingMore(QStringList messages)
    {
        tell(serialPort, "add");
        messages.append("+port ttyUSB0");
        QTRY_VERIFY_WITH_TIMEOUT(window->messages.contains("+port ttyUSB0"), patience);
        QCOMPARE(window->messages, messages);
    }

    std::unique_ptr<DeviceBed> bed;
    std::unique_ptr<Window> window;
};

QTEST_MAIN(TestHotplug)
#include "tst_hotplug.moc"
