// Moving one application to another endpoint, and what the settings tell of it.
#include "sessions/audiosessionmanager.h"
#include "sessions/registeredendpoint.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>

namespace
{
const QString policyClass = "Windows.Media.Internal.AudioPolicyConfig";
const QString settingsPath =
    R"(\HKEY_CURRENT_USER\Software\Microsoft\Multimedia\Audio\DefaultEndpoint)";
const QString setCall = "IAudioPolicyConfig::SetPersistedDefaultAudioEndpoint";
const char *const readCall = "IAudioSessionManager2::GetSessionEnumerator";

QString longForm(const QString &endpoint, EDataFlow flow = eRender)
{
    return R"(\\?\SWD#MMDEVAPI#)" + endpoint +
           (flow == eRender ? "#{e6327cad-dcec-4949-ae8a-991e976a79d2}"
                            : "#{2eef81be-33fa-4800-9670-1cd474972c3f}");
}

struct Subject : SessionFixture
{
    AudioSessionManager &start()
    {
        manager = makeManager();
        listenToEvents(signalLog, *manager);
        signalLog.listen(*manager, "finished",
                         &AudioSessionManager::sigFinishSetAppDefaultAudioEndpoint);
        simulated::clearCalls();
        return *manager;
    }

    int move(const QString &target, const QString &from = {}, int flow = eRender)
    {
        return manager->setAppDefaultAudioEndpoint(playerId, "Player", target, from, flow);
    }

    /// "finished(…)" since the last time.
    QStringList finished() { return signalLog.takeSettled(*manager); }

    QStringList setCalls() const { return simulated::calls().filter(setCall); }

    /// The endpoints whose sessions were read since the calls were cleared, in order.
    static QStringList refreshed()
    {
        QStringList endpoints;
        for (const simulated::Call &call : simulated::callRecords()) {
            if (call.text == readCall)
                endpoints.append(call.endpointId);
        }
        return endpoints;
    }

    /// The first session's info on an endpoint.
    QJsonObject infoAt(const QString &endpoint)
    {
        return manager->getDeviceAudioSessionInfos(endpoint).first().toObject();
    }

    SignalLog signalLog;
    QSharedPointer<AudioSessionManager> manager;
};

/// Every event that an application of this name can have, through the manager's own slots. The
/// info of "Player" has two entries, another's one.
void raiseAll(AudioSessionManager &manager, const QString &name)
{
    const auto raise = [&](const char *slot, const auto &...arguments) {
        QVERIFY(QMetaObject::invokeMethod(&manager, slot, Qt::QueuedConnection, arguments...));
    };
    const QString none;
    const int pid = playerId;
    const auto text = Q_ARG(QString, none);
    const auto number = Q_ARG(int, pid);
    const auto application = Q_ARG(QString, name);
    QJsonObject info{{"sessionProcessName", name}};
    if (name == "Player")
        info.insert("sessionDisplayName", "Game");
    raise("onAudioSessionInfoChanged", text, Q_ARG(QJsonObject, info));
    raise("onDisplayNameChanged", text, text, text, text, number, application, text);
    raise("onIconPathChanged", text, text, text, text, number, application, text);
    raise("onGroupingParamChanged", text, text, text, text, number, application, text, text);
    for (const char *slot : {"onAudioSessionStateActive", "onAudioSessionStateInactive",
                             "onAudioSessionStateExpired", "onAudioSessionDisconnected"})
        raise(slot, text, text, text, text, text, number, application, text);
    awaitQueueOf(manager);
}

/// Each endpoint's list is read once, 250 ms after the move and not before.
void verifyRefreshed(const QStringList &expected)
{
    QTRY_COMPARE_WITH_TIMEOUT(Subject::refreshed(), expected, arrivalMs);
}
} // namespace

