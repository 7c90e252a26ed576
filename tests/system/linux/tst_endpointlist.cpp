// Endpoints, names, defaults, visibility and their notifications on a real server.
#include "endpointsinks.h"
#include "platform/pipewire/card.h"
#include "privateserver.h"
#include "renamedsink.h"

#include <QtTest>

#include <atomic>
#include <thread>

namespace
{
const QString speakers = endpointIdOf("speakers", eRender);
const QString headset = endpointIdOf("headset", eRender);
const QString microphone = endpointIdOf("real_microphone", eCapture);

QString cardId(tavoriDeviceType type, EDataFlow flow)
{
    for (const card::CardEndpoint &endpoint : card::endpoints()) {
        if (endpoint.channel->type == type && endpoint.flow == flow)
            return endpoint.id;
    }
    return {};
}

QStringList defaultEvents(EDataFlow flow, const QString &id)
{
    QStringList result;
    for (const int role : {0, 1, 2})
        result += QStringLiteral("default %1 role %2 %3").arg(flow).arg(role).arg(id);
    return result;
}
} // namespace

class tst_endpointlist : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void realEndpointsAreListed();
    void idsAreTheSameOnEveryRun();
    void unknownIdsAreNotFound();
    void unknownClassesAndInterfaces();
    void comIsCountedAndNothingElse();
    void propertiesThatAreMissingAreEmpty();
    void defaultsAreTheServers();

    void aSinkComesAndGoes();
    void aSinkIsRenamed();
    void theDefaultIsChangedFromOutside();
    void theDefaultIsChangedByUs();
    void theDefaultSinkVanishes();
    void defaultsThatCannotBe();

    void theCardStartsHidden();
    void aCardEndpointIsShownAndHidden_data();
    void aCardEndpointIsShownAndHidden();
    void theWholeCardAtOnce();
    void aPredecessorsNodeDoesNotCount();
    void onlyTheCardCanBeHidden();
    void aStreamIsMadeForAnActiveEndpointOnly();

    void registrationsOfAnEnumeratorEndWithIt();
    void unregisterOfAStranger();
    void registrationsRaceWithEvents();
    void nothingLeaks();

private:
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<DeviceSink> sink;
};

void tst_endpointlist::init()
{
    enumerator = makeEnumerator();
    QVERIFY(enumerator);
    sink = makeSink<DeviceSink>();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
}

void tst_endpointlist::cleanup()
{
    for (const card::CardEndpoint &endpoint : card::endpoints())
        setVisible(endpoint.id, false);
    privateserver::pactl({"set-default-sink", "speakers"});
    QTRY_COMPARE_WITH_TIMEOUT(defaultId(eRender), speakers, 30000);
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(sink.get()), S_OK);
    sink.reset();
    enumerator.reset();
    QCOMPARE(posix::liveComObjects(), std::size_t(0));
}

// Before anything else has happened: the first enumerator is handed out with a complete list.
void tst_endpointlist::realEndpointsAreListed()
{
    QCOMPARE(namesOf(eRender), QStringList({"Speakers", "Headset"}));
    QCOMPARE(namesOf(eCapture), QStringList("Real microphone")); // and no monitor
    QCOMPARE(namesOf(eAll), QStringList({"Speakers", "Headset", "Real microphone"}));
    QCOMPARE(stateOf(speakers), DEVICE_STATE_ACTIVE);
}

void tst_endpointlist::idsAreTheSameOnEveryRun()
{
    QCOMPARE(endpointID(deviceOf(speakers).get()), speakers);
    QCOMPARE(speakers, QString("{0.0.0.00000000}.") + endpointGuid("speakers"));
    QCOMPARE(microphone, QString("{0.0.1.00000000}.") + endpointGuid("real_microphone"));
    QCOMPARE(endpointGuid("speakers"), QString("{210009b5-fd65-565f-a49c-cd3bb76992ed}"));
}

