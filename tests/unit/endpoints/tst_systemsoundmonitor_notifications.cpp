#include "tests/unit/endpoints/monitorfixture.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QThread>

namespace
{

const PROPERTYKEY keyProperty = PKEY_Device_FriendlyName;

/// Announces the default as the platform does: once for each role.
void announceDefault(EDataFlow flow, const QString &id)
{
    for (const ERole role : {eConsole, eMultimedia, eCommunications})
        simulated::notifyDefaultChanged(flow, role, id);
}

QString text(const char *signal, const QString &id)
{
    return QString("%1(%2)").arg(QString(signal), id);
}

} // namespace

class TestSystemSoundMonitorNotifications : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void threeRolesMakeOneSignal_data();
    void threeRolesMakeOneSignal();
    void theKnownDefaultIsNoChange();
    void anotherCaseIsAnotherDefault();
    void eachFlowHasItsOwnDefault();
    void anEmptyIDIsLookedUp_data();
    void anEmptyIDIsLookedUp();
    void theLastDefaultLeaves();

    void arrivalsAreMonitored_data();
    void arrivalsAreMonitored();
    void arrivalsThatAreNotActiveHaveNoEntry();
    void departuresAreForgotten_data();
    void departuresAreForgotten();
    void unknownEndpointsAreToldAllTheSame();
    void signalsFollowTheWork();

    void keyPropertiesPassStraightThrough();
    void workRunsOnTheMonitorsThread();
    void levelSinksReachTheMonitorsThread();
    void ordersArriveInOrder();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorNotifications::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorNotifications::threeRolesMakeOneSignal_data()
{
    QTest::addColumn<int>("flow");
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("render") << int(eRender) << QByteArray("sigDefaultRenderDeviceChanged");
    QTest::newRow("capture") << int(eCapture) << QByteArray("sigDefaultCaptureDeviceChanged");
}

void TestSystemSoundMonitorNotifications::threeRolesMakeOneSignal()
{
    QFETCH(int, flow);
    QFETCH(QByteArray, signal);
    system->startQuietly();
    announceDefault(EDataFlow(flow), "first");
    QCOMPARE(system->received->take(), QStringList(text(signal, "first")));
    announceDefault(EDataFlow(flow), "first");
    QCOMPARE(system->received->take(), QStringList());
    announceDefault(EDataFlow(flow), "second");
    announceDefault(EDataFlow(flow), "first");
    QCOMPARE(system->received->take(),
             QStringList({text(signal, "second"), text(signal, "first")}));
}

void TestSystemSoundMonitorNotifications::theKnownDefaultIsNoChange()
{
    system->startQuietly();
    announceDefault(eRender, system->speakers);
    announceDefault(eCapture, system->microphone);
    QCOMPARE(system->received->take(), QStringList());
}

void TestSystemSoundMonitorNotifications::anotherCaseIsAnotherDefault()
{
    system->startQuietly();
    const QString shouted = system->speakers.toUpper();
    announceDefault(eRender, shouted);
    QCOMPARE(system->received->take(), QStringList(text("sigDefaultRenderDeviceChanged", shouted)));
}

void TestSystemSoundMonitorNotifications::eachFlowHasItsOwnDefault()
{
    system->startQuietly();
    announceDefault(eCapture, system->speakers);
    announceDefault(eRender, system->microphone);
    QCOMPARE(system->received->take(),
             QStringList({text("sigDefaultCaptureDeviceChanged", system->speakers),
                          text("sigDefaultRenderDeviceChanged", system->microphone)}));
}

void TestSystemSoundMonitorNotifications::anEmptyIDIsLookedUp_data()
{
    QTest::addColumn<QString>("announced");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString("");
}

void TestSystemSoundMonitorNotifications::anEmptyIDIsLookedUp()
{
    QFETCH(QString, announced);
    system->startQuietly();
    announceDefault(eRender, announced);
    announceDefault(eCapture, announced);
    QCOMPARE(system->received->take(), QStringList());

    const QString line = simulated::addEndpoint({.name = "Line", .flow = eCapture});
    simulated::setDefault(eRender, system->headset);
    simulated::setDefault(eCapture, line);
    announceDefault(eRender, announced);
    announceDefault(eCapture, announced);
    QCOMPARE(system->received->take(),
             QStringList({text("sigDefaultRenderDeviceChanged", system->headset),
                          text("sigDefaultCaptureDeviceChanged", line)}));
}

