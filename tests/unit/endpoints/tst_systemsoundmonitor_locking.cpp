#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>

class TestSystemSoundMonitorLocking : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void theListIsLockedDuringOperations_data();
    void theListIsLockedDuringOperations();
    void theListIsLockedWhileAnUnchangedLevelIsTold();
    void theListIsFreeDuringDefaultLookUps();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorLocking::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorLocking::theListIsLockedDuringOperations_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("call");
    const auto row = [](const char *operation, const char *call) {
        QTest::addRow("%s, %s", operation, call) << QString(operation) << QString(call);
    };
    row("list", "IPropertyStore::GetValue");
    row("list", "IAudioEndpointVolume::GetMute");
    row("name", "IMMDevice::OpenPropertyStore");
    row("muted", "IAudioEndpointVolume::GetMute");
    row("volume", "IAudioEndpointVolume::GetMasterVolumeLevelScalar");
    row("volume of an unknown endpoint", "IMMDeviceEnumerator::GetDevice");
    row("set volume", "IAudioEndpointVolume::GetMasterVolumeLevelScalar");
    row("set volume", "IAudioEndpointVolume::SetMasterVolumeLevelScalar");
    row("step volume", "IAudioEndpointVolume::SetMasterVolumeLevelScalar");
    row("set mute", "IAudioEndpointVolume::SetMute");
    row("add", "IMMDeviceEnumerator::EnumAudioEndpoints");
    row("remove", "IAudioEndpointVolume::UnregisterControlChangeNotify");
    row("rebuild", "IMMDeviceEnumerator::EnumAudioEndpoints 1");
    row("rebuild", "IAudioEndpointVolume::UnregisterControlChangeNotify");
}

void TestSystemSoundMonitorLocking::theListIsLockedDuringOperations()
{
    QFETCH(QString, operation);
    QFETCH(QString, call);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString &id = system->headset;
    LockProbe probe(monitor, LockProbe::Held);
    probe.lookDuring(call);
    if (operation == "list")
        static_cast<void>(monitor.getInputDeviceInfos());
    else if (operation == "name")
        static_cast<void>(monitor.getDeviceName(id));
    else if (operation == "muted")
        static_cast<void>(monitor.isDeviceMuted(id));
    else if (operation == "volume")
        static_cast<void>(monitor.getDeviceVolume(id));
    else if (operation == "volume of an unknown endpoint")
        static_cast<void>(monitor.getDeviceVolume(unknownID));
    else if (operation == "set volume")
        monitor.setDeviceVolume(id, 50, true);
    else if (operation == "step volume")
        monitor.decreaseDeviceVolume(id, 50, true);
    else if (operation == "set mute")
        monitor.setDeviceMuted(id, false, true);
    else if (operation == "add")
        monitor.addAudioEndpointVolumeCallbackMonitor(unknownID);
    else if (operation == "remove")
        monitor.removeAudioEndpointVolumeCallbackMonitor(id);
    else if (operation == "rebuild")
        monitor.updateAudioEndpointVolumeMonitor();
    const QList<bool> free = probe.free();
    QVERIFY(!free.isEmpty());
    QVERIFY(!free.contains(true));
}

void TestSystemSoundMonitorLocking::theListIsLockedWhileAnUnchangedLevelIsTold()
{
    // Without a thread of its own the monitor raises the signal from within the operation.
    SystemSoundMonitor &monitor = system->start(false);
    LockProbe probe(monitor, LockProbe::Held);
    connect(&monitor, &SystemSoundMonitor::sigDeviceStateChanged, this, [&] { probe.look(); });
    QVERIFY(monitor.setDeviceVolume(system->headset, 100, true));
    QCOMPARE(probe.free(), QList<bool>({false}));
    QVERIFY(monitor.setDeviceMuted(system->headset, true, true));
    QCOMPARE(probe.free(), QList<bool>({false}));
}

void TestSystemSoundMonitorLocking::theListIsFreeDuringDefaultLookUps()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    LockProbe probe(monitor, LockProbe::Free);
    probe.lookDuring("IMMDeviceEnumerator::GetDefaultAudioEndpoint");
    probe.lookDuring("IMMDevice::OpenPropertyStore");
    QCOMPARE(monitor.getDefaultOutputDeviceInfo()["deviceID"].toString(), system->speakers);
    QCOMPARE(monitor.getDefaultInputDeviceInfo()["deviceID"].toString(), system->microphone);
    QCOMPARE(probe.free(), QList<bool>(4, true));
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorLocking)
#include "tst_systemsoundmonitor_locking.moc"
