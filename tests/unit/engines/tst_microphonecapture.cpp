// The capture thread: opening, packets, failures, and the ways back from them.
#include "engines/wasapimicrophonecapturer.h"
#include "tests/unit/engines/playerfixture.h"

#include <QSemaphore>
#include <QSignalSpy>

using namespace playerfixture;

namespace
{

constexpr DWORD refused = 0x88890008;
const QString refusedText = QStringLiteral("\"-7776fff8\" true");
const QString endLine = QStringLiteral("Info: Capture microphone - end");
const QString needStopLine =
    QStringLiteral("Info: Capture microphone - on quit - need to call stopCapture!!!");

/// The calls of all threads but this one.
QStringList threadCalls()
{
    QStringList theirs;
    for (const simulated::Call &call : simulated::callRecords()) {
        if (call.thread != std::this_thread::get_id())
            theirs.append(call.text);
    }
    return theirs;
}

bool waitForLine(const LogCapture &log, const QString &line)
{
    return QTest::qWaitFor([&] { return log.lines().contains(line); });
}

/// A player that takes what the capturer passes on.
struct Listener
{
    QSharedPointer<WASAPIAudioPlayer> player = makePlayer(0);
    simulated::RenderStream stream;

    Listener() { stream = openPlaying(*player, simulated::addEndpoint({.name = "Headset"})); }
    /// Waits until as many bytes came through.
    QByteArray hear(qsizetype bytes)
    {
        (void)QTest::qWaitFor([&] {
            stream.turn(stream.bufferFrames());
            return soundOf(stream).size() >= bytes;
        });
        return soundOf(stream);
    }
};

/// Holds the first call of a name until a stop has asked the thread to end. What the hooks use
/// lives as long as they do.
class Hold
{
public:
    explicit Hold(const QString &call)
    {
        simulated::onCall(call, [shared = state] {
            if (shared->isTaken.exchange(true))
                return;
            shared->entered.release();
            shared->leave.acquire();
        });
    }
    [[nodiscard]] bool waitUntilHeld() { return state->entered.tryAcquire(1, 30000); }
    void endWithStop()
    {
        simulated::onCall("SetEvent", [shared = state] { shared->leave.release(); });
    }

private:
    struct State
    {
        QSemaphore entered;
        QSemaphore leave;
        std::atomic<bool> isTaken{false};
    };
    std::shared_ptr<State> state = std::make_shared<State>();
};

/// The calls of the set-up in their order, and what a failure of each one logs.
void addSetupSteps()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("words");

    const auto row = [](const char *call, const char *words) {
        QTest::newRow(call) << call << words;
    };
    row("CoCreateInstance", "Capture microphone - CoCreateInstance failed: 0 ");
    row("IMMDeviceEnumerator::GetDevice", "Capture microphone - Can't find device: ID ");
    row("IMMDevice::Activate", "Capture microphone - Fail to Activate IAudioClient: ");
    row("IAudioClient::GetMixFormat", "Capture microphone - Fail to GetMixFormat: ");
    row("IAudioClient::Initialize ", "Capture microphone - Fail to Initialize: ");
    row("IAudioClient::SetEventHandle", "WASAPIAudioPlayer play audio - Fail to SetEventHandle: ");
    row("IAudioClient::GetService", "Capture microphone - Fail to GetService: ");
    row("IAudioClient::Reset", "Capture microphone - Fail to Reset: ");
    row("IAudioClient::Start", "Capture microphone - Fail to Start: ");
}

} // namespace

class TestMicrophoneCapture : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void emptyId();
    void callsInOrder();
    void lowLatencySetup();
    void fallsBack_data();
    void fallsBack();
    void eachStepFails_data();
    void eachStepFails();
    void stopDuringSetup_data();
    void stopDuringSetup();
    void otherCallFails_data();
    void otherCallFails();
    void formats_data();
    void formats();
    void mixFormatStays_data();
    void mixFormatStays();
    void packetsInOrder();
    void formatGoesWithPacket();
    void silentPacketIsDropped();
    void packetCountIsLimited();
    void packetsLeftAtStopAreDropped();
    void packetsBeforeAFailureAreDropped();
    void timeOutWaitsAgain();
    void startWhileCapturing();
    void stopIdle();
    void stopOnEndpoint();
    void restart();
    void loopCallFails_data();
    void loopCallFails();
    void endpointVanishes();
    void stopWithErrorTriesAgain();
    void stuckThreadEndsLater();
    void destroyedWhileCapturing();
    void emitsNothing();

