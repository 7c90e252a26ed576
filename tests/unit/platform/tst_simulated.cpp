// The simulated platform itself: the record of calls, faults, leaks and the tables.
#include "platform/policyconfig.h"
#include "platform/settingstree.h"
#include "platform/simulated/simulated.h"
#include "platform/systemversion.h"
#include "tests/unit/platform/platformaccess.h"

#include <QTest>

#include <functional>
#include <thread>

namespace
{

QString nameOfDevice(IMMDevice *device)
{
    ComPtr<IPropertyStore> store;
    PROPVARIANT value;
    PropVariantInit(&value);
    if (FAILED(device->OpenPropertyStore(STGM_READ, store.receive())) ||
        FAILED(store->GetValue(PKEY_Device_FriendlyName, &value)) || value.vt != VT_LPWSTR)
        return {};
    const QString name = QString::fromWCharArray(value.pwszVal);
    PropVariantClear(&value);
    return name;
}

QString idOfDevice(IMMDevice *device)
{
    LPWSTR id = nullptr;
    return SUCCEEDED(device->GetId(&id)) ? takeText(id) : QString();
}

} // namespace

Q_DECLARE_METATYPE(std::function<bool()>)

class TestSimulated : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }
    void cleanup() { QCOMPARE(simulated::leakReport(), QString()); }

    void callsAreRecordedInOrder();
    void callsCarryEndpointAndThread();
    void namesMatchWholeWords();
    void waitsForACall();
    void actionRunsBeforeTheCall();
    void faultsHitTheNamedCallOnly();
    void faultsOfOneEndpoint();
    void faultsOfPlainFunctions_data();
    void faultsOfPlainFunctions();
    void leaksAreReported();
    void resetForgetsEverything();
    void endpointsAreEnumerated();
    void removedEndpointIsGone();
    void nameCanBeUnreadable();
    void defaultsByFlowAndRole();
    void settingsKeepTheirOrder();
    void systemVersion();
};

void TestSimulated::callsAreRecordedInOrder()
{
    const QString id = simulated::addEndpoint({.name = "Headset"});
    {
        const auto device = findDevice(id);
        QVERIFY(device);
        QCOMPARE(idOfDevice(device.get()), id);
    }
    QCOMPARE(simulated::calls(),
             QStringList({"CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23",
                          "IMMDeviceEnumerator::GetDevice " + id, "release IMMDeviceEnumerator",
                          "IMMDevice::GetId", "CoTaskMemFree", "release IMMDevice"}));
    simulated::clearCalls();
    QVERIFY(simulated::calls().isEmpty());
}

void TestSimulated::callsCarryEndpointAndThread()
{
    const QString id = simulated::addEndpoint({});
    const auto device = findDevice(id);
    simulated::clearCalls();
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        DWORD state = 0;
        device->GetState(&state);
    }).join();
    const auto records = simulated::callRecords();
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().endpointId, id);
    QVERIFY(records.first().thread == other);
}

void TestSimulated::namesMatchWholeWords()
{
    MessageBeep(16);
    MessageBeep(1);
    QCOMPARE(simulated::countCalls("MessageBeep"), 2);
    QCOMPARE(simulated::countCalls("MessageBeep 1"), 1);
    QCOMPARE(simulated::countCalls("Message"), 0);
}

void TestSimulated::waitsForACall()
{
    QVERIFY(!simulated::waitForCall("MessageBeep", 1));
    std::thread other([] {
        MessageBeep(0);
        MessageBeep(0);
    });
    QVERIFY(simulated::waitForCalls("MessageBeep 0", 2));
    other.join();
    QVERIFY(!simulated::waitForCalls("MessageBeep 0", 3, 1));
}

void TestSimulated::actionRunsBeforeTheCall()
{
    const QString id = simulated::addEndpoint({});
    const auto device = findDevice(id);
    simulated::onCall("IMMDevice::GetState",
                      [&] { simulated::setState(id, DEVICE_STATE_UNPLUGGED); });
    DWORD state = 0;
    QCOMPARE(device->GetState(&state), S_OK);
    QCOMPARE(state, DEVICE_STATE_UNPLUGGED);
}

void TestSimulated::faultsHitTheNamedCallOnly()
{
    simulated::failAlways("CoCreateInstance PolicyConfig", 0x80040154);
    const auto create = [](REFCLSID classId, REFIID interfaceId, void **result) {
        return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, interfaceId, result);
    };
    ComPtr<IPolicyConfig> first;
    QCOMPARE(create(CLSID_PolicyConfig, IID_IPolicyConfig, first.receiveVoid()),
             REGDB_E_CLASSNOTREG);
    QVERIFY(!first);
    ComPtr<IPolicyConfigVista> second;
    QCOMPARE(create(CLSID_PolicyConfigVista, IID_IPolicyConfigVista, second.receiveVoid()), S_OK);
    QVERIFY(second);
    simulated::clearFaults();
    QCOMPARE(create(CLSID_PolicyConfig, IID_IPolicyConfig, first.receiveVoid()), S_OK);
    ComPtr<IMMDevice> wrong;
    QCOMPARE(create(CLSID_PolicyConfig, IID_IMMDevice, wrong.receiveVoid()), E_NOINTERFACE);
    QCOMPARE(create(IID_IMMDevice, IID_IMMDevice, wrong.receiveVoid()), REGDB_E_CLASSNOTREG);
}

