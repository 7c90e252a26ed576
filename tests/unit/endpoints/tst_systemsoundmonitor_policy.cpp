#include "tests/unit/endpoints/monitorfixture.h"

namespace
{

/// The policy generations with what each refuses to be created with.
constexpr DWORD classMissing = 0x80040154;
const QString classMissingText = "\"-7ffbfeac\"";

const QStringList policyCalls{"CoCreateInstance PolicyConfig",
                              "CoCreateInstance PolicyConfigVista",
                              "IPolicyConfig::SetDefaultEndpoint",
                              "IPolicyConfig::SetEndpointVisibility",
                              "IPolicyConfigVista::SetDefaultEndpoint",
                              "IPolicyConfigVista::SetEndpointVisibility",
                              "release IPolicyConfig",
                              "release IPolicyConfigVista"};

} // namespace

class TestSystemSoundMonitorPolicy : public QObject
{
    Q_OBJECT

private slots:
    void init() { system = std::make_unique<MonitorFixture>(); }
    void cleanup();

    void showsAndHides();
    void nothingHasNoVisibility();
    void visibilityFails_data();
    void visibilityFails();
    void visibilityNeedsOnlySuccess();
    void theOlderGenerationStandsIn_data();
    void theOlderGenerationStandsIn();
    void noGenerationAtAll();

    void setsTheConsoleDefaultOnly();
    void theDefaultIsLeftAlone();
    void refusedDefaultsAreTrue();
    void directionCounts();
    void defaultsFail_data();
    void defaultsFail();
    void theChangeComesBackAsANotification();
    void takesNoLock();

private:
    std::unique_ptr<MonitorFixture> system;
};

void TestSystemSoundMonitorPolicy::cleanup()
{
    system.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestSystemSoundMonitorPolicy::showsAndHides()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setAudioDeviceVisibility(system->headset, false));
    QCOMPARE(simulated::endpoint(system->headset).state, DEVICE_STATE_DISABLED);
    QVERIFY(monitor.setAudioDeviceVisibility(system->headset, true));
    QCOMPARE(simulated::endpoint(system->headset).state, DEVICE_STATE_ACTIVE);
    QCOMPARE(callsNamed(policyCalls),
             QStringList({"CoCreateInstance PolicyConfig IPolicyConfig 1",
                          "IPolicyConfig::SetEndpointVisibility " + system->headset + " 0",
                          "release IPolicyConfig", "CoCreateInstance PolicyConfig IPolicyConfig 1",
                          "IPolicyConfig::SetEndpointVisibility " + system->headset + " 1",
                          "release IPolicyConfig"}));
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::nothingHasNoVisibility()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(!monitor.setAudioDeviceVisibility(QString(), true));
    QVERIFY(!monitor.setAudioDeviceVisibility("", false));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::visibilityFails_data()
{
    QTest::addColumn<quint32>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("E_FAIL") << someFailure << someFailureText;
    QTest::newRow("E_NOTFOUND") << 0x80070490u << notFoundText;
}

void TestSystemSoundMonitorPolicy::visibilityFails()
{
    QFETCH(quint32, code);
    QFETCH(QString, text);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IPolicyConfig::SetEndpointVisibility", code);
    QVERIFY(!monitor.setAudioDeviceVisibility(system->headset, false));
    QCOMPARE(system->log.lines(), QStringList("Critical: Enable/Disable device error: " + text));
    // A generation that answers is not followed by the other.
    QCOMPARE(simulated::countCalls("CoCreateInstance PolicyConfigVista"), 0);
}

void TestSystemSoundMonitorPolicy::visibilityNeedsOnlySuccess()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failNext("IPolicyConfig::SetEndpointVisibility", 1);
    QVERIFY(monitor.setAudioDeviceVisibility(system->headset, false));
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::theOlderGenerationStandsIn_data()
{
    QTest::addColumn<quint32>("code");
    QTest::addColumn<bool>("visibilityWorks");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("and works") << 0u << true << QStringList();
    QTest::newRow("and fails") << someFailure << false
                               << QStringList("Critical: Enable/Disable device error: " +
                                              someFailureText);
}

void TestSystemSoundMonitorPolicy::theOlderGenerationStandsIn()
{
    QFETCH(quint32, code);
    QFETCH(bool, visibilityWorks);
    QFETCH(QStringList, lines);
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failAlways("CoCreateInstance PolicyConfig", classMissing);
    if (!visibilityWorks)
        simulated::failAlways("IPolicyConfigVista::SetEndpointVisibility", code);
    QCOMPARE(monitor.setAudioDeviceVisibility(system->headset, false), visibilityWorks);
    QCOMPARE(callsNamed(policyCalls),
             QStringList({"CoCreateInstance PolicyConfig IPolicyConfig 1",
                          "CoCreateInstance PolicyConfigVista IPolicyConfigVista 1",
                          "IPolicyConfigVista::SetEndpointVisibility " + system->headset + " 0",
                          "release IPolicyConfigVista"}));
    QCOMPARE(system->log.lines(), lines);

    simulated::clearCalls();
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(callsNamed(policyCalls),
             QStringList({"CoCreateInstance PolicyConfig IPolicyConfig 1",
                          "CoCreateInstance PolicyConfigVista IPolicyConfigVista 1",
                          "IPolicyConfigVista::SetDefaultEndpoint " + system->headset + " 0",
                          "release IPolicyConfigVista"}));
}

