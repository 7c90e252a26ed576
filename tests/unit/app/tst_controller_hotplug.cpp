// The controller and the desktop's messages about devices: what it asks for and what it logs.
#include "platform/posix/windowmessages.h"
#include "platform/simulated/calls.h"
#include "platform/vocabulary/kernel.h"
#include "tests/unit/app/controllerfixture.h"

#include <QTest>

#include <cstddef>
#include <cstring>

namespace
{
constexpr const char *usbClass = "{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
constexpr const char *hidClass = "{4d1e55b2-f16f-11cf-88cb-001111000030}";
constexpr const char *diskClass = "{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";

const QString stick =
    R"(\\?\USBSTOR#Disk&Ven_Maker&Prod_Stick_3.0&Rev_1.27#0123&0#{53f56307-b6bf-11d0-94f2-00a0c91efb8b})";

QString usbPath(const QString &ids = "VID_1234&PID_5678", const QString &guid = usbClass)
{
    return R"(\\?\USB#)" + ids + "#SERIAL9#" + guid;
}

QString hidPath(const QString &ids = "VID_1234&PID_5678", const QString &guid = hidClass)
{
    return R"(\\?\HID#)" + ids + "#7&1a2b&0&0000#" + guid;
}

const QString hidLine = "Info: Access device: \"VID: 1234 PID: 5678 SerialNumber: 7&1a2b&0&0000 "
                        "GUID: {4d1e55b2-f16f-11cf-88cb-001111000030}\"";
} // namespace

class ControllerHotplugTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        fixture = std::make_unique<ControllerFixture>();
        fixture->start();
    }
    void cleanupTestCase() { fixture.reset(); }

    void init() { forgetTheLastDevice(); }

    void eightClassesAndTheSessionAreAskedFor()
    {
        QStringList requests = simulated::calls().filter("RegisterDeviceNotificationW");
        QCOMPARE(requests,
                 QStringList({
                     "RegisterDeviceNotificationW {a5dcbf10-6530-11d2-901f-00c04fb951ed} 32 5 0",
                     "RegisterDeviceNotificationW {53f56307-b6bf-11d0-94f2-00a0c91efb8b} 32 5 0",
                     "RegisterDeviceNotificationW {4d1e55b2-f16f-11cf-88cb-001111000030} 32 5 0",
                     "RegisterDeviceNotificationW {ad498944-762f-11d0-8dcb-00c04fc3358c} 32 5 0",
                     "RegisterDeviceNotificationW {86e0d1e0-8089-11d0-9ce4-08003e301f73} 32 5 0",
                     "RegisterDeviceNotificationW {4d36e978-e325-11ce-bfc1-08002be10318} 32 5 0",
                     "RegisterDeviceNotificationW {97f76ef0-f883-11d0-af1f-0000f800845c} 32 5 0",
                     "RegisterDeviceNotificationW {811fc6a5-f728-11d0-a537-0000f8753ed1} 32 5 0",
                 }));
        const QStringList calls = simulated::calls();
        const auto session = calls.indexOf("WTSRegisterSessionNotification 0");
        QCOMPARE(session, calls.indexOf(requests.last()) + 1);
        // Before the channels open.
        QVERIFY(session < calls.indexOf(QRegularExpression("^CreateFileW.*")));
        QCOMPARE(fixture->log.lines().filter("注册失败"), QStringList());
    }

    void volumes_data()
    {
        QTest::addColumn<quint32>("unitMask");
        QTest::addColumn<int>("flags");
        QTest::addColumn<QString>("arrival");
        QTest::addColumn<QString>("removal");
        const auto storage = [](const char *name, quint32 mask, const QString &letter) {
            QTest::newRow(name) << mask << 0 << "Info: \"接入存储设备---盘符: <" + letter + ">\""
                                << "Info: \"移除存储设备---盘符: <" + letter + ">\"";
        };
        storage("A", 0x1, "A");
        storage("E", 0x10, "E");
        storage("Z", 0x2000000, "Z");
        storage("the lowest of several", 0x30, "E");
        QTest::newRow("disc") << 0x10U << int(DBTF_MEDIA) << "Info: 接入 CD 设备"
                              << "Info: 移除 CD 设备";
        for (const int flags : {int(DBTF_NET), 3, 4})
            QTest::addRow("flags %d", flags) << 0x10U << flags << ""
                                             << "";
    }
    void volumes()
    {
        QFETCH(const quint32, unitMask);
        QFETCH(const int, flags);
        QFETCH(const QString, arrival);
        QFETCH(const QString, removal);
        const auto broadcast = posix::volumeBroadcast(unitMask, WORD(flags));
        QCOMPARE(linesOf(DBT_DEVICEARRIVAL, broadcast).join('\n'), arrival);
        QCOMPARE(linesOf(DBT_DEVICEREMOVECOMPLETE, broadcast).join('\n'), removal);
    }

    void portsAreNamed()
    {
        const auto broadcast = posix::portBroadcast("COM17");
        QCOMPARE(linesOf(DBT_DEVICEARRIVAL, broadcast),
                 QStringList("Info: 接入串行设备: \"COM17\""));
        QCOMPARE(linesOf(DBT_DEVICEREMOVECOMPLETE, broadcast),
                 QStringList("Info: 移除串行设备: \"COM17\""));
    }

    void otherDeviceTypesAreNothing_data()
    {
        QTest::addColumn<quint32>("type");
        QTest::newRow("OEM") << DBT_DEVTYP_OEM;
        QTest::newRow("node") << quint32(1);
        QTest::newRow("network") << quint32(4);
        QTest::newRow("handle") << DBT_DEVTYP_HANDLE;
    }
    void otherDeviceTypesAreNothing()
    {
        QFETCH(const quint32, type);
        std::vector<BYTE> broadcast = posix::volumeBroadcast(0x10, 0);
        std::memcpy(broadcast.data() + offsetof(DEV_BROADCAST_HDR, dbch_devicetype), &type,
                    sizeof type);
        QCOMPARE(linesOf(DBT_DEVICEARRIVAL, broadcast), QStringList());
        QCOMPARE(linesOf(DBT_DEVICEREMOVECOMPLETE, broadcast), QStringList());
    }

    void otherEventsAreNothing_data()
    {
        QTest::addColumn<quint32>("event");
        QTest::newRow("nodes changed") << quint32(DBT_DEVNODES_CHANGED);
        QTest::newRow("may it be removed") << quint32(0x8001);
        QTest::newRow("it may not") << quint32(0x8002);
        QTest::newRow("removal pending") << quint32(0x8003);
        QTest::newRow("of a type's own") << quint32(0x8005);
    }
    void otherEventsAreNothing()
    {
        QFETCH(const quint32, event);
        QCOMPARE(linesOf(event, posix::volumeBroadcast(0x10, 0)), QStringList());
        QCOMPARE(linesOf(event, posix::interfaceBroadcast(deviceclass::disk, stick)),
                 QStringList());
    }

    void anEventWithoutABroadcastIsNothing()
    {
        MSG message = messageOf(WM_DEVICECHANGE, DBT_DEVICEARRIVAL);
        fixture->log.clear();
        QVERIFY(!send(message));
        QCOMPARE(fixture->log.lines(), QStringList());
    }

    void interfaceArrivals_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("lines");
        const QStringList nothing;
        QTest::newRow("USB") << QStringList{usbPath()} << nothing;
        QTest::newRow("HID of the last USB device")
            << QStringList{usbPath(), hidPath()} << QStringList{hidLine};
        QTest::newRow("class in capitals")
            << QStringList{usbPath("VID_1234&PID_5678", QString(usbClass).toUpper()),
                           hidPath("VID_1234&PID_5678", QString(hidClass).toUpper())}
            << QStringList{QString(hidLine).replace(hidClass, QString(hidClass).toUpper())};
        QTest::newRow("HID of another product")
            << QStringList{usbPath(), hidPath("VID_1234&PID_5679")} << nothing;
        QTest::newRow("HID of another vendor")
            << QStringList{usbPath(), hidPath("VID_1235&PID_5678")} << nothing;
        QTest::newRow("HID of the last but one")
            << QStringList{usbPath(), usbPath("VID_1234&PID_9999"), hidPath()} << nothing;
        QTest::newRow("HID alone") << QStringList{hidPath()} << nothing;
        QTest::newRow("HID of another class")
            << QStringList{usbPath(), hidPath("VID_1234&PID_5678", diskClass)} << nothing;
        QTest::newRow("USB of another class is not remembered")
            << QStringList{usbPath("VID_1234&PID_5678", diskClass), hidPath()} << nothing;
        QTest::newRow("another bus is not remembered")
            << QStringList{usbPath().replace("USB", "usb"), hidPath()} << nothing;
        QTest::newRow("HID on another bus")
            << QStringList{usbPath(), hidPath().replace("HID", "BTH")} << nothing;
        QTest::newRow("digits in any case")
            << QStringList{usbPath("VID_ABCD&PID_00EF"), hidPath("VID_abcd&PID_00ef")}
            << QStringList{QString(hidLine).replace("1234", "abcd").replace("5678", "00ef")};
        QTest::newRow("more pieces")
            << QStringList{usbPath(), hidPath("VID_1234&PID_5678&MI_01&Col02")}
            << QStringList{hidLine};
        QTest::newRow("mass storage")
            << QStringList{stick}
            << QStringList{"Info: \"Access device: \\r\\nProduct: Maker\\r\\nVendorID: Stick_3.0"
                           "\\r\\nProductVersion: 1.27\""};
        QTest::newRow("mass storage in small letters")
            << QStringList{QString(stick).replace("USBSTOR", "usbstor")} << nothing;
        QTest::newRow("empty") << QStringList{""} << nothing;
    }
    void interfaceArrivals()
    {
        QFETCH(const QStringList, names);
        QFETCH(const QStringList, lines);
        QCOMPARE(interfaceLines(DBT_DEVICEARRIVAL, names), lines);
    }

    void interfaceRemovals_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("lines");
        const QStringList nothing;
        const QString line = "Info: Remove device: \"VID: 1234 PID: 5678 SerialNumber: SERIAL9 "
                             "GUID: {a5dcbf10-6530-11d2-901f-00c04fb951ed}\"";
        QTest::newRow("USB") << QStringList{usbPath()} << QStringList{line};
        QTest::newRow("class in capitals")
            << QStringList{usbPath("VID_1234&PID_5678", QString(usbClass).toUpper())}
            << QStringList{QString(line).replace(usbClass, QString(usbClass).toUpper())};
        QTest::newRow("any bus of the class")
            << QStringList{usbPath().replace("\\USB", "\\XYZ")} << QStringList{line};
        QTest::newRow("HID") << QStringList{usbPath(), hidPath()} << QStringList{line};
        QTest::newRow("disk") << QStringList{usbPath("VID_1234&PID_5678", diskClass)} << nothing;
        QTest::newRow("mass storage")
            << QStringList{stick}
            << QStringList{"Info: \"Remove device: \\r\\nProduct: Maker\\r\\nVendorID: Stick_3.0"
                           "\\r\\nProductVersion: 1.27\""};
        QTest::newRow("empty") << QStringList{""} << nothing;
    }
    void interfaceRemovals()
    {
        QFETCH(const QStringList, names);
        QFETCH(const QStringList, lines);
        QCOMPARE(interfaceLines(DBT_DEVICEREMOVECOMPLETE, names), lines);
    }

    void oddPaths_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("line");
        // The class is looked for in the fourth part, and the rest may be what it likes.
        QTest::newRow("no IDs") << QString("x###") + usbClass
                                << QString("Info: Remove device: \"VID:  SerialNumber:  GUID: ") +
                                       usbClass + '"';
        QTest::newRow("short IDs") << QString("x#A&B#C#") + usbClass
                                   << QString("Info: Remove device: \"VID: A PID: B SerialNumber: "
                                              "C GUID: ") +
                                          usbClass + '"';
        QTest::newRow("more parts") << QString("x#A&B#C#") + usbClass + "#more"
                                    << QString("Info: Remove device: \"VID: A PID: B SerialNumber: "
                                               "C GUID: ") +
                                           usbClass + '"';
        QTest::newRow("no class") << R"(\\?\USB#VID_1234&PID_5678#SERIAL9)"
                                  << "";
        QTest::newRow("class in the wrong part")
            << QString(R"(\\?\USB#VID_1234&PID_5678#)") + usbClass << "";
        QTest::newRow("one part") << "USB"
                                  << "";
        QTest::newRow("marks only") << "####"
                                    << "";
        QTest::newRow("mass storage of one part") << "USBSTOR"
                                                  << "Info: \"\"";
        QTest::newRow("mass storage of one piece") << "USBSTOR#Disk"
                                                   << "Info: \"Remove device: \"";
        QTest::newRow("mass storage without a version")
            << "USBSTOR#Disk&Ven_A&Prod_B"
            << R"(Info: "Remove device: \r\nProduct: A\r\nVendorID: B")";
        QTest::newRow("mass storage with short pieces")
            << "USBSTOR#a&b&c&d#e"
            << R"(Info: "Remove device: \r\nProduct: \r\nVendorID: \r\nProductVersion: ")";
    }
    void oddPaths()
    {
        QFETCH(const QString, name);
        QFETCH(const QString, line);
        QCOMPARE(interfaceLines(DBT_DEVICEREMOVECOMPLETE, {name}).join('\n'), line);
    }

    void idsThatAreNoNumbersAreZero()
    {
        // A path without IDs counts as vendor and product 0, as does one with words for them.
        QCOMPARE(interfaceLines(DBT_DEVICEARRIVAL, {usbPath("VID_wxyz"), hidPath("words&here")}),
                 QStringList("Info: Access device: \"VID: ords PID: here SerialNumber: "
                             "7&1a2b&0&0000 GUID: " +
                             QString(hidClass) + '"'));
    }

    void removalForgetsNothing()
    {
        QCOMPARE(interfaceLines(DBT_DEVICEARRIVAL, {usbPath()}), QStringList());
        (void)interfaceLines(DBT_DEVICEREMOVECOMPLETE, {usbPath()});
        QCOMPARE(interfaceLines(DBT_DEVICEARRIVAL, {hidPath()}), QStringList(hidLine));
    }

    void aSessionLockIsNothing()
    {
        fixture->log.clear();
        const auto broadcast = posix::volumeBroadcast(0x10, 0);
        MSG message = messageOf(WM_WTSSESSION_CHANGE, WTS_SESSION_LOCK);
        QVERIFY(!send(message));
        // Not even with the parameters of another message.
        message = messageOf(WM_WTSSESSION_CHANGE, DBT_DEVICEARRIVAL);
        message.lParam = reinterpret_cast<LPARAM>(broadcast.data());
        QVERIFY(!send(message));
        QCOMPARE(fixture->log.lines(), QStringList());
    }

    void messagesGoOnToQt()
    {
        const auto broadcast = posix::portBroadcast("COM1");
        MSG message = messageOf(WM_DEVICECHANGE, DBT_DEVICEARRIVAL);
        message.lParam = reinterpret_cast<LPARAM>(broadcast.data());
        fixture->log.clear();
        qintptr result = 4711;
        QVERIFY(!posix::sendWindowMessage(message, &result));
        QCOMPARE(result, 4711);
        QCOMPARE(fixture->log.lines().size(), 1);
    }

    void messagesOfAnotherWindowSystemAreNotLookedAt()
    {
        fixture->log.clear();
        const auto broadcast = posix::portBroadcast("COM1");
        MSG message = messageOf(WM_DEVICECHANGE, DBT_DEVICEARRIVAL);
        message.lParam = reinterpret_cast<LPARAM>(broadcast.data());
        qintptr result = 0;
        struct Door : QuorvaneWidget
        {
            using QuorvaneWidget::nativeEvent;
        };
        constexpr auto nativeEvent = &Door::nativeEvent;
        QVERIFY(!(fixture->widget.get()->*nativeEvent)("xcb_generic_event_t", &message, &result));
        QCOMPARE(fixture->log.lines(), QStringList());
    }

    void refusedRequestsAreToldOneByOne()
    {
        fixture.reset();
        fixture = std::make_unique<ControllerFixture>();
        simulated::failNext("RegisterDeviceNotificationW {4d1e55b2-f16f-11cf-88cb-001111000030}",
                            ERROR_ACCESS_DENIED);
        simulated::failNext("WTSRegisterSessionNotification", 1722);
        fixture->start();
        QCOMPARE(fixture->log.lines().filter("注册失败"),
                 QStringList({"Critical: 注册失败： 5", "Critical: 注册失败： 1722"}));
        QCOMPARE(simulated::countCalls("RegisterDeviceNotificationW"), 8);
    }

