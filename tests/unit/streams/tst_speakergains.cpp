// The one gain that each player of a virtual speaker is given.
#include "gainsupport.h"
#include "streams/tavorigetspeakerdatathread.h"

#include <QTest>

#include <functional>

class TestSpeakerGains : public QObject
{
    Q_OBJECT

private slots:
    void aPercentBecomesAGain_data();
    void aPercentBecomesAGain();
    void anotherEndpointsLevelIsIgnored();

    void theAudioOutputFollowsMuteAndVolume();
    void aVolumeWaitsForTheEndOfAMute();
    void thePersonalOutputFollowsMuteAndVolume();
    void theStreamingOutputFollowsItsTable_data();
    void theStreamingOutputFollowsItsTable();
    void streamSpeakerValuesOnlyAreStoredOnAnotherEndpoint();
    void theStreamEndpointsNameIsComparedExactly_data();
    void theStreamEndpointsNameIsComparedExactly();
    void volumesOfAMutedOutputWaitForItsEnd();

    void valuesSetWhileClosedReachTheNextOpen();
    void anInitGivesThePlayerItsGain();
    void aClosedSpeakersPlayersKeepTheirGain();
};

void TestSpeakerGains::aPercentBecomesAGain_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<double>("gain");
    for (const GainPoint &point : gainPoints)
        QTest::addRow("%d", point.percent) << point.percent << point.gain;
}

void TestSpeakerGains::aPercentBecomesAGain()
{
    QFETCH(int, percent);
    QFETCH(double, gain);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = simulated::addEndpoint({.name = streamName});
    bench.device->initStreamingSynthesizerAudioOutput(id, streamName, {});

    bench.device->setOutputLevel(bench.ownID, false, percent);
    COMPARE_GAIN(audioGain(bench), gain);
    bench.device->setPersonalVolume(percent);
    COMPARE_GAIN(personalGain(bench), gain);
    bench.device->setStreamingVolume(percent);
    COMPARE_GAIN(streamingGainOf(bench), gain);
    bench.device->setStreamingVolume(100);
    bench.device->setStreamSpeakerVolume(percent);
    COMPARE_GAIN(streamingGainOf(bench), gain);
}

void TestSpeakerGains::anotherEndpointsLevelIsIgnored()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setOutputLevel(bench.ownID, false, 50);
    for (const QString &id : {QString("other-id"), QString("OWN-ID"), QString()}) {
        bench.device->setOutputLevel(id, true, 25);
        COMPARE_GAIN(audioGain(bench), at50);
    }
}

void TestSpeakerGains::theAudioOutputFollowsMuteAndVolume()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    COMPARE_GAIN(audioGain(bench), 1.0);
    bench.device->setOutputLevel(bench.ownID, true, 50);
    COMPARE_GAIN(audioGain(bench), 0.0);
    bench.device->setOutputLevel(bench.ownID, true, 75);
    COMPARE_GAIN(audioGain(bench), 0.0);
    bench.device->setOutputLevel(bench.ownID, false, 75);
    COMPARE_GAIN(audioGain(bench), at75);
    COMPARE_GAIN(personalGain(bench), 1.0);
    COMPARE_GAIN(streamingGainOf(bench), 1.0);
}

void TestSpeakerGains::aVolumeWaitsForTheEndOfAMute()
{
    const auto player = WASAPIAudioPlayer::create();
    tavoriGetSpeakerDataThread thread;
    thread.setAudioOutput(player);
    COMPARE_GAIN(player->getVolume(), 1.0);
    thread.setMute(true);
    thread.setVolume(0.25);
    COMPARE_GAIN(player->getVolume(), 0.0);
    thread.setMute(false);
    COMPARE_GAIN(player->getVolume(), 0.25);
}

void TestSpeakerGains::thePersonalOutputFollowsMuteAndVolume()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setPersonalVolume(50);
    COMPARE_GAIN(personalGain(bench), at50);
    bench.device->setPersonalMute(true);
    COMPARE_GAIN(personalGain(bench), 0.0);
    bench.device->setPersonalVolume(25);
    COMPARE_GAIN(personalGain(bench), 0.0);
    bench.device->setPersonalMute(false);
    COMPARE_GAIN(personalGain(bench), at25);
    COMPARE_GAIN(audioGain(bench), 1.0);
    COMPARE_GAIN(streamingGainOf(bench), 1.0);
}

void TestSpeakerGains::theStreamingOutputFollowsItsTable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("mute");
    QTest::addColumn<bool>("speakerMute");
    QTest::addColumn<float>("gain");

    constexpr float product = at75 * at50;
    QTest::newRow("stream") << streamName << false << false << product;
    QTest::newRow("stream, muted") << streamName << true << false << 0.0f;
    QTest::newRow("stream, speaker muted") << streamName << false << true << 0.0f;
    QTest::newRow("stream, both muted") << streamName << true << true << 0.0f;
    QTest::newRow("other") << "Speakers" << false << false << at50;
    QTest::newRow("other, muted") << "Speakers" << true << false << 0.0f;
    QTest::newRow("other, speaker muted") << "Speakers" << false << true << at50;
    QTest::newRow("other, both muted") << "Speakers" << true << true << 0.0f;
}

