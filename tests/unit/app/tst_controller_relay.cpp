// What endpoint events do to the channels, and what of them reaches the client.
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/streams.h"
#include "tests/unit/app/channelfeed.h"
#include "tests/unit/app/controllerfixture.h"

#include <QRegularExpression>
#include <QTest>

namespace
{
const QString gamingName = QStringLiteral("tavori - Gaming (tavori Virtual Audio Device)");
const QString gamingFile = QStringLiteral("tavori.Game.WaveSpeaker");

QJsonObject routeTo(const QString &name, const QString &id)
{
    return {{"deviceType", "outputDevice"},
            {"routeDeviceName", gamingName},
            {"deviceName", name},
            {"deviceID", id}};
}
} // namespace

class ControllerRelayTest : public QObject
{
    Q_OBJECT

private slots:
    void routeSounds()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        fixture.settle();
        QVERIFY(fixture.log.lines().contains("Info: tavori game output device!"));
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);
        QCOMPARE(sampleHeard(stream, gamingFile, 12000), 12000);
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void levelOfTheChannelsOwnEndpointIsItsGain()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString gaming = fixture.renderId(tavoriGame);
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        fixture.settle();
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);

        simulated::changeVolumeFromOutside(gaming, 0.5f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged"),
                 QJsonObject({{"deviceName", gamingName},
                              {"deviceID", gaming},
                              {"deviceMute", false},
                              {"deviceVolume", 50}}));
        QVERIFY(fixture.log.lines().contains("Info: onDeviceControlChanged() : \"deviceID = " +
                                             gaming + ", muted = 0, masterVolume = 50\""));
        const auto expected = static_cast<qint16>(12000 * float(0.333188));
        QTRY_VERIFY(qAbs(sampleHeard(stream, gamingFile, 12000) - expected) <= 1);

        // A level of another endpoint leaves the channel alone.
        simulated::changeVolumeFromOutside(fixture.headset, 0.1f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 10);
        QVERIFY(qAbs(sampleHeard(stream, gamingFile, 12000) - expected) <= 1);

        // An order of our own acts the same way and is not told.
        fixture.send("setDeviceVolume", {{"deviceType", "outputDevice"},
                                         {"deviceName", gamingName},
                                         {"deviceID", gaming},
                                         {"deviceVolume", 100}});
        QVERIFY(fixture.waitForLog("onDeviceStateChanged() : end"));
        QVERIFY(fixture.log.lines().contains("Info: onDeviceStateChanged() : \"deviceID = " +
                                             gaming + ", muted = 0, masterVolume = 100\""));
        fixture.settle();
        QTRY_COMPARE(sampleHeard(stream, gamingFile, 12000), 12000);
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void addedEndpointIsTold_data()
    {
        QTest::addColumn<bool>("active");
        QTest::newRow("added") << false;
        QTest::newRow("active") << true;
    }

    void addedEndpointIsTold()
    {
        QFETCH(const bool, active);
        ControllerFixture fixture;
        fixture.start();
        simulated::clearCalls();
        const QString id = simulated::addEndpoint({.name = "Extra"});
        if (active)
            simulated::notifyDeviceState(id, DEVICE_STATE_ACTIVE);
        else
            simulated::notifyDeviceAdded(id);
        QCOMPARE(fixture.waitForEvent(active ? "deviceActive" : "deviceAdded"),
                 QJsonObject({{"deviceName", "Extra"}, {"deviceID", id}}));
        // A real endpoint touches no channel.
        fixture.settle();
        for (const char *call : {"CreateFileW", "WriteFile", "CloseHandle", "IAudioClient::Stop"})
            QCOMPARE(simulated::countCalls(call), 0);
    }

    void departures_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("event");
        QTest::newRow("removed") << 0 << "deviceRemoved";
        QTest::newRow("disabled") << int(DEVICE_STATE_DISABLED) << "deviceDisabled";
        QTest::newRow("not present") << int(DEVICE_STATE_NOTPRESENT) << "deviceNotPresent";
        QTest::newRow("unplugged") << int(DEVICE_STATE_UNPLUGGED) << "deviceUnplugged";
    }

    void departures()
    {
        QFETCH(const int, state);
        QFETCH(const QString, event);
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        fixture.settle();
        QVERIFY(simulated::waitForRenderStream(fixture.headset));

        if (state == 0) {
            simulated::removeEndpoint(fixture.headset);
            simulated::notifyDeviceRemoved(fixture.headset);
        } else {
            simulated::setState(fixture.headset, state);
            simulated::notifyDeviceState(fixture.headset, state);
        }
        QCOMPARE(fixture.waitForEvent(event), QJsonObject({{"deviceID", fixture.headset}}));
        QVERIFY(simulated::renderStreams(fixture.headset).isEmpty());
        // The channel itself stays open and is routed anew.
        QCOMPARE(simulated::openDeviceFiles(gamingFile), 1);
        fixture.send("switchDevice", routeTo("Speakers", fixture.speakers));
        fixture.settle();
        auto stream = simulated::waitForRenderStream(fixture.speakers);
        QVERIFY(stream);
        QCOMPARE(sampleHeard(stream, gamingFile, 9000), 9000);
    }

    void departureOfAnUnknownEndpointIsStillTold()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::notifyDeviceRemoved("{nobody}");
        QCOMPARE(fixture.waitForEvent("deviceRemoved"), QJsonObject({{"deviceID", "{nobody}"}}));
    }

    void channelFollowsItsVirtualEndpoint()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString gaming = fixture.renderId(tavoriGame);
        simulated::setState(gaming, DEVICE_STATE_DISABLED);
        simulated::notifyDeviceState(gaming, DEVICE_STATE_DISABLED);
        QCOMPARE(fixture.waitForEvent("deviceDisabled"), QJsonObject({{"deviceID", gaming}}));
        QCOMPARE(simulated::openDeviceFiles(gamingFile), 0);
        QCOMPARE(simulated::openDeviceFiles("tavori.Chat.WaveSpeaker"), 1);

        simulated::setVolume(gaming, 0.25f);
        simulated::setState(gaming, DEVICE_STATE_ACTIVE);
        simulated::notifyDeviceState(gaming, DEVICE_STATE_ACTIVE);
        QCOMPARE(fixture.waitForEvent("deviceActive"),
                 QJsonObject({{"deviceName", gamingName}, {"deviceID", gaming}}));
        QCOMPARE(simulated::openDeviceFiles(gamingFile), 1);
        // It took the level that its endpoint had when it opened.
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        fixture.settle();
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);
        QVERIFY(qAbs(sampleHeard(stream, gamingFile, 12000) - 12000 * 0.132227) <= 1);
    }

    void microphoneFollowsItsRenderSide()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString render = fixture.renderId(tavoriChatCapture);
        QVERIFY(simulated::waitForRenderStream(render));
        simulated::removeEndpoint(render);
        simulated::notifyDeviceRemoved(render);
        QCOMPARE(fixture.waitForEvent("deviceRemoved"), QJsonObject({{"deviceID", render}}));
        QVERIFY(simulated::renderStreams(render).isEmpty());
    }

    void defaultChangeIsToldOnce()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::setDefault(eRender, fixture.headset);
        for (const ERole role : {eConsole, eMultimedia, eCommunications})
            simulated::notifyDefaultChanged(eRender, role, fixture.headset);
        QCOMPARE(fixture.waitForEvent("defaultDeviceChanged"),
                 QJsonObject({{"deviceType", "outputDevice"},
                              {"deviceName", "Headset"},
                              {"deviceID", fixture.headset}}));
        const QString other = simulated::addEndpoint({.name = "Other mic", .flow = eCapture});
        simulated::setDefault(eCapture, other);
        simulated::notifyDefaultChanged(eCapture, eConsole, other);
        QCOMPARE(
            fixture.waitForEvent("defaultDeviceChanged"),
            QJsonObject(
                {{"deviceType", "inputDevice"}, {"deviceName", "Other mic"}, {"deviceID", other}}));
        QCOMPARE(fixture.pendingEvents().filter("defaultDeviceChanged"), QStringList());
        QCOMPARE(fixture.log.lines().filter("DeviceChanged() :").filter("Default"),
                 QStringList({"Info: onDefaultRenderDeviceChanged() : \"" + fixture.headset + "\"",
                              "Info: onDefaultRenderDeviceChanged() : end",
                              "Info: onDefaultCaptureDeviceChanged() : \"" + other + "\"",
                              "Info: onDefaultCaptureDeviceChanged() : end"}));
    }

    void setCurrentDeviceSetsTheDefault()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("setCurrentDevice", {{"deviceType", "outputDevice"},
                                          {"deviceName", "Headset"},
                                          {"deviceID", fixture.headset}});
        QCOMPARE(fixture.waitForEvent("defaultDeviceChanged").value("deviceID").toString(),
                 fixture.headset);
        QCOMPARE(simulated::defaultEndpoint(eRender), fixture.headset);
        QCOMPARE(simulated::defaultEndpoint(eRender, eMultimedia), fixture.speakers);
        // What already is the default costs no policy call.
        simulated::clearCalls();
        fixture.send("setCurrentDevice", {{"deviceType", "outputDevice"},
                                          {"deviceName", "Headset"},
                                          {"deviceID", fixture.headset}});
        fixture.settle();
        QCOMPARE(simulated::countCalls("IPolicyConfig::SetDefaultEndpoint"), 0);
    }

    void propertyChangeReopensTheOutput()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        fixture.settle();
        QVERIFY(simulated::waitForRenderStream(fixture.headset));
        QTest::qWait(510); // the window in which the sink swallows key properties
        simulated::setMixFormat(fixture.headset, 6, 44100);
        simulated::clearCalls();
        simulated::notifyPropertyChanged(fixture.headset, PKEY_Device_FriendlyName);
        QVERIFY(fixture.waitForLog("Info: onPropertyValueChanged() : handle end"));
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);
        QCOMPARE(stream.setup().format.Format.nChannels, 6);
        QCOMPARE(simulated::renderStreams(fixture.headset).size(), 1);
        QCOMPARE(fixture.pendingEvents(), QStringList());
        const QStringList lines = fixture.log.lines();
        QVERIFY(lines.indexOf("Info: onPropertyValueChanged() : end") <
                lines.indexOf("Info: onPropertyValueChanged() : handle begin"));
    }

    void propertyChangeThenRemoval()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("switchDevice", routeTo("Headset", fixture.headset));
        for (const char *command :
             {"switchPersonalSynthesizerDevice", "switchStreamingSynthesizerDevice"})
            fixture.send(command, {{"deviceName", "Headset"}, {"deviceID", fixture.headset}});
        fixture.settle();
        changeThenRemove(fixture, fixture.headset);
        // Nothing is opened, not even in vain.
        static const QRegularExpression openings("Output|openDevice|Can't find|[sS]tartCapture");
        QCOMPARE(linesOfTheRenewal(fixture).filter(openings), QStringList());
        QVERIFY(simulated::renderStreams(fixture.headset).isEmpty());
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void propertyChangeThenRemovalOfTheMicrophone()
    {
        ControllerFixture fixture;
        fixture.start();
        const QJsonObject microphone{{"deviceName", "Microphone"},
                                     {"deviceID", fixture.microphone}};
        fixture.send("switchMicrophoneInputDevice", microphone);
        fixture.settle();
        QVERIFY(simulated::waitForCaptureStream(fixture.microphone));
        changeThenRemove(fixture, fixture.microphone);
        // The capture keeps its endpoint when it stops: it is tried again, in vain.
        QVERIFY(!linesOfTheRenewal(fixture).filter("::startCapture").isEmpty());
        QVERIFY(fixture.waitForLog("Critical: Capture microphone - Can't find device:"));
        QVERIFY(simulated::captureStreams(fixture.microphone).isEmpty());
        QCOMPARE(fixture.pendingEvents(), QStringList());

        simulated::addEndpoint({.name = "Microphone", .flow = eCapture, .id = fixture.microphone});
        fixture.send("switchMicrophoneInputDevice", microphone);
        fixture.settle();
        QVERIFY(simulated::waitForCaptureStream(fixture.microphone));
    }

    void unknownRoutes_data()
    {
        QTest::addColumn<QString>("route");
        QTest::newRow("Microphone") << "tavori - Microphone (tavori Virtual Audio Device)";
        QTest::newRow("Stream") << "tavori - Stream (tavori Virtual Audio Device)";
        QTest::newRow("nobody") << "nobody";
    }

    void unknownRoutes()
    {
        QFETCH(const QString, route);
        ControllerFixture fixture;
        fixture.start();
        QJsonObject payload = routeTo("Headset", fixture.headset);
        payload.insert("routeDeviceName", route);
        fixture.send("switchDevice", payload);
        fixture.settle();
        QVERIFY(fixture.log.lines().contains("Critical: Unknown device!"));
        QVERIFY(simulated::renderStreams(fixture.headset).isEmpty());
    }

    void emptySlotsAreSkipped()
    {
        ControllerFixture fixture;
        fixture.start();
        for (const QString name : {"Aux2", "Aux3", "Browser"}) {
            QJsonObject payload = routeTo("Headset", fixture.headset);
            payload.insert("routeDeviceName",
                           "tavori - " + name + " (tavori Virtual Audio Device)");
            fixture.send("switchDevice", payload);
        }
        fixture.settle();
        QVERIFY(fixture.log.lines().contains("Info: tavori aux2 output device!"));
        QVERIFY(fixture.log.lines().contains("Info: tavori aux3 output device!"));
        QVERIFY(fixture.log.lines().contains("Info: tavori browser output device!"));
        QVERIFY(simulated::renderStreams(fixture.headset).isEmpty());
    }

