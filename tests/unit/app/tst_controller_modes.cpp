// Streamer mode, the on-demand channels, and what both do to endpoints and defaults.
#include "engines/wasapiaudioplayer.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/streams.h"
#include "tests/unit/app/controllersteps.h"

#include <QRegularExpression>
#include <QTest>

namespace
{
void toStreamerMode(ControllerFixture &fixture)
{
    fixture.send("setControlMode", {{"mode", "StreamerMode"}});
    fixture.send("finishSetControlMode", {{"mode", "StreamerMode"}});
    // What showing Stream's two sides has raised is not this test's matter.
    (void)fixture.waitForEvent("deviceActive");
    (void)fixture.waitForEvent("deviceActive");
    fixture.settle();
    fixture.clearEvents();
}
} // namespace

class ControllerModesTest : public QObject
{
    Q_OBJECT

private slots:
    void streamIsShownInStreamerModeOnly()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto stateOf = [](const QString &id) { return simulated::endpoint(id).state; };
        toStreamerMode(fixture);
        QCOMPARE(stateOf(fixture.renderId(tavoriStream)), DEVICE_STATE_ACTIVE);
        QCOMPARE(stateOf(fixture.captureId(tavoriStream)), DEVICE_STATE_ACTIVE);
        fixture.send("setControlMode", {{"mode", "NormalMode"}});
        fixture.settle();
        QCOMPARE(stateOf(fixture.renderId(tavoriStream)), DEVICE_STATE_DISABLED);
        QCOMPARE(stateOf(fixture.captureId(tavoriStream)), DEVICE_STATE_DISABLED);
        QCOMPARE(simulated::defaultEndpoint(eRender), fixture.speakers);
    }

    void theDefaultsStay()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
        // The system takes another default whenever endpoints come or go.
        simulated::onCall("IPolicyConfig::SetEndpointVisibility", [&] {
            simulated::setDefault(eRender, fixture.headset);
            simulated::setDefault(eCapture, other);
        });
        for (const char *mode : {"StreamerMode", "NormalMode"}) {
            fixture.send("setControlMode", {{"mode", mode}});
            fixture.settle();
            QCOMPARE(simulated::defaultEndpoint(eRender), fixture.speakers);
            QCOMPARE(simulated::defaultEndpoint(eCapture), fixture.microphone);
        }
    }

    void noDefaultMeansNoDefaultCall()
    {
        ControllerFixture fixture;
        fixture.start();
        // What the system makes the default meanwhile is nothing to go back to, and may stay it.
        const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
        const auto chooseDefaults = [&] {
            simulated::setDefault(eRender, fixture.headset);
            simulated::setDefault(eCapture, other);
        };
        simulated::onCall("IPolicyConfig::SetEndpointVisibility", chooseDefaults);
        for (const char *mode : {"StreamerMode", "NormalMode"}) {
            simulated::setDefault(eRender, QString());
            simulated::setDefault(eCapture, QString());
            simulated::clearCalls();
            fixture.send("setControlMode", {{"mode", mode}});
            fixture.settle();
            QCOMPARE(simulated::calls().filter("SetDefaultEndpoint"), QStringList());
            // Each was asked of sessions and monitor before the first endpoint came or went, and
            // not once after that, as whoever sets a default does.
            const QStringList calls = simulated::calls();
            const auto first = calls.indexOf(QRegularExpression("^IPolicyConfig::SetEndpoint.*"));
            const auto asked = calls.mid(0, first).filter("GetDefaultAudioEndpoint");
            QCOMPARE(asked.size(), 4);
            QCOMPARE(simulated::countCalls("IMMDeviceEnumerator::GetDefaultAudioEndpoint"), 4);
            QCOMPARE(simulated::defaultEndpoint(eRender), fixture.headset);
        }
    }

    void aStreamThatIsTheDefaultStaysItInStreamerModeOnly()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
        const QString renderStream = fixture.renderId(tavoriStream);
        const QString captureStream = fixture.captureId(tavoriStream);
        // The system takes another default whenever endpoints come or go.
        simulated::onCall("IPolicyConfig::SetEndpointVisibility", [&] {
            simulated::setDefault(eRender, fixture.headset);
            simulated::setDefault(eCapture, other);
        });
        const auto enter = [&](const char *mode) {
            simulated::setDefault(eRender, renderStream);
            simulated::setDefault(eCapture, captureStream);
            simulated::clearCalls();
            fixture.send("setControlMode", {{"mode", mode}});
            fixture.settle();
        };
        enter("StreamerMode");
        QCOMPARE(simulated::defaultEndpoint(eRender), renderStream);
        QCOMPARE(simulated::defaultEndpoint(eCapture), captureStream);
        enter("NormalMode");
        QCOMPARE(simulated::calls().filter("SetDefaultEndpoint"), QStringList());
        QCOMPARE(simulated::defaultEndpoint(eRender), fixture.headset);
        QCOMPARE(simulated::defaultEndpoint(eCapture), other);
    }

    void virtualEndpointsAreForcedBackToFullLevel_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("capture");
        QTest::addColumn<bool>("forced");
        QTest::newRow("Aux") << int(tavoriAux) << false << true;
        QTest::newRow("Gaming") << int(tavoriGame) << false << true;
        QTest::newRow("Microphone, render side") << int(tavoriChatCapture) << false << true;
        QTest::newRow("Microphone, capture side") << int(tavoriChatCapture) << true << false;
        QTest::newRow("Stream, render side") << int(tavoriStream) << false << false;
        QTest::newRow("Stream, capture side") << int(tavoriStream) << true << false;
    }

    void virtualEndpointsAreForcedBackToFullLevel()
    {
        QFETCH(const int, type);
        QFETCH(const bool, capture);
        QFETCH(const bool, forced);
        ControllerFixture fixture;
        fixture.start();
        toStreamerMode(fixture);
        const auto channel = static_cast<tavoriDeviceType>(type);
        const QString id = capture ? fixture.captureId(channel) : fixture.renderId(channel);
        simulated::clearCalls();
        simulated::changeVolumeFromOutside(id, 0.4f);
        if (!forced) {
            QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(),
                     40);
            QCOMPARE(qRound(simulated::endpoint(id).volume * 100), 40);
            return;
        }
        QTRY_COMPARE(simulated::endpoint(id).volume, 1.0f);
        simulated::changeMuteFromOutside(id, true);
        QTRY_VERIFY(!simulated::endpoint(id).muted);
        fixture.settle();
        QCOMPARE(simulated::countCalls("IAudioEndpointVolume::SetMasterVolumeLevelScalar"), 1);
        QCOMPARE(simulated::countCalls("IAudioEndpointVolume::SetMute"), 1);
        QCOMPARE(fixture.pendingEvents(), QStringList());
        // In the monitor's own name, so that each comes back as its own doing.
        const auto lines = [&](const char *handler, const char *level) {
            return fixture.log.lines().count(
                QStringLiteral("Info: %1() : \"deviceID = %2, %3\"").arg(handler, id, level));
        };
        QCOMPARE(lines("onDeviceControlChanged", "muted = 0, masterVolume = 40"), 1);
        QCOMPARE(lines("onDeviceStateChanged", "muted = 0, masterVolume = 100"), 2);
        QCOMPARE(lines("onDeviceControlChanged", "muted = 1, masterVolume = 100"), 1);
        QCOMPARE(fixture.log.lines().filter("onDeviceControlChanged() : \"").size(), 2);
    }

    void fullLevelNeedsNoForce()
    {
        ControllerFixture fixture;
        fixture.start();
        toStreamerMode(fixture);
        simulated::clearCalls();
        simulated::changeVolumeFromOutside(fixture.renderId(tavoriAux), 1.0f);
        QVERIFY(fixture.waitForLog("Info: onDeviceControlChanged() : end"));
        fixture.settle();
        QCOMPARE(simulated::calls().filter("IAudioEndpointVolume::Set"), QStringList());
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void realEndpointsAreOnlyTold()
    {
        ControllerFixture fixture;
        fixture.start();
        toStreamerMode(fixture);
        simulated::changeVolumeFromOutside(fixture.headset, 0.4f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 40);
        QCOMPARE(qRound(simulated::endpoint(fixture.headset).volume * 100), 40);
    }

    void onDemandChannels_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("type");
        QTest::newRow("Browser") << "Browser" << int(tavoriBrowser);
        QTest::newRow("Aux2") << "Aux2" << int(tavoriAux2);
        QTest::newRow("Aux3") << "Aux3" << int(tavoriAux3);
    }

    void onDemandChannels()
    {
        QFETCH(const QString, word);
        QFETCH(const int, type);
        const auto channel = static_cast<tavoriDeviceType>(type);
        const QString file = channelOfType(channel)->fileSuffix;
        ControllerFixture fixture;
        fixture.start();
        const QString id = fixture.renderId(channel);

        // Removing what was never added still hides the endpoint and reports success.
        simulated::setState(id, DEVICE_STATE_ACTIVE);
        fixture.send("removeOutputDevice", {{"outputDeviceName", word}});
        QCOMPARE(fixture.waitForEvent("finishRemoveOutputDevice"),
                 QJsonObject({{"outputDeviceName", word}}));
        QCOMPARE(simulated::endpoint(id).state, DEVICE_STATE_DISABLED);
        QCOMPARE(simulated::openDeviceFiles(file), 0);
        QVERIFY(!channelIn(fixture, channel));

        for (int round = 0; round < 2; ++round) {
            simulated::clearCalls();
            fixture.send("addOutputDevice", {{"outputDeviceName", word}});
            QCOMPARE(fixture.waitForEvent("finishAddOutputDevice"),
                     QJsonObject({{"outputDeviceName", word}}));
            // The second time too, by the channel that is there already.
            QVERIFY(!simulated::calls().filter("CreateFileW").filter(file).isEmpty());
            const auto devices = fixture.widget->findChildren<tavoriOutputDevice *>();
            QCOMPARE(devices.size(), qsizetype(5));
            QCOMPARE(simulated::endpoint(id).state, DEVICE_STATE_ACTIVE);
            QCOMPARE(simulated::openDeviceFiles(file), 1);
            QCOMPARE(simulated::defaultEndpoint(eRender), fixture.speakers);
        }
        fixture.send("removeOutputDevice", {{"outputDeviceName", word}});
        QCOMPARE(fixture.waitForEvent("finishRemoveOutputDevice"),
                 QJsonObject({{"outputDeviceName", word}}));
        QCOMPARE(simulated::endpoint(id).state, DEVICE_STATE_DISABLED);
        QTRY_COMPARE(simulated::openDeviceFiles(file), 0);
    }

    void aChannelClosesThoughItsEndpointStays()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("addOutputDevice", {{"outputDeviceName", "Aux3"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        (void)fixture.waitForEvent("deviceActive");
        const QString file = channelOfType(tavoriAux3)->fileSuffix;
        QCOMPARE(simulated::openDeviceFiles(file), 1);
        // Nobody tells of an endpoint that could not be hidden.
        simulated::failNext("IPolicyConfig::SetEndpointVisibility", 0x80004005);
        fixture.send("removeOutputDevice", {{"outputDeviceName", "Aux3"}});
        QCOMPARE(fixture.waitForEvent("finishRemoveOutputDevice"),
                 QJsonObject({{"outputDeviceName", "Aux3"}}));
        QCOMPARE(simulated::endpoint(fixture.renderId(tavoriAux3)).state, DEVICE_STATE_ACTIVE);
        QTRY_COMPARE(simulated::openDeviceFiles(file), 0);
    }

    void aDefaultThatIsRemovedIsNotPutBack()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString id = fixture.renderId(tavoriAux2);
        fixture.send("addOutputDevice", {{"outputDeviceName", "Aux2"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        simulated::setDefault(eRender, id);
        // The system picks another one then, which stays.
        simulated::onCall("IPolicyConfig::SetEndpointVisibility",
                          [&] { simulated::setDefault(eRender, fixture.headset); });
        simulated::clearCalls();
        for (const char *command : {"addOutputDevice", "removeOutputDevice"})
            fixture.send(command, {{"outputDeviceName", "Aux2"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        (void)fixture.waitForEvent("finishRemoveOutputDevice");
        QCOMPARE(simulated::calls().filter("SetDefaultEndpoint"), QStringList());

        // Any other default is the default afterwards.
        for (const char *command : {"addOutputDevice", "removeOutputDevice"}) {
            simulated::clearCalls();
            simulated::setDefault(eRender, fixture.headset);
            simulated::onCall("IPolicyConfig::SetEndpointVisibility",
                              [id] { simulated::setDefault(eRender, id); });
            fixture.send(command, {{"outputDeviceName", "Aux2"}});
            (void)fixture.waitForEvent(command == QString("addOutputDevice")
                                           ? "finishAddOutputDevice"
                                           : "finishRemoveOutputDevice");
            QCOMPARE(simulated::defaultEndpoint(eRender), fixture.headset);
            // What is added opens before.
            const QStringList calls = simulated::calls();
            const auto firstOf = [&](const QString &call) {
                const QStringList found = calls.filter(call);
                return found.isEmpty() ? calls.size() : calls.indexOf(found.first());
            };
            if (command == QString("addOutputDevice"))
                QVERIFY2(firstOf("CreateFileW") < firstOf("SetDefaultEndpoint"),
                         qPrintable(calls.join("\n")));
        }
    }

    void streamComesBeforeItsModeAndGoesAfterIt()
    {
        ControllerFixture fixture;
        fixture.start();
        auto *const media = channelIn(fixture, tavoriMedia);
        QVERIFY(media);
        media->setGamingChatMixEnable(true);
        // The outputs that the balance scales tell the channel's mode.
        QStringList scaled;
        simulated::onCall("IPolicyConfig::SetEndpointVisibility", [&] {
            for (const auto &output : {media->audioOutput(), media->personalSynthesizerOutput()})
                output->setVolume(1.0f);
            media->setGamingChatMixProportion(-50);
            scaled.append(media->audioOutput()->getVolume() == 0.5f ? "audio" : "mixes");
        });
        for (const char *mode : {"StreamerMode", "NormalMode"}) {
            fixture.send("setControlMode", {{"mode", mode}});
            fixture.settle();
            QCOMPARE(scaled, QStringList({"audio", "audio"}));
            scaled.clear();
        }
    }

    void theMicrophoneIsSilentUntilTheModeIsFinished_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("Normal") << "NormalMode";
        QTest::newRow("Streamer") << "StreamerMode";
    }

    void theMicrophoneIsSilentUntilTheModeIsFinished()
    {
        QFETCH(const QString, mode);
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        auto stream = simulated::waitForRenderStream(fixture.renderId(tavoriChatCapture));
        QVERIFY(capture && stream);
        fixture.send("setControlMode", {{"mode", mode}});
        fixture.settle();
        QCOMPARE(soundHeard(stream, speech(capture)), 0);
        fixture.send("finishSetControlMode", {{"mode", mode}});
        fixture.settle();
        QCOMPARE(soundHeard(stream, speech(capture)), 12000);
    }

    void aChannelAddedBetweenSetAndFinishWaitsToo()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("setControlMode", {{"mode", "StreamerMode"}});
        fixture.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        auto *const browser = channelIn(fixture, tavoriBrowser);
        QVERIFY(browser);
        // Its place in the personal mix tells the mode.
        const QString mix = simulated::addEndpoint({.name = "Mix"});
        browser->initPersonalSynthesizerAudioOutput(mix, "Mix", {});
        const auto stream = simulated::waitForRenderStream(mix);
        QVERIFY(stream);
        const QString file = channelOfType(tavoriBrowser)->fileSuffix;
        QCOMPARE(sampleHeard(stream, file, 9000), 0);
        fixture.send("finishSetControlMode", {{"mode", "StreamerMode"}});
        fixture.settle();
        QCOMPARE(sampleHeard(stream, file, 9000), 9000);
    }

    void otherWordsAreRefused()
    {
        ControllerFixture fixture;
        fixture.start();
        for (const QString word : {"browser", "Aux", "Gaming", ""}) {
            fixture.send("addOutputDevice", {{"outputDeviceName", word}});
            QCOMPARE(fixture.waitForEvent("cannotAddOutputDevice"),
                     QJsonObject({{"outputDeviceName", word}}));
            fixture.send("removeOutputDevice", {{"outputDeviceName", word}});
            QCOMPARE(fixture.waitForEvent("cannotRemoveOutputDevice"),
                     QJsonObject({{"outputDeviceName", word}}));
        }
    }

    void channelOpenedLateInStreamerModeHasFullLevel()
    {
        ControllerFixture fixture;
        fixture.start();
        toStreamerMode(fixture);
        simulated::setVolume(fixture.renderId(tavoriBrowser), 0.3f);
        fixture.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        (void)fixture.waitForEvent("deviceActive");
        // What it took shows once Normal mode lets its main output sound.
        fixture.send("setControlMode", {{"mode", "NormalMode"}});
        fixture.send("finishSetControlMode", {{"mode", "NormalMode"}});
        fixture.send("switchDevice",
                     {{"deviceType", "outputDevice"},
                      {"routeDeviceName", "tavori - Browser (tavori Virtual Audio Device)"},
                      {"deviceName", "Headset"},
                      {"deviceID", fixture.headset}});
        fixture.settle();
        auto stream = simulated::waitForRenderStream(fixture.headset);
        QVERIFY(stream);
        QCOMPARE(sampleHeard(stream, "tavori.Browser.WaveSpeaker", 12000), 12000);
    }
};

QTEST_MAIN(ControllerModesTest)
#include "tst_controller_modes.moc"
