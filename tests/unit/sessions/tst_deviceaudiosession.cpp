// The sessions of one endpoint: which are listed, how the list is kept, and what it tells.
#include "platform/posix/offered.h"
#include "sessions/audiosession.h"
#include "sessions/deviceaudiosession.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <future>
#include <memory>
#include <vector>

namespace
{

struct Subject : SessionFixture
{
    simulated::SessionNumber add(DWORD processId)
    {
        return simulated::addSession({.endpointId = speakers, .processId = processId});
    }

    DeviceAudioSession &start(bool capture = false)
    {
        device = std::make_unique<DeviceAudioSession>(capture, speakers, managerOf(speakers).get());
        signalLog.listen(*device, "sigSessionCreated", &DeviceAudioSession::sigSessionCreated);
        signalLog.listen(*device, "sigUpdateDeviceAudioSessionInfos",
                         &DeviceAudioSession::sigUpdateDeviceAudioSessionInfos);
        listenToEvents(signalLog, *device);
        return *device;
    }

    /// The names of the listed sessions, in order.
    QStringList names()
    {
        QStringList found;
        for (const QJsonValue &info : device->getDeviceAudioSessionInfos())
            found.append(info["sessionProcessName"].toString());
        return found;
    }

    QStringList updates(int sessions) const
    {
        return {QString("sigUpdateDeviceAudioSessionInfos(%1, [%2])").arg(speakers).arg(sessions)};
    }

    SignalLog signalLog;
    std::unique_ptr<DeviceAudioSession> device;
};

/// A session manager without sessions, which shows who listens for new ones.
class EmptyManager : public posix::Offered<IAudioSessionManager2>::Type
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetSessionEnumerator(IAudioSessionEnumerator **) override
    {
        return E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE RegisterSessionNotification(IAudioSessionNotification *sink) override
    {
        listener = dynamic_cast<QObject *>(sink);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE UnregisterSessionNotification(IAudioSessionNotification *) override
    {
        listener = nullptr;
        return S_OK;
    }

    QPointer<QObject> listener;
};

} // namespace

class TestDeviceAudioSession : public QObject
{
    Q_OBJECT

private slots:
    void methodsStandInOrder()
    {
        const QString session = "QString,QString,QString,QString,int,QString,";
        const QString state = "QString,QString,QString,QString,QString,int,QString,QString)";
        const QString own = "QString,QString,QString,int,QString,";
        const QString ownState = "QString,QString,QString,QString,int,QString,QString)";
        QCOMPARE(
            signaturesOf(DeviceAudioSession::staticMetaObject),
            QStringList(
                {"sigSessionCreated(QString)",
                 "sigUpdateDeviceAudioSessionInfos(QString,QJsonArray)",
                 "sigAudioSessionInfoChanged(QString,QJsonObject)",
                 "sigDisplayNameChanged(" + session + "QString)",
                 "sigIconPathChanged(" + session + "QString)",
                 "sigGroupingParamChanged(" + session + "QString,QString)",
                 "sigAudioSessionStateActive(" + state, "sigAudioSessionStateInactive(" + state,
                 "sigAudioSessionStateExpired(" + state, "sigAudioSessionDisconnected(" + state,
                 "onSessionCreated()", "onAudioSessionInfoChanged(QJsonObject)",
                 "onDisplayNameChanged(" + own + "QString)",
                 "onIconPathChanged(" + own + "QString)",
                 "onGroupingParamChanged(" + own + "QString,QString)",
                 "onAudioSessionStateActive(" + ownState, "onAudioSessionStateInactive(" + ownState,
                 "onAudioSessionStateExpired(AudioSession*," + ownState,
                 "onAudioSessionDisconnected(AudioSession*," + ownState}));
    }

    void listsTheEndpointsSessions()
    {
        Subject subject;
        subject.add(playerId);
        simulated::addSession({.endpointId = subject.headset, .processId = browserId});
        subject.add(gameId);
        subject.start();
        QCOMPARE(subject.names(), QStringList({"Player", "Game"}));
        QVERIFY(!subject.device->isCapture());
        QCOMPARE(subject.device->getDeviceID(), subject.speakers);
    }

