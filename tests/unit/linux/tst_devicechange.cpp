// What udev tells of devices, turned into interfaces, ports and volumes.
#include "platform/linux/devicechange.h"
#include "platform/linux/volumetable.h"

#include <QTest>

namespace
{
using Properties = QHash<QString, QString>;

const QString port = "/sys/devices/pci0000:00/usb1/1-2";

DeviceChange device(const QString &subsystem, const QString &sysName, const Properties &properties,
                    const QString &folder = port)
{
    return {"add", subsystem, folder + '/' + sysName, sysName, properties};
}

/// "class path", empty for a device without an interface.
QString textOf(const std::optional<DeviceInterface> &found)
{
    return found ? found->path : QString();
}
} // namespace
Q_DECLARE_METATYPE(DeviceChange)

class tst_devicechange : public QObject
{
    Q_OBJECT

private slots:
    void interfaces_data()
    {
        QTest::addColumn<DeviceChange>("change");
        QTest::addColumn<QString>("path");
        const QString usbClass = "#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
        const QString hidClass = "#{4d1e55b2-f16f-11cf-88cb-001111000030}";
        const QString diskClass = "#{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";
        QTest::newRow("USB") << device("usb", "1-2",
                                       {{"DEVTYPE", "usb_device"},
                                        {"PRODUCT", "46d/c52b/1211"},
                                        {"ID_SERIAL_SHORT", "ABC123"}})
                             << R"(\\?\USB#VID_046D&PID_C52B#ABC123)" + usbClass;
        QTest::newRow("USB without a serial number")
            << device("usb", "1-2.4", {{"DEVTYPE", "usb_device"}, {"PRODUCT", "1/2/3"}})
            << R"(\\?\USB#VID_0001&PID_0002#1-2.4)" + usbClass;
        QTest::newRow("USB with marks in its serial number")
            << device("usb", "1-2",
                      {{"DEVTYPE", "usb_device"},
                       {"PRODUCT", "1234/5678/1"},
                       {"ID_SERIAL_SHORT", "A#B&C"}})
            << R"(\\?\USB#VID_1234&PID_5678#A_B_C)" + usbClass;
        QTest::newRow("USB that tells nothing") << device("usb", "1-2", {{"DEVTYPE", "usb_device"}})
                                                << R"(\\?\USB#VID_0000&PID_0000#1-2)" + usbClass;
        QTest::newRow("USB interface")
            << device("usb", "1-2:1.0", {{"DEVTYPE", "usb_interface"}}) << "";
        QTest::newRow("HID") << device("hid", "0003:046D:C52B.0001",
                                       {{"HID_ID", "0003:0000046D:0000C52B"}, {"HID_UNIQ", "U1"}})
                             << R"(\\?\HID#VID_046D&PID_C52B#U1)" + hidClass;
        QTest::newRow("HID without a serial number")
            << device("hid", "0003:046D:C52B.0001", {{"HID_ID", "0003:0000046D:0000C52B"}})
            << R"(\\?\HID#VID_046D&PID_C52B#0003:046D:C52B.0001)" + hidClass;
        const Properties stick{{"DEVTYPE", "disk"},     {"ID_BUS", "usb"},
                               {"ID_VENDOR", "Maker"},  {"ID_MODEL", "Stick_3.0"},
                               {"ID_REVISION", "1.27"}, {"ID_SERIAL_SHORT", "0123"}};
        QTest::newRow("USB disk") << device("block", "sdb", stick)
                                  << R"(\\?\USBSTOR#Disk&Ven_Maker&Prod_Stick_3.0&Rev_1.27#0123)" +
                                         diskClass;
        QTest::newRow("disk") << device("block", "sda", {{"DEVTYPE", "disk"}, {"ID_BUS", "ata"}})
                              << R"(\\?\SCSI#Disk&Ven_&Prod_&Rev_#sda)" + diskClass;
        QTest::newRow("partition") << device("block", "sdb1", {{"DEVTYPE", "partition"}}) << "";
        QTest::newRow("loop") << device("block", "loop0", {{"DEVTYPE", "disk"}},
                                        "/sys/devices/virtual/block")
                              << "";
        QTest::newRow("disc drive")
            << device("block", "sr0", {{"DEVTYPE", "disk"}, {"ID_CDROM", "1"}}) << "";
        QTest::newRow("terminal") << device("tty", "ttyUSB0", {}) << "";
    }
    void interfaces()
    {
        QFETCH(const DeviceChange, change);
        QFETCH(const QString, path);
        QCOMPARE(textOf(interfaceOf(change)), path);
    }

