// Opening and closing a player: every call in order, every failure, and what is given back.
#include "tests/unit/engines/playerfixture.h"

#include <QPointer>
#include <QSemaphore>
#include <QSignalSpy>

using namespace playerfixture;

namespace
{

constexpr DWORD refused = 0x88890008;
const QString refusedText = QStringLiteral("\"-7776fff8\"");

const QStringList eventsClosed = {"CloseHandle event1", "CloseHandle event2", "CloseHandle event3",
                                  "CloseHandle event4"};

/// The words of the log in which the seven fields of a format stand.
QStringList formatLines(const QString &title, int tag, int channels, int rate, int bits, int extra)
{
    const int align = bits * channels / 8;
    return {
        "Info: " + title,
        QString("Info: wFormatTag: %1").arg(tag),
        QString("Info: nChannels: %1").arg(channels),
        QString("Info: nSamplesPerSec: %1").arg(rate),
        QString("Info: nAvgBytesPerSec: %1").arg(align * rate),
        QString("Info: nBlockAlign: %1").arg(align),
        QString("Info: wBitsPerSample: %1").arg(bits),
        QString("Info: cbSize: %1").arg(extra),
    };
}

} // namespace

class TestPlayerOpening : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void livesOnItsWorker();
    void callsInOrder();
    void streamSetup_data();
    void streamSetup();
    void formatIsLogged();
    void traceLines();
    void eachStepFails_data();
    void eachStepFails();
    void periodUnknown();
    void eventMissing_data();
    void eventMissing();
    void emptyId();
    void unknownId();
    void reopenClosesFirst();
    void closeOnClosedPlayer();
    void volumeIsClamped_data();
    void volumeIsClamped();
    void settingsSurviveClose();
    void destroyedWhileOpen();
    void destroyedWithQueuedBlocks();
    void stuckThreadEndsLater();
    void heldUpWorkerKeepsThePlayer();
    void theWorkerAsksForPriorityOnce();
    void manyOpensLeaveNothing();

private:
    QString endpoint;
};

void TestPlayerOpening::init()
{
    simulated::reset();
    endpoint = simulated::addEndpoint({.name = "Headset"});
}

void TestPlayerOpening::livesOnItsWorker()
{
    const auto player = makePlayer();
    QVERIFY(player->thread() != QThread::currentThread());
    QVERIFY(player->thread()->isRunning());
    QCOMPARE(ownCalls(), QStringList("CoInitializeEx 0"));
}

void TestPlayerOpening::callsInOrder()
{
    const auto player = makePlayer();
    simulated::clearCalls();
    player->openDevice(endpoint, "Headset");
    const QString initialize = ownCalls().filter("IAudioClient::Initialize").value(0);
    QCOMPARE(ownCalls(), QStringList({
                             "CreateEventW auto event1",
                             "CreateEventW manual event2",
                             "CreateEventW manual event3",
                             "CreateEventW manual event4",
                             "CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23",
                             "IMMDeviceEnumerator::GetDevice " + endpoint,
                             "IMMDevice::Activate IAudioClient 23",
                             "IAudioClient::GetMixFormat",
                             "IAudioClient::GetDevicePeriod",
                             initialize,
                             "IAudioClient::SetEventHandle event1",
                             "IAudioClient::GetService IAudioRenderClient",
                             "IAudioClient::Reset",
                             "IAudioClient::Start",
                         }));
    QVERIFY(simulated::waitForCall("WaitForMultipleObjects event1 event2 event3 event4"));

    simulated::clearCalls();
    player->closeDevice();
    QCOMPARE(ownCalls(),
             QStringList({"SetEvent event4", "IAudioClient::Stop", "IAudioClient::Stop"}) +
                 eventsClosed +
                 QStringList({
                     "CoTaskMemFree",
                     "release IAudioRenderClient",
                     "release IAudioClient",
                     "release IMMDevice",
                     "release IMMDeviceEnumerator",
                 }));
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::streamSetup_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");

    QTest::newRow("stereo") << 2 << 48000;
    QTest::newRow("44100 Hz") << 2 << 44100;
    QTest::newRow("six channels") << 6 << 48000;
    QTest::newRow("mono 96000 Hz") << 1 << 96000;
}

