#include "tests/unit/endpoints/monitorfixture.h"

namespace
{

const QStringList levelChanges{"IAudioEndpointVolume::SetMasterVolumeLevelScalar",
                               "IAudioEndpointVolume::SetMute"};

QString stateChanged(const QString &id, const char *muted, int percent)
{
    return QString("sigDeviceStateChanged(%1, %2, %3%)").arg(id, QString(muted)).arg(percent);
}

QString controlChanged(const QString &id, const char *muted, int percent)
{
    return QString("sigDeviceControlChanged(%1, %2, %3%)").arg(id, QString(muted)).arg(percent);
}

} // namespace

/// Each test runs on an endpoint with an entry, where nothing else is said.
class TestSystemSoundMonitorLevels : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void readsLevels();
    void roundsThePercentage_data();
    void roundsThePercentage();
    void readsAnEndpointWithoutAnEntry();
    void readingFails_data();
    void readingFails();

    void setsVolumes_data();
    void setsVolumes();
    void contextDecidesHowAChangeComesBack_data();
    void contextDecidesHowAChangeComesBack();
    void volumeThatStandsIsOnlyTold_data();
    void volumeThatStandsIsOnlyTold();
    void smallestDifferencesCount_data();
    void smallestDifferencesCount();
    void volumeOfAnEntryIsAlwaysTrue();
    void setsVolumeWithoutAnEntry();
    void settingWithoutAnEntryFails_data();
    void settingWithoutAnEntryFails();

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

    void changesFromOutsideAreControlChanges();
    void idsAreComparedExactly();

private:
    /// An endpoint that the platform knows and the monitor does not watch.
    QString addUnmonitored();

    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorLevels::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

QString TestSystemSoundMonitorLevels::addUnmonitored()
{
    return simulated::addEndpoint({.name = "Later", .volume = 0.75f, .muted = true});
}

void TestSystemSoundMonitorLevels::readsLevels()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QCOMPARE(monitor.getDeviceVolume(system->speakers), 50);
    QCOMPARE(monitor.isDeviceMuted(system->speakers), false);
    QCOMPARE(monitor.getDeviceVolume(system->headset), 100);
    QCOMPARE(monitor.isDeviceMuted(system->headset), true);
    QCOMPARE(monitor.getDeviceVolume(system->microphone), 25);
    QCOMPARE(callsNamed({"IMMDeviceEnumerator::GetDevice", "IMMDevice::Activate"}), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorLevels::roundsThePercentage_data()
{
    QTest::addColumn<float>("scalar");
    QTest::addColumn<int>("percent");
    QTest::newRow("silent") << 0.0f << 0;
    QTest::newRow("below a half") << 0.004f << 0;
    QTest::newRow("a tie goes away from zero") << 0.125f << 13;
    QTest::newRow("above a half") << 0.996f << 100;
    QTest::newRow("full") << 1.0f << 100;
}

void TestSystemSoundMonitorLevels::roundsThePercentage()
{
    QFETCH(float, scalar);
    QFETCH(int, percent);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setVolume(system->speakers, scalar);
    QCOMPARE(monitor.getDeviceVolume(system->speakers), percent);
    simulated::changeVolumeFromOutside(system->speakers, scalar);
    QCOMPARE(system->received->take(),
             QStringList(controlChanged(system->speakers, "audible", percent)));
}

void TestSystemSoundMonitorLevels::readsAnEndpointWithoutAnEntry()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = addUnmonitored();
    QCOMPARE(monitor.getDeviceVolume(later), 75);
    QCOMPARE(monitor.isDeviceMuted(later), true);
    // Nothing is kept of it.
    QCOMPARE(simulated::countCalls("IMMDeviceEnumerator::GetDevice"), 2);
    QCOMPARE(simulated::countCalls("IMMDevice::Activate"), 2);
    QCOMPARE(simulated::countCalls("release IAudioEndpointVolume"), 2);
    QCOMPARE(simulated::volumeSinks(later), 0);
}

void TestSystemSoundMonitorLevels::readingFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("withEntry");
    QTest::addColumn<QString>("words");
    QTest::newRow("GetDevice") << "IMMDeviceEnumerator::GetDevice" << false
                               << "Failed to GetDevice: ";
    QTest::newRow("Activate") << "IMMDevice::Activate" << false << "Failed to Activate: ";
    QTest::newRow("level") << "IAudioEndpointVolume::Get" << false << "";
    QTest::newRow("level of an entry") << "IAudioEndpointVolume::Get" << true << "";
}