private:
    [[nodiscard]] simulated::CaptureStream start();

    QString microphone;
    QSharedPointer<WASAPIMicrophoneCapturer> capturer;
};

void TestMicrophoneCapture::init()
{
    simulated::reset();
    microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    capturer = WASAPIMicrophoneCapturer::create();
}

void TestMicrophoneCapture::cleanup()
{
    capturer.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

simulated::CaptureStream TestMicrophoneCapture::start()
{
    simulated::clearCalls();
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    if (!simulated::waitForCall("WaitForMultipleObjects"))
        return {};
    return simulated::waitForCaptureStream(microphone);
}

void TestMicrophoneCapture::emptyId()
{
    const LogCapture log;
    simulated::clearCalls();
    capturer->startCapture();
    QCOMPARE(log.lines(),
             QStringList({R"(Info: WASAPIMicrophoneCapturer::startCapture "" : begin)",
                          R"(Info: WASAPIMicrophoneCapturer::startCapture "" : Device id is empty)",
                          R"(Info: WASAPIMicrophoneCapturer::startCapture "" : end)"}));
    QCOMPARE(simulated::calls(), QStringList());
    // Nothing is under way: a start with an ID is not taken for a second one.
    QVERIFY(start());
}

void TestMicrophoneCapture::callsInOrder()
{
    const LogCapture log;
    QVERIFY(start());
    QCOMPARE(ownCalls(), QStringList({"CreateEventW auto event1", "CreateEventW manual event2"}));
    const QStringList opening = threadCalls();
    const QString initialize = opening.filter("InitializeSharedAudioStream").value(0);
    const QString period = opening.filter("GetSharedModeEnginePeriod").value(0);
    QCOMPARE(opening.mid(0, 17), QStringList({
                                     "requestRealtimeScheduling",
                                     "CoInitializeEx 0",
                                     "CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23",
                                     "IMMDeviceEnumerator::GetDevice " + microphone,
                                     "IMMDevice::Activate IAudioClient 23",
                                     "IAudioClient::GetMixFormat",
                                     "CoTaskMemAlloc 18",
                                     "CoTaskMemFree",
                                     "IAudioClient::QueryInterface IAudioClient3",
                                     period,
                                     initialize,
                                     "IAudioClient::SetEventHandle event1",
                                     "IAudioClient::GetService IAudioCaptureClient",
                                     "IAudioClient::Reset",
                                     "IAudioClient::Start",
                                     "WaitForMultipleObjects event1 event2",
                                 }) + opening.mid(16, 1));

    simulated::clearCalls();
    capturer->stopCapture();
    QCOMPARE(ownCalls(),
             QStringList({"SetEvent event2", "CloseHandle event1", "CloseHandle event2"}));
    QCOMPARE(threadCalls(), QStringList({
                                "IAudioClient::Stop",
                                "CoTaskMemFree",
                                "release IAudioCaptureClient",
                                "release IAudioClient",
                                "release IMMDevice",
                                "release IMMDeviceEnumerator",
                                "CoUninitialize",
                            }));
    const QStringList lines = log.lines();
    const QStringList expected = {
        R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : begin)",
        R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : end)",
        R"(Info: WASAPIMicrophoneCapturer::startCapture "Microphone" : begin)",
        R"(Info: WASAPIMicrophoneCapturer::startCapture "Microphone" : end)",
        "Info: Capture microphone - begin",
        R"(Info: WASAPIMicrophoneCapturer::stopCapture "Microphone" : begin)",
        "Info: Capture microphone - Quit",
        endLine,
        R"(Info: WASAPIMicrophoneCapturer::stopCapture "Microphone" : end)",
    };
    // The thread's first line may come before or after the end of the start.
    for (const QString &line : expected)
        QVERIFY2(lines.contains(line), qPrintable(line));
    QCOMPARE(lines.size(), expected.size());
    QCOMPARE(lines.mid(5), expected.mid(5));
}

void TestMicrophoneCapture::lowLatencySetup()
{
    const auto stream = start();
    QVERIFY(stream);
    const simulated::StreamSetup setup = stream.setup();
    QCOMPARE(setup.flags, 0x40000u);
    QCOMPARE(setup.periodFrames, 128u);
    QCOMPARE(setup.hasSession, false);
    QCOMPARE(simulated::countCalls("IAudioClient::Initialize "), 0);
}