void TestPlayerOpening::streamSetup()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    simulated::setMixFormat(endpoint, static_cast<WORD>(channels), static_cast<DWORD>(rate));
    simulated::setPeriods(endpoint, 100000, 26667);

    const auto player = makePlayer();
    player->openDevice(endpoint, "Headset");
    const auto stream = simulated::waitForRenderStream(endpoint);
    QVERIFY(stream);
    const simulated::StreamSetup setup = stream.setup();
    QCOMPARE(setup.shareMode, AUDCLNT_SHAREMODE_SHARED);
    QCOMPARE(setup.flags, 0x88040000u);
    QCOMPARE(setup.bufferDuration, REFERENCE_TIME(26667));
    QCOMPARE(setup.periodicity, REFERENCE_TIME(0));
    QCOMPARE(setup.hasSession, false);
    const WAVEFORMATEX &format = setup.format.Format;
    QCOMPARE(int(format.wFormatTag), 1);
    QCOMPARE(int(format.nChannels), channels);
    QCOMPARE(int(format.nSamplesPerSec), rate);
    QCOMPARE(int(format.wBitsPerSample), 16);
    QCOMPARE(int(format.nBlockAlign), 2 * channels);
    QCOMPARE(int(format.nAvgBytesPerSec), 2 * channels * rate);
    QCOMPARE(int(format.cbSize), 0);
}

void TestPlayerOpening::formatIsLogged()
{
    simulated::setMixFormat(endpoint, 6, 44100);
    const auto player = makePlayer();
    const LogCapture log;
    player->openDevice(endpoint, "Headset");
    const QStringList lines = log.lines();
    const qsizetype original = lines.indexOf("Info: Original parameters:");
    QVERIFY(original >= 0);
    QCOMPARE(lines.mid(original, 8),
             formatLines("Original parameters:", WAVE_FORMAT_EXTENSIBLE, 6, 44100, 32, 22));
    QCOMPARE(lines.mid(original + 8, 8), formatLines("New parameters:", 1, 6, 44100, 16, 0));
}

void TestPlayerOpening::traceLines()
{
    LogCapture log;
    auto player = makePlayer();
    const QString id = '"' + endpoint + '"';
    QVERIFY(openPlaying(*player, endpoint));
    QStringList lines = log.take();
    QCOMPARE(lines.value(0), "Info: WASAPIAudioPlayer::openDevice " + id +
                                 R"( "Headset" - With parameters: begin)");
    QVERIFY(lines.contains(
        R"(Info: WASAPIAudioPlayer::openDevice 6 "Headset" - With parameters: end)"));
    QVERIFY(lines.contains(R"(Info: WASAPIAudioPlayer play audio - begin 6 "Headset")"));
    QVERIFY(lines.contains("Info: MaximumAudioDataLength: 11520 60"));

    player.reset();
    QCOMPARE(log.take(), QStringList({
                             R"(Info: WASAPIAudioPlayer::~WASAPIAudioPlayer 6 "Headset" : begin)",
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "Headset" : begin)",
                             "Info: WASAPIAudioPlayer play audio - Quit",
                             R"(Info: WASAPIAudioPlayer play audio - end 6 "Headset")",
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "Headset" : end)",
                             R"(Info: WASAPIAudioPlayer::~WASAPIAudioPlayer 6 "" : end)",
                         }));
}

void TestPlayerOpening::eachStepFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QStringList>("released");

    const QStringList enumerator = {"release IMMDeviceEnumerator"};
    const QStringList device = QStringList("release IMMDevice") + enumerator;
    const QStringList client = QStringList("release IAudioClient") + device;
    const QStringList format = QStringList("CoTaskMemFree") + client;
    const QStringList all = QStringList({"CoTaskMemFree", "release IAudioRenderClient"}) + client;

    const auto row = [](const char *call, const char *words, const QStringList &released) {
        QTest::newRow(call) << call << words << released;
    };
    row("CoCreateInstance", "CoCreateInstance failed: ", {});
    row("IMMDeviceEnumerator::GetDevice", "Can't find device: ID ", enumerator);
    row("IMMDevice::Activate", "Fail to Activate IAudioClient: ", device);
    row("IAudioClient::GetMixFormat", "Fail to GetMixFormat: ", client);
    row("IAudioClient::Initialize", "Fail to Initialize: ", format);
    row("IAudioClient::SetEventHandle", "Fail to SetEventHandle: ", format);
    row("IAudioClient::GetService", "Fail to GetService: ", format);
    row("IAudioClient::Reset", "Fail to Reset: ", all);
    row("IAudioClient::Start", "Fail to Start: ", all);
}

