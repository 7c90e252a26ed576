// Construction, the opening of the channels, and the teardown, as the log and the platform see it.
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/settings.h"
#include "platform/simulated/simulated.h"
#include "streams/tavorioutputdevice.h"
#include "tests/support/virtualcardtree.h"
#include "tests/unit/app/controllerfixture.h"

#include <QDir>
#include <QTest>
#include <QTimer>
#include <QWebSocket>

namespace
{
/// The lines of `wanted` that are not in `lines` in this order.
QStringList missingInOrder(const QStringList &lines, const QStringList &wanted)
{
    qsizetype position = 0;
    for (qsizetype index = 0; index < wanted.size(); ++index) {
        position = lines.indexOf(wanted.at(index), position);
        if (position < 0)
            return wanted.mid(index);
        ++position;
    }
    return {};
}

DWORD stateOf(const QString &id)
{
    return simulated::endpoint(id).state;
}

QString nameOfPath(int index, tavoriDeviceType type)
{
    return "CreateFileW " + deviceFilePath(index, channelOfType(type)->fileSuffix);
}
} // namespace

class ControllerLifeTest : public QObject
{
    Q_OBJECT

private slots:
    void startIsLoggedInOrder()
    {
        ControllerFixture fixture;
        fixture.start();
        const QStringList wanted{
            "Info: init AudioSessionManager : begin",
            "Info: init AudioSessionManager : end",
            "Info: init WebSocketServer : begin",
            "Info: init WebSocketServer : end",
            "Info: init SystemSoundMonitor : begin",
            "Info: init SystemSoundMonitor : end",
            "Info: try to enable virtual devices : begin",
            "Info: try to enable virtual devices : end",
            "Info: \"QuorvaneWidget::printEndpointDeviceNames : begin\"",
            "Info: \"OutputDevice :\"",
            "Info: \"Device Name : Speakers\"",
            "Info: \"Device id : " + fixture.speakers + "\"",
            "Info: \"---------------------------------\"",
            "Info: \"\"",
            "Info: \"InputDevice :\"",
            "Info: \"Device Name : Microphone\"",
            "Info: \"Device id : " + fixture.microphone + "\"",
            "Info: \"QuorvaneWidget::printEndpointDeviceNames : end\"",
            "Info: QuorvaneWidget::openDevices : begin",
            "Info: QuorvaneWidget::openDevices Find tavori driver index!",
            "Info: QuorvaneWidget::openDevices : end",
            "Info: try to start websocket server : begin",
            "Info: WebSocket server listening with port 24925",
            "Info: try to start websocket server : end",
            "Info: End of init!!!",
        };
        QCOMPARE(missingInOrder(fixture.log.lines(), wanted), QStringList());
    }

    void startShowsAndHidesTheEndpoints()
    {
        ControllerFixture fixture;
        for (const Channel &channel : channels) {
            const bool shown = channel.type != tavoriAux && channel.type != tavoriGame;
            simulated::setState(fixture.renderId(channel.type),
                                shown ? DEVICE_STATE_ACTIVE : DEVICE_STATE_DISABLED);
        }
        fixture.start();
        for (const tavoriDeviceType type :
             {tavoriAux, tavoriChat, tavoriGame, tavoriMedia, tavoriChatCapture})
            QCOMPARE(stateOf(fixture.renderId(type)), DEVICE_STATE_ACTIVE);
        QCOMPARE(stateOf(fixture.captureId(tavoriChatCapture)), DEVICE_STATE_ACTIVE);
        for (const tavoriDeviceType type : {tavoriAux2, tavoriAux3, tavoriBrowser, tavoriStream})
            QCOMPARE(stateOf(fixture.renderId(type)), DEVICE_STATE_DISABLED);
        QCOMPARE(stateOf(fixture.captureId(tavoriStream)), DEVICE_STATE_DISABLED);
        // Gaming comes last of all.
        const QStringList visibility = simulated::calls().filter("SetEndpointVisibility");
        QCOMPARE(visibility.size(), 11);
        QVERIFY2(visibility.last().contains(fixture.renderId(tavoriGame)),
                 qPrintable(visibility.join('\n')));
    }