void TestSystemSoundMonitorNotifications::theLastDefaultLeaves()
{
    system->startQuietly();
    simulated::setDefault(eRender, QString());
    announceDefault(eRender, QString());
    QCOMPARE(system->received->take(), QStringList(text("sigDefaultRenderDeviceChanged", "")));
    QCOMPARE(system->log.lines(),
             QStringList(3, "Critical: SystemSoundMonitor::getDefaultOutputDeviceInfo "
                            "GetDefaultAudioEndpoint faild."));
    simulated::setDefault(eRender, system->speakers);
    announceDefault(eRender, system->speakers);
    QCOMPARE(system->received->take(),
             QStringList(text("sigDefaultRenderDeviceChanged", system->speakers)));
}

void TestSystemSoundMonitorNotifications::arrivalsAreMonitored_data()
{
    QTest::addColumn<bool>("active");
    QTest::addColumn<int>("flow");
    QTest::newRow("added output") << false << int(eRender);
    QTest::newRow("added input") << false << int(eCapture);
    QTest::newRow("active output") << true << int(eRender);
    QTest::newRow("active input") << true << int(eCapture);
}

void TestSystemSoundMonitorNotifications::arrivalsAreMonitored()
{
    QFETCH(bool, active);
    QFETCH(int, flow);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later", .flow = EDataFlow(flow)});
    const auto announce = [&] {
        if (active)
            simulated::notifyDeviceState(later, DEVICE_STATE_ACTIVE);
        else
            simulated::notifyDeviceAdded(later);
    };
    const QString signal = text(active ? "sigDeviceActive" : "sigDeviceAdded", later);
    announce();
    QCOMPARE(system->received->take(), QStringList(signal));
    QCOMPARE(simulated::volumeSinks(later), 1);
    QCOMPARE(monitor.isOutputDevice(later), flow == eRender);
    QVERIFY(monitor.increaseDeviceVolume(later, 1, true));
    static_cast<void>(system->received->take());

    // A second announcement is told, and changes nothing.
    announce();
    QCOMPARE(system->received->take(), QStringList(signal));
    QCOMPARE(simulated::volumeSinks(later), 1);
    simulated::changeMuteFromOutside(later, true);
    QCOMPARE(system->received->take().size(), 1);
}

void TestSystemSoundMonitorNotifications::arrivalsThatAreNotActiveHaveNoEntry()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later =
        simulated::addEndpoint({.name = "Later", .state = DEVICE_STATE_UNPLUGGED});
    simulated::notifyDeviceAdded(later);
    QCOMPARE(system->received->take(), QStringList(text("sigDeviceAdded", later)));
    QVERIFY(!monitor.increaseDeviceVolume(later, 1, true));

    simulated::setState(later, DEVICE_STATE_ACTIVE);
    simulated::notifyDeviceState(later, DEVICE_STATE_ACTIVE);
    QCOMPARE(system->received->take(), QStringList(text("sigDeviceActive", later)));
    QVERIFY(monitor.decreaseDeviceVolume(later, 1, true));
}

void TestSystemSoundMonitorNotifications::departuresAreForgotten_data()
{
    QTest::addColumn<quint32>("state");
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("removed") << 0u << QByteArray("sigDeviceRemoved");
    QTest::newRow("disabled") << quint32(DEVICE_STATE_DISABLED) << QByteArray("sigDeviceDisabled");
    QTest::newRow("not present") << quint32(DEVICE_STATE_NOTPRESENT)
                                 << QByteArray("sigDeviceNotPresent");
    QTest::newRow("unplugged") << quint32(DEVICE_STATE_UNPLUGGED)
                               << QByteArray("sigDeviceUnplugged");
}

void TestSystemSoundMonitorNotifications::departuresAreForgotten()
{
    QFETCH(quint32, state);
    QFETCH(QByteArray, signal);
    SystemSoundMonitor &monitor = system->startQuietly();
    if (state == 0)
        simulated::notifyDeviceRemoved(system->speakers);
    else
        simulated::notifyDeviceState(system->speakers, state);
    QCOMPARE(system->received->take(), QStringList(text(signal, system->speakers)));
    QCOMPARE(simulated::volumeSinks(system->speakers), 0);
    QVERIFY(!monitor.isOutputDevice(system->speakers));
    QVERIFY(!monitor.removeAudioEndpointVolumeCallbackMonitor(system->speakers));
    QCOMPARE(monitor.getOutputDeviceInfos().size(), 1);
    simulated::changeMuteFromOutside(system->speakers, true);
    QCOMPARE(system->received->take(), QStringList());
}

