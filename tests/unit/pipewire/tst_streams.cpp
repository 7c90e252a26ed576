// Render and capture streams on a server.
#include "platform/pipewire/card.h"
#include "platform/posix/comobject.h"
#include "platform/posix/handletable.h"
#include "platform/posix/realtimepriority.h"
#include "platform/posix/taskmemory.h"
#include "platform/threads.h"
#include "servertools.h"
#include "streamfixture.h"

#include <QDir>
#include <QTest>

#include <malloc.h>
#include <sched.h>

#include <algorithm>
#include <thread>

namespace
{
constexpr int longestWait = 30000; // ms

/// A square wave of half scale at 480 Hz.
DWORD fillSquare(BYTE *data, UINT32 frames)
{
    static thread_local UINT32 phase = 0;
    auto *samples = reinterpret_cast<qint16 *>(data);
    for (UINT32 i = 0; i < frames * 2; ++i)
        samples[i] = (phase + i / 2) / 50 % 2 ? 16000 : -16000;
    phase += frames;
    return 0;
}

/// The same, but said to be silent.
DWORD fillSquareSilently(BYTE *data, UINT32 frames)
{
    fillSquare(data, frames);
    return AUDCLNT_BUFFERFLAGS_SILENT;
}

/// Of all threads of this process that have one.
QList<int> realtimePriorities()
{
    QList<int> priorities;
    const QStringList threads =
        QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &thread : threads) {
        sched_param parameters{};
        if (sched_getparam(thread.toInt(), &parameters) == 0 && parameters.sched_priority > 0)
            priorities.append(parameters.sched_priority);
    }
    return priorities;
}

bool isRealtimeAllowed()
{
    bool isAllowed = false;
    std::thread([&] {
        sched_param parameters{};
        parameters.sched_priority = posix::pacedPriority;
        isAllowed = sched_setscheduler(0, SCHED_RR, &parameters) == 0;
    }).join();
    return isAllowed;
}

int entries(const char *folder)
{
    return int(
        QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System).size());
}
} // namespace