    void theClassGoesWithThePath()
    {
        const auto found = interfaceOf(device("hid", "x", {}));
        QVERIFY(found);
        QVERIFY(found->interfaceClass == deviceclass::hid);
    }

    void serialPorts()
    {
        QCOMPARE(serialPortOf(device("tty", "ttyUSB0", {})), "ttyUSB0");
        QCOMPARE(serialPortOf(device("tty", "tty1", {}, "/sys/devices/virtual/tty")), "");
        QCOMPARE(serialPortOf(device("usb", "1-2", {})), "");
    }

    void volumes_data()
    {
        QTest::addColumn<DeviceChange>("change");
        QTest::addColumn<int>("flags");
        constexpr int none = -1;
        const Properties files{{"ID_FS_USAGE", "filesystem"}};
        QTest::newRow("partition with files") << device("block", "sdb1", files) << 0;
        QTest::newRow("swap") << device("block", "sdb2", {{"ID_FS_USAGE", "other"}}) << none;
        QTest::newRow("whole disk") << device("block", "sdb", {}) << none;
        QTest::newRow("loop") << device("block", "loop1", files, "/sys/devices/virtual/block")
                              << none;
        QTest::newRow("empty drive") << device("block", "sr0", {{"ID_CDROM", "1"}}) << none;
        QTest::newRow("data disc")
            << device("block", "sr0",
                      {{"ID_CDROM", "1"}, {"ID_CDROM_MEDIA", "1"}, {"ID_FS_USAGE", "filesystem"}})
            << int(DBTF_MEDIA);
        QTest::newRow("another subsystem") << device("usb", "1-2", files) << none;
    }
    void volumes()
    {
        QFETCH(const DeviceChange, change);
        QFETCH(const int, flags);
        QCOMPARE(int(volumeOf(change).value_or(WORD(0xFFFF))), flags < 0 ? 0xFFFF : flags);
    }

    void lettersAreGivenAndTakenBack()
    {
        VolumeTable table;
        QCOMPARE(eventText(table.update("a", WORD(0))), "+D 0");
        QCOMPARE(eventText(table.update("b", DBTF_MEDIA)), "+E 1");
        QCOMPARE(eventText(table.update("a", WORD(0))), "");
        QCOMPARE(eventText(table.update("c", std::nullopt)), "");
        QCOMPARE(eventText(table.update("a", std::nullopt)), "-D 0");
        QCOMPARE(eventText(table.update("c", WORD(0))), "+D 0");
        QCOMPARE(eventText(table.update("b", std::nullopt)), "-E 1");
    }

    void lettersEnd()
    {
        VolumeTable table;
        for (char letter = 'D'; letter <= 'Z'; ++letter)
            QCOMPARE(eventText(table.update(QString(QLatin1Char(letter)), WORD(0))),
                     QString('+') + QLatin1Char(letter) + " 0");
        QCOMPARE(eventText(table.update("one more", WORD(0))), "");
        QCOMPARE(eventText(table.update("one more", std::nullopt)), "");
        QCOMPARE(eventText(table.update("M", std::nullopt)), "-M 0");
        QCOMPARE(eventText(table.update("one more", WORD(0))), "+M 0");
    }

private:
    static QString eventText(const std::optional<VolumeTable::Event> &event)
    {
        if (!event)
            return {};
        int letter = 'A';
        for (DWORD mask = event->unitMask; mask > 1; mask >>= 1)
            ++letter;
        return QString(QLatin1Char(event->arrived ? '+' : '-')) + QLatin1Char(char(letter)) + ' ' +
               QString::number(event->flags);
    }
};

QTEST_GUILESS_MAIN(tst_devicechange)
#include "tst_devicechange.moc"
