// Render and capture streams and the clock that the test turns.
#include "platform/simulated/simulated.h"
#include "tests/unit/platform/platformaccess.h"

#include <QTest>

#include <thread>

namespace
{

constexpr DWORD renderFlags = AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                              AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY |
                              AUDCLNT_STREAMFLAGS_EVENTCALLBACK;

WAVEFORMATEX pcm(WORD channels, DWORD rate)
{
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = channels;
    format.nSamplesPerSec = rate;
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = format.nBlockAlign * rate;
    return format;
}

/// A client's side of a started stream.
struct Client
{
    explicit Client(const QString &endpointId)
        : event(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          audio(activate<IAudioClient>(endpointId, IID_IAudioClient))
    {
    }
    ~Client() { CloseHandle(event); }

    HRESULT open(REFIID service, void **result)
    {
        const WAVEFORMATEX format = pcm(2, 48000);
        HRESULT code =
            audio->Initialize(AUDCLNT_SHAREMODE_SHARED, renderFlags, 30000, 0, &format, nullptr);
        if (SUCCEEDED(code))
            code = audio->SetEventHandle(event);
        if (SUCCEEDED(code))
            code = audio->GetService(service, result);
        return SUCCEEDED(code) ? audio->Start() : code;
    }

    const HANDLE event;
    ComPtr<IAudioClient> audio;
};

HRESULT write(IAudioRenderClient *render, const QByteArray &bytes, DWORD flags = 0)
{
    const auto frames = static_cast<UINT32>(bytes.size() / 4);
    BYTE *data = nullptr;
    const HRESULT code = render->GetBuffer(frames, &data);
    if (FAILED(code))
        return code;
    std::memcpy(data, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    return render->ReleaseBuffer(frames, flags);
}

} // namespace

class TestSimulatedStreams : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }
    void cleanup() { QCOMPARE(simulated::leakReport(), QString()); }

    void mixFormatAndPeriods();
    void streamGoesThroughItsStates();
    void setupIsRecorded();
    void formatMustFitUnlessConverted();
    void clockPlaysWhatWasWritten();
    void silenceIsRecordedAsSuch();
    void renderBufferErrors();
    void clientThreadAnswersTheClock();
    void removedEndpointInvalidates();
    void capturePackets();
    void captureBufferErrors();
    void audioClient3();
    void servicesFitTheFlow();
};

void TestSimulatedStreams::mixFormatAndPeriods()
{
    const QString id = simulated::addEndpoint({.channels = 6, .sampleRate = 44100});
    simulated::setPeriods(id, 100000, 26667);
    const auto audio = activate<IAudioClient>(id, IID_IAudioClient);
    WAVEFORMATEX *mix = nullptr;
    QCOMPARE(audio->GetMixFormat(&mix), S_OK);
    QCOMPARE(mix->wFormatTag, WAVE_FORMAT_EXTENSIBLE);
    QCOMPARE(mix->nChannels, WORD(6));
    QCOMPARE(mix->nSamplesPerSec, 44100u);
    QCOMPARE(mix->wBitsPerSample, WORD(32));
    QCOMPARE(mix->nBlockAlign, WORD(24));
    QCOMPARE(mix->cbSize, WORD(22));
    CoTaskMemFree(mix);
    REFERENCE_TIME usual = 0;
    REFERENCE_TIME minimum = 0;
    QCOMPARE(audio->GetDevicePeriod(&usual, &minimum), S_OK);
    QCOMPARE(usual, REFERENCE_TIME(100000));
    QCOMPARE(minimum, REFERENCE_TIME(26667));
}