void TestPlayerOpening::eachStepFails()
{
    QFETCH(QString, call);
    QFETCH(QString, words);
    QFETCH(QStringList, released);
    words.replace("ID", '"' + endpoint + '"');

    const auto player = makePlayer();
    QSignalSpy reported(player.get(), &WASAPIAudioPlayer::sigFaildToOpenDevice);
    LogCapture log;
    simulated::failNext(call, refused);
    simulated::clearCalls();
    player->openDevice(endpoint, "Headset");

    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: WASAPIAudioPlayer play audio - " + words + refusedText));
    const QStringList calls = ownCalls();
    qsizetype failing = 0;
    while (failing < calls.size() && !calls.at(failing).startsWith(call))
        ++failing;
    QCOMPARE(calls.mid(failing + 1), eventsClosed + released);
    QCOMPARE(simulated::leakReport(), QString());
    QCOMPARE(simulated::countCalls("requestRealtimeScheduling"), 0);

    // Closed, and told to nobody; the endpoint's strings stay.
    QCOMPARE(reported.count(), 0);
    QCOMPARE(player->deviceID(), endpoint);
    QCOMPARE(player->deviceName(), "Headset");
    player->play(pattern(1920), 48000, 2);

    const auto stream = openPlaying(*player, endpoint);
    QVERIFY(stream);
    auto playing = stream;
    playing.turn(0);
    QVERIFY(soundOf(stream).isEmpty());
    player->play(pattern(1920), 48000, 2);
    playing.turn(stream.bufferFrames());
    QCOMPARE(soundOf(stream), pattern(1920));
    player->closeDevice();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::periodUnknown()
{
    LogCapture log;
    const auto player = makePlayer();
    simulated::failNext("IAudioClient::GetDevicePeriod", refused);
    const auto stream = openPlaying(*player, endpoint);
    QVERIFY(stream);
    QCOMPARE(stream.setup().bufferDuration, REFERENCE_TIME(0));
    QCOMPARE(log.linesOf("Critical"), QStringList());
}

void TestPlayerOpening::eventMissing_data()
{
    QTest::addColumn<QString>("event");
    QTest::addColumn<bool>("opens");

    // Nothing asks whether an event was made; without its own the endpoint refuses.
    QTest::newRow("of the endpoint") << "CreateEventW auto" << false;
    QTest::newRow("to quit") << "CreateEventW manual event4" << true;
}

void TestPlayerOpening::eventMissing()
{
    QFETCH(QString, event);
    QFETCH(bool, opens);
    LogCapture log;
    const auto player = makePlayer();
    simulated::failNext(event, ERROR_NOT_ENOUGH_MEMORY);
    player->openDevice(endpoint, "Headset");
    QCOMPARE(log.linesOf("Critical").filter("Fail to SetEventHandle:").size(), opens ? 0 : 1);
    // A thread that has no event to wait for still ends.
    player->closeDevice();
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::emptyId()
{
    LogCapture log;
    const auto player = makePlayer();
    simulated::clearCalls();
    player->openDevice(QString(), "Headset");
    QCOMPARE(log.lines().filter(": Device id is empty").size(), 1);
    QCOMPARE(log.lines().filter(": Device id is empty"), log.linesOf("Info").filter("is empty"));
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(player->deviceName(), "Headset");
    player->play(pattern(1920), 48000, 2);
}

void TestPlayerOpening::unknownId()
{
    LogCapture log;
    const auto player = makePlayer();
    player->openDevice("{0.0.0.00000000}.{none}", "Nobody");
    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: WASAPIAudioPlayer play audio - Can't find device: "
                         R"("{0.0.0.00000000}.{none}" "-7ff8fb70")"));
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::reopenClosesFirst()
{
    const QString other = simulated::addEndpoint({.name = "Speakers"});
    const auto player = makePlayer();
    QVERIFY(openPlaying(*player, endpoint));
    simulated::clearCalls();
    player->openDevice(other, "Speakers");
    const QStringList calls = ownCalls();
    const qsizetype lastReleased = calls.indexOf("release IMMDeviceEnumerator");
    QVERIFY(lastReleased > 0);
    QCOMPARE(calls.value(lastReleased + 1), "CreateEventW auto event5");
    QVERIFY(simulated::renderStreams(endpoint).isEmpty());
    QVERIFY(simulated::waitForRenderStream(other));
    QCOMPARE(player->deviceID(), other);
    QCOMPARE(player->deviceName(), "Speakers");
}

void TestPlayerOpening::closeOnClosedPlayer()
{
    LogCapture log;
    const auto player = makePlayer();
    simulated::failNext("IAudioClient::Start", refused);
    player->openDevice(endpoint, "Headset");
    simulated::clearCalls();
    (void)log.take();
    player->closeDevice();
    QCOMPARE(player->deviceID(), QString());
    QCOMPARE(player->deviceName(), QString());
    QCOMPARE(simulated::calls(), QStringList());
    player->closeDevice();
    QCOMPARE(log.take(), QStringList({
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "Headset" : begin)",
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "Headset" : end)",
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "" : begin)",
                             R"(Info: WASAPIAudioPlayer::closeDevice 6 "" : end)",
                         }));
}

void TestPlayerOpening::volumeIsClamped_data()
{
    QTest::addColumn<float>("given");
    QTest::addColumn<float>("stored");

    QTest::newRow("above") << 1.5f << 1.0f;
    QTest::newRow("below") << -0.5f << 0.0f;
    QTest::newRow("within") << 0.25f << 0.25f;
    QTest::newRow("lower end") << 0.0f << 0.0f;
    QTest::newRow("upper end") << 1.0f << 1.0f;
    QTest::newRow("no number") << std::numeric_limits<float>::quiet_NaN() << 0.0f;
}

