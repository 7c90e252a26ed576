// One session: what it reads, what it remembers, and how it tells its events.
#include "platform/simulated/applications.h"
#include "sessions/audiosession.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QTest>

#include <future>

namespace
{

constexpr GUID oddGuid{0x1A, 0x0B, 0xC0DE, {0x0A, 0xFF, 0x00, 0x10, 0x01, 0x02, 0x03, 0xB4}};

/// A session of the player on the speakers, with a record of its signals.
struct Subject : SessionFixture
{
    explicit Subject(simulated::Session description = {})
    {
        description.endpointId = speakers;
        if (description.processId == simulated::Session().processId)
            description.processId = playerId;
        number = simulated::addSession(description);
        listenToEvents(signalLog, session);
    }
    ~Subject() { session.releaseSessionControl(); }

    void start()
    {
        session.setSessionControl(controlOf(speakers).get());
        session.refreshSessionInfo();
        simulated::clearCalls();
        log.clear();
    }

    simulated::SessionNumber number = 0;
    SignalLog signalLog;
    AudioSession session;
};

} // namespace

class TestAudioSession : public QObject
{
    Q_OBJECT

private slots:
    void signalsStandInOrder()
    {
        const QString session = "QString,QString,QString,int,QString,";
        const QString state = "QString,QString,QString,QString,int,QString,QString)";
        QCOMPARE(signaturesOf(AudioSession::staticMetaObject).mid(0, 8),
                 QStringList({"sigAudioSessionInfoChanged(QJsonObject)",
                              "sigDisplayNameChanged(" + session + "QString)",
                              "sigIconPathChanged(" + session + "QString)",
                              "sigGroupingParamChanged(" + session + "QString,QString)",
                              "sigAudioSessionStateActive(" + state,
                              "sigAudioSessionStateInactive(" + state,
                              "sigAudioSessionStateExpired(AudioSession*," + state,
                              "sigAudioSessionDisconnected(AudioSession*," + state}));
    }

    void infoHasThirteenKeys()
    {
        Subject subject({.identifier = "id",
                         .instanceIdentifier = "instance",
                         .displayName = "Music",
                         .iconPath = "icon.ico",
                         .groupingParam = oddGuid});
        subject.session.setInDefaultEndpoint(true);
        subject.session.setAudioEndpointID("endpoint");
        subject.start();
        QCOMPARE(subject.session.getAudioSessionInfo(),
                 QJsonObject({{"inDefaultEndpoint", true},
                              {"audioEndpointID", "endpoint"},
                              {"isSystemSoundsSession", 1},
                              {"sessionIdentifier", "id"},
                              {"sessionInstanceIdentifier", "instance"},
                              {"sessionDisplayName", "Music"},
                              {"sessionIconPath", "icon.ico"},
                              {"sessionState", "AudioSessionStateActive"},
                              {"sessionProcessId", 101},
                              {"sessionProcessName", "Player"},
                              {"sessionProcessFileName", "C:\\Programs\\player.exe"},
                              {"sessionProcessFileIcon", iconPrefix},
                              {"sessionGroupingParam", "1a-b-c0de-aff010123b4"}}));
    }

