// What the client is told of audio sessions, and what endpoint events do to their lists.
#include "platform/simulated/applications.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/sessions.h"
#include "platform/simulated/simulated.h"
#include "tests/unit/app/controllerfixture.h"

#include <QJsonDocument>
#include <QTest>

#include <functional>
#include <utility>

namespace
{

constexpr DWORD playerId = 101;
const QString iconPrefix = QStringLiteral("data:image/png;base64,");
const QString grouping = QStringLiteral("1-2-3-45678910");

/// A controller with a player on the headset.
struct Subject : ControllerFixture
{
    Subject()
    {
        simulated::Application application;
        application.processId = playerId;
        application.imagePath = "C:\\player.exe";
        application.version = {{"FileDescription", "Player"}};
        simulated::setApplication(application);
        player = addPlayer(headset);
    }

    static simulated::SessionNumber addPlayer(const QString &endpointId)
    {
        simulated::Session session;
        session.endpointId = endpointId;
        session.processId = playerId;
        session.groupingParam = {1, 2, 3, {4, 5, 6, 7, 8, 9, 1, 0}};
        return simulated::addSession(session);
    }

    /// What every session event carries, with more.
    QJsonObject identity(const QJsonObject &more) const
    {
        QJsonObject keys{{"deviceID", headset},
                         {"audioEndpointID", ""},
                         {"sessionIdentifier", headset + "|program101"},
                         {"sessionInstanceIdentifier", headset + "|program101|1"},
                         {"sessionProcessId", 101},
                         {"sessionProcessName", "Player"}};
        for (auto entry = more.begin(); entry != more.end(); ++entry)
            keys.insert(entry.key(), entry.value());
        return keys;
    }

    QStringList namesOfPendingEvents() const
    {
        QStringList names;
        for (const QString &event : pendingEvents())
            names.append(QJsonDocument::fromJson(event.toUtf8())["event"].toString());
        return names;
    }

    simulated::SessionNumber player = 0;
};

} // namespace

class ControllerSessionsTest : public QObject
{
    Q_OBJECT

private slots:
    void allSessionsAreAnswered()
    {
        Subject fixture;
        fixture.start();
        fixture.send("getAudioSessionInfos");
        const QJsonObject infos = fixture.waitForEvent("didReceiveAudioSessionInfos")
                                      .value("audioSessionInfos")
                                      .toObject();
        QCOMPARE(infos.value(fixture.speakers), QJsonValue(QJsonArray()));
        QCOMPARE(infos.value(fixture.microphone), QJsonValue(QJsonArray()));
        const QJsonArray onHeadset = infos.value(fixture.headset).toArray();
        QCOMPARE(onHeadset.size(), 1);
        QCOMPARE(onHeadset.first().toObject(),
                 QJsonObject({{"inDefaultEndpoint", false},
                              {"audioEndpointID", ""},
                              {"isSystemSoundsSession", 1},
                              {"sessionIdentifier", fixture.headset + "|program101"},
                              {"sessionInstanceIdentifier", fixture.headset + "|program101|1"},
                              {"sessionDisplayName", ""},
                              {"sessionIconPath", ""},
                              {"sessionState", "AudioSessionStateActive"},
                              {"sessionProcessId", 101},
                              {"sessionProcessName", "Player"},
                              {"sessionProcessFileName", "C:\\player.exe"},
                              {"sessionProcessFileIcon", iconPrefix},
                              {"sessionGroupingParam", grouping}}));

        // The virtual endpoints that are shown have lists too.
        QVERIFY(infos.contains(fixture.renderId(tavoriGame)));
        QCOMPARE(fixture.log.lines().filter("onGetAudioSessionInfos"),
                 QStringList(
                     {"Info: onGetAudioSessionInfos() :", "Info: onGetAudioSessionInfos() : end"}));
    }

    void sessionsOfOneEndpointAreAnswered()
    {
        Subject fixture;
        fixture.start();
        fixture.send("getDeviceAudioSessionInfos", {{"deviceID", fixture.headset}});
        QJsonObject answer = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(answer.value("deviceID").toString(), fixture.headset);
        QCOMPARE(answer.value("deviceAudioSessionInfos").toArray().size(), 1);
        fixture.send("getDeviceAudioSessionInfos", {{"deviceID", "unknown"}});
        answer = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(answer,
                 QJsonObject({{"deviceID", "unknown"}, {"deviceAudioSessionInfos", QJsonArray()}}));
    }

