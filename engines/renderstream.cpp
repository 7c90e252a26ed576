#include "engines/renderstream.h"

#include "engines/sharedmode.h"
#include "platform/resulttext.h"

#include <QDebug>

#include <utility>

namespace
{

void logFormat(const char *title, const WAVEFORMATEX &format)
{
    qInfo() << title;
    qInfo() << "wFormatTag:" << format.wFormatTag;
    qInfo() << "nChannels:" << format.nChannels;
    qInfo() << "nSamplesPerSec:" << format.nSamplesPerSec;
    qInfo() << "nAvgBytesPerSec:" << format.nAvgBytesPerSec;
    qInfo() << "nBlockAlign:" << format.nBlockAlign;
    qInfo() << "wBitsPerSample:" << format.wBitsPerSample;
    qInfo() << "cbSize:" << format.cbSize;
}

/// Makes 16-bit PCM of the endpoint's format, with its channel count and rate.
void makeSixteenBit(WAVEFORMATEX &format)
{
    constexpr WORD bits = 16;
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.wBitsPerSample = bits;
    format.nBlockAlign = static_cast<WORD>(bits * format.nChannels / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    format.cbSize = 0;
}

} // namespace

RenderStream::RenderStream(RenderStreamOptions options) : options(std::move(options)) {}

RenderStream::~RenderStream()
{
    release();
}

bool RenderStream::open()
{
    createEvents();
    if (openEndpoint() && initializeClient() && startClient()) {
        opened.store(true, std::memory_order_relaxed);
        return true;
    }
    release();
    return false;
}

void RenderStream::createEvents()
{
    events[AudioEvent] = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    for (const Event event : {StartEvent, StopEvent, QuitEvent})
        events[event] = CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

bool RenderStream::openEndpoint()
{
    HRESULT code =
        CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                         reinterpret_cast<void **>(&deviceEnumerator));
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - CoCreateInstance failed:", code);

    code = deviceEnumerator->GetDevice(options.deviceID.toStdWString().c_str(), &device);
    if (FAILED(code)) {
        qCritical() << "WASAPIAudioPlayer play audio - Can't find device:" << options.deviceID
                    << resultText(code);
        return false;
    }

    code = device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr,
                            reinterpret_cast<void **>(&audioClient));
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to Activate IAudioClient:", code);
    return true;
}

bool RenderStream::initializeClient()
{
    HRESULT code = audioClient->GetMixFormat(&waveFormat);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to GetMixFormat:", code);
    logFormat("Original parameters:", *waveFormat);
    makeSixteenBit(*waveFormat);
    logFormat("New parameters:", *waveFormat);

    code = initializeShared(*audioClient, *waveFormat);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to Initialize:", code);
    return true;
}

bool RenderStream::startClient()
{
    HRESULT code = audioClient->SetEventHandle(events[AudioEvent]);
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to SetEventHandle:", code);
    code =
        audioClient->GetService(IID_IAudioRenderClient, reinterpret_cast<void **>(&renderClient));
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to GetService:", code);
    code = audioClient->Reset();
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to Reset:", code);
    code = audioClient->Start();
    if (FAILED(code))
        return failed("WASAPIAudioPlayer play audio - Fail to Start:", code);
    return true;
}

void RenderStream::play(const QByteArray &frame, int sampleRate, int channels)
{
    if (!frame.isEmpty() && isOpen())
        queue.push(frame, sampleRate, channels, options.deviceType);
}

void RenderStream::quit()
{
    opened.store(false, std::memory_order_relaxed);
    if (events[QuitEvent])
        SetEvent(events[QuitEvent]);
    stop();
}

void RenderStream::stop()
{
    if (audioClient)
        audioClient->Stop();
}

void RenderStream::release()
{
    for (HANDLE &event : events) {
        if (HANDLE old = std::exchange(event, nullptr))
            CloseHandle(old);
    }
    if (waveFormat)
        CoTaskMemFree(std::exchange(waveFormat, nullptr));
    releaseAndClear(renderClient);
    releaseAndClear(audioClient);
    releaseAndClear(device);
    releaseAndClear(deviceEnumerator);
}
