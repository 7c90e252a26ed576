#include "engines/capturestream.h"

#include "engines/captureformat.h"
#include "engines/sharedmode.h"
#include "platform/resulttext.h"

#include <QDebug>

#include <utility>

CaptureStream::CaptureStream(CaptureStreamOptions given, WASAPIMicrophoneCapturer *receiver)
    : options(std::move(given)), receiver(receiver), channels(options.channels)
{
    events[AudioEvent] = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    events[QuitEvent] = CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

CaptureStream::~CaptureStream()
{
    closeEvents();
}

void CaptureStream::quit()
{
    capturing.store(false, std::memory_order_relaxed);
    if (events[QuitEvent])
        SetEvent(events[QuitEvent]);
}

void CaptureStream::detachReceiver()
{
    const QMutexLocker locker(&receiverMutex);
    receiver = nullptr;
}

void CaptureStream::closeEvents()
{
    for (HANDLE &event : events) {
        if (HANDLE old = std::exchange(event, nullptr))
            CloseHandle(old);
    }
}

template <typename... Details>
bool CaptureStream::passed(HRESULT code, const char *words, const Details &...details) const
{
    const bool wanted = isCapturing();
    if (SUCCEEDED(code) && wanted)
        return true;
    QDebug line = qCritical();
    line << words;
    static_cast<void>((line << ... << details));
    line << resultText(code) << wanted;
    return false;
}

bool CaptureStream::openEndpoint()
{
    HRESULT code =
        CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                         reinterpret_cast<void **>(&deviceEnumerator));
    if (!passed(code, "Capture microphone - CoCreateInstance failed:", GetLastError()))
        return false;
    code = deviceEnumerator->GetDevice(options.deviceID.toStdWString().c_str(), &device);
    if (!passed(code, "Capture microphone - Can't find device:", options.deviceID))
        return false;
    code = device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr,
                            reinterpret_cast<void **>(&audioClient));
    if (!passed(code, "Capture microphone - Fail to Activate IAudioClient:"))
        return false;
    code = audioClient->GetMixFormat(&waveFormat);
    if (!passed(code, "Capture microphone - Fail to GetMixFormat:"))
        return false;
    if (WAVEFORMATEX *sixteenBit = makeCaptureFormat(*waveFormat))
        CoTaskMemFree(std::exchange(waveFormat, sixteenBit));
    return true;
}

/// The engine's smallest period, where the endpoint offers it.
bool CaptureStream::initializeLowLatency()
{
    if (FAILED(audioClient->QueryInterface(IID_IAudioClient3,
                                           reinterpret_cast<void **>(&audioClient3))))
        return false;
    UINT32 defaultFrames = 0;
    UINT32 fundamentalFrames = 0;
    UINT32 minimumFrames = 0;
    UINT32 maximumFrames = 0;
    if (FAILED(audioClient3->GetSharedModeEnginePeriod(
            waveFormat, &defaultFrames, &fundamentalFrames, &minimumFrames, &maximumFrames)))
        return false;
    return SUCCEEDED(audioClient3->InitializeSharedAudioStream(AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                                                               minimumFrames, waveFormat, nullptr));
}

bool CaptureStream::startClient()
{
    const HRESULT initialized =
        initializeLowLatency() ? S_OK : initializeShared(*audioClient, *waveFormat);
    if (!passed(initialized, "Capture microphone - Fail to Initialize:"))
        return false;
    channels = waveFormat->nChannels;
    sampleRate = static_cast<int>(waveFormat->nSamplesPerSec);

    HRESULT code = audioClient->SetEventHandle(events[AudioEvent]);
    if (!passed(code, "WASAPIAudioPlayer play audio - Fail to SetEventHandle:"))
        return false;
    code =
        audioClient->GetService(IID_IAudioCaptureClient, reinterpret_cast<void **>(&captureClient));
    if (!passed(code, "Capture microphone - Fail to GetService:"))
        return false;
    code = audioClient->Reset();
    if (!passed(code, "Capture microphone - Fail to Reset:"))
        return false;
    code = audioClient->Start();
    return passed(code, "Capture microphone - Fail to Start:");
}

void CaptureStream::release()
{
    if (waveFormat)
        CoTaskMemFree(std::exchange(waveFormat, nullptr));
    releaseAndClear(captureClient);
    releaseAndClear(audioClient3);
    releaseAndClear(audioClient);
    releaseAndClear(device);
    releaseAndClear(deviceEnumerator);
}