    void groupings_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << QByteArray(16, '\0') << noGrouping;
        QTest::newRow("a byte of one digit")
            << QByteArray::fromHex("00000000000000000a00000000000000") << "0-0-0-a0000000";
        QTest::newRow("all in lower case")
            << QByteArray::fromHex("efbeaddedec0bafeABCDEF0102030405")
            << "deadbeef-c0de-feba-abcdef12345";
    }
    void groupings()
    {
        QFETCH(QByteArray, bytes);
        GUID grouping;
        QCOMPARE(bytes.size(), qsizetype(sizeof grouping));
        std::memcpy(&grouping, bytes.constData(), sizeof grouping);
        Subject subject({.groupingParam = grouping});
        subject.start();
        QTEST(subject.session.getSessionGroupingParam(), "text");
        QTEST(subject.session.getAudioSessionInfo().value("sessionGroupingParam").toString(),
              "text");
    }

    void states_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("text");
        QTest::newRow("inactive") << 0 << "AudioSessionStateInactive";
        QTest::newRow("active") << 1 << "AudioSessionStateActive";
        QTest::newRow("expired") << 2 << "AudioSessionStateExpired";
        QTest::newRow("anything else") << 7 << "AudioSessionStateExpired";
    }
    void states()
    {
        QFETCH(int, state);
        Subject subject({.state = static_cast<AudioSessionState>(state)});
        subject.start();
        QCOMPARE(subject.session.getSessionState(), state);
        QTEST(subject.session.getAudioSessionInfo().value("sessionState").toString(), "text");
    }

    void systemSoundsAreZero()
    {
        Subject subject({.systemSounds = true});
        subject.start();
        QCOMPARE(subject.session.getAudioSessionInfo().value("isSystemSoundsSession"), 0);
    }

    void withoutAnyControl()
    {
        const AudioSessionState expired = AudioSessionStateExpired;
        AudioSession session;
        const QJsonObject info = session.getAudioSessionInfo();
        QCOMPARE(session.getSessionState(), static_cast<int>(expired));
        QCOMPARE(info, withoutControlInfo());
        session.releaseSessionControl();
    }
    void withoutExtendedControl()
    {
        Subject subject({.state = AudioSessionStateActive, .hasControl2 = false});
        subject.start();
        QCOMPARE(subject.session.getAudioSessionInfo(), withoutControlInfo());
        subject.session.releaseSessionControl();
        QCOMPARE(simulated::sessionSinks(subject.number), 0);
    }

    void textsCountOnlyWithSuccess_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("key");
        QTest::addColumn<DWORD>("code");
        const auto addRows = [](const QString &call, const QString &key) {
            QTest::newRow(qPrintable(call + " failing")) << call << key << DWORD(0x80004005);
            QTest::newRow(qPrintable(call + " half true")) << call << key << DWORD(1);
        };
        addRows("IAudioSessionControl2::GetSessionIdentifier", "sessionIdentifier");
        addRows("IAudioSessionControl2::GetSessionInstanceIdentifier", "sessionInstanceIdentifier");
        addRows("IAudioSessionControl::GetDisplayName", "sessionDisplayName");
        addRows("IAudioSessionControl::GetIconPath", "sessionIconPath");
    }
    void textsCountOnlyWithSuccess()
    {
        QFETCH(QString, call);
        QFETCH(QString, key);
        QFETCH(DWORD, code);
        Subject subject({.displayName = "Music", .iconPath = "icon.ico"});
        subject.start();
        QVERIFY(!subject.session.getAudioSessionInfo().value(key).toString().isEmpty());
        simulated::failNext(call, code);
        QCOMPARE(subject.session.getAudioSessionInfo().value(key), "");
    }

    void theTextsMemoryIsFreed()
    {
        Subject subject;
        subject.start();
        QVERIFY(!subject.session.getSessionIdentifier().isEmpty());
        QCOMPARE(simulated::countCalls("CoTaskMemFree"), 1);
    }

    void controlIsTakenUpAndReleasedInOrder()
    {
        Subject subject;
        const auto control = SessionFixture::controlOf(subject.speakers);
        simulated::clearCalls();
        subject.session.setSessionControl(control.get());
        QCOMPARE(simulated::calls(),
                 QStringList({"IAudioSessionControl::RegisterAudioSessionNotification 1",
                              "IAudioSessionControl::QueryInterface IAudioSessionControl2"}));
        QCOMPARE(simulated::sessionSinks(subject.number), 1);
        // Taking up the same once more lets it go first.
        simulated::clearCalls();
        subject.session.setSessionControl(control.get());
        QCOMPARE(simulated::calls(),
                 QStringList({"IAudioSessionControl::UnregisterAudioSessionNotification 1",
                              "IAudioSessionControl::RegisterAudioSessionNotification 1",
                              "IAudioSessionControl::QueryInterface IAudioSessionControl2"}));
        simulated::clearCalls();
        subject.session.releaseSessionControl();
        QCOMPARE(simulated::calls(),
                 QStringList("IAudioSessionControl::UnregisterAudioSessionNotification 1"));
        QCOMPARE(simulated::sessionSinks(subject.number), 0);
    }

    void destructorLetsEverythingGo()
    {
        SessionFixture fixture;
        const auto number = simulated::addSession({.endpointId = fixture.speakers});
        {
            AudioSession session;
            session.setSessionControl(SessionFixture::controlOf(fixture.speakers).get());
            QCOMPARE(simulated::sessionSinks(number), 1);
        }
        QCOMPARE(simulated::sessionSinks(number), 0);
        QCOMPARE(simulated::leakReport(), QString());
    }

    void refreshReadsInOrder()
    {
        Subject subject;
        subject.session.setSessionControl(SessionFixture::controlOf(subject.speakers).get());
        simulated::clearCalls();
        subject.session.refreshSessionInfo();
        QCOMPARE(
            simulated::calls().filter(" 1").filter("IAudioSession"),
            QStringList(
                {"IAudioSessionControl2::GetSessionIdentifier 1",
                 "IAudioSessionControl2::GetSessionInstanceIdentifier 1",
                 "IAudioSessionControl::GetDisplayName 1", "IAudioSessionControl::GetIconPath 1",
                 "IAudioSessionControl2::GetProcessId 1", "IAudioSessionControl2::GetProcessId 1",
                 "IAudioSessionControl2::GetProcessId 1",
                 "IAudioSessionControl::GetGroupingParam 1", "IAudioSessionControl::GetState 1",
                 "IAudioSessionControl2::IsSystemSoundsSession 1"}));
    }

    void nameAndPathAreFoundOutOnce()
    {
        Subject subject;
        subject.start();
        SessionFixture::addApplication(playerId, "Another", "C:\\another.exe");
        QCOMPARE(subject.session.getSessionProcessName(), "Player");
        QCOMPARE(subject.session.getSessionProcessFileName(), "C:\\Programs\\player.exe");
        QCOMPARE(simulated::countCalls("OpenProcess"), 0);
    }

    void pathIsNotKeptByItsReader()
    {
        Subject subject;
        subject.session.setSessionControl(SessionFixture::controlOf(subject.speakers).get());
        QCOMPARE(subject.session.getSessionProcessFileName(), "C:\\Programs\\player.exe");
        SessionFixture::addApplication(playerId, "Another", "C:\\another.exe");
        QCOMPARE(subject.session.getSessionProcessFileName(), "C:\\another.exe");
    }

    void processZeroHasNoName()
    {
        Subject subject({.processId = 0});
        subject.start();
        simulated::clearCalls();
        QCOMPARE(subject.session.getSessionProcessName(), "");
        QCOMPARE(subject.session.getSessionProcessFileName(), "");
        QCOMPARE(simulated::countCalls("OpenProcess"), 0);
    }

    void events_data()
    {
        QTest::addColumn<std::function<void(int)>>("raise");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const std::function<void(int)> &raise,
                            const QString &expected) { QTest::newRow(name) << raise << expected; };
        row(
            "display name", [](int number) { simulated::notifyDisplayName(number, "New"); },
            "sigDisplayNameChanged(endpoint, id, instance, 101, Player, New)");
        row(
            "icon path", [](int number) { simulated::notifyIconPath(number, "new.ico"); },
            "sigIconPathChanged(endpoint, id, instance, 101, Player, new.ico)");
        row(
            "active", [](int number) { simulated::notifySessionState(number, 1); },
            "sigAudioSessionStateActive(endpoint, id, instance, 1-2-3-45678910, 101, Player, " +
                iconPrefix + ")");
        row(
            "inactive", [](int number) { simulated::notifySessionState(number, 0); },
            "sigAudioSessionStateInactive(endpoint, id, instance, 1-2-3-45678910, 101, Player, )");
        row(
            "expired", [](int number) { simulated::notifySessionState(number, 2); },
            "sigAudioSessionStateExpired(object, endpoint, id, instance, 1-2-3-45678910, 101, "
            "Player, )");
        row(
            "disconnected", [](int number) { simulated::notifyDisconnected(number, 1); },
            "sigAudioSessionDisconnected(object, endpoint, id, instance, 1-2-3-45678910, 101, "
            "Player, server shut down)");
        row(
            "grouping",
            [](int number) {
                simulated::notifyGroupingParam(number, GUID{7, 0, 0, {8, 0, 0, 0, 0, 0, 0, 0}},
                                               GUID_NULL);
            },
            "sigGroupingParamChanged(endpoint, id, instance, 101, Player, 1-2-3-45678910, 7-8)");
    }
    void events()
    {
        QFETCH(std::function<void(int)>, raise);
        QFETCH(QString, expected);
        Subject subject(grouped());
        subject.session.setAudioEndpointID("endpoint");
        subject.start();
        raise(subject.number);
        QCOMPARE(subject.signalLog.takeSettled(subject.session), QStringList(expected));

        // A session that no longer answers tells what it remembers.
        simulated::removeSession(subject.number);
        raise(subject.number);
        const QStringList later = subject.signalLog.takeSettled(subject.session);
        if (expected.startsWith("sigGroupingParamChanged"))
            QCOMPARE(later, QStringList("sigGroupingParamChanged(endpoint, id, instance, 101, "
                                        "Player, 7-8, 7-8)"));
        else
            QCOMPARE(later, QStringList(expected));
    }

    void unusableValuesAreReplaced_data()
    {
        QTest::addColumn<std::function<void(simulated::Session &)>>("spoil");
        using Session = simulated::Session;
        const auto row = [](const char *name, const std::function<void(Session &)> &spoil) {
            QTest::newRow(name) << spoil;
        };
        row("identifier", [](Session &session) { session.identifier.clear(); });
        row("instance", [](Session &session) { session.instanceIdentifier.clear(); });
        row("process", [](Session &session) { session.processId = 0; });
        row("grouping", [](Session &session) { session.groupingParam = GUID_NULL; });
    }
    void unusableValuesAreReplaced()
    {
        QFETCH(std::function<void(simulated::Session &)>, spoil);
        Subject subject(grouped());
        subject.start();
        simulated::changeSession(subject.number, spoil);
        simulated::notifySessionState(subject.number, 0);
        QCOMPARE(subject.signalLog.takeSettled(subject.session),
                 QStringList("sigAudioSessionStateInactive(, id, instance, 1-2-3-45678910, 101, "
                             "Player, )"));
    }

    void liveValuesComeFirst()
    {
        Subject subject(grouped());
        subject.start();
        simulated::changeSession(subject.number, [](simulated::Session &session) {
            session.identifier = "id2";
            session.instanceIdentifier = "instance2";
            session.processId = 5;
            session.groupingParam = GUID{9, 0, 0, {}};
        });
        simulated::notifySessionState(subject.number, 0);
        QCOMPARE(subject.signalLog.takeSettled(subject.session),
                 QStringList("sigAudioSessionStateInactive(, id2, instance2, 9-0-0-00000000, 5, "
                             "Player, )"));
    }

    void zeroGroupingIsTheRememberedOneInAnEvent()
    {
        Subject subject;
        subject.start();
        QCOMPARE(subject.session.getAudioSessionInfo().value("sessionGroupingParam"), noGrouping);
        simulated::notifyGroupingParam(subject.number, GUID{7, 0, 0, {8, 0, 0, 0, 0, 0, 0, 0}},
                                       GUID_NULL);
        simulated::notifySessionState(subject.number, 1);
        const QStringList raised = subject.signalLog.takeSettled(subject.session);
        QCOMPARE(raised.size(), 2);
        QVERIFY2(raised.at(1).contains(", 7-8, 101"), qPrintable(raised.at(1)));
    }

    void volumesRaiseNothing()
    {
        Subject subject;
        subject.start();
        simulated::notifySimpleVolume(subject.number, 0.5f, false);
        simulated::notifyChannelVolume(subject.number, {0.5f, 0.25f}, 1);
        QCOMPARE(subject.signalLog.takeSettled(subject.session), QStringList());
        QCOMPARE(subject.log.lines().filter("VolumeChanged").size(), 4);
    }

    void aReleaseWaitsForAReader_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<std::function<void(AudioSession &)>>("read");
        const auto row = [](const char *call, const std::function<void(AudioSession &)> &read) {
            QTest::newRow(call) << QString(call) << read;
        };
        row("IAudioSessionControl2::GetSessionIdentifier",
            [](AudioSession &session) { static_cast<void>(session.getSessionIdentifier()); });
        row("IAudioSessionControl::GetGroupingParam",
            [](AudioSession &session) { static_cast<void>(session.getSessionGroupingParam()); });
        row("IAudioSessionControl::GetState",
            [](AudioSession &session) { static_cast<void>(session.getSessionState()); });
        row("IAudioSessionControl2::GetProcessId",
            [](AudioSession &session) { static_cast<void>(session.getSessionProcessId()); });
        row("IAudioSessionControl2::IsSystemSoundsSession",
            [](AudioSession &session) { static_cast<void>(session.isSystemSoundsSession()); });
        // The name and the path are found out under the lock, however long that takes.
        row("GetFileVersionInfoW",
            [](AudioSession &session) { static_cast<void>(session.getSessionProcessName()); });
        row("QueryFullProcessImageNameW",
            [](AudioSession &session) { static_cast<void>(session.getSessionProcessFileName()); });
    }
    void aReleaseWaitsForAReader()
    {
        QFETCH(QString, call);
        QFETCH(std::function<void(AudioSession &)>, read);
        Subject subject;
        subject.session.setSessionControl(SessionFixture::controlOf(subject.speakers).get());
        std::future<void> release;
        bool released = true;
        simulated::onCall(call, [&] {
            if (release.valid())
                return;
            release =
                std::async(std::launch::async, [&] { subject.session.releaseSessionControl(); });
            // A lock that is held stays held until the look is over.
            const auto bound = std::chrono::milliseconds(300);
            released = release.wait_for(bound) == std::future_status::ready;
        });
        read(subject.session);
        QVERIFY(release.valid());
        QVERIFY(!released);
        release.get();
        simulated::reset(); // the action must not outlive what it captured
    }

    void nothingIsHeardAfterTheRelease()
    {
        Subject subject;
        subject.start();
        subject.session.releaseSessionControl();
        simulated::notifySessionState(subject.number, 1);
        QCOMPARE(subject.signalLog.takeSettled(subject.session), QStringList());
    }

private:
    /// A session whose grouping has a text that tells its parts apart.
    static simulated::Session grouped()
    {
        return {.identifier = "id",
                .instanceIdentifier = "instance",
                .groupingParam = {1, 2, 3, {4, 5, 6, 7, 8, 9, 1, 0}}};
    }

    static QJsonObject withoutControlInfo()
    {
        return {{"inDefaultEndpoint", false},      {"audioEndpointID", ""},
                {"isSystemSoundsSession", 0},      {"sessionIdentifier", ""},
                {"sessionInstanceIdentifier", ""}, {"sessionDisplayName", ""},
                {"sessionIconPath", ""},           {"sessionState", "AudioSessionStateExpired"},
                {"sessionProcessId", -1},          {"sessionProcessName", ""},
                {"sessionProcessFileName", ""},    {"sessionProcessFileIcon", iconPrefix},
                {"sessionGroupingParam", ""}};
    }
};

QTEST_GUILESS_MAIN(TestAudioSession)
#include "tst_audiosession.moc"