class TestAppRouting : public QObject
{
    Q_OBJECT

private slots:
    void badArguments_data()
    {
        QTest::addColumn<int>("pid");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<int>("result");
        QTest::newRow("no process") << 0 << "Player"
                                    << "endpoint" << -1;
        QTest::newRow("no name") << 7 << ""
                                 << "endpoint" << -2;
        QTest::newRow("no endpoint") << 7 << "Player"
                                     << "" << -3;
        QTest::newRow("nothing at all") << 0 << ""
                                        << "" << -1;
        QTest::newRow("neither name nor endpoint") << 7 << ""
                                                   << "" << -2;
    }
    void badArguments()
    {
        QFETCH(int, pid);
        QFETCH(QString, name);
        QFETCH(QString, endpoint);
        Subject subject;
        AudioSessionManager &manager = subject.start();
        QTEST(manager.setAppDefaultAudioEndpoint(pid, name, endpoint, subject.headset, eRender),
              "result");
        QCOMPARE(subject.finished(),
                 QStringList(QString("finished(%1, %2, false)").arg(name, endpoint)));
        QCOMPARE(simulated::countCalls("IAudioPolicyConfig::GetPersistedDefaultAudioEndpoint"), 0);
        // A later move's refresh comes behind any that this one had asked for.
        QCOMPARE(subject.move(subject.headset), 1);
        verifyRefreshed({subject.speakers, subject.headset});
    }

    void aMoveSetsBothRoles()
    {
        Subject subject;
        subject.start();
        QCOMPARE(subject.move(subject.headset), 1);
        const QString text = longForm(subject.headset);
        QCOMPARE(subject.setCalls(),
                 QStringList({setCall + " 101 0 0 " + text, setCall + " 101 0 1 " + text}));
        QCOMPARE(subject.finished(),
                 QStringList("finished(Player, " + subject.headset + ", true)"));
        QCOMPARE(simulated::persistedEndpoint(playerId, eRender, eCommunications), QString());
        verifyRefreshed({subject.speakers, subject.headset});
    }

    void whereItIsAlreadyNothingIsSet()
    {
        Subject subject;
        subject.start();
        simulated::setPersistedEndpoint(playerId, eRender, eMultimedia, longForm(subject.headset));
        QCOMPARE(subject.move(subject.headset), 1);
        QCOMPARE(subject.setCalls(), QStringList());
        QCOMPARE(subject.finished(),
                 QStringList("finished(Player, " + subject.headset + ", true)"));
        verifyRefreshed({subject.headset});
    }

    void withoutAnEndpointOfItsOwnItIsAtTheDefaultOutput_data()
    {
        QTest::addColumn<int>("flow");
        QTest::newRow("render") << int(eRender);
        QTest::newRow("capture") << int(eCapture);
    }
    void withoutAnEndpointOfItsOwnItIsAtTheDefaultOutput()
    {
        QFETCH(int, flow);
        Subject subject;
        subject.start();
        QCOMPARE(subject.move(subject.speakers, {}, flow), 1);
        QCOMPARE(subject.setCalls(), QStringList());
        verifyRefreshed({subject.speakers});
    }

    void anInputIsTakenAndReportedAsRefused()
    {
        Subject subject;
        subject.start();
        QCOMPARE(subject.move(subject.microphone, {}, eCapture), 0);
        QCOMPARE(subject.finished(),
                 QStringList("finished(Player, " + subject.microphone + ", false)"));
        const QString text = longForm(subject.microphone, eCapture);
        QCOMPARE(simulated::persistedEndpoint(playerId, eCapture, eConsole), text);
        QCOMPARE(simulated::persistedEndpoint(playerId, eCapture, eMultimedia), text);
        // Asked again it is set again, since it never reads back as the same.
        simulated::clearCalls();
        QCOMPARE(subject.move(subject.microphone, {}, eCapture), 0);
        QCOMPARE(subject.setCalls().size(), 2);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("setCalls");
        QTest::newRow("console") << setCall + " 101 0 0" << 2;
        QTest::newRow("multimedia") << setCall + " 101 0 1" << 2;
        QTest::newRow("string") << "WindowsCreateString" << 0;
    }
    void refusals()
    {
        QFETCH(QString, call);
        Subject subject;
        subject.start();
        simulated::failNext(call, 0x80070005);
        QCOMPARE(subject.move(subject.headset), 0);
        QCOMPARE(subject.finished(),
                 QStringList("finished(Player, " + subject.headset + ", false)"));
        const QStringList sets = subject.setCalls();
        QTEST(int(sets.size()), "setCalls");
        // What became of it is shown all the same.
        verifyRefreshed({subject.speakers, subject.headset});
    }

