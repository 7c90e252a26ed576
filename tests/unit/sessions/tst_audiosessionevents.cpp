// The sinks of session notifications: what they log, what they raise and on which thread.
#include "sessions/audiosessionevents.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QTest>
#include <QThread>

#include <future>

namespace
{

constexpr GUID someGuid{
    0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0x0f}};

/// A sink and what it raises.
struct Listener
{
    Listener()
    {
        log.listen(*sink, "sigDisplayNameChanged", &AudioSessionEvents::sigDisplayNameChanged);
        log.listen(*sink, "sigIconPathChanged", &AudioSessionEvents::sigIconPathChanged);
        log.listen(*sink, "sigGroupingParamChanged", &AudioSessionEvents::sigGroupingParamChanged);
        log.listen(*sink, "sigAudioSessionStateActive",
                   &AudioSessionEvents::sigAudioSessionStateActive);
        log.listen(*sink, "sigAudioSessionStateInactive",
                   &AudioSessionEvents::sigAudioSessionStateInactive);
        log.listen(*sink, "sigAudioSessionStateExpired",
                   &AudioSessionEvents::sigAudioSessionStateExpired);
        log.listen(*sink, "sigAudioSessionDisconnected",
                   &AudioSessionEvents::sigAudioSessionDisconnected);
    }
    ~Listener() { sink->Release(); }

    AudioSessionEvents *const sink = new AudioSessionEvents;
    SignalLog log;
};

/// Calls as the platform does, from a thread of its own, and waits for the answer.
HRESULT callElsewhere(const std::function<HRESULT()> &call)
{
    return std::async(std::launch::async, call).get();
}

} // namespace

class TestAudioSessionEvents : public QObject
{
    Q_OBJECT

private slots:
    void signalsStandInOrder()
    {
        QCOMPARE(signaturesOf(AudioSessionEvents::staticMetaObject).mid(0, 7),
                 QStringList({"sigDisplayNameChanged(QString)", "sigIconPathChanged(QString)",
                              "sigGroupingParamChanged(QString)", "sigAudioSessionStateActive()",
                              "sigAudioSessionStateInactive()", "sigAudioSessionStateExpired()",
                              "sigAudioSessionDisconnected(QString)"}));
        QCOMPARE(signaturesOf(AudioSessionNotifications::staticMetaObject).value(0),
                 "sigSessionCreated()");
    }

