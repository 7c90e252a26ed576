// The microphone's way through the program: its level, its players, and the endpoints on both ends.
#include "engines/wasapiaudioplayer.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "tests/unit/app/controllersteps.h"

#include <QTest>

namespace
{
constexpr qint16 half = 3998; // 12000 at the gain of 50 percent

const QString microphoneFile = QStringLiteral("tavori.ChatCapture.Wave");
const QString streamFile = QStringLiteral("tavori.Stream.Wave");

void addMicrophoneOutputs()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("add");
    QTest::newRow("virtual microphone") << QString() << QString();
    QTest::newRow("personal") << "switchPersonalSynthesizerDevice"
                              << "addToPersonalSynthesizer";
    QTest::newRow("streaming") << "switchStreamingSynthesizerDevice"
                               << "addToStreamingSynthesizer";
}
} // namespace

class ControllerMicrophoneTest : public QObject
{
    Q_OBJECT

private slots:
    void microphonesLevelCountsInNormalMode()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        const QString render = fixture.renderId(tavoriChatCapture);
        auto stream = simulated::waitForRenderStream(render);
        QVERIFY(stream);
        QCOMPARE(soundHeard(stream, speech(capture)), 12000);

        // The side that applications record from is nobody's gain.
        simulated::changeVolumeFromOutside(fixture.captureId(tavoriChatCapture), 0.1f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 10);
        QCOMPARE(settledSound(stream, speech(capture)), 12000);

        simulated::changeVolumeFromOutside(render, 0.5f);
        QCOMPARE(fixture.waitForEvent("deviceControlChanged").value("deviceVolume").toInt(), 50);
        QTRY_VERIFY(qAbs(soundHeard(stream, speech(capture)) - half) <= 1);

