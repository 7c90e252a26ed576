// Opening, moving and losing the outputs of a virtual speaker.
#include "engines/wasapiaudioplayer.h"
#include "speakerbench.h"
#include "tests/support/threadqueue.h"
#include "tests/unit/engines/gainpoints.h"

#include <QTest>

#include <array>

using simulated::addEndpoint;
using simulated::renderStreams;

namespace
{

/// The three outputs of a speaker, for tests that hold for each of them.
struct OutputDoors
{
    const char *name;
    void (tavoriOutputDevice::*init)(const QString &, const QString &, HWND);
    void (tavoriOutputDevice::*reopen)(const QString &, const QString &, HWND);
    QSharedPointer<WASAPIAudioPlayer> (tavoriOutputDevice::*player)() const;
};

constexpr std::array<OutputDoors, 3> outputs{{
    {"initAudioOutput", &tavoriOutputDevice::initAudioOutput,
     &tavoriOutputDevice::reopenAudioOutput, &tavoriOutputDevice::audioOutput},
    {"initPersonalSynthesizerAudioOutput", &tavoriOutputDevice::initPersonalSynthesizerAudioOutput,
     &tavoriOutputDevice::reopenPersonalSynthesizerOutput,
     &tavoriOutputDevice::personalSynthesizerOutput},
    {"initStreamingSynthesizerAudioOutput",
     &tavoriOutputDevice::initStreamingSynthesizerAudioOutput,
     &tavoriOutputDevice::reopenStreamingSynthesizerOutput,
     &tavoriOutputDevice::streamingSynthesizerOutput},
}};

void addOutputRows()
{
    QTest::addColumn<int>("index");
    for (std::size_t index = 0; index < outputs.size(); ++index)
        QTest::newRow(outputs[index].name) << int(index);
}

WASAPIAudioPlayer &playerOf(const SpeakerBench &bench, const OutputDoors &output)
{
    return *(bench.device.get()->*output.player)();
}

void init(const SpeakerBench &bench, const OutputDoors &output, const QString &id,
          const QString &name)
{
    (bench.device.get()->*output.init)(id, name, {});
}

void reopen(const SpeakerBench &bench, const OutputDoors &output, const QString &id,
            const QString &name)
{
    (bench.device.get()->*output.reopen)(id, name, {});
}

/// Waits until the player has dealt with the blocks that are on their way to it.
void settle(WASAPIAudioPlayer &player)
{
    awaitQueueOf(player);
}

qsizetype opensOf(const QString &id)
{
    const auto records = simulated::callRecords();
    return std::count_if(records.begin(), records.end(), [&](const simulated::Call &call) {
        return call.endpointId == id && call.text.startsWith("IAudioClient::Initialize");
    });
}

} // namespace

class TestSpeakerOutputs : public QObject
{
    Q_OBJECT

private slots:
    void anInitOpensItsOutputAlone_data() { addOutputRows(); }
    void anInitOpensItsOutputAlone();
    void anInitIsLogged_data() { addOutputRows(); }
    void anInitIsLogged();
    void anInitOfAClosedSpeakerChangesNothing_data() { addOutputRows(); }
    void anInitOfAClosedSpeakerChangesNothing();
    void anInitMovesAnOpenOutput_data() { addOutputRows(); }
    void anInitMovesAnOpenOutput();
    void theOldEndpointIsClosedBeforeTheNewOneOpens();
    void anOutputThatCannotOpenStaysAttached();
    void outputsHoldBackSixtyMilliseconds_data() { addOutputRows(); }
    void outputsHoldBackSixtyMilliseconds();

    void aReopenActsOnItsEndpointAlone_data() { addOutputRows(); }
    void aReopenActsOnItsEndpointAlone();