void TestSystemSoundMonitorNotifications::unknownEndpointsAreToldAllTheSame()
{
    system->startQuietly();
    simulated::notifyDeviceAdded(unknownID);
    simulated::notifyDeviceState(unknownID, DEVICE_STATE_ACTIVE);
    simulated::notifyDeviceRemoved(unknownID);
    simulated::notifyDeviceState(unknownID, 3);
    simulated::notifyDeviceRemoved(QString());
    QCOMPARE(system->received->take(),
             QStringList({text("sigDeviceAdded", unknownID), text("sigDeviceActive", unknownID),
                          text("sigDeviceRemoved", unknownID), text("sigDeviceRemoved", "")}));
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorNotifications::signalsFollowTheWork()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later"});
    // In the monitor's own thread, at the moment of each signal.
    QList<qsizetype> sinks;
    using Monitor = SystemSoundMonitor;
    for (const auto signal :
         {&Monitor::sigDeviceAdded, &Monitor::sigDeviceActive, &Monitor::sigDeviceRemoved,
          &Monitor::sigDeviceDisabled, &Monitor::sigDeviceNotPresent, &Monitor::sigDeviceUnplugged})
        connect(
            &monitor, signal, &monitor, [&] { sinks.append(simulated::volumeSinks(later)); },
            Qt::DirectConnection);

    simulated::notifyDeviceAdded(later);
    simulated::notifyDeviceRemoved(later);
    for (const DWORD departure :
         {DEVICE_STATE_DISABLED, DEVICE_STATE_NOTPRESENT, DEVICE_STATE_UNPLUGGED}) {
        simulated::notifyDeviceState(later, DEVICE_STATE_ACTIVE);
        simulated::notifyDeviceState(later, departure);
    }
    QCOMPARE(system->received->take().size(), 8);
    QCOMPARE(sinks, (QList<qsizetype>{1, 0, 1, 0, 1, 0, 1, 0}));
}

void TestSystemSoundMonitorNotifications::keyPropertiesPassStraightThrough()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    // The first half second after the start is deaf to them: knock until one is heard.
    QStringList heard;
    for (const QDeadlineTimer bound(10000); heard.isEmpty() && !bound.hasExpired();) {
        simulated::notifyPropertyChanged(system->speakers, keyProperty);
        heard = system->received->take();
    }
    QCOMPARE(heard, QStringList(text("sigPropertyValueChanged", system->speakers)));

    // The entry and its sink have stayed.
    QCOMPARE(callsNamed({"IAudioEndpointVolume::RegisterControlChangeNotify",
                         "IAudioEndpointVolume::UnregisterControlChangeNotify"}),
             QStringList());
    QCOMPARE(monitor.getOutputDeviceInfos().size(), 2);
    const QStringList lines = system->log.lines();
    QVERIFY(lines.filter("关键属性变更: \"" + system->speakers + '"').size() >= 1);
    QCOMPARE(lines.count("Info: 500ms内多次触发关键属性变更"), lines.size() / 2);

    // A property of no interest leaves no trace.
    static_cast<void>(system->log.take());
    simulated::notifyPropertyChanged(system->speakers, {IID_IUnknown, 0});
    QCOMPARE(system->received->take(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorNotifications::workRunsOnTheMonitorsThread()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.thread() != QThread::currentThread());
    QThread *raisedOn = nullptr;
    connect(
        &monitor, &SystemSoundMonitor::sigDeviceAdded, &monitor,
        [&raisedOn] { raisedOn = QThread::currentThread(); }, Qt::DirectConnection);
    simulated::notifyDeviceAdded(unknownID);
    static_cast<void>(system->received->take());
    QCOMPARE(raisedOn, monitor.thread());
}

void TestSystemSoundMonitorNotifications::levelSinksReachTheMonitorsThread()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QThread *raisedOn = nullptr;
    connect(
        &monitor, &SystemSoundMonitor::sigDeviceControlChanged, &monitor,
        [&raisedOn] { raisedOn = QThread::currentThread(); }, Qt::DirectConnection);
    simulated::changeVolumeFromOutside(system->speakers, 0.1f);
    static_cast<void>(system->received->take());
    QCOMPARE(raisedOn, monitor.thread());
}

void TestSystemSoundMonitorNotifications::ordersArriveInOrder()
{
    system->startQuietly();
    QStringList expected;
    for (int index = 0; index < 50; ++index) {
        const QString id = QString("endpoint %1").arg(index);
        simulated::notifyDeviceAdded(id);
        simulated::notifyDefaultChanged(eRender, eConsole, id);
        simulated::notifyDeviceRemoved(id);
        expected << text("sigDeviceAdded", id) << text("sigDefaultRenderDeviceChanged", id)
                 << text("sigDeviceRemoved", id);
    }
    QCOMPARE(system->received->take(), expected);
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorNotifications)
#include "tst_systemsoundmonitor_notifications.moc"