void TestSystemSoundMonitorPolicy::noGenerationAtAll()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    simulated::failAlways("CoCreateInstance PolicyConfig", someFailure);
    simulated::failAlways("CoCreateInstance PolicyConfigVista", classMissing);
    QVERIFY(!monitor.setAudioDeviceVisibility(system->headset, false));
    QCOMPARE(system->log.take(),
             QStringList("Critical: Enable/Disable device error: " + classMissingText));
    QCOMPARE(monitor.setDefaultEndpoint(system->headset.toStdWString().c_str()),
             REGDB_E_CLASSNOTREG);
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::setsTheConsoleDefaultOnly()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(simulated::defaultEndpoint(eRender, eConsole), system->headset);
    QCOMPARE(simulated::defaultEndpoint(eRender, eMultimedia), system->speakers);
    QCOMPARE(simulated::defaultEndpoint(eRender, eCommunications), system->speakers);
    QCOMPARE(callsNamed(policyCalls),
             QStringList({"CoCreateInstance PolicyConfig IPolicyConfig 1",
                          "IPolicyConfig::SetDefaultEndpoint " + system->headset + " 0",
                          "release IPolicyConfig"}));
    QCOMPARE(monitor.setDefaultEndpoint(system->speakers.toStdWString().c_str()), S_OK);
    QCOMPARE(simulated::defaultEndpoint(eRender, eConsole), system->speakers);
}

void TestSystemSoundMonitorPolicy::theDefaultIsLeftAlone()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setSystemDefaultDevice(true, system->speakers));
    QVERIFY(monitor.setSystemDefaultDevice(false, system->microphone));
    QCOMPARE(callsNamed(policyCalls), QStringList());

    // An ID in another case is another endpoint's.
    QVERIFY(monitor.setSystemDefaultDevice(true, system->speakers.toUpper()));
    QCOMPARE(simulated::countCalls("IPolicyConfig::SetDefaultEndpoint"), 1);
}

void TestSystemSoundMonitorPolicy::refusedDefaultsAreTrue()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setSystemDefaultDevice(true, unknownID));
    simulated::failNext("IPolicyConfig::SetDefaultEndpoint", someFailure);
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(simulated::countCalls("IPolicyConfig::SetDefaultEndpoint"), 2);
    QCOMPARE(simulated::defaultEndpoint(eRender), system->speakers);
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::directionCounts()
{
    // The microphone is not the default output, so it is asked for as one.
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setSystemDefaultDevice(true, system->microphone));
    QCOMPARE(simulated::countCalls("IPolicyConfig::SetDefaultEndpoint"), 1);
}

void TestSystemSoundMonitorPolicy::defaultsFail_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("no ID asked for") << QString();
    QTest::newRow("no default") << "IMMDeviceEnumerator::GetDefaultAudioEndpoint";
    QTest::newRow("default without an ID") << "IMMDevice::GetId";
}

void TestSystemSoundMonitorPolicy::defaultsFail()
{
    QFETCH(QString, call);
    SystemSoundMonitor &monitor = system->startQuietly();
    if (!call.isEmpty())
        simulated::failAlways(call, someFailure);
    const QString output = call.isEmpty() ? QString() : system->headset;
    QVERIFY(!monitor.setSystemDefaultDevice(true, output));
    QVERIFY(!monitor.setSystemDefaultDevice(false, output));
    QCOMPARE(callsNamed(policyCalls), QStringList());
    QCOMPARE(system->log.lines(), QStringList());
}

void TestSystemSoundMonitorPolicy::theChangeComesBackAsANotification()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(system->received->take(),
             QStringList("sigDefaultRenderDeviceChanged(" + system->headset + ')'));
    QVERIFY(monitor.setAudioDeviceVisibility(system->headset, false));
    QCOMPARE(system->received->take(), QStringList("sigDeviceDisabled(" + system->headset + ')'));
    QVERIFY(!monitor.increaseDeviceVolume(system->headset, 1, true));
}

void TestSystemSoundMonitorPolicy::takesNoLock()
{
    SystemSoundMonitor &monitor = system->startQuietly();
    LockProbe probe(monitor, LockProbe::Free);
    probe.lookDuring("IPolicyConfig::SetEndpointVisibility");
    probe.lookDuring("IPolicyConfig::SetDefaultEndpoint");
    probe.lookDuring("IMMDeviceEnumerator::GetDefaultAudioEndpoint");
    QVERIFY(monitor.setAudioDeviceVisibility(system->speakers, true));
    QCOMPARE(probe.free(), QList<bool>({true}));
    QVERIFY(monitor.setSystemDefaultDevice(true, system->headset));
    QCOMPARE(probe.free(), QList<bool>({true, true}));
}

QTEST_GUILESS_MAIN(TestSystemSoundMonitorPolicy)
#include "tst_systemsoundmonitor_policy.moc"
