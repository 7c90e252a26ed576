#include "tests/unit/endpoints/monitorfixture.h"

namespace
{

const QStringList levelChanges{"IAudioEndpointVolume::SetMasterVolumeLevelScalar",
                               "IAudioEndpointVolume::SetMute"};

QString stateChanged(const QString &id, const char *muted, int percent)
{
    return QString("sigDeviceStateChanged(%1, %2, %3%)").arg(id, QString(muted)).arg(percent);
}

} // namespace

/// Each test runs on endpoints with an entry, where nothing else is said.
class TestSystemSoundMonitorSetters : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void setsVolumes_data();
    void setsVolumes();
    void volumeThatStandsIsOnlyTold_data();
    void volumeThatStandsIsOnlyTold();
    void smallestDifferencesCount_data();
    void smallestDifferencesCount();
    void volumeOfAnEntryIsAlwaysTrue();

    void stepsVolumes_data();
    void stepsVolumes();
    void stepsToTheSameVolumeAreOnlyTold();
    void stepsNeedAnEntry_data();
    void stepsNeedAnEntry();

    void setsMute();
    void muteThatStandsIsOnlyTold_data();
    void muteThatStandsIsOnlyTold();
    void muteNeedsExactSuccess_data();
    void muteNeedsExactSuccess();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorSetters::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorSetters::setsVolumes_data()
{
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("percent");
    QTest::newRow("below the range") << -5 << 0;
    QTest::newRow("far below") << INT_MIN << 0;
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("within") << 33 << 33;
    QTest::newRow("full") << 100 << 100;
    QTest::newRow("above the range") << 150 << 100;
    QTest::newRow("far above") << INT_MAX << 100;
}

void TestSystemSoundMonitorSetters::setsVolumes()
{
    QFETCH(int, asked);
    QFETCH(int, percent);
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setDeviceVolume(system->speakers, asked, true));
    QCOMPARE(simulated::endpoint(system->speakers).volume, float(percent) / 100.0f);
    QCOMPARE(callsNamed(levelChanges).size(), 1);
    QCOMPARE(system->received->take(),
             QStringList(stateChanged(system->speakers, "audible", percent)));
    QCOMPARE(monitor.getDeviceVolume(system->speakers), percent);
}

void TestSystemSoundMonitorSetters::volumeThatStandsIsOnlyTold_data()
{
    QTest::addColumn<bool>("useContext");
    QTest::newRow("with context") << true;
    QTest::newRow("without context") << false;
}

void TestSystemSoundMonitorSetters::volumeThatStandsIsOnlyTold()
{
    QFETCH(bool, useContext);
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setDeviceVolume(system->headset, 100, useContext));
    QCOMPARE(callsNamed(levelChanges), QStringList());
    QCOMPARE(system->received->take(), QStringList(stateChanged(system->headset, "muted", 100)));
    QVERIFY(system->received->lastContext() != GUID_NULL);
}

void TestSystemSoundMonitorSetters::smallestDifferencesCount_data()
{
    QTest::addColumn<float>("scalar");
    QTest::addColumn<bool>("changed");
    QTest::newRow("equal") << 0.5f << false;
    QTest::newRow("a little more") << 0.5000005f << false;
    QTest::newRow("a little less") << 0.4999995f << false;
    QTest::newRow("more") << 0.500002f << true;
    QTest::newRow("less") << 0.499998f << true;
}

void TestSystemSoundMonitorSetters::smallestDifferencesCount()
{
    QFETCH(float, scalar);
    QFETCH(bool, changed);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setVolume(system->speakers, scalar);
    QVERIFY(monitor.setDeviceVolume(system->speakers, 50, true));
    QCOMPARE(callsNamed(levelChanges).size(), changed ? 1 : 0);
    QCOMPARE(system->received->take(), QStringList(stateChanged(system->speakers, "audible", 50)));
}