    void onlyProcessZeroIsNone()
    {
        Subject subject;
        AudioSessionManager &manager = subject.start();
        QCOMPARE(manager.setAppDefaultAudioEndpoint(-5, "Player", subject.headset, {}, eRender), 1);
    }

    void bothRolesMustBeTaken()
    {
        Subject subject;
        AudioSessionManager &manager = subject.start();
        QCOMPARE(manager.setPersistedDefaultAudioEndpoint(playerId, eRender, subject.headset), 1);
        for (const char *role : {" 101 0 0", " 101 0 1"}) {
            simulated::failNext(setCall + role, 0x80070005);
            QCOMPARE(manager.setPersistedDefaultAudioEndpoint(playerId, eRender, subject.headset),
                     0);
        }
    }

    void anotherEndpointReadBackIsARefusal()
    {
        Subject subject;
        subject.start();
        simulated::failNext(setCall + " 101 0 1", 0); // it says yes and does nothing
        QCOMPARE(subject.move(subject.headset), 0);
    }

    void whereItIsInsteadIsRefreshedToo()
    {
        Subject subject;
        subject.start();
        simulated::onCall(setCall + " 101 0 1", [&] {
            simulated::setPersistedEndpoint(playerId, eRender, eMultimedia,
                                            longForm(subject.microphone));
        });
        simulated::failNext(setCall + " 101 0 1", 0); // it says yes and leaves it there
        QCOMPARE(subject.move(subject.headset), 0);
        verifyRefreshed({subject.speakers, subject.microphone, subject.headset});
    }

    void theEndIsToldHereAndTheRefreshRunsThere()
    {
        Subject subject;
        AudioSessionManager &manager = subject.start();
        QThread *toldOn = nullptr;
        connect(
            &manager, &AudioSessionManager::sigFinishSetAppDefaultAudioEndpoint, this,
            [&] { toldOn = QThread::currentThread(); }, Qt::DirectConnection);
        std::atomic<QThread *> refreshedOn = nullptr;
        simulated::onCall(readCall, [&] { refreshedOn = QThread::currentThread(); });
        QCOMPARE(subject.move(subject.headset), 1);
        QCOMPARE(toldOn, QThread::currentThread());
        QTRY_COMPARE_WITH_TIMEOUT(refreshedOn.load(), manager.thread(), arrivalMs);
        QVERIFY(manager.thread() != QThread::currentThread());
        subject.manager.reset();
        simulated::reset(); // the action must not outlive what it captured
    }

    void aReadThatFailsCountsAsNothing()
    {
        Subject subject;
        AudioSessionManager &manager = subject.start();
        simulated::setPersistedEndpoint(playerId, eRender, eMultimedia, longForm(subject.headset));
        QCOMPARE(manager.getPersistedDefaultAudioEndpoint(playerId, eRender),
                 longForm(subject.headset));
        simulated::failNext("IAudioPolicyConfig::GetPersistedDefaultAudioEndpoint", 0x80004005);
        QCOMPARE(manager.getPersistedDefaultAudioEndpoint(playerId, eRender), QString());
    }

    void eventsOfTheMovingApplicationAreDropped()
    {
        Subject subject;
        const auto player =
            simulated::addSession({.endpointId = subject.speakers, .processId = playerId});
        const auto game =
            simulated::addSession({.endpointId = subject.speakers, .processId = gameId});
        subject.start();
        const auto raise = [&] {
            simulated::notifySessionState(player, AudioSessionStateInactive);
            simulated::notifySessionState(game, AudioSessionStateInactive);
        };
        simulated::onCall(setCall + " 101 0 1", [&] {
            raise();
            settle(*subject.manager); // what it causes arrives while the move still runs
        });
        QCOMPARE(subject.move(subject.headset), 1);
        const QStringList during = subject.finished().filter("Inactive");
        QCOMPARE(during.size(), 1);
        QVERIFY(during.first().contains("Game"));
        // And no more afterwards.
        raise();
        QCOMPARE(subject.finished().filter("Inactive").size(), 2);
    }