void TestMicrophoneCapture::fallsBack_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<bool>("periodKnown");

    QTest::newRow("no such client") << "IAudioClient::QueryInterface IAudioClient3" << true;
    QTest::newRow("no periods") << "IAudioClient::GetSharedModeEnginePeriod" << true;
    QTest::newRow("refused") << "IAudioClient::InitializeSharedAudioStream" << true;
    QTest::newRow("no device period either") << "IAudioClient::QueryInterface" << false;
}

void TestMicrophoneCapture::fallsBack()
{
    QFETCH(QString, failing);
    QFETCH(bool, periodKnown);
    const LogCapture log;
    simulated::failNext(failing, refused);
    if (!periodKnown)
        simulated::failNext("IAudioClient::GetDevicePeriod", refused);
    const auto stream = start();
    QVERIFY(stream);
    const simulated::StreamSetup setup = stream.setup();
    QCOMPARE(setup.shareMode, AUDCLNT_SHAREMODE_SHARED);
    QCOMPARE(setup.flags, 0x88040000u);
    QCOMPARE(setup.periodFrames, 0u);
    QCOMPARE(setup.bufferDuration, REFERENCE_TIME(periodKnown ? 30000 : 0));
    QCOMPARE(setup.periodicity, REFERENCE_TIME(0));
    QCOMPARE(log.linesOf("Critical"), QStringList());
}

void TestMicrophoneCapture::eachStepFails_data()
{
    addSetupSteps();
}

void TestMicrophoneCapture::eachStepFails()
{
    QFETCH(QString, call);
    QFETCH(QString, words);
    words.replace("ID", '"' + microphone + '"');
    if (call.startsWith("IAudioClient::Initialize"))
        simulated::setHasAudioClient3(microphone, false);
    LogCapture log;
    simulated::failNext(call.trimmed(), refused);
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    QVERIFY(simulated::waitForCall("CoUninitialize"));
    QCOMPARE(log.linesOf("Critical"), QStringList("Critical: " + words + refusedText));
    QVERIFY(!log.lines().contains(endLine));
    QCOMPARE(simulated::liveObjects(), 2); // the two events

    // Still counted as capturing: only a stop opens the way.
    capturer->startCapture();
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
    capturer->stopCapture();
    QCOMPARE(simulated::leakReport(), QString());
    simulated::clearCalls();
    capturer->startCapture();
    QVERIFY(simulated::waitForCall("WaitForMultipleObjects"));
}

void TestMicrophoneCapture::stopDuringSetup_data()
{
    addSetupSteps();
}

void TestMicrophoneCapture::stopDuringSetup()
{
    QFETCH(QString, call);
    QFETCH(QString, words);
    words.replace("ID", '"' + microphone + '"');
    if (call.startsWith("IAudioClient::Initialize"))
        simulated::setHasAudioClient3(microphone, false);
    const LogCapture log;
    Hold hold(call.trimmed());
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    QVERIFY(hold.waitUntilHeld());
    hold.endWithStop();
    simulated::clearCalls();
    capturer->stopCapture();
    // The step went well, and yet it is told and nothing comes after it.
    QCOMPARE(log.linesOf("Critical"), QStringList("Critical: " + words + "\"0\" false"));
    QVERIFY(!log.lines().contains(endLine));
    const QStringList after = threadCalls();
    QCOMPARE(after.filter("::"), QStringList());
    QVERIFY(after.contains("CoUninitialize"));
    QCOMPARE(simulated::leakReport(), QString());
}

void TestMicrophoneCapture::otherCallFails_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("captures"); // all the same

    QTest::newRow("CoInitializeEx") << "CoInitializeEx" << true;
    QTest::newRow("CoTaskMemAlloc") << "CoTaskMemAlloc" << true;
    QTest::newRow("GetDevicePeriod") << "IAudioClient::GetDevicePeriod" << true;
    QTest::newRow("WaitForMultipleObjects") << "WaitForMultipleObjects" << true;
    QTest::newRow("real-time scheduling") << "requestRealtimeScheduling" << true;
    QTest::newRow("Stop") << "IAudioClient::Stop" << true;
    QTest::newRow("audio event") << "CreateEventW auto" << false;
}