void TestSimulatedStreams::streamGoesThroughItsStates()
{
    const QString id = simulated::addEndpoint({});
    Client client(id);
    UINT32 frames = 0;
    QCOMPARE(client.audio->GetBufferSize(&frames), AUDCLNT_E_NOT_INITIALIZED);
    QCOMPARE(client.audio->Start(), AUDCLNT_E_NOT_INITIALIZED);
    const WAVEFORMATEX format = pcm(2, 48000);
    const auto initialise = [&] {
        return client.audio->Initialize(AUDCLNT_SHAREMODE_SHARED, renderFlags, 30000, 0, &format,
                                        nullptr);
    };
    QCOMPARE(initialise(), S_OK);
    QCOMPARE(initialise(), AUDCLNT_E_ALREADY_INITIALIZED);
    QCOMPARE(client.audio->Start(), AUDCLNT_E_EVENTHANDLE_NOT_SET);
    QCOMPARE(client.audio->SetEventHandle(client.event), S_OK);
    QCOMPARE(client.audio->Reset(), S_OK);
    QVERIFY(!simulated::waitForRenderStream(id, 1));
    QCOMPARE(client.audio->Start(), S_OK);
    QVERIFY(simulated::waitForRenderStream(id));
    QCOMPARE(client.audio->Start(), AUDCLNT_E_NOT_STOPPED);
    QCOMPARE(client.audio->Reset(), AUDCLNT_E_NOT_STOPPED);
    QCOMPARE(client.audio->Stop(), S_OK);
    QCOMPARE(client.audio->Stop(), S_FALSE);
    const auto stream = simulated::renderStreams(id).value(0);
    QVERIFY(stream.isOpen() && !stream.isStarted());
    client.audio.reset();
    QVERIFY(!stream.isOpen());
    QVERIFY(simulated::renderStreams(id).isEmpty());
}

void TestSimulatedStreams::setupIsRecorded()
{
    const QString id = simulated::addEndpoint({.bufferFrames = 960});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    const auto stream = simulated::waitForRenderStream(id);
    QCOMPARE(stream.setup().shareMode, AUDCLNT_SHAREMODE_SHARED);
    QCOMPARE(stream.setup().flags, 0x88040000u);
    QCOMPARE(stream.setup().bufferDuration, REFERENCE_TIME(30000));
    QCOMPARE(stream.setup().format.Format.nChannels, WORD(2));
    QVERIFY(!stream.setup().hasSession);
    QCOMPARE(stream.bufferFrames(), 960u);
    QVERIFY(
        simulated::calls().contains("IAudioClient::Initialize 0 88040000 30000 0 1/2/48000/16"));
}

void TestSimulatedStreams::formatMustFitUnlessConverted()
{
    const QString id = simulated::addEndpoint({.channels = 6, .sampleRate = 44100});
    const auto audio = activate<IAudioClient>(id, IID_IAudioClient);
    const auto initialise = [&](DWORD flags, const WAVEFORMATEX &format) {
        return audio->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, 0, 0, &format, nullptr);
    };
    QCOMPARE(initialise(AUDCLNT_STREAMFLAGS_EVENTCALLBACK, pcm(2, 44100)),
             AUDCLNT_E_UNSUPPORTED_FORMAT);
    QCOMPARE(initialise(AUDCLNT_STREAMFLAGS_EVENTCALLBACK, pcm(6, 48000)),
             AUDCLNT_E_UNSUPPORTED_FORMAT);
    QCOMPARE(initialise(renderFlags, pcm(0, 48000)), AUDCLNT_E_UNSUPPORTED_FORMAT);
    simulated::failNext("IAudioClient::Initialize", 0x88890008);
    QCOMPARE(initialise(renderFlags, pcm(2, 48000)), AUDCLNT_E_UNSUPPORTED_FORMAT);
    QCOMPARE(initialise(renderFlags, pcm(2, 48000)), S_OK);
}

void TestSimulatedStreams::clockPlaysWhatWasWritten()
{
    const QString id = simulated::addEndpoint({.bufferFrames = 8});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    auto stream = simulated::waitForRenderStream(id);
    QCOMPARE(write(render.get(), "aaaabbbbcccc"), S_OK);
    UINT32 padding = 0;
    QCOMPARE(client.audio->GetCurrentPadding(&padding), S_OK);
    QCOMPARE(padding, 3u);
    QCOMPARE(WaitForSingleObject(client.event, 0), WAIT_TIMEOUT);
    QCOMPARE(stream.consume(2), QByteArray("aaaabbbb"));
    QCOMPARE(WaitForSingleObject(client.event, 0), WAIT_OBJECT_0);
    QCOMPARE(stream.padding(), 1u);
    QVERIFY(!stream.waitForRelease(1));
    QCOMPARE(write(render.get(), "dddd"), S_OK);
    QVERIFY(stream.waitForRelease());
    QCOMPARE(stream.consume(100), QByteArray("ccccdddd"));
    QCOMPARE(stream.consume(100), QByteArray());
}

