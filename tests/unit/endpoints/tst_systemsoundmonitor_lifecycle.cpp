#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>

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

/// The recorded calls that belong to an endpoint, as "call endpoint".
QStringList callsOnEndpoints()
{
    QStringList texts;
    for (const simulated::Call &call : simulated::callRecords()) {
        if (!call.endpointId.isEmpty())
            texts.append(call.text + " on " + call.endpointId);
    }
    return texts;
}

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

    void enumerationFails_data();
    void enumerationFails();
    void noEndpointsAtAll();
    void onlyActiveEndpointsAreListed();
    void failingItemsAreSkipped_data();
    void failingItemsAreSkipped();
    void rebuildsTheList();

    void addsInOrder();
    void addsOnce();
    void addingSearchesOutputsFirst();
    void addingFails_data();
    void addingFails();
    void removesInOrder();

    void theListIsLockedDuringOperations_data();
    void theListIsLockedDuringOperations();
    void theListIsLockedWhileAnUnchangedLevelIsTold();
    void theListIsFreeDuringDefaultLookUps();

    void everyCallFailing_data();
    void everyCallFailing();
    void endsAmidNotifications();
    void servesTwoThreads();

private:
    void useEverything();

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
    LockProbe probe(monitor);
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
    SystemSoundMonitor other(true);
    QVERIFY(other.setDeviceVolume(system->speakers, 10, true));
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceControlChanged(" + system->speakers + ", audible, 10%)"));
    QVERIFY(monitor.setDeviceVolume(system->speakers, 20, true));
    QCOMPARE(system->received->take(),
             QStringList("sigDeviceStateChanged(" + system->speakers + ", audible, 20%)"));
}

void TestSystemSoundMonitorLifecycle::enumerationFails_data()
{
    QTest::addColumn<int>("flow");
    QTest::addColumn<QString>("line");
    QTest::newRow("render") << int(eRender) << "Critical: eRender EnumAudioEndpoints faild!";
    QTest::newRow("capture") << int(eCapture) << "Critical: eCapture EnumAudioEndpoints faild!";
}

void TestSystemSoundMonitorLifecycle::enumerationFails()
{
    QFETCH(int, flow);
    QFETCH(QString, line);
    simulated::failNext(QString("IMMDeviceEnumerator::EnumAudioEndpoints %1").arg(flow),
                        someFailure);
    SystemSoundMonitor &monitor = system->start();
    QCOMPARE(system->log.lines(), QStringList(line));
    QCOMPARE(monitor.getOutputDeviceInfos().size(), flow == eRender ? 0 : 2);
    QCOMPARE(monitor.getInputDeviceInfos().size(), flow == eCapture ? 0 : 1);
}

void TestSystemSoundMonitorLifecycle::noEndpointsAtAll()
{
    for (const QString &id : {system->speakers, system->headset, system->microphone})
        simulated::removeEndpoint(id);
    system->start();
    QCOMPARE(system->log.lines(),
             QStringList({"Critical: SystemSoundMonitor::getDefaultInputDeviceInfo "
                          "GetDefaultAudioEndpoint faild.",
                          "Critical: SystemSoundMonitor::getDefaultOutputDeviceInfo "
                          "GetDefaultAudioEndpoint faild.",
                          "Critical: No eRender endpoints found.",
                          "Critical: No eCapture endpoints found."}));
}

void TestSystemSoundMonitorLifecycle::onlyActiveEndpointsAreListed()
{
    for (const DWORD state :
         {DEVICE_STATE_DISABLED, DEVICE_STATE_NOTPRESENT, DEVICE_STATE_UNPLUGGED}) {
        simulated::addEndpoint({.name = "Absent", .state = state});
        simulated::addEndpoint({.name = "Absent", .flow = eCapture, .state = state});
    }
    SystemSoundMonitor &monitor = system->start();
    QCOMPARE(monitor.getOutputDeviceInfos().size(), 2);
    QCOMPARE(monitor.getInputDeviceInfos().size(), 1);
}

