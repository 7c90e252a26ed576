#include "platform/simulated/sinks.h"
#include "tests/unit/endpoints/monitorfixture.h"

namespace
{

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

    void setsVolumeWithoutAnEntry();
    void settingWithoutAnEntryFails_data();
    void settingWithoutAnEntryFails();

    void contextDecidesHowAChangeComesBack_data();
    void contextDecidesHowAChangeComesBack();
    void changesFromOutsideAreControlChanges();
    void anyNonZeroMuteIsMuted();
    void idsAreComparedExactly();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorLevels::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
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
    const QString later = system->addUnmonitored();
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
    const QString id = withEntry ? system->headset : system->addUnmonitored();
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

void TestSystemSoundMonitorLevels::setsVolumeWithoutAnEntry()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = system->addUnmonitored();
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
    const QString later = system->addUnmonitored();
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

void TestSystemSoundMonitorLevels::changesFromOutsideAreControlChanges()
{
    system->startQuietly();
    simulated::changeVolumeFromOutside(system->speakers, 0.2f);
    simulated::changeMuteFromOutside(system->microphone, true);
    QCOMPARE(system->received->take(),
             QStringList({controlChanged(system->speakers, "audible", 20),
                          controlChanged(system->microphone, "muted", 25)}));
}

void TestSystemSoundMonitorLevels::anyNonZeroMuteIsMuted()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString &id = system->speakers;
    QVERIFY(monitor.setDeviceVolume(id, 30, true));
    QCOMPARE(system->received->take().size(), 1);
    for (const GUID &context : {system->received->lastContext(), GUID_NULL}) {
        AUDIO_VOLUME_NOTIFICATION_DATA data{};
        data.guidEventContext = context;
        data.bMuted = 2;
        data.fMasterVolume = 0.3f;
        simulated::levelSinks().deliver(
            id, [&data](IAudioEndpointVolumeCallback *sink) { sink->OnNotify(&data); });
    }
    QCOMPARE(system->received->take(), QStringList({"sigDeviceStateChanged(" + id + ", muted, 30%)",
                                                    controlChanged(id, "muted", 30)}));
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