private:
    /// Changes a property of the endpoint and removes it before the change is handled.
    static void changeThenRemove(ControllerFixture &fixture, const QString &id)
    {
        QTest::qWait(510); // the window in which the sink swallows key properties
        simulated::clearCalls();
        simulated::notifyPropertyChanged(id, PKEY_Device_FriendlyName);
        simulated::removeEndpoint(id);
        simulated::notifyDeviceRemoved(id);
        // The controller comes to both at once.
        QVERIFY(
            simulated::waitForCall("IAudioEndpointVolume::UnregisterControlChangeNotify", 30000));
        QCOMPARE(fixture.waitForEvent("deviceRemoved").value("deviceID").toString(), id);
        QVERIFY(fixture.waitForLog("Info: onPropertyValueChanged() : handle end"));
        const QStringList lines = fixture.log.lines();
        QVERIFY2(lines.indexOf("Info: onDeviceRemoved() : end") <
                     lines.indexOf("Info: onPropertyValueChanged() : handle begin"),
                 "the removal did not come before the change was due");
    }

    static QStringList linesOfTheRenewal(const ControllerFixture &fixture)
    {
        const QStringList lines = fixture.log.lines();
        const auto begin = lines.indexOf("Info: onPropertyValueChanged() : handle begin");
        const auto end = lines.indexOf("Info: onPropertyValueChanged() : handle end");
        return lines.mid(begin, end - begin);
    }
};

QTEST_MAIN(ControllerRelayTest)
#include "tst_controller_relay.moc"