void tst_endpointlist::unknownIdsAreNotFound()
{
    ComPtr<IMMDevice> device;
    QCOMPARE(enumerator->GetDevice(L"", device.receive()), E_NOTFOUND);
    QCOMPARE(enumerator->GetDevice(speakers.toUpper().toStdWString().c_str(), device.receive()),
             E_NOTFOUND); // compared exactly
    QVERIFY(!device);
    QCOMPARE(enumerator->GetDevice(nullptr, device.receive()), E_POINTER);
    QCOMPARE(enumerator->GetDevice(L"x", nullptr), E_POINTER);
    QCOMPARE(enumerator->GetDefaultAudioEndpoint(eAll, eConsole, device.receive()), E_INVALIDARG);
    ComPtr<IMMDeviceCollection> devices;
    QCOMPARE(enumerator->EnumAudioEndpoints(eRender, 0, devices.receive()), E_INVALIDARG);
    QCOMPARE(enumerator->EnumAudioEndpoints(eRender, 0x10, devices.receive()), E_INVALIDARG);
    QCOMPARE(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, devices.receive()), S_OK);
    QCOMPARE(devices->Item(99, device.receive()), E_INVALIDARG);
}

void tst_endpointlist::unknownClassesAndInterfaces()
{
    void *object = this;
    QCOMPARE(CoCreateInstance(GUID_NULL, nullptr, CLSCTX_ALL, IID_IUnknown, &object),
             REGDB_E_CLASSNOTREG);
    QVERIFY(!object);
    object = this;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_ALL, IID_IMMDevice, &object),
             E_NOINTERFACE);
    QVERIFY(!object);
    ComPtr<IUnknown> unknown;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_ALL, IID_IUnknown,
                              unknown.receiveVoid()),
             S_OK);
    QCOMPARE(deviceOf(speakers)->Activate(IID_IMMDevice, CLSCTX_ALL, nullptr, &object),
             E_NOINTERFACE);
}

void tst_endpointlist::comIsCountedAndNothingElse()
{
    for (int call = 0; call < 5; ++call)
        CoUninitialize();
    QCOMPARE(namesOf(eRender), QStringList({"Speakers", "Headset"}));
    QVERIFY(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    CoUninitialize();
}

void tst_endpointlist::propertiesThatAreMissingAreEmpty()
{
    ComPtr<IPropertyStore> store;
    QCOMPARE(deviceOf(speakers)->OpenPropertyStore(1, store.receive()), E_ACCESSDENIED);
    QCOMPARE(deviceOf(speakers)->OpenPropertyStore(STGM_READ, store.receive()), S_OK);
    PROPVARIANT value;
    QCOMPARE(store->GetValue({GUID_NULL, 14}, &value), S_OK);
    QCOMPARE(value.vt, VT_EMPTY);
    QCOMPARE(store->GetValue(PKEY_Device_FriendlyName, &value), S_OK);
    QCOMPARE(value.vt, VT_LPWSTR);
    QCOMPARE(PropVariantClear(&value), S_OK);
}

void tst_endpointlist::defaultsAreTheServers()
{
    QCOMPARE(defaultId(eRender), speakers);
    QCOMPARE(defaultId(eCapture), microphone);
}

void tst_endpointlist::aSinkComesAndGoes()
{
    const QString id = endpointIdOf("extra", eRender);
    const QString module = privateserver::loadSink("extra", "Extra");
    QTRY_COMPARE(sink->events(), QStringList("added " + id));
    QCOMPARE(sink->nameAt("added " + id), QString("Extra"));
    QVERIFY(namesOf(eRender).contains("Extra"));
    const ComPtr<IMMDevice> device = deviceOf(id);

    sink->clear();
    privateserver::unload(module);
    QTRY_COMPARE(sink->events(), QStringList("removed " + id));
    QVERIFY(!namesOf(eRender, DEVICE_STATEMASK_ALL).contains("Extra"));
    DWORD state = 0;
    QCOMPARE(device->GetState(&state), S_OK);
    QCOMPARE(state, DEVICE_STATE_NOTPRESENT);
    QCOMPARE(friendlyName(device.get()), QString("Extra"));
}

void tst_endpointlist::aSinkIsRenamed()
{
    const QString id = endpointIdOf("renamed", eRender);
    RenamedSink other;
    QTRY_COMPARE(sink->events(), QStringList("added " + id));
    sink->clear();
    other.rename("After");
    QTRY_COMPARE(sink->events(), QStringList("name " + id));
    QCOMPARE(sink->nameAt("name " + id), QString("After"));
    QVERIFY(namesOf(eRender).contains("After"));
}

void tst_endpointlist::theDefaultIsChangedFromOutside()
{
    privateserver::pactl({"set-default-sink", "headset"});
    QTRY_COMPARE(sink->events(), defaultEvents(eRender, headset));
    QCOMPARE(defaultId(eRender), headset);
}

void tst_endpointlist::theDefaultIsChangedByUs()
{
    QCOMPARE(setDefault(headset), S_OK);
    QTRY_COMPARE(sink->events(), defaultEvents(eRender, headset));
    QCOMPARE(privateserver::pactl({"get-default-sink"}), QString("headset"));

    sink->clear();
    ComPtr<IPolicyConfigVista> vista;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_ALL, IID_IPolicyConfigVista,
                              vista.receiveVoid()),
             S_OK);
    QCOMPARE(vista->SetDefaultEndpoint(speakers.toStdWString().c_str(), eConsole), S_OK);
    QTRY_COMPARE(sink->events(), defaultEvents(eRender, speakers));
    QCOMPARE(privateserver::pactl({"get-default-sink"}), QString("speakers"));
}

