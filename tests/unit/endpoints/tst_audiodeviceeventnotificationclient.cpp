#include "endpoints/audiodeviceeventnotificationclient.h"
#include "platform/simulated/simulated.h"
#include "tests/support/logcapture.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <array>
#include <thread>

namespace
{

using Client = AudioDeviceEventNotificationClient;

const wchar_t *const endpoint = L"{0.0.0.00000000}.{6b5a2a1c-0000-4000-8000-000000000001}";
const wchar_t *const otherEndpoint = L"{0.0.1.00000000}.{6b5a2a1c-0000-4000-8000-000000000002}";

constexpr GUID formatOfTwoKeys{
    0xE4870E26, 0x3CC5, 0x4CD2, {0xBA, 0x46, 0xCA, 0x0A, 0x9A, 0x70, 0xED, 0x04}};
constexpr PROPERTYKEY keyProperty{formatOfTwoKeys, 1};
constexpr PROPERTYKEY otherProperty{formatOfTwoKeys, 2};

const QString dropped = "Info: 500ms内多次触发关键属性变更";

/// A client under a clock that only the test moves, with every signal it raises by name.
class Fixture
{
public:
    Fixture()
    {
        const QMetaObject &meta = Client::staticMetaObject;
        for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
            spies[size_t(index - meta.methodOffset())] =
                std::make_unique<QSignalSpy>(client, meta.method(index));
    }

    /// All signals so far as "name(argument)", in no particular order between different ones.
    [[nodiscard]] QStringList raised() const
    {
        QStringList texts;
        for (const auto &spy : spies) {
            const QByteArray name = spy->signal().left(spy->signal().indexOf('('));
            for (const QVariantList &arguments : *spy)
                texts.append(QString("%1(%2)").arg(QString(name), arguments[0].toString()));
        }
        return texts;
    }

    QObject parent;
    QDateTime now{QDate(2025, 11, 13), QTime(9, 6)};
    Client *client = new Client(&parent, [this] { return now; });

private:
    std::array<std::unique_ptr<QSignalSpy>, 9> spies;
};

/// One of the five callbacks, by name, with an argument that raises its signal.
HRESULT callBack(Client &client, const QByteArray &name)
{
    if (name == "OnDeviceStateChanged")
        return client.OnDeviceStateChanged(endpoint, DEVICE_STATE_ACTIVE);
    if (name == "OnDeviceAdded")
        return client.OnDeviceAdded(endpoint);
    if (name == "OnDeviceRemoved")
        return client.OnDeviceRemoved(endpoint);
    if (name == "OnDefaultDeviceChanged")
        return client.OnDefaultDeviceChanged(eRender, eConsole, endpoint);
    return client.OnPropertyValueChanged(endpoint, keyProperty);
}

constexpr std::array callbacks{"OnDeviceStateChanged", "OnDeviceAdded", "OnDeviceRemoved",
                               "OnDefaultDeviceChanged", "OnPropertyValueChanged"};

QString signalText(const char *name, LPCWSTR id)
{
    return QString("%1(%2)").arg(QString(name), id ? QString::fromWCharArray(id) : QString());
}

} // namespace

class TestAudioDeviceEventNotificationClient : public QObject
{
    Q_OBJECT

private slots:
    void signalsAreDeclaredInOrder();
    void answersForItsInterfaces_data();
    void answersForItsInterfaces();
    void goesWithItsParent();
    void outlivesItsParentWhileThePlatformHoldsIt();

    void raisesOneSignalForEachState_data();
    void raisesOneSignalForEachState();
    void raisesArrivalAndRemoval();
    void raisesDefaultChangesForEachRole_data();
    void raisesDefaultChangesForEachRole();

    void everyCallbackLooksTheNameUp_data();
    void everyCallbackLooksTheNameUp();
    void failingLookUpsAreIgnored_data();
    void failingLookUpsAreIgnored();

    void ignoresOtherPropertiesWithoutALine();
    void forwardsKeyProperties();
    void dropsTheFirstHalfSecond();
    void droppedChangesDoNotExtendTheWindow();
    void theWindowIsOneForAllEndpoints();
    void aChangeOfNoEndpointIsForwarded();
    void toleratesClocksThatGoBack();
    void signalsCrossIntoTheReceiversThread();
};