void TestSystemSoundMonitorLifecycle::failingItemsAreSkipped_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("ofTheEndpoint");
    QTest::newRow("Item") << "IMMDeviceCollection::Item 0" << false;
    QTest::newRow("GetId") << "IMMDevice::GetId" << true;
    QTest::newRow("Activate") << "IMMDevice::Activate" << true;
}

void TestSystemSoundMonitorLifecycle::failingItemsAreSkipped()
{
    QFETCH(QString, call);
    QFETCH(bool, ofTheEndpoint);
    // The speakers are the first output; the default look-up must not meet the fault.
    simulated::setDefault(eRender, system->headset);
    simulated::failAlways(call, someFailure, ofTheEndpoint ? system->speakers : QString());
    SystemSoundMonitor &monitor = system->start();
    simulated::clearFaults();
    QCOMPARE(system->log.lines(), QStringList());
    const QJsonArray outputs = monitor.getOutputDeviceInfos();
    QCOMPARE(outputs.size(), 1);
    QCOMPARE(outputs[0].toObject()["deviceName"].toString(), "Headset");
    QCOMPARE(simulated::volumeSinks(system->speakers), 0);
    QVERIFY(!monitor.increaseDeviceVolume(system->speakers, 1, true));
}

void TestSystemSoundMonitorLifecycle::rebuildsTheList()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::removeEndpoint(system->speakers);
    const QString later = simulated::addEndpoint({.name = "Later"});
    monitor.updateAudioEndpointVolumeMonitor();
    QCOMPARE(simulated::volumeSinks(system->speakers), 0);
    QCOMPARE(simulated::volumeSinks(system->headset), 1);
    QCOMPARE(simulated::volumeSinks(later), 1);
    QCOMPARE(monitor.getOutputDeviceInfos().size(), 2);
}

void TestSystemSoundMonitorLifecycle::addsInOrder()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString line = simulated::addEndpoint({.name = "Line", .flow = eCapture});
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(line));
    QStringList expected;
    for (const QString &id : {system->speakers, system->headset, system->microphone})
        expected << "IMMDevice::GetId on " + id << "release IMMDevice on " + id;
    expected << "IMMDevice::GetId on " + line
             << "IMMDevice::Activate IAudioEndpointVolume 23 on " + line
             << "IAudioEndpointVolume::RegisterControlChangeNotify on " + line;
    QCOMPARE(callsOnEndpoints(), expected);
    QCOMPARE(callsNamed({"IMMDeviceEnumerator::EnumAudioEndpoints"}),
             QStringList({"IMMDeviceEnumerator::EnumAudioEndpoints 0 1",
                          "IMMDeviceEnumerator::EnumAudioEndpoints 1 1"}));
}

void TestSystemSoundMonitorLifecycle::addsOnce()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(system->speakers));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(simulated::volumeSinks(system->speakers), 1);
}

void TestSystemSoundMonitorLifecycle::addingSearchesOutputsFirst()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.removeAudioEndpointVolumeCallbackMonitor(system->speakers));
    simulated::clearCalls();
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(system->speakers));
    // The search ends with what it looks for: the first output.
    QCOMPARE(callsNamed({"IMMDeviceEnumerator::EnumAudioEndpoints", "IMMDeviceCollection::Item"}),
             QStringList(
                 {"IMMDeviceEnumerator::EnumAudioEndpoints 0 1", "IMMDeviceCollection::Item 0"}));
}

void TestSystemSoundMonitorLifecycle::addingFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("flow");
    QTest::addColumn<bool>("added");
    QTest::addColumn<QStringList>("lines");
    const QString words = "Critical: SystemSoundMonitor::addAudioEndpointVolumeCallbackMonitor %1 "
                          "EnumAudioEndpoints faild!";
    const QString enumerate = "IMMDeviceEnumerator::EnumAudioEndpoints";
    QTest::newRow("no outputs, an output")
        << enumerate + " 0" << int(eRender) << false << QStringList(words.arg("eRender"));
    QTest::newRow("no outputs, an input")
        << enumerate + " 0" << int(eCapture) << true << QStringList(words.arg("eRender"));
    QTest::newRow("no inputs, an input")
        << enumerate + " 1" << int(eCapture) << false << QStringList(words.arg("eCapture"));
    QTest::newRow("neither") << enumerate << int(eRender) << false
                             << QStringList({words.arg("eRender"), words.arg("eCapture")});
    for (const char *call : {"IMMDeviceCollection::GetCount", "IMMDeviceCollection::Item",
                             "IMMDevice::GetId", "IMMDevice::Activate"})
        QTest::newRow(call) << QString(call) << int(eRender) << false << QStringList();
    QTest::newRow("RegisterControlChangeNotify")
        << "IAudioEndpointVolume::RegisterControlChangeNotify" << int(eRender) << true
        << QStringList();
}

