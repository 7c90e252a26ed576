// Sinks, levels and policy on the simulated platform.
#include "platform/policyconfig.h"
#include "platform/posix/comobject.h"
#include "platform/simulated/simulated.h"
#include "tests/unit/platform/platformaccess.h"

#include <QStringList>
#include <QTest>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace
{

QString textOf(LPCWSTR text)
{
    return text ? QString::fromWCharArray(text) : QStringLiteral("null");
}

/// Notes every call as one line of text.
class Notes
{
public:
    void add(const QString &line)
    {
        const std::lock_guard lock(mutex);
        lines.append(line);
        threads.append(std::this_thread::get_id());
    }
    QStringList take()
    {
        simulated::drain();
        const std::lock_guard lock(mutex);
        return std::exchange(lines, {});
    }
    QList<std::thread::id> calledFrom()
    {
        const std::lock_guard lock(mutex);
        return threads;
    }

private:
    std::mutex mutex;
    QStringList lines;
    QList<std::thread::id> threads;
};

class EndpointSink final : public posix::ComObject<IMMNotificationClient>
{
public:
    explicit EndpointSink(Notes &notes) : notes(notes) {}

    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override
    {
        return note(QStringLiteral("state %1 %2").arg(textOf(id)).arg(state));
    }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR id) override
    {
        return note(QStringLiteral("added ") + textOf(id));
    }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR id) override
    {
        return note(QStringLiteral("removed ") + textOf(id));
    }
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role,
                                                     LPCWSTR id) override
    {
        return note(QStringLiteral("default %1 %2 %3").arg(flow).arg(role).arg(textOf(id)));
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR id, const PROPERTYKEY key) override
    {
        return note(QStringLiteral("property %1 %2").arg(textOf(id)).arg(key.pid));
    }

    std::function<void()> during;

private:
    HRESULT note(const QString &line)
    {
        notes.add(line);
        if (during)
            during();
        return S_OK;
    }
    Notes &notes;
};

class LevelSink final : public posix::ComObject<IAudioEndpointVolumeCallback>
{
public:
    explicit LevelSink(Notes &notes) : notes(notes) {}

    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA data) override
    {
        const bool anonymous = data->guidEventContext == GUID_NULL;
        notes.add(QStringLiteral("%1 %2 %3 %4")
                      .arg(static_cast<double>(data->fMasterVolume))
                      .arg(data->bMuted)
                      .arg(data->nChannels)
                      .arg(anonymous ? QStringLiteral("nobody") : QStringLiteral("context")));
        return S_OK;
    }

private:
    Notes &notes;
};

} // namespace

class TestSimulatedNotifications : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }
    void cleanup() { QCOMPARE(simulated::leakReport(), QString()); }

    void rawNotificationsArriveInOrder();
    void sinkMayCallBackAndUnregisterItself();
    void unregisteringWaitsForTheRunningCall();
    void releasedEnumeratorDropsItsSinks();
    void levelChangesCarryTheirContext();
    void levelChangesFromOutside();
    void quietMutatorsAreQuiet();
    void levelsAreCheckedAndFail();
    void policyChangesTablesAndNotifies();
    void policyRefusesUnknownEndpoints();
};

void TestSimulatedNotifications::rawNotificationsArriveInOrder()
{
    Notes notes;
    const auto sink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    const auto enumerator = createEnumerator();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    QCOMPARE(simulated::notificationSinks(), 1);
    simulated::notifyDeviceAdded("a");
    simulated::notifyDeviceRemoved("b");
    simulated::notifyDeviceState("c", 77);
    simulated::notifyDefaultChanged(eCapture, eMultimedia, QString());
    simulated::notifyDefaultChanged(eAll, eConsole, "");
    simulated::notifyPropertyChanged("d", PKEY_Device_FriendlyName);
    QCOMPARE(notes.take(), QStringList({"added a", "removed b", "state c 77", "default 1 1 null",
                                        "default 2 0 ", "property d 14"}));
    for (const std::thread::id thread : notes.calledFrom())
        QVERIFY(thread != std::this_thread::get_id());
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(sink.get()), S_OK);
    simulated::notifyDeviceAdded("e");
    QVERIFY(notes.take().isEmpty());
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(sink.get()), E_NOTFOUND);
}