void TestAudioDeviceEventNotificationClient::signalsAreDeclaredInOrder()
{
    const QList<QByteArray> names{"sigDefaultCaptureDeviceChanged(QString)",
                                  "sigDefaultRenderDeviceChanged(QString)",
                                  "sigDeviceAdded(QString)",
                                  "sigDeviceRemoved(QString)",
                                  "sigDeviceActive(QString)",
                                  "sigDeviceDisabled(QString)",
                                  "sigDeviceNotPresent(QString)",
                                  "sigDeviceUnplugged(QString)",
                                  "sigPropertyValueChanged(QString)"};
    const QMetaObject &meta = Client::staticMetaObject;
    QList<QByteArray> declared;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        declared.append(meta.method(index).methodSignature());
    QCOMPARE(declared, names);
}

void TestAudioDeviceEventNotificationClient::answersForItsInterfaces_data()
{
    QTest::addColumn<GUID>("iid");
    QTest::addColumn<bool>("answered");
    QTest::newRow("IUnknown") << IID_IUnknown << true;
    QTest::newRow("its own") << IID_IMMNotificationClient << true;
    QTest::newRow("the other sink's") << IID_IAudioEndpointVolumeCallback << false;
    QTest::newRow("null") << GUID_NULL << false;
}

void TestAudioDeviceEventNotificationClient::answersForItsInterfaces()
{
    QFETCH(GUID, iid);
    QFETCH(bool, answered);
    Fixture fixture;
    int somewhere = 0;
    void *result = &somewhere;
    QCOMPARE(fixture.client->QueryInterface(iid, &result), answered ? S_OK : E_NOINTERFACE);
    void *expected = answered ? static_cast<IMMNotificationClient *>(fixture.client) : nullptr;
    QCOMPARE(result, expected);
    // Started at one; a good answer has added one.
    QCOMPARE(fixture.client->AddRef(), answered ? 3u : 2u);
    QCOMPARE(fixture.client->Release(), answered ? 2u : 1u);
}

void TestAudioDeviceEventNotificationClient::goesWithItsParent()
{
    auto parent = std::make_unique<QObject>();
    const QPointer client = new Client(parent.get());
    QCOMPARE(client->parent(), parent.get());
    parent.reset();
    QVERIFY(!client);

    parent = std::make_unique<QObject>();
    const QPointer released = new Client(parent.get());
    released->releaseByParent();
    QVERIFY(!released);
    QVERIFY(parent->children().isEmpty());
}

void TestAudioDeviceEventNotificationClient::outlivesItsParentWhileThePlatformHoldsIt()
{
    auto parent = std::make_unique<QObject>();
    const QPointer client = new Client(parent.get());
    client->AddRef();
    client->releaseByParent();
    parent.reset();
    QVERIFY(client);
    QCOMPARE(client->OnDeviceAdded(endpoint), S_OK);
    QCOMPARE(client->Release(), 0u);
    QVERIFY(!client);
}

void TestAudioDeviceEventNotificationClient::raisesOneSignalForEachState_data()
{
    QTest::addColumn<quint32>("state");
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("active") << 1u << QByteArray("sigDeviceActive");
    QTest::newRow("disabled") << 2u << QByteArray("sigDeviceDisabled");
    QTest::newRow("not present") << 4u << QByteArray("sigDeviceNotPresent");
    QTest::newRow("unplugged") << 8u << QByteArray("sigDeviceUnplugged");
    QTest::newRow("none") << 0u << QByteArray();
    QTest::newRow("two at once") << 3u << QByteArray();
    QTest::newRow("all") << 15u << QByteArray();
    QTest::newRow("unknown") << 16u << QByteArray();
}

void TestAudioDeviceEventNotificationClient::raisesOneSignalForEachState()
{
    QFETCH(quint32, state);
    QFETCH(QByteArray, signal);
    Fixture fixture;
    QCOMPARE(fixture.client->OnDeviceStateChanged(endpoint, state), S_OK);
    const QStringList expected =
        signal.isEmpty() ? QStringList() : QStringList(signalText(signal, endpoint));
    QCOMPARE(fixture.raised(), expected);
}

void TestAudioDeviceEventNotificationClient::raisesArrivalAndRemoval()
{
    Fixture fixture;
    QCOMPARE(fixture.client->OnDeviceAdded(endpoint), S_OK);
    QCOMPARE(fixture.client->OnDeviceRemoved(otherEndpoint), S_OK);
    QCOMPARE(fixture.raised(), QStringList({signalText("sigDeviceAdded", endpoint),
                                            signalText("sigDeviceRemoved", otherEndpoint)}));
}

