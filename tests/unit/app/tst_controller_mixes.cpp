// Who takes part in the mixes: which channel, or the microphone, an order reaches.
#include "engines/wasapiaudioplayer.h"
#include "tests/unit/app/controllersteps.h"

#include <QTest>

namespace
{
/// What an order does to its target, as the target tells it.
struct Order
{
    const char *command;
    const char *key;
    QJsonValue value;
};

constexpr auto streamingOf = &tavoriOutputDevice::streamingSynthesizerOutput;
constexpr auto personalOf = &tavoriOutputDevice::personalSynthesizerOutput;
} // namespace

class ControllerMixesTest : public QObject
{
    Q_OBJECT

private slots:
    void anOrderReachesItsChannelAlone_data()
    {
        QTest::addColumn<int>("type");
        for (int type = tavoriAux; type <= tavoriMedia; ++type)
            QTest::newRow(qPrintable(fullName(tavoriDeviceType(type)))) << type;
    }

    void anOrderReachesItsChannelAlone()
    {
        QFETCH(const int, type);
        const auto channel = static_cast<tavoriDeviceType>(type);
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        (void)fixture.log.take();

        const QJsonObject target = device(fullName(channel), {});
        order(fixture, target, {"addToPersonalSynthesizer", "checked", false});
        order(fixture, target, {"addToStreamingSynthesizer", "checked", true});
        order(fixture, target, {"setPersonalSynthesizerDeviceVolume", "deviceVolume", 50});
        order(fixture, target, {"setStreamingSynthesizerDeviceVolume", "deviceVolume", 25});
        QCOMPARE(fixture.log.lines().filter("::addPersonalSynthesizer").size(), qsizetype(1));
        QCOMPARE(fixture.log.lines().filter("::addStreamingSynthesizer").size(), qsizetype(1));
        QVERIFY(fixture.log.lines().contains(
            QString("Info: tavoriGetSpeakerDataThread::addPersonalSynthesizer %1 false")
                .arg(type)));
        QVERIFY(fixture.log.lines().contains(
            QString("Info: tavoriGetSpeakerDataThread::addStreamingSynthesizer %1 true")
                .arg(type)));
        for (int other = tavoriAux; other <= tavoriMedia; ++other) {
            QCOMPARE(gain(fixture, other, personalOf), other == type ? 0.333188f : 1.0f);
            QCOMPARE(gain(fixture, other, streamingOf), other == type ? 0.132227f : 1.0f);
        }
        order(fixture, target, {"setPersonalSynthesizerDeviceMute", "mute", true});
        for (int other = tavoriAux; other <= tavoriMedia; ++other) {
            QCOMPARE(gain(fixture, other, personalOf), other == type ? 0.0f : 1.0f);
            QCOMPARE(gain(fixture, other, streamingOf), other == type ? 0.132227f : 1.0f);
        }
        order(fixture, target, {"setStreamingSynthesizerDeviceMute", "mute", true});
        QCOMPARE(gain(fixture, type, streamingOf), 0.0f);
    }

    void theMicrophonesOrdersGoToTheCapturer()
    {
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        (void)fixture.log.take();
        const QJsonObject target = device(fullName(tavoriChatCapture), {});
        order(fixture, target, {"addToPersonalSynthesizer", "checked", true});
        order(fixture, target, {"addToStreamingSynthesizer", "checked", false});
        QVERIFY(fixture.log.lines().contains(
            "Info: WASAPIMicrophoneCapturer::addPersonalSynthesizer true"));
        QVERIFY(fixture.log.lines().contains(
            "Info: WASAPIMicrophoneCapturer::addStreamingSynthesizer false"));
        QVERIFY(fixture.log.lines().filter("tavoriGetSpeakerDataThread::").isEmpty());
    }