void TestSystemSoundMonitorLifecycle::addingFails()
{
    QFETCH(QString, call);
    QFETCH(int, flow);
    QFETCH(bool, added);
    QFETCH(QStringList, lines);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later", .flow = EDataFlow(flow)});
    simulated::failAlways(call, someFailure);
    QCOMPARE(monitor.addAudioEndpointVolumeCallbackMonitor(later), added);
    QCOMPARE(system->log.lines(), lines);
    simulated::clearFaults();
    QCOMPARE(monitor.increaseDeviceVolume(later, 1, true), added);
}

void TestSystemSoundMonitorLifecycle::removesInOrder()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.removeAudioEndpointVolumeCallbackMonitor(system->headset));
    QCOMPARE(
        callsOnEndpoints(),
        QStringList({"release IMMDevice on " + system->headset,
                     "IAudioEndpointVolume::UnregisterControlChangeNotify on " + system->headset,
                     "release IAudioEndpointVolume on " + system->headset}));
    QVERIFY(!monitor.removeAudioEndpointVolumeCallbackMonitor(system->headset));
    QVERIFY(!monitor.removeAudioEndpointVolumeCallbackMonitor(unknownID));
}

void TestSystemSoundMonitorLifecycle::theListIsLockedDuringOperations_data()
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

void TestSystemSoundMonitorLifecycle::theListIsLockedDuringOperations()
{
    QFETCH(QString, operation);
    QFETCH(QString, call);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString &id = system->headset;
    LockProbe probe(monitor);
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

void TestSystemSoundMonitorLifecycle::theListIsLockedWhileAnUnchangedLevelIsTold()
{
    // Without a thread of its own the monitor raises the signal from within the operation.
    SystemSoundMonitor &monitor = system->start(false);
    LockProbe probe(monitor);
    connect(&monitor, &SystemSoundMonitor::sigDeviceStateChanged, this, [&] { probe.look(); });
    QVERIFY(monitor.setDeviceVolume(system->headset, 100, true));
    QCOMPARE(probe.free(), QList<bool>({false}));
    QVERIFY(monitor.setDeviceMuted(system->headset, true, true));
    QCOMPARE(probe.free(), QList<bool>({false}));
}

void TestSystemSoundMonitorLifecycle::theListIsFreeDuringDefaultLookUps()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    LockProbe probe(monitor);
    probe.lookDuring("IMMDeviceEnumerator::GetDefaultAudioEndpoint");
    probe.lookDuring("IMMDevice::OpenPropertyStore");
    QCOMPARE(monitor.getDefaultOutputDeviceInfo()["deviceID"].toString(), system->speakers);
    QCOMPARE(monitor.getDefaultInputDeviceInfo()["deviceID"].toString(), system->microphone);
    QCOMPARE(probe.free(), QList<bool>(4, true));
}

/// Every operation and every notification once, on a system where both paths are taken.
void TestSystemSoundMonitorLifecycle::useEverything()
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

void TestSystemSoundMonitorLifecycle::everyCallFailing_data()
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

void TestSystemSoundMonitorLifecycle::everyCallFailing()
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

void TestSystemSoundMonitorLifecycle::endsAmidNotifications()
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

void TestSystemSoundMonitorLifecycle::servesTwoThreads()
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

QTEST_GUILESS_MAIN(TestSystemSoundMonitorLifecycle)
#include "tst_systemsoundmonitor_lifecycle.moc"