    void anEndpointThatLeftClosesEachOutput_data() { addOutputRows(); }
    void anEndpointThatLeftClosesEachOutput();
    void anEndpointThatLeftClosesItsOutputs();
    void outputsOfAnotherSpeakerAreItsOwnAffair();
    void theOwnEndpointsEndClosesTheSpeaker();
    void aClosedSpeakerKeepsItsOutputs();
    void outputsSurviveAClose();
    void aSpeakersEndClosesItsPlayers();
};

void TestSpeakerOutputs::anInitOpensItsOutputAlone()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({});
    init(bench, outputs[index], id, "Speakers");
    QVERIFY(simulated::waitForRenderStream(id));
    QCOMPARE(renderStreams(id).size(), 1);
    for (std::size_t other = 0; other < outputs.size(); ++other) {
        const bool opened = int(other) == index;
        QCOMPARE(playerOf(bench, outputs[other]).deviceID(), opened ? id : QString());
        QCOMPARE(playerOf(bench, outputs[other]).deviceName(), opened ? "Speakers" : QString());
    }
}

void TestSpeakerOutputs::anInitIsLogged()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.log.clear();
    init(bench, outputs[index], "", "Nobody");
    QVERIFY(bench.log.lines().contains(
        QString("Info: tavoriOutputDevice::%1 \"%2\" \"own-id\" \"Nobody\" \"\"")
            .arg(outputs[index].name, bench.ownName)));
}

void TestSpeakerOutputs::anInitOfAClosedSpeakerChangesNothing()
{
    QFETCH(int, index);
    SpeakerBench bench;
    const QString id = addEndpoint({});
    const QString function = QString("tavoriOutputDevice::") + outputs[index].name;
    const QStringList expected{
        "Info: " + function + " \"" + bench.ownName + "\" \"own-id\" \"Speakers\" \"" + id + '"',
        "Critical: " + function + " The thread has not started.",
    };

    bench.log.clear();
    init(bench, outputs[index], id, "Speakers");
    QCOMPARE(bench.log.lines(), expected);

    // Other threads may still be saying their last words after this close.
    QVERIFY(bench.open());
    bench.device->closeDevice();
    bench.log.clear();
    init(bench, outputs[index], id, "Speakers");
    QCOMPARE(bench.log.lines().filter("tavoriOutputDevice::"), expected);
    QVERIFY(renderStreams(id).isEmpty());
    QVERIFY(playerOf(bench, outputs[index]).deviceID().isEmpty());
}

void TestSpeakerOutputs::anInitMovesAnOpenOutput()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString first = addEndpoint({.name = "Speakers"});
    const QString second = addEndpoint({.name = "Headset"});
    init(bench, outputs[index], first, "Speakers");
    QVERIFY(simulated::waitForRenderStream(first));
    WASAPIAudioPlayer *const player = &playerOf(bench, outputs[index]);

    init(bench, outputs[index], second, "Headset");
    QVERIFY(simulated::waitForRenderStream(second));
    QVERIFY(renderStreams(first).isEmpty());
    QCOMPARE(player->deviceID(), second);
    QCOMPARE(&playerOf(bench, outputs[index]), player); // the same player all along
}

void TestSpeakerOutputs::theOldEndpointIsClosedBeforeTheNewOneOpens()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.initAudioOutput("Speakers"));
    simulated::clearCalls();
    const auto stream = bench.initAudioOutput("Headset");
    QVERIFY(stream);
    const QStringList calls = simulated::calls();
    QVERIFY(calls.contains("release IAudioClient"));
    QVERIFY(calls.indexOf("release IAudioClient") <
            calls.indexOf("IMMDeviceEnumerator::GetDevice " + stream.endpointId()));
    // From the next block on the speaker sounds there.
    QVERIFY(bench.deliver(tone(1)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(1));
}

