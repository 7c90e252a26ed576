// The microphone's outputs: who gets a packet in which mode, and at what gain.
#include "common/channels.h"
#include "engines/gaincurve.h"
#include "engines/wasapimicrophonecapturer.h"
#include "tests/unit/engines/playerfixture.h"

#include <functional>

using namespace playerfixture;

namespace
{

using Player = QSharedPointer<WASAPIAudioPlayer>;
using Step = std::function<void(WASAPIMicrophoneCapturer &)>;
using Steps = QList<Step>;

const float third = static_cast<float>(gainOfPercent(50));
const float eighth = static_cast<float>(gainOfPercent(25));
const float both = static_cast<float>(gainOfPercent(50) * gainOfPercent(25));

} // namespace

Q_DECLARE_METATYPE(Steps)

class TestMicrophoneOutputs : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void gains_data();
    void gains();
    void streamingGains_data();
    void streamingGains();
    void attachingAppliesGain();
    void endpointDecidesAtEachChange();
    void fanOut_data();
    void fanOut();
    void packetsOfAModeChangeAreLost();
    void detachedPlayerGetsNothing();
    void detachedPlayerCanGo();
    void switchesAreLogged();

private:
    struct Output
    {
        Player player;
        simulated::RenderStream stream;
    };
    [[nodiscard]] static Output openOutput(const QString &name);
    /// What has come through since the last call.
    [[nodiscard]] static bool sounded(Output &output);

    QSharedPointer<WASAPIMicrophoneCapturer> capturer;
};

void TestMicrophoneOutputs::init()
{
    simulated::reset();
    capturer = WASAPIMicrophoneCapturer::create();
}

void TestMicrophoneOutputs::cleanup()
{
    capturer.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

TestMicrophoneOutputs::Output TestMicrophoneOutputs::openOutput(const QString &name)
{
    const QString id = simulated::addEndpoint({.name = name});
    Output output{.player = makePlayer(), .stream = {}};
    output.stream = openPlaying(*output.player, id);
    return output;
}

bool TestMicrophoneOutputs::sounded(Output &output)
{
    // Behind everything that is queued for the player's worker.
    awaitQueueOf(*output.player);
    output.stream.clearReleasedBuffers();
    output.stream.turn(output.stream.bufferFrames());
    return !soundOf(output.stream).isEmpty();
}

void TestMicrophoneOutputs::gains_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<float>("audio");
    QTest::addColumn<float>("personal");

    using C = WASAPIMicrophoneCapturer;
    const Step mute = [](C &c) { c.setMute(true); };
    const Step unmute = [](C &c) { c.setMute(false); };
    const Step volume = [](C &c) { c.setVolume(50); };
    const Step personalMute = [](C &c) { c.setPersonalMute(true); };
    const Step personalUnmute = [](C &c) { c.setPersonalMute(false); };
    const Step personalVolume = [](C &c) { c.setPersonalVolume(50); };

    QTest::newRow("at first") << Steps{} << 1.0f << 1.0f;
    QTest::newRow("volume") << Steps{volume} << third << 1.0f;
    QTest::newRow("mute") << Steps{volume, mute} << 0.0f << 1.0f;
    QTest::newRow("unmute") << Steps{volume, mute, unmute} << third << 1.0f;
    QTest::newRow("volume in a mute sounds") << Steps{mute, volume} << third << 1.0f;
    QTest::newRow("until the next mute") << Steps{mute, volume, mute} << 0.0f << 1.0f;
    QTest::newRow("personal volume") << Steps{personalVolume} << 1.0f << third;
    QTest::newRow("personal mute") << Steps{personalVolume, personalMute} << 1.0f << 0.0f;
    QTest::newRow("personal unmute")
        << Steps{personalVolume, personalMute, personalUnmute} << 1.0f << third;
    QTest::newRow("personal volume in a mute sounds")
        << Steps{personalMute, personalVolume} << 1.0f << third;
    QTest::newRow("full and none")
        << Steps{[](C &c) { c.setVolume(0); }, [](C &c) { c.setPersonalVolume(100); }} << 0.0f
        << 1.0f;
}

void TestMicrophoneOutputs::gains()
{
    QFETCH(Steps, steps);
    QFETCH(float, audio);
    QFETCH(float, personal);
    const Player audioPlayer = makePlayer();
    const Player personalPlayer = makePlayer();
    capturer->setAudioOutput(audioPlayer);
    capturer->setPersonalSynthesizerOutput(personalPlayer);
    for (const Step &step : steps)
        step(*capturer);
    QCOMPARE(audioPlayer->getVolume(), audio);
    QCOMPARE(personalPlayer->getVolume(), personal);
}