    void everyKindOfEventIsDropped()
    {
        Subject subject;
        subject.start();
        QStringList during;
        QStringList atTheEnd;
        simulated::onCall(setCall + " 101 0 1", [&] {
            raiseAll(*subject.manager, "Player");
            raiseAll(*subject.manager, "Game");
            during = subject.finished();
        });
        // When the end is told the move is over.
        connect(
            subject.manager.get(), &AudioSessionManager::sigFinishSetAppDefaultAudioEndpoint, this,
            [&] {
                raiseAll(*subject.manager, "Player");
                atTheEnd = subject.finished();
            },
            Qt::DirectConnection);
        QCOMPARE(subject.move(subject.headset), 1);
        QCOMPARE(during.size(), 8);
        QCOMPARE(during.filter("Game").size(), 7);
        QCOMPARE(during.filter("sigAudioSessionInfoChanged(, {1})").size(), 1);
        QCOMPARE(atTheEnd.filter("Player, ").size(), 8); // and the end itself
        QCOMPARE(atTheEnd.filter("sigAudioSessionInfoChanged(, {2})").size(), 1);
    }

    void listsOfTheMovingApplicationAreTold()
    {
        Subject subject;
        subject.start();
        std::atomic<int> told = 0;
        connect(
            subject.manager.get(), &AudioSessionManager::sigUpdateDeviceAudioSessionInfos, this,
            [&] { ++told; }, Qt::DirectConnection);
        simulated::onCall(setCall + " 101 0 1", [&] {
            QMetaObject::invokeMethod(subject.manager.get(), "onUpdateDeviceAudioSessionInfos",
                                      Qt::QueuedConnection, Q_ARG(QString, subject.speakers),
                                      Q_ARG(QJsonArray, {}));
            settle(*subject.manager);
        });
        subject.move(subject.headset);
        QCOMPARE(told.load(), 1);
    }