void TestSimulatedNotifications::sinkMayCallBackAndUnregisterItself()
{
    const QString id = simulated::addEndpoint({});
    Notes notes;
    const auto sink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    const auto enumerator = createEnumerator();
    sink->during = [&] {
        notes.add(findDevice(id) ? "found" : "lost");
        simulated::drain(); // on the dispatcher's own thread it must not wait for itself
        enumerator->UnregisterEndpointNotificationCallback(sink.get());
    };
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    simulated::notifyDeviceAdded(id);
    simulated::notifyDeviceAdded(id);
    QCOMPARE(notes.take(), QStringList({"added " + id, "found"}));
}

void TestSimulatedNotifications::unregisteringWaitsForTheRunningCall()
{
    Notes notes;
    const auto sink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    const auto enumerator = createEnumerator();
    std::mutex mutex;
    std::condition_variable changed;
    bool inside = false;
    std::atomic<bool> left{false};
    sink->during = [&] {
        {
            const std::lock_guard lock(mutex);
            inside = true;
        }
        changed.notify_all();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        left = true;
    };
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    simulated::notifyDeviceAdded("a");
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return inside; });
    }
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(sink.get()), S_OK);
    QVERIFY(left);
}

void TestSimulatedNotifications::releasedEnumeratorDropsItsSinks()
{
    Notes notes;
    const auto sink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    auto enumerator = createEnumerator();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    enumerator.reset();
    QCOMPARE(simulated::notificationSinks(), 0);
    QCOMPARE(sink->AddRef(), 2u); // no reference was left behind
    sink->Release();
}

void TestSimulatedNotifications::levelChangesCarryTheirContext()
{
    const QString id = simulated::addEndpoint({.channels = 6});
    Notes notes;
    const auto sink = ComPtr<LevelSink>::adopt(new LevelSink(notes));
    const auto volume = activate<IAudioEndpointVolume>(id, IID_IAudioEndpointVolume);
    QCOMPARE(volume->RegisterControlChangeNotify(sink.get()), S_OK);
    QCOMPARE(simulated::volumeSinks(id), 1);
    GUID context{};
    QCOMPARE(CoCreateGuid(&context), S_OK);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.5f, &context), S_OK);
    QCOMPARE(volume->SetMute(TRUE, &context), S_OK);
    QCOMPARE(volume->SetMute(TRUE, &context), S_FALSE);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.25f, nullptr), S_OK);
    QCOMPARE(notes.take(), QStringList({"0.5 0 6 context", "0.5 1 6 context", "0.25 1 6 nobody"}));
    QCOMPARE(simulated::endpoint(id).volume, 0.25f);
    QVERIFY(simulated::endpoint(id).muted);
    QCOMPARE(volume->UnregisterControlChangeNotify(sink.get()), S_OK);
    QCOMPARE(volume->UnregisterControlChangeNotify(sink.get()), E_NOTFOUND);
}

void TestSimulatedNotifications::levelChangesFromOutside()
{
    const QString id = simulated::addEndpoint({});
    const QString other = simulated::addEndpoint({});
    Notes notes;
    const auto sink = ComPtr<LevelSink>::adopt(new LevelSink(notes));
    const auto volume = activate<IAudioEndpointVolume>(id, IID_IAudioEndpointVolume);
    QCOMPARE(volume->RegisterControlChangeNotify(sink.get()), S_OK);
    simulated::changeVolumeFromOutside(id, 0.75f);
    simulated::changeMuteFromOutside(id, true);
    simulated::changeMuteFromOutside(other, true);
    QCOMPARE(notes.take(), QStringList({"0.75 0 2 nobody", "0.75 1 2 nobody"}));
    float level = 0;
    BOOL muted = FALSE;
    QCOMPARE(volume->GetMasterVolumeLevelScalar(&level), S_OK);
    QCOMPARE(volume->GetMute(&muted), S_OK);
    QCOMPARE(level, 0.75f);
    QCOMPARE(muted, TRUE);
}