    void ofSeveralGamingsTheLastIsShown()
    {
        ControllerFixture fixture;
        const Channel &gaming = *channelOfType(tavoriGame);
        const QString lastGroup = cardGroup(gaming).replace("00000006-0000", "00000006-0001");
        const QString last = "{0.0.0.00000000}." + lastGroup;
        simulated::addEndpoint(
            {.name = gaming.fullName(), .id = last, .state = DEVICE_STATE_DISABLED});
        simulated::setState(fixture.renderId(tavoriGame), DEVICE_STATE_DISABLED);
        // There is room for nine. By its key it is the last of the two, by its place the first.
        simulated::SettingsGroups groups = renderCardGroups();
        groups.removeIf(
            [](const auto &entry) { return entry.first == cardGroup(*channelOfType(tavoriAux3)); });
        const QString path = "{2}.\\\\?\\root#media#0001#{guid}\\" + gaming.renderSuffix;
        groups.prepend({lastGroup, cardKeys(adapterName, "ROOT\\tavoriVirtualAudioDriver",
                                            gaming.shortName, path)});
        setRenderTree(groups);
        fixture.start();
        QCOMPARE(stateOf(last), DEVICE_STATE_ACTIVE);
        QCOMPARE(stateOf(fixture.renderId(tavoriGame)), DEVICE_STATE_DISABLED);
        QVERIFY(simulated::calls().filter("SetEndpointVisibility").last().contains(last));
    }

    void startOpensFiveChannels()
    {
        ControllerFixture fixture;
        simulated::publishDriver(163);
        simulated::clearCalls();
        fixture.start();
        const QStringList files = simulated::calls().filter("CreateFileW");
        QCOMPARE(files.size(), 164 + 5);
        QVERIFY(files.at(163).startsWith(nameOfPath(163, tavoriGame)));
        QVERIFY(files.at(163).contains("#00a3#"));
        int index = 164;
        for (const tavoriDeviceType type :
             {tavoriAux, tavoriChat, tavoriGame, tavoriMedia, tavoriChatCapture}) {
            QVERIFY2(files.at(index).startsWith(nameOfPath(163, type)),
                     qPrintable(files.at(index)));
            ++index;
        }
        for (const tavoriDeviceType type : {tavoriAux, tavoriChat, tavoriGame, tavoriMedia}) {
            const QString suffix = channelOfType(type)->fileSuffix;
            QCOMPARE(simulated::writesTo(suffix),
                     QList<QByteArray>{QByteArray(1, static_cast<char>(type))});
            QCOMPARE(simulated::openDeviceFiles(suffix), 1);
        }
    }

    void endpointsThatComeUpLateOpenTheirChannels()
    {
        ControllerFixture fixture;
        const QString gaming = fixture.renderId(tavoriGame);
        simulated::setState(gaming, DEVICE_STATE_DISABLED);
        fixture.start();
        // It was not listed yet when the channels opened, so the channel opens a second time.
        QTRY_COMPARE(
            simulated::writesTo("tavori.Game.WaveSpeaker"),
            QList<QByteArray>({QByteArray("\x06"), QByteArray("\x06\x01"), QByteArray("\x06")}));
        QCOMPARE(simulated::openDeviceFiles("tavori.Game.WaveSpeaker"), 1);
    }

    void noDriverIsLoggedOnceAndNotFatal()
    {
        ControllerFixture fixture;
        simulated::withdrawDriver();
        fixture.start();
        QCOMPARE(fixture.log.lines().count(
                     "Critical: QuorvaneWidget::openDevices Can't find tavori driver index!"),
                 1);
        // Each of the five opens then fails by itself, at index 0.
        QCOMPARE(fixture.log.lines().filter("Critical: \"Failed to open device ").size(), 5);
        QCOMPARE(fixture.log.lines().filter("#0000#").size(), 5);
        QCOMPARE(simulated::countCalls("CreateFileW"), 65536 + 5);
    }

    void noCardMeansNoSearch()
    {
        ControllerFixture fixture;
        setRenderTree({});
        setCaptureTree({});
        fixture.start();
        QCOMPARE(simulated::countCalls("CreateFileW"), 0);
        QCOMPARE(simulated::countCalls("IPolicyConfig::SetEndpointVisibility"), 0);
        const QStringList lines = fixture.log.lines();
        QCOMPARE(lines.filter("QuorvaneWidget::openDevices"),
                 QStringList({"Info: QuorvaneWidget::openDevices : begin",
                              "Info: QuorvaneWidget::openDevices : end"}));
    }

    void microphonePlayerOpensOnTheRenderSide()
    {
        ControllerFixture fixture;
        fixture.start();
        QVERIFY(simulated::waitForRenderStream(fixture.renderId(tavoriChatCapture)));
        // Its log lines name the channel that it serves.
        QVERIFY(!fixture.log.lines()
                     .filter("Info: WASAPIAudioPlayer::openDevice 8 \"tavori - Microphone (")
                     .isEmpty());
        QCOMPARE(simulated::writesTo("tavori.ChatCapture.Wave"), QList<QByteArray>{"\x08"});
    }