    void eachEndpointIsRefreshedOnce_data()
    {
        QTest::addColumn<QStringList>("places"); // previous, target, from
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *name, const QStringList &places,
                            const QStringList &expected) {
            QTest::newRow(name) << places << expected;
        };
        row("from the previous", {"speakers", "headset", "speakers"}, {"speakers", "headset"});
        row("from nowhere", {"speakers", "headset", ""}, {"speakers", "headset"});
        row("from a third", {"speakers", "headset", "microphone"},
            {"speakers", "headset", "microphone"});
        row("from the target", {"speakers", "headset", "headset"}, {"speakers", "headset"});
        row("all the same", {"headset", "headset", "headset"}, {"headset"});
        row("no previous one", {"", "headset", ""}, {"speakers", "headset"});
    }
    void eachEndpointIsRefreshedOnce()
    {
        QFETCH(QStringList, places);
        QFETCH(QStringList, expected);
        Subject subject;
        subject.start();
        const QMap<QString, QString> ids{{"speakers", subject.speakers},
                                         {"headset", subject.headset},
                                         {"microphone", subject.microphone}};
        if (!places[0].isEmpty())
            simulated::setPersistedEndpoint(playerId, eRender, eMultimedia,
                                            longForm(ids[places[0]]));
        QElapsedTimer time;
        time.start();
        QCOMPARE(subject.move(ids[places[1]], ids.value(places[2])), 1);
        for (QString &name : expected)
            name = ids[name];
        verifyRefreshed(expected);
        QVERIFY(time.elapsed() >= 250);
    }

    void generations_data()
    {
        QTest::addColumn<bool>("current");
        QTest::addColumn<bool>("earlier");
        QTest::addColumn<int>("result");
        QTest::newRow("both") << true << true << 1;
        QTest::newRow("the earlier one") << false << true << 1;
        QTest::newRow("none") << false << false << 0;
    }
    void generations()
    {
        QFETCH(bool, current);
        QFETCH(bool, earlier);
        Subject subject;
        simulated::setAudioPolicyGenerations(current, earlier);
        subject.manager = makeManager();
        QCOMPARE(simulated::countCalls("RoGetActivationFactory"), current ? 1 : 2);
        QTEST(subject.move(subject.headset), "result");
    }

    void otherFailuresAskForNoEarlierGeneration_data()
    {
        QTest::addColumn<QString>("call");
        QTest::newRow("name") << "WindowsCreateStringReference " + policyClass;
        QTest::newRow("class") << "RoGetActivationFactory " + policyClass;
    }
    void otherFailuresAskForNoEarlierGeneration()
    {
        QFETCH(QString, call);
        Subject subject;
        simulated::failNext(call, 0x80040154);
        AudioSessionManager &manager = subject.start();
        QCOMPARE(simulated::countCalls("RoGetActivationFactory"), 0); // after construction
        QCOMPARE(manager.getPersistedDefaultAudioEndpoint(playerId, eRender), QString());
        QCOMPARE(manager.setPersistedDefaultAudioEndpoint(playerId, eRender, subject.headset), 0);
        // The application counts as sitting on the default output.
        QCOMPARE(subject.move(subject.speakers), 1);
        QCOMPARE(subject.move(subject.headset), 0);
        QCOMPARE(subject.finished(),
                 QStringList({"finished(Player, " + subject.speakers + ", true)",
                              "finished(Player, " + subject.headset + ", false)"}));
    }

    void withoutEnumeratorThePolicyIsStillFetched()
    {
        Subject subject;
        simulated::failNext("CoCreateInstance MMDeviceEnumerator", 0x80040154);
        AudioSessionManager &manager = subject.start();
        QCOMPARE(manager.setPersistedDefaultAudioEndpoint(playerId, eRender, subject.headset), 1);
    }

    void thePolicyIsReleasedAtTheEnd()
    {
        Subject subject;
        subject.start();
        subject.manager.reset();
        const QStringList calls = simulated::calls();
        const qsizetype policy = calls.indexOf("release IAudioPolicyConfig");
        QVERIFY(policy > calls.indexOf("release IMMDeviceEnumerator"));
        QVERIFY(policy < calls.indexOf("CoUninitialize"));
    }

    void theSettingsShowOnTheEndpointOfTheRoute()
    {
        Subject subject;
        simulated::addSession({.endpointId = subject.speakers, .processId = playerId});
        simulated::addSession({.endpointId = subject.headset, .processId = playerId});
        simulated::addSession({.endpointId = subject.microphone, .processId = gameId});
        simulated::setSettings(settingsPath, {{"one",
                                               {{".", "\\Device\\HarddiskVolume3\\a\\PLAYER"},
                                                {"000_000", longForm(subject.headset)}}}});
        subject.start();
        QCOMPARE(subject.infoAt(subject.headset)["audioEndpointID"], subject.headset);
        QCOMPARE(subject.infoAt(subject.speakers)["audioEndpointID"], "");
        QCOMPARE(subject.infoAt(subject.headset)["inDefaultEndpoint"], false);
        QCOMPARE(subject.infoAt(subject.microphone)["audioEndpointID"], "");
        QCOMPARE(subject.infoAt(subject.microphone)["inDefaultEndpoint"], false);
    }

    void anEndpointInAnotherCaseIsAnother()
    {
        Subject subject;
        const QString extra =
            simulated::addEndpoint({.name = "Extra", .id = "{0.0.0.00000000}.{abc}"});
        simulated::addSession({.endpointId = extra, .processId = playerId});
        simulated::setSettings(settingsPath, {{"one",
                                               {{".", "\\Device\\HarddiskVolume3\\a\\player"},
                                                {"000_000", longForm(extra.toUpper())}}}});
        subject.start();
        QCOMPARE(subject.infoAt(extra)["audioEndpointID"], "");
    }

    void anEmptyRouteIsTheDefault()
    {
        Subject subject;
        simulated::addSession({.endpointId = subject.speakers, .processId = playerId});
        simulated::setSettings(
            settingsPath,
            {{"one", {{".", "\\Device\\HarddiskVolume3\\a\\player"}, {"000_000", ""}}}});
        subject.start();
        QCOMPARE(subject.infoAt(subject.speakers)["inDefaultEndpoint"], true);
        QCOMPARE(subject.infoAt(subject.speakers)["audioEndpointID"], "");
    }

    void matches_data()
    {
        QTest::addColumn<QString>("application");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("isMatch");
        const auto row = [](const char *title, const char *application, const char *name,
                            const char *file, bool isMatch) {
            QTest::newRow(title) << application << name << file << isMatch;
        };
        const char *const classic = "\\Device\\HarddiskVolume3\\Games\\game.exe";
        const char *const packaged = "Maker.Player_abc!App";
        const char *const folder = "C:\\WindowsApps\\Maker.Player_1.0_x64__abc\\p.exe";
        row("end of the path", classic, "game.exe", "", true);
        row("another case", classic, "GAME.EXE", "", true);
        row("a part of the name", classic, "me.exe", "", true);
        row("another name", classic, "player.exe", "", false);
        row("no name", classic, "", "C:\\Games\\game.exe", false);
        row("the prefix in another case", "\\device\\harddiskvolume3\\game.exe", "game.exe", "",
            false);
        row("package", packaged, "anything", folder, true);
        row("package without an app", "Maker.Player_abc", "", folder, true);
        row("package in another case", "maker.player_abc!App", "", folder, false);
        row("package of another maker", "Maker.Player_xyz!App", "", folder, false);
        row("another package", "Maker.Other_abc!App", "", folder, false);
        row("a path of two pieces", "C:!App", "", "C:\\p.exe", true);
        row("a path of one piece", packaged, "", "Maker.Player_abc", false);
        row("slashes are no pieces", packaged, "", "C:/Maker.Player_abc/p.exe", false);
        row("nothing at all", "", "game.exe", "C:\\Games\\game.exe", false);
    }
    void matches()
    {
        QFETCH(QString, application);
        QFETCH(QString, name);
        QFETCH(QString, file);
        simulated::reset();
        simulated::setSettings(settingsPath, {{"one", {{".", application}, {"000_000", "x"}}}});
        const bool found = registeredEndpoint(name, file).has_value();
        QTEST(found, "isMatch");
    }

    void theFirstGroupThatMatchesCounts()
    {
        simulated::reset();
        const QString path = "\\Device\\HarddiskVolume3\\game.exe";
        simulated::setSettings(
            settingsPath,
            {{"other", {{".", "\\Device\\HarddiskVolume3\\other.exe"}, {"000_000", "a#b#zero"}}},
             {"first", {{".", path}, {"000_000", "a#b#one#c"}, {"001_000", "a#b#input"}}},
             {"second", {{".", path}, {"000_000", "a#b#two#c"}}}});
        const auto found = registeredEndpoint("game.exe", "");
        QVERIFY(found);
        QCOMPARE(found->endpointID, "one");
        QVERIFY(!found->isDefault);
    }

    void shortFormsNeedThreePieces()
    {
        simulated::reset();
        simulated::setSettings(
            settingsPath,
            {{"one", {{".", "\\Device\\HarddiskVolume3\\game.exe"}, {"000_000", "a#b"}}}});
        const auto found = registeredEndpoint("game.exe", "");
        QVERIFY(found);
        QCOMPARE(found->endpointID, QString());
        QVERIFY(!found->isDefault);
        QVERIFY(!registeredEndpoint("player.exe", ""));
    }
};

QTEST_GUILESS_MAIN(TestAppRouting)
#include "tst_approuting.moc"