void TestSimulated::faultsOfOneEndpoint()
{
    const QString good = simulated::addEndpoint({});
    const QString bad = simulated::addEndpoint({});
    QVERIFY(good != bad);
    simulated::failNext("IMMDevice::GetId", 0x80004005, 1, bad);
    QCOMPARE(idOfDevice(findDevice(good).get()), good);
    QCOMPARE(idOfDevice(findDevice(bad).get()), QString());
    QCOMPARE(idOfDevice(findDevice(bad).get()), bad);
}

void TestSimulated::faultsOfPlainFunctions_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<std::function<bool()>>("succeeds");
    const auto row = [](const char *name, std::function<bool()> succeeds) {
        QTest::newRow(name) << QString(name) << std::move(succeeds);
    };
    row("CreateEventW", [] {
        const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        return event && CloseHandle(event);
    });
    row("SetEvent", [] {
        const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        const bool set = SetEvent(event) != FALSE;
        const DWORD error = GetLastError();
        CloseHandle(event);
        SetLastError(error);
        return set;
    });
    row("WaitForSingleObject", [] {
        const HANDLE event = CreateEventW(nullptr, FALSE, TRUE, nullptr);
        const bool waited = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        const DWORD error = GetLastError();
        CloseHandle(event);
        SetLastError(error);
        return waited;
    });
    row("CreateFileW", [] {
        const HANDLE file = CreateFileW(
            L"\\??\\ROOT#MEDIA#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\tavori.Aux.WaveSpeaker",
            GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        return file != INVALID_HANDLE_VALUE && CloseHandle(file);
    });
    row("MessageBeep", [] { return MessageBeep(0) != FALSE; });
}

void TestSimulated::faultsOfPlainFunctions()
{
    QFETCH(QString, call);
    QFETCH(std::function<bool()>, succeeds);
    simulated::publishDriver(0);
    simulated::failNext(call, ERROR_ACCESS_DENIED, 2);
    for (int attempt = 0; attempt < 2; ++attempt) {
        SetLastError(ERROR_SUCCESS);
        QVERIFY(!succeeds());
        QCOMPARE(GetLastError(), ERROR_ACCESS_DENIED);
    }
    QVERIFY(succeeds());
}

void TestSimulated::leaksAreReported()
{
    auto enumerator = createEnumerator();
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    void *block = CoTaskMemAlloc(10);
    QCOMPARE(simulated::liveObjects(), 3);
    QCOMPARE(simulated::leakReport(),
             QString("IMMDeviceEnumerator\nevent1\n1 blocks of task memory"));
    enumerator.reset();
    QVERIFY(CloseHandle(event));
    CoTaskMemFree(block);
    QCOMPARE(simulated::liveObjects(), 0);
    QVERIFY(!CloseHandle(event));
    QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
    QVERIFY(!CloseHandle(INVALID_HANDLE_VALUE));
    QVERIFY(!CloseHandle(nullptr));
}

void TestSimulated::resetForgetsEverything()
{
    const QString id = simulated::addEndpoint({});
    simulated::setDefault(eRender, id);
    simulated::publishDriver(3);
    simulated::setSettings("tree", {{"group", {{"key", 1}}}});
    simulated::setSystemVersion(6, 1, 7601);
    simulated::failAlways("MessageBeep", 5);
    const auto device = findDevice(id);
    simulated::reset();
    QVERIFY(simulated::calls().isEmpty());
    QVERIFY(simulated::endpointIds().isEmpty());
    QCOMPARE(simulated::defaultEndpoint(eRender), QString());
    QVERIFY(openSettingsTree("tree")->childGroups().isEmpty());
    QVERIFY(MessageBeep(0));
    // What still lives answers, and is no leak of the next test.
    DWORD state = 0;
    QCOMPARE(device->GetState(&state), S_OK);
    QCOMPARE(state, DEVICE_STATE_NOTPRESENT);
    QCOMPARE(simulated::liveObjects(), 0);
}