void TestSpeakerGains::theStreamingOutputFollowsItsTable()
{
    QFETCH(QString, name);
    QFETCH(bool, mute);
    QFETCH(bool, speakerMute);
    QFETCH(float, gain);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = simulated::addEndpoint({.name = name});

    // Each of the four setters last, and the attaching last: the row holds whatever came last.
    using Step = std::function<void()>;
    QList<Step> steps{
        [&] { bench.device->setStreamingMute(mute); },
        [&] { bench.device->setStreamingVolume(50); },
        [&] { bench.device->setStreamSpeakerMute(speakerMute); },
        [&] { bench.device->setStreamSpeakerVolume(75); },
        [&] { bench.device->initStreamingSynthesizerAudioOutput(id, name, {}); },
    };
    for (qsizetype turn = 0; turn < steps.size(); ++turn) {
        for (const Step &step : steps)
            step();
        COMPARE_GAIN(streamingGainOf(bench), gain);
        steps.move(0, steps.size() - 1);
        bench.device->streamingSynthesizerOutput()->setVolume(0.9f);
    }
    COMPARE_GAIN(audioGain(bench), 1.0);
    COMPARE_GAIN(personalGain(bench), 1.0);
}

void TestSpeakerGains::streamSpeakerValuesOnlyAreStoredOnAnotherEndpoint()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString other = simulated::addEndpoint({.name = "Speakers"});
    bench.device->initStreamingSynthesizerAudioOutput(other, "Speakers", {});
    // A gain that the rules would not give shows whether a setter touched the player at all.
    bench.device->streamingSynthesizerOutput()->setVolume(0.5f);
    bench.device->setStreamSpeakerMute(true);
    COMPARE_GAIN(streamingGainOf(bench), 0.5);
    bench.device->setStreamSpeakerMute(false);
    bench.device->setStreamSpeakerVolume(25);
    COMPARE_GAIN(streamingGainOf(bench), 0.5);

    const QString stream = simulated::addEndpoint({.name = streamName});
    bench.device->initStreamingSynthesizerAudioOutput(stream, streamName, {});
    COMPARE_GAIN(streamingGainOf(bench), at25);
}

void TestSpeakerGains::theStreamEndpointsNameIsComparedExactly_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isStream");
    QTest::newRow("exact") << streamName << true;
    QTest::newRow("short name") << "tavori - Stream" << false;
    QTest::newRow("other case") << streamName.toLower() << false;
    QTest::newRow("longer") << streamName + ' ' << false;
    QTest::newRow("microphone") << "tavori - Microphone (tavori Virtual Audio Device)" << false;
}

void TestSpeakerGains::theStreamEndpointsNameIsComparedExactly()
{
    QFETCH(QString, name);
    QFETCH(bool, isStream);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = simulated::addEndpoint({.name = name});
    bench.device->initStreamingSynthesizerAudioOutput(id, name, {});
    bench.device->setStreamSpeakerVolume(50);
    COMPARE_GAIN(streamingGainOf(bench), isStream ? double(at50) : 1.0);
}

void TestSpeakerGains::volumesOfAMutedOutputWaitForItsEnd()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setOutputLevel(bench.ownID, true, 25);
    bench.device->setPersonalMute(true);
    // Nothing at all is applied while muted, not even the zero again.
    bench.device->audioOutput()->setVolume(0.5f);
    bench.device->personalSynthesizerOutput()->setVolume(0.5f);
    bench.device->setGamingChatMixProportion(10);
    COMPARE_GAIN(audioGain(bench), 0.5);
    bench.device->setPersonalVolume(75);
    COMPARE_GAIN(personalGain(bench), 0.5);
    bench.device->setPersonalMute(false);
    COMPARE_GAIN(personalGain(bench), at75);
    bench.device->setOutputLevel(bench.ownID, false, 25);
    COMPARE_GAIN(audioGain(bench), at25);
}

void TestSpeakerGains::valuesSetWhileClosedReachTheNextOpen()
{
    SpeakerBench bench;
    const QString id = simulated::addEndpoint({.name = streamName});
    bench.device->setOutputLevel(bench.ownID, false, 75);
    bench.device->setPersonalVolume(50);
    bench.device->setStreamingVolume(50);
    bench.device->setStreamSpeakerVolume(25);
    COMPARE_GAIN(audioGain(bench), 1.0); // nothing reaches a player without a thread

    QVERIFY(bench.open());
    COMPARE_GAIN(audioGain(bench), at75);
    COMPARE_GAIN(personalGain(bench), at50);
    COMPARE_GAIN(streamingGainOf(bench), at50);
    bench.device->initStreamingSynthesizerAudioOutput(id, streamName, {});
    COMPARE_GAIN(streamingGainOf(bench), at50 * at25);

    bench.device->closeDevice();
    bench.device->setOutputLevel(bench.ownID, true, 75);
    bench.device->setPersonalMute(true);
    bench.device->setStreamingMute(true);
    QVERIFY(bench.open());
    COMPARE_GAIN(audioGain(bench), 0.0);
    COMPARE_GAIN(personalGain(bench), 0.0);
    COMPARE_GAIN(streamingGainOf(bench), 0.0);

    bench.device->closeDevice();
    bench.device->setStreamingMute(false);
    bench.device->setStreamSpeakerMute(true);
    QVERIFY(bench.open());
    COMPARE_GAIN(streamingGainOf(bench), 0.0);
    bench.device->setStreamSpeakerMute(false);
    COMPARE_GAIN(streamingGainOf(bench), at50 * at25);
}

void TestSpeakerGains::anInitGivesThePlayerItsGain()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setOutputLevel(bench.ownID, false, 50);
    bench.device->audioOutput()->setVolume(0.9f);
    QVERIFY(bench.initAudioOutput());
    COMPARE_GAIN(audioGain(bench), at50);
}

void TestSpeakerGains::aClosedSpeakersPlayersKeepTheirGain()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->setOutputLevel(bench.ownID, false, 50);
    bench.device->closeDevice();
    COMPARE_GAIN(audioGain(bench), at50);
}

QTEST_GUILESS_MAIN(TestSpeakerGains)
#include "tst_speakergains.moc"