void TestSimulatedStreams::silenceIsRecordedAsSuch()
{
    const QString id = simulated::addEndpoint({});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    auto stream = simulated::waitForRenderStream(id);
    QCOMPARE(write(render.get(), "loud", AUDCLNT_BUFFERFLAGS_SILENT), S_OK);
    QCOMPARE(write(render.get(), "tone"), S_OK);
    const auto released = stream.releasedBuffers();
    QCOMPARE(released.size(), 2);
    QVERIFY(released[0].isSilent() && !released[1].isSilent());
    QCOMPARE(stream.consume(2), QByteArray(4, '\0') + "tone");
    stream.clearReleasedBuffers();
    QVERIFY(stream.releasedBuffers().isEmpty());
}

void TestSimulatedStreams::renderBufferErrors()
{
    const QString id = simulated::addEndpoint({.bufferFrames = 8});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    BYTE *data = nullptr;
    QCOMPARE(render->ReleaseBuffer(0, 0), S_OK);
    QCOMPARE(render->ReleaseBuffer(1, 0), AUDCLNT_E_OUT_OF_ORDER);
    QCOMPARE(render->GetBuffer(9, &data), AUDCLNT_E_BUFFER_TOO_LARGE);
    QCOMPARE(render->GetBuffer(4, &data), S_OK);
    QCOMPARE(render->GetBuffer(4, &data), AUDCLNT_E_OUT_OF_ORDER);
    QCOMPARE(render->ReleaseBuffer(5, 0), AUDCLNT_E_INVALID_SIZE);
    QCOMPARE(render->ReleaseBuffer(3, 0), S_OK);
    QCOMPARE(render->GetBuffer(6, &data), AUDCLNT_E_BUFFER_TOO_LARGE);
    QCOMPARE(render->GetBuffer(5, &data), S_OK);
    QCOMPARE(render->ReleaseBuffer(0, 0), S_OK);
    QCOMPARE(simulated::renderStreams(id).value(0).padding(), 3u);
}

void TestSimulatedStreams::clientThreadAnswersTheClock()
{
    const QString id = simulated::addEndpoint({.bufferFrames = 4});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    auto stream = simulated::waitForRenderStream(id);
    std::thread player([&] {
        for (char letter = 'a'; letter <= 'e'; ++letter) {
            if (WaitForSingleObject(client.event, 10000) != WAIT_OBJECT_0)
                return;
            write(render.get(), QByteArray(16, letter));
        }
    });
    bool answered = false;
    QCOMPARE(stream.turn(0, &answered), QByteArray());
    QVERIFY(answered);
    for (char letter = 'a'; letter < 'e'; ++letter) {
        QCOMPARE(stream.turn(4, &answered), QByteArray(16, letter));
        QVERIFY(answered);
    }
    player.join();
    QCOMPARE(stream.consume(4), QByteArray(16, 'e'));
}