void TestSpeakerOutputs::anOutputThatCannotOpenStaysAttached()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({});
    simulated::failNext("IMMDevice::Activate", 0x88890004);
    bench.device->initAudioOutput(id, "Speakers", {});
    QVERIFY(renderStreams(id).isEmpty());
    QVERIFY(bench.deliver(tone(1))); // lost
    settle(*bench.device->audioOutput());
    QCOMPARE(bench.device->audioOutput()->deviceID(), id);

    // The endpoint's properties change, and the output finds its way.
    bench.device->reopenAudioOutput(id, "Speakers", {});
    const auto stream = simulated::waitForRenderStream(id);
    QVERIFY(stream);
    simulated::RenderStream(stream).signalEvent();
    QVERIFY(simulated::RenderStream(stream).waitForRelease());
    QVERIFY(bench.deliver(tone(2)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(2));
}

void TestSpeakerOutputs::outputsHoldBackSixtyMilliseconds()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.log.clear();
    const QString id = addEndpoint({});
    init(bench, outputs[index], id, "Speakers");
    // 48000 Hz, 2 channels, 16 bits.
    QTRY_VERIFY(bench.log.lines().contains("Info: MaximumAudioDataLength: 11520 60"));
    // The player is labelled with the channel.
    QVERIFY(!bench.log.lines().filter("WASAPIAudioPlayer::closeDevice 6").isEmpty());
}

void TestSpeakerOutputs::aReopenActsOnItsEndpointAlone()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({.name = "Speakers"});
    const QString other = addEndpoint({.name = "Headset"});
    init(bench, outputs[index], id, "Speakers");
    QCOMPARE(opensOf(id), 1);

    reopen(bench, outputs[index], other, "Headset");
    for (std::size_t wrong = 0; wrong < outputs.size(); ++wrong) {
        if (int(wrong) != index)
            reopen(bench, outputs[wrong], id, "Speakers");
    }
    QCOMPARE(opensOf(id), 1);
    QCOMPARE(opensOf(other), 0);

    reopen(bench, outputs[index], id, "New name");
    QCOMPARE(opensOf(id), 2);
    QCOMPARE(renderStreams(id).size(), 1);
    QCOMPARE(playerOf(bench, outputs[index]).deviceName(), "New name");

    // Of a closed speaker it is the init's failure.
    bench.device->closeDevice();
    bench.log.clear();
    reopen(bench, outputs[index], other, "Headset");
    QCOMPARE(bench.log.lines().filter("tavoriOutputDevice::"), QStringList());
    reopen(bench, outputs[index], id, "Speakers");
    QCOMPARE(bench.log.linesOf("Critical"),
             QStringList{QString("Critical: tavoriOutputDevice::%1 The thread has not started.")
                             .arg(outputs[index].name)});
    QCOMPARE(opensOf(id), 2);
}

void TestSpeakerOutputs::anEndpointThatLeftClosesEachOutput()
{
    QFETCH(int, index);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({});
    init(bench, outputs[index], id, "Speakers");
    bench.device->closeOutputsOnEndpoint("another-id");
    QCOMPARE(renderStreams(id).size(), 1);
    bench.device->closeOutputsOnEndpoint(id);
    QVERIFY(renderStreams(id).isEmpty());
    QCOMPARE(playerOf(bench, outputs[index]).deviceID(), QString());
}

void TestSpeakerOutputs::anEndpointThatLeftClosesItsOutputs()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString leaving = addEndpoint({.name = "Speakers"});
    const QString staying = addEndpoint({.name = "Headset"});
    bench.device->initAudioOutput(leaving, "Speakers", {});
    bench.device->initPersonalSynthesizerAudioOutput(staying, "Headset", {});
    bench.device->initStreamingSynthesizerAudioOutput(leaving, "Speakers", {});
    bench.device->setOutputLevel(bench.ownID, false, 50);
    bench.device->audioOutput()->setVolume(0.9f);

    bench.log.clear();
    bench.device->closeOutputsOnEndpoint(leaving);
    QVERIFY(renderStreams(leaving).isEmpty());
    QCOMPARE(renderStreams(staying).size(), 1);
    QCOMPARE(bench.device->audioOutput()->deviceID(), QString());
    QCOMPARE(bench.device->personalSynthesizerOutput()->deviceID(), staying);
    QCOMPARE(bench.device->streamingSynthesizerOutput()->deviceID(), QString());
    QVERIFY(bench.log.lines().filter("Try to close device:").isEmpty());
    // Attached again, with its gain, it drops what it is sent until the next init.
    QCOMPARE(bench.device->audioOutput()->getVolume(), float(gainAt(50)));
    QVERIFY(bench.deliver(tone(1)));
    settle(*bench.device->audioOutput());
    bench.device->setOutputLevel(bench.ownID, false, 100);
    const auto stream = bench.initAudioOutput("USB");
    QVERIFY(stream);
    QVERIFY(bench.deliver(tone(2)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(2));
}