void TestSystemSoundMonitorLevels::readingFails()
{
    QFETCH(QString, call);
    QFETCH(bool, withEntry);
    QFETCH(QString, words);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString id = withEntry ? system->headset : addUnmonitored();
    const QString getVolume = call.endsWith("Get") ? call + "MasterVolumeLevelScalar" : call;
    const QString getMute = call.endsWith("Get") ? call + "Mute" : call;
    simulated::failNext(getVolume, someFailure);
    QCOMPARE(monitor.getDeviceVolume(id), 0);
    simulated::failNext(getMute, someFailure);
    QCOMPARE(monitor.isDeviceMuted(id), false);

    QStringList lines;
    if (!words.isEmpty()) {
        for (const char *function : {"getDeviceVolume", "isDeviceMuted"})
            lines.append(QString("Critical: SystemSoundMonitor::%1 :  %2 %3")
                             .arg(QString(function), words, someFailureText));
    }
    QCOMPARE(system->log.lines(), lines);
}

void TestSystemSoundMonitorLevels::setsVolumes_data()
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

void TestSystemSoundMonitorLevels::setsVolumes()
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

void TestSystemSoundMonitorLevels::contextDecidesHowAChangeComesBack_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"volume", "increase", "decrease", "mute"})
        QTest::newRow(operation) << QString(operation);
}

void TestSystemSoundMonitorLevels::contextDecidesHowAChangeComesBack()
{
    QFETCH(QString, operation);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString &id = system->speakers;
    const auto change = [&](int percent, bool muted, bool useContext) {
        if (operation == "volume")
            return monitor.setDeviceVolume(id, percent, useContext);
        if (operation == "increase")
            return monitor.increaseDeviceVolume(id, 7, useContext);
        if (operation == "decrease")
            return monitor.decreaseDeviceVolume(id, 7, useContext);
        return monitor.setDeviceMuted(id, muted, useContext);
    };

    QVERIFY(change(57, true, true));
    const QStringList own = system->received->take();
    const GUID context = system->received->lastContext();
    QCOMPARE(own.size(), 1);
    QVERIFY2(own[0].startsWith("sigDeviceStateChanged(" + id), qPrintable(own[0]));
    QVERIFY(context != GUID_NULL);

    QVERIFY(change(64, false, false));
    const QStringList foreign = system->received->take();
    QCOMPARE(foreign.size(), 1);
    QVERIFY2(foreign[0].startsWith("sigDeviceControlChanged(" + id), qPrintable(foreign[0]));
    QVERIFY(system->received->lastContext() == GUID_NULL);
}

void TestSystemSoundMonitorLevels::volumeThatStandsIsOnlyTold_data()
{
    QTest::addColumn<bool>("useContext");
    QTest::newRow("with context") << true;
    QTest::newRow("without context") << false;
}

void TestSystemSoundMonitorLevels::volumeThatStandsIsOnlyTold()
{
    QFETCH(bool, useContext);
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setDeviceVolume(system->headset, 100, useContext));
    QCOMPARE(callsNamed(levelChanges), QStringList());
    QCOMPARE(system->received->take(), QStringList(stateChanged(system->headset, "muted", 100)));
    QVERIFY(system->received->lastContext() != GUID_NULL);
}

void TestSystemSoundMonitorLevels::smallestDifferencesCount_data()
{
    QTest::addColumn<float>("scalar");
    QTest::addColumn<bool>("changed");
    QTest::newRow("equal") << 0.5f << false;
    QTest::newRow("a little more") << 0.5000005f << false;
    QTest::newRow("a little less") << 0.4999995f << false;
    QTest::newRow("more") << 0.500002f << true;
    QTest::newRow("less") << 0.499998f << true;
}

void TestSystemSoundMonitorLevels::smallestDifferencesCount()
{
    QFETCH(float, scalar);
    QFETCH(bool, changed);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setVolume(system->speakers, scalar);
    QVERIFY(monitor.setDeviceVolume(system->speakers, 50, true));
    QCOMPARE(callsNamed(levelChanges).size(), changed ? 1 : 0);
    QCOMPARE(system->received->take(), QStringList(stateChanged(system->speakers, "audible", 50)));
}

void TestSystemSoundMonitorLevels::volumeOfAnEntryIsAlwaysTrue()
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

void TestSystemSoundMonitorLevels::setsVolumeWithoutAnEntry()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = addUnmonitored();
    QVERIFY(monitor.setDeviceVolume(later, 150, true));
    QCOMPARE(simulated::endpoint(later).volume, 1.0f);
    QVERIFY(monitor.setDeviceMuted(later, false, true));
    QCOMPARE(simulated::endpoint(later).muted, false);
    QCOMPARE(simulated::countCalls("IMMDeviceEnumerator::GetDevice"), 2);
    QCOMPARE(simulated::countCalls("IMMDevice::Activate"), 2);
    QCOMPARE(simulated::countCalls("release IMMDevice"), 2);
    QCOMPARE(simulated::countCalls("release IAudioEndpointVolume"), 2);
    QCOMPARE(system->received->take(), QStringList());
}

