#include "tests/unit/endpoints/monitorfixture.h"

#include <QJsonArray>
#include <QJsonObject>

namespace
{

QJsonObject info(const QString &name, const QString &id, bool muted, int volume)
{
    return {
        {"deviceName", name}, {"deviceID", id}, {"deviceMute", muted}, {"deviceVolume", volume}};
}

/// The names of the endpoints in a list, in its order.
QStringList namesIn(const QJsonArray &infos)
{
    QStringList names;
    for (const QJsonValue &value : infos)
        names.append(value.toObject()["deviceName"].toString());
    return names;
}

} // namespace

class TestSystemSoundMonitorInfo : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void listsDescribeEachEndpoint();
    void listsKeepTheirOrder();
    void listsLeaveOutEndpointsWithoutAName_data();
    void listsLeaveOutEndpointsWithoutAName();
    void listsTellWhatTheLevelsAre();
    void failingLevelsReadAsNothing();

    void defaultsDescribeTheConsoleEndpoint();
    void missingDefaultsAreEmpty();
    void defaultLookUpFails_data();
    void defaultLookUpFails();
    void defaultWithoutAnID();

    void namesComeFromTheEntry();
    void namesComeFromThePlatformOtherwise();
    void namesFail_data();
    void namesFail();

    void knowsOutputs();
    void asksTheEndpointForItsIDNow();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorInfo::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorInfo::listsDescribeEachEndpoint()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QCOMPARE(monitor.getOutputDeviceInfos(),
             QJsonArray({info("Speakers", system->speakers, false, 50),
                         info("Headset", system->headset, true, 100)}));
    QCOMPARE(monitor.getInputDeviceInfos(),
             QJsonArray({info("Microphone", system->microphone, false, 25)}));
    QCOMPARE(monitor.getOutputDeviceInfos()[0].toObject()["deviceVolume"].toVariant().typeId(),
             QMetaType::LongLong);
}

void TestSystemSoundMonitorInfo::listsKeepTheirOrder()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString third = simulated::addEndpoint({.name = "Third"});
    const QString line = simulated::addEndpoint({.name = "Line", .flow = eCapture});
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(line));
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(third));
    QCOMPARE(namesIn(monitor.getOutputDeviceInfos()),
             QStringList({"Speakers", "Headset", "Third"}));
    QCOMPARE(namesIn(monitor.getInputDeviceInfos()), QStringList({"Microphone", "Line"}));

    // One that leaves and comes back stands last.
    QVERIFY(monitor.removeAudioEndpointVolumeCallbackMonitor(system->speakers));
    QVERIFY(monitor.addAudioEndpointVolumeCallbackMonitor(system->speakers));
    QCOMPARE(namesIn(monitor.getOutputDeviceInfos()),
             QStringList({"Headset", "Third", "Speakers"}));
}

void TestSystemSoundMonitorInfo::listsLeaveOutEndpointsWithoutAName_data()
{
    QTest::addColumn<QString>("failingCall");
    QTest::newRow("no name") << QString();
    QTest::newRow("no store") << "IMMDevice::OpenPropertyStore";
    QTest::newRow("no value") << "IPropertyStore::GetValue";
}

void TestSystemSoundMonitorInfo::listsLeaveOutEndpointsWithoutAName()
{
    QFETCH(QString, failingCall);
    SystemSoundMonitor &monitor = system->startQuietly();
    if (failingCall.isEmpty())
        simulated::setNameReadable(system->speakers, false);
    else
        simulated::failAlways(failingCall, someFailure, system->speakers);
    QCOMPARE(namesIn(monitor.getOutputDeviceInfos()), QStringList({"Headset"}));
    QCOMPARE(system->log.lines(), QStringList());

    // It is monitored all the same.
    QCOMPARE(monitor.getDeviceVolume(system->speakers), 50);
    simulated::setNameReadable(system->speakers, true);
    simulated::clearFaults();
    QCOMPARE(namesIn(monitor.getOutputDeviceInfos()), QStringList({"Speakers", "Headset"}));
}

void TestSystemSoundMonitorInfo::listsTellWhatTheLevelsAre()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setVolume(system->speakers, 0.125f);
    simulated::setMute(system->speakers, true);
    simulated::rename(system->speakers, "Loudspeakers");
    QCOMPARE(monitor.getOutputDeviceInfos()[0].toObject(),
             info("Loudspeakers", system->speakers, true, 13));
}

void TestSystemSoundMonitorInfo::failingLevelsReadAsNothing()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IAudioEndpointVolume::GetMute", someFailure, 2);
    simulated::failNext("IAudioEndpointVolume::GetMasterVolumeLevelScalar", someFailure, 2);
    QCOMPARE(monitor.getOutputDeviceInfos(),
             QJsonArray({info("Speakers", system->speakers, false, 0),
                         info("Headset", system->headset, false, 0)}));
}

