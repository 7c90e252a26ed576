// The sessions of all endpoints: the lists, the endpoints that come and go, and the events.
#include "sessions/audiosessionmanager.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QPointer>
#include <QTest>
#include <QThread>

#include <future>
#include <memory>
#include <vector>

namespace
{

const char *const enumeratorCall = "IAudioSessionManager2::GetSessionEnumerator";

struct Subject : SessionFixture
{
    simulated::SessionNumber add(const QString &endpointId, DWORD processId)
    {
        return simulated::addSession({.endpointId = endpointId, .processId = processId});
    }

    AudioSessionManager &start(bool useWorkerThread = true)
    {
        manager = makeManager(useWorkerThread);
        using Manager = AudioSessionManager;
        signalLog.listen(*manager, "sigPrintfLog", &Manager::sigPrintfLog);
        signalLog.listen(*manager, "sigUpdateAudioSessionInfos",
                         &Manager::sigUpdateAudioSessionInfos);
        signalLog.listen(*manager, "sigUpdateDeviceAudioSessionInfos",
                         &Manager::sigUpdateDeviceAudioSessionInfos);
        listenToEvents(signalLog, *manager);
        signalLog.listen(*manager, "sigFinishSetAppDefaultAudioEndpoint",
                         &Manager::sigFinishSetAppDefaultAudioEndpoint);
        simulated::clearCalls();
        return *manager;
    }

    QStringList signalsSoFar() { return signalLog.takeSettled(*manager); }

    /// The endpoints whose sessions were read since the last time, in order.
    static QStringList takeRefreshed()
    {
        QStringList endpoints;
        for (const simulated::Call &call : simulated::callRecords()) {
            if (call.text == enumeratorCall)
                endpoints.append(call.endpointId);
        }
        simulated::clearCalls();
        return endpoints;
    }

    static QString update(const QString &endpointId, int sessions)
    {
        return QString("sigUpdateDeviceAudioSessionInfos(%1, [%2])").arg(endpointId).arg(sessions);
    }

    SignalLog signalLog;
    QSharedPointer<AudioSessionManager> manager;
};

} // namespace

class TestAudioSessionManager : public QObject
{
    Q_OBJECT

private slots:
    void methodsStandInOrder()
    {
        const QStringList signatures = signaturesOf(AudioSessionManager::staticMetaObject);
        const QString names = "QString,QString,QString,QString";
        QCOMPARE(signatures.mid(0, 15),
                 QStringList({
                     "sigPrintfLog(QString)",
                     "sigUpdateAudioSessionInfos(QJsonObject)",
                     "sigUpdateDeviceAudioSessionInfos(QString,QJsonArray)",
                     "sigAudioSessionInfoChanged(QString,QJsonObject)",
                     "sigDisplayNameChanged(" + names + ",int,QString,QString)",
                     "sigIconPathChanged(" + names + ",int,QString,QString)",
                     "sigGroupingParamChanged(" + names + ",int,QString,QString,QString)",
                     "sigAudioSessionStateActive(" + names + ",QString,int,QString,QString)",
                     "sigAudioSessionStateInactive(" + names + ",QString,int,QString,QString)",
                     "sigAudioSessionStateExpired(" + names + ",QString,int,QString,QString)",
                     "sigAudioSessionDisconnected(" + names + ",QString,int,QString,QString)",
                     "sigFinishSetAppDefaultAudioEndpoint(QString,QString,bool)",
                     "tryToUpdateAudioSessionsInfos()",
                     "tryToUpdateDeviceAudioSessionsInfo(QString)",
                     "tryToUpdateDeviceAudioSessionsVolumeOrMute(QString,BOOL,float,GUID)",
                 }));
    }

