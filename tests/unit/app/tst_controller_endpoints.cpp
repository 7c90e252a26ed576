// Endpoints that come, go and change: what that does to the mixes, the channels and the catalogue.
#include "engines/wasapiaudioplayer.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/settings.h"
#include "tests/support/virtualcardtree.h"
#include "tests/unit/app/controllersteps.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QTest>

class ControllerEndpointsTest : public QObject
{
    Q_OBJECT

private slots:
    void streamsLevelCountsInStreamerMode()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        setMode(fixture, "StreamerMode");
        const QString id = fixture.renderId(tavoriStream);
        fixture.send("switchStreamingSynthesizerDevice", device(fullName(tavoriStream), id));
        fixture.settle();
        auto *gaming = channelIn(fixture, tavoriGame);
        QVERIFY(gaming);
        const auto gain = [gaming] { return gaming->streamingSynthesizerOutput()->getVolume(); };
        QCOMPARE(gain(), 1.0f);

        orderLevel(fixture, id, "deviceVolume", 50);
        QVERIFY(qAbs(gain() - 0.333188f) < 0.0001f);
        orderLevel(fixture, id, "deviceMute", true);
        QCOMPARE(gain(), 0.0f);
        // A volume that changes meanwhile does not end the mute.
        orderLevel(fixture, id, "deviceVolume", 25);
        QCOMPARE(gain(), 0.0f);
        orderLevel(fixture, id, "deviceMute", false);
        QVERIFY(qAbs(gain() - 0.132227f) < 0.0001f);
        // A change of somebody else's is told, and the client is to decide.
        simulated::changeVolumeFromOutside(id, 0.5f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 50);
        QVERIFY(qAbs(gain() - 0.132227f) < 0.0001f);
        // Another endpoint's level is nothing to the mix.
        orderLevel(fixture, fixture.renderId(tavoriGame), "deviceVolume", 10);
        QVERIFY(qAbs(gain() - 0.132227f) < 0.0001f);

        // In Normal mode the level of Stream is a level like any other.
        setMode(fixture, "NormalMode");
        announceState(id, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        fixture.send("switchStreamingSynthesizerDevice", device(fullName(tavoriStream), id));
        fixture.settle();
        QVERIFY(qAbs(gain() - 0.333188f) < 0.0001f);
        orderLevel(fixture, id, "deviceVolume", 100);
        QVERIFY(qAbs(gain() - 0.333188f) < 0.0001f);
    }