void TestMicrophoneCapture::otherCallFails()
{
    QFETCH(QString, call);
    QFETCH(bool, captures);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    simulated::failNext(call, refused);
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    auto stream = simulated::waitForCaptureStream(microphone);
    if (captures) {
        QVERIFY(stream);
        stream.pushPacket(pattern(960));
        QCOMPARE(listener.hear(960), pattern(960));
        listener.stream.clearReleasedBuffers();
    } else {
        QVERIFY(simulated::waitForCall("CoUninitialize"));
    }
    capturer->stopCapture();
    // The next run is a whole one.
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophoneCapture::formats_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<uint>("mask");

    QTest::newRow("1") << 1 << 48000 << 0u;
    QTest::newRow("2") << 2 << 44100 << 0u;
    QTest::newRow("3") << 3 << 48000 << 0x0Bu;
    QTest::newRow("4") << 4 << 48000 << 0x107u;
    QTest::newRow("5") << 5 << 48000 << 0x10Fu;
    QTest::newRow("6") << 6 << 96000 << 0x60Fu;
    QTest::newRow("7") << 7 << 48000 << 0u;
    QTest::newRow("8") << 8 << 48000 << 0x63Fu;
    QTest::newRow("9") << 9 << 48000 << 0u;
    QTest::newRow("16") << 16 << 48000 << 0u;
}

void TestMicrophoneCapture::formats()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(uint, mask);
    simulated::setMixFormat(microphone, static_cast<WORD>(channels), static_cast<DWORD>(rate));
    const auto stream = start();
    QVERIFY(stream);
    const WAVEFORMATEXTENSIBLE format = stream.setup().format;
    const bool plain = channels <= 2;
    QCOMPARE(simulated::countCalls(plain ? "CoTaskMemAlloc 18" : "CoTaskMemAlloc 40"), 1);
    QCOMPARE(int(format.Format.wFormatTag), plain ? 1 : 0xFFFE);
    QCOMPARE(int(format.Format.nChannels), channels);
    QCOMPARE(int(format.Format.nSamplesPerSec), rate);
    QCOMPARE(int(format.Format.wBitsPerSample), 16);
    QCOMPARE(int(format.Format.nBlockAlign), channels * 2);
    QCOMPARE(int(format.Format.nAvgBytesPerSec), channels * 2 * rate);
    QCOMPARE(int(format.Format.cbSize), plain ? 0 : 22);
    QCOMPARE(uint(format.dwChannelMask), mask);
    if (!plain) {
        QCOMPARE(int(format.Samples.wValidBitsPerSample), 16);
        QVERIFY(format.SubFormat == KSDATAFORMAT_SUBTYPE_PCM);
    }
}

void TestMicrophoneCapture::mixFormatStays_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<bool>("allocates");

    QTest::newRow("nothing to allocate from") << 2 << 48000 << false;
    QTest::newRow("nor for an extensible one") << 6 << 48000 << false;
    QTest::newRow("no rate") << 2 << 0 << true;
}

void TestMicrophoneCapture::mixFormatStays()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(bool, allocates);
    simulated::setMixFormat(microphone, static_cast<WORD>(channels), static_cast<DWORD>(rate));
    if (!allocates)
        simulated::failNext("CoTaskMemAlloc", refused);
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    // The endpoint is asked about the extensible float format that it told itself.
    const QString asked =
        QString("IAudioClient::GetSharedModeEnginePeriod 65534/%1/%2/32").arg(channels).arg(rate);
    QVERIFY(simulated::waitForCall(asked));
    QCOMPARE(simulated::countCalls("CoTaskMemAlloc"), allocates ? 0 : 1);
}

void TestMicrophoneCapture::packetsInOrder()
{
    const LogCapture log;
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    const QByteArray sound = pattern(1920);
    stream.queuePacket(sound.left(960));
    stream.pushPacket(sound.mid(960));
    QCOMPARE(listener.hear(1920), sound);
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一："),
             QStringList("Info: 每次从麦克风读取到的数据包大于一： 2"));

    listener.stream.clearReleasedBuffers();
    stream.pushPacket(sound);
    QCOMPARE(listener.hear(1920), sound);
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一：").size(), 1);
}

void TestMicrophoneCapture::formatGoesWithPacket()
{
    // 10 ms of a mono microphone at 96000 Hz reach a player at 48000 Hz stereo as about 10 ms.
    simulated::setMixFormat(microphone, 1, 96000);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    for (int packet = 0; packet < 10; ++packet)
        stream.pushPacket(pattern(1920));
    const qsizetype heard = listener.hear(18000).size();
    QVERIFY2(heard > 18000 && heard <= 19200, qPrintable(QString::number(heard)));
}

