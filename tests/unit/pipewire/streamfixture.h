// A stream object with its event and services, as a client opens it.
#pragma once

#include "platform/comptr.h"
#include "platform/pipewire/audiostream.h"
#include "platform/posix/events.h"

#include <atomic>
#include <functional>
#include <thread>

inline const StreamTarget speakersTarget{"speakers", eRender, 48000, 2};
inline const StreamTarget microphoneTarget{"real_microphone", eCapture, 48000, 2};
inline constexpr WAVEFORMATEX stereoFormat{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
inline constexpr DWORD playerFlags = AUDCLNT_STREAMFLAGS_EVENTCALLBACK |
                                     AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                                     AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY;

struct Stream
{
    explicit Stream(const StreamTarget &target) : isRender(target.flow == eRender)
    {
        createAudioClient(target, client.receive());
    }
    ~Stream()
    {
        client->Stop();
        posix::closeHandle(event);
    }

    HRESULT initialize(const WAVEFORMATEX &format = stereoFormat)
    {
        return client->Initialize(AUDCLNT_SHAREMODE_SHARED, playerFlags, 100'000, 0, &format,
                                  nullptr);
    }
    /// Everything up to a running stream; the first failure.
    HRESULT open(const WAVEFORMATEX &format = stereoFormat)
    {
        HRESULT result = initialize(format);
        if (SUCCEEDED(result))
            result = client->SetEventHandle(event);
        if (SUCCEEDED(result))
            result = isRender ? client->GetService(IID_IAudioRenderClient, render.receiveVoid())
                              : client->GetService(IID_IAudioCaptureClient, capture.receiveVoid());
        if (SUCCEEDED(result))
            result = client->Start();
        return result;
    }
    [[nodiscard]] bool waitForEvent(DWORD milliseconds = 5000) const
    {
        return posix::waitForMultiple(1, &event, milliseconds) == WAIT_OBJECT_0;
    }

    /// Takes the whole free space and releases it as it is.
    HRESULT releaseAllFree(DWORD flags)
    {
        UINT32 size = 0;
        UINT32 padding = 0;
        BYTE *data = nullptr;
        HRESULT result = client->GetBufferSize(&size);
        if (SUCCEEDED(result))
            result = client->GetCurrentPadding(&padding);
        if (SUCCEEDED(result))
            result = render->GetBuffer(size - padding, &data);
        return SUCCEEDED(result) ? render->ReleaseBuffer(size - padding, flags) : result;
    }

    const bool isRender;
    HANDLE event = posix::createEvent(false, false);
    ComPtr<IAudioClient> client;
    ComPtr<IAudioRenderClient> render;
    ComPtr<IAudioCaptureClient> capture;
};

/// Fills all free space at each event until a call fails or the object goes.
class RenderLoop
{
public:
    using Fill = std::function<DWORD(BYTE *data, UINT32 frames)>; ///< returns the flags

    RenderLoop(Stream &stream, Fill fill)
        : stream(stream), fill(std::move(fill)), thread([this] { run(); })
    {
    }
    ~RenderLoop()
    {
        stopping = true;
        posix::setEvent(stream.event);
        thread.join();
    }

    [[nodiscard]] bool hasEnded() const { return ended; }
    [[nodiscard]] HRESULT result() const { return lastResult; }
    [[nodiscard]] int rounds() const { return roundCount; }
    /// The free space was ever larger than the buffer, or the two disagreed.
    [[nodiscard]] bool wasInconsistent() const { return inconsistent; }

private:
    void run()
    {
        while (!stopping && stream.waitForEvent(INFINITE) && !stopping) {
            ++roundCount;
            if (FAILED(lastResult = round()))
                break;
        }
        ended = true;
    }

    HRESULT round()
    {
        UINT32 size = 0;
        UINT32 padding = 0;
        HRESULT result = stream.client->GetBufferSize(&size);
        if (SUCCEEDED(result))
            result = stream.client->GetCurrentPadding(&padding);
        if (FAILED(result))
            return result;
        if (padding > size)
            inconsistent = true;
        if (padding == size)
            return S_OK;
        BYTE *data = nullptr;
        result = stream.render->GetBuffer(size - padding, &data);
        if (FAILED(result))
            return result;
        return stream.render->ReleaseBuffer(size - padding, fill(data, size - padding));
    }

    Stream &stream;
    Fill fill;
    std::atomic<bool> stopping{false};
    std::atomic<bool> ended{false};
    std::atomic<bool> inconsistent{false};
    std::atomic<HRESULT> lastResult{S_OK};
    std::atomic<int> roundCount{0};
    std::thread thread;
};