void TestAudioDeviceEventNotificationClient::raisesDefaultChangesForEachRole_data()
{
    QTest::addColumn<int>("flow");
    QTest::addColumn<bool>("withID");
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("render") << int(eRender) << true << QByteArray("sigDefaultRenderDeviceChanged");
    QTest::newRow("capture") << int(eCapture) << true
                             << QByteArray("sigDefaultCaptureDeviceChanged");
    QTest::newRow("render, none left")
        << int(eRender) << false << QByteArray("sigDefaultRenderDeviceChanged");
    QTest::newRow("capture, none left")
        << int(eCapture) << false << QByteArray("sigDefaultCaptureDeviceChanged");
    QTest::newRow("all") << int(eAll) << true << QByteArray();
    QTest::newRow("all, none left") << int(eAll) << false << QByteArray();
}

void TestAudioDeviceEventNotificationClient::raisesDefaultChangesForEachRole()
{
    QFETCH(int, flow);
    QFETCH(bool, withID);
    QFETCH(QByteArray, signal);
    Fixture fixture;
    const LPCWSTR id = withID ? endpoint : nullptr;
    QStringList expected;
    for (const ERole role : {eConsole, eMultimedia, eCommunications}) {
        QCOMPARE(fixture.client->OnDefaultDeviceChanged(EDataFlow(flow), role, id), S_OK);
        if (!signal.isEmpty())
            expected.append(signalText(signal, id));
    }
    QCOMPARE(fixture.raised(), expected);
}

void TestAudioDeviceEventNotificationClient::everyCallbackLooksTheNameUp_data()
{
    QTest::addColumn<QByteArray>("callback");
    for (const char *callback : callbacks)
        QTest::newRow(callback) << QByteArray(callback);
}

void TestAudioDeviceEventNotificationClient::everyCallbackLooksTheNameUp()
{
    QFETCH(QByteArray, callback);
    simulated::reset();
    const QString id = simulated::addEndpoint({.id = QString::fromWCharArray(endpoint)});
    Fixture fixture;
    LogCapture log;
    QCOMPARE(callBack(*fixture.client, callback), S_OK);
    QCOMPARE(simulated::calls(),
             QStringList({"CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 1",
                          "IMMDeviceEnumerator::GetDevice " + id, "IMMDevice::OpenPropertyStore 0",
                          "IPropertyStore::GetValue PKEY_Device_FriendlyName", "PropVariantClear",
                          "release IPropertyStore", "release IMMDevice",
                          "release IMMDeviceEnumerator"}));
    QCOMPARE(simulated::leakReport(), QString());
}

void TestAudioDeviceEventNotificationClient::failingLookUpsAreIgnored_data()
{
    QTest::addColumn<QByteArray>("callback");
    QTest::addColumn<QString>("call");
    for (const char *callback : callbacks) {
        for (const char *call :
             {"CoCreateInstance", "IMMDeviceEnumerator::GetDevice", "IMMDevice::OpenPropertyStore",
              "IPropertyStore::GetValue", "PropVariantClear"})
            QTest::addRow("%s, %s", callback, call) << QByteArray(callback) << QString(call);
    }
}

void TestAudioDeviceEventNotificationClient::failingLookUpsAreIgnored()
{
    QFETCH(QByteArray, callback);
    QFETCH(QString, call);
    simulated::reset();
    simulated::addEndpoint({.id = QString::fromWCharArray(endpoint)});
    simulated::failAlways(call, 0x80004005);
    Fixture fixture;
    fixture.now = fixture.now.addSecs(1);
    LogCapture log;
    QCOMPARE(callBack(*fixture.client, callback), S_OK);
    QCOMPARE(simulated::countCalls(call), 1);
    QCOMPARE(fixture.raised().size(), 1);
    QVERIFY(fixture.raised()[0].endsWith(signalText("", endpoint)));
    QCOMPARE(log.linesOf("Critical"), QStringList());
    QCOMPARE(simulated::leakReport(), QString());
}

void TestAudioDeviceEventNotificationClient::ignoresOtherPropertiesWithoutALine()
{
    Fixture fixture;
    fixture.now = fixture.now.addSecs(10);
    LogCapture log;
    QCOMPARE(fixture.client->OnPropertyValueChanged(endpoint, otherProperty), S_OK);
    QCOMPARE(fixture.raised(), QStringList());
    QCOMPARE(log.lines(), QStringList());

    // Nor has it moved the window.
    QCOMPARE(fixture.client->OnPropertyValueChanged(endpoint, keyProperty), S_OK);
    QCOMPARE(fixture.raised(), QStringList(signalText("sigPropertyValueChanged", endpoint)));
}