void TestPlayerOpening::volumeIsClamped()
{
    QFETCH(float, given);
    QFETCH(float, stored);
    const auto player = WASAPIAudioPlayer::create();
    QCOMPARE(player->getVolume(), 1.0f);
    player->setVolume(given);
    QCOMPARE(player->getVolume(), stored);
}

void TestPlayerOpening::settingsSurviveClose()
{
    const auto player = makePlayer(30);
    player->setVolume(0.5f);
    for (int round = 0; round < 3; ++round) {
        LogCapture log;
        QVERIFY(openPlaying(*player, endpoint));
        QVERIFY(log.lines().contains("Info: MaximumAudioDataLength: 5760 30"));
        player->closeDevice();
        QCOMPARE(player->getVolume(), 0.5f);
        QCOMPARE(player->deviceID(), QString());
    }
}

void TestPlayerOpening::destroyedWhileOpen()
{
    auto player = makePlayer();
    QVERIFY(openPlaying(*player, endpoint));
    const QPointer<WASAPIAudioPlayer> guarded(player.get());
    player.reset();
    QVERIFY(guarded.isNull());
    QVERIFY(simulated::renderStreams(endpoint).isEmpty());
    QCOMPARE(ownCalls().count("CoUninitialize"), 1);
    QCOMPARE(ownCalls().constLast(), "CoUninitialize");
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::destroyedWithQueuedBlocks()
{
    for (int round = 0; round < 20; ++round) {
        auto player = makePlayer();
        QVERIFY(openPlaying(*player, endpoint));
        for (int block = 0; block < 50; ++block)
            QMetaObject::invokeMethod(player.get(), "play", Qt::QueuedConnection,
                                      Q_ARG(QByteArray, pattern(1920)), Q_ARG(int, 48000),
                                      Q_ARG(int, 2));
        player.reset();
    }
    QCOMPARE(simulated::leakReport(), QString());
}

void TestPlayerOpening::stuckThreadEndsLater()
{
    QSemaphore entered;
    QSemaphore leave;
    std::atomic<bool> stuckOnce{false};
    simulated::onCall("IAudioRenderClient::GetBuffer", [&] {
        if (!stuckOnce.exchange(true)) {
            entered.release();
            leave.acquire();
        }
    });

    auto player = makePlayer();
    auto first = openPlaying(*player, endpoint);
    first.signalEvent();
    QVERIFY(entered.tryAcquire(1, 5000));

    // The close comes back, and the player works on while the old thread hangs in its call.
    auto second = openPlaying(*player, endpoint);
    QVERIFY(second);
    player->play(pattern(400), 48000, 2);
    second.turn(0);
    QCOMPARE(soundOf(second), pattern(400));

    player->closeDevice();
    player.reset();
    QVERIFY(simulated::liveObjects() > 0);
    leave.release();
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }));
    QVERIFY(!first.isOpen());
}

void TestPlayerOpening::heldUpWorkerKeepsThePlayer()
{
    auto player = makePlayer();
    QVERIFY(openPlaying(*player, endpoint));
    const QPointer<WASAPIAudioPlayer> guarded(player.get());
    HeldThread worker(*player, [target = player.get()] { target->play(pattern(1920), 48000, 2); });
    player.reset();
    QVERIFY(simulated::renderStreams(endpoint).isEmpty());
    QVERIFY(guarded);
    worker.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(!guarded, 30000);
}

void TestPlayerOpening::theWorkerAsksForPriorityOnce()
{
    const auto player = makePlayer();
    simulated::failNext("CreateEventW", refused);
    simulated::clearCalls();
    player->openDevice(endpoint, "Headset");
    awaitQueueOf(*player);
    QCOMPARE(simulated::countCalls("requestRealtimeScheduling"), 0);
    // The play thread at each opening, the worker at the first that succeeds.
    for (const qsizetype asked : {1, 0}) {
        QVERIFY(openPlaying(*player, endpoint));
        awaitQueueOf(*player);
        QCOMPARE(simulated::countCalls("requestRealtimeScheduling paced"), 1);
        QCOMPARE(simulated::countCalls("requestRealtimeScheduling fed"), asked);
    }
}

void TestPlayerOpening::manyOpensLeaveNothing()
{
    const auto player = makePlayer();
    for (int round = 0; round < 100; ++round) {
        player->openDevice(endpoint, "Headset");
        player->play(pattern(1920), 48000, 2);
    }
    player->closeDevice();
    QCOMPARE(simulated::leakReport(), QString());
}

QTEST_GUILESS_MAIN(TestPlayerOpening)
#include "tst_playeropening.moc"