void TestMicrophoneOutputs::streamingGains_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<float>("elsewhere");
    QTest::addColumn<float>("onStream");

    using C = WASAPIMicrophoneCapturer;
    const Step mute = [](C &c) { c.setStreamingMute(true); };
    const Step unmute = [](C &c) { c.setStreamingMute(false); };
    const Step volume = [](C &c) { c.setStreamingVolume(50); };
    const Step speakerMute = [](C &c) { c.setStreamSpeakerMute(true); };
    const Step speakerUnmute = [](C &c) { c.setStreamSpeakerMute(false); };
    const Step speakerVolume = [](C &c) { c.setStreamSpeakerVolume(25); };

    QTest::newRow("at first") << Steps{} << 1.0f << 1.0f;
    QTest::newRow("volume") << Steps{volume} << third << third;
    QTest::newRow("mute") << Steps{volume, mute} << 0.0f << 0.0f;
    QTest::newRow("volume in a mute") << Steps{mute, volume} << 0.0f << 0.0f;
    QTest::newRow("unmute") << Steps{mute, volume, unmute} << third << third;
    QTest::newRow("speaker volume") << Steps{speakerVolume} << 1.0f << eighth;
    QTest::newRow("both volumes") << Steps{speakerVolume, volume} << third << both;
    QTest::newRow("speaker mute") << Steps{volume, speakerMute} << third << 0.0f;
    QTest::newRow("volume in a speaker mute") << Steps{speakerMute, volume} << third << 0.0f;
    QTest::newRow("speaker unmute") << Steps{volume, speakerMute, speakerUnmute} << third << third;
    QTest::newRow("one mute of two") << Steps{mute, speakerMute, unmute} << 1.0f << 0.0f;
    QTest::newRow("the other of two") << Steps{mute, speakerMute, speakerUnmute} << 0.0f << 0.0f;
}

void TestMicrophoneOutputs::streamingGains()
{
    QFETCH(Steps, steps);
    QFETCH(float, elsewhere);
    QFETCH(float, onStream);
    const QString streamName = "tavori - Stream (tavori Virtual Audio Device)";
    for (const auto &[name, gain] :
         {std::pair(streamName, onStream), std::pair(streamName + ' ', elsewhere),
          std::pair(QString("Headset"), elsewhere)}) {
        {
            const Output output = openOutput(name);
            capturer->setStreamingSynthesizerOutput(output.player);
            for (const Step &step : steps)
                step(*capturer);
            QCOMPARE(output.player->getVolume(), gain);
        }
        cleanup();
        init();
    }
}

void TestMicrophoneOutputs::attachingAppliesGain()
{
    capturer->setVolume(50);
    capturer->setPersonalMute(true);
    capturer->setStreamingVolume(50);
    capturer->setStreamSpeakerVolume(25);
    const Player audio = makePlayer();
    const Player personal = makePlayer();
    const Output streaming = openOutput(channelOfType(tavoriStream)->fullName());
    capturer->setAudioOutput(audio);
    capturer->setPersonalSynthesizerOutput(personal);
    capturer->setStreamingSynthesizerOutput(streaming.player);
    QCOMPARE(audio->getVolume(), third);
    QCOMPARE(personal->getVolume(), 0.0f);
    QCOMPARE(streaming.player->getVolume(), both);
    capturer->setStreamingSynthesizerOutput(nullptr);
}

void TestMicrophoneOutputs::endpointDecidesAtEachChange()
{
    const Output output = openOutput("Headset");
    capturer->setStreamingSynthesizerOutput(output.player);
    // Elsewhere the stream speaker's values are stored only.
    output.player->setVolume(0.75f);
    capturer->setStreamSpeakerVolume(25);
    capturer->setStreamSpeakerMute(true);
    capturer->setStreamSpeakerMute(false);
    QCOMPARE(output.player->getVolume(), 0.75f);
    const QString name = channelOfType(tavoriStream)->fullName();
    output.player->openDevice(simulated::addEndpoint({.name = name}), name);
    capturer->setStreamingVolume(50);
    QCOMPARE(output.player->getVolume(), both);
}