    void startWithNothingAtAllIsNotFatal()
    {
        ControllerFixture fixture;
        simulated::failAlways("CoCreateInstance", REGDB_E_CLASSNOTREG);
        fixture.start();
        QVERIFY(fixture.waitForLog("Info: End of init!!!"));
        fixture.send("getOutputDeviceInfos");
        const QJsonObject answer = fixture.waitForEvent("didReceiveOutputDeviceInfos");
        QVERIFY(answer.value("defaultDevice").toObject().isEmpty());
        QVERIFY(answer.value("outputDevice").toArray().isEmpty());
        fixture.quit();
    }

    void quitTearsDownInOrder()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::clearCalls();
        fixture.quit();
        const QStringList wanted{
            "Info: About to quit - begin",
            "Info: About to quit - 0",
            "Info: About to quit - 1",
            "Info: QuorvaneWidget::closeDevices : begin",
            "Info: QuorvaneWidget::closeDevices : end",
            "Info: About to quit - 2",
            "Info: About to quit - end",
            "Info: QuorvaneWidget::~QuorvaneWidget - begin",
            "Info: QuorvaneWidget::~QuorvaneWidget - 0",
            "Info: QuorvaneWidget::~QuorvaneWidget - 1",
            "Info: QuorvaneWidget::~QuorvaneWidget - 2",
            "Info: QuorvaneWidget::~QuorvaneWidget - end",
        };
        QCOMPARE(missingInOrder(fixture.log.lines(), wanted), QStringList());
        for (const Channel &channel : channels)
            QCOMPARE(stateOf(fixture.renderId(channel.type)), DEVICE_STATE_DISABLED);
        QCOMPARE(simulated::writesTo("tavori.Game.WaveSpeaker"),
                 QList<QByteArray>({QByteArray("\x06"), QByteArray("\x06\x01")}));
        QCOMPARE(simulated::writesTo("tavori.ChatCapture.Wave"),
                 QList<QByteArray>({QByteArray("\x08"), QByteArray("\x08\x01")}));
        QCOMPARE(simulated::countCalls("SetDefaultEndpoint"), 0);
    }

    void endpointThatCameLateIsHiddenToo()
    {
        ControllerFixture fixture;
        simulated::SettingsGroups groups = renderCardGroups();
        groups.removeIf([](const auto &entry) {
            return entry.first == cardGroup(*channelOfType(tavoriMedia));
        });
        setRenderTree(groups);
        fixture.start();
        QCOMPARE(stateOf(fixture.renderId(tavoriMedia)), DEVICE_STATE_ACTIVE);
        setRenderTree(renderCardGroups());
        fixture.quit();
        QCOMPARE(stateOf(fixture.renderId(tavoriMedia)), DEVICE_STATE_DISABLED);
    }

    void channelsCloseInTheirOrder()
    {
        ControllerFixture fixture;
        fixture.start();
        for (const QString word : {"Aux3", "Browser", "Aux2"})
            fixture.send("addOutputDevice", {{"outputDeviceName", word}});
        fixture.send("setControlMode", {{"mode", "StreamerMode"}});
        fixture.settle();
        simulated::drain();
        fixture.settle();
        QTRY_COMPARE(simulated::openDeviceFiles("tavori.Stream.Wave"), 1);
        simulated::clearCalls();
        fixture.quit();
        // The endpoints are hidden before any channel closes.
        const QStringList calls = simulated::calls();
        const auto firstClose = calls.indexOf(QRegularExpression("^WriteFile .*"));
        const auto lastHide = calls.lastIndexOf(QRegularExpression(".*SetEndpointVisibility.*"));
        QVERIFY(lastHide >= 0 && lastHide < firstClose);
        QStringList files;
        for (const QString &call : calls.filter(QRegularExpression("^WriteFile ")))
            files.append(call.section(' ', 1, 1).section('\\', -1));
        QStringList expected;
        for (const Channel &channel : channels)
            expected.append(channel.fileSuffix);
        QVERIFY2(files == expected, qPrintable(calls.filter("WriteFile").join('\n')));
    }

    void microphonePlayersEndWithTheQuit()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString render = fixture.renderId(tavoriChatCapture);
        QVERIFY(simulated::waitForRenderStream(render));
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        QVERIFY(simulated::renderStreams(render).isEmpty());
        QVERIFY(fixture.widget);
    }

    void teardownRunsOncePerQuit()
    {
        ControllerFixture fixture;
        fixture.start();
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        QCOMPARE(fixture.log.lines().count("Info: About to quit - end"), 2);
    }

    void everyEndRunsTheSameTeardown_data()
    {
        QTest::addColumn<bool>("bySession");
        QTest::newRow("quitApp") << false;
        QTest::newRow("the session's end") << true;
    }

    void everyEndRunsTheSameTeardown()
    {
        QFETCH(const bool, bySession);
        ControllerFixture fixture;
        fixture.start();
        simulated::clearCalls();
        fixture.log.clear();
        // What Qt makes of the end of an X11 session.
        const auto endSession = [] {
            QEvent quit(QEvent::Quit);
            QCoreApplication::sendEvent(qApp, &quit);
        };
        if (bySession)
            QTimer::singleShot(0, qApp, endSession);
        else
            fixture.send("quitApp");
        QTimer::singleShot(30000, qApp, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(fixture.log.lines().filter("About to quit"),
                 QStringList({"Info: About to quit - begin", "Info: About to quit - 0",
                              "Info: About to quit - 1", "Info: About to quit - 2",
                              "Info: About to quit - end"}));
        QCOMPARE(simulated::calls().filter("SetEndpointVisibility").size(), 11);
        QVERIFY(simulated::renderStreams(fixture.renderId(tavoriChatCapture)).isEmpty());
    }

    void endpointChangesOfTheTeardownReachNobody()
    {
        ControllerFixture fixture;
        fixture.start();
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        simulated::drain();
        QTest::qWait(0);
        fixture.settle();
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void nothingIsLeftBehind()
    {
        ControllerFixture fixture;
        const qsizetype before = simulated::liveObjects();
        fixture.start();
        QVERIFY(simulated::liveObjects() > before);
        fixture.quit();
        QTRY_VERIFY2(simulated::liveObjects() == before, qPrintable(simulated::leakReport()));
    }

    void iconFolderLivesAsLongAsTheController()
    {
        ControllerFixture fixture;
        const QString folder = QCoreApplication::applicationDirPath() + "/TempIcons";
        fixture.start();
        QVERIFY(QDir(folder).exists());
        fixture.quit();
        QVERIFY(!QDir(folder).exists());
    }

    void channelsLogThroughTheController()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto said = [&] {
            fixture.log.clear();
            for (auto *device : fixture.widget->findChildren<tavoriOutputDevice *>())
                emit device->sigPrintfLog("a channel's word");
            return fixture.log.lines().count("Info: \"a channel's word\"");
        };
        QCOMPARE(said(), 4);
        fixture.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        fixture.settle();
        QCOMPARE(said(), 5);
    }

    void alertTimerStaysIdle()
    {
        ControllerFixture fixture;
        fixture.start();
        QTimer *alert = nullptr;
        for (auto *timer : fixture.widget->findChildren<QTimer *>(Qt::FindDirectChildrenOnly))
            alert = timer->interval() == 600 ? timer : alert;
        QVERIFY(alert);
        QCOMPARE(alert->timerType(), Qt::PreciseTimer);
        QVERIFY(!alert->isActive());
        QCOMPARE(simulated::countCalls("MessageBeep"), 0);
        // If anybody ever starts it, it sounds once.
        alert->start(0);
        QTRY_COMPARE(simulated::countCalls("MessageBeep 0"), 1);
        QVERIFY(!alert->isActive());
    }

    void commandsNeedNoDeferredStart()
    {
        ControllerFixture fixture;
        fixture.widget = std::make_unique<QuorvaneWidget>();
        // The deferred start is lost; what it starts is nothing that a command needs.
        QCoreApplication::removePostedEvents(fixture.widget.get(), QEvent::MetaCall);
        QWebSocket client;
        QStringList answers;
        connect(&client, &QWebSocket::textMessageReceived, this,
                [&](const QString &text) { answers.append(text); });
        client.open(QUrl("ws://127.0.0.1:24925"));
        QTRY_VERIFY_WITH_TIMEOUT(client.isValid(), 30000);
        client.sendTextMessage(
            R"({"event":"getDeviceMute","payload":{"deviceName":"n","deviceID":"i"}})");
        QTRY_COMPARE_WITH_TIMEOUT(
            answers,
            QStringList(
                R"({"event":"didReceiveDeviceMute","payload":{"deviceID":"i","deviceMute":false,"deviceName":"n"}})"),
            30000);
    }

    void driverOrdersGoThroughTheGameChannel()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.widget->onAddDevice(tavoriBrowser);
        fixture.widget->onRemoveDevice(tavoriAux2);
        const QList<QByteArray> writes = simulated::writesTo("tavori.Game.WaveSpeaker");
        QCOMPARE(writes.mid(1), QList<QByteArray>({QByteArray("\x04"), QByteArray("\x02")}));
    }

    void secondInstanceIsOnlyLogged()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.widget->restoreWindow("a;b");
        QVERIFY(fixture.log.lines().contains("Info: QuorvaneWidget::restoreWindow \"a;b\""));
        QVERIFY(!fixture.widget->isVisible());
    }
};

QTEST_MAIN(ControllerLifeTest)
#include "tst_controller_life.moc"