    void startCallsInOrder_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::newRow("with a worker thread") << true;
        QTest::newRow("without one") << false;
    }
    void startCallsInOrder()
    {
        QFETCH(bool, worker);
        Subject subject;
        simulated::clearCalls();
        auto manager = makeManager(worker);
        const QStringList calls = simulated::calls();
        QCOMPARE(calls.at(0), worker ? "CoInitializeEx 0" : "CoInitialize");
        QCOMPARE(calls.at(1), "CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23");
        QCOMPARE(calls.filter("IMMDeviceEnumerator::"),
                 QStringList({"IMMDeviceEnumerator::GetDefaultAudioEndpoint 0 0",
                              "IMMDeviceEnumerator::GetDefaultAudioEndpoint 1 0",
                              "IMMDeviceEnumerator::EnumAudioEndpoints 0 1",
                              "IMMDeviceEnumerator::EnumAudioEndpoints 1 1"}));
        QCOMPARE(calls.filter("IMMDevice::Activate").first(),
                 "IMMDevice::Activate IAudioSessionManager2 23");
        QCOMPARE(manager->thread() != QThread::currentThread(), worker);

        simulated::clearCalls();
        manager.reset();
        const QStringList ending = simulated::calls();
        QVERIFY(ending.indexOf("release IAudioSessionManager2") <
                ending.indexOf("release IMMDeviceEnumerator"));
        QCOMPARE(ending.last(), "CoUninitialize");
        QCOMPARE(simulated::leakReport(), QString());
    }

    void aHeldUpWorkerKeepsTheManager()
    {
        Subject subject;
        subject.add(subject.speakers, playerId);
        auto manager = makeManager();
        const QPointer<AudioSessionManager> guarded(manager.get());
        HeldThread worker(*manager, [target = manager.get(), endpoint = subject.speakers] {
            target->tryToUpdateAudioSessionsInfos();
            target->tryToUpdateDeviceAudioSessionsInfo(endpoint);
        });
        manager.reset();
        QCOMPARE(simulated::leakReport(), QString());
        QVERIFY(guarded);
        simulated::clearCalls();
        worker.letGo();
        QTRY_VERIFY_WITH_TIMEOUT(!guarded, queueMs);
        // It came back to a manager that had left the platform.
        QCOMPARE(simulated::calls(), QStringList());
    }

    void listsEveryActiveEndpoint()
    {
        Subject subject;
        subject.add(subject.speakers, playerId);
        subject.add(subject.speakers, gameId);
        subject.add(subject.microphone, browserId);
        const QString disabled =
            simulated::addEndpoint({.name = "Off", .state = DEVICE_STATE_DISABLED});
        subject.start();
        const QJsonObject all = subject.manager->getAllAudioSessionInfos(false);
        QCOMPARE(all.keys(), QStringList({subject.speakers, subject.headset, subject.microphone}));
        QCOMPARE(all.value(subject.speakers).toArray().size(), 2);
        QCOMPARE(all.value(subject.headset), QJsonValue(QJsonArray()));
        QCOMPARE(all.value(subject.microphone).toArray(),
                 subject.manager->getDeviceAudioSessionInfos(subject.microphone));
        QCOMPARE(all.value(subject.microphone).toArray().first()["sessionProcessName"].toString(),
                 "Browser");
        QVERIFY(subject.manager->getDeviceAudioSessionInfos(disabled).isEmpty());
        QCOMPARE(subject.signalsSoFar(), QStringList());
        QCOMPARE(Subject::takeRefreshed(), QStringList());
    }

    void resetBuildsAfresh()
    {
        Subject subject;
        subject.start();
        subject.add(subject.speakers, playerId);
        const QString late = simulated::addEndpoint({.name = "Late"});
        QVERIFY(subject.manager->getAllAudioSessionInfos(false)
                    .value(subject.speakers)
                    .toArray()
                    .isEmpty());
        const QJsonObject all = subject.manager->getAllAudioSessionInfos(true);
        QCOMPARE(all.value(subject.speakers).toArray().size(), 1);
        QVERIFY(all.contains(late));
        QCOMPARE(simulated::newSessionSinks(subject.speakers), 1);
        // The signal at the end of a reset tells of nothing.
        QCOMPARE(subject.signalsSoFar(), QStringList("sigUpdateAudioSessionInfos({0})"));
    }

    void updateOfAllTellsAll()
    {
        Subject subject;
        subject.add(subject.headset, playerId);
        subject.start();
        QVERIFY(QMetaObject::invokeMethod(subject.manager.get(), "tryToUpdateAudioSessionsInfos"));
        const QStringList raised = subject.signalsSoFar();
        QCOMPARE(raised.size(), 4);
        QCOMPARE(raised.filter("sigUpdateAudioSessionInfos"),
                 QStringList("sigUpdateAudioSessionInfos({3})"));
        QCOMPARE(
            QSet<QString>(raised.begin(), raised.end()),
            QSet<QString>({"sigUpdateAudioSessionInfos({3})", Subject::update(subject.speakers, 0),
                           Subject::update(subject.headset, 1),
                           Subject::update(subject.microphone, 0)}));
        QCOMPARE(Subject::takeRefreshed(),
                 QStringList({subject.speakers, subject.headset, subject.microphone}));
    }

    void updateOfOne()
    {
        Subject subject;
        subject.add(subject.headset, playerId);
        subject.start();
        QVERIFY(QMetaObject::invokeMethod(subject.manager.get(),
                                          "tryToUpdateDeviceAudioSessionsInfo",
                                          Q_ARG(QString, subject.headset)));
        QCOMPARE(subject.signalsSoFar(), QStringList(Subject::update(subject.headset, 1)));
        QCOMPARE(Subject::takeRefreshed(), QStringList(subject.headset));
    }

    void unknownEndpointIsSilent()
    {
        Subject subject;
        subject.start();
        subject.manager->tryToUpdateDeviceAudioSessionsInfo("unknown");
        subject.manager->removeDeviceAudioSession("unknown");
        subject.manager->tryToUpdateDeviceAudioSessionsVolumeOrMute("unknown", TRUE, 1, GUID_NULL);
        subject.manager->onRenderDeviceAdded("unknown");
        const QString lettered =
            simulated::addEndpoint({.name = "Lettered", .id = "{0.0.0.00000000}.{abc}"});
        subject.manager->onRenderDeviceAdded(lettered.toUpper());
        // Of the other direction, so not among those that are looked at.
        subject.manager->onCaptureDeviceAdded(subject.headset);
        QVERIFY(subject.manager->getDeviceAudioSessionInfos("unknown").isEmpty());
        QCOMPARE(subject.signalsSoFar(), QStringList());
        QCOMPARE(Subject::takeRefreshed(), QStringList());
        QCOMPARE(subject.log.lines(), QStringList());
        QCOMPARE(subject.manager->getAllAudioSessionInfos(false).size(), 3);
    }

    void defaults()
    {
        Subject subject;
        subject.start();
        QCOMPARE(subject.manager->getDefaultRenderDeviceID(), subject.speakers);
        QCOMPARE(subject.manager->getDefaultCaptureDeviceID(), subject.microphone);
        simulated::setDefault(eRender, subject.headset);
        QCOMPARE(subject.manager->getDefaultRenderDeviceID(), subject.headset);
        simulated::failNext("IMMDeviceEnumerator::GetDefaultAudioEndpoint 1 0", 0x80070490);
        QCOMPARE(subject.manager->getDefaultCaptureDeviceID(), "");
        simulated::failNext("IMMDevice::GetId", 0x80004005);
        QCOMPARE(subject.manager->getDefaultRenderDeviceID(), "");
    }

    void changedDefaultOutputRefreshesOldAndNew()
    {
        Subject subject;
        const QString third = simulated::addEndpoint({.name = "Third"});
        subject.start();
        subject.manager->onDefaultRenderDeviceChanged(subject.headset);
        QCOMPARE(Subject::takeRefreshed(), QStringList({subject.headset, subject.speakers}));
        subject.manager->onDefaultRenderDeviceChanged(third);
        QCOMPARE(Subject::takeRefreshed(), QStringList({third, subject.headset}));
    }

    void changedDefaultInputRefreshesTheOutput()
    {
        Subject subject;
        const QString second = simulated::addEndpoint({.name = "Second", .flow = eCapture});
        subject.start();
        subject.manager->onDefaultCaptureDeviceChanged(second);
        QCOMPARE(Subject::takeRefreshed(), QStringList({second, subject.speakers}));
        subject.manager->onDefaultCaptureDeviceChanged(subject.microphone);
        QCOMPARE(Subject::takeRefreshed(), QStringList({subject.microphone, subject.speakers}));
    }

    void arrivals_data()
    {
        QTest::addColumn<int>("flow");
        QTest::newRow("output") << int(eRender);
        QTest::newRow("input") << int(eCapture);
    }
    void arrivals()
    {
        QFETCH(int, flow);
        Subject subject;
        subject.start();
        const auto arrive = [&](const QString &id) {
            if (flow == eRender)
                subject.manager->onRenderDeviceAdded(id);
            else
                subject.manager->onCaptureDeviceAdded(id);
        };
        const QString added =
            simulated::addEndpoint({.name = "Later", .flow = static_cast<EDataFlow>(flow)});
        subject.add(added, playerId);
        arrive(added);
        QCOMPARE(subject.signalsSoFar(), QStringList(Subject::update(added, 1)));
        QCOMPARE(subject.manager->getDeviceAudioSessionInfos(added).size(), 1);
        QCOMPARE(simulated::newSessionSinks(added), 1);
        QVERIFY(simulated::calls().contains("IMMDevice::OpenPropertyStore 0"));

        // An entry that is there already isn't looked for.
        arrive(added);
        QCOMPARE(simulated::newSessionSinks(added), 2);

        // What isn't active isn't taken.
        const QString off = simulated::addEndpoint(
            {.name = "Off", .flow = static_cast<EDataFlow>(flow), .state = DEVICE_STATE_UNPLUGGED});
        arrive(off);
        QCOMPARE(simulated::newSessionSinks(off), 0);
    }

    void sessionsOfALateEndpointAreHeard()
    {
        Subject subject;
        subject.start();
        const QString added = simulated::addEndpoint({.name = "Later"});
        const auto number = subject.add(added, playerId);
        subject.manager->onRenderDeviceAdded(added);
        static_cast<void>(subject.signalsSoFar());
        simulated::notifySessionState(number, 0);
        QCOMPARE(subject.signalsSoFar().filter("sigAudioSessionStateInactive(" + added).size(), 1);
    }

    void removedEndpointTakesItsSessionsSilently()
    {
        Subject subject;
        const auto number = subject.add(subject.headset, playerId);
        subject.start();
        QCOMPARE(subject.manager->getDeviceAudioSessionInfos(subject.headset).size(), 1);
        subject.manager->removeDeviceAudioSession(subject.headset);
        QVERIFY(subject.manager->getDeviceAudioSessionInfos(subject.headset).isEmpty());
        QVERIFY(!subject.manager->getAllAudioSessionInfos(false).contains(subject.headset));
        QCOMPARE(simulated::sessionSinks(number), 0);
        QCOMPARE(simulated::newSessionSinks(subject.headset), 0);
        simulated::notifySessionState(number, 2);
        QCOMPARE(subject.signalsSoFar(), QStringList());
    }

    void newSessionIsToldWithin500ms()
    {
        Subject subject;
        subject.start();
        const auto number = subject.add(subject.speakers, playerId);
        simulated::notifySessionCreated(subject.speakers, number);
        QCOMPARE(subject.signalLog.take(1), QStringList(Subject::update(subject.speakers, 1)));
        // It is heard from now on.
        simulated::notifySessionState(number, 0);
        QCOMPARE(subject.signalsSoFar().size(), 1);
    }

    void eventsPassThrough_data()
    {
        QTest::addColumn<bool>("worker");
        QTest::addColumn<bool>("refreshedByWorker");
        QTest::newRow("without a worker thread") << false << false;
        QTest::newRow("with one") << true << false;
        // Sessions that a refresh of the manager's thread has made live there.
        QTest::newRow("with one that made the sessions") << true << true;
    }
    void eventsPassThrough()
    {
        QFETCH(bool, worker);
        QFETCH(bool, refreshedByWorker);
        Subject subject;
        const auto player = subject.add(subject.speakers, playerId);
        const auto game = subject.add(subject.headset, gameId);
        subject.start(worker);
        if (refreshedByWorker) {
            QMetaObject::invokeMethod(subject.manager.get(), "tryToUpdateAudioSessionsInfos");
            QCOMPARE(subject.signalsSoFar().size(), 4);
        }
        simulated::notifyDisplayName(player, "Name");
        simulated::notifyIconPath(player, "Icon");
        simulated::notifyGroupingParam(player, GUID{1, 0, 0, {2}}, GUID_NULL);
        simulated::notifySessionState(player, 1);
        simulated::notifySessionState(player, 0);
        simulated::notifySessionState(player, 2);
        simulated::notifyDisconnected(game, 0);
        const QString playing =
            QString("(%1, , %1|program101, %1|program101|1, ").arg(subject.speakers);
        const QString gaming =
            QString("(%1, , %1|program303, %1|program303|2, ").arg(subject.headset);
        QStringList raised = subject.signalsSoFar();
        // The disconnection, which is not deferred, may overtake.
        const QString disconnected =
            "sigAudioSessionDisconnected" + gaming + noGrouping + ", 303, Game, device removed)";
        QVERIFY2(raised.removeOne(disconnected), qPrintable(raised.join('\n')));
        QCOMPARE(
            raised,
            QStringList(
                {"sigDisplayNameChanged" + playing + "101, Player, Name)",
                 "sigIconPathChanged" + playing + "101, Player, Icon)",
                 "sigGroupingParamChanged" + playing + "101, Player, " + noGrouping + ", 1-2)",
                 "sigAudioSessionStateActive" + playing + "1-2, 101, Player, " + iconPrefix + ")",
                 "sigAudioSessionStateInactive" + playing + "1-2, 101, Player, )",
                 "sigAudioSessionStateExpired" + playing + "1-2, 101, Player, )"}));
        QVERIFY(subject.manager->getDeviceAudioSessionInfos(subject.speakers).isEmpty());
        QVERIFY(subject.manager->getDeviceAudioSessionInfos(subject.headset).isEmpty());
        subject.manager.reset();
        settle(*this);
        QCOMPARE(simulated::leakReport(), QString());
    }

    void levelsAreNeverBelowFull_data()
    {
        QTest::addColumn<float>("level");
        QTest::addColumn<QString>("set");
        QTest::newRow("silence") << 0.0f << "1";
        QTest::newRow("a third") << 0.3f << "1";
        QTest::newRow("full") << 1.0f << "1";
        QTest::newRow("beyond") << 1.5f << "1.5";
    }
    void levelsAreNeverBelowFull()
    {
        QFETCH(float, level);
        QFETCH(QString, set);
        Subject subject;
        const auto number = subject.add(subject.speakers, playerId);
        subject.add(subject.headset, gameId);
        simulated::changeSession(number,
                                 [](simulated::Session &session) { session.volume = 0.2f; });
        subject.start();
        const GUID context{1, 2, 3, {4}};
        QVERIFY(QMetaObject::invokeMethod(subject.manager.get(), [&] {
            subject.manager->tryToUpdateDeviceAudioSessionsVolumeOrMute(subject.speakers, TRUE,
                                                                        level, context);
        }));
        static_cast<void>(subject.signalsSoFar());
        QCOMPARE(simulated::calls().filter("ISimpleAudioVolume::"),
                 QStringList({"ISimpleAudioVolume::SetMute 1 1 context",
                              "ISimpleAudioVolume::SetMasterVolume 1 " + set + " context"}));
        QVERIFY(simulated::session(number).muted);
        QCOMPARE(simulated::session(number).volume, level > 1.0f ? 0.2f : 1.0f);
    }

    void levelsSkipWhatCannotBeSet_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("set");
        QTest::newRow("no enumerator") << enumeratorCall << 0;
        QTest::newRow("no count") << "IAudioSessionEnumerator::GetCount" << 0;
        QTest::newRow("one session") << "IAudioSessionEnumerator::GetSession 0" << 1;
        QTest::newRow("no extended control")
            << "IAudioSessionControl::QueryInterface IAudioSessionControl2" << 0;
        QTest::newRow("no volume")
            << "IAudioSessionControl::QueryInterface ISimpleAudioVolume" << 0;
    }
    void levelsSkipWhatCannotBeSet()
    {
        QFETCH(QString, call);
        QFETCH(int, set);
        Subject subject;
        subject.add(subject.speakers, playerId);
        subject.add(subject.speakers, gameId);
        subject.start();
        simulated::failAlways(call, 0x80004005);
        subject.manager->tryToUpdateDeviceAudioSessionsVolumeOrMute(subject.speakers, TRUE, 1.0f,
                                                                    GUID_NULL);
        QCOMPARE(simulated::countCalls("ISimpleAudioVolume::SetMute"), set);
    }

    void listingFails_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("listed");
        const QString reset = "Critical: AudioSessionManager::resetAllDeviceAudioSessionInfos ";
        const QString enumerate = "IMMDeviceEnumerator::EnumAudioEndpoints ";
        QTest::newRow("outputs") << enumerate + "0" << reset + "eRender EnumAudioEndpoints faild!"
                                 << 1;
        QTest::newRow("inputs") << enumerate + "1" << reset + "eCapture EnumAudioEndpoints faild!"
                                << 2;
        QTest::newRow("an endpoint") << "IMMDeviceCollection::Item 1"
                                     << "" << 2;
        QTest::newRow("no ID") << "IMMDevice::GetId"
                               << "" << 0;
        QTest::newRow("no session manager") << "IMMDevice::Activate"
                                            << "" << 0;
    }
    void listingFails()
    {
        QFETCH(QString, call);
        QFETCH(QString, line);
        Subject subject;
        simulated::failAlways(call, 0x80004005);
        subject.start();
        QTEST(int(subject.manager->getAllAudioSessionInfos(false).size()), "listed");
        QCOMPARE(subject.log.lines(), line.isEmpty() ? QStringList() : QStringList(line));
    }

    void arrivalFails_data()
    {
        QTest::addColumn<bool>("output");
        QTest::addColumn<QString>("line");
        QTest::newRow("output") << true
                                << "Critical: AudioSessionManager::onRenderDeviceAdded "
                                   "eRender EnumAudioEndpoints faild!";
        QTest::newRow("input") << false
                               << "Critical: AudioSessionManager::onCaptureDeviceAdded "
                                  "eCapture EnumAudioEndpoints faild!";
    }
    void arrivalFails()
    {
        QFETCH(bool, output);
        QFETCH(QString, line);
        Subject subject;
        subject.start();
        simulated::failAlways("IMMDeviceEnumerator::EnumAudioEndpoints", 0x80004005);
        if (output)
            subject.manager->onRenderDeviceAdded(subject.headset);
        else
            subject.manager->onCaptureDeviceAdded(subject.microphone);
        QCOMPARE(subject.log.lines(), QStringList(line));
        QCOMPARE(subject.signalsSoFar(), QStringList());
    }

    void noEndpointsAtAll()
    {
        Subject subject;
        for (const QString &id : simulated::endpointIds())
            simulated::removeEndpoint(id);
        subject.start();
        QVERIFY(subject.manager->getAllAudioSessionInfos(false).isEmpty());
        const QString name = "Critical: AudioSessionManager::";
        QCOMPARE(subject.log.take(),
                 QStringList({name + "resetAllDeviceAudioSessionInfos No eRender endpoints found.",
                              name + "resetAllDeviceAudioSessionInfos No eCapture endpoints "
                                     "found."}));
        subject.manager->onRenderDeviceAdded("any");
        subject.manager->onCaptureDeviceAdded("any");
        QCOMPARE(subject.log.take(),
                 QStringList({name + "onRenderDeviceAdded No eRender endpoints found.",
                              name + "onCaptureDeviceAdded No eCapture endpoints found."}));
    }

    void livesWithoutAnEnumerator()
    {
        Subject subject;
        simulated::failAlways("CoCreateInstance MMDeviceEnumerator", REGDB_E_CLASSNOTREG);
        subject.start();
        QCOMPARE(subject.log.lines(),
                 QStringList("Critical: AudioSessionManager::AudioSessionManager "
                             "CoCreateInstance faild!"));
        QVERIFY(subject.manager->getAllAudioSessionInfos(false).isEmpty());
        QCOMPARE(subject.manager->getDefaultRenderDeviceID(), "");
        QCOMPARE(subject.manager->getDefaultCaptureDeviceID(), "");
        subject.manager->onRenderDeviceAdded(subject.headset);
        subject.manager->onCaptureDeviceAdded(subject.microphone);
        subject.manager->onDefaultRenderDeviceChanged(subject.headset);
        QCOMPARE(subject.signalsSoFar(), QStringList());
        subject.manager->resetAllDeviceAudioSessionInfos();
        QCOMPARE(subject.signalsSoFar(), QStringList("sigUpdateAudioSessionInfos({0})"));
        QCOMPARE(subject.log.lines().size(), 1);
    }

    void updatesHoldTheManagersLock_data()
    {
        QTest::addColumn<std::function<void(Subject &)>>("update");
        const auto row = [](const char *name, const std::function<void(Subject &)> &update) {
            QTest::newRow(name) << update;
        };
        row("all", [](Subject &subject) { subject.manager->tryToUpdateAudioSessionsInfos(); });
        row("one", [](Subject &subject) {
            subject.manager->tryToUpdateDeviceAudioSessionsInfo(subject.speakers);
        });
        row("levels", [](Subject &subject) {
            subject.manager->tryToUpdateDeviceAudioSessionsVolumeOrMute(subject.speakers, TRUE, 1,
                                                                        GUID_NULL);
        });
        row("reset", [](Subject &subject) { subject.manager->resetAllDeviceAudioSessionInfos(); });
        row("output",
            [](Subject &subject) { subject.manager->onRenderDeviceAdded(subject.speakers); });
        row("input",
            [](Subject &subject) { subject.manager->onCaptureDeviceAdded(subject.microphone); });
    }
    void updatesHoldTheManagersLock()
    {
        QFETCH(std::function<void(Subject &)>, update);
        Subject subject;
        subject.start();
        std::vector<std::future<void>> readers;
        bool served = true;
        simulated::onCall(enumeratorCall, [&] {
            if (!readers.empty())
                return;
            // Another endpoint's list: only the manager's own lock can be in the way.
            readers.push_back(std::async(std::launch::async, [&] {
                static_cast<void>(subject.manager->getDeviceAudioSessionInfos(subject.headset));
            }));
            const auto bound = std::chrono::milliseconds(300);
            served = readers.back().wait_for(bound) == std::future_status::ready;
        });
        update(subject);
        QVERIFY(!served);
        readers.front().get();
        simulated::reset(); // the action must not outlive what it captured
    }

    void signalsComeFromTheWorker()
    {
        Subject subject;
        const auto number = subject.add(subject.speakers, playerId);
        subject.start();
        QThread *raisedOn = nullptr;
        connect(
            subject.manager.get(), &AudioSessionManager::sigAudioSessionStateInactive, this,
            [&] { raisedOn = QThread::currentThread(); }, Qt::DirectConnection);
        simulated::notifySessionState(number, 0);
        QCOMPARE(subject.signalsSoFar().size(), 1);
        QCOMPARE(raisedOn, subject.manager->thread());
        QVERIFY(raisedOn != QThread::currentThread());
    }
};

QTEST_GUILESS_MAIN(TestAudioSessionManager)
#include "tst_audiosessionmanager.moc"