void TestSpeakerOutputs::outputsOfAnotherSpeakerAreItsOwnAffair()
{
    SpeakerBench bench;
    tavoriOutputDevice chat;
    chat.setDeviceID("chat-id");
    const QString chatPath = SpeakerBench::pathOf("tavori.Chat.WaveSpeaker");
    QVERIFY(chat.openDevice(chatPath.toStdWString().c_str(), tavoriChat));
    QVERIFY(bench.open());
    const QString shared = addEndpoint({});
    chat.initAudioOutput(shared, "Speakers", {});
    bench.device->initAudioOutput(shared, "Speakers", {});
    QCOMPARE(renderStreams(shared).size(), 2);

    bench.device->closeOutputsOnEndpoint(shared);
    QCOMPARE(renderStreams(shared).size(), 1);
    QCOMPARE(chat.audioOutput()->deviceID(), shared);
    chat.closeOutputsOnEndpoint(shared);
    QVERIFY(renderStreams(shared).isEmpty());
    QCOMPARE(simulated::openDeviceFiles("tavori.Chat.WaveSpeaker"), 1);
}

void TestSpeakerOutputs::theOwnEndpointsEndClosesTheSpeaker()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({});
    bench.device->initAudioOutput(id, "Speakers", {});
    bench.device->closeOutputsOnEndpoint(bench.ownID);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
    QCOMPARE(simulated::writesTo(bench.suffix).constLast(), QByteArray("\x06\x01"));
    // The outputs stay as they are.
    QCOMPARE(renderStreams(id).size(), 1);
    QCOMPARE(bench.device->audioOutput()->deviceID(), id);
}

void TestSpeakerOutputs::aClosedSpeakerKeepsItsOutputs()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const QString id = addEndpoint({});
    bench.device->initAudioOutput(id, "Speakers", {});
    bench.device->closeDevice();
    QCOMPARE(renderStreams(id).size(), 1);
    bench.device->closeOutputsOnEndpoint(id); // without a thread there is nothing to do
    QCOMPARE(renderStreams(id).size(), 1);
}

void TestSpeakerOutputs::outputsSurviveAClose()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    bench.device->closeDevice();
    QVERIFY(bench.open());
    // No init is needed: the open hands the player over.
    QVERIFY(bench.deliver(tone(1)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(1));
    QCOMPARE(bench.device->deviceID(), bench.ownID);
    QCOMPARE(bench.device->deviceName(), bench.ownName);
}

void TestSpeakerOutputs::aSpeakersEndClosesItsPlayers()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.initAudioOutput());
    QVERIFY(bench.initPersonalOutput());
    QVERIFY(bench.initStreamingOutput());
    const QList<QWeakPointer<WASAPIAudioPlayer>> players{
        bench.device->audioOutput(), bench.device->personalSynthesizerOutput(),
        bench.device->streamingSynthesizerOutput()};
    bench.device.reset();
    for (const auto &player : players)
        QTRY_VERIFY(!player);
    QCOMPARE(simulated::leakReport(), QString());
}

QTEST_GUILESS_MAIN(TestSpeakerOutputs)
#include "tst_speakeroutputs.moc"
