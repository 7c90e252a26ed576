#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QPointer>
#include <QSemaphore>
#include <QThread>

namespace
{

/// What the start and the end of a monitor ask of the platform, in their telling order.
const QStringList landmarks{"CoCreateGuid",
                            "CoInitialize",
                            "CoInitializeEx",
                            "CoUninitialize",
                            "CoCreateInstance",
                            "IMMDeviceEnumerator::GetDefaultAudioEndpoint",
                            "IMMDeviceEnumerator::EnumAudioEndpoints",
                            "IMMDeviceEnumerator::RegisterEndpointNotificationCallback",
                            "IMMDeviceEnumerator::UnregisterEndpointNotificationCallback",
                            "IAudioEndpointVolume::RegisterControlChangeNotify",
                            "IAudioEndpointVolume::UnregisterControlChangeNotify",
                            "release IMMDeviceEnumerator"};

QList<QByteArray> methodsOf(const QMetaObject &meta)
{
    QList<QByteArray> signatures;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        signatures.append(meta.method(index).methodSignature());
    return signatures;
}

} // namespace

class TestSystemSoundMonitorLifecycle : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void signalsAndSlotsAreDeclaredInOrder();
    void startsInOrder();
    void startsWithoutAThread();
    void endsInOrder();
    void livesWithoutAnEnumerator();
    void livesWithoutNotifications();
    void livesWithoutAContextOfItsOwn();
    void ownContextsDiffer();
    void aWorkerHeldUpInThePlatformKeepsTheMonitor();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorLifecycle::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorLifecycle::signalsAndSlotsAreDeclaredInOrder()
{
    const QList<QByteArray> expected{"sigPrintfLog(QString)",
                                     "sigDefaultCaptureDeviceChanged(QString)",
                                     "sigDefaultRenderDeviceChanged(QString)",
                                     "sigDeviceAdded(QString)",
                                     "sigDeviceRemoved(QString)",
                                     "sigDeviceActive(QString)",
                                     "sigDeviceDisabled(QString)",
                                     "sigDeviceNotPresent(QString)",
                                     "sigDeviceUnplugged(QString)",
                                     "sigPropertyValueChanged(QString)",
                                     "sigDeviceControlChanged(QString,bool,int,GUID)",
                                     "sigDeviceStateChanged(QString,bool,int,GUID)",
                                     "onDefaultCaptureDeviceChanged(QString)",
                                     "onDefaultRenderDeviceChanged(QString)",
                                     "onDeviceAdded(QString)",
                                     "onDeviceRemoved(QString)",
                                     "onDeviceActive(QString)",
                                     "onDeviceDisabled(QString)",
                                     "onDeviceNotPresent(QString)",
                                     "onDeviceUnplugged(QString)",
                                     "onPropertyValueChanged(QString)"};
    QCOMPARE(methodsOf(SystemSoundMonitor::staticMetaObject), expected);
}

void TestSystemSoundMonitorLifecycle::startsInOrder()
{
    system->start();
    QCOMPARE(callsNamed(landmarks),
             QStringList({"CoCreateGuid", "CoInitializeEx 0",
                          "CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 1",
                          "IMMDeviceEnumerator::GetDefaultAudioEndpoint 1 0",
                          "IMMDeviceEnumerator::GetDefaultAudioEndpoint 0 0",
                          "IMMDeviceEnumerator::EnumAudioEndpoints 0 1",
                          "IAudioEndpointVolume::RegisterControlChangeNotify",
                          "IAudioEndpointVolume::RegisterControlChangeNotify",
                          "IMMDeviceEnumerator::EnumAudioEndpoints 1 1",
                          "IAudioEndpointVolume::RegisterControlChangeNotify",
                          "IMMDeviceEnumerator::RegisterEndpointNotificationCallback"}));
    QCOMPARE(simulated::notificationSinks(), 1);
    QCOMPARE(simulated::volumeSinks(system->speakers), 1);
    QCOMPARE(simulated::volumeSinks(system->headset), 1);
    QCOMPARE(simulated::volumeSinks(system->microphone), 1);
    QCOMPARE(system->log.lines(), QStringList());

    // All of it on the constructing thread; the worker lives beside it.
    for (const simulated::Call &call : simulated::callRecords())
        QVERIFY2(call.thread == std::this_thread::get_id(), qPrintable(call.text));
    QVERIFY(system->monitor->thread() != QThread::currentThread());
    QVERIFY(system->monitor->thread()->isRunning());
}

void TestSystemSoundMonitorLifecycle::startsWithoutAThread()
{
    SystemSoundMonitor &monitor = system->start(false);
    QCOMPARE(monitor.thread(), QThread::currentThread());
    QCOMPARE(callsNamed({"CoInitialize", "CoInitializeEx"}), QStringList("CoInitialize"));
    simulated::notifyDeviceAdded(unknownID);
    QCOMPARE(system->received->take(), QStringList("sigDeviceAdded(" + unknownID + ')'));
    system->stop();
    QCOMPARE(simulated::countCalls("CoUninitialize"), 1);
}

void TestSystemSoundMonitorLifecycle::endsInOrder()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    LockProbe probe(monitor, LockProbe::Free);
    probe.lookDuring("IMMDeviceEnumerator::UnregisterEndpointNotificationCallback");
    const QPointer<QThread> worker = monitor.thread();
    system->stop();

    QStringList expected;
    for (int entry = 0; entry < 3; ++entry)
        expected << "release IMMDevice"
                 << "IAudioEndpointVolume::UnregisterControlChangeNotify"
                 << "release IAudioEndpointVolume";
    expected << "IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"
             << "release IMMDeviceEnumerator"
             << "CoUninitialize";
    QCOMPARE(simulated::calls(), expected);
    QCOMPARE(probe.free(), QList<bool>({true}));
    QCOMPARE(simulated::notificationSinks(), 0);
    QVERIFY(!worker || worker->isFinished());
    QTRY_VERIFY(!worker);
}