void TestAudioDeviceEventNotificationClient::forwardsKeyProperties()
{
    Fixture fixture;
    fixture.now = fixture.now.addMSecs(500);
    LogCapture log;
    QCOMPARE(fixture.client->OnPropertyValueChanged(endpoint, keyProperty), S_OK);
    QCOMPARE(fixture.raised(), QStringList(signalText("sigPropertyValueChanged", endpoint)));

    QString time;
    QDebug(&time) << fixture.now;
    QCOMPARE(log.lines(), QStringList("Info: " + time.trimmed() + " 关键属性变更: \"" +
                                      QString::fromWCharArray(endpoint) + '"'));
}

void TestAudioDeviceEventNotificationClient::dropsTheFirstHalfSecond()
{
    Fixture fixture;
    fixture.now = fixture.now.addMSecs(499);
    LogCapture log;
    QCOMPARE(fixture.client->OnPropertyValueChanged(endpoint, keyProperty), S_OK);
    QCOMPARE(fixture.raised(), QStringList());
    QCOMPARE(log.lines().size(), 2);
    QVERIFY(log.lines()[0].contains("关键属性变更:"));
    QCOMPARE(log.lines()[1], dropped);
}

void TestAudioDeviceEventNotificationClient::droppedChangesDoNotExtendTheWindow()
{
    Fixture fixture;
    const QDateTime first = fixture.now.addSecs(1);
    int raised = 0;
    const auto changeAt = [&](int ms) {
        fixture.now = first.addMSecs(ms);
        fixture.client->OnPropertyValueChanged(endpoint, keyProperty);
        const int before = std::exchange(raised, int(fixture.raised().size()));
        return raised - before;
    };
    LogCapture log;
    QCOMPARE(changeAt(0), 1);
    QCOMPARE(changeAt(250), 0);
    QCOMPARE(changeAt(499), 0);
    QCOMPARE(changeAt(501), 1);
    QCOMPARE(changeAt(1000), 0);
    QCOMPARE(changeAt(1001), 1);
    QCOMPARE(log.lines().count(dropped), 3);
}

void TestAudioDeviceEventNotificationClient::theWindowIsOneForAllEndpoints()
{
    LogCapture log;
    Fixture fixture;
    fixture.now = fixture.now.addSecs(1);
    fixture.client->OnPropertyValueChanged(endpoint, keyProperty);
    fixture.now = fixture.now.addMSecs(100);
    fixture.client->OnPropertyValueChanged(otherEndpoint, keyProperty);
    QCOMPARE(fixture.raised(), QStringList(signalText("sigPropertyValueChanged", endpoint)));

    // Another client has a window of its own.
    Fixture another;
    another.now = another.now.addSecs(1);
    another.client->OnPropertyValueChanged(otherEndpoint, keyProperty);
    QCOMPARE(another.raised(), QStringList(signalText("sigPropertyValueChanged", otherEndpoint)));
}

void TestAudioDeviceEventNotificationClient::aChangeOfNoEndpointIsForwarded()
{
    LogCapture log;
    Fixture fixture;
    fixture.now = fixture.now.addSecs(1);
    QCOMPARE(fixture.client->OnPropertyValueChanged(nullptr, keyProperty), S_OK);
    QCOMPARE(fixture.raised(), QStringList("sigPropertyValueChanged()"));
    QVERIFY(log.lines().value(0).endsWith("关键属性变更: \"\""));
}

void TestAudioDeviceEventNotificationClient::toleratesClocksThatGoBack()
{
    Fixture fixture;
    LogCapture log;
    fixture.now = fixture.now.addSecs(-3600);
    fixture.client->OnPropertyValueChanged(endpoint, keyProperty);
    QCOMPARE(fixture.raised(), QStringList());
    QVERIFY(log.lines().contains(dropped));
}

void TestAudioDeviceEventNotificationClient::signalsCrossIntoTheReceiversThread()
{
    Fixture fixture;
    QObject receiver;
    QThread *arrivedOn = nullptr;
    connect(fixture.client, &Client::sigDeviceAdded, &receiver,
            [&arrivedOn] { arrivedOn = QThread::currentThread(); });
    std::thread platformThread([&fixture] { fixture.client->OnDeviceAdded(endpoint); });
    platformThread.join();
    QVERIFY(!arrivedOn);
    QTRY_COMPARE(arrivedOn, QThread::currentThread());
}

QTEST_GUILESS_MAIN(TestAudioDeviceEventNotificationClient)
#include "tst_audiodeviceeventnotificationclient.moc"