void TestSystemSoundMonitorSetters::volumeOfAnEntryIsAlwaysTrue()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IAudioEndpointVolume::SetMasterVolumeLevelScalar", someFailure, 3);
    QVERIFY(monitor.setDeviceVolume(system->speakers, 10, true));
    QVERIFY(monitor.increaseDeviceVolume(system->speakers, 10, true));
    QVERIFY(monitor.decreaseDeviceVolume(system->speakers, 10, true));
    QCOMPARE(monitor.getDeviceVolume(system->speakers), 50);
    QCOMPARE(system->received->take(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorSetters::stepsVolumes_data()
{
    QTest::addColumn<float>("scalar");
    QTest::addColumn<bool>("up");
    QTest::addColumn<quint32>("step");
    QTest::addColumn<int>("percent");
    QTest::newRow("up") << 0.5f << true << 5u << 55;
    QTest::newRow("up to the top") << 0.98f << true << 2u << 100;
    QTest::newRow("up beyond the top") << 0.98f << true << 30u << 100;
    QTest::newRow("down") << 0.5f << false << 5u << 45;
    QTest::newRow("down to nothing") << 0.5f << false << 50u << 0;
    QTest::newRow("down by more than there is") << 0.5f << false << 51u << 0;
    QTest::newRow("from a rounded volume") << 0.125f << true << 1u << 14;
    // The step's bits count: a client's negative number comes as a large one.
    QTest::newRow("up by -5") << 0.5f << true << quint32(-5) << 45;
    QTest::newRow("down by -5") << 0.5f << false << quint32(-5) << 55;
    QTest::newRow("up by the largest positive") << 0.5f << true << 0x7FFFFFFFu << 0;
    QTest::newRow("down by the largest positive") << 0.5f << false << 0x7FFFFFFFu << 0;
}

void TestSystemSoundMonitorSetters::stepsVolumes()
{
    QFETCH(float, scalar);
    QFETCH(bool, up);
    QFETCH(quint32, step);
    QFETCH(int, percent);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setVolume(system->speakers, scalar);
    QVERIFY(up ? monitor.increaseDeviceVolume(system->speakers, step, true)
               : monitor.decreaseDeviceVolume(system->speakers, step, true));
    QCOMPARE(simulated::endpoint(system->speakers).volume, float(percent) / 100.0f);
    QCOMPARE(callsNamed(levelChanges).size(), 1);
    QCOMPARE(system->received->take(),
             QStringList(stateChanged(system->speakers, "audible", percent)));
}

void TestSystemSoundMonitorSetters::stepsToTheSameVolumeAreOnlyTold()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.increaseDeviceVolume(system->headset, 10, false));
    QVERIFY(monitor.decreaseDeviceVolume(system->headset, 0, false));
    QCOMPARE(callsNamed(levelChanges), QStringList());
    QCOMPARE(system->received->take(), QStringList(2, stateChanged(system->headset, "muted", 100)));
}

void TestSystemSoundMonitorSetters::stepsNeedAnEntry_data()
{
    QTest::addColumn<bool>("up");
    QTest::newRow("increase") << true;
    QTest::newRow("decrease") << false;
}

void TestSystemSoundMonitorSetters::stepsNeedAnEntry()
{
    QFETCH(bool, up);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = system->addUnmonitored();
    QVERIFY(!(up ? monitor.increaseDeviceVolume(later, 5, true)
                 : monitor.decreaseDeviceVolume(later, 5, true)));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(system->log.take(),
             QStringList(QString("Warning: SystemSoundMonitor::%1creaseDeviceVolume Device not "
                                 "find: \"%2\"")
                             .arg(QString(up ? "in" : "de"), later)));
    // The absolute setter reaches the same endpoint.
    QVERIFY(monitor.setDeviceVolume(later, 5, true));
}

void TestSystemSoundMonitorSetters::setsMute()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setDeviceMuted(system->speakers, true, true));
    QVERIFY(simulated::endpoint(system->speakers).muted);
    QVERIFY(monitor.setDeviceMuted(system->headset, false, true));
    QVERIFY(!simulated::endpoint(system->headset).muted);
    QCOMPARE(system->received->take(),
             QStringList({stateChanged(system->speakers, "muted", 50),
                          stateChanged(system->headset, "audible", 100)}));
}

void TestSystemSoundMonitorSetters::muteThatStandsIsOnlyTold_data()
{
    QTest::addColumn<bool>("useContext");
    QTest::newRow("with context") << true;
    QTest::newRow("without context") << false;
}

void TestSystemSoundMonitorSetters::muteThatStandsIsOnlyTold()
{
    QFETCH(bool, useContext);
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setDeviceMuted(system->speakers, false, useContext));
    QVERIFY(monitor.setDeviceMuted(system->headset, true, useContext));
    QCOMPARE(callsNamed(levelChanges), QStringList());
    QCOMPARE(system->received->take(), QStringList({stateChanged(system->speakers, "audible", 50),
                                                    stateChanged(system->headset, "muted", 100)}));
    QVERIFY(system->received->lastContext() != GUID_NULL);
}

void TestSystemSoundMonitorSetters::muteNeedsExactSuccess_data()
{
    QTest::addColumn<quint32>("code");
    QTest::newRow("failure") << someFailure;
    QTest::newRow("S_FALSE") << 1u;
}

void TestSystemSoundMonitorSetters::muteNeedsExactSuccess()
{
    QFETCH(quint32, code);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IAudioEndpointVolume::SetMute", code);
    QVERIFY(!monitor.setDeviceMuted(system->speakers, true, true));
    QCOMPARE(system->received->take(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorSetters)
#include "tst_systemsoundmonitor_setters.moc"
