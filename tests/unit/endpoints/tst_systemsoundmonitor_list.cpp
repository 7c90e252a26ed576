#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>

namespace
{

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

} // namespace

class TestSystemSoundMonitorList : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

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

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorList::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorList::enumerationFails_data()
{
    QTest::addColumn<int>("flow");
    QTest::addColumn<QString>("line");
    QTest::newRow("render") << int(eRender) << "Critical: eRender EnumAudioEndpoints faild!";
    QTest::newRow("capture") << int(eCapture) << "Critical: eCapture EnumAudioEndpoints faild!";
}

void TestSystemSoundMonitorList::enumerationFails()
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

void TestSystemSoundMonitorList::noEndpointsAtAll()
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

void TestSystemSoundMonitorList::onlyActiveEndpointsAreListed()
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

void TestSystemSoundMonitorList::failingItemsAreSkipped_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("ofTheEndpoint");
    QTest::newRow("Item") << "IMMDeviceCollection::Item 0" << false;
    QTest::newRow("GetId") << "IMMDevice::GetId" << true;
    QTest::newRow("Activate") << "IMMDevice::Activate" << true;
}

void TestSystemSoundMonitorList::failingItemsAreSkipped()
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

void TestSystemSoundMonitorList::rebuildsTheList()
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

void TestSystemSoundMonitorList::addsInOrder()
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

void TestSystemSoundMonitorList::addsOnce()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(system->speakers));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(simulated::volumeSinks(system->speakers), 1);
}

void TestSystemSoundMonitorList::addingSearchesOutputsFirst()
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

void TestSystemSoundMonitorList::addingFails_data()
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

void TestSystemSoundMonitorList::addingFails()
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

void TestSystemSoundMonitorList::removesInOrder()
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

QTEST_GUILESS_MAIN(TestSystemSoundMonitorList)
#include "tst_systemsoundmonitor_list.moc"
