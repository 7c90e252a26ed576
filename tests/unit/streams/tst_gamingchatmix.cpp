// How the gaming and chat mix scales a virtual speaker's gains.
#include "engines/gaincurve.h"
#include "gainsupport.h"

#include <QTest>

#include <algorithm>
#include <climits>

class TestGamingChatMix : public QObject
{
    Q_OBJECT

private slots:
    void theMixScalesByMode_data();
    void theMixScalesByMode();
    void switchingTheMixOffRestoresThePlainVolumes();
    void theMixIsSinglePrecision();
    void aGainAboveOneEndsAtThePlayersClamp();
    void anyProportionIsSurvived();
    void theMixDoesNotTouchTheStreamSpeaker();
    void volumesWithTheMixOnAreScaledAtOnce();
    void anOpenHandsOverTheVolumesWithoutTheMix();
};

void TestGamingChatMix::theMixScalesByMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("proportion");
    QTest::addColumn<double>("audio");
    QTest::addColumn<double>("personal");
    QTest::addColumn<double>("streaming");

    QTest::newRow("normal -50") << 0 << -50 << 0.5 * at75 << double(at50) << double(at25);
    QTest::newRow("normal -100") << 0 << -100 << 0.0 << double(at50) << double(at25);
    QTest::newRow("normal 0") << 0 << 0 << double(at75) << double(at50) << double(at25);
    QTest::newRow("normal 50") << 0 << 50 << 1.5 * at75 << double(at50) << double(at25);
    QTest::newRow("streamer -50") << 1 << -50 << double(at75) << 0.5 * at50 << 0.5 * at25;
    QTest::newRow("streamer -100") << 1 << -100 << double(at75) << 0.0 << 0.0;
    QTest::newRow("streamer 0") << 1 << 0 << double(at75) << double(at50) << double(at25);
    QTest::newRow("streamer 100") << 1 << 100 << double(at75) << 2.0 * at50 << 2.0 * at25;
    QTest::newRow("unknown mode") << 5 << -50 << double(at75) << double(at50) << double(at25);
}

void TestGamingChatMix::theMixScalesByMode()
{
    QFETCH(int, mode);
    QFETCH(int, proportion);
    QFETCH(double, audio);
    QFETCH(double, personal);
    QFETCH(double, streaming);
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setControlMode(tavoriSoftwareMode(mode), false);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    bench.device->setPersonalVolume(50);
    bench.device->setStreamingVolume(25);

    // Both orders of switch and proportion, and a proportion renewed.
    bench.device->setGamingChatMixProportion(proportion);
    COMPARE_GAIN(audioGain(bench), at75); // still off
    bench.device->setGamingChatMixEnable(true);
    COMPARE_GAIN(audioGain(bench), std::min(audio, 1.0));
    COMPARE_GAIN(personalGain(bench), personal);
    COMPARE_GAIN(streamingGainOf(bench), streaming);
    bench.device->setGamingChatMixProportion(-7);
    bench.device->setGamingChatMixProportion(proportion);
    COMPARE_GAIN(audioGain(bench), std::min(audio, 1.0));
    COMPARE_GAIN(personalGain(bench), personal);
    COMPARE_GAIN(streamingGainOf(bench), streaming);
}

void TestGamingChatMix::switchingTheMixOffRestoresThePlainVolumes()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setOutputLevel(bench.ownID, false, 50);
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(-100);
    COMPARE_GAIN(audioGain(bench), 0.0);
    bench.device->setGamingChatMixEnable(false);
    COMPARE_GAIN(audioGain(bench), at50);
}

void TestGamingChatMix::theMixIsSinglePrecision()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setGamingChatMixEnable(true);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    for (int proportion = -100; proportion <= 0; ++proportion) {
        bench.device->setGamingChatMixProportion(proportion);
        const double factor = float(proportion + 100) / 100.0f;
        QVERIFY(audioGain(bench) == float(factor * gainOfPercent(75)));
    }
}

void TestGamingChatMix::aGainAboveOneEndsAtThePlayersClamp()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(100);
    QVERIFY(audioGain(bench) == 1.0f);
    // The clamp is the player's alone: under it the doubled half of the curve comes through.
    bench.device->setOutputLevel(bench.ownID, false, 50);
    COMPARE_GAIN(audioGain(bench), 2.0 * at50);
}

void TestGamingChatMix::anyProportionIsSurvived()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(INT_MAX);
    QVERIFY(audioGain(bench) == 1.0f);
    bench.device->setGamingChatMixProportion(INT_MIN);
    QVERIFY(audioGain(bench) == 0.0f);
}

void TestGamingChatMix::theMixDoesNotTouchTheStreamSpeaker()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = simulated::addEndpoint({.name = streamName});
    bench.device->initStreamingSynthesizerAudioOutput(id, streamName, {});
    bench.device->setControlMode(StreamerMode, false);
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(-50);
    bench.device->setStreamSpeakerVolume(50);
    COMPARE_GAIN(streamingGainOf(bench), 0.5 * at50); // scaled once, by the streaming volume
}

void TestGamingChatMix::volumesWithTheMixOnAreScaledAtOnce()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(-50);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    COMPARE_GAIN(audioGain(bench), 0.5 * at75);
    // In every mode: only the mix commands ask for it.
    bench.device->setPersonalVolume(50);
    COMPARE_GAIN(personalGain(bench), 0.5 * at50);
    bench.device->setStreamingVolume(25);
    COMPARE_GAIN(streamingGainOf(bench), 0.5 * at25);
}

void TestGamingChatMix::anOpenHandsOverTheVolumesWithoutTheMix()
{
    SpeakerBench bench;
    bench.device->setGamingChatMixEnable(true);
    bench.device->setGamingChatMixProportion(-50);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    QVERIFY(bench.open());
    COMPARE_GAIN(audioGain(bench), at75);

    bench.device->setGamingChatMixProportion(-50);
    COMPARE_GAIN(audioGain(bench), 0.5 * at75);
    QVERIFY(bench.open());
    COMPARE_GAIN(audioGain(bench), at75);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    COMPARE_GAIN(audioGain(bench), 0.5 * at75);
}

QTEST_GUILESS_MAIN(TestGamingChatMix)
#include "tst_gamingchatmix.moc"