void TestSimulatedStreams::removedEndpointInvalidates()
{
    const QString id = simulated::addEndpoint({});
    Client client(id);
    ComPtr<IAudioRenderClient> render;
    QCOMPARE(client.open(IID_IAudioRenderClient, render.receiveVoid()), S_OK);
    simulated::removeEndpoint(id);
    UINT32 frames = 0;
    BYTE *data = nullptr;
    QCOMPARE(client.audio->GetBufferSize(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(client.audio->GetCurrentPadding(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(render->GetBuffer(1, &data), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(render->ReleaseBuffer(0, 0), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(client.audio->Stop(), AUDCLNT_E_DEVICE_INVALIDATED);
}

void TestSimulatedStreams::capturePackets()
{
    const QString id = simulated::addEndpoint({.flow = eCapture});
    Client client(id);
    ComPtr<IAudioCaptureClient> capture;
    QCOMPARE(client.open(IID_IAudioCaptureClient, capture.receiveVoid()), S_OK);
    auto stream = simulated::waitForCaptureStream(id);
    UINT32 frames = 1;
    QCOMPARE(capture->GetNextPacketSize(&frames), S_OK);
    QCOMPARE(frames, 0u);
    stream.queuePacket("aaaabbbb");
    QCOMPARE(WaitForSingleObject(client.event, 0), WAIT_TIMEOUT);
    stream.pushPacket("cccc", AUDCLNT_BUFFERFLAGS_SILENT);
    QCOMPARE(WaitForSingleObject(client.event, 0), WAIT_OBJECT_0);

    BYTE *data = nullptr;
    DWORD flags = 99;
    UINT64 position = 99;
    QCOMPARE(capture->GetNextPacketSize(&frames), S_OK);
    QCOMPARE(frames, 2u);
    QCOMPARE(capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr), S_OK);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(data), 8), QByteArray("aaaabbbb"));
    QCOMPARE(flags, 0u);
    QCOMPARE(capture->ReleaseBuffer(frames), S_OK);
    QVERIFY(stream.waitForRelease());
    QCOMPARE(capture->GetBuffer(&data, &frames, &flags, &position, nullptr), S_OK);
    QCOMPARE(frames, 1u);
    QCOMPARE(flags, AUDCLNT_BUFFERFLAGS_SILENT);
    QCOMPARE(position, UINT64(2));
    QCOMPARE(capture->ReleaseBuffer(frames), S_OK);
    QCOMPARE(stream.pendingPackets(), 0);
}

void TestSimulatedStreams::captureBufferErrors()
{
    const QString id = simulated::addEndpoint({.flow = eCapture});
    Client client(id);
    ComPtr<IAudioCaptureClient> capture;
    QCOMPARE(client.open(IID_IAudioCaptureClient, capture.receiveVoid()), S_OK);
    auto stream = simulated::waitForCaptureStream(id);
    BYTE *data = nullptr;
    UINT32 frames = 1;
    DWORD flags = 0;
    const auto getBuffer = [&] {
        return capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr);
    };
    QCOMPARE(getBuffer(), HRESULT(0x08890001)); // nothing there, no failure
    QCOMPARE(frames, 0u);
    QCOMPARE(capture->ReleaseBuffer(1), AUDCLNT_E_OUT_OF_ORDER);
    stream.queuePacket("aaaabbbb");
    QCOMPARE(getBuffer(), S_OK);
    QCOMPARE(getBuffer(), AUDCLNT_E_OUT_OF_ORDER);
    QCOMPARE(capture->ReleaseBuffer(1), AUDCLNT_E_INVALID_SIZE);
    QCOMPARE(capture->ReleaseBuffer(0), S_OK); // left for the next time
    QCOMPARE(stream.pendingPackets(), 1);
    simulated::setState(id, DEVICE_STATE_UNPLUGGED);
    QCOMPARE(capture->GetNextPacketSize(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(getBuffer(), AUDCLNT_E_DEVICE_INVALIDATED);
}

void TestSimulatedStreams::audioClient3()
{
    const QString id = simulated::addEndpoint({.flow = eCapture});
    const auto audio = activate<IAudioClient>(id, IID_IAudioClient);
    ComPtr<IAudioClient3> client3;
    QCOMPARE(audio->QueryInterface(IID_IAudioClient3, client3.receiveVoid()), S_OK);
    const WAVEFORMATEX format = pcm(2, 48000);
    UINT32 usual = 0;
    UINT32 fundamental = 0;
    UINT32 minimum = 0;
    UINT32 maximum = 0;
    QCOMPARE(client3->GetSharedModeEnginePeriod(&format, &usual, &fundamental, &minimum, &maximum),
             S_OK);
    QCOMPARE(minimum, 128u);
    QCOMPARE(client3->InitializeSharedAudioStream(AUDCLNT_STREAMFLAGS_EVENTCALLBACK, minimum,
                                                  &format, nullptr),
             S_OK);
    QCOMPARE(simulated::captureStreams(id).value(0).setup().periodFrames, 128u);

    simulated::setHasAudioClient3(id, false);
    QCOMPARE(audio->QueryInterface(IID_IAudioClient3, client3.receiveVoid()), E_NOINTERFACE);
    QVERIFY(!client3);
}

void TestSimulatedStreams::servicesFitTheFlow()
{
    const QString id = simulated::addEndpoint({});
    Client client(id);
    ComPtr<IAudioCaptureClient> capture;
    QCOMPARE(client.audio->GetService(IID_IAudioCaptureClient, capture.receiveVoid()),
             AUDCLNT_E_NOT_INITIALIZED);
    QCOMPARE(client.open(IID_IAudioCaptureClient, capture.receiveVoid()),
             AUDCLNT_E_WRONG_ENDPOINT_TYPE);
    QVERIFY(!capture);
    ComPtr<IPropertyStore> store;
    QCOMPARE(client.audio->GetService(IID_IPropertyStore, store.receiveVoid()), E_NOINTERFACE);
}

QTEST_GUILESS_MAIN(TestSimulatedStreams)
#include "tst_simulatedstreams.moc"