void TestSimulatedNotifications::quietMutatorsAreQuiet()
{
    Notes notes;
    const auto endpointSink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    const auto levelSink = ComPtr<LevelSink>::adopt(new LevelSink(notes));
    const auto enumerator = createEnumerator();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(endpointSink.get()), S_OK);
    const QString id = simulated::addEndpoint({});
    const auto volume = activate<IAudioEndpointVolume>(id, IID_IAudioEndpointVolume);
    QCOMPARE(volume->RegisterControlChangeNotify(levelSink.get()), S_OK);
    simulated::setVolume(id, 0.1f);
    simulated::setMute(id, true);
    simulated::setDefault(eRender, id);
    simulated::setState(id, DEVICE_STATE_DISABLED);
    simulated::removeEndpoint(id);
    QVERIFY(notes.take().isEmpty());
}

void TestSimulatedNotifications::levelsAreCheckedAndFail()
{
    const QString id = simulated::addEndpoint({.volume = 0.5f});
    const auto volume = activate<IAudioEndpointVolume>(id, IID_IAudioEndpointVolume);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(1.01f, nullptr), E_INVALIDARG);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(-0.01f, nullptr), E_INVALIDARG);
    simulated::failNext("IAudioEndpointVolume::GetMute", 0x80004005);
    BOOL muted = 42;
    QCOMPARE(volume->GetMute(&muted), E_FAIL);
    QCOMPARE(muted, 42);
    QCOMPARE(volume->GetMute(&muted), S_OK);
    QCOMPARE(muted, FALSE);
    QCOMPARE(simulated::endpoint(id).volume, 0.5f);
}

void TestSimulatedNotifications::policyChangesTablesAndNotifies()
{
    const QString id = simulated::addEndpoint({.flow = eCapture});
    const std::wstring wide = id.toStdWString();
    Notes notes;
    const auto sink = ComPtr<EndpointSink>::adopt(new EndpointSink(notes));
    const auto enumerator = createEnumerator();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    ComPtr<IPolicyConfig> policy;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_INPROC_SERVER, IID_IPolicyConfig,
                              policy.receiveVoid()),
             S_OK);
    QCOMPARE(policy->SetDefaultEndpoint(wide.c_str(), eConsole), S_OK);
    QCOMPARE(simulated::defaultEndpoint(eCapture, eConsole), id);
    QCOMPARE(simulated::defaultEndpoint(eCapture, eMultimedia), QString());
    QCOMPARE(policy->SetDefaultEndpoint(wide.c_str(), eConsole), S_OK); // nothing new
    QCOMPARE(policy->SetEndpointVisibility(wide.c_str(), 0), S_OK);
    QCOMPARE(simulated::endpoint(id).state, DEVICE_STATE_DISABLED);
    QCOMPARE(policy->SetEndpointVisibility(wide.c_str(), 1), S_OK);
    QCOMPARE(notes.take(),
             QStringList({"default 1 0 " + id, "state " + id + " 2", "state " + id + " 1"}));
}

void TestSimulatedNotifications::policyRefusesUnknownEndpoints()
{
    ComPtr<IPolicyConfigVista> policy;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_INPROC_SERVER,
                              IID_IPolicyConfigVista, policy.receiveVoid()),
             S_OK);
    QCOMPARE(policy->SetDefaultEndpoint(L"nobody", eConsole), E_NOTFOUND);
    QCOMPARE(policy->SetEndpointVisibility(nullptr, 1), E_NOTFOUND);
}

QTEST_GUILESS_MAIN(TestSimulatedNotifications)
#include "tst_simulatednotifications.moc"