void TestSystemSoundMonitorInfo::defaultsDescribeTheConsoleEndpoint()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setDefault(eRender, eMultimedia, system->speakers);
    simulated::setDefault(eRender, eCommunications, system->speakers);
    simulated::setDefault(eRender, eConsole, system->headset);
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), info("Headset", system->headset, true, 100));
    QCOMPARE(monitor.getDefaultInputDeviceInfo(),
             info("Microphone", system->microphone, false, 25));

    // A default without an entry is read through the platform.
    const QString later = simulated::addEndpoint({.name = "Later", .volume = 0.75f});
    simulated::setDefault(eRender, later);
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), info("Later", later, false, 75));
}

void TestSystemSoundMonitorInfo::missingDefaultsAreEmpty()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::setDefault(eRender, QString());
    simulated::setDefault(eCapture, QString());
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), QJsonObject());
    QCOMPARE(monitor.getDefaultInputDeviceInfo(), QJsonObject());
    QCOMPARE(system->log.lines(),
             QStringList({"Critical: SystemSoundMonitor::getDefaultOutputDeviceInfo "
                          "GetDefaultAudioEndpoint faild.",
                          "Critical: SystemSoundMonitor::getDefaultInputDeviceInfo "
                          "GetDefaultAudioEndpoint faild."}));
}

void TestSystemSoundMonitorInfo::defaultLookUpFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("no store") << "IMMDevice::OpenPropertyStore";
    QTest::newRow("no value") << "IPropertyStore::GetValue";
}

void TestSystemSoundMonitorInfo::defaultLookUpFails()
{
    QFETCH(QString, call);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext(call, someFailure);
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), QJsonObject());
    QCOMPARE(simulated::countCalls("IMMDevice::GetId"), 0);
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorInfo::defaultWithoutAnID()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IMMDevice::GetId", someFailure);
    QCOMPARE(monitor.getDefaultOutputDeviceInfo(), info("Speakers", "", false, 0));
}

void TestSystemSoundMonitorInfo::namesComeFromTheEntry()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QCOMPARE(monitor.getDeviceName(system->speakers), "Speakers");
    QCOMPARE(monitor.getDeviceName(system->microphone), "Microphone");
    QCOMPARE(callsNamed({"IMMDeviceEnumerator::GetDevice"}), QStringList());
}

void TestSystemSoundMonitorInfo::namesComeFromThePlatformOtherwise()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later"});
    QCOMPARE(monitor.getDeviceName(later), "Later");
    QCOMPARE(simulated::countCalls("IMMDeviceEnumerator::GetDevice"), 1);

    // Also when the entry has no name to tell.
    simulated::failNext("IPropertyStore::GetValue", someFailure);
    QCOMPARE(monitor.getDeviceName(system->speakers), "Speakers");
    QCOMPARE(simulated::countCalls("IMMDeviceEnumerator::GetDevice"), 2);
}

void TestSystemSoundMonitorInfo::namesFail_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("logged");
    QTest::newRow("GetDevice") << "IMMDeviceEnumerator::GetDevice" << true;
    QTest::newRow("OpenPropertyStore") << "IMMDevice::OpenPropertyStore" << false;
    QTest::newRow("GetValue") << "IPropertyStore::GetValue" << false;
}

void TestSystemSoundMonitorInfo::namesFail()
{
    QFETCH(QString, call);
    QFETCH(bool, logged);
    SystemSoundMonitor &monitor = system->startQuietly();
    const QString later = simulated::addEndpoint({.name = "Later"});
    simulated::failNext(call, someFailure);
    QCOMPARE(monitor.getDeviceName(later), QString());
    const QString line =
        "Critical: SystemSoundMonitor::getDeviceName :  Failed to GetDevice:  " + someFailureText;
    QCOMPARE(system->log.lines(), logged ? QStringList(line) : QStringList());
}

void TestSystemSoundMonitorInfo::knowsOutputs()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.isOutputDevice(system->speakers));
    QVERIFY(monitor.isOutputDevice(system->headset));
    QVERIFY(!monitor.isOutputDevice(system->microphone));
    QVERIFY(!monitor.isOutputDevice(unknownID));
    QVERIFY(!monitor.isOutputDevice(system->speakers.toUpper()));
    QVERIFY(!monitor.isOutputDevice(simulated::addEndpoint({.name = "Later"})));
}

void TestSystemSoundMonitorInfo::asksTheEndpointForItsIDNow()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IMMDevice::GetId", someFailure, 1, system->speakers);
    QVERIFY(!monitor.isOutputDevice(system->speakers));
    QVERIFY(monitor.isOutputDevice(system->speakers));
    simulated::failNext("IMMDevice::GetId", someFailure, 1, system->speakers);
    QVERIFY(!monitor.isOutputDevice(QString()));
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorInfo)
#include "tst_systemsoundmonitor_info.moc"
