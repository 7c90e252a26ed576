#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>

class TestSystemSoundMonitorFaults : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void everyCallFailing_data();
    void everyCallFailing();
    void endsAmidNotifications();
    void servesTwoThreads();

private:
    void useEverything();

    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorFaults::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorFaults::useEverything()
{
    SystemSoundMonitor &monitor = system->start();
    const QString later = simulated::addEndpoint(
        {.name = "Later", .id = "{0.0.0.00000000}.{6b5a2a1c-0000-4000-8000-0000000000ff}"});
    for (const QString &id : {system->speakers, system->headset, later, unknownID}) {
        static_cast<void>(monitor.getDeviceName(id));
        static_cast<void>(monitor.isOutputDevice(id));
        static_cast<void>(monitor.isDeviceMuted(id));
        static_cast<void>(monitor.getDeviceVolume(id));
        monitor.setDeviceMuted(id, true, true);
        monitor.setDeviceVolume(id, 30, true);
        monitor.increaseDeviceVolume(id, 5, false);
        monitor.decreaseDeviceVolume(id, 10, true);
        monitor.setSystemDefaultDevice(true, id);
        monitor.setAudioDeviceVisibility(id, false);
        monitor.setAudioDeviceVisibility(id, true);
        static_cast<void>(system->received->take());
    }
    static_cast<void>(monitor.getInputDeviceInfos());
    static_cast<void>(monitor.getOutputDeviceInfos());
    static_cast<void>(monitor.getDefaultInputDeviceInfo());
    static_cast<void>(monitor.getDefaultOutputDeviceInfo());
    simulated::notifyDeviceAdded(later);
    simulated::notifyDefaultChanged(eRender, eConsole, QString());
    simulated::notifyDefaultChanged(eCapture, eConsole, later);
    simulated::notifyPropertyChanged(later, PKEY_Device_FriendlyName);
    static_cast<void>(system->received->take());
    monitor.removeAudioEndpointVolumeCallbackMonitor(later);
    monitor.addAudioEndpointVolumeCallbackMonitor(later);
    monitor.updateAudioEndpointVolumeMonitor();
    simulated::notifyDeviceRemoved(later);
    static_cast<void>(system->received->take());
    system->stop();
}

void TestSystemSoundMonitorFaults::everyCallFailing_data()
{
    system = std::make_unique<MonitorFixture>();
    useEverything();
    QStringList calls = simulated::calls();
    calls.removeDuplicates();
    system.reset();

    QTest::addColumn<QString>("call");
    for (const QString &call : std::as_const(calls)) {
        if (!call.startsWith("release ") && call != "CoUninitialize" && call != "CoTaskMemFree")
            QTest::newRow(qPrintable(call)) << call;
    }
}

void TestSystemSoundMonitorFaults::everyCallFailing()
{
    QFETCH(QString, call);
    simulated::failAlways(call, someFailure);
    useEverything();
    QVERIFY(simulated::countCalls(call) > 0);
    simulated::clearFaults();
    QCOMPARE(simulated::leakReport(), QString());
    QCOMPARE(simulated::notificationSinks(), 0);

    // The first such call alone.
    system.reset();
    system = std::make_unique<MonitorFixture>();
    simulated::failNext(call, someFailure);
    useEverything();
    simulated::clearFaults();
    QCOMPARE(simulated::leakReport(), QString());
    QCOMPARE(simulated::notificationSinks(), 0);
    QCOMPARE(simulated::countCalls("CoUninitialize"), 1);
}

void TestSystemSoundMonitorFaults::endsAmidNotifications()
{
    const QString later = simulated::addEndpoint({.name = "Later"});
    for (int round = 0; round < 60; ++round) {
        system->start();
        for (int burst = 0; burst < 20; ++burst) {
            simulated::notifyDeviceRemoved(later);
            simulated::notifyDeviceAdded(later);
            simulated::notifyDefaultChanged(eRender, eConsole, QString());
            simulated::notifyDefaultChanged(eRender, eConsole, later);
            simulated::changeVolumeFromOutside(later, float(burst) / 20.0f);
        }
        // Each round ends at another point of the burst.
        if (round % 3 == 0)
            QVERIFY(simulated::waitForCalls("IMMDeviceEnumerator::EnumAudioEndpoints", round % 20));
        system->stop();
        simulated::drain();
        simulated::clearCalls();
        QCOMPARE(simulated::notificationSinks(), 0);
        QCOMPARE(simulated::volumeSinks(later), 0);
    }
}

void TestSystemSoundMonitorFaults::servesTwoThreads()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later"});
    for (int round = 0; round < 100; ++round) {
        simulated::notifyDeviceAdded(later);
        monitor.setDeviceVolume(later, round, true);
        monitor.setDeviceMuted(later, round % 2 == 0, true);
        static_cast<void>(monitor.getOutputDeviceInfos());
        static_cast<void>(monitor.getDefaultOutputDeviceInfo());
        static_cast<void>(monitor.getDeviceName(later));
        simulated::notifyDeviceState(later, DEVICE_STATE_UNPLUGGED);
    }
    const QStringList told = system->received->take();
    QCOMPARE(told.count("sigDeviceAdded(" + later + ')'), 100);
    QCOMPARE(told.count("sigDeviceUnplugged(" + later + ')'), 100);
    QVERIFY(!monitor.isOutputDevice(later));
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorFaults)
#include "tst_systemsoundmonitor_faults.moc"