class TestStreams : public QObject
{
    Q_OBJECT

private slots:
    void mixFormat_data()
    {
        QTest::addColumn<uint>("rate");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("told");
        QTest::addColumn<uint>("mask");
        QTest::newRow("stereo") << 48000u << 2 << 2 << 0x3u;
        QTest::newRow("mono 44100") << 44100u << 1 << 1 << 0x4u;
        QTest::newRow("5.1") << 48000u << 6 << 6 << 0x3Fu;
        QTest::newRow("7.1") << 96000u << 8 << 8 << 0x63Fu;
        QTest::newRow("many") << 48000u << 32 << 8 << 0x63Fu;
    }
    void mixFormat()
    {
        QFETCH(uint, rate);
        QFETCH(int, channels);
        QFETCH(int, told);
        QFETCH(uint, mask);
        const Stream stream({"speakers", eRender, rate, WORD(channels)});
        WAVEFORMATEX *format = nullptr;
        QCOMPARE(stream.client->GetMixFormat(&format), S_OK);
        const auto copy = *reinterpret_cast<WAVEFORMATEXTENSIBLE *>(format);
        posix::taskMemoryFree(format);
        QCOMPARE(copy.Format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
        QCOMPARE(int(copy.Format.nChannels), told);
        QCOMPARE(uint(copy.Format.nSamplesPerSec), rate);
        QCOMPARE(copy.Format.wBitsPerSample, WORD(32));
        QCOMPARE(int(copy.Format.nBlockAlign), told * 4);
        QCOMPARE(uint(copy.Format.nAvgBytesPerSec), rate * told * 4);
        QCOMPARE(copy.Format.cbSize, WORD(22));
        QCOMPARE(uint(copy.dwChannelMask), mask);
        QVERIFY(copy.SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
    }

    void periodsAndInterfaces()
    {
        Stream stream(speakersTarget);
        REFERENCE_TIME usual = 0;
        REFERENCE_TIME minimum = 0;
        QCOMPARE(stream.client->GetDevicePeriod(&usual, &minimum), S_OK);
        QCOMPARE(usual, REFERENCE_TIME(100'000));
        QCOMPARE(minimum, REFERENCE_TIME(100'000));
        ComPtr<IAudioClient3> lowLatency;
        QCOMPARE(stream.client->QueryInterface(IID_IAudioClient3, lowLatency.receiveVoid()), S_OK);
        UINT32 frames[4] = {};
        QCOMPARE(lowLatency->GetSharedModeEnginePeriod(&stereoFormat, &frames[0], &frames[1],
                                                       &frames[2], &frames[3]),
                 S_OK);
        QCOMPARE(frames[2], 480u);
        QCOMPARE(lowLatency->InitializeSharedAudioStream(AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                                                         frames[2], &stereoFormat, nullptr),
                 S_OK);
        QCOMPARE(stream.initialize(), AUDCLNT_E_ALREADY_INITIALIZED);
    }

    void nothingWorksBeforeInitialize()
    {
        Stream stream(speakersTarget);
        UINT32 frames = 0;
        void *service = nullptr;
        QCOMPARE(stream.client->GetBufferSize(&frames), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->GetCurrentPadding(&frames), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->Start(), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->Stop(), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->Reset(), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->SetEventHandle(stream.event), AUDCLNT_E_NOT_INITIALIZED);
        QCOMPARE(stream.client->GetService(IID_IAudioRenderClient, &service),
                 AUDCLNT_E_NOT_INITIALIZED);
        QVERIFY(!service);
    }

    void initializeRefuses_data()
    {
        QTest::addColumn<int>("tag");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("bits");
        QTest::addColumn<HRESULT>("result");
        QTest::newRow("float") << 3 << 2 << 32 << AUDCLNT_E_UNSUPPORTED_FORMAT;
        QTest::newRow("24 bits") << 1 << 2 << 24 << AUDCLNT_E_UNSUPPORTED_FORMAT;
        QTest::newRow("9 channels") << 1 << 9 << 16 << AUDCLNT_E_UNSUPPORTED_FORMAT;
        QTest::newRow("0 channels") << 1 << 0 << 16 << AUDCLNT_E_UNSUPPORTED_FORMAT;
        QTest::newRow("PCM") << 1 << 2 << 16 << S_OK;
    }
    void initializeRefuses()
    {
        QFETCH(int, tag);
        QFETCH(int, channels);
        QFETCH(int, bits);
        QFETCH(HRESULT, result);
        Stream stream(speakersTarget);
        const auto align = WORD(channels * bits / 8);
        const WAVEFORMATEX format{WORD(tag), WORD(channels), 48000, 48000u * align,
                                  align,     WORD(bits),     0};
        QCOMPARE(stream.initialize(format), result);
    }

    void initializeRefusesExclusiveAndUnknownFlags()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, playerFlags, 0, 0,
                                           &stereoFormat, nullptr),
                 E_INVALIDARG);
        QCOMPARE(stream.client->Initialize(AUDCLNT_SHAREMODE_SHARED, 0x00020000, 0, 0,
                                           &stereoFormat, nullptr),
                 E_INVALIDARG);
        QCOMPARE(stream.client->Initialize(AUDCLNT_SHAREMODE_SHARED, playerFlags, 0, 0, nullptr,
                                           nullptr),
                 E_POINTER);
    }

    void startStopAndResetInTheWrongOrder()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.initialize(), S_OK);
        QCOMPARE(stream.client->Start(), AUDCLNT_E_EVENTHANDLE_NOT_SET);
        QCOMPARE(stream.client->SetEventHandle(nullptr), E_INVALIDARG);
        QCOMPARE(stream.client->SetEventHandle(stream.event), S_OK);
        QCOMPARE(stream.client->Stop(), S_FALSE);
        QCOMPARE(stream.client->Reset(), S_OK);
        QCOMPARE(stream.client->Start(), S_OK);
        QCOMPARE(stream.client->Start(), AUDCLNT_E_NOT_STOPPED);
        QCOMPARE(stream.client->Reset(), AUDCLNT_E_NOT_STOPPED);
        QCOMPARE(stream.client->Stop(), S_OK);
        QCOMPARE(stream.client->Reset(), S_OK);
    }

    void servicesBelongToTheirFlow()
    {
        Stream render(speakersTarget);
        Stream capture(microphoneTarget);
        QCOMPARE(render.initialize(), S_OK);
        QCOMPARE(capture.initialize(), S_OK);
        void *service = nullptr;
        QCOMPARE(render.client->GetService(IID_IAudioCaptureClient, &service),
                 AUDCLNT_E_WRONG_ENDPOINT_TYPE);
        QCOMPARE(capture.client->GetService(IID_IAudioRenderClient, &service),
                 AUDCLNT_E_WRONG_ENDPOINT_TYPE);
        QCOMPARE(render.client->GetService(IID_IUnknown, &service), E_NOINTERFACE);
        QCOMPARE(render.client->GetService(IID_IAudioRenderClient, nullptr), E_POINTER);
    }

    void renderBufferInTheWrongOrder()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.initialize(), S_OK);
        QCOMPARE(stream.client->GetService(IID_IAudioRenderClient, stream.render.receiveVoid()),
                 S_OK);
        UINT32 size = 0;
        QCOMPARE(stream.client->GetBufferSize(&size), S_OK);
        QVERIFY(size > 0);
        BYTE *data = nullptr;
        QCOMPARE(stream.render->ReleaseBuffer(0, 0), S_OK);
        QCOMPARE(stream.render->ReleaseBuffer(1, 0), AUDCLNT_E_OUT_OF_ORDER);
        QCOMPARE(stream.render->GetBuffer(size + 1, &data), AUDCLNT_E_BUFFER_TOO_LARGE);
        QCOMPARE(stream.render->GetBuffer(1, nullptr), E_POINTER);
        QCOMPARE(stream.render->GetBuffer(10, &data), S_OK);
        QVERIFY(data);
        QCOMPARE(stream.render->GetBuffer(10, &data), AUDCLNT_E_OUT_OF_ORDER);
        QCOMPARE(stream.render->ReleaseBuffer(11, 0), AUDCLNT_E_INVALID_SIZE);
        QCOMPARE(stream.render->ReleaseBuffer(10, 0x100), E_INVALIDARG);
        QCOMPARE(stream.render->ReleaseBuffer(4, 0), S_OK);
        UINT32 padding = 0;
        QCOMPARE(stream.client->GetCurrentPadding(&padding), S_OK);
        QCOMPARE(padding, 4u);
        QCOMPARE(stream.render->GetBuffer(size - 3, &data), AUDCLNT_E_BUFFER_TOO_LARGE);
        QCOMPARE(stream.render->GetBuffer(size - 4, &data), S_OK);
        QCOMPARE(stream.render->ReleaseBuffer(0, 0), S_OK);
        QCOMPARE(stream.client->Reset(), S_OK);
        QCOMPARE(stream.client->GetCurrentPadding(&padding), S_OK);
        QCOMPARE(padding, 0u);
    }

    void captureBufferInTheWrongOrder()
    {
        Stream stream(microphoneTarget);
        QCOMPARE(stream.open(), S_OK);
        UINT32 packet = 0;
        QVERIFY(stream.waitForEvent());
        QTRY_VERIFY(SUCCEEDED(stream.capture->GetNextPacketSize(&packet)) && packet > 0);
        QCOMPARE(stream.client->Stop(), S_OK);
        BYTE *data = nullptr;
        UINT32 frames = 0;
        DWORD flags = 0;
        QCOMPARE(stream.capture->ReleaseBuffer(0), S_OK);
        QCOMPARE(stream.capture->ReleaseBuffer(1), AUDCLNT_E_OUT_OF_ORDER);
        QCOMPARE(stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr), S_OK);
        QVERIFY(frames > 0);
        QCOMPARE(stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr),
                 AUDCLNT_E_OUT_OF_ORDER);
        QCOMPARE(stream.capture->GetNextPacketSize(&packet), S_OK);
        QCOMPARE(stream.capture->ReleaseBuffer(packet - 1), AUDCLNT_E_INVALID_SIZE);
        // Given back unread, the packet comes again.
        QCOMPARE(stream.capture->ReleaseBuffer(0), S_OK);
        UINT32 again = 0;
        QCOMPARE(stream.capture->GetBuffer(&data, &again, &flags, nullptr, nullptr), S_OK);
        QCOMPARE(again, packet);
        QCOMPARE(stream.capture->ReleaseBuffer(again), S_OK);
        QCOMPARE(stream.client->Reset(), S_OK);
        QCOMPARE(stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr),
                 AUDCLNT_S_BUFFER_EMPTY);
    }

    void anAbsentTargetFailsAtInitialize()
    {
        for (const EDataFlow flow : {eRender, eCapture}) {
            Stream stream({"nobody", flow, 48000, 2});
            QCOMPARE(stream.initialize(), AUDCLNT_E_DEVICE_INVALIDATED);
            UINT32 frames = 0;
            QCOMPARE(stream.client->GetBufferSize(&frames), AUDCLNT_E_NOT_INITIALIZED);
        }
    }

    void eventsComeFromStartToStop()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        for (int i = 0; i < 10; ++i)
            QVERIFY(stream.waitForEvent());
        QCOMPARE(stream.client->Stop(), S_OK);
        posix::resetEvent(stream.event);
        QVERIFY(!stream.waitForEvent(300));
        QCOMPARE(stream.client->Start(), S_OK);
        for (int i = 0; i < 10; ++i)
            QVERIFY(stream.waitForEvent());
    }

    void soundReachesItsTarget_data()
    {
        QTest::addColumn<uint>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("as it is") << 48000u << 2;
        QTest::newRow("44100 Hz") << 44100u << 2;
        QTest::newRow("6 channels") << 48000u << 6;
        QTest::newRow("mono") << 48000u << 1;
    }
    void soundReachesItsTarget()
    {
        QFETCH(uint, rate);
        QFETCH(int, channels);
        Stream stream(speakersTarget);
        const auto align = WORD(2 * channels);
        const WAVEFORMATEX format{
            WAVE_FORMAT_PCM, WORD(channels), rate, rate * align, align, 16, 0};
        QCOMPARE(stream.open(format), S_OK);
        const RenderLoop loop(stream, [channels](BYTE *data, UINT32 frames) {
            // Two channels' worth at a time fills all of them alike.
            for (int part = 0; part < std::max(1, channels / 2); ++part)
                fillSquare(data + size_t(part) * frames * 4, channels == 1 ? frames / 2 : frames);
            return 0;
        });
        const int peak = servertools::peakOfSource("speakers.monitor", 1);
        QVERIFY2(peak > 12000, qPrintable(QString::number(peak)));
        QCOMPARE(servertools::peakOfSource("headset.monitor", 0.7), 0);
        QVERIFY(!loop.wasInconsistent());
        QVERIFY(!loop.hasEnded());
    }

    void silentBuffersAreZeros()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquareSilently);
        QTRY_VERIFY(loop.rounds() > 10);
        QCOMPARE(servertools::peakOfSource("speakers.monitor", 0.7), 0);
    }

    void silenceNeverDelaysSound()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        for (int i = 0; i < 20; ++i) {
            QVERIFY(stream.waitForEvent());
            QCOMPARE(stream.releaseAllFree(AUDCLNT_BUFFERFLAGS_SILENT), S_OK);
            UINT32 padding = 1;
            QCOMPARE(stream.client->GetCurrentPadding(&padding), S_OK);
            QCOMPARE(padding, 0u);
        }
    }

    // Its sound may only be late: it is asked once more in the cycle, until it has been silent for
    // long.
    void aClientWithoutSoundIsCalledAgain()
    {
        servertools::succeeds("pw-metadata",
                              {"-n", "settings", "0", "clock.force-quantum", "8192"}); // 171 ms
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        // One that always has sound is called once in each cycle.
        Stream other(speakersTarget);
        QCOMPARE(other.open(), S_OK);
        const RenderLoop cycles(other, fillSquare);
        std::atomic<bool> isSilent{false};
        const RenderLoop loop(stream, [&](BYTE *data, UINT32 frames) -> DWORD {
            fillSquare(data, frames);
            return isSilent ? AUDCLNT_BUFFERFLAGS_SILENT : 0;
        });
        const auto callsInTwelveCycles = [&] {
            const int before = loop.rounds();
            const int end = cycles.rounds() + 12;
            (void)QTest::qWaitFor([&] { return cycles.rounds() >= end; }, longestWait);
            return loop.rounds() - before;
        };
        UINT32 size = 0;
        QTRY_VERIFY(SUCCEEDED(stream.client->GetBufferSize(&size)) && size == 2 * 8192);
        QVERIFY(QTest::qWaitFor([&] { return callsInTwelveCycles() <= 13; }, 60'000));
        isSilent = true;
        QVERIFY(QTest::qWaitFor([&] { return callsInTwelveCycles() >= 20; }, 60'000));
        QVERIFY(QTest::qWaitFor([&] { return callsInTwelveCycles() <= 13; }, 60'000));
        servertools::succeeds("pw-metadata", {"-n", "settings", "0", "clock.force-quantum", "0"});
    }

    void aBacklogThatIsNotNeededIsCut()
    {
        // A client that misses a cycle needs its backlog.
        requestRealtimeScheduling(SoundThread::Paced);
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        // The quantum has settled when the client gives one per cycle and nothing piles up.
        UINT32 size = 0;
        UINT32 padding = 0;
        const auto giveOne = [&] {
            BYTE *data = nullptr;
            return stream.waitForEvent() && stream.client->GetBufferSize(&size) == S_OK &&
                   stream.client->GetCurrentPadding(&padding) == S_OK &&
                   (padding > size / 2 || (stream.render->GetBuffer(size / 2, &data) == S_OK &&
                                           stream.render->ReleaseBuffer(size / 2, 0) == S_OK));
        };
        // Less than half a quantum is what the first cycles left before it settled; nobody cuts it.
        const auto isBacklog = [&] { return padding >= size / 4; };
        for (int i = 0; i < 20; ++i)
            QVERIFY(giveOne());
        // Twice as much, once: the second half waits for as long as each cycle brings a block.
        QVERIFY(stream.waitForEvent());
        QCOMPARE(stream.releaseAllFree(0), S_OK);
        QVERIFY(giveOne());
        QVERIFY(isBacklog());
        QElapsedTimer timer;
        timer.start();
        while (isBacklog() && timer.elapsed() < longestWait)
            QVERIFY(giveOne());
        QVERIFY2(!isBacklog(), qPrintable(QString::number(padding)));
    }

    // Whoever waits for the data thread's event comes first. Without rights of our own, a service
    // may have given the data thread its priority, or nobody.
    void theDataThreadGivesWayToThoseItWakes()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquare);
        const auto isInOrder = [] {
            const QList<int> priorities = realtimePriorities();
            if (priorities.isEmpty())
                return !isRealtimeAllowed();
            return priorities.contains(posix::fedPriority) &&
                   *std::max_element(priorities.begin(), priorities.end()) <= posix::pacedPriority;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isInOrder(), longestWait);
    }

    void aStreamAloneMakesTheGraphRunAtItsPeriod()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquare);
        UINT32 size = 0;
        QTRY_VERIFY(SUCCEEDED(stream.client->GetBufferSize(&size)) && size == 2 * 512);
    }

    void theBufferFollowsTheQuantum()
    {
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquare);
        for (const UINT32 quantum : {1024u, 256u, 2048u, 64u}) {
            QVERIFY(
                servertools::succeeds("pw-metadata", {"-n", "settings", "0", "clock.force-quantum",
                                                      QString::number(quantum)}));
            UINT32 size = 0;
            QTRY_VERIFY(SUCCEEDED(stream.client->GetBufferSize(&size)) && size == 2 * quantum);
        }
        servertools::succeeds("pw-metadata", {"-n", "settings", "0", "clock.force-quantum", "0"});
        QVERIFY(!loop.hasEnded());
        QVERIFY(!loop.wasInconsistent());
    }

    void aVanishedTargetEndsTheClientsLoop()
    {
        const QByteArray module =
            servertools::run("pactl", {"load-module", "module-null-sink", "sink_name=fleeting"})
                .trimmed();
        QTRY_VERIFY_WITH_TIMEOUT(servertools::hasSink("fleeting"), longestWait);
        Stream stream({"fleeting", eRender, 48000, 2});
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquare);
        QTRY_VERIFY_WITH_TIMEOUT(loop.rounds() > 10, longestWait);
        QVERIFY(servertools::succeeds("pactl", {"unload-module", module}));
        QTRY_VERIFY_WITH_TIMEOUT(loop.hasEnded(), longestWait);
        QCOMPARE(loop.result(), AUDCLNT_E_DEVICE_INVALIDATED);
        // Told once, and never played anywhere else; the event of a period that the loop did not
        // wait for may still be pending or on its way.
        static_cast<void>(stream.waitForEvent(300));
        QVERIFY(!stream.waitForEvent(300));
        UINT32 frames = 0;
        BYTE *data = nullptr;
        QCOMPARE(stream.client->GetBufferSize(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
        QCOMPARE(stream.client->GetCurrentPadding(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
        QCOMPARE(stream.render->GetBuffer(1, &data), AUDCLNT_E_DEVICE_INVALIDATED);
        QCOMPARE(stream.client->Start(), AUDCLNT_E_DEVICE_INVALIDATED);
        QCOMPARE(stream.client->Stop(), S_OK);
        QCOMPARE(servertools::peakOfSource("speakers.monitor", 0.7), 0);
    }

    void aCardSpeakerThatIsHiddenEndsItsStreams()
    {
        const card::CardEndpoint &render =
            *card::endpointOfNodeName(channelOfType(tavoriChatCapture)->renderSuffix);
        QCOMPARE(card::setShown(render.id, true), S_OK);
        // Straight away: what a start does with the virtual microphone.
        Stream stream({render.nodeName, eRender, 48000, 2});
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, fillSquare);
        QTRY_VERIFY(loop.rounds() > 10);
        QCOMPARE(card::setShown(render.id, false), S_OK);
        QTRY_VERIFY(loop.hasEnded());
        QCOMPARE(loop.result(), AUDCLNT_E_DEVICE_INVALIDATED);
    }

    void capturesItsTarget()
    {
        const servertools::Application application(
            "pw-play", {"--target=speakers", servertools::toneFile(20000)});
        // What goes into the virtual microphone of the server comes out of it.
        for (const char *channel : {"FL", "FR"})
            QVERIFY(servertools::succeeds("pw-link",
                                          {QStringLiteral("speakers:monitor_") + channel,
                                           QStringLiteral("real_microphone:input_") + channel}));
        Stream stream(microphoneTarget);
        QCOMPARE(stream.open(), S_OK);
        int peak = 0;
        QElapsedTimer timer;
        timer.start();
        while (peak < 15000 && timer.elapsed() < 10'000 && stream.waitForEvent()) {
            BYTE *data = nullptr;
            UINT32 frames = 0;
            DWORD flags = 0;
            while (stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr) == S_OK) {
                const auto *samples = reinterpret_cast<const qint16 *>(data);
                for (UINT32 i = 0; i < frames * 2; ++i)
                    peak = std::max(peak, std::abs(int(samples[i])));
                QCOMPARE(stream.capture->ReleaseBuffer(frames), S_OK);
            }
        }
        QVERIFY2(peak >= 15000, qPrintable(QString::number(peak)));
    }

    void fiveHundredStreamsLeaveNothing()
    {
        const auto openOnce = [] {
            Stream stream(speakersTarget);
            return stream.open();
        };
        for (int i = 0; i < 20; ++i)
            QCOMPARE(openOnce(), S_OK);
        const int files = entries("/proc/self/fd");
        const int threads = entries("/proc/self/task");
        const size_t memory = mallinfo2().uordblks;
        const size_t objects = posix::liveComObjects();
        const size_t handles = posix::openHandles();
        for (int i = 0; i < 500; ++i)
            QCOMPARE(openOnce(), S_OK);
        QCOMPARE(posix::liveComObjects(), objects);
        QCOMPARE(posix::openHandles(), handles);
        // The server's shared memory may stand in one file more or less.
        QTRY_VERIFY(entries("/proc/self/fd") <= files + 2);
        QCOMPARE(entries("/proc/self/task"), threads);
        // Those that were closed last are kept for a moment. Under a sanitizer both are 0, and its
        // own leak check speaks.
        QTRY_VERIFY2_WITH_TIMEOUT(mallinfo2().uordblks < memory + 256 * 1024,
                                  qPrintable(QString::number(mallinfo2().uordblks - memory)),
                                  30000);
    }
};

QTEST_GUILESS_MAIN(TestStreams)
#include "tst_streams.moc"