    void eventsPassThrough_data()
    {
        QTest::addColumn<std::function<void(int)>>("raise");
        QTest::addColumn<QString>("event");
        QTest::addColumn<QString>("handler");
        QTest::addColumn<QJsonObject>("more");
        const auto row = [](const char *event, const char *handler,
                            const std::function<void(int)> &raise, const QJsonObject &more) {
            QTest::newRow(event) << raise << event << handler << more;
        };
        const auto state = [](int value) {
            return [value](int number) { simulated::notifySessionState(number, value); };
        };
        const auto stateKeys = [](const QString &icon) {
            return QJsonObject{{"sessionGroupingParam", grouping},
                               {"sessionProcessFileIcon", icon}};
        };
        row("audioSessionDisplayNameChanged", "onDisplayNameChanged",
            [](int number) { simulated::notifyDisplayName(number, "New"); },
            {{"sessionDisplayName", "New"}});
        row("audioSessionIconPathChanged", "onIconPathChanged",
            [](int number) { simulated::notifyIconPath(number, "new.ico"); },
            {{"sessionIconPath", "new.ico"}});
        row("audioSessionGroupingParamChanged", "onGroupingParamChanged",
            [](int number) {
                simulated::notifyGroupingParam(number, GUID{7, 0, 0, {8, 0, 0, 0, 0, 0, 0, 0}},
                                               GUID_NULL);
            },
            {{"sessionOldGroupingParam", grouping}, {"sessionNewGroupingParam", "7-8"}});
        row("audioSessionStateActive", "onAudioSessionStateActive", state(1),
            stateKeys(iconPrefix));
        row("audioSessionStateInactive", "onAudioSessionStateInactive", state(0), stateKeys(""));
        row("audioSessionStateExpired", "onAudioSessionStateExpired", state(2), stateKeys(""));
        row("audioSessionDisconnected", "onAudioSessionDisconnected",
            [](int number) { simulated::notifyDisconnected(number, 3); },
            {{"sessionGroupingParam", grouping}, {"disconnectReason", "user logged off"}});
    }
    void eventsPassThrough()
    {
        QFETCH(std::function<void(int)>, raise);
        QFETCH(QString, event);
        QFETCH(QString, handler);
        QFETCH(QJsonObject, more);
        Subject fixture;
        fixture.start();
        fixture.log.clear();
        raise(fixture.player);
        QCOMPARE(fixture.waitForEvent(event), fixture.identity(more));
        QCOMPARE(fixture.log.lines().filter("Info: " + handler + "()"),
                 QStringList({"Info: " + handler + "() : \"" + fixture.headset + "\" \"\"",
                              "Info: " + handler + "() : end"}));
    }

    void newSessionIsTold()
    {
        Subject fixture;
        fixture.start();
        simulated::notifySessionCreated(fixture.speakers, Subject::addPlayer(fixture.speakers));
        const QJsonObject update = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(update.value("deviceID").toString(), fixture.speakers);
        QCOMPARE(update.value("deviceAudioSessionInfos").toArray().size(), 1);
        QVERIFY(fixture.log.lines().contains("Info: onUpdateDeviceAudioSessionInfos() : \"" +
                                             fixture.speakers + "\""));
        QVERIFY(fixture.log.lines().contains("Info: onUpdateDeviceAudioSessionInfos() : end"));
    }

    void arrivingEndpointTellsItsSessionsFirst_data()
    {
        QTest::addColumn<bool>("isCapture");
        QTest::newRow("output") << false;
        QTest::newRow("input") << true;
    }
    void arrivingEndpointTellsItsSessionsFirst()
    {
        QFETCH(bool, isCapture);
        Subject fixture;
        fixture.start();
        const QString id =
            simulated::addEndpoint({.name = "Late", .flow = isCapture ? eCapture : eRender});
        Subject::addPlayer(id);
        simulated::notifyDeviceAdded(id);
        QVERIFY(QTest::qWaitFor(
            [&] { return fixture.namesOfPendingEvents().contains("deviceAdded"); }, 30000));
        QCOMPARE(fixture.namesOfPendingEvents(),
                 QStringList({"didReceiveDeviceAudioSessionInfos", "deviceAdded"}));
        const QJsonObject update = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(update.value("deviceID").toString(), id);
        QCOMPARE(update.value("deviceAudioSessionInfos").toArray().size(), 1);
    }