void TestMicrophoneOutputs::fanOut_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QString>("heard"); // of "a", "p" and "s"

    using C = WASAPIMicrophoneCapturer;
    const Step normal = [](C &c) { c.setControlMode(NormalMode, false); };
    const Step streamer = [](C &c) { c.setControlMode(StreamerMode, false); };
    const Step changing = [](C &c) { c.setControlMode(StreamerMode, true); };
    const Step finish = [](C &c) { c.finishControlMode(); };
    const Step other = [](C &c) { c.setControlMode(tavoriSoftwareMode(7), false); };
    const Step personal = [](C &c) { c.addPersonalSynthesizer(true); };
    const Step streaming = [](C &c) { c.addStreamingSynthesizer(true); };
    const Step noPersonal = [](C &c) { c.addPersonalSynthesizer(false); };
    const Step mute = [](C &c) { c.setMute(true); };
    const Step personalMute = [](C &c) { c.setPersonalMute(true); };
    const Step streamingMute = [](C &c) { c.setStreamingMute(true); };
    const Step speakerMute = [](C &c) { c.setStreamSpeakerMute(true); };

    QTest::newRow("at first") << Steps{} << "a";
    QTest::newRow("normal") << Steps{normal, personal, streaming} << "a";
    QTest::newRow("muted is fed all the same") << Steps{mute} << "a";
    QTest::newRow("streamer, in no mix") << Steps{streamer} << "a";
    QTest::newRow("streamer, personal") << Steps{streamer, personal} << "ap";
    QTest::newRow("streamer, streaming") << Steps{streamer, streaming} << "as";
    QTest::newRow("streamer, both") << Steps{streamer, personal, streaming} << "aps";
    QTest::newRow("taken out again") << Steps{streamer, personal, noPersonal} << "a";
    QTest::newRow("personal muted") << Steps{streamer, personal, streaming, personalMute} << "as";
    QTest::newRow("streaming muted") << Steps{streamer, personal, streaming, streamingMute} << "ap";
    QTest::newRow("speaker muted") << Steps{streamer, personal, streaming, speakerMute} << "aps";
    QTest::newRow("changing") << Steps{personal, streaming, changing} << "";
    QTest::newRow("finished") << Steps{personal, streaming, changing, finish} << "aps";
    QTest::newRow("unknown mode") << Steps{personal, streaming, other} << "a";
}

void TestMicrophoneOutputs::fanOut()
{
    QFETCH(Steps, steps);
    QFETCH(QString, heard);
    Output audio = openOutput("Audio");
    Output personal = openOutput("Personal");
    Output streaming = openOutput("Streaming");
    capturer->setAudioOutput(audio.player);
    capturer->setPersonalSynthesizerOutput(personal.player);
    capturer->setStreamingSynthesizerOutput(streaming.player);
    for (const Step &step : steps)
        step(*capturer);

    capturer->onGetInputData(pattern(1920), 48000, 2);
    QString sounding;
    if (sounded(audio))
        sounding += 'a';
    if (sounded(personal))
        sounding += 'p';
    if (sounded(streaming))
        sounding += 's';
    QCOMPARE(sounding, heard);
}

void TestMicrophoneOutputs::packetsOfAModeChangeAreLost()
{
    Output output = openOutput("Audio");
    capturer->setAudioOutput(output.player);
    capturer->setControlMode(StreamerMode, true);
    capturer->onGetInputData(pattern(400), 48000, 2);
    QVERIFY(!sounded(output));
    capturer->finishControlMode();
    QVERIFY(!sounded(output));
    capturer->onGetInputData(pattern(800).mid(400), 48000, 2);
    QVERIFY(sounded(output));
    QVERIFY(soundOf(output.stream).startsWith(pattern(800).mid(400)));
}

void TestMicrophoneOutputs::detachedPlayerGetsNothing()
{
    Output output = openOutput("Audio");
    capturer->setAudioOutput(output.player);
    capturer->onGetInputData(pattern(1920), 48000, 2);
    QVERIFY(sounded(output));
    capturer->setAudioOutput(nullptr);
    capturer->onGetInputData(pattern(1920), 48000, 2);
    QVERIFY(!sounded(output));
}

void TestMicrophoneOutputs::detachedPlayerCanGo()
{
    for (int round = 0; round < 50; ++round) {
        capturer->setAudioOutput(WASAPIAudioPlayer::create());
        for (int packet = 0; packet < 20; ++packet)
            QMetaObject::invokeMethod(capturer.get(), "onGetInputData", Qt::QueuedConnection,
                                      Q_ARG(QByteArray, pattern(16)), Q_ARG(int, 48000),
                                      Q_ARG(int, 2));
        capturer->setAudioOutput(nullptr);
    }
}

void TestMicrophoneOutputs::switchesAreLogged()
{
    const LogCapture log;
    capturer->addPersonalSynthesizer(true);
    capturer->addStreamingSynthesizer(false);
    QCOMPARE(log.lines(),
             QStringList({"Info: WASAPIMicrophoneCapturer::addPersonalSynthesizer true",
                          "Info: WASAPIMicrophoneCapturer::addStreamingSynthesizer false"}));
}

QTEST_GUILESS_MAIN(TestMicrophoneOutputs)
#include "tst_microphoneoutputs.moc"