        simulated::changeMuteFromOutside(render, true);
        (void)fixture.waitForEvent("deviceControlChanged");
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
        // A volume that changes meanwhile does not end the mute.
        simulated::changeVolumeFromOutside(render, 1.0f);
        (void)fixture.waitForEvent("deviceControlChanged");
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
        simulated::changeMuteFromOutside(render, false);
        QTRY_COMPARE(soundHeard(stream, speech(capture)), 12000);
    }

    void otherLevelsLeaveTheMicrophoneAlone()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        auto stream = simulated::waitForRenderStream(fixture.renderId(tavoriChatCapture));
        QVERIFY(capture && stream);
        for (const QString &id : {fixture.renderId(tavoriGame), fixture.speakers}) {
            simulated::changeVolumeFromOutside(id, 0.1f);
            (void)fixture.waitForEvent("deviceControlChanged");
        }
        QCOMPARE(settledSound(stream, speech(capture)), 12000);
        // In Streamer mode the endpoint's own level is none of its either.
        setMode(fixture, "StreamerMode");
        simulated::changeVolumeFromOutside(fixture.renderId(tavoriChatCapture), 0.5f);
        QVERIFY(fixture.waitForLog("Info: onDeviceStateChanged() : end"));
        fixture.settle();
        QCOMPARE(settledSound(stream, speech(capture)), 12000);
    }

    void microphonesQueueIsShort()
    {
        ControllerFixture fixture;
        fixture.start();
        auto capture = listen(fixture);
        auto stream = simulated::waitForRenderStream(fixture.renderId(tavoriChatCapture));
        QVERIFY(capture && stream);
        // A second of speech comes while nobody plays: most of it is dropped, the oldest first.
        constexpr qint16 packets = 100;
        for (qint16 number = 1; number <= packets; ++number)
            capture.queuePacket(blockOf(number, 480));
        capture.signalEvent();
        QTRY_COMPARE(capture.pendingPackets(), 0);
        QSet<qint16> heard;
        const auto lastIsHeard = [&] {
            const QByteArray played = stream.turn(480);
            for (qsizetype at = 0; at + 1 < played.size(); at += 2) {
                qint16 sample = 0;
                memcpy(&sample, played.constData() + at, sizeof sample);
                heard.insert(sample);
            }
            return heard.contains(packets);
        };
        QVERIFY(QTest::qWaitFor(lastIsHeard, 30000));
        QVERIFY2(heard.size() < packets / 2, qPrintable(QString::number(heard.size())));
    }

    void streamsLevelIsTheMicrophonesToo()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        setMode(fixture, "StreamerMode");
        const QString id = fixture.renderId(tavoriStream);
        QJsonObject microphone = device(fullName(tavoriChatCapture), "any");
        microphone.insert("checked", true);
        fixture.send("addToStreamingSynthesizer", microphone);
        fixture.send("switchStreamingSynthesizerDevice", device(fullName(tavoriStream), id));
        fixture.settle();
        const auto streams = simulated::renderStreams(id);
        QVERIFY(!streams.isEmpty());
        // The channels' players are there first, the microphone's is the last.
        auto stream = streams.last();
        QCOMPARE(soundHeard(stream, speech(capture)), 12000);
        orderLevel(fixture, id, "deviceVolume", 50);
        QTRY_VERIFY(qAbs(soundHeard(stream, speech(capture)) - half) <= 1);
        orderLevel(fixture, id, "deviceMute", true);
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
        orderLevel(fixture, id, "deviceVolume", 100);
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
        QVERIFY(mutedSoundHeard(stream, speech(capture)));
    }

    void anotherDeviceLeavesStreamsLevelAsItWas_data()
    {
        QTest::addColumn<bool>("muted");
        QTest::newRow("volume") << false;
        QTest::newRow("mute") << true;
    }

    void anotherDeviceLeavesStreamsLevelAsItWas()
    {
        QFETCH(const bool, muted);
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        setMode(fixture, "StreamerMode");
        QJsonObject microphone = device(fullName(tavoriChatCapture), "any");
        microphone.insert("checked", true);
        fixture.send("addToStreamingSynthesizer", microphone);
        const QString id = fixture.renderId(tavoriStream);
        const auto moveTo = [&](const QString &name, const QString &endpoint) {
            fixture.send("switchStreamingSynthesizerDevice", device(name, endpoint));
            fixture.settle();
        };
        // Both the microphone's player and a channel's, the microphone's being the last.
        const auto hasLevelOfStream = [&](const QString &endpoint) {
            const auto streams = simulated::renderStreams(endpoint);
            const float gain =
                channelIn(fixture, tavoriGame)->streamingSynthesizerOutput()->getVolume();
            if (streams.isEmpty() || qAbs(gain - (muted ? 0.0f : 0.333188f)) > 0.0001f)
                return false;
            return muted ? mutedSoundHeard(streams.last(), speech(capture))
                         : qAbs(soundHeard(streams.last(), speech(capture)) - half) <= 1;
        };
        simulated::setVolume(id, 0.5f);
        simulated::setMute(id, muted);
        moveTo(fullName(tavoriStream), id);
        QVERIFY(hasLevelOfStream(id));

        moveTo("Headset", fixture.headset);
        QCOMPARE(soundHeard(simulated::renderStreams(fixture.headset).last(), speech(capture)),
                 12000);
        // Under this name the level counts again.
        simulated::rename(fixture.headset, fullName(tavoriStream));
        changeProperty(fixture, fixture.headset);
        QVERIFY(hasLevelOfStream(fixture.headset));
    }

    void leavingMicrophoneEndsTheCapture()
    {
        ControllerFixture fixture;
        fixture.start();
        auto capture = listen(fixture);
        QVERIFY(capture.isOpen());
        // Another one's leaving is nothing to it.
        const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
        simulated::notifyDeviceRemoved(other);
        (void)fixture.waitForEvent("deviceRemoved");
        QVERIFY(capture.isOpen());
        simulated::notifyDeviceState(fixture.microphone, DEVICE_STATE_UNPLUGGED);
        (void)fixture.waitForEvent("deviceUnplugged");
        QVERIFY(!capture.isOpen());
    }

    void leavingEndpointEndsTheMicrophonesPlayers_data() { addMicrophoneOutputs(); }

    void leavingEndpointEndsTheMicrophonesPlayers()
    {
        QFETCH(const QString, command);
        ControllerFixture fixture;
        fixture.start();
        const QString id =
            command.isEmpty() ? fixture.renderId(tavoriChatCapture) : fixture.headset;
        if (!command.isEmpty())
            fixture.send(command, device("Headset", id));
        fixture.settle();
        QVERIFY(!simulated::renderStreams(id).isEmpty());
        // The others are elsewhere and stay.
        const qsizetype elsewhere = simulated::renderStreams(fixture.speakers).size();
        simulated::notifyDeviceState(id, DEVICE_STATE_UNPLUGGED);
        (void)fixture.waitForEvent("deviceUnplugged");
        QCOMPARE(simulated::renderStreams(id).size(), 0);
        QCOMPARE(simulated::renderStreams(fixture.speakers).size(), elsewhere);
    }

    void propertyChangeReopensTheMicrophonesPlayers_data() { addMicrophoneOutputs(); }

    void propertyChangeReopensTheMicrophonesPlayers()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, add);
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        QString id = fixture.renderId(tavoriChatCapture);
        if (!command.isEmpty()) {
            id = fixture.headset;
            setMode(fixture, "StreamerMode");
            QJsonObject microphone = device(fullName(tavoriChatCapture), "any");
            microphone.insert("checked", true);
            fixture.send(add, microphone);
            fixture.send(command, device("Headset", id));
            fixture.settle();
        }
        const qsizetype players = simulated::renderStreams(id).size();
        QVERIFY(players > 0);
        QCOMPARE(soundHeard(simulated::renderStreams(id).last(), speech(capture)), 12000);

        simulated::setMixFormat(id, 6, 48000);
        changeProperty(fixture, id);
        // Every player of the endpoint has the new format, and the microphone is heard again.
        QTRY_COMPARE(simulated::renderStreams(id).size(), players);
        for (const simulated::RenderStream &stream : simulated::renderStreams(id))
            QCOMPARE(int(stream.setup().format.Format.nChannels), 6);
        QTRY_VERIFY(simulated::renderStreams(id).last().isStarted());
        QCOMPARE(soundHeard(simulated::renderStreams(id).last(), speech(capture)), 12000);
    }

    void propertyChangeRenewsTheCaptureAndTheVolumeSink()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto before = listen(fixture);
        QVERIFY(before.isOpen());
        QCOMPARE(simulated::volumeSinks(fixture.microphone), 1);
        simulated::clearCalls();
        changeProperty(fixture, fixture.microphone);
        QVERIFY(!before.isOpen());
        QVERIFY(simulated::waitForCaptureStream(fixture.microphone));
        QCOMPARE(simulated::countCalls("IAudioEndpointVolume::UnregisterControlChangeNotify"), 1);
        QCOMPARE(simulated::countCalls("IAudioEndpointVolume::RegisterControlChangeNotify"), 1);
        QCOMPARE(simulated::volumeSinks(fixture.microphone), 1);
    }

    void renderSideOfTheMicrophoneOpensNothing()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::clearCalls();
        for (const tavoriDeviceType type : {tavoriChatCapture, tavoriStream}) {
            announceState(fixture.renderId(type), DEVICE_STATE_ACTIVE);
            QCOMPARE(fixture.waitForEvent("deviceActive"),
                     device(fullName(type), fixture.renderId(type)));
        }
        // Each arrival searches the driver's index, and no more.
        QCOMPARE(simulated::countCalls("CreateFileW"), 2);
        QCOMPARE(simulated::writesTo(microphoneFile), QList<QByteArray>{"\x08"});
        QVERIFY(simulated::writesTo(streamFile).isEmpty());
    }

    void microphoneComesBackWithItsCaptureSide()
    {
        ControllerFixture fixture;
        fixture.start();
        const auto capture = listen(fixture);
        QVERIFY(capture);
        const QString render = fixture.renderId(tavoriChatCapture);
        const QString recorded = fixture.captureId(tavoriChatCapture);
        announceState(render, DEVICE_STATE_DISABLED);
        announceState(recorded, DEVICE_STATE_DISABLED);
        (void)fixture.waitForEvent("deviceDisabled");
        (void)fixture.waitForEvent("deviceDisabled");
        QCOMPARE(simulated::renderStreams(render).size(), 0);

        // Without its render side there is nothing that the microphone could be played into.
        announceState(recorded, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QCOMPARE(simulated::renderStreams(render).size(), 0);
        announceState(recorded, DEVICE_STATE_DISABLED);
        (void)fixture.waitForEvent("deviceDisabled");

        announceState(render, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QCOMPARE(simulated::renderStreams(render).size(), 0);
        announceState(recorded, DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        auto stream = simulated::waitForRenderStream(render);
        QVERIFY(stream);
        QCOMPARE(soundHeard(stream, speech(capture)), 12000);
        QCOMPARE(simulated::openDeviceFiles(microphoneFile), 1);
    }

    void streamOpensWithItsCaptureSide()
    {
        ControllerFixture fixture;
        fixture.start();
        QCOMPARE(simulated::openDeviceFiles(streamFile), 0);
        announceState(fixture.captureId(tavoriStream), DEVICE_STATE_ACTIVE);
        (void)fixture.waitForEvent("deviceActive");
        QCOMPARE(simulated::writesTo(streamFile), QList<QByteArray>{"\x0A"});
        fixture.quit();
        QCOMPARE(simulated::writesTo(streamFile),
                 QList<QByteArray>({QByteArray("\x0A"), QByteArray("\x0A\x01")}));
    }
};

QTEST_MAIN(ControllerMicrophoneTest)
#include "tst_controller_microphone.moc"