    void departedEndpointTakesItsSessions()
    {
        Subject fixture;
        fixture.start();
        QCOMPARE(simulated::sessionSinks(fixture.player), 1);
        simulated::removeEndpoint(fixture.headset);
        simulated::notifyDeviceRemoved(fixture.headset);
        QCOMPARE(fixture.waitForEvent("deviceRemoved").value("deviceID").toString(),
                 fixture.headset);
        QCOMPARE(simulated::sessionSinks(fixture.player), 0);
        fixture.send("getAudioSessionInfos");
        QVERIFY(!fixture.waitForEvent("didReceiveAudioSessionInfos")
                     .value("audioSessionInfos")
                     .toObject()
                     .contains(fixture.headset));
        // No event of a session tells of it.
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void changedDefaults_data()
    {
        QTest::addColumn<bool>("isCapture");
        QTest::newRow("output") << false;
        QTest::newRow("input") << true;
    }
    void changedDefaults()
    {
        QFETCH(bool, isCapture);
        Subject fixture;
        const QString desk = simulated::addEndpoint({.name = "Desk", .flow = eCapture});
        fixture.start();
        const QString changed = isCapture ? desk : fixture.headset;
        const EDataFlow flow = isCapture ? eCapture : eRender;
        simulated::setDefault(flow, changed);
        simulated::notifyDefaultChanged(flow, eConsole, changed);
        // The new default, and the output that was the default: for an input too.
        const QJsonObject first = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(first.value("deviceID").toString(), changed);
        const QJsonObject second = fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(second.value("deviceID").toString(), fixture.speakers);
        QCOMPARE(fixture.waitForEvent("defaultDeviceChanged").value("deviceID").toString(),
                 changed);
    }

    void newDefaultIsToldBeforeItsSessionsAreRead_data() { changedDefaults_data(); }
    void newDefaultIsToldBeforeItsSessionsAreRead()
    {
        QFETCH(bool, isCapture);
        Subject fixture;
        const QString desk = simulated::addEndpoint({.name = "Desk", .flow = eCapture});
        fixture.start();
        QStringList toldBefore{"not read"};
        bool isFirst = true;
        simulated::onCall("IAudioSessionManager2::GetSessionEnumerator", [&] {
            if (!std::exchange(isFirst, false))
                return;
            (void)QTest::qWaitFor([&] { return !fixture.pendingEvents().isEmpty(); }, 10000);
            toldBefore = fixture.namesOfPendingEvents();
        });
        const EDataFlow flow = isCapture ? eCapture : eRender;
        simulated::notifyDefaultChanged(flow, eConsole, isCapture ? desk : fixture.headset);
        (void)fixture.waitForEvent("didReceiveDeviceAudioSessionInfos");
        QCOMPARE(toldBefore, QStringList("defaultDeviceChanged"));
    }

    void anApplicationMovesInTheDirectionThatIsTold_data()
    {
        QTest::addColumn<QJsonObject>("direction");
        QTest::addColumn<int>("flow");
        QTest::newRow("output") << QJsonObject{{"deviceType", "outputDevice"}} << int(eRender);
        QTest::newRow("input") << QJsonObject{{"deviceType", "inputDevice"}} << int(eCapture);
        QTest::newRow("not told") << QJsonObject() << int(eRender);
        QTest::newRow("anything else")
            << QJsonObject{{"deviceType", "inputdevice"}} << int(eRender);
    }

    void anApplicationMovesInTheDirectionThatIsTold()
    {
        QFETCH(QJsonObject, direction);
        QFETCH(const int, flow);
        Subject subject;
        subject.start();
        simulated::clearCalls();
        direction.insert("appProcessID", int(playerId));
        direction.insert("appName", "Player");
        direction.insert("audioEndpointID",
                         flow == eCapture ? subject.microphone : subject.headset);
        direction.insert("fromAudioEndpointID", subject.speakers);
        subject.send("setAppDefaultAudioEndpoint", direction);
        QCOMPARE(subject.waitForEvent("finishSetAppDefaultAudioEndpoint").value("appName"),
                 QJsonValue("Player"));
        const QStringList orders = simulated::calls().filter("::SetPersistedDefaultAudioEndpoint");
        QVERIFY(!orders.isEmpty());
        const QString told =
            QString("::SetPersistedDefaultAudioEndpoint %1 %2 ").arg(int(playerId));
        QCOMPARE(orders.filter(told.arg(flow)), orders);
        QCOMPARE(subject.log.lines().filter("onSetAppDefaultDevice"),
                 QStringList({"Info: onSetAppDefaultDevice() : \"Player\"",
                              "Info: onSetAppDefaultDevice() : end"}));
        const QString target = direction.value("audioEndpointID").toString();
        QCOMPARE(subject.log.lines().filter("onFinishSetAppDefaultDevice"),
                 QStringList({"Info: onFinishSetAppDefaultDevice() : \"Player\" \"" + target + "\"",
                              "Info: onFinishSetAppDefaultDevice() : end"}));
    }

    void sessionsCanBeMissing()
    {
        Subject fixture;
        simulated::failAlways("IMMDevice::Activate IAudioSessionManager2", 0x80004001);
        fixture.start();
        fixture.send("getAudioSessionInfos");
        QVERIFY(fixture.waitForEvent("didReceiveAudioSessionInfos")
                    .value("audioSessionInfos")
                    .toObject()
                    .isEmpty());
        fixture.send("getDeviceAudioSessionInfos", {{"deviceID", fixture.headset}});
        QVERIFY(fixture.waitForEvent("didReceiveDeviceAudioSessionInfos")
                    .value("deviceAudioSessionInfos")
                    .toArray()
                    .isEmpty());
    }

    void endLeavesNothingBehind()
    {
        Subject fixture;
        fixture.start();
        fixture.quit();
        QCOMPARE(simulated::sessionSinks(fixture.player), 0);
        QCOMPARE(simulated::leakReport().split('\n').filter("Session"), QStringList());
    }
};

QTEST_MAIN(ControllerSessionsTest)
#include "tst_controller_sessions.moc"
