// The vocabulary's device messages against the desktop's own layout and numbers.
#include "platform/devicenotification.h"

#include <QTest>

#include <cstddef>

class tst_devicemessages : public QObject
{
    Q_OBJECT

private slots:
    void structuresHaveTheDesktopsShape_data()
    {
        QTest::addColumn<int>("actual");
        QTest::addColumn<int>("expected");
        const auto row = [](const char *name, std::size_t actual, int expected) {
            QTest::newRow(name) << int(actual) << expected;
        };
        row("header", sizeof(DEV_BROADCAST_HDR), 12);
        row("header's type", offsetof(DEV_BROADCAST_HDR, dbch_devicetype), 4);
        row("volume", sizeof(DEV_BROADCAST_VOLUME), 20);
        row("volume's units", offsetof(DEV_BROADCAST_VOLUME, dbcv_unitmask), 12);
        row("volume's flags", offsetof(DEV_BROADCAST_VOLUME, dbcv_flags), 16);
        row("port's name", offsetof(DEV_BROADCAST_PORT_W, dbcp_name), 12);
        row("interface", sizeof(DEV_BROADCAST_DEVICEINTERFACE_W), 32);
        row("interface's class", offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_classguid), 12);
        row("interface's name", offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name), 28);
        row("device change", WM_DEVICECHANGE, 537);
        row("arrival", DBT_DEVICEARRIVAL, 0x8000);
        row("removal", DBT_DEVICEREMOVECOMPLETE, 0x8004);
    }
    void structuresHaveTheDesktopsShape()
    {
        QFETCH(const int, actual);
        QFETCH(const int, expected);
        QCOMPARE(actual, expected);
    }
};

QTEST_GUILESS_MAIN(tst_devicemessages)
#include "tst_devicemessages.moc"