void TestMicrophoneCapture::silentPacketIsDropped()
{
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    stream.queuePacket(pattern(960).left(480));
    stream.queuePacket(pattern(960), AUDCLNT_BUFFERFLAGS_SILENT);
    stream.pushPacket(pattern(960).mid(480));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophoneCapture::packetCountIsLimited()
{
    const LogCapture log;
    capturer->setMaximumPacketCount(2);
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    const QByteArray sound = pattern(1600);
    for (int packet = 0; packet < 3; ++packet)
        stream.queuePacket(sound.mid(packet * 400, 400));
    stream.pushPacket(sound.mid(1200));
    QCOMPARE(listener.hear(800), sound.mid(800));
    QCOMPARE(log.lines().filter("每次从麦克风读取到的数据包大于一：").value(0).right(2), " 2");
}

void TestMicrophoneCapture::packetsLeftAtStopAreDropped()
{
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    Hold hold("IAudioCaptureClient::ReleaseBuffer");
    stream.queuePacket(pattern(400));
    stream.pushPacket(pattern(400));
    QVERIFY(hold.waitUntilHeld());
    hold.endWithStop();
    capturer->stopCapture();

    // Only what comes after it is heard.
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophoneCapture::packetsBeforeAFailureAreDropped()
{
    const LogCapture log;
    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto stream = start();
    QVERIFY(stream);
    simulated::onCall("IAudioCaptureClient::ReleaseBuffer",
                      [] { simulated::failNext("IAudioCaptureClient::GetBuffer", refused); });
    stream.queuePacket(pattern(400));
    stream.pushPacket(pattern(400));
    QVERIFY(waitForLine(log, endLine));
    stream = start();
    QVERIFY(stream);
    stream.pushPacket(pattern(960));
    QCOMPARE(listener.hear(960), pattern(960));
}

void TestMicrophoneCapture::timeOutWaitsAgain()
{
    QVERIFY(start());
    QVERIFY(simulated::waitForCalls("IAudioCaptureClient::GetNextPacketSize", 2));
    QCOMPARE(simulated::countCalls("IAudioCaptureClient::GetBuffer"), 0);
}

void TestMicrophoneCapture::startWhileCapturing()
{
    QVERIFY(start());
    simulated::clearCalls();
    capturer->startCapture();
    QCOMPARE(ownCalls(), QStringList());
    QCOMPARE(simulated::captureStreams(microphone).size(), 1);
}

void TestMicrophoneCapture::stopIdle()
{
    const LogCapture log;
    simulated::clearCalls();
    capturer->stopCapture();
    QCOMPARE(log.lines(), QStringList({R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : begin)",
                                       R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : end)"}));
    QCOMPARE(simulated::calls(), QStringList());
}

void TestMicrophoneCapture::stopOnEndpoint()
{
    const auto stream = start();
    QVERIFY(stream);
    capturer->stopOnEndpoint("{0.0.1.00000000}.{another}");
    QVERIFY(stream.isOpen());
    capturer->stopOnEndpoint(microphone);
    QVERIFY(!stream.isOpen());
    QCOMPARE(capturer->deviceID(), microphone);
}

void TestMicrophoneCapture::restart()
{
    const QString other = simulated::addEndpoint({.name = "Other", .flow = eCapture});
    QVERIFY(start());
    QCOMPARE(capturer->restartCapture(other, "Other", 2), 0);
    QCOMPARE(capturer->deviceID(), other);
    QVERIFY(simulated::waitForCaptureStream(other));
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
}

void TestMicrophoneCapture::loopCallFails_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<bool>("afterPacket");

    QTest::newRow("GetNextPacketSize") << "GetNextPacketSize" << false;
    QTest::newRow("GetBuffer") << "GetBuffer" << false;
    QTest::newRow("ReleaseBuffer") << "ReleaseBuffer" << false;
    QTest::newRow("GetNextPacketSize after a packet") << "GetNextPacketSize" << true;
}

void TestMicrophoneCapture::loopCallFails()
{
    QFETCH(QString, method);
    QFETCH(bool, afterPacket);
    const LogCapture log;
    auto stream = start();
    QVERIFY(stream);
    const QString call = "IAudioCaptureClient::" + method;
    if (afterPacket)
        simulated::onCall("IAudioCaptureClient::ReleaseBuffer",
                          [&] { simulated::failNext(call, refused); });
    else
        simulated::failNext(call, refused);
    simulated::clearCalls();
    stream.pushPacket(pattern(960));
    QVERIFY(waitForLine(log, endLine));
    QCOMPARE(log.linesOf("Critical"),
             QStringList("Critical: Capture microphone - Fail to " + method + R"(: "-7776fff8")"));
    QVERIFY(log.lines().contains(needStopLine));
    QVERIFY(threadCalls().contains("IAudioClient::Stop"));
    QCOMPARE(simulated::liveObjects(), 2); // the two events

    capturer->startCapture();
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
    QVERIFY(start());
}

void TestMicrophoneCapture::endpointVanishes()
{
    const LogCapture log;
    auto stream = start();
    simulated::removeEndpoint(microphone);
    stream.signalEvent();
    QVERIFY(waitForLine(log, endLine));
    QCOMPARE(
        log.linesOf("Critical"),
        QStringList(R"(Critical: Capture microphone - Fail to GetNextPacketSize: "-7776fffc")"));
    capturer->stopOnEndpoint(microphone);
    QCOMPARE(simulated::leakReport(), QString());
}

void TestMicrophoneCapture::stopWithErrorTriesAgain()
{
    const LogCapture log;
    QVERIFY(start());
    QMetaObject::invokeMethod(capturer.get(), "stopCapture", Qt::BlockingQueuedConnection,
                              Q_ARG(long, -5), Q_ARG(QString, "Fail to GetBuffer"));
    QVERIFY(log.lines().contains("Info: WASAPIMicrophoneCapturer::stopCapture "
                                 R"("Microphone" : begin -5 "Fail to GetBuffer")"));
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
    QVERIFY(QTest::qWaitFor([this] { return !simulated::captureStreams(microphone).isEmpty(); },
                            10000));
    // Once only: the start has stopped the timer.
    capturer->stopCapture();
    QTest::qWait(2000);
    QVERIFY(simulated::captureStreams(microphone).isEmpty());
}

void TestMicrophoneCapture::stuckThreadEndsLater()
{
    QSemaphore entered;
    QSemaphore leave;
    std::atomic<bool> stuckOnce{false};
    simulated::onCall("IAudioCaptureClient::GetNextPacketSize", [&] {
        if (!stuckOnce.exchange(true)) {
            entered.release();
            leave.acquire();
        }
    });
    auto first = start();
    first.pushPacket(pattern(960));
    QVERIFY(entered.tryAcquire(1, 5000));

    Listener listener;
    capturer->setAudioOutput(listener.player);
    auto second = start();
    QVERIFY(second);
    second.pushPacket(pattern(400));
    QCOMPARE(listener.hear(400), pattern(400));

    capturer.reset();
    leave.release();
    listener.player.reset();
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }));
    QVERIFY(!first.isOpen());
}