    void propertyChangeElsewhereReopensNothing()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        fixture.send("switchPersonalSynthesizerDevice", device("Headset", fixture.headset));
        fixture.settle();
        const auto playing = simulated::renderStreams(fixture.headset);
        QVERIFY(!playing.isEmpty());
        changeProperty(fixture, fixture.speakers);
        for (const simulated::RenderStream &stream : playing)
            QVERIFY(stream.isOpen());
        QVERIFY(capture.isOpen());
    }

    void propertyChangeReopensTheMixes()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchPersonalSynthesizerDevice", device("Headset", fixture.headset));
        fixture.send("switchStreamingSynthesizerDevice", device("Speakers", fixture.speakers));
        fixture.settle();
        auto *gaming = channelIn(fixture, tavoriGame);
        QVERIFY(gaming);
        simulated::rename(fixture.headset, "Headset of old");
        changeProperty(fixture, fixture.headset);
        QCOMPARE(gaming->personalSynthesizerOutput()->deviceName(), "Headset of old");
        QCOMPARE(gaming->streamingSynthesizerOutput()->deviceName(), "Speakers");
        simulated::rename(fixture.speakers, "Speakers of old");
        changeProperty(fixture, fixture.speakers);
        QCOMPARE(gaming->streamingSynthesizerOutput()->deviceName(), "Speakers of old");
        QCOMPARE(gaming->personalSynthesizerOutput()->deviceName(), "Headset of old");
    }

    void propertyChangesOfOneMomentAreAllHandled()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchPersonalSynthesizerDevice", device("Headset", fixture.headset));
        fixture.send("switchStreamingSynthesizerDevice", device("Speakers", fixture.speakers));
        fixture.settle();
        const auto *gaming = channelIn(fixture, tavoriGame);
        QVERIFY(gaming);
        simulated::rename(fixture.headset, "Headset of old");
        simulated::rename(fixture.speakers, "Speakers of old");
        fixture.log.clear();
        // The sink swallows what follows too soon; the controller comes to both at once.
        for (const QString &id : {fixture.headset, fixture.speakers}) {
            QTest::qSleep(510);
            simulated::notifyPropertyChanged(id, PKEY_Device_FriendlyName);
        }
        // The monitor has come to what was announced after them.
        simulated::clearCalls();
        simulated::notifyDeviceAdded(simulated::addEndpoint({.name = "Extra"}));
        QVERIFY(simulated::waitForCall("IAudioEndpointVolume::RegisterControlChangeNotify", 30000));
        const auto count = [&](const QString &line) {
            return fixture.log.lines().count("Info: onPropertyValueChanged() : " + line);
        };
        QVERIFY(QTest::qWaitFor([&] { return count("handle end") == 2; }, 30000));
        QCOMPARE(count("handle begin"), 2);
        const QStringList lines = fixture.log.lines();
        QVERIFY2(lines.lastIndexOf("Info: onPropertyValueChanged() : end") <
                     lines.indexOf("Info: onPropertyValueChanged() : handle begin"),
                 "the second one did not come before the first was due");
        QCOMPARE(gaming->personalSynthesizerOutput()->deviceName(), "Headset of old");
        QCOMPARE(gaming->streamingSynthesizerOutput()->deviceName(), "Speakers of old");
    }

    void propertyChangeWaitsHalfASecond()
    {
        ControllerFixture fixture;
        fixture.start();
        QElapsedTimer sinceChange;
        sinceChange.start();
        changeProperty(fixture, fixture.headset);
        QVERIFY(sinceChange.elapsed() >= 510 + 490);
        QVERIFY(fixture.log.lines().contains("Info: onPropertyValueChanged() : \"" +
                                             fixture.headset + "\""));
    }

    void channelTakesItsEndpointsPlace()
    {
        ControllerFixture fixture;
        fixture.start();
        for (const tavoriDeviceType type : {tavoriAux, tavoriChat, tavoriGame, tavoriMedia}) {
            auto *channel = channelIn(fixture, type);
            QVERIFY(channel);
            QCOMPARE(channel->deviceID(), fixture.renderId(type));
            QCOMPARE(channel->deviceName(), fullName(type));
        }
    }

    void captureSideOfASpeakerOpensNothing()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString id = simulated::addEndpoint({.name = fullName(tavoriGame), .flow = eCapture});
        simulated::clearCalls();
        simulated::notifyDeviceAdded(id);
        QCOMPARE(fixture.waitForEvent("deviceAdded"), device(fullName(tavoriGame), id));
        QCOMPARE(simulated::countCalls("CreateFileW"), 1);
        QCOMPARE(channelIn(fixture, tavoriGame)->deviceID(), fixture.renderId(tavoriGame));
    }

    void channelTakesTheMuteOfItsEndpoint()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString gaming = fixture.renderId(tavoriGame);
        simulated::setMute(gaming, true);
        announceState(gaming, DEVICE_STATE_DISABLED);
        announceState(gaming, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QJsonObject payload = device("Headset", fixture.headset);
        payload.insert("deviceType", "outputDevice");
        payload.insert("routeDeviceName", fullName(tavoriGame));
        fixture.send("switchDevice", payload);
        fixture.settle();
        QCOMPARE(channelIn(fixture, tavoriGame)->audioOutput()->getVolume(), 0.0f);
        // And its unmuting.
        simulated::changeMuteFromOutside(gaming, false);
        (void)fixture.waitForEvent("deviceControlChanged");
        QCOMPARE(channelIn(fixture, tavoriGame)->audioOutput()->getVolume(), 1.0f);
    }

    void lateChannelTakesThePresentMode()
    {
        ControllerFixture fixture;
        fixture.start();
        setMode(fixture, "StreamerMode");
        fixture.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        fixture.send("switchPersonalSynthesizerDevice", device("Headset", fixture.headset));
        fixture.settle();
        // Only in Streamer mode does a channel play into the personal mix.
        const auto heard = [&] {
            const auto feed = [] {
                simulated::queueAudio(channelOfType(tavoriBrowser)->fileSuffix, blockOf(9000, 480));
            };
            for (const simulated::RenderStream &stream :
                 simulated::renderStreams(fixture.headset)) {
                if (soundHeard(stream, feed) == 9000)
                    return true;
            }
            return false;
        };
        QVERIFY(heard());
    }

    void lateEndpointIsKnownByItsNameOnly()
    {
        ControllerFixture fixture;
        simulated::SettingsGroups groups = renderCardGroups();
        groups.removeIf(
            [](const auto &entry) { return entry.first == cardGroup(*channelOfType(tavoriAux)); });
        setRenderTree(groups);
        fixture.start();
        setRenderTree(renderCardGroups());
        const QString aux = fixture.renderId(tavoriAux);
        simulated::clearCalls();
        announceState(aux, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QVERIFY2(simulated::countCalls("CreateFileW") == 2, "the channel opens by the name");
        // The catalogue does not have it, so nobody holds it at full level.
        setMode(fixture, "StreamerMode");
        simulated::changeVolumeFromOutside(aux, 0.4f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 40);
        QCOMPARE(qRound(simulated::endpoint(aux).volume * 100), 40);
    }

    void emptyCatalogueIsReadAgain()
    {
        ControllerFixture fixture;
        setRenderTree({});
        setCaptureTree({});
        fixture.start();
        setMode(fixture, "StreamerMode");
        setRenderTree(renderCardGroups());
        simulated::changeVolumeFromOutside(fixture.renderId(tavoriAux), 0.4f);
        QTRY_COMPARE(simulated::endpoint(fixture.renderId(tavoriAux)).volume, 1.0f);
    }

    void defaultInputIsSet()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
        fixture.send("setCurrentDevice",
                     {{"deviceType", "inputDevice"}, {"deviceName", "Other"}, {"deviceID", other}});
        QCOMPARE(fixture.waitForEvent("defaultDeviceChanged").value("deviceType").toString(),
                 "inputDevice");
        QCOMPARE(simulated::defaultEndpoint(eCapture), other);
        QCOMPARE(simulated::defaultEndpoint(eRender), fixture.speakers);
        const QStringList lines = fixture.log.lines();
        QVERIFY(lines.contains("Info: onSetCurrentInputDevice() : \"Other\" \"" + other + "\""));
        QVERIFY(lines.contains("Info: onSetCurrentInputDevice() : end"));
    }

    void theDefaultInputIsNotSetAgain()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::clearCalls();
        QJsonObject order = device("Microphone", fixture.microphone);
        order.insert("deviceType", "inputDevice");
        fixture.send("setCurrentDevice", order);
        fixture.settle();
        QCOMPARE(simulated::calls().filter("SetDefaultEndpoint"), QStringList());
    }

    void onlyTheMicrophoneTakesAnInput()
    {
        ControllerFixture fixture;
        fixture.start();
        QJsonObject order = device("Microphone", fixture.microphone);
        order.insert("deviceType", "inputDevice");
        for (const tavoriDeviceType type : {tavoriGame, tavoriStream}) {
            fixture.log.clear();
            order.insert("routeDeviceName", fullName(type));
            fixture.send("switchDevice", order);
            fixture.settle();
            QVERIFY(fixture.log.lines().contains("Critical: Unknown device!"));
        }
        QVERIFY(simulated::captureStreams(fixture.microphone).isEmpty());
        order.insert("routeDeviceName", fullName(tavoriChatCapture));
        fixture.send("switchDevice", order);
        fixture.settle();
        QVERIFY(simulated::waitForCaptureStream(fixture.microphone));
    }

    void channelIsSwitched_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("line");
        QTest::newRow("Aux") << int(tavoriAux) << "tavori aux output device!";
        QTest::newRow("Aux2") << int(tavoriAux2) << "tavori aux2 output device!";
        QTest::newRow("Aux3") << int(tavoriAux3) << "tavori aux3 output device!";
        QTest::newRow("Browser") << int(tavoriBrowser) << "tavori browser output device!";
        QTest::newRow("Chat") << int(tavoriChat) << "tavori chat output device!";
        QTest::newRow("Gaming") << int(tavoriGame) << "tavori game output device!";
        QTest::newRow("Media") << int(tavoriMedia) << "tavori media output device!";
    }

    void channelIsSwitched()
    {
        QFETCH(const int, type);
        QFETCH(const QString, line);
        const auto channel = static_cast<tavoriDeviceType>(type);
        ControllerFixture fixture;
        fixture.start();
        for (const QString word : {"Aux2", "Aux3", "Browser"})
            fixture.send("addOutputDevice", {{"outputDeviceName", word}});
        fixture.settle();
        fixture.log.clear();
        QJsonObject payload = device("Headset", fixture.headset);
        payload.insert("deviceType", "outputDevice");
        payload.insert("routeDeviceName", fullName(channel));
        fixture.send("switchDevice", payload);
        fixture.settle();
        const QStringList lines = fixture.log.lines();
        const auto begin =
            lines.indexOf(QStringLiteral("Info: onSwitchOutputDevice() : %1 \"Headset\" \"%2\"")
                              .arg(type)
                              .arg(fixture.headset));
        QVERIFY(begin >= 0);
        QCOMPARE(lines.value(begin + 1), "Info: " + line);
        QVERIFY(lines.indexOf("Info: onSwitchOutputDevice() : end") > begin);
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);
        QCOMPARE(simulated::renderStreams(fixture.headset).size(), 1);
        QCOMPARE(sampleHeard(stream, channelOfType(channel)->fileSuffix, 9000), 9000);
    }

    void eventsAreLogged_data()
    {
        QTest::addColumn<QString>("handler");
        for (const char *handler : {"onDeviceAdded", "onDeviceActive", "onDeviceRemoved",
                                    "onDeviceDisabled", "onDeviceNotPresent", "onDeviceUnplugged"})
            QTest::newRow(handler) << handler;
    }

    void eventsAreLogged()
    {
        QFETCH(const QString, handler);
        ControllerFixture fixture;
        fixture.start();
        const QString id = simulated::addEndpoint({.name = "Extra"});
        if (handler == "onDeviceAdded")
            simulated::notifyDeviceAdded(id);
        else if (handler == "onDeviceRemoved")
            simulated::notifyDeviceRemoved(id);
        else
            simulated::notifyDeviceState(id, handler == "onDeviceActive"     ? DEVICE_STATE_ACTIVE
                                             : handler == "onDeviceDisabled" ? DEVICE_STATE_DISABLED
                                             : handler == "onDeviceNotPresent"
                                                 ? DEVICE_STATE_NOTPRESENT
                                                 : DEVICE_STATE_UNPLUGGED);
        QVERIFY(fixture.waitForLog("Info: " + handler + "() : end"));
        QVERIFY(fixture.log.lines().contains("Info: " + handler + "() : \"" + id + "\""));
    }

    void realEndpointsAreKnownByTheirLatestName_data()
    {
        QTest::addColumn<bool>("capture");
        QTest::addColumn<bool>("active");
        QTest::newRow("output, added") << false << false;
        QTest::newRow("output, active") << false << true;
        QTest::newRow("input, added") << true << false;
        QTest::newRow("input, active") << true << true;
    }

    void realEndpointsAreKnownByTheirLatestName()
    {
        QFETCH(const bool, capture);
        QFETCH(const bool, active);
        ControllerFixture fixture;
        // A name like this is listed, and yet belongs to no channel.
        const QString name = "tavori - Headset (tavori Virtual Audio Device)";
        const QString id =
            simulated::addEndpoint({.name = name, .flow = capture ? eCapture : eRender});
        fixture.start();
        simulated::rename(id, "Another name");
        simulated::clearCalls();
        if (active)
            simulated::notifyDeviceState(id, DEVICE_STATE_ACTIVE);
        else
            simulated::notifyDeviceAdded(id);
        (void)fixture.waitForEvent(active ? "deviceActive" : "deviceAdded");
        QCOMPARE(simulated::countCalls("CreateFileW"), 0);
        auto *combo = fixture.widget->findChild<QComboBox *>();
        QVERIFY(combo->findData(id) > 0);
        fixture.log.clear();
        combo->setCurrentIndex(combo->findData(id));
        QCOMPARE(fixture.log.lines(),
                 QStringList("Info: \"Select audio record device : Another name\""));
    }

    void namesOfThoseThatLeaveAreForgotten()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString gaming = fixture.renderId(tavoriGame);
        auto *combo = fixture.widget->findChild<QComboBox *>();
        QVERIFY(combo);
        const auto select = [&](const QString &id) {
            combo->setCurrentIndex(-1);
            fixture.log.clear();
            combo->setCurrentIndex(combo->findData(id));
            return fixture.log.lines().value(0);
        };
        const QString known = "Info: \"Select audio record device : " + fullName(tavoriGame) + "\"";
        const QString unknown = "Info: \"Select audio record device : \"";
        QCOMPARE(select(gaming), known);
        announceState(gaming, DEVICE_STATE_DISABLED);
        (void)fixture.waitForEvent("deviceDisabled");
        QCOMPARE(select(gaming), unknown);
        announceState(gaming, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QCOMPARE(select(gaming), known);

        const QString recorded = fixture.captureId(tavoriChatCapture);
        const QString knownInput =
            "Info: \"Select audio record device : " + fullName(tavoriChatCapture) + "\"";
        QCOMPARE(select(recorded), knownInput);
        announceState(recorded, DEVICE_STATE_DISABLED);
        (void)fixture.waitForEvent("deviceDisabled");
        QCOMPARE(select(recorded), unknown);
    }
};

QTEST_MAIN(ControllerEndpointsTest)
#include "tst_controller_endpoints.moc"