    void startAndEndCallInOrder()
    {
        Subject subject;
        const auto number = subject.add(playerId);
        const auto manager = SessionFixture::managerOf(subject.speakers);
        simulated::clearCalls();
        auto device = std::make_unique<DeviceAudioSession>(true, subject.speakers, manager.get());
        const QStringList starting = simulated::calls().filter("IAudioSession");
        QCOMPARE(starting.first(), "IAudioSessionManager2::RegisterSessionNotification");
        QCOMPARE(starting.at(1), "IAudioSessionManager2::GetSessionEnumerator");
        QVERIFY(starting.contains("release IAudioSessionEnumerator"));
        QCOMPARE(simulated::sessionSinks(number), 1);
        QCOMPARE(simulated::newSessionSinks(subject.speakers), 1);
        QVERIFY(device->isCapture());

        simulated::clearCalls();
        device.reset();
        QCOMPARE(simulated::calls(),
                 QStringList({"IAudioSessionControl::UnregisterAudioSessionNotification 1",
                              "release IAudioSessionControl",
                              "IAudioSessionManager2::UnregisterSessionNotification"}));
        QCOMPARE(simulated::sessionSinks(number), 0);
        QCOMPARE(simulated::newSessionSinks(subject.speakers), 0);
    }

    void leavesNothingBehind()
    {
        Subject subject;
        subject.add(playerId);
        subject.add(gameId);
        subject.add(0);
        subject.start();
        subject.device->refreshDeviceAudioSession(true);
        subject.device->refreshDeviceAudioSession(false);
        subject.device.reset();
        settle(*this);
        QCOMPARE(simulated::leakReport(), QString());
    }

    void dropsWhatIsNotShown_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("systemSounds");
        QTest::addColumn<bool>("shown");
        QTest::newRow("a player") << "Player"
                                  << "C:\\player.exe" << false << true;
        QTest::newRow("the system sounds") << "Player"
                                           << "C:\\player.exe" << true << false;
        QTest::newRow("this program") << "Me" << ownPath() << false << false;
        QTest::newRow("Explorer in another case") << "Shell"
                                                  << "C:\\EXPLORER.exe" << false << false;
        QTest::newRow("no name") << ""
                                 << "C:\\player.exe" << false << false;
    }
    void dropsWhatIsNotShown()
    {
        QFETCH(QString, name);
        QFETCH(QString, path);
        QFETCH(bool, systemSounds);
        QFETCH(bool, shown);
        Subject subject;
        SessionFixture::addApplication(7, name, path);
        const auto number = simulated::addSession({.endpointId = subject.speakers,
                                                   .processId = systemSounds ? 0u : 7u,
                                                   .systemSounds = systemSounds});
        subject.start();
        QCOMPARE(subject.names().size(), shown ? 1 : 0);
        QCOMPARE(simulated::sessionSinks(number), shown ? 1 : 0);
        QCOMPARE(subject.log.lines(), QStringList());
    }

    void foreignSessionsAreLoggedAndDropped_data()
    {
        QTest::addColumn<bool>("identifier");
        QTest::addColumn<bool>("ownCase");
        QTest::newRow("identifier") << true << true;
        QTest::newRow("instance identifier") << false << true;
        QTest::newRow("case counts") << true << false;
    }
    void foreignSessionsAreLoggedAndDropped()
    {
        QFETCH(bool, identifier);
        QFETCH(bool, ownCase);
        Subject subject;
        // An ID that holds letters, for the case to tell.
        subject.speakers = simulated::addEndpoint({.id = "{0.0.0.00000000}.{abcd}"});
        const QString foreign =
            ownCase ? subject.headset + "|x" : subject.speakers.toUpper() + "|x";
        simulated::Session session{.endpointId = subject.speakers, .processId = playerId};
        (identifier ? session.identifier : session.instanceIdentifier) = foreign;
        if (identifier)
            session.instanceIdentifier = subject.speakers + "|instance";
        simulated::addSession(session);
        subject.start();
        QCOMPARE(subject.names(), QStringList());
        QCOMPARE(subject.log.lines(),
                 QStringList("Info: Not the audio session of the current device: \"Player\" "
                             "\"C:\\\\Programs\\\\player.exe\""));
    }