void TestSimulated::endpointsAreEnumerated()
{
    const QString speakers = simulated::addEndpoint({.name = "Speakers"});
    simulated::addEndpoint({.name = "Unplugged", .state = DEVICE_STATE_UNPLUGGED});
    const QString microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    QVERIFY(speakers.startsWith("{0.0.0.00000000}.{"));
    QVERIFY(microphone.startsWith("{0.0.1.00000000}.{"));

    const auto enumerator = createEnumerator();
    ComPtr<IMMDeviceCollection> collection;
    QCOMPARE(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, collection.receive()), S_OK);
    UINT count = 0;
    QCOMPARE(collection->GetCount(&count), S_OK);
    QCOMPARE(count, 2u);
    ComPtr<IMMDevice> device;
    QCOMPARE(collection->Item(0, device.receive()), S_OK);
    QCOMPARE(idOfDevice(device.get()), speakers);
    QCOMPARE(collection->Item(1, device.receive()), S_OK);
    QCOMPARE(idOfDevice(device.get()), microphone);
    QCOMPARE(nameOfDevice(device.get()), QString("Microphone"));
    QCOMPARE(collection->Item(2, device.receive()), E_INVALIDARG);
    QVERIFY(!device);

    QCOMPARE(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATEMASK_ALL, collection.receive()),
             S_OK);
    QCOMPARE(collection->GetCount(&count), S_OK);
    QCOMPARE(count, 2u);
}

void TestSimulated::removedEndpointIsGone()
{
    const QString id = simulated::addEndpoint({});
    const auto device = findDevice(id);
    const auto volume = activate<IAudioEndpointVolume>(id, IID_IAudioEndpointVolume);
    simulated::removeEndpoint(id);
    QVERIFY(!findDevice(id));
    QCOMPARE(idOfDevice(device.get()), id);
    float level = 0.5f;
    QCOMPARE(volume->GetMasterVolumeLevelScalar(&level), AUDCLNT_E_DEVICE_INVALIDATED);
    ComPtr<IAudioClient> client;
    QCOMPARE(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.receiveVoid()),
             AUDCLNT_E_DEVICE_INVALIDATED);
    QVERIFY(!client);
}

void TestSimulated::nameCanBeUnreadable()
{
    const QString id = simulated::addEndpoint({.name = "Speakers"});
    const auto device = findDevice(id);
    simulated::rename(id, "Renamed");
    QCOMPARE(nameOfDevice(device.get()), QString("Renamed"));
    simulated::setNameReadable(id, false);
    QCOMPARE(nameOfDevice(device.get()), QString());
}

void TestSimulated::defaultsByFlowAndRole()
{
    const QString one = simulated::addEndpoint({});
    const QString two = simulated::addEndpoint({});
    const auto enumerator = createEnumerator();
    ComPtr<IMMDevice> device;
    QCOMPARE(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.receive()), E_NOTFOUND);
    simulated::setDefault(eRender, one);
    simulated::setDefault(eRender, eCommunications, two);
    const auto defaultOf = [&](EDataFlow flow, ERole role) {
        const HRESULT result = enumerator->GetDefaultAudioEndpoint(flow, role, device.receive());
        return SUCCEEDED(result) ? idOfDevice(device.get()) : QString();
    };
    QCOMPARE(defaultOf(eRender, eConsole), one);
    QCOMPARE(defaultOf(eRender, eMultimedia), one);
    QCOMPARE(defaultOf(eRender, eCommunications), two);
    QCOMPARE(defaultOf(eCapture, eConsole), QString());
    QCOMPARE(defaultOf(eAll, eConsole), QString());
}

void TestSimulated::settingsKeepTheirOrder()
{
    simulated::setSettings("\\HKEY\\Tree",
                           {{"{b}", {{"DeviceState", 1}, {"Properties/{x},6", "B"}}},
                            {"{a}", {{"Properties/{x},6", "A"}}},
                            {"{empty}", {}},
                            {"", {{"Root", "value"}}}});
    const auto tree = openSettingsTree("\\HKEY\\Tree");
    QCOMPARE(tree->childGroups(), QStringList({"{b}", "{a}", "{empty}"}));
    QCOMPARE(tree->value("Root").toString(), QString("value"));
    tree->beginGroup("{b}");
    QCOMPARE(tree->allKeys(), QStringList({"DeviceState", "Properties/{x},6"}));
    QCOMPARE(tree->childGroups(), QStringList({"Properties"}));
    QCOMPARE(tree->value("Properties/{x},6").toString(), QString("B"));
    QVERIFY(!tree->value("Properties/{x},7").isValid());
    tree->beginGroup("Properties");
    QCOMPARE(tree->value("{x},6").toString(), QString("B"));
    tree->endGroup();
    tree->endGroup();
    QCOMPARE(tree->value("{a}/Properties/{x},6").toString(), QString("A"));
    QVERIFY(openSettingsTree("elsewhere")->allKeys().isEmpty());
}

void TestSimulated::systemVersion()
{
    int major = 0;
    int minor = 0;
    int build = 0;
    simulated::failNext("readSystemVersion", 1);
    QVERIFY(!readSystemVersion(major, minor, build));
    QCOMPARE(build, 0);
    simulated::setSystemVersion(11, 2, 3);
    QVERIFY(readSystemVersion(major, minor, build));
    QCOMPARE(major, 11);
    QCOMPARE(minor, 2);
    QCOMPARE(build, 3);
}

QTEST_GUILESS_MAIN(TestSimulated)
#include "tst_simulated.moc"
