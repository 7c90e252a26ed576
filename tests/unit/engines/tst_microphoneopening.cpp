// How the capture thread opens its endpoint: the calls, the formats, and each step failing.
#include "tests/unit/engines/capturetest.h"

using namespace playerfixture;

namespace
{

/// The calls of the set-up in their order, what a failure of each one logs, and what the thread
/// gives back then.
void addSetupSteps()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QStringList>("givenBack");

    QStringList held{"CoUninitialize"};
    const auto row = [&held](const char *call, const char *words) {
        QTest::newRow(call) << call << words << held;
    };
    row("CoCreateInstance", "Capture microphone - CoCreateInstance failed: 0 ");
    held.prepend("release IMMDeviceEnumerator");
    row("IMMDeviceEnumerator::GetDevice", "Capture microphone - Can't find device: ID ");
    held.prepend("release IMMDevice");
    row("IMMDevice::Activate", "Capture microphone - Fail to Activate IAudioClient: ");
    held.prepend("release IAudioClient");
    row("IAudioClient::GetMixFormat", "Capture microphone - Fail to GetMixFormat: ");
    held.prepend("CoTaskMemFree");
    row("IAudioClient::Initialize ", "Capture microphone - Fail to Initialize: ");
    row("IAudioClient::SetEventHandle", "WASAPIAudioPlayer play audio - Fail to SetEventHandle: ");
    row("IAudioClient::GetService", "Capture microphone - Fail to GetService: ");
    held.insert(1, "release IAudioCaptureClient");
    row("IAudioClient::Reset", "Capture microphone - Fail to Reset: ");
    row("IAudioClient::Start", "Capture microphone - Fail to Start: ");
}

/// What stands behind the last such call.
QStringList after(const QString &call, const QStringList &calls)
{
    for (qsizetype place = calls.size() - 1; place >= 0; --place) {
        if (calls[place].startsWith(call))
            return calls.mid(place + 1);
    }
    return {"never called"};
}

} // namespace

class TestMicrophoneOpening : public CaptureTest
{
    Q_OBJECT

private slots:
    void emptyId();
    void callsInOrder();
    void theWorkerAsksForPriorityOnce();
    void lowLatencySetup();
    void fallsBack_data();
    void fallsBack();
    void eachStepFails_data();
    void eachStepFails();
    void stopDuringSetup_data();
    void stopDuringSetup();
    void formats_data();
    void formats();
    void mixFormatStays_data();
    void mixFormatStays();
};

void TestMicrophoneOpening::emptyId()
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

void TestMicrophoneOpening::theWorkerAsksForPriorityOnce()
{
    QVERIFY(start());
    QVERIFY(simulated::waitForCall("requestRealtimeScheduling fed"));
    QVERIFY(start()); // forgets the calls of before
    QMetaObject::invokeMethod(
        capturer.get(), [] {}, Qt::BlockingQueuedConnection);
    QCOMPARE(simulated::countCalls("requestRealtimeScheduling fed"), 0);
    QCOMPARE(simulated::countCalls("requestRealtimeScheduling paced"), 1);
}

void TestMicrophoneOpening::callsInOrder()
{
    const LogCapture log;
    QVERIFY(start());
    QCOMPARE(ownCalls(), QStringList({"CreateEventW auto event1", "CreateEventW manual event2"}));
    const QStringList opening = threadCalls();
    const QString initialize = opening.filter("InitializeSharedAudioStream").value(0);
    const QString period = opening.filter("GetSharedModeEnginePeriod").value(0);
    QCOMPARE(opening.mid(0, 17), QStringList({
                                     "requestRealtimeScheduling paced",
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

void TestMicrophoneOpening::lowLatencySetup()
{
    const auto stream = start();
    QVERIFY(stream);
    const simulated::StreamSetup setup = stream.setup();
    QCOMPARE(setup.flags, 0x40000u);
    QCOMPARE(setup.periodFrames, 128u);
    QCOMPARE(setup.hasSession, false);
    QCOMPARE(simulated::countCalls("IAudioClient::Initialize "), 0);
}

void TestMicrophoneOpening::fallsBack_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<bool>("periodKnown");

    QTest::newRow("no such client") << "IAudioClient::QueryInterface IAudioClient3" << true;
    QTest::newRow("no periods") << "IAudioClient::GetSharedModeEnginePeriod" << true;
    QTest::newRow("refused") << "IAudioClient::InitializeSharedAudioStream" << true;
    QTest::newRow("no device period either") << "IAudioClient::QueryInterface" << false;
}

void TestMicrophoneOpening::fallsBack()
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

void TestMicrophoneOpening::eachStepFails_data()
{
    addSetupSteps();
}

void TestMicrophoneOpening::eachStepFails()
{
    QFETCH(QString, call);
    QFETCH(QString, words);
    QFETCH(const QStringList, givenBack);
    words.replace("ID", '"' + microphone + '"');
    if (call.startsWith("IAudioClient::Initialize"))
        simulated::setHasAudioClient3(microphone, false);
    LogCapture log;
    simulated::failNext(call.trimmed(), refused);
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    QVERIFY(simulated::waitForCall("CoUninitialize", 30000));
    QCOMPARE(after(call.trimmed(), threadCalls()), givenBack);
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

void TestMicrophoneOpening::stopDuringSetup_data()
{
    addSetupSteps();
}

void TestMicrophoneOpening::stopDuringSetup()
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

void TestMicrophoneOpening::formats_data()
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

void TestMicrophoneOpening::formats()
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

void TestMicrophoneOpening::mixFormatStays_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<bool>("allocates");

    QTest::newRow("nothing to allocate from") << 2 << 48000 << false;
    QTest::newRow("nor for an extensible one") << 6 << 48000 << false;
    QTest::newRow("no rate") << 2 << 0 << true;
    QTest::newRow("no channels") << 0 << 48000 << true;
}

void TestMicrophoneOpening::mixFormatStays()
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

QTEST_GUILESS_MAIN(TestMicrophoneOpening)
#include "tst_microphoneopening.moc"