    void states_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("raised");
        QTest::newRow("inactive") << 0 << "The session has no active audio streams."
                                  << QStringList("sigAudioSessionStateInactive()");
        QTest::newRow("active") << 1 << "The session has active audio streams."
                                << QStringList("sigAudioSessionStateActive()");
        QTest::newRow("expired") << 2 << "The session is dormant."
                                 << QStringList("sigAudioSessionStateExpired()");
        QTest::newRow("beyond") << 3 << "?????" << QStringList();
        QTest::newRow("negative") << -1 << "?????" << QStringList();
    }
    void states()
    {
        QFETCH(int, state);
        QFETCH(QString, text);
        LogCapture log;
        Listener listener;
        QCOMPARE(callElsewhere([&] {
                     return listener.sink->OnStateChanged(static_cast<AudioSessionState>(state));
                 }),
                 S_OK);
        QCOMPARE(log.take(), QStringList("Info: AudioSessionEvents::OnStateChanged "
                                         "\"New session state = " +
                                         text + "\""));
        QTEST(listener.log.takeSettled(*listener.sink), "raised");
    }

    void reasons_data()
    {
        QTest::addColumn<int>("reason");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0 << "device removed";
        QTest::newRow("1") << 1 << "server shut down";
        QTest::newRow("2") << 2 << "format changed";
        QTest::newRow("3") << 3 << "user logged off";
        QTest::newRow("4") << 4 << "session disconnected";
        QTest::newRow("5") << 5 << "exclusive-mode override";
        QTest::newRow("beyond") << 6 << "?????";
        QTest::newRow("negative") << -1 << "?????";
    }
    void reasons()
    {
        QFETCH(int, reason);
        QFETCH(QString, text);
        LogCapture log;
        Listener listener;
        QCOMPARE(callElsewhere([&] {
                     return listener.sink->OnSessionDisconnected(
                         static_cast<AudioSessionDisconnectReason>(reason));
                 }),
                 S_OK);
        QCOMPARE(log.take(), QStringList("Info: AudioSessionEvents::OnSessionDisconnected "
                                         "\"Audio session disconnected (reason: " +
                                         text + ")\""));
        QCOMPARE(listener.log.takeSettled(*listener.sink),
                 QStringList("sigAudioSessionDisconnected(" + text + ")"));
    }

    void onlyTheDisconnectionIsRaisedAtOnce()
    {
        LogCapture log;
        Listener listener;
        QStringList atOnce;
        const auto note = [&](const char *name) {
            return [&atOnce, name] { atOnce.append(name); };
        };
        using Events = AudioSessionEvents;
        const auto direct = Qt::DirectConnection;
        connect(listener.sink, &Events::sigAudioSessionDisconnected, this, note("disconnected"),
                direct);
        connect(listener.sink, &Events::sigAudioSessionStateActive, this, note("active"), direct);
        connect(listener.sink, &Events::sigDisplayNameChanged, this, note("name"), direct);
        connect(listener.sink, &Events::sigIconPathChanged, this, note("icon"), direct);
        connect(listener.sink, &Events::sigGroupingParamChanged, this, note("grouping"), direct);
        callElsewhere([&] {
            listener.sink->OnStateChanged(AudioSessionStateActive);
            listener.sink->OnDisplayNameChanged(L"n", nullptr);
            listener.sink->OnIconPathChanged(L"i", nullptr);
            listener.sink->OnGroupingParamChanged(&someGuid, nullptr);
            return listener.sink->OnSessionDisconnected(DisconnectReasonDeviceRemoval);
        });
        QCOMPARE(atOnce, QStringList("disconnected"));
        settle(*listener.sink);
        QCOMPARE(atOnce, QStringList({"disconnected", "active", "name", "icon", "grouping"}));
    }

    void texts()
    {
        LogCapture log;
        Listener listener;
        callElsewhere([&] {
            listener.sink->OnDisplayNameChanged(L"Music", nullptr);
            return listener.sink->OnIconPathChanged(L"C:\\icon.ico", nullptr);
        });
        QCOMPARE(log.take(), QStringList({"Info: AudioSessionEvents::OnDisplayNameChanged "
                                          "Audio session display name changed : \"Music\"",
                                          "Info: AudioSessionEvents::OnIconPathChanged "
                                          "Audio session icon path changed : \"C:\\\\icon.ico\""}));
        QCOMPARE(listener.log.takeSettled(*listener.sink),
                 QStringList({"sigDisplayNameChanged(Music)", "sigIconPathChanged(C:\\icon.ico)"}));
    }

    void volumesAreOnlyLogged_data()
    {
        QTest::addColumn<float>("volume");
        QTest::addColumn<bool>("muted");
        QTest::addColumn<QString>("text");
        const QString level = "\"Audio session simple volume changed, Volume = %1 percent\"";
        QTest::newRow("half") << 0.5f << false << level.arg(50);
        QTest::newRow("rounded up") << 0.256f << false << level.arg(26);
        QTest::newRow("rounded down") << 0.254f << false << level.arg(25);
        QTest::newRow("full") << 1.0f << false << level.arg(100);
        QTest::newRow("muted") << 0.5f << true << "Audio session simple volume changed : MUTE";
    }
    void volumesAreOnlyLogged()
    {
        QFETCH(float, volume);
        QFETCH(bool, muted);
        QFETCH(QString, text);
        LogCapture log;
        Listener listener;
        QCOMPARE(listener.sink->OnSimpleVolumeChanged(volume, muted, nullptr), S_OK);
        QCOMPARE(log.take(),
                 QStringList("Info: AudioSessionEvents::OnSimpleVolumeChanged " + text));
        QCOMPARE(listener.log.takeSettled(*listener.sink), QStringList());
    }

    void channelVolumesAreOnlyLogged()
    {
        LogCapture log;
        Listener listener;
        float volumes[] = {0.25f, 1.0f};
        QCOMPARE(listener.sink->OnChannelVolumeChanged(2, volumes, 1, nullptr), S_OK);
        const QString name = "Info: AudioSessionEvents::OnChannelVolumeChanged ";
        QCOMPARE(log.take(), QStringList({name + "\"Audio session channel volume changed, "
                                                 "ChannelCount = 2, ChangedChannel = 1\"",
                                          name + "\"New channel volume : 0.25\"",
                                          name + "\"New channel volume : 1\""}));
        QCOMPARE(listener.log.takeSettled(*listener.sink), QStringList());
    }

    void groupingIsWrittenByHalves()
    {
        LogCapture log;
        Listener listener;
        const GUID context{0x1, 0, 0, {2, 0, 0, 0, 0, 0, 0, 0}};
        QCOMPARE(listener.sink->OnGroupingParamChanged(&someGuid, &context), S_OK);
        // The halves as they lie in memory on a little-endian machine.
        const QString text = "6677445500112233-feeddccbbaa9988";
        QCOMPARE(log.take(), QStringList("Info: AudioSessionEvents::OnGroupingParamChanged "
                                         "\"Audio session grouping param changed, "
                                         "NewGroupingParam = {" +
                                         text + "}, EventContext = {1-2}\""));
        QCOMPARE(listener.log.takeSettled(*listener.sink),
                 QStringList("sigGroupingParamChanged(" + text + ")"));
    }

    void newSessions()
    {
        SessionFixture fixture;
        simulated::addSession({.endpointId = fixture.speakers});
        auto *sink = new AudioSessionNotifications;
        QStringList threads;
        connect(
            sink, &AudioSessionNotifications::sigSessionCreated, this,
            [&] { threads.append(QThread::currentThread() == thread() ? "here" : "there"); },
            Qt::DirectConnection);
        const auto control = SessionFixture::controlOf(fixture.speakers);
        QVERIFY(control);
        QCOMPARE(sink->OnSessionCreated(nullptr), S_OK);
        QCOMPARE(threads, QStringList());
        QCOMPARE(callElsewhere([&] { return sink->OnSessionCreated(control.get()); }), S_OK);
        QCOMPARE(threads, QStringList("there"));
        QCOMPARE(sink->Release(), 0u);
    }

    void queries()
    {
        auto *events = new AudioSessionEvents;
        queriesOf(events, IID_IAudioSessionEvents, IID_IAudioSessionNotification);
        auto *notifications = new AudioSessionNotifications;
        queriesOf(notifications, IID_IAudioSessionNotification, IID_IAudioSessionEvents);
    }

private:
    template <typename Sink>
    void queriesOf(Sink *sink, REFIID own, REFIID foreign)
    {
        bool deleted = false;
        connect(sink, &QObject::destroyed, this, [&deleted] { deleted = true; });
        for (const IID &id : {IID_IUnknown, own}) {
            void *found = nullptr;
            QCOMPARE(sink->QueryInterface(id, &found), S_OK);
            QVERIFY(found);
            QCOMPARE(sink->Release(), 1u);
        }
        void *found = sink;
        QCOMPARE(sink->QueryInterface(foreign, &found), E_NOINTERFACE);
        QVERIFY(!found);
        QCOMPARE(sink->AddRef(), 2u);
        QCOMPARE(sink->Release(), 1u);
        QVERIFY(!deleted);
        QCOMPARE(sink->Release(), 0u);
        QVERIFY(deleted);
    }
};

QTEST_GUILESS_MAIN(TestAudioSessionEvents)
#include "tst_audiosessionevents.moc"