void TestSystemSoundMonitorLifecycle::livesWithoutAnEnumerator()
{
    simulated::failAlways("CoCreateInstance MMDeviceEnumerator", someFailure);
    SystemSoundMonitor &monitor = system->start();
    QCOMPARE(
        system->log.take(),
        QStringList("Critical: SystemSoundMonitor::SystemSoundMonitor CoCreateInstance faild!"));
    simulated::clearCalls();

    const QString &id = system->speakers;
    monitor.updateAudioEndpointVolumeMonitor();
    QCOMPARE(monitor.getOutputDeviceInfos(), QJsonArray());
    QCOMPARE(monitor.getInputDeviceInfos(), QJsonArray());
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), QJsonObject());
    QCOMPARE(monitor.getDefaultInputDeviceInfo(), QJsonObject());
    QCOMPARE(monitor.getDeviceName(id), QString());
    QCOMPARE(monitor.getDeviceVolume(id), -1);
    QVERIFY(!monitor.isDeviceMuted(id));
    QVERIFY(!monitor.isOutputDevice(id));
    QVERIFY(!monitor.setDeviceVolume(id, 10, true));
    QVERIFY(!monitor.setDeviceMuted(id, true, true));
    QVERIFY(!monitor.addAudioEndpointVolumeCallbackMonitor(id));
    QVERIFY(!monitor.removeAudioEndpointVolumeCallbackMonitor(id));
    QVERIFY(!monitor.setSystemDefaultDevice(true, id));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
    QVERIFY(!monitor.increaseDeviceVolume(id, 1, true));
    QVERIFY(!monitor.decreaseDeviceVolume(id, 1, true));
    // The policy has interfaces of its own.
    QVERIFY(monitor.setAudioDeviceVisibility(id, false));

    simulated::clearCalls();
    system->stop();
    QCOMPARE(simulated::calls(), QStringList("CoUninitialize"));
}

void TestSystemSoundMonitorLifecycle::livesWithoutNotifications()
{
    simulated::failNext("IMMDeviceEnumerator::RegisterEndpointNotificationCallback", someFailure);
    SystemSoundMonitor &monitor = system->start();
    QCOMPARE(system->log.lines(),
             QStringList("Critical: Failed to register notification callback."));
    QCOMPARE(monitor.getOutputDeviceInfos().size(), 2);
    simulated::changeMuteFromOutside(system->speakers, true);
    QCOMPARE(system->received->take().size(), 1);
}

void TestSystemSoundMonitorLifecycle::livesWithoutAContextOfItsOwn()
{
    simulated::failNext("CoCreateGuid", someFailure);
    SystemSoundMonitor &monitor = system->start();
    QVERIFY(monitor.setDeviceVolume(system->speakers, 10, true));
    QCOMPARE(callsNamed({"IAudioEndpointVolume::SetMasterVolumeLevelScalar"}),
             QStringList("IAudioEndpointVolume::SetMasterVolumeLevelScalar 0.1 zero"));
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceStateChanged(" + system->speakers + ", audible, 10%)"));
    // It then cannot tell its own changes from those that carry no context.
    simulated::changeVolumeFromOutside(system->speakers, 0.2f);
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceStateChanged(" + system->speakers + ", audible, 20%)"));
}

void TestSystemSoundMonitorLifecycle::ownContextsDiffer()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const std::shared_ptr<SystemSoundMonitor> other(new SystemSoundMonitor(true),
                                                    &SystemSoundMonitor::end);
    QVERIFY(other->setDeviceVolume(system->speakers, 10, true));
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceControlChanged(" + system->speakers + ", audible, 10%)"));
    QVERIFY(monitor.setDeviceVolume(system->speakers, 20, true));
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceStateChanged(" + system->speakers + ", audible, 20%)"));
}

void TestSystemSoundMonitorLifecycle::aWorkerHeldUpInThePlatformKeepsTheMonitor()
{
    const QPointer<SystemSoundMonitor> monitor = &system->startQuietly();
    const auto entered = std::make_shared<QSemaphore>();
    const auto leave = std::make_shared<QSemaphore>();
    simulated::onCall("IMMDeviceEnumerator::GetDefaultAudioEndpoint", [entered, leave] {
        entered->release();
        leave->acquire();
    });
    // Only with an empty ID does the worker ask the platform, and it asks without the lock.
    simulated::notifyDefaultChanged(eRender, eConsole, {});
    QVERIFY(entered->tryAcquire(1, 30000));
    bool isTold = false;
    connect(monitor, &SystemSoundMonitor::sigDefaultRenderDeviceChanged, monitor,
            [&] { isTold = true; });

    // The end comes back all the same, and leaves the monitor to its worker.
    system->stop();
    QCOMPARE(simulated::notificationSinks(), 0);
    QCOMPARE(simulated::countCalls("CoUninitialize"), 1);
    QVERIFY(monitor);
    simulated::setDefault(eRender, system->headset);
    leave->release(1000);
    QTRY_VERIFY_WITH_TIMEOUT(!monitor, 30000);
    QVERIFY(!isTold);
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorLifecycle)
#include "tst_systemsoundmonitor_lifecycle.moc"