void tst_endpointlist::theDefaultSinkVanishes()
{
    const QString id = endpointIdOf("extra", eRender);
    const QString module = privateserver::loadSink("extra", "Extra");
    QTRY_VERIFY(sink->events().contains("added " + id));
    QCOMPARE(setDefault(id), S_OK);
    QTRY_COMPARE(sink->events().mid(1), defaultEvents(eRender, id));
    sink->clear();
    privateserver::unload(module);
    QTRY_COMPARE(sink->events().size(), 4);
    QCOMPARE(sink->events().first(), "removed " + id);
    QCOMPARE(sink->events().mid(1), defaultEvents(eRender, defaultId(eRender)));
    QVERIFY(!defaultId(eRender).isEmpty());
}

void tst_endpointlist::defaultsThatCannotBe()
{
    QCOMPARE(setDefault("nobody"), E_NOTFOUND);
    QCOMPARE(setDefault(cardId(tavoriAux, eRender)), AUDCLNT_E_DEVICE_INVALIDATED); // hidden
    QCOMPARE(defaultId(eRender), speakers);
}

void tst_endpointlist::theCardStartsHidden()
{
    const QStringList hidden = namesOf(eAll, DEVICE_STATE_DISABLED);
    QCOMPARE(hidden.size(), 11);
    QCOMPARE(hidden.count("tavori - Microphone (tavori Virtual Audio Device)"), 2);
    QCOMPARE(stateOf(cardId(tavoriGame, eRender)), DEVICE_STATE_DISABLED);
    ComPtr<IAudioEndpointVolume> volume;
    QCOMPARE(deviceOf(cardId(tavoriGame, eRender))
                 ->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid()),
             AUDCLNT_E_DEVICE_INVALIDATED);
}

void tst_endpointlist::aCardEndpointIsShownAndHidden_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    QTest::newRow("a speaker") << cardId(tavoriGame, eRender)
                               << "tavori - Gaming (tavori Virtual Audio Device)";
    QTest::newRow("a microphone") << cardId(tavoriChatCapture, eCapture)
                                  << "tavori - Microphone (tavori Virtual Audio Device)";
}