    void otherNamesReachNobody_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("Stream") << fullName(tavoriStream);
        QTest::newRow("a short name") << "Gaming";
        QTest::newRow("another case") << fullName(tavoriGame).toUpper();
        QTest::newRow("a real endpoint") << "Headset";
        QTest::newRow("none") << "";
    }

    void otherNamesReachNobody()
    {
        QFETCH(const QString, name);
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        (void)fixture.log.take();
        for (const char *command : {"addToPersonalSynthesizer", "addToStreamingSynthesizer"})
            order(fixture, device(name, fixture.headset), {command, "checked", true});
        order(fixture, device(name, fixture.headset),
              {"setPersonalSynthesizerDeviceVolume", "deviceVolume", 50});
        order(fixture, device(name, fixture.headset),
              {"setStreamingSynthesizerDeviceMute", "mute", true});
        // Each leaves the lines of its handler only.
        QCOMPARE(fixture.log.lines().filter("Synthesizer").size(), qsizetype(8));
        QCOMPARE(fixture.log.lines().filter("() : end").size(), qsizetype(4));
        for (int type = tavoriAux; type <= tavoriMedia; ++type) {
            QCOMPARE(gain(fixture, type, personalOf), 1.0f);
            QCOMPARE(gain(fixture, type, streamingOf), 1.0f);
        }
    }

    void aMixMovesOnEveryChannelAndNeedsAName()
    {
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        fixture.send("switchPersonalSynthesizerDevice", device({}, fixture.headset));
        fixture.send("switchStreamingSynthesizerDevice", device({}, fixture.headset));
        fixture.settle();
        QVERIFY(simulated::renderStreams(fixture.headset).isEmpty());

        fixture.send("switchPersonalSynthesizerDevice", device("Headset", fixture.headset));
        fixture.settle();
        // Seven channels and the microphone.
        QCOMPARE(simulated::renderStreams(fixture.headset).size(), qsizetype(8));
        for (int type = tavoriAux; type <= tavoriMedia; ++type)
            QCOMPARE(channel(fixture, type)->personalSynthesizerOutput()->deviceID(),
                     fixture.headset);
        fixture.send("switchStreamingSynthesizerDevice", device("Speakers", fixture.speakers));
        fixture.settle();
        QCOMPARE(simulated::renderStreams(fixture.speakers).size(), qsizetype(8));
        // A second switch moves the players that there are.
        fixture.send("switchStreamingSynthesizerDevice", device("Headset", fixture.headset));
        fixture.settle();
        QCOMPARE(simulated::renderStreams(fixture.headset).size(), qsizetype(16));
        QVERIFY(simulated::renderStreams(fixture.speakers).isEmpty());
    }

    void streamsLevelIsTakenWithStreamAlone()
    {
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        setMode(fixture, "StreamerMode");
        const QString stream = fixture.renderId(tavoriStream);
        simulated::setVolume(stream, 0.5f);
        const auto moveTo = [&](const QString &name, const QString &id) {
            fixture.send("switchStreamingSynthesizerDevice", device(name, id));
            fixture.settle();
        };
        moveTo("Headset", fixture.headset);
        QCOMPARE(gain(fixture, tavoriChat, streamingOf), 1.0f);
        moveTo(fullName(tavoriStream), stream);
        for (int type = tavoriAux; type <= tavoriMedia; ++type)
            QCOMPARE(gain(fixture, type, streamingOf), 0.333188f);
        // What was taken stays, though another device does not count it nor take a new one.
        simulated::setVolume(stream, 0.25f);
        moveTo("Headset", fixture.headset);
        QCOMPARE(gain(fixture, tavoriChat, streamingOf), 1.0f);
        channel(fixture, tavoriChat)
            ->initStreamingSynthesizerAudioOutput(stream, fullName(tavoriStream), {});
        QCOMPARE(gain(fixture, tavoriChat, streamingOf), 0.333188f);

        simulated::setMute(stream, true);
        moveTo(fullName(tavoriStream), stream);
        for (int type = tavoriAux; type <= tavoriMedia; ++type)
            QCOMPARE(gain(fixture, type, streamingOf), 0.0f);
        simulated::setMute(stream, false);
        moveTo(fullName(tavoriStream), stream);
        QCOMPARE(gain(fixture, tavoriChat, streamingOf), 0.132227f);
    }

    void theBalanceIsOfGameAndChatAlone()
    {
        ControllerFixture fixture;
        startWithAllChannels(fixture);
        const auto audio = [&](int type) {
            return gain(fixture, type, &tavoriOutputDevice::audioOutput);
        };
        fixture.send("setGamingChatMixProportion", {{"gaming", -50}, {"chat", -75}});
        fixture.settle();
        QCOMPARE(audio(tavoriGame), 1.0f);
        fixture.send("setGamingChatMixEnable", {{"enable", true}});
        fixture.settle();
        for (int type = tavoriAux; type <= tavoriMedia; ++type)
            QCOMPARE(audio(type), type == tavoriGame ? 0.5f : type == tavoriChat ? 0.25f : 1.0f);
        fixture.send("setGamingChatMixProportion", {{"gaming", -100}, {"chat", 0}});
        fixture.settle();
        QCOMPARE(audio(tavoriGame), 0.0f);
        QCOMPARE(audio(tavoriChat), 1.0f);
        fixture.send("setGamingChatMixEnable", {{"enable", false}});
        fixture.settle();
        QCOMPARE(audio(tavoriGame), 1.0f);
    }

private:
    using Output = QSharedPointer<WASAPIAudioPlayer> (tavoriOutputDevice::*)() const;

    static void startWithAllChannels(ControllerFixture &fixture)
    {
        fixture.start();
        for (const char *word : {"Aux2", "Aux3", "Browser"}) {
            fixture.send("addOutputDevice", {{"outputDeviceName", word}});
            (void)fixture.waitForEvent("finishAddOutputDevice");
        }
        fixture.settle();
        fixture.settle();
    }

    static void order(ControllerFixture &fixture, QJsonObject target, const Order &order)
    {
        target.insert(order.key, order.value);
        fixture.send(order.command, target);
        fixture.settle();
    }

    static tavoriOutputDevice *channel(const ControllerFixture &fixture, int type)
    {
        return channelIn(fixture, static_cast<tavoriDeviceType>(type));
    }

    /// To six digits.
    static float gain(const ControllerFixture &fixture, int type, Output output)
    {
        const float gain = (channel(fixture, type)->*output)()->getVolume();
        return qRound(gain * 1000000) / 1000000.0f;
    }
};

QTEST_MAIN(ControllerMixesTest)
#include "tst_controller_mixes.moc"