    void refreshOfAnUnchangedSystem()
    {
        Subject subject;
        subject.add(playerId);
        subject.add(gameId);
        subject.start();
        subject.device->refreshDeviceAudioSession(false);
        QCOMPARE(subject.log.take(), QStringList({"Info: Repetitive audio session: \"Player\" "
                                                  "\"C:\\\\Programs\\\\player.exe\"",
                                                  "Info: Repetitive audio session: \"Game\" "
                                                  "\"C:\\\\Programs\\\\game.exe\""}));
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), QStringList());

        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(subject.log.take(), QStringList());
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), subject.updates(2));
        QCOMPARE(subject.names(), QStringList({"Player", "Game"}));
    }

    void refreshFindsTheNewOne()
    {
        Subject subject;
        subject.add(playerId);
        subject.start();
        subject.add(gameId);
        subject.device->refreshDeviceAudioSession(false);
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), subject.updates(2));
        QCOMPARE(subject.names(), QStringList({"Player", "Game"}));
    }

    void goneSessionsStayUntilAReset()
    {
        Subject subject;
        const auto number = subject.add(playerId);
        subject.start();
        simulated::removeSession(number);
        subject.device->refreshDeviceAudioSession(false);
        QCOMPARE(subject.names().size(), 1);
        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(subject.names().size(), 0);
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), subject.updates(0));
    }

    void anotherStateReplacesTheListedOne()
    {
        Subject subject;
        const auto number = subject.add(playerId);
        subject.start();
        // Both objects ask the same session: the listed one, which asks first, gets no answer.
        simulated::changeSession(
            number, [](simulated::Session &session) { session.state = AudioSessionStateInactive; });
        simulated::failNext("IAudioSessionControl::GetState 1", 0x80004005);
        subject.device->refreshDeviceAudioSession(false);
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), subject.updates(1));
        QCOMPARE(subject.log.lines(), QStringList());
        QCOMPARE(simulated::sessionSinks(number), 1);
        QCOMPARE(subject.device->getDeviceAudioSessionInfos().first()["sessionState"].toString(),
                 "AudioSessionStateInactive");
    }

    void repeats_data()
    {
        QTest::addColumn<std::function<void(simulated::Session &)>>("differ");
        QTest::addColumn<bool>("repeats");
        using Session = simulated::Session;
        const auto row = [](const char *name, const std::function<void(Session &)> &differ,
                            bool repeats) { QTest::newRow(name) << differ << repeats; };
        row(
            "the same", [](Session &) {}, true);
        row(
            "another identifier", [](Session &session) { session.identifier += "x"; }, false);
        row(
            "another instance", [](Session &session) { session.instanceIdentifier += "x"; }, false);
        row(
            "another process", [](Session &session) { session.processId = gameId; }, false);
        row(
            "another grouping", [](Session &session) { session.groupingParam.Data1 = 1; }, false);
        row(
            "another display name", [](Session &session) { session.displayName = "x"; }, true);
        row(
            "another state", [](Session &session) { session.state = AudioSessionStateInactive; },
            false);
    }
    void repeats()
    {
        QFETCH(std::function<void(simulated::Session &)>, differ);
        Subject subject;
        simulated::Session description = simulated::session(subject.add(playerId));
        subject.start();
        differ(description);
        const auto number = simulated::addSession(description);
        AudioSession candidate;
        candidate.setSessionControl(SessionFixture::controlOf(subject.speakers, 1).get());
        QTEST(subject.device->isRepetitiveAudioSession(&candidate), "repeats");
        candidate.releaseSessionControl();
        QCOMPARE(simulated::sessionSinks(number), 0);
    }
    void resetListsRepeatsToo()
    {
        Subject subject;
        const simulated::Session description = simulated::session(subject.add(playerId));
        simulated::addSession(description);
        subject.start();
        QCOMPARE(subject.names().size(), 2);
        QVERIFY(subject.log.lines().filter("Repetitive audio session:").isEmpty());
        // Against the list that a reset has built, both are repeats.
        subject.device->refreshDeviceAudioSession(false);
        QCOMPARE(subject.names().size(), 2);
        QCOMPARE(subject.log.lines().filter("Repetitive audio session:").size(), 2);
    }
    void nullNeverRepeats()
    {
        Subject subject;
        subject.add(playerId);
        subject.start();
        QVERIFY(!subject.device->isRepetitiveAudioSession(nullptr));
    }

    void burstOfNewSessionsGivesOneRefresh()
    {
        Subject subject;
        subject.start();
        simulated::clearCalls();
        QElapsedTimer sinceFirst;
        sinceFirst.start();
        for (int count = 0; count < 10; ++count)
            simulated::notifySessionCreated(subject.speakers, subject.add(playerId));
        simulated::drain();
        QCOMPARE(simulated::countCalls("IAudioSessionManager2::GetSessionEnumerator"), 0);
        QCOMPARE(subject.signalLog.take(1), subject.updates(10));
        QVERIFY2(sinceFirst.elapsed() >= 500, qPrintable(QString::number(sinceFirst.elapsed())));
        QTest::qWait(700);
        QCOMPARE(simulated::countCalls("IAudioSessionManager2::GetSessionEnumerator"), 1);
    }

    void laterCallDoesNotDelayTheRefresh()
    {
        Subject subject;
        subject.start();
        subject.add(playerId);
        simulated::clearCalls();
        // Calls that never pause for 500 ms would hold a restarted clock up for ever.
        subject.device->onSessionCreated();
        QElapsedTimer calling;
        calling.start();
        while (calling.elapsed() < 10000 &&
               simulated::countCalls("IAudioSessionManager2::GetSessionEnumerator") == 0) {
            subject.device->onSessionCreated();
            QTest::qWait(20);
        }
        QVERIFY(simulated::countCalls("IAudioSessionManager2::GetSessionEnumerator") > 0);
    }

    void refreshIsOfferedAgainAfterwards()
    {
        Subject subject;
        subject.start();
        subject.add(playerId);
        subject.device->onSessionCreated();
        QCOMPARE(subject.signalLog.take(1), subject.updates(1));
        subject.add(gameId);
        subject.device->onSessionCreated();
        QCOMPARE(subject.signalLog.take(1), subject.updates(2));
        // The one that was there already stays as it is.
        QCOMPARE(subject.log.lines().filter("Repetitive audio session:").size(), 1);
    }

    void listenerKnowsItsEndpoint()
    {
        EmptyManager manager;
        {
            const DeviceAudioSession device(false, "{endpoint}", &manager);
            QVERIFY(manager.listener);
            QCOMPARE(manager.listener->property("deviceID").toString(), "{endpoint}");
        }
        QVERIFY(!manager.listener);
    }

    void nullSessionStartsNothing()
    {
        Subject subject;
        subject.start();
        simulated::clearCalls();
        simulated::notifySessionCreated(subject.speakers, 0);
        settle(*subject.device);
        QTest::qWait(700);
        QCOMPARE(simulated::countCalls("IAudioSessionManager2::GetSessionEnumerator"), 0);
    }

    void refreshTimerCanBeGone()
    {
        Subject subject;
        subject.add(gameId);
        subject.start();
        delete subject.device->findChild<QTimer *>();
        subject.add(playerId);
        QElapsedTimer sinceCall;
        sinceCall.start();
        subject.device->onSessionCreated();
        QCOMPARE(subject.signalLog.take(1), subject.updates(2));
        QVERIFY(sinceCall.elapsed() >= 475); // a coarse timer may be 5 percent early
        QCOMPARE(subject.log.lines().filter("Repetitive audio session:").size(), 1);
    }

    void refreshTimerIsPrecise()
    {
        Subject subject;
        subject.start();
        const auto *timer = subject.device->findChild<QTimer *>();
        QVERIFY(timer);
        QCOMPARE(timer->timerType(), Qt::PreciseTimer);
        QCOMPARE(timer->interval(), 500);
        QVERIFY(!timer->isActive());
    }

    void endedSessionLeavesTheList_data()
    {
        QTest::addColumn<bool>("expired");
        QTest::newRow("expired") << true;
        QTest::newRow("disconnected") << false;
    }
    void endedSessionLeavesTheList()
    {
        QFETCH(bool, expired);
        Subject subject;
        const auto number = subject.add(playerId);
        subject.add(gameId);
        subject.start();
        const QString identity = QString("(%1, , %1|program101, %1|program101|1, %2, 101, Player, ")
                                     .arg(subject.speakers, noGrouping);
        if (expired) {
            simulated::notifySessionState(number, AudioSessionStateExpired);
            QCOMPARE(subject.signalLog.takeSettled(*subject.device),
                     QStringList("sigAudioSessionStateExpired" + identity + ")"));
        } else {
            simulated::notifyDisconnected(number, DisconnectReasonFormatChanged);
            QCOMPARE(subject.signalLog.takeSettled(*subject.device),
                     QStringList("sigAudioSessionDisconnected" + identity + "format changed)"));
        }
        QCOMPARE(subject.names(), QStringList("Game"));
        QCOMPARE(simulated::sessionSinks(number), 0);
    }

    void endOfAnUnlistedSessionIsToldAllTheSame()
    {
        Subject subject;
        subject.add(playerId);
        subject.start();
        AudioSession stranger;
        subject.device->onAudioSessionStateExpired(&stranger, "a", "b", "c", "d", 1, "e", "f");
        subject.device->onAudioSessionDisconnected(nullptr, "a", "b", "c", "d", 1, "e", "f");
        const QString arguments = "(" + subject.speakers + ", a, b, c, d, 1, e, f)";
        QCOMPARE(subject.signalLog.takeSettled(*subject.device),
                 QStringList({"sigAudioSessionStateExpired" + arguments,
                              "sigAudioSessionDisconnected" + arguments}));
        QCOMPARE(subject.names(), QStringList("Player"));
    }

    void eventsCarryTheEndpoint()
    {
        Subject subject;
        const auto number = subject.add(playerId);
        subject.start();
        simulated::notifyDisplayName(number, "Name");
        simulated::notifyIconPath(number, "Icon");
        simulated::notifyGroupingParam(number, GUID{1, 0, 0, {2}}, GUID_NULL);
        simulated::notifySessionState(number, 1);
        simulated::notifySessionState(number, 0);
        const QString identity =
            QString("%1, , %1|program101, %1|program101|1, ").arg(subject.speakers);
        QCOMPARE(
            subject.signalLog.takeSettled(*subject.device),
            QStringList(
                {"sigDisplayNameChanged(" + identity + "101, Player, Name)",
                 "sigIconPathChanged(" + identity + "101, Player, Icon)",
                 "sigGroupingParamChanged(" + identity + "101, Player, " + noGrouping + ", 1-2)",
                 "sigAudioSessionStateActive(" + identity + "1-2, 101, Player, " + iconPrefix + ")",
                 "sigAudioSessionStateInactive(" + identity + "1-2, 101, Player, )"}));
        subject.device->onAudioSessionInfoChanged({{"key", 1}});
        QCOMPARE(subject.signalLog.take(1),
                 QStringList("sigAudioSessionInfoChanged(" + subject.speakers + ", {1})"));
    }

    void faults_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("listed");
        QTest::newRow("no enumerator") << "IAudioSessionManager2::GetSessionEnumerator" << 0;
        QTest::newRow("no count") << "IAudioSessionEnumerator::GetCount" << 0;
        QTest::newRow("one session") << "IAudioSessionEnumerator::GetSession 0" << 1;
        QTest::newRow("no process") << "IAudioSessionControl2::GetProcessId 1" << 1;
        QTest::newRow("no extended control")
            << "IAudioSessionControl::QueryInterface IAudioSessionControl2" << 0;
        QTest::newRow("no sink") << "IAudioSessionManager2::RegisterSessionNotification" << 2;
        QTest::newRow("no event sink")
            << "IAudioSessionControl::RegisterAudioSessionNotification" << 2;
    }
    void faults()
    {
        QFETCH(QString, call);
        QFETCH(int, listed);
        Subject subject;
        subject.add(playerId);
        subject.add(gameId);
        simulated::failAlways(call, 0x80004005);
        subject.start();
        QCOMPARE(subject.names().size(), listed);
        // The list was emptied first, so that it has changed whatever came after.
        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(subject.signalLog.takeSettled(*subject.device), subject.updates(listed));
        simulated::clearFaults();
        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(subject.names(), QStringList({"Player", "Game"}));
        subject.device.reset();
        settle(*this);
        QCOMPARE(simulated::leakReport(), QString());
    }

    void othersWaitForARefresh_data()
    {
        QTest::addColumn<std::function<void(DeviceAudioSession &)>>("other");
        const auto row = [](const char *name,
                            const std::function<void(DeviceAudioSession &)> &other) {
            QTest::newRow(name) << other;
        };
        row("a reader", [](DeviceAudioSession &device) {
            static_cast<void>(device.getDeviceAudioSessionInfos());
        });
        row("a removal", [](DeviceAudioSession &device) {
            AudioSession stranger;
            device.onAudioSessionStateExpired(&stranger, "", "", "", "", 1, "", "");
        });
    }
    void othersWaitForARefresh()
    {
        QFETCH(std::function<void(DeviceAudioSession &)>, other);
        Subject subject;
        subject.add(playerId);
        subject.start();
        QList<bool> served;
        std::vector<std::future<void>> others;
        simulated::onCall("IAudioSessionEnumerator::GetSession", [&] {
            others.push_back(std::async(std::launch::async, [&] { other(*subject.device); }));
            // A lock that is held stays held until the look is over.
            const auto bound = std::chrono::milliseconds(300);
            served.append(others.back().wait_for(bound) == std::future_status::ready);
        });
        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(served, QList<bool>({false}));
        others.front().get();
        QCOMPARE(subject.names(), QStringList("Player"));
        simulated::reset(); // the action must not outlive what it captured
    }

    void sessionsEndOnTheirOwnThread()
    {
        Subject subject;
        const auto number = subject.add(playerId);
        subject.start();
        QThread *endedOn = nullptr;
        const auto listen = [&] {
            endedOn = nullptr;
            const auto sinks = simulated::sinksOfSession(number);
            QCOMPARE(sinks.size(), 1);
            // The session's own, which goes with it.
            connect(
                dynamic_cast<QObject *>(sinks.first()), &QObject::destroyed, this,
                [&] { endedOn = QThread::currentThread(); }, Qt::DirectConnection);
        };
        QThread thread;
        QObject there;
        there.moveToThread(&thread);
        thread.start();

        // One of this thread is ended by a refresh on another, which leaves the end to this one.
        listen();
        std::promise<void> refreshed;
        QMetaObject::invokeMethod(
            &there,
            [&] {
                subject.device->refreshDeviceAudioSession(true);
                refreshed.set_value();
            },
            Qt::QueuedConnection);
        refreshed.get_future().wait();
        QVERIFY(!endedOn);
        // It is not heard any more all the same.
        QCOMPARE(simulated::sessionSinks(number), 1);
        settle(*subject.device);
        QCOMPARE(endedOn, QThread::currentThread());

        // And the other way round, for the session that this refresh has made.
        listen();
        subject.device->refreshDeviceAudioSession(true);
        thread.quit();
        thread.wait();
        QCOMPARE(endedOn, &thread);

        // On the session's own thread it is over at once.
        listen();
        subject.device->refreshDeviceAudioSession(true);
        QCOMPARE(endedOn, QThread::currentThread());
    }

    void withoutASessionManager()
    {
        Subject subject;
        subject.add(playerId);
        DeviceAudioSession device(false, subject.speakers, nullptr);
        device.refreshDeviceAudioSession(true);
        QCOMPARE(device.getDeviceAudioSessionInfos().size(), 0);
    }

private:
    static QString ownPath()
    {
        return QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    }
};

QTEST_GUILESS_MAIN(TestDeviceAudioSession)
#include "tst_deviceaudiosession.moc"