void TestMicrophoneCapture::destroyedWhileCapturing()
{
    const LogCapture log;
    auto stream = start();
    stream.pushPacket(pattern(960));
    capturer.reset();
    QVERIFY(!stream.isOpen());
    QCOMPARE(log.lines().first(), R"(Info: WASAPIMicrophoneCapturer::stopCapture "" : begin)");
    QCOMPARE(log.lines().last(), "Info: WASAPIMicrophoneCapturer::~WASAPIMicrophoneCapturer : end");
}

void TestMicrophoneCapture::emitsNothing()
{
    using C = WASAPIMicrophoneCapturer;
    QSignalSpy failures(capturer.get(), &C::sigFaildToOpenDevice);
    QSignalSpy lines(capturer.get(), &C::sigPrintfLog);
    QSignalSpy data(capturer.get(), qOverload<QByteArray>(&C::sigGetInputData));
    QSignalSpy formatted(capturer.get(), qOverload<QByteArray, int, int>(&C::sigGetInputData));
    auto stream = start();
    stream.pushPacket(pattern(960));
    QVERIFY(stream.waitForRelease());
    simulated::failNext("IAudioCaptureClient::GetNextPacketSize", refused);
    stream.signalEvent();
    capturer->stopCapture();
    QCOMPARE(failures.count() + lines.count() + data.count() + formatted.count(), 0);
}

QTEST_GUILESS_MAIN(TestMicrophoneCapture)
#include "tst_microphonecapture.moc"