private:
    [[nodiscard]] HWND window() const { return reinterpret_cast<HWND>(fixture->widget->winId()); }

    [[nodiscard]] MSG messageOf(UINT message, WPARAM parameter) const
    {
        MSG result{};
        result.hwnd = window();
        result.message = message;
        result.wParam = parameter;
        return result;
    }

    static bool send(const MSG &message)
    {
        qintptr result = 0;
        return posix::sendWindowMessage(message, &result);
    }

    /// What the event is told with.
    QStringList linesOf(WPARAM event, const std::vector<BYTE> &broadcast)
    {
        fixture->log.clear();
        if (posix::sendDeviceChange(window(), event, broadcast))
            return {"the message was taken away from Qt"};
        return fixture->log.lines();
    }

    QStringList interfaceLines(WPARAM event, const QStringList &names)
    {
        QStringList lines;
        for (const QString &name : names)
            lines += linesOf(event, posix::interfaceBroadcast(deviceclass::usbDevice, name));
        return lines;
    }

    void forgetTheLastDevice()
    {
        (void)interfaceLines(DBT_DEVICEARRIVAL, {usbPath("VID_FFFF&PID_FFFF")});
    }

    std::unique_ptr<ControllerFixture> fixture;
};

QTEST_MAIN(ControllerHotplugTest)
#include "tst_controller_hotplug.moc"
