// The queries beside hidapi, on devices that don't answer them.
#include "handles.h"
#include "platform/hid.h"

#include <QDir>
#include <QTemporaryFile>
#include <QTest>

namespace
{
/// hidapi's, of the one device there is: null if there is no such device any more.
hid_device_info *info = nullptr;
} // namespace

hid_device_info *hid_get_device_info(hid_device *)
{
    return info;
}

class TestHidQueries : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { info = nullptr; }
    void noDevice();
    void deviceWithoutInfo();
    void silentDevices_data();
    void silentDevices();

private:
    static void verifySilence(hid_device *device);
    /// hidapi looks inside; the queries don't.
    hid_device *device = reinterpret_cast<hid_device *>(this);
};

void TestHidQueries::verifySilence(hid_device *device)
{
    QCOMPARE(hid_get_input_report_lenght(device), -1);
    QCOMPARE(hid_get_feature_report_lenght(device), -1);
    QCOMPARE(hid_get_output_report_lenght(device), -1);
    QVERIFY(!hidUsesReportIds(device));
}

void TestHidQueries::noDevice()
{
    verifySilence(nullptr);
}

void TestHidQueries::deviceWithoutInfo()
{
    verifySilence(device);
}

void TestHidQueries::silentDevices_data()
{
    static QTemporaryFile file;
    QVERIFY(file.open());
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("no path") << QByteArray();
    QTest::newRow("empty path") << QByteArray("");
    QTest::newRow("gone") << QByteArray(R"(\\?\hid#vid_1234&pid_5678#gone)");
    QTest::newRow("no HID device") << QDir::toNativeSeparators(file.fileName()).toUtf8();
}

void TestHidQueries::silentDevices()
{
    QFETCH(QByteArray, path);
    hid_device_info told{};
    told.path = path.isNull() ? nullptr : path.data();
    info = &told;
    verifySilence(device);
    QCOMPARE(leftOpen([this] { hid_get_input_report_lenght(device); }), 0);
    QCOMPARE(leftOpen([this] { (void)hidUsesReportIds(device); }), 0);
}

QTEST_GUILESS_MAIN(TestHidQueries)
#include "tst_hidqueries.moc"