void tst_endpointlist::aCardEndpointIsShownAndHidden()
{
    QFETCH(QString, id);
    QFETCH(QString, name);
    const EDataFlow flow = id.startsWith(endpointIdPrefix(eCapture)) ? eCapture : eRender;
    QCOMPARE(setVisible(id, true), S_OK);
    // Complete on return, with nothing to wait for.
    QVERIFY(namesOf(flow).contains(name));
    QCOMPARE(stateOf(id), DEVICE_STATE_ACTIVE);
    QVERIFY(volumeOf(id));
    QTRY_COMPARE(sink->events(), QStringList("state 1 " + id));
    QCOMPARE(sink->nameAt("state 1 " + id), name);
    QCOMPARE(setVisible(id, true), S_OK);

    sink->clear();
    QCOMPARE(setVisible(id, false), S_OK);
    QVERIFY(!namesOf(flow).contains(name));
    QCOMPARE(stateOf(id), DEVICE_STATE_DISABLED);
    QTRY_COMPARE(sink->events(), QStringList("state 2 " + id));
    QCOMPARE(setVisible(id, false), S_OK);
    QCOMPARE(sink->events().size(), 1);
}

void tst_endpointlist::theWholeCardAtOnce()
{
    for (const card::CardEndpoint &endpoint : card::endpoints())
        QCOMPARE(setVisible(endpoint.id, true), S_OK);
    QCOMPARE(namesOf(eRender).size(), 9 + 2);
    QCOMPARE(namesOf(eCapture).size(), 2 + 1);
    QTRY_COMPARE(sink->events().filter("state 1 ").size(), 11);
    QVERIFY(sink->events().filter("added ").isEmpty());
    for (const card::CardEndpoint &endpoint : card::endpoints())
        QCOMPARE(setVisible(endpoint.id, false), S_OK);
    QCOMPARE(namesOf(eRender).size(), 2);
    QTRY_COMPARE(sink->events().filter("state 2 ").size(), 11);
    QVERIFY(sink->events().filter("removed ").isEmpty());
}

// A program that was killed leaves its nodes for a moment, under the names of ours.
void tst_endpointlist::aPredecessorsNodeDoesNotCount()
{
    const QString id = cardId(tavoriGame, eRender);
    const QString name = card::endpointOfId(id)->nodeName;
    const QString module = privateserver::loadSink(name, "Predecessor");
    QTRY_VERIFY(privateserver::pactl({"list", "short", "sinks"}).contains(name));
    HRESULT result = E_FAIL;
    std::atomic<bool> isDone = false;
    std::thread shower([&] {
        result = setVisible(id, true);
        isDone = true;
    });
    const bool isEarly = QTest::qWaitFor([&] { return isDone.load(); }, 300);
    const QStringList early = sink->events().filter("state ");
    privateserver::unload(module);
    shower.join();
    QVERIFY(!isEarly);
    QCOMPARE(early, QStringList());
    QCOMPARE(result, S_OK);
    QCOMPARE(stateOf(id), DEVICE_STATE_ACTIVE);
    QTRY_COMPARE(sink->events().filter("state "), QStringList("state 1 " + id));
}

void tst_endpointlist::onlyTheCardCanBeHidden()
{
    QCOMPARE(setVisible("nobody", false), E_NOTFOUND);
    QCOMPARE(setVisible(speakers, false), E_NOTIMPL);
    QCOMPARE(stateOf(speakers), DEVICE_STATE_ACTIVE);
}

void tst_endpointlist::aStreamIsMadeForAnActiveEndpointOnly()
{
    ComPtr<IAudioClient3> client;
    QCOMPARE(
        deviceOf(speakers)->Activate(IID_IAudioClient3, CLSCTX_ALL, nullptr, client.receiveVoid()),
        S_OK);
    WAVEFORMATEX *format = nullptr;
    QCOMPARE(client->GetMixFormat(&format), S_OK);
    QCOMPARE(format->nSamplesPerSec, 48000u);
    QCOMPARE(format->nChannels, WORD(2));
    CoTaskMemFree(format);
    QCOMPARE(deviceOf(cardId(tavoriAux, eRender))
                 ->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.receiveVoid()),
             AUDCLNT_E_DEVICE_INVALIDATED);
    QVERIFY(!client);
}