void TestSystemSoundMonitorLevels::settingWithoutAnEntryFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<quint32>("code");
    QTest::addColumn<QString>("words");
    QTest::newRow("GetDevice") << "IMMDeviceEnumerator::GetDevice" << someFailure
                               << "Failed to GetDevice:  " + someFailureText;
    QTest::newRow("Activate") << "IMMDevice::Activate" << someFailure
                              << "Failed to Activate:  " + someFailureText;
    QTest::newRow("Set") << "IAudioEndpointVolume::Set" << someFailure << "";
    QTest::newRow("Set, not quite S_OK") << "IAudioEndpointVolume::Set" << 1u << "";
}

void TestSystemSoundMonitorLevels::settingWithoutAnEntryFails()
{
    QFETCH(QString, call);
    QFETCH(quint32, code);
    QFETCH(QString, words);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = addUnmonitored();
    const bool sets = call.endsWith("Set");
    simulated::failNext(sets ? call + "MasterVolumeLevelScalar" : call, code);
    QVERIFY(!monitor.setDeviceVolume(later, 10, true));
    simulated::failNext(sets ? call + "Mute" : call, code);
    QVERIFY(!monitor.setDeviceMuted(later, false, true));

    QStringList lines;
    if (!words.isEmpty()) {
        for (const char *function : {"setDeviceVolume", "setDeviceMuted"})
            lines.append(
                QString("Critical: SystemSoundMonitor::%1 :  %2").arg(QString(function), words));
    }
    QCOMPARE(system->log.lines(), lines);
}

void TestSystemSoundMonitorLevels::stepsVolumes_data()
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

void TestSystemSoundMonitorLevels::stepsVolumes()
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

void TestSystemSoundMonitorLevels::stepsToTheSameVolumeAreOnlyTold()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.increaseDeviceVolume(system->headset, 10, false));
    QVERIFY(monitor.decreaseDeviceVolume(system->headset, 0, false));
    QCOMPARE(callsNamed(levelChanges), QStringList());
    QCOMPARE(system->received->take(), QStringList(2, stateChanged(system->headset, "muted", 100)));
}

void TestSystemSoundMonitorLevels::stepsNeedAnEntry_data()
{
    QTest::addColumn<bool>("up");
    QTest::newRow("increase") << true;
    QTest::newRow("decrease") << false;
}

void TestSystemSoundMonitorLevels::stepsNeedAnEntry()
{
    QFETCH(bool, up);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = addUnmonitored();
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

void TestSystemSoundMonitorLevels::setsMute()
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

void TestSystemSoundMonitorLevels::muteThatStandsIsOnlyTold_data()
{
    QTest::addColumn<bool>("useContext");
    QTest::newRow("with context") << true;
    QTest::newRow("without context") << false;
}

void TestSystemSoundMonitorLevels::muteThatStandsIsOnlyTold()
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

void TestSystemSoundMonitorLevels::muteNeedsExactSuccess_data()
{
    QTest::addColumn<quint32>("code");
    QTest::newRow("failure") << someFailure;
    QTest::newRow("S_FALSE") << 1u;
}

void TestSystemSoundMonitorLevels::muteNeedsExactSuccess()
{
    QFETCH(quint32, code);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IAudioEndpointVolume::SetMute", code);
    QVERIFY(!monitor.setDeviceMuted(system->speakers, true, true));
    QCOMPARE(system->received->take(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorLevels::changesFromOutsideAreControlChanges()
{
    system->startQuietly();
    simulated::changeVolumeFromOutside(system->speakers, 0.2f);
    simulated::changeMuteFromOutside(system->microphone, true);
    QCOMPARE(system->received->take(),
             QStringList({controlChanged(system->speakers, "audible", 20),
                          controlChanged(system->microphone, "muted", 25)}));
}

void TestSystemSoundMonitorLevels::idsAreComparedExactly()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString shouted = system->speakers.toUpper();
    QVERIFY(shouted != system->speakers);
    QVERIFY(!monitor.increaseDeviceVolume(shouted, 1, true));
    QVERIFY(!monitor.increaseDeviceVolume(system->speakers + ' ', 1, true));
    QVERIFY(!monitor.increaseDeviceVolume(QString(), 1, true));
    QVERIFY(monitor.increaseDeviceVolume(system->speakers, 1, true));
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorLevels)
#include "tst_systemsoundmonitor_levels.moc"