void tst_endpointlist::registrationsOfAnEnumeratorEndWithIt()
{
    const ComPtr<DeviceSink> other = makeSink<DeviceSink>();
    ComPtr<IMMDeviceEnumerator> short_lived = makeEnumerator();
    QCOMPARE(short_lived->RegisterEndpointNotificationCallback(other.get()), S_OK);
    QCOMPARE(short_lived->RegisterEndpointNotificationCallback(nullptr), E_POINTER);
    short_lived.reset();
    privateserver::pactl({"set-default-sink", "headset"});
    QTRY_COMPARE(sink->events().size(), 3);
    QCOMPARE(other->events(), QStringList());
}

void tst_endpointlist::unregisterOfAStranger()
{
    const ComPtr<DeviceSink> stranger = makeSink<DeviceSink>();
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(stranger.get()), E_NOTFOUND);
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(nullptr), E_POINTER);
}

// After each unregistration the sink is deleted at once: a late call would be a use after free.
void tst_endpointlist::registrationsRaceWithEvents()
{
    const QString id = cardId(tavoriAux, eRender);
    QCOMPARE(setVisible(id, true), S_OK);
    std::atomic<bool> stop = false;
    std::thread changes([&] {
        const ComPtr<IAudioEndpointVolume> volume = volumeOf(id);
        for (int round = 0; !stop; ++round) {
            volume->SetMasterVolumeLevelScalar(float(round % 100) / 100.0f, nullptr);
            setDefault(round % 2 ? speakers : headset);
            QThread::msleep(2);
        }
    });
    const ComPtr<IAudioEndpointVolume> volume = volumeOf(id);
    for (int round = 0; round < 500; ++round) {
        const ComPtr<DeviceSink> device = makeSink<DeviceSink>();
        const ComPtr<LevelSink> level = makeSink<LevelSink>();
        QCOMPARE(enumerator->RegisterEndpointNotificationCallback(device.get()), S_OK);
        QCOMPARE(volume->RegisterControlChangeNotify(level.get()), S_OK);
        if (round % 10 == 0)
            QThread::msleep(3);
        QCOMPARE(volume->UnregisterControlChangeNotify(level.get()), S_OK);
        QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(device.get()), S_OK);
    }
    stop = true;
    changes.join();
    QVERIFY(!sink->events().filter("default 0").isEmpty()); // there was something to race with
}

void tst_endpointlist::nothingLeaks()
{
    const auto round = [] {
        const ComPtr<DeviceSink> device = makeSink<DeviceSink>();
        const ComPtr<LevelSink> level = makeSink<LevelSink>();
        const ComPtr<IMMDeviceEnumerator> other = makeEnumerator();
        other->RegisterEndpointNotificationCallback(device.get());
        const QString module = privateserver::loadSink("extra", "Extra");
        QTRY_VERIFY(namesOf(eRender).contains("Extra"));
        const ComPtr<IAudioEndpointVolume> volume = volumeOf(endpointIdOf("extra", eRender));
        volume->RegisterControlChangeNotify(level.get());
        // The session manager gives a new sink the level that it remembers, perhaps after ours.
        float wanted = 0.0f;
        const auto isTold = [&] {
            wanted = wanted < 0.5f ? 0.9f : 0.1f;
            volume->SetMasterVolumeLevelScalar(wanted, nullptr);
            return !level->events().isEmpty();
        };
        QTRY_VERIFY(isTold());
        privateserver::unload(module);
        QTRY_VERIFY(!namesOf(eRender).contains("Extra"));
        QCOMPARE(setVisible(cardId(tavoriMedia, eRender), true), S_OK);
        QCOMPARE(setVisible(cardId(tavoriMedia, eRender), false), S_OK);
    };
    round();
    const int descriptors = privateserver::openDescriptors();
    const int threads = privateserver::threads();
    for (int count = 0; count < 20 && !QTest::currentTestFailed(); ++count)
        round();
    // Twenty rounds would show: what the first one has yet to close does not count.
    QTRY_VERIFY(privateserver::openDescriptors() <= descriptors);
    QTRY_VERIFY(privateserver::threads() <= threads);
}

QTEST_GUILESS_MAIN(tst_endpointlist)
#include "tst_endpointlist.moc"
